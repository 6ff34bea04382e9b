// Bytes on their way into bvdiag and out of it: files, standard input, standard output.
#pragma once

#include <cstddef>
#include <functional>
#include <optional>
#include <string>

#include <brisvane/host/files/files.h>
#include <brisvane/types/data.h>

#include "command_line.h"
#include "output.h"

namespace bvdiag {

// The name of standard input.
inline constexpr const char* kStandardInput = "-";

// How messages call a file, or standard input.
[[nodiscard]] std::string nameOf(const std::string& file);

// The most bytes that are taken into memory.
inline constexpr std::size_t kMostInMemory = std::size_t{1} << 30U;

// All bytes of a file, or of standard input, in memory. nullopt on failure, when there are more
// than `largest`, and when a signal comes meanwhile. `output` reports which.
[[nodiscard]] std::optional<brisvane::Data> readBytes(const std::string& file, Output& output,
                                                      std::size_t largest = kMostInMemory);

// Passes the bytes of a file, or of standard input, to `take`, piece by piece. A line on a terminal
// shows the progress. False on failure, and when a signal comes meanwhile. `output` reports which.
[[nodiscard]] bool readPieces(const std::string& file, Output& output,
                              const std::function<void(brisvane::ByteView)>& take);

// The rule of options whose value is a name, and neither empty nor a standard stream.
[[nodiscard]] std::string faultOfName(const std::string& name);

// The option --output of a command, which names a new file.
Option addOutputOption(AnyCommand& command, std::string& file);

// Writes bytes to a new file or, when that is empty, to standard output: as they are, as JSON in
// hexadecimal or, for a person at a terminal, as a dump. False on failure, which `output` reports.
[[nodiscard]] bool writeBytes(brisvane::ByteView bytes, const std::string& file, Output& output,
                              brisvane::host::Readers readers = brisvane::host::Readers::kUsual);

}  // namespace bvdiag
