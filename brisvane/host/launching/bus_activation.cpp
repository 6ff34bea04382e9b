#include "brisvane/host/launching/bus_activation.h"

#include <systemd/sd-bus.h>

#include <algorithm>
#include <cerrno>
#include <memory>
#include <new>
#include <string_view>

#include "brisvane/host/formats/file_url.h"
#include "brisvane/types/former_error.h"
#include "brisvane/types/join.h"

namespace brisvane::host::real {
namespace {

constexpr char kBus[] = "org.freedesktop.DBus";
constexpr char kBusPath[] = "/org/freedesktop/DBus";
constexpr char kApplication[] = "org.freedesktop.Application";
constexpr std::uint64_t kStep = 100'000;             // microseconds between looks at whether it is called off
constexpr std::uint64_t kCallLimit = 5'000'000;      // microseconds that the bus itself has for an answer
constexpr std::uint64_t kAnswerLimit = 120'000'000;  // microseconds that a bus gives a program to start

struct CloseBus {
  void operator()(sd_bus* bus) const noexcept { ::sd_bus_flush_close_unref(bus); }
};
using Bus = std::unique_ptr<sd_bus, CloseBus>;

struct UnrefMessage {
  void operator()(sd_bus_message* message) const noexcept { ::sd_bus_message_unref(message); }
};
using Message = std::unique_ptr<sd_bus_message, UnrefMessage>;

class BusError {
 public:
  BusError() = default;
  BusError(const BusError&) = delete;
  BusError& operator=(const BusError&) = delete;
  ~BusError() { ::sd_bus_error_free(&error_); }

  sd_bus_error* get() noexcept { return &error_; }
  [[nodiscard]] bool is(const char* name) const noexcept { return ::sd_bus_error_has_name(&error_, name) != 0; }

 private:
  sd_bus_error error_{};  // SD_BUS_ERROR_NULL, which is no C++
};

std::string textOf(const sd_bus_error& error, int number) {
  if (error.message != nullptr) return error.message;
  return errorText(error.name != nullptr ? EIO : number);
}

// The object that an application answers at: dots as slashes, hyphens as underscores.
std::string objectPathOf(std::string_view identifier) {
  std::string path = join({"/", identifier});
  std::replace(path.begin(), path.end(), '.', '/');
  std::replace(path.begin(), path.end(), '-', '_');
  return path;
}

// One activation, and the connection that it goes over.
class Activation {
 public:
  Activation(const std::string& identifier, const ActivationEvents& events)
      : identifier_(identifier), events_(events) {}

  void run(const std::vector<std::string>& arguments) {
    if (!connect() || !watchName()) return;
    const auto isRunning = hasOwner();
    if (!isRunning) return;
    wasRunning_ = isUp_ = *isRunning;
    if (!wasRunning_) events_.requested();
    if (send(arguments)) wait();
  }

 private:
  void fail(const std::string& reason) {
    isAnswered_ = hasFailed_ = true;
    events_.answered(join({identifier_.empty() ? "an empty name" : identifier_, ": ", reason}));
  }

  // Within a callback of the bus library, which no exception may cross.
  void failWithoutMemory() noexcept {
    isAnswered_ = hasFailed_ = true;
    events_.answered("no memory");  // short enough to need none
  }

  bool connect() {
    sd_bus* bus = nullptr;
    const int result = ::sd_bus_open_user(&bus);
    bus_.reset(bus);
    if (result >= 0) static_cast<void>(::sd_bus_set_method_call_timeout(bus, kCallLimit));
    if (result < 0) fail(join({"there is no session bus: ", errorText(-result)}));
    return result >= 0;
  }

  // Ahead of everything else: an owner that comes meanwhile must not be missed.
  bool watchName() {
    if (::sd_bus_service_name_is_valid(identifier_.c_str()) <= 0 || identifier_.front() == ':') {
      fail("is no name on the bus");
      return false;
    }
    const std::string rule = join(
        {"type='signal',sender='", kBus, "',path='", kBusPath, "',member='NameOwnerChanged',arg0='", identifier_, "'"});
    const int result = ::sd_bus_add_match(bus_.get(), nullptr, rule.c_str(), &onOwnerChanged, this);
    if (result < 0) fail(errorText(-result));
    return result >= 0;
  }

  // nullopt when it cannot be told.
  std::optional<bool> hasOwner() {
    BusError error;
    const int result = ::sd_bus_call_method(bus_.get(), kBus, kBusPath, kBus, "GetNameOwner", error.get(), nullptr, "s",
                                            identifier_.c_str());
    if (result >= 0) return true;
    if (error.is("org.freedesktop.DBus.Error.NameHasNoOwner")) return false;
    fail(textOf(*error.get(), -result));
    return std::nullopt;
  }

  bool send(const std::vector<std::string>& arguments) {
    sd_bus_message* created = nullptr;
    int result =
        ::sd_bus_message_new_method_call(bus_.get(), &created, identifier_.c_str(), objectPathOf(identifier_).c_str(),
                                         kApplication, arguments.empty() ? "Activate" : "Open");
    const Message message(created);
    if (result >= 0 && !arguments.empty()) {
      result = ::sd_bus_message_open_container(message.get(), 'a', "s");
      for (const std::string& argument : arguments) {
        const bool isPath = argument.starts_with('/');
        const bool isUrl = !isPath && argument.find("://") != std::string::npos;
        if (!isUrl && !isPath) {
          fail(join({"takes absolute paths and URLs alone, not \"", argument, "\""}));
          return false;
        }
        const std::string url = isUrl ? argument : fileUrl(argument);
        if (result >= 0) result = ::sd_bus_message_append_basic(message.get(), 's', url.c_str());
      }
      if (result >= 0) result = ::sd_bus_message_close_container(message.get());
    }
    if (result >= 0) result = ::sd_bus_message_append(message.get(), "a{sv}", 0);
    if (result >= 0) {
      result = ::sd_bus_call_async(bus_.get(), nullptr, message.get(), &onReply, this, kAnswerLimit);
    }
    if (result < 0) fail(errorText(-result));
    return result >= 0;
  }

  void wait() {
    while (!hasFailed_ && !(isAnswered_ && isUp_) && !events_.isCalledOff()) {
      const int result = ::sd_bus_process(bus_.get(), nullptr);
      if (result < 0) return isAnswered_ ? void() : fail(errorText(-result));
      if (result == 0) static_cast<void>(::sd_bus_wait(bus_.get(), kStep));
    }
  }

  static int onOwnerChanged(sd_bus_message* message, void* self, sd_bus_error* /*error*/) {
    const char* name = nullptr;
    const char* before = nullptr;
    const char* now = nullptr;
    auto& activation = *static_cast<Activation*>(self);
    if (::sd_bus_message_read(message, "sss", &name, &before, &now) < 0 || *now == '\0') return 0;
    if (!activation.isUp_) activation.events_.up();
    activation.isUp_ = true;
    return 0;
  }

  static int onReply(sd_bus_message* message, void* self, sd_bus_error* /*error*/) {
    auto& activation = *static_cast<Activation*>(self);
    const sd_bus_error* const refused = ::sd_bus_message_get_error(message);
    if (refused != nullptr) {
      try {
        activation.fail(textOf(*refused, EIO));
      } catch (const std::bad_alloc&) {
        activation.failWithoutMemory();
      }
      return 0;
    }
    activation.isAnswered_ = true;
    if (activation.wasRunning_) activation.events_.activated();
    activation.events_.answered(std::nullopt);
    return 0;
  }

  const std::string& identifier_;
  const ActivationEvents& events_;
  Bus bus_;
  bool wasRunning_ = false;
  bool isUp_ = false;
  bool isAnswered_ = false;
  bool hasFailed_ = false;
};

}  // namespace

void activateOnBus(const std::string& identifier, const std::vector<std::string>& arguments,
                   const ActivationEvents& events) {
  Activation(identifier, events).run(arguments);
}

}  // namespace brisvane::host::real
