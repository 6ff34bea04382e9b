// `bvdiag digest`, `bvdiag hmac` and `bvdiag crc32`: numbers by which files are compared.
#include <cstdint>
#include <functional>
#include <memory>
#include <optional>
#include <string>
#include <utility>
#include <vector>

#include <brisvane/all.h>
#include <brisvane/host/crypto/crc32.h>
#include <brisvane/host/crypto/digest.h>

#include "byte_streams.h"
#include "commands.h"
#include "interrupt.h"
#include "key_options.h"

namespace bvdiag {
namespace {

namespace bv = brisvane;
using bv::SecurityAdditions::bin2hex;

// What a command makes of a file: it takes the bytes, and gives hexadecimal digits at the end; nullopt on failure.
class Checksum {
 public:
  Checksum() = default;
  Checksum(const Checksum&) = delete;
  Checksum& operator=(const Checksum&) = delete;
  virtual ~Checksum() = default;
  virtual void add(bv::ByteView bytes) = 0;
  virtual std::optional<std::string> digits() = 0;
};

using Maker = std::function<std::unique_ptr<Checksum>()>;

template <typename Digest>
class DigestChecksum final : public Checksum {
 public:
  explicit DigestChecksum(Digest digest) : digest_(std::move(digest)) {}
  void add(bv::ByteView bytes) override { digest_.add(bytes); }
  std::optional<std::string> digits() override {
    const auto digest = digest_.finish();
    return digest ? std::optional(bin2hex(*digest)) : std::nullopt;
  }

 private:
  Digest digest_;
};

class Crc32Checksum final : public Checksum {
 public:
  void add(bv::ByteView bytes) override { crc_.add(bytes); }
  std::optional<std::string> digits() override {
    bv::Data number;
    for (int shift = 24; shift >= 0; shift -= 8) number.push_back(static_cast<std::uint8_t>(crc_.value() >> shift));
    return bin2hex(number);
  }

 private:
  bv::host::Crc32 crc_;
};

std::optional<std::string> checksumOf(const std::string& file, const Maker& make, Output& output) {
  const auto checksum = make();
  if (!readPieces(file, output, [&checksum](bv::ByteView bytes) { checksum->add(bytes); })) return std::nullopt;
  auto digits = checksum->digits();
  if (!digits) output.complain(nameOf(file) + ": the cryptography library or memory is missing");
  return digits;
}

bool showOne(const std::string& file, const std::string& name, const Maker& make, Output& output) {
  const auto digits = checksumOf(file, make, output);
  if (output.json()) {
    bv::Dictionary result{{"file", file}};
    if (digits) result.emplace(name, *digits);
    output.printResult(std::move(result));
  } else if (digits) {
    const std::string shown = escaped(file);
    output.print((shown == file ? "" : "\\") + *digits + "  " + shown + "\n");  // the mark of an escaped name
  }
  return digits.has_value();
}

int show(const std::vector<std::string>& files, const std::string& name, const Maker& make, Output& output) {
  bool ok = true;
  for (const std::string& file : files) {
    ok &= showOne(file, name, make, output);
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
    const auto make = [] { return std::make_unique<DigestChecksum<bv::host::Sha1>>(bv::host::Sha1()); };
    chosen.run = [files, make](Session& session) { return show(*files, "sha1", make, session.output()); };
  });
}

void addCrc32(CLI::App& program, Chosen& chosen) {
  const auto files = std::make_shared<std::vector<std::string>>();
  addCommand(program, "crc32", "Shows the CRC-32 of files, as zip and gzip have it", files)->callback([&chosen, files] {
    const auto make = [] { return std::make_unique<Crc32Checksum>(); };
    chosen.run = [files, make](Session& session) { return show(*files, "crc32", make, session.output()); };
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
      const auto make = [&bytes] {
        return std::make_unique<DigestChecksum<bv::host::HmacSha1>>(bv::host::HmacSha1(*bytes));
      };
      return show(*files, "hmac", make, session.output());
    };
  });
}

}  // namespace bvdiag
