// Bytes in other forms: CRC-32, hexadecimal, base64.
#include <brisvane/serial/BVSerialPort.h>
#include <brisvane/support/security.h>
#include <brisvane/types/base64.h>
#include <brisvane/types/hex.h>
#include <isa-l/crc.h>
#include <libdeflate.h>
#include <openssl/evp.h>
#include <zlib.h>

#include <cstring>
#include <memory>

#include "bench/harness.h"

namespace brisvane::bench {
namespace {

using SecurityAdditions::base64DataFromString;
using SecurityAdditions::bin2hex;
using SecurityAdditions::bin2percentHex;

Data someBytes(std::size_t count) {
  return SecurityAdditions::randomDataOfLength(static_cast<std::int64_t>(count)).value();
}

// Every byte read once, in vectors.
__attribute__((target_clones("default", "avx2"), optimize("O3"))) std::uint64_t readOnce(
    const std::uint8_t* bytes, std::size_t count) {
  std::uint64_t all = 0;
  for (; count >= 8; count -= 8, bytes += 8) {
    std::uint64_t word;
    std::memcpy(&word, bytes, sizeof word);
    all ^= word;
  }
  return all;
}

// A copy of the text's size into memory that is there already.
Case copy(std::size_t size) {
  const auto from = std::make_shared<Data>(someBytes(size));
  const auto to = std::make_shared<Data>(size);
  return measured(
      "memcpy of the text",
      [from, to] {
        std::memcpy(to->data(), from->data(), from->size());
        return to->data();
      },
      [from, to](const auto&) { return *from == *to; });
}

Row crcRow(std::string size, std::size_t count, const Goal& goal) {
  const Data bytes = someBytes(count);
  const auto expected = SecurityAdditions::crc32(bytes);
  return {
      std::move(size),
      goal,
      {measured(
           "every byte read once", [bytes] { return readOnce(bytes.data(), bytes.size()); },
           [](std::uint64_t) { return true; }),
       giving(
           "crc32", [bytes] { return SecurityAdditions::crc32(bytes); }, expected),
       giving(
           "libdeflate", [bytes] { return libdeflate_crc32(0, bytes.data(), bytes.size()); },
           expected),
       giving(
           "ISA-L", [bytes] { return crc32_gzip_refl(0, bytes.data(), bytes.size()); }, expected),
       giving(
           "zlib", [bytes] { return ::crc32_z(0, bytes.data(), bytes.size()); }, expected)}};
}

std::string byTable(ByteView bytes, const char* digits) {
  std::string text(bytes.size() * 2, '\0');
  for (std::size_t i = 0; i < bytes.size(); ++i) {
    text[2 * i] = digits[bytes[i] >> 4U];
    text[2 * i + 1] = digits[bytes[i] & 15U];
  }
  return text;
}

Row hexRow(std::string size, std::size_t count, const Goal& goal) {
  const Data bytes = someBytes(count);
  const std::string expected = byTable(bytes, "0123456789abcdef");
  std::string upper = byTable(bytes, "0123456789ABCDEF");
  return {
      std::move(size),
      goal,
      {copy(2 * count),
       giving(
           "bin2hex", [bytes] { return bin2hex(bytes); }, expected),
       giving(
           "a string made", [expected] { return std::string(expected.data(), expected.size()); },
           expected),
       giving(
           "a loop over a table", [bytes] { return byTable(bytes, "0123456789abcdef"); }, expected),
       giving(
           "OpenSSL",
           [bytes] {
             std::string text(bytes.size() * 2 + 1, '\0');
             OPENSSL_buf2hexstr_ex(text.data(), text.size(), nullptr, bytes.data(), bytes.size(),
                                   '\0');
             text.pop_back();
             return text;
           },
           std::move(upper))}};
}

Row percentRow(std::string size, std::size_t count, const Goal& goal) {
  const Data bytes = someBytes(count);
  std::string expected;
  for (const std::uint8_t byte : bytes) {
    expected += '%';
    appendHex(expected, byte);
  }
  return {std::move(size),
          goal,
          {copy(3 * count),
           giving(
               "bin2percentHex", [bytes] { return bin2percentHex(bytes); }, expected),
           giving(
               "a string made",
               [expected] { return std::string(expected.data(), expected.size()); }, expected)}};
}

Row spacedRow(std::string size, std::size_t count) {
  const Data bytes = someBytes(count);
  std::string expected;
  for (const std::uint8_t byte : bytes) {
    appendHex(expected, byte);
    expected += ' ';
  }
  return {
      std::move(size),
      0,
      {copy(3 * count), giving(
                            "hexStringFromData",
                            [bytes] { return BVSerialPort::hexStringFromData(bytes); }, expected)}};
}

Row readHexRow(std::string size, std::size_t count) {
  const Data bytes = someBytes(count);
  const std::string text = bin2hex(bytes);
  const std::string spaced = BVSerialPort::hexStringFromData(bytes);
  return {std::move(size),
          0,
          {copy(2 * count),
           giving(
               "parseHex", [text] { return parseHex(text).value(); }, bytes),
           giving(
               "with spaces", [spaced] { return parseHex(spaced).value(); }, bytes),
           giving(
               "OpenSSL",
               [text] {
                 Data made(text.size() / 2);
                 std::size_t length = 0;
                 OPENSSL_hexstr2buf_ex(made.data(), made.size(), &length, text.c_str(), '\0');
                 return made;
               },
               bytes)}};
}

Data decodedBlock(const std::string& text) {
  Data bytes(text.size() / 4 * 3);
  EVP_DecodeBlock(bytes.data(), reinterpret_cast<const unsigned char*>(text.data()),
                  static_cast<int>(text.size()));
  return bytes;
}

Data decodedLines(const std::string& text) {
  const std::unique_ptr<EVP_ENCODE_CTX, decltype(&EVP_ENCODE_CTX_free)> context(
      EVP_ENCODE_CTX_new(), &EVP_ENCODE_CTX_free);
  EVP_DecodeInit(context.get());
  Data bytes(text.size() / 4 * 3 + 3);
  int count = 0;
  int last = 0;
  EVP_DecodeUpdate(context.get(), bytes.data(), &count,
                   reinterpret_cast<const unsigned char*>(text.data()),
                   static_cast<int>(text.size()));
  EVP_DecodeFinal(context.get(), bytes.data() + count, &last);
  bytes.resize(static_cast<std::size_t>(count + last));
  return bytes;
}

Row base64Row(std::string size, std::size_t characters, const Goal& goal) {
  const Data bytes = someBytes(characters / 4 * 3);
  const std::string text = base64Text(bytes);
  return {std::move(size),
          goal,
          {giving(
               "EVP_DecodeBlock", [text] { return decodedBlock(text); }, bytes),
           giving(
               "base64DataFromString", [text] { return base64DataFromString(text, false).value(); },
               bytes)}};
}

Row base64LinesRow(std::string size, std::size_t characters, const Goal& goal) {
  const Data bytes = someBytes(characters / 4 * 3);
  const std::string text = base64Text(bytes);
  std::string lines;
  for (std::size_t at = 0; at < text.size(); at += 64) lines += text.substr(at, 64) + "\n";
  return {std::move(size),
          goal,
          {giving(
               "EVP_DecodeUpdate", [lines] { return decodedLines(lines); }, bytes),
           giving(
               "base64DataFromString",
               [lines] { return base64DataFromString(lines, true).value(); }, bytes)}};
}

constexpr std::size_t kKi = 1024;
constexpr std::size_t kMi = 1024 * kKi;

}  // namespace

std::vector<Table> bytesTables() {
  return {
      {"crc32",
       {crcRow("16 B", 16, {4, 6, "four multiplications, each of which waits for the one before"}),
        crcRow("1 KiB", kKi, 1.6), crcRow("1 MiB", kMi, 1.15)}},
      {"bin2hex",
       {hexRow("20 B", 20, {6, 15, "the string alone is 6 to 10"}), hexRow("1 KiB", kKi, 10),
        hexRow("1 MiB", kMi, 2.4)}},
      {"bin2percentHex",
       {percentRow("20 B", 20, {8, 18, "the string alone is 6 to 10"}),
        percentRow("1 KiB", kKi, 10), percentRow("1 MiB", kMi, 4)}},
      {"hexStringFromData",
       {spacedRow("20 B", 20), spacedRow("1 KiB", kKi), spacedRow("1 MiB", kMi)}},
      {"parseHex", {readHexRow("20 B", 20), readHexRow("1 KiB", kKi), readHexRow("1 MiB", kMi)}},
      {"base64DataFromString",
       {base64Row("64", 64, {0.7, 1, "the allocation, and an end that is checked"}),
        base64Row("1 Ki", kKi, 0.6), base64Row("1 Mi", kMi, 0.6),
        base64LinesRow("1 Ki, in lines", kKi, 0.25), base64LinesRow("1 Mi, in lines", kMi, 0.25)}}};
}

}  // namespace brisvane::bench
