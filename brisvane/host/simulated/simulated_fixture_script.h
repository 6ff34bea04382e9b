// FixtureScript, what a simulated fixture answers and when.
// A value type. It belongs to one thread at a time.
#pragma once

#include <cstddef>
#include <cstdint>
#include <optional>
#include <string>
#include <vector>

#include "brisvane/host/formats/pattern.h"
#include "brisvane/types/data.h"
#include "brisvane/types/export.h"
#include "brisvane/types/object.h"
#include "brisvane/types/result.h"

namespace brisvane::host::simulated {

struct FixtureScript {
  // Bytes that the fixture sends, after a delay, whole or in chunks.
  struct Reply {
    Data bytes;
    bool isText = false;             // in a reply to a pattern, $1 to $9 are its groups
    std::size_t noise = 0;           // so many random bytes instead
    double delay = 0;                // seconds after what was sent before
    std::vector<std::size_t> split;  // sizes of the chunks, 1 or more; the rest is the last
    bool splitsEvenly = false;       // the one size in `split` repeats
    double gap = 0.02;               // seconds between chunks
  };
  using Replies = std::vector<Reply>;

  // A command. Exactly one of `text`, `pattern` and `bytes` is set.
  struct Command {
    std::optional<std::string> text;
    std::optional<Pattern> pattern;
    std::optional<Data> bytes;
    Replies replies;  // silence when there are none
    bool hangsUp = false;
  };

  Replies greeting;                        // unsolicited, when a program opens the line
  bool echo = false;                       // sends every received byte back
  std::vector<Command> commands;           // the first that matches answers
  Replies unknown;                         // for a line that no command matches
  std::optional<std::size_t> hangUpAfter;  // bytes sent
  double commandGap = 0.05;                // seconds of quiet that end a command without a line end
  std::uint32_t seed = 1;                  // of the noise

  // Reads a script from a description, whose form is in docs/simulated.md. `place` is where it is
  // within a larger description. Throws DescriptionError when it is malformed.
  [[nodiscard]] BRISVANE_EXPORT static FixtureScript read(const Object& description,
                                                          const std::string& place);
  // The same from JSON text. The error names the line and the place of what is wrong.
  [[nodiscard]] BRISVANE_EXPORT static Result<FixtureScript> fromJson(std::string_view json);
};

}  // namespace brisvane::host::simulated
