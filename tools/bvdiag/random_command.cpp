// `bvdiag random`: bytes that nobody can guess, as for a key.
#include <charconv>
#include <cstdint>
#include <memory>
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

CLI::Validator isCount() {
  const auto check = [](const std::string& text) {
    std::int64_t count = -1;
    const char* const end = text.data() + text.size();
    const bool isNumber = std::from_chars(text.data(), end, count).ptr == end && count >= 0;
    const bool isDecimal = text == "0" || !text.starts_with('0');
    return isNumber && isDecimal ? std::string() : "must be a number of bytes";
  };
  return CLI::Validator(check, "");
}

int run(const RandomOptions& options, Session& session) {
  Output& output = session.output();
  const auto bytes = bv::SecurityAdditions::randomDataOfLength(options.count);
  if (!bytes) {
    output.complain(std::to_string(options.count) + " random bytes cannot be had; ask for fewer");
    return kFailure;
  }
  if (options.hex && !output.json()) {
    output.print(bv::SecurityAdditions::bin2hex(*bytes) + "\n");
    return kSuccess;
  }
  return writeBytes(*bytes, options.newFile, output, bv::host::Readers::kOwner) ? kSuccess : kFailure;
}

}  // namespace

void addRandom(CLI::App& program, Chosen& chosen) {
  CLI::App* const command = program.add_subcommand("random", "Gives random bytes, good enough for keys");
  const auto options = std::make_shared<RandomOptions>();
  command->add_option("COUNT", options->count, "How many")->required()->check(isCount());
  CLI::Option* const newFile = addOutputOption(*command, options->newFile);
  command->add_flag("--hex", options->hex, "As hexadecimal digits")->excludes(newFile);
  command->footer(exitStatusText("written", "there are no so many, or they cannot be written"));
  command->callback(
      [&chosen, options] { chosen.run = [options](Session& session) { return run(*options, session); }; });
}

}  // namespace bvdiag
