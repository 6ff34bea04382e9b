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

// What a command makes of a file: it takes the bytes, and gives hexadecimal digits at the end;
// nullopt on failure.
class Checksum {
 public:
  Checksum() = default;
  Checksum(const Checksum&) = delete;
  Checksum& operator=(const Checksum&) = delete;
  virtual ~Checksum() = default;
  virtual void add(bv::ByteView bytes) = 0;
  virtual bv::Result<std::string> digits() = 0;
};

using Maker = std::function<std::unique_ptr<Checksum>()>;

template <typename Digest>
class DigestChecksum final : public Checksum {
 public:
  explicit DigestChecksum(Digest digest) : digest_(std::move(digest)) {}
  void add(bv::ByteView bytes) override { digest_.add(bytes); }
  bv::Result<std::string> digits() override {
    const auto digest = digest_.finish();
    if (!digest.ok()) return digest.error();
    return bin2hex(digest.value());
  }

 private:
  Digest digest_;
};

class Crc32Checksum final : public Checksum {
 public:
  void add(bv::ByteView bytes) override { crc_.add(bytes); }
  bv::Result<std::string> digits() override {
    bv::Data number;
    for (int shift = 24; shift >= 0; shift -= 8)
      number.push_back(static_cast<std::uint8_t>(crc_.value() >> shift));
    return bin2hex(number);
  }

 private:
  bv::host::Crc32 crc_;
};

std::optional<std::string> checksumOf(const std::string& file, const Maker& make, Output& output) {
  const auto checksum = make();
  if (!readPieces(file, output, [&checksum](bv::ByteView bytes) { checksum->add(bytes); }))
    return std::nullopt;
  auto digits = checksum->digits();
  if (!digits.ok())
    output.complain(nameOf(file) + ": " + digits.error().text() +
                    "; check that OpenSSL is installed");
  return std::move(digits).optional();
}

bool showOne(const std::string& file, const std::string& name, const Maker& make, Output& output) {
  const auto digits = checksumOf(file, make, output);
  if (output.json()) {
    bv::Dictionary result{{"file", file}};
    if (digits) result.emplace(name, *digits);
    output.printResult(std::move(result));
  } else if (digits) {
    const std::string shown = escaped(file);
    output.print((shown == file ? "" : "\\") + *digits + "  " + shown +
                 "\n");  // the mark of an escaped name
  }
  return digits.has_value();
}

int show(const std::vector<std::string>& files, const std::string& name, const Maker& make,
         Output& output) {
  bool ok = true;
  for (const std::string& file : files) {
    ok &= showOne(file, name, make, output);
    if (interrupted()) return kFailure;
  }
  return ok ? kSuccess : kFailure;
}

struct ChecksumOptions {
  std::vector<std::string> files{kStandardInput};
  KeyOptions key;  // of hmac alone
};

Command<ChecksumOptions> addCommand(AnyCommand& program, const std::string& name,
                                    const std::string& help, const std::string& example) {
  auto command = program.command<ChecksumOptions>(name, help);
  command.argument("FILE", &ChecksumOptions::files,
                   "The files; default: standard input, which - also names");
  command.example("bvdiag " + name + example);
  command.footer(exitStatusText("success", "a file cannot be read"));
  return command;
}

int showHmac(const ChecksumOptions& options, Session& session) {
  const auto key = readKey(options.key, session.output());
  if (!key) return kFailure;
  const auto make = [&key] {
    return std::make_unique<DigestChecksum<bv::host::HmacSha1>>(bv::host::HmacSha1(*key));
  };
  return show(options.files, "hmac", make, session.output());
}

}  // namespace

void addDigest(AnyCommand& program) {
  addCommand(program, "digest", "Prints the SHA-1 of files", " firmware.bin")
      .runs([](const ChecksumOptions& options, Session& session) {
        const auto make = [] {
          return std::make_unique<DigestChecksum<bv::host::Sha1>>(bv::host::Sha1());
        };
        return show(options.files, "sha1", make, session.output());
      });
}

void addCrc32(AnyCommand& program) {
  auto command = addCommand(
      program, "crc32", "Prints the CRC-32 of files, as zip and gzip compute it", " firmware.bin");
  command.runs([](const ChecksumOptions& options, Session& session) {
    const auto make = [] { return std::make_unique<Crc32Checksum>(); };
    return show(options.files, "crc32", make, session.output());
  });
}

void addHmac(AnyCommand& program) {
  auto command = addCommand(program, "hmac", "Prints the HMAC-SHA1 of files under a key",
                            " --key-file key firmware.bin");
  addKeyOptions(command, command.options().key);
  command.runs(showHmac);
}

}  // namespace bvdiag
