#include "key_options.h"

#include <cstddef>
#include <cstdlib>
#include <string_view>

#include <brisvane/types/hex.h>

#include "byte_streams.h"

namespace bvdiag {
namespace {

namespace bv = brisvane;

std::optional<bv::Data> readSpelling(const KeyOptions& options, Output& output) {
  constexpr std::size_t kLargest = std::size_t{1} << 20U;
  if (!options.file.empty()) return readBytes(options.file, output, kLargest);
  // Nothing here changes the environment. NOLINTNEXTLINE(concurrency-mt-unsafe)
  const char* const value = std::getenv(options.variable.c_str());
  if (value == nullptr) {
    output.complain("key: the environment has no " + options.variable + "; set and export it");
    return std::nullopt;
  }
  const std::string_view text = value;
  return bv::Data(text.begin(), text.end());
}

}  // namespace

void addKeyOptions(AnyCommand& command, KeyOptions& options) {
  AnyCommand source = command.choice("Key", "The key, one of");
  source
      .option("--key-file", &options.file, "FILE",
              "The file whose bytes are the key, with any final line end")
      .check(faultOfName);
  source
      .option("--key-env", &options.variable, "NAME",
              "The environment variable whose value is the key")
      .check(faultOfName);
  command.flag("--hex-key", options.isHex, "The key is hexadecimal there; blanks are skipped");
}

std::optional<bv::Data> readKey(const KeyOptions& options, Output& output) {
  auto key = readSpelling(options, output);
  if (key && options.isHex) {
    key = bv::parseHex(bv::asCharacters(*key));
    if (!key) output.complain("key: is not hexadecimal; write each byte as two digits");
  }
  if (key && key->empty()) {
    output.complain("key: is empty; check the file or the variable");
    return std::nullopt;
  }
  return key;
}

}  // namespace bvdiag
