// `bvdiag random`: unpredictable bytes, as for a key.
#include <charconv>
#include <cstdint>
#include <string>

#include <brisvane/all.h>

#include "byte_streams.h"
#include "commands.h"

namespace bvdiag {
namespace {

namespace bv = brisvane;

struct RandomOptions {
  std::int64_t count = 0;
  std::string newFile;
  bool hex = false;
};

std::string faultOfCount(const std::string& text) {
  std::int64_t count = -1;
  const char* const end = text.data() + text.size();
  const bool isNumber = std::from_chars(text.data(), end, count).ptr == end && count >= 0;
  const bool isDecimal = text == "0" || !text.starts_with('0');
  return isNumber && isDecimal ? "" : "must be a number of bytes";
}

int run(const RandomOptions& options, Session& session) {
  Output& output = session.output();
  const auto bytes = bv::SecurityAdditions::randomDataOfLength(options.count);
  if (!bytes) {
    output.complain(std::to_string(options.count) +
                    " random bytes do not fit into memory; ask for fewer");
    return kFailure;
  }
  if (options.hex && !output.json()) {
    output.print(bv::SecurityAdditions::bin2hex(*bytes) + "\n");
    return kSuccess;
  }
  return writeBytes(*bytes, options.newFile, output, bv::host::Readers::kOwner) ? kSuccess
                                                                                : kFailure;
}

}  // namespace

void addRandom(AnyCommand& program) {
  auto command = program.command<RandomOptions>(
      "random", "Prints random bytes, which are good enough for keys");
  command.argument("COUNT", &RandomOptions::count, "The number of bytes")
      .required()
      .check(faultOfCount);
  const Option newFile = addOutputOption(command, command.options().newFile);
  command.flag("--hex", &RandomOptions::hex, "Prints hexadecimal digits").excludes(newFile);
  command.example("bvdiag random 16 --hex");
  command.example("bvdiag random 32 --output new.key");
  command.footer(
      exitStatusText("success", "there is not enough memory, or they cannot be written"));
  command.runs(run);
}

}  // namespace bvdiag
