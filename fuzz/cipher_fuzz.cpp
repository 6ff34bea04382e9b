// Ciphers: what is encrypted decrypts again, with every algorithm and keys of every length, at once
// and in pieces. The input is an algorithm, options, a key's length, a key, a vector, and a text.
#include "brisvane/host/crypto/cipher.h"

#include "brisvane/support/security.h"
#include "fuzz/support/fuzzing.h"

namespace brisvane::fuzz {
namespace {

namespace security = SecurityAdditions;
using host::Cipher;

constexpr std::uint64_t kAlgorithms = 6;  // one of them unknown
constexpr std::uint64_t kOptions = 8;     // one bit of them unknown
constexpr std::size_t kLongestKey = 600;

// The same by pieces.
Result<Data> inPieces(Cipher::Direction direction, std::uint32_t algorithm, std::uint32_t options,
                      ByteView key, ByteView vector, const std::vector<ByteView>& pieces,
                      std::size_t size) {
  auto cipher = Cipher::create(direction, algorithm, options, key, vector);
  if (!cipher.ok()) return cipher.error();
  Data output(cipher.value()->outputSize(size));
  std::size_t length = 0;
  for (const ByteView piece : pieces) {
    const auto written = cipher.value()->update(piece, std::span(output).subspan(length));
    if (!written.ok()) return written.error();
    length += written.value();
  }
  const auto last = cipher.value()->finish(std::span(output).subspan(length));
  if (!last.ok()) return last.error();
  output.resize(length + last.value());
  return output;
}

}  // namespace

void run(std::string_view input) {
  Choices choices(input);
  const auto algorithm = static_cast<std::uint32_t>(choices.below(kAlgorithms));
  const auto options = static_cast<std::uint32_t>(choices.below(kOptions));
  const std::size_t keyLength = choices.below(kLongestKey);
  Data key = copyOf(choices.bytes(keyLength));
  key.resize(keyLength, 0x5A);
  const std::optional<Data> vector = choices.below(2) == 1
                                         ? std::optional(copyOf(choices.bytes(choices.below(40))))
                                         : std::nullopt;
  Choices cuts(choices.bytes(4));
  const Data text = copyOf(choices.rest());

  std::int32_t error = 0;
  const auto encrypted =
      security::dataEncryptedUsingAlgorithm(text, algorithm, key, vector, options, &error);
  require(encrypted.has_value() == (error == 0), "a failure has a status");
  if (encrypted) {
    const auto decrypted =
        security::dataDecryptedUsingAlgorithm(*encrypted, algorithm, key, vector, options, &error);
    require(decrypted == text, "what was encrypted decrypts");
  }
  // What nobody has encrypted is refused, or decrypts to something.
  static_cast<void>(
      security::dataDecryptedUsingAlgorithm(text, algorithm, key, vector, options, &error));

  Data block = vector.value_or(Data());
  if (!block.empty()) block.resize(std::max(block.size(), Cipher::kLargestBlock));
  for (const auto direction : {Cipher::Direction::kEncrypt, Cipher::Direction::kDecrypt}) {
    const auto whole = Cipher::run(direction, algorithm, options, key, block, text);
    const auto pieces =
        inPieces(direction, algorithm, options, key, block, piecesOf(text, cuts), text.size());
    require(whole.ok() == pieces.ok(), "pieces are taken as the whole is");
    require(!whole.ok() || whole.value() == pieces.value(), "pieces give what the whole gives");
  }
}

}  // namespace brisvane::fuzz
