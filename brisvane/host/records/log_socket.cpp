#include "brisvane/host/records/log_socket.h"

#include <sys/mman.h>
#include <sys/stat.h>
#include <unistd.h>

#include <algorithm>
#include <array>
#include <cerrno>
#include <chrono>
#include <cstring>
#include <limits>
#include <mutex>

#include "brisvane/host/files/descriptor.h"
#include "brisvane/host/files/file_access.h"
#include "brisvane/types/process_locks.h"

namespace brisvane::host::real {
namespace {

constexpr std::int64_t kLongestWait = 2'000'000'000;  // nanoseconds

std::int64_t now() noexcept {
  using std::chrono::steady_clock;
  return std::chrono::nanoseconds(steady_clock::now().time_since_epoch()).count();
}

Result<Descriptor> openSocket() noexcept {
  Descriptor opened =
      Descriptor::aboveStandardStreams(::socket(AF_UNIX, SOCK_DGRAM | SOCK_CLOEXEC, 0));
  if (!opened.valid()) return Error::last();
  // What has been sent and not been read counts against this; the kernel cuts it to what it
  // permits.
  constexpr int kSendBuffer = 8 << 20;
  ::setsockopt(opened.get(), SOL_SOCKET, SO_SNDBUF, &kSendBuffer, sizeof kSendBuffer);
  return opened;
}

// The one socket that all entries of the process are sent from, guarded by ProcessLock::kLogSocket.
struct SharedSocket {
  int descriptor = -1;
  dev_t device = 0;
  ino_t inode = 0;
};
constinit SharedSocket shared;

// A program may have closed every descriptor and use the number for a connection of its own by now.
bool isStillOurs() noexcept {
  struct stat status {};
  return shared.descriptor >= 0 && ::fstat(shared.descriptor, &status) == 0 &&
         S_ISSOCK(status.st_mode) && status.st_dev == shared.device &&
         status.st_ino == shared.inode;
}

Result<SharedSocket> sharedSocket() noexcept {
  const std::scoped_lock lock(processLock(ProcessLock::kLogSocket));
  if (isStillOurs()) return shared;
  auto opened = openSocket();
  if (!opened.ok()) return opened.error();
  struct stat status {};
  if (::fstat(opened.value().get(), &status) != 0) return Error::last();
  shared = {opened.value().release(), status.st_dev,
            status.st_ino};  // the former number is not ours to close
  return shared;
}

// The entry as a file in memory that nobody can change any more.
Result<Descriptor> sealedMemory(std::string_view entry) noexcept {
  Descriptor memory = Descriptor::aboveStandardStreams(
      ::memfd_create("brisvane-log-entry", MFD_CLOEXEC | MFD_ALLOW_SEALING));
  if (!memory.valid()) return Error::last();
  if (const auto written = writeAll(memory.get(), Target::kRegularFile, entry); !written.ok())
    return written.error();
  constexpr int kSeals = F_SEAL_SHRINK | F_SEAL_GROW | F_SEAL_WRITE | F_SEAL_SEAL;
  if (::fcntl(memory.get(), F_ADD_SEALS, kSeals) != 0) return Error::last();
  return memory;
}

// What sendmsg takes: an entry, or a descriptor in its place.
class Datagram {
 public:
  Datagram(sockaddr_un& to, std::string_view entry) noexcept
      : part_{const_cast<char*>(entry.data()), entry.size()} {  // iovec knows no const
    header_.msg_name = &to;
    header_.msg_namelen = sizeof to;
    header_.msg_iov = &part_;
    header_.msg_iovlen = 1;
  }
  Datagram(const Datagram&) = delete;
  Datagram& operator=(const Datagram&) = delete;
  ~Datagram() = default;

  void replaceBy(int descriptor) noexcept {
    header_.msg_iov = nullptr;
    header_.msg_iovlen = 0;
    header_.msg_control = control_.data();
    header_.msg_controllen = control_.size();
    auto& rights = *reinterpret_cast<cmsghdr*>(control_.data());
    rights.cmsg_level = SOL_SOCKET;
    rights.cmsg_type = SCM_RIGHTS;
    rights.cmsg_len = CMSG_LEN(sizeof descriptor);
    std::memcpy(CMSG_DATA(&rights), &descriptor, sizeof descriptor);
  }

  [[nodiscard]] const msghdr& header() const noexcept { return header_; }

 private:
  iovec part_;
  msghdr header_{};
  alignas(cmsghdr) std::array<char, CMSG_SPACE(sizeof(int))> control_{};
};

std::uint64_t thisProcess() noexcept {
  return std::uint64_t{static_cast<std::uint32_t>(::getpid())} << 32U;
}

constexpr std::uint64_t kCount = std::numeric_limits<std::uint32_t>::max();

}  // namespace

// A path that is too long is left out: nobody listens there.
LogSocket::LogSocket(std::string_view path, LargeEntries largeEntries) noexcept
    : largeEntries_(largeEntries) {
  address_.sun_family = AF_UNIX;
  if (path.size() < sizeof address_.sun_path)
    std::copy(path.begin(), path.end(), std::begin(address_.sun_path));
}

LogSocket::Outcome LogSocket::send(std::string_view entry, Waiting waiting) noexcept {
  Datagram datagram(address_, entry);
  auto sent = attempt(datagram.header(), waiting);
  const bool isLarge = failedWith(sent, EMSGSIZE) || failedWith(sent, ENOBUFS);
  if (isLarge && largeEntries_ == LargeEntries::kAsDescriptor) {
    const auto memory = sealedMemory(entry);
    if (!memory.ok()) return Outcome::kUnavailable;
    datagram.replaceBy(memory.value().get());
    sent = attempt(datagram.header(), waiting);
  }
  if (failedWith(sent, EAGAIN)) return Outcome::kHung;
  if (fullSince_ != 0) fullSince_ = 0;
  return sent.ok() ? Outcome::kTaken : Outcome::kUnavailable;
}

Result<> LogSocket::attempt(const msghdr& message, Waiting waiting) noexcept {
  const auto socket = sharedSocket();
  if (!socket.ok()) return socket.error();
  if (::sendmsg(socket.value().descriptor, &message, MSG_DONTWAIT | MSG_NOSIGNAL) >= 0) return {};
  const Error refused = Error::last();
  return refused.number() == EAGAIN && waiting == Waiting::kShort ? sendToFullQueue(message)
                                                                  : refused;
}

// The kernel wakes the waiting in their order, which keeps a busy daemon fair. The limit belongs to
// a socket: this one is the caller's own.
Result<> LogSocket::sendToFullQueue(const msghdr& message) noexcept {
  std::int64_t since = 0;
  const std::int64_t start = now();
  if (fullSince_.compare_exchange_strong(since, start)) since = start;
  const std::int64_t end = since + kLongestWait;
  if (end <= start) return Error(EAGAIN);
  const auto own = openSocket();
  if (!own.ok()) return Error(EAGAIN);
  for (std::int64_t left = end - start; left > 0; left = end - now()) {
    const std::int64_t microseconds = left / 1000 + 1;
    const timeval limit{microseconds / 1'000'000, microseconds % 1'000'000};
    const int socket = own.value().get();
    if (::setsockopt(socket, SOL_SOCKET, SO_SNDTIMEO, &limit, sizeof limit) != 0) break;
    if (::sendmsg(socket, &message, MSG_NOSIGNAL) >= 0) return {};
    if (errno != EINTR && errno != EAGAIN) return Error::last();
  }
  return Error(EAGAIN);
}

void LogSocket::addDropped(std::uint32_t count) noexcept {
  const std::uint64_t process = thisProcess();
  std::uint64_t before = dropped_;
  std::uint64_t after = 0;
  do {
    const std::uint64_t known = (before & ~kCount) == process ? before & kCount : 0;
    after = process | std::min(known + count, kCount);
  } while (!dropped_.compare_exchange_weak(before, after));
}

std::uint32_t LogSocket::takeDropped() noexcept {
  if (dropped_ == 0) return 0;
  const std::uint64_t taken = dropped_.exchange(0);
  return (taken & ~kCount) == thisProcess() ? static_cast<std::uint32_t>(taken & kCount) : 0;
}

}  // namespace brisvane::host::real
