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
  bool hasPercent;
};

constexpr Encoding kHex = {
    "hex",
    [](bv::ByteView bytes, const EncodingOptions& options) {
      return options.percent ? bv::SecurityAdditions::bin2percentHex(bytes)
                             : bv::SecurityAdditions::bin2hex(bytes);
    },
    [](std::string_view text) { return bv::parseHex(text); },
    "pairs of hexadecimal digits; blanks and line ends may stand between pairs", true};

constexpr Encoding kBase64 = {
    "base64",
    [](bv::ByteView bytes, const EncodingOptions& /*options*/) { return bv::base64Text(bytes); },
    [](std::string_view text) { return bv::SecurityAdditions::base64DataFromString(text, false); },
    "groups of four characters A to Z, a to z, 0 to 9, + and /, the last one padded with =", false};

int run(const Encoding& encoding, const EncodingOptions& options, Session& session) {
  Output& output = session.output();
  const auto bytes = readBytes(options.file, output);
  if (!bytes) return kFailure;
  if (options.decode) {
    const auto decoded = encoding.decode(bv::asCharacters(*bytes));
    if (!decoded) {
      output.complain(nameOf(options.file) + ": is not " + encoding.name + "; expected " +
                      encoding.rule);
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

void addCommand(AnyCommand& program, const Encoding& encoding, const std::string& help,
                const std::string& example) {
  auto command = program.command<EncodingOptions>(encoding.name, help);
  command.argument("FILE", &EncodingOptions::file,
                   "The file; default: standard input, which - also names");
  const Option decode =
      command.flag("--decode", &EncodingOptions::decode, "Decodes the text to bytes");
  addOutputOption(command, command.options().newFile);
  if (encoding.hasPercent) {
    command
        .flag("--percent", &EncodingOptions::percent,
              "Prints three characters for each byte: %00%AB%FF")
        .excludes(decode);
  }
  command.example(std::string("bvdiag ") + encoding.name + example);
  command.footer(exitStatusText(
      "success", "the input cannot be read or decoded, or the output cannot be written"));
  command.runs([&encoding](const EncodingOptions& options, Session& session) {
    return run(encoding, options, session);
  });
}

}  // namespace

void addHex(AnyCommand& program) {
  addCommand(program, kHex, "Encodes bytes as hexadecimal digits, or decodes them",
             " firmware.bin");
}

void addBase64(AnyCommand& program) {
  addCommand(program, kBase64, "Encodes bytes in base64, or decodes them",
             " --decode reply.txt --output reply.bin");
}

}  // namespace bvdiag
