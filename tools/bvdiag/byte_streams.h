// Bytes on their way into bvdiag and out of it: files, standard input, standard output.
#pragma once

#include <optional>
#include <string>
#include <string_view>

#include <brisvane/types/data.h>

#include "output.h"

namespace bvdiag {

// The name of standard input.
inline constexpr const char* kStandardInput = "-";

// How messages call a file, or standard input.
[[nodiscard]] std::string nameOf(const std::string& file);

[[nodiscard]] inline std::string_view charactersOf(brisvane::ByteView bytes) {
  return {reinterpret_cast<const char*>(bytes.data()), bytes.size()};
}

// All bytes of a file, or of standard input, in memory. nullopt on failure, and when a signal comes
// meanwhile, which `output` has then been told.
[[nodiscard]] std::optional<brisvane::Data> readBytes(const std::string& file, const Output& output);

// Writes bytes to a new file or, when that is empty, to standard output: as they are, as JSON in
// hexadecimal or, for a person at a terminal, as a dump. False on failure, which is told.
[[nodiscard]] bool writeBytes(brisvane::ByteView bytes, const std::string& file, Output& output);

}  // namespace bvdiag
