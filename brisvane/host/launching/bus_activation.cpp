#include "brisvane/host/launching/bus_activation.h"

#include <systemd/sd-bus.h>

#include <algorithm>
#include <cerrno>
#include <memory>
#include <string_view>

#include "brisvane/host/formats/file_url.h"
#include "brisvane/types/join.h"

namespace brisvane::host::real {
namespace {

constexpr char kBus[] = "org.freedesktop.DBus";
constexpr char kBusPath[] = "/org/freedesktop/DBus";
constexpr char kApplication[] = "org.freedesktop.Application";
constexpr std::uint64_t kStep = 100'000;  // microseconds between looks at whether it is called off
constexpr std::uint64_t kCallLimit =
    5'000'000;  // microseconds that the bus itself has for an answer
constexpr std::uint64_t kAnswerLimit =
    120'000'000;  // microseconds that a bus gives a program to start

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
  [[nodiscard]] bool is(const char* name) const noexcept {
    return ::sd_bus_error_has_name(&error_, name) != 0;
  }

 private:
  sd_bus_error error_{};  // SD_BUS_ERROR_NULL, which is no C++
};

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
    const auto begun = begin(arguments);
    begun.ok() ? wait() : answer(begun);
  }

 private:
  enum class Owner { kNone, kRunning };

  // Everything up to the message that activates the application.
  Result<> begin(const std::vector<std::string>& arguments) {
    if (auto connected = connect(); !connected.ok()) return connected;
    if (auto watched = watchName(); !watched.ok()) return watched;
    const auto owner = findOwner();
    if (!owner.ok()) return owner.error();
    wasRunning_ = isUp_ = owner.value() == Owner::kRunning;
    if (!wasRunning_) events_.requested();
    return send(arguments);
  }

  [[nodiscard]] std::string_view name() const noexcept {
    return identifier_.empty() ? std::string_view("an empty name") : identifier_;
  }

  void answer(const Result<>& launched) {
    isAnswered_ = true;
    hasFailed_ = !launched.ok();
    events_.answered(launched);
  }

  Result<> connect() {
    sd_bus* bus = nullptr;
    const int result = ::sd_bus_open_user(&bus);
    bus_.reset(bus);
    if (result < 0)
      return Error(-result, name(), join({"there is no session bus: ", errorText(-result)}));
    static_cast<void>(::sd_bus_set_method_call_timeout(bus, kCallLimit));
    return {};
  }

  // Ahead of everything else: an owner that comes meanwhile must not be missed.
  Result<> watchName() {
    if (::sd_bus_service_name_is_valid(identifier_.c_str()) <= 0 || identifier_.front() == ':') {
      return Error::because("is no name on the bus", name());
    }
    const std::string rule = join({"type='signal',sender='", kBus, "',path='", kBusPath,
                                   "',member='NameOwnerChanged',arg0='", identifier_, "'"});
    return checked(::sd_bus_add_match(bus_.get(), nullptr, rule.c_str(), &onOwnerChanged, this));
  }

  Result<Owner> findOwner() {
    BusError error;
    const int result = ::sd_bus_call_method(bus_.get(), kBus, kBusPath, kBus, "GetNameOwner",
                                            error.get(), nullptr, "s", identifier_.c_str());
    if (result >= 0) return Owner::kRunning;
    if (error.is("org.freedesktop.DBus.Error.NameHasNoOwner")) return Owner::kNone;
    return errorOf(*error.get(), -result);
  }

  Result<> send(const std::vector<std::string>& arguments) {
    sd_bus_message* created = nullptr;
    int result = ::sd_bus_message_new_method_call(bus_.get(), &created, identifier_.c_str(),
                                                  objectPathOf(identifier_).c_str(), kApplication,
                                                  arguments.empty() ? "Activate" : "Open");
    const Message message(created);
    if (result < 0) return checked(result);
    if (!arguments.empty()) {
      if (auto appended = appendUrls(*message, arguments); !appended.ok()) return appended;
    }
    result = ::sd_bus_message_append(message.get(), "a{sv}", 0);
    if (result < 0) return checked(result);
    return checked(
        ::sd_bus_call_async(bus_.get(), nullptr, message.get(), &onReply, this, kAnswerLimit));
  }

  Result<> appendUrls(sd_bus_message& message, const std::vector<std::string>& arguments) const {
    int result = ::sd_bus_message_open_container(&message, 'a', "s");
    for (const std::string& argument : arguments) {
      const bool isPath = argument.starts_with('/');
      const bool isUrl = !isPath && argument.find("://") != std::string::npos;
      if (!isUrl && !isPath) {
        return Error::because(join({"takes absolute paths and URLs alone, not \"", argument, "\""}),
                              name());
      }
      const std::string url = isUrl ? argument : fileUrl(argument);
      if (result >= 0) result = ::sd_bus_message_append_basic(&message, 's', url.c_str());
    }
    if (result >= 0) result = ::sd_bus_message_close_container(&message);
    return checked(result);
  }

  void wait() {
    while (!hasFailed_ && !(isAnswered_ && isUp_) && !events_.isCalledOff()) {
      const int result = ::sd_bus_process(bus_.get(), nullptr);
      if (result < 0) return isAnswered_ ? void() : answer(checked(result));
      if (result == 0) static_cast<void>(::sd_bus_wait(bus_.get(), kStep));
    }
  }

  // The result of a call of the bus library, which is a negative errno value for a failure.
  [[nodiscard]] Result<> checked(int result) const noexcept {
    return result < 0 ? Error(-result, name()) : Result<>();
  }

  [[nodiscard]] Error errorOf(const sd_bus_error& error, int number) const noexcept {
    if (error.message != nullptr && *error.message != 0)
      return Error::because(error.message, name());
    return Error(error.name != nullptr ? EIO : number, name());
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
    if (refused == nullptr && activation.wasRunning_) activation.events_.activated();
    activation.answer(refused == nullptr ? Result<>() : activation.errorOf(*refused, EIO));
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
