// `bvdiag digest`, `bvdiag hmac` and `bvdiag crc32`: numbers by which files are compared.
#include <cstdint>
#include <memory>
#include <string>
#include <vector>

#include <brisvane/all.h>

#include "byte_streams.h"
#include "commands.h"
#include "interrupt.h"
#include "key_options.h"

namespace bvdiag {
namespace {

namespace bv = brisvane;
using bv::SecurityAdditions::bin2hex;

// What a command makes of the bytes of a file: hexadecimal digits; nullopt for too many bytes.
using Checksum = std::function<std::optional<std::string>(bv::ByteView)>;

std::optional<std::string> digest(bv::ByteView bytes) {
  const auto hash = bv::SecurityAdditions::sha1Hash(bytes);
  if (!hash) return std::nullopt;
  return bin2hex(*hash);
}

std::string crc32(bv::ByteView bytes) {
  const std::uint64_t crc = bv::SecurityAdditions::crc32(bytes);
  bv::Data number;
  for (int shift = 24; shift >= 0; shift -= 8) number.push_back(static_cast<std::uint8_t>(crc >> shift));
  return bin2hex(number);
}

bool showOne(const std::string& file, const std::string& name, const Checksum& checksum, Output& output) {
  const auto bytes = readBytes(file, output);
  if (!bytes) return false;
  const auto digits = checksum(*bytes);
  if (!digits) {
    output.complain(nameOf(file) + ": has " + std::to_string(bytes->size()) +
                    " bytes, or the cryptography library is missing; 4294967295 are the most that are taken");
  } else if (output.json()) {
    output.printJson(bv::Dictionary{{"file", file}, {name, *digits}});
  } else {
    const std::string shown = escaped(file);
    output.print((shown == file ? "" : "\\") + *digits + "  " + shown + "\n");  // the mark of an escaped name
  }
  return digits.has_value();
}

int show(const std::vector<std::string>& files, const std::string& name, const Checksum& checksum, Output& output) {
  bool ok = true;
  for (const std::string& file : files) {
    ok &= showOne(file, name, checksum, output);
    if (interrupted()) return kFailure;
  }
  return ok ? kSuccess : kFailure;
}

CLI::App* addCommand(CLI::App& program, const std::string& name, const std::string& help,
                     const std::shared_ptr<std::vector<std::string>>& files) {
  CLI::App* const command = program.add_subcommand(name, help);
  files->emplace_back(kStandardInput);
  command->add_option("FILE", *files, "The files; - or none for standard input");
  command->footer(exitStatusText("shown", "a file cannot be read"));
  return command;
}

}  // namespace

void addDigest(CLI::App& program, Chosen& chosen) {
  const auto files = std::make_shared<std::vector<std::string>>();
  addCommand(program, "digest", "Shows the SHA-1 of files", files)->callback([&chosen, files] {
    chosen.run = [files](Session& session) { return show(*files, "sha1", digest, session.output()); };
  });
}

void addCrc32(CLI::App& program, Chosen& chosen) {
  const auto files = std::make_shared<std::vector<std::string>>();
  addCommand(program, "crc32", "Shows the CRC-32 of files, as zip and gzip have it", files)->callback([&chosen, files] {
    chosen.run = [files](Session& session) { return show(*files, "crc32", crc32, session.output()); };
  });
}

void addHmac(CLI::App& program, Chosen& chosen) {
  const auto files = std::make_shared<std::vector<std::string>>();
  const auto key = std::make_shared<KeyOptions>();
  CLI::App* const command = addCommand(program, "hmac", "Shows the HMAC-SHA1 of files under a key", files);
  addKeyOptions(*command, *key);
  command->callback([&chosen, files, key] {
    chosen.run = [files, key](Session& session) {
      const auto bytes = readKey(*key, session.output());
      if (!bytes) return kFailure;
      const auto hmac = [&bytes](bv::ByteView message) { return bv::SecurityAdditions::HMACSHA1(message, *bytes); };
      return show(*files, "hmac", hmac, session.output());
    };
  });
}

}  // namespace bvdiag
