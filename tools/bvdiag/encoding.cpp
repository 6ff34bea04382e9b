// `bvdiag hex` and `bvdiag base64`: bytes as text, and back.
#include <memory>
#include <string>
#include <string_view>

#include <brisvane/all.h>

#include "byte_streams.h"
#include "commands.h"

namespace bvdiag {
namespace {

namespace bv = brisvane;

struct EncodingOptions {
  std::string file = kStandardInput;
  std::string newFile;
  bool decode = false;
  bool percent = false;
};

struct Encoding {
  const char* name;
  std::string (*encode)(bv::ByteView bytes, const EncodingOptions& options);
  std::optional<bv::Data> (*decode)(std::string_view text);
  const char* rule;  // of what can be decoded
};

constexpr Encoding kHex = {"hex",
                           [](bv::ByteView bytes, const EncodingOptions& options) {
                             return options.percent ? bv::SecurityAdditions::bin2percentHex(bytes)
                                                    : bv::SecurityAdditions::bin2hex(bytes);
                           },
                           [](std::string_view text) { return bv::parseHex(text); },
                           "pairs of hexadecimal digits, with blanks and line ends between them"};

constexpr Encoding kBase64 = {
    "base64", [](bv::ByteView bytes, const EncodingOptions& /*options*/) { return bv::base64Text(bytes); },
    [](std::string_view text) { return bv::SecurityAdditions::base64DataFromString(text, false); },
    "the characters A to Z, a to z, 0 to 9, + and /, in fours, the last of them raised by ="};

int run(const Encoding& encoding, const EncodingOptions& options, Session& session) {
  Output& output = session.output();
  const auto bytes = readBytes(options.file, output);
  if (!bytes) return kFailure;
  if (options.decode) {
    const auto decoded = encoding.decode(bv::asCharacters(*bytes));
    if (!decoded) {
      output.complain(nameOf(options.file) + ": is not " + encoding.name + ", which is " + encoding.rule);
      return kFailure;
    }
    return writeBytes(*decoded, options.newFile, output) ? kSuccess : kFailure;
  }
  std::string text = encoding.encode(*bytes, options);
  if (options.newFile.empty() && output.json()) {
    output.printResult(bv::Dictionary{{"file", options.file}, {encoding.name, text}});
    return kSuccess;
  }
  text += '\n';
  if (options.newFile.empty()) {
    output.print(text);
    return kSuccess;
  }
  return writeBytes(bv::asBytes(text), options.newFile, output) ? kSuccess : kFailure;
}

CLI::App* addCommand(CLI::App& program, Chosen& chosen, const Encoding& encoding, const std::string& help,
                     const std::shared_ptr<EncodingOptions>& options) {
  CLI::App* const command = program.add_subcommand(encoding.name, help);
  command->add_option("FILE", options->file, "The file; - or none for standard input");
  command->add_flag("--decode", options->decode, "Gives the bytes that a text spells");
  addOutputOption(*command, options->newFile);
  command->footer(exitStatusText("written", "the input cannot be read or is no such text, or nothing can be written"));
  command->callback([&chosen, &encoding, options] {
    chosen.run = [&encoding, options](Session& session) { return run(encoding, *options, session); };
  });
  return command;
}

}  // namespace

void addHex(CLI::App& program, Chosen& chosen) {
  const auto options = std::make_shared<EncodingOptions>();
  CLI::App* const command = addCommand(program, chosen, kHex, "Shows bytes as hexadecimal digits, or back", options);
  command->add_flag("--percent", options->percent, "Three characters a byte: %00%AB%FF")->excludes("--decode");
}

void addBase64(CLI::App& program, Chosen& chosen) {
  addCommand(program, chosen, kBase64, "Shows bytes in base64, or back", std::make_shared<EncodingOptions>());
}

}  // namespace bvdiag
