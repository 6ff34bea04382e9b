// The key of a command that needs one: from a file or from the environment. Never from the command
// line, which every user of the machine can read.
#pragma once

#include <optional>
#include <string>

#include <brisvane/types/data.h>

#include "command_line.h"
#include "output.h"

namespace bvdiag {

struct KeyOptions {
  std::string file;
  std::string variable;
  bool isHex = false;
};

void addKeyOptions(AnyCommand& command, KeyOptions& options);

// The bytes of the key. nullopt when it cannot be read, which `output` reports.
[[nodiscard]] std::optional<brisvane::Data> readKey(const KeyOptions& options, Output& output);

}  // namespace bvdiag
