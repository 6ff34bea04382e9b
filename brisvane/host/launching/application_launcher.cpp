#include "brisvane/host/launching/application_launcher.h"

#include <poll.h>
#include <sys/eventfd.h>
#include <sys/socket.h>
#include <sys/syscall.h>
#include <sys/un.h>
#include <sys/wait.h>
#include <unistd.h>

#include <array>
#include <cerrno>
#include <cstddef>
#include <cstring>
#include <string>
#include <utility>

#include "brisvane/host/files/descriptor.h"
#include "brisvane/host/formats/file_url.h"
#include "brisvane/host/launching/application.h"
#include "brisvane/host/launching/bus_activation.h"
#include "brisvane/host/launching/spawning.h"
#include "brisvane/types/join.h"
#include "brisvane/types/out_of_memory.h"

namespace brisvane::host::real {
namespace {

constexpr int kStep = 100;  // milliseconds between looks where the kernel reports no end

// A socket that an application reports its readiness to, as sd_notify(3) does.
class ReadySocket {
 public:
  Result<> open() {
    socket_ = Descriptor::aboveStandardStreams(
        ::socket(AF_UNIX, SOCK_DGRAM | SOCK_CLOEXEC | SOCK_NONBLOCK, 0));
    sockaddr_un address{};
    address.sun_family = AF_UNIX;
    socklen_t length = sizeof address.sun_family;  // the kernel chooses an abstract name
    if (!socket_.valid() ||
        ::bind(socket_.get(), reinterpret_cast<sockaddr*>(&address), length) != 0)
      return last();
    length = sizeof address;
    if (::getsockname(socket_.get(), reinterpret_cast<sockaddr*>(&address), &length) != 0)
      return last();
    const int on = 1;
    if (::setsockopt(socket_.get(), SOL_SOCKET, SO_PASSCRED, &on, sizeof on) != 0) return last();
    const std::size_t nameLength = length - offsetof(sockaddr_un, sun_path) - 1;
    name_ = join({"@", std::string_view(&address.sun_path[1], nameLength)});
    return {};
  }

  [[nodiscard]] int get() const noexcept { return socket_.get(); }
  // As the environment variable has it: "@" stands for the zero byte of an abstract name.
  [[nodiscard]] const std::string& name() const noexcept { return name_; }

  // Reads all that waits there, and gives whether READY=1 of this user, or of the session that
  // the process leads, is among it.
  [[nodiscard]] bool hasReady(pid_t process) const noexcept {
    bool isReady = false;
    std::array<char, 4096> text;
    alignas(cmsghdr) std::array<char, CMSG_SPACE(sizeof(ucred))> control;
    for (;;) {
      iovec part{text.data(), text.size()};
      msghdr message{};
      message.msg_iov = &part;
      message.msg_iovlen = 1;
      message.msg_control = control.data();
      message.msg_controllen = control.size();
      const ssize_t length = ::recvmsg(socket_.get(), &message, MSG_CMSG_CLOEXEC);
      if (length < 0 && errno == EINTR) continue;
      if (length < 0) return isReady;
      isReady |=
          isOf(message, process) && saysReady({text.data(), static_cast<std::size_t>(length)});
    }
  }

 private:
  static Error last() noexcept { return Error::last("the socket for its readiness"); }

  static bool isOf(msghdr& message, pid_t process) noexcept {
    const cmsghdr* const header = CMSG_FIRSTHDR(&message);
    if (header == nullptr || header->cmsg_level != SOL_SOCKET ||
        header->cmsg_type != SCM_CREDENTIALS)
      return false;
    ucred sender{};
    std::memcpy(&sender, CMSG_DATA(header), sizeof sender);
    return sender.uid == ::geteuid() || sender.uid == 0 || ::getsid(sender.pid) == process;
  }

  static bool saysReady(std::string_view lines) noexcept {
    while (!lines.empty()) {
      const std::size_t end = lines.find('\n');
      if (lines.substr(0, end) == "READY=1") return true;
      lines.remove_prefix(end == std::string_view::npos ? lines.size() : end + 1);
    }
    return false;
  }

  Descriptor socket_;
  std::string name_;
};

// One application on its way: what it is, and who hears of it.
struct Launch {
  Application application;
  LaunchSubscriptions& subscriptions;
  const OpenCompletion& completion;
  const std::stop_token& stop;

  void tell(std::int32_t code) const noexcept {
    subscriptions.publish(code, application.identifier);
  }
};

void activate(const Launch& launch) {
  activateOnBus(
      launch.application.identifier, launch.application.command,
      {.requested = [&] { launch.tell(LaunchCode::kRequested); },
       .answered = [&](const Result<>& launched) { launch.completion(nullptr, launched); },
       .up = [&] { launch.tell(LaunchCode::kUp); },
       .activated = [&] { launch.tell(LaunchCode::kActivated); },
       .isCalledOff = [&] { return launch.stop.stop_requested(); }});
}

// Becomes readable when the worker is asked to stop.
class StopEvent {
 public:
  explicit StopEvent(const std::stop_token& stop)
      : event_(Descriptor::aboveStandardStreams(::eventfd(0, EFD_CLOEXEC | EFD_NONBLOCK))),
        callback_(stop, Raise{event_.get()}) {}
  [[nodiscard]] int get() const noexcept { return event_.get(); }

 private:
  struct Raise {
    int event;
    void operator()() const noexcept {
      const std::uint64_t one = 1;
      static_cast<void>(!::write(event, &one, sizeof one));
    }
  };
  const Descriptor event_;
  const std::stop_callback<Raise> callback_;
};

// Waits for the process, so that it leaves no zombie, and on the way for its readiness.
void accompany(const Launch& launch, pid_t process, const ReadySocket* ready) {
  const Descriptor ended =
      Descriptor::aboveStandardStreams(static_cast<int>(::syscall(SYS_pidfd_open, process, 0)));
  const StopEvent stop(launch.stop);
  const bool canWait = ended.valid() && stop.get() >= 0;
  bool isUp = false;
  for (bool isGone = false; !isGone && !launch.stop.stop_requested();) {
    std::array<pollfd, 3> open{
        {{ended.get(), POLLIN, 0}, {stop.get(), POLLIN, 0}, {-1, POLLIN, 0}}};
    if (ready != nullptr) open[2].fd = ready->get();
    static_cast<void>(::poll(open.data(), open.size(), canWait ? -1 : kStep));
    // Gone also when someone else has waited for it, or its end is ignored. It may have reported
    // its readiness right before.
    isGone = ::waitpid(process, nullptr, WNOHANG) != 0;
    // Read to its end: what it says later must not fill the queue, on which it would wait.
    if (ready == nullptr || !ready->hasReady(process) || isUp) continue;
    launch.tell(LaunchCode::kUp);
    isUp = true;
  }
}

void execute(const Launch& launch) {
  const Application& application = launch.application;
  ReadySocket ready;
  Spawning spawning;
  spawning.command = application.command;
  spawning.directory = application.directory;
  spawning.environment = {"NOTIFY_SOCKET"};
  spawning.isDetached = true;
  if (application.tellsWhenReady) {
    if (const auto opened = ready.open(); !opened.ok()) return launch.completion(nullptr, opened);
    spawning.environment = {join({"NOTIFY_SOCKET=", ready.name()})};
  }
  launch.tell(LaunchCode::kRequested);
  const auto child = spawnProcess(spawning);
  if (!child.ok()) return launch.completion(nullptr, child.error());
  launch.tell(LaunchCode::kStarted);
  if (!application.tellsWhenReady) launch.tell(LaunchCode::kUp);
  launch.completion(nullptr, {});
  accompany(launch, child.value().id, application.tellsWhenReady ? &ready : nullptr);
}

void launchAt(const std::string& url, const std::vector<std::string>& arguments,
              LaunchSubscriptions& subscriptions, const OpenCompletion& completion,
              const std::stop_token& stop) {
  const auto path = pathOfFileUrl(url);
  if (!path)
    return completion(nullptr,
                      Error::because("is no file URL", url.empty() ? "an empty URL" : url));
  auto application = applicationAt(*path, arguments);
  if (!application.ok()) return completion(nullptr, application.error());
  const Launch launch{std::move(application).value(), subscriptions, completion, stop};
  launch.application.isActivatedByBus ? activate(launch) : execute(launch);
}

}  // namespace

Result<SubscriptionHandle> ApplicationLauncher::subscribe(std::int32_t /*session*/,
                                                          std::int32_t /*flags*/,
                                                          const SerialQueue& queue,
                                                          NotificationCallback callback) const {
  return subscriptions_->subscribe(queue, std::move(callback));
}

Result<> ApplicationLauncher::selectCodes(SubscriptionHandle subscription,
                                          std::span<const std::int32_t> codes,
                                          std::int32_t /*first*/, std::int32_t /*second*/,
                                          std::int32_t /*third*/, std::int32_t /*fourth*/) const {
  return subscriptions_->selectCodes(subscription, codes);
}

void ApplicationLauncher::unsubscribe(SubscriptionHandle subscription) const noexcept {
  subscriptions_->unsubscribe(subscription);
}

Result<> ApplicationLauncher::registerBundle(std::string_view /*url*/, bool /*forceUpdate*/) const {
  return {};
}

void ApplicationLauncher::open(std::string_view url, const OpenConfiguration& configuration,
                               OpenCompletion completion) const {
  const auto started = workers_.start([subscriptions = subscriptions_, url = std::string(url),
                                       arguments = configuration.arguments,
                                       completion](const std::stop_token& stop) {
    // The caller waits for an answer, and every step that may lack memory comes ahead of the
    // answer.
    const bool hadMemory = memoryPermitting(false, [&] {
      launchAt(url, arguments, *subscriptions, completion, stop);
      return true;
    });
    if (!hadMemory) completion(nullptr, Error(ENOMEM));
  });
  if (!started.ok()) completion(nullptr, started.error());
}

}  // namespace brisvane::host::real
