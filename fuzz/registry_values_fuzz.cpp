// The texts and numbers that a profile takes from the bytes of registry properties.
#include "brisvane/platform/registry_decoders.h"
#include "brisvane/types/hex.h"
#include "brisvane/types/unicode.h"
#include "fuzz/support/fuzzing.h"

namespace brisvane::fuzz {
namespace {

template <typename Number>
void requireLittleEndian(const Data& bytes) {
  const auto number = decodeNumber<Number>(Object(bytes));
  require(number.has_value() == (bytes.size() >= sizeof(Number)),
          "a number needs as many bytes as it has");
  if (!number) return;
  for (std::size_t i = 0; i < sizeof(Number); ++i)
    require(static_cast<std::uint8_t>(*number >> (8 * i)) == bytes[i],
            "a number is the first bytes, the least significant first");
}

}  // namespace

void run(std::string_view input) {
  const Data bytes = copyOf(input);
  requireLittleEndian<std::uint64_t>(bytes);
  requireLittleEndian<std::uint16_t>(bytes);
  requireLittleEndian<std::uint8_t>(bytes);

  const auto text = decodeText(Object(bytes));
  require(text.has_value() == !bytes.empty(), "every buffer but the empty one is some text");
  if (!text) return;
  require(isUtf8(*text), "a property's text is UTF-8");
  require(*text == lowerHexText(bytes) || input.starts_with(*text),
          "a text is the buffer's beginning or its digits");
}

}  // namespace brisvane::fuzz
