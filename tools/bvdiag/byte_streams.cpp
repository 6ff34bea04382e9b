#include "byte_streams.h"

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <algorithm>
#include <atomic>
#include <cerrno>
#include <exception>
#include <span>
#include <string_view>

#include <brisvane/support/security.h>

#include "interrupt.h"
#include "status_line.h"

namespace bvdiag {
namespace {

namespace bv = brisvane;

// Closes what it has opened itself.
class Source {
 public:
  explicit Source(const std::string& file)
      : isOwn_(file != kStandardInput),
        descriptor_(isOwn_ ? ::open(file.c_str(), O_RDONLY | O_CLOEXEC | O_NOCTTY) : STDIN_FILENO),
        openingError_(descriptor_ < 0 ? errno : 0) {}
  Source(const Source&) = delete;
  Source& operator=(const Source&) = delete;
  ~Source() {
    if (isOwn_ && descriptor_ >= 0) ::close(descriptor_);
  }

  // An errno, or 0.
  [[nodiscard]] int openingError() const { return openingError_; }

  // Reads once. The number of bytes, 0 at the end; nullopt with errno set on failure, and after a
  // signal, which is EINTR.
  [[nodiscard]] std::optional<std::size_t> read(std::span<std::uint8_t> buffer) const {
    for (;;) {
      const ssize_t count = ::read(descriptor_, buffer.data(), buffer.size());
      if (interrupted()) errno = EINTR;
      if (count >= 0 && !interrupted()) return static_cast<std::size_t>(count);
      if (errno != EINTR || interrupted()) return std::nullopt;
    }
  }

  // Of a file whose size is known; 0 otherwise.
  [[nodiscard]] std::size_t size() const {
    struct stat status {};
    const bool isFile = ::fstat(descriptor_, &status) == 0 && S_ISREG(status.st_mode);
    return isFile ? static_cast<std::size_t>(status.st_size) : 0;
  }

 private:
  bool isOwn_;
  int descriptor_;
  int openingError_;
};

// Gives an errno, or 0.
int readAll(const Source& source, bv::Data& bytes, std::size_t largest) {
  constexpr std::size_t kLeast = 65'536;
  try {
    // One byte more than a file has: what reads nothing there is its end.
    bytes.resize(std::max(kLeast, std::min(source.size(), largest) + 1));
    std::size_t size = 0;
    for (;;) {
      if (size == bytes.size()) bytes.resize(2 * size);
      const auto count = source.read(std::span(bytes).subspan(size));
      if (!count) return errno;
      if (*count == 0) break;
      size += *count;
      if (size > largest) return EFBIG;
    }
    bytes.resize(size);
    return 0;
  } catch (const std::exception&) {
    return ENOMEM;
  }
}

std::string amountText(double bytes) {
  constexpr double kStep = 1024;
  std::string_view unit = "KiB";
  bytes /= kStep;
  for (const std::string_view next : {"MiB", "GiB", "TiB"}) {
    if (bytes < kStep) break;
    bytes /= kStep;
    unit = next;
  }
  return tenths(bytes).append(" ").append(unit);
}

}  // namespace

std::string nameOf(const std::string& file) {
  return file == kStandardInput ? "standard input" : file;
}

std::optional<bv::Data> readBytes(const std::string& file, Output& output, std::size_t largest) {
  const Source source(file);
  bv::Data bytes;
  const int failed =
      source.openingError() == 0 ? readAll(source, bytes, largest) : source.openingError();
  if (failed == 0) return bytes;
  output.complain(readingFailure(nameOf(file), failed));
  return std::nullopt;
}

bool readPieces(const std::string& file, Output& output,
                const std::function<void(bv::ByteView)>& take) {
  constexpr std::size_t kPiece = std::size_t{256} << 10U;
  const Source source(file);
  bv::Data buffer(kPiece);
  std::atomic<std::uint64_t> done{0};
  int failed = source.openingError();
  if (failed == 0) {
    const std::string whole =
        source.size() > 0 ? " of " + amountText(static_cast<double>(source.size())) : "";
    const StatusLine line("reading " + nameOf(file), [&done, whole](double /*seconds*/) {
      return amountText(static_cast<double>(done.load())) + whole;
    });
    std::optional<std::size_t> count;
    while ((count = source.read(buffer)).value_or(0) > 0) {
      take(bv::ByteView(buffer).first(*count));
      done += *count;
    }
    if (!count) failed = errno;
  }
  if (failed != 0) output.complain(readingFailure(nameOf(file), failed));
  return failed == 0;
}

std::string faultOfName(const std::string& name) {
  return name.empty() || name == kStandardInput ? "must be a name, not empty and not -" : "";
}

Option addOutputOption(AnyCommand& command, std::string& file) {
  return command
      .option("--output", &file, "FILE", "Writes to this new file instead of standard output")
      .check(faultOfName);
}

bool writeBytes(bv::ByteView bytes, const std::string& file, Output& output,
                bv::host::Readers readers) {
  const std::string_view characters = bv::asCharacters(bytes);
  if (!file.empty()) {
    const auto created = bv::host::createFile(file, characters, readers);
    if (!created.ok()) {
      output.complain(writingFailure(file, created.error().number()));
    } else if (output.json()) {
      output.printResult(bv::Dictionary{{"file", file}, {"size", bytes.size()}});
    }
    return created.ok();
  }
  if (output.json()) {
    output.printResult(
        bv::Dictionary{{"data", bv::SecurityAdditions::bin2hex(bytes)}, {"size", bytes.size()}});
  } else {
    output.print(::isatty(STDOUT_FILENO) == 1 ? std::string_view(hexDump(bytes)) : characters);
  }
  return !output.isBroken();
}

}  // namespace bvdiag
