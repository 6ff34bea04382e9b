// `bvdiag encrypt` and `bvdiag decrypt`: files under a key.
#include <cstdint>
#include <map>
#include <string>
#include <vector>

#include <brisvane/all.h>

#include "byte_streams.h"
#include "commands.h"
#include "key_options.h"

namespace bvdiag {
namespace {

namespace bv = brisvane;
using bv::host::CipherAlgorithm;
using bv::host::CipherOption;
using bv::host::CipherStatus;

struct CipherOptions {
  std::string file = kStandardInput;
  std::string newFile;
  std::string algorithm = "aes";
  KeyOptions key;
  std::string vector;
  bool ecb = false;
  bool noPadding = false;

  [[nodiscard]] std::uint32_t bits() const {
    return (noPadding ? 0 : CipherOption::kPkcs7Padding) | (ecb ? CipherOption::kEcbMode : 0);
  }
};

using Operation = decltype(&bv::SecurityAdditions::dataEncryptedUsingAlgorithm);

const std::map<std::string, std::uint32_t>& algorithms() {
  static const std::map<std::string, std::uint32_t> numbers = {
      {"aes", CipherAlgorithm::kAes},
      {"des", CipherAlgorithm::kDes},
      {"3des", CipherAlgorithm::kTripleDes},
      {"cast128", CipherAlgorithm::kCast128},
      {"rc4", CipherAlgorithm::kRc4}};
  return numbers;
}

std::vector<std::string> namesOf(const std::map<std::string, std::uint32_t>& numbers) {
  std::vector<std::string> names;
  names.reserve(numbers.size());
  for (const auto& [name, number] : numbers) names.push_back(name);
  return names;
}

const char* adviceFor(std::int32_t status) {
  switch (status) {
    case CipherStatus::kUnsuitableKey:
      return "check the key";
    case CipherStatus::kPartialBlock:
      return "check that the file is complete, or omit --no-padding";
    case CipherStatus::kBadPadding:
      return "check the key, the algorithm and the options";
    case CipherStatus::kNoMemory:
      return "free some and try again";
    case CipherStatus::kLibraryMissing:
      return "install its \"legacy\" provider";
    default:
      return "check the algorithm and the options";
  }
}

int run(Operation operation, const CipherOptions& options, Session& session) {
  Output& output = session.output();
  const auto key = readKey(options.key, output);
  if (!key) return kFailure;
  const auto vector = bv::parseHex(options.vector);
  if (!vector) {
    output.complain("--vector: is not hexadecimal; write each byte as two digits");
    return kFailure;
  }
  const auto input = readBytes(options.file, output);
  if (!input) return kFailure;
  std::int32_t status = CipherStatus::kSuccess;
  const auto result =
      operation(*input, algorithms().at(options.algorithm), *key,
                options.vector.empty() ? bv::Bytes() : *vector, options.bits(), &status);
  if (!result) {
    output.complain(nameOf(options.file) + ": " + std::string(CipherStatus::text(status)) + " (" +
                    std::to_string(status) + "); " + adviceFor(status));
    return kFailure;
  }
  // What is worth a cipher is for the owner alone, also when it is plain again.
  return writeBytes(*result, options.newFile, output, bv::host::Readers::kOwner) ? kSuccess
                                                                                 : kFailure;
}

void addCommand(AnyCommand& program, const std::string& name, const std::string& help,
                const std::string& example, Operation operation) {
  auto command = program.command<CipherOptions>(name, help);
  command.argument("FILE", &CipherOptions::file,
                   "The file; default: standard input, which - also names");
  addOutputOption(command, command.options().newFile);
  command.option("--algorithm", &CipherOptions::algorithm, "NAME", "aes, des, 3des, cast128 or rc4")
      .showsDefault()
      .oneOf(namesOf(algorithms()));
  addKeyOptions(command, command.options().key);
  command.option("--vector", &CipherOptions::vector, "HEX",
                 "The initialization vector; default: zero bytes");
  command.flag("--ecb", &CipherOptions::ecb, "Uses ECB: blocks are not chained; default: CBC");
  command.flag("--no-padding", &CipherOptions::noPadding,
               "Neither adds nor removes padding; the input must be whole blocks");
  command.example("bvdiag " + name + example);
  command.footer(
      exitStatusText("success", "a file cannot be read or written, or does not decrypt"));
  command.runs([operation](const CipherOptions& options, Session& session) {
    return run(operation, options, session);
  });
}

}  // namespace

void addEncrypt(AnyCommand& program) {
  addCommand(program, "encrypt", "Encrypts a file", " --key-file key plain.bin --output sealed.bin",
             bv::SecurityAdditions::dataEncryptedUsingAlgorithm);
}

void addDecrypt(AnyCommand& program) {
  addCommand(program, "decrypt", "Decrypts a file",
             " --key-file key sealed.bin --output opened.bin",
             bv::SecurityAdditions::dataDecryptedUsingAlgorithm);
}

}  // namespace bvdiag
