#include "byte_streams.h"

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <exception>

#include <brisvane/host/error.h>
#include <brisvane/support/security.h>

#include "interrupt.h"

namespace bvdiag {
namespace {

namespace bv = brisvane;

// Closes what it has opened itself.
class Source {
 public:
  explicit Source(const std::string& file)
      : isOwn_(file != kStandardInput),
        descriptor_(isOwn_ ? ::open(file.c_str(), O_RDONLY | O_CLOEXEC | O_NOCTTY) : STDIN_FILENO) {}
  Source(const Source&) = delete;
  Source& operator=(const Source&) = delete;
  ~Source() {
    if (isOwn_ && descriptor_ >= 0) ::close(descriptor_);
  }

  // Gives an errno, or 0.
  [[nodiscard]] int readAll(bv::Data& bytes) const {
    if (descriptor_ < 0) return errno;
    bytes.resize(firstGuess());
    std::size_t size = 0;
    for (;;) {
      if (size == bytes.size()) bytes.resize(2 * size);
      const ssize_t count = ::read(descriptor_, bytes.data() + size, bytes.size() - size);
      if (interrupted()) return EINTR;
      if (count < 0 && errno != EINTR) return errno;
      if (count == 0) break;
      if (count > 0) size += static_cast<std::size_t>(count);
    }
    bytes.resize(size);
    return 0;
  }

 private:
  // One byte more than a file has: what reads nothing there is its end.
  [[nodiscard]] std::size_t firstGuess() const {
    constexpr std::size_t kLeast = 65'536;
    struct stat status {};
    const bool isFile = ::fstat(descriptor_, &status) == 0 && S_ISREG(status.st_mode);
    return std::max(kLeast, isFile ? static_cast<std::size_t>(status.st_size) + 1 : 0);
  }

  bool isOwn_;
  int descriptor_;
};

}  // namespace

std::string nameOf(const std::string& file) { return file == kStandardInput ? "standard input" : file; }

std::optional<bv::Data> readBytes(const std::string& file, const Output& output) {
  const std::string name = nameOf(file);
  bv::Data bytes;
  int failed = 0;
  try {
    failed = Source(file).readAll(bytes);
  } catch (const std::exception&) {
    failed = ENOMEM;
  }
  if (failed == 0) return bytes;
  output.complain(failed == EINTR ? name + ": interrupted"
                                  : bv::host::errorText(name, failed) + "; check that it is there and yours to read");
  return std::nullopt;
}

CLI::Validator isName() {
  const auto check = [](const std::string& name) {
    return name.empty() || name == kStandardInput ? "must be a name, and not -" : std::string();
  };
  return CLI::Validator(check, "");
}

CLI::Option* addOutputOption(CLI::App& command, std::string& file) {
  return command.add_option("--output", file, "A new file, instead of standard output")
      ->check(isName())
      ->type_name("FILE");
}

bool writeBytes(bv::ByteView bytes, const std::string& file, Output& output, bv::host::Readers readers) {
  const std::string_view characters = bv::asCharacters(bytes);
  if (!file.empty()) {
    const bv::host::Error failed = bv::host::createFile(file, characters, readers);
    if (failed) {
      output.complain(
          bv::host::errorText(file, failed.number()) +
          (failed.number() == EEXIST ? "; name a new file" : "; check that its folder exists and is yours to write"));
    } else if (output.json()) {
      output.printJson(bv::Dictionary{{"file", file}, {"size", bytes.size()}});
    }
    return !failed;
  }
  if (output.json()) {
    output.printJson(bv::Dictionary{{"data", bv::SecurityAdditions::bin2hex(bytes)}, {"size", bytes.size()}});
  } else {
    output.print(::isatty(STDOUT_FILENO) == 1 ? std::string_view(hexDump(bytes)) : characters);
  }
  return !output.isBroken();
}

}  // namespace bvdiag
