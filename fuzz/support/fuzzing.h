// What every fuzz target uses: the input, in parts or as a source of choices, and the check of what
// must hold for every input.
//
// A target defines run(). Its name is that of its file, its seeds stand in corpus/<name>, and words
// worth trying in dictionaries/<name>.
#pragma once

#include <cstddef>
#include <cstdint>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

#include "brisvane/types/data.h"
#include "brisvane/types/object.h"

namespace brisvane::fuzz {

// Tries one input. Whatever it is, run() returns, and throws nothing but std::bad_alloc. No
// platform service is in force but those that run() puts there.
void run(std::string_view input);

// Ends the program, so that the input is kept, unless the condition holds. `what` says what should
// hold, as in "what was written reads back".
void require(bool holds, const char* what);

// The parts of an input, which lines "--" separate: a seed can be written by hand.
std::vector<std::string_view> partsOf(std::string_view input);

// A part without its first line, and that line.
std::pair<std::string_view, std::string_view> firstLineAndRest(std::string_view part);

// Choices that the bytes of an input make, from its beginning. Those after its end are all 0.
class Choices {
 public:
  explicit Choices(std::string_view input) noexcept : rest_(input) {}

  [[nodiscard]] bool any() const noexcept { return !rest_.empty(); }
  // A number below `end`, which is not 0. It takes as many bytes as `end` needs.
  std::uint64_t below(std::uint64_t end) noexcept;
  // All 64 bits.
  std::uint64_t bits() noexcept;
  // At most `most` bytes.
  std::string_view bytes(std::size_t most) noexcept;
  // What is left.
  [[nodiscard]] std::string_view rest() const noexcept { return rest_; }

 private:
  std::string_view rest_;
};

// Cuts bytes into pieces as the choices have it. Some pieces are empty.
std::vector<ByteView> piecesOf(ByteView bytes, Choices& choices);

// The bytes as a buffer of exactly their size, so that AddressSanitizer sees a read past its end.
[[nodiscard]] inline Data copyOf(std::string_view bytes) { return {bytes.begin(), bytes.end()}; }

}  // namespace brisvane::fuzz
