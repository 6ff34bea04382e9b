// An application for the tests of the launch service:
//   test_application record FILE ARGUMENT...   writes what it was started with, one line each
//   test_application ready SECONDS             tells that it is ready after that time, and goes on
//   test_application bus NAME FILE             owns the bus name and writes what it is asked for
//   test_application chat FILE                 is ready, says a lot more, then writes the file
//   test_application sleep SECONDS             does nothing for that time
#include <dirent.h>
#include <systemd/sd-bus.h>
#include <systemd/sd-daemon.h>
#include <unistd.h>

#include <algorithm>
#include <csignal>
#include <cstdio>
#include <cstdlib>
#include <fstream>
#include <string>

namespace {

int openDescriptors() {
  int count = -1;  // the folder's own
  DIR* const folder = ::opendir("/proc/self/fd");
  while (const dirent* const entry = ::readdir(folder)) count += entry->d_name[0] != '.' ? 1 : 0;
  ::closedir(folder);
  return count;
}

int record(int count, char** arguments) {
  const std::string path = arguments[2];
  {
    std::ofstream file(path + ".part");
    char directory[4096];
    file << "directory " << ::getcwd(directory, sizeof directory) << '\n';
    file << "session " << (::getsid(0) == ::getpid() ? "own" : "shared") << '\n';
    file << "descriptors " << openDescriptors() - 1 << '\n';  // but for this file
    struct sigaction action {};
    ::sigaction(SIGPIPE, nullptr, &action);
    file << "signals " << (action.sa_handler == SIG_DFL ? "default" : "changed") << '\n';
    file << "socket " << (std::getenv("NOTIFY_SOCKET") != nullptr ? "set" : "none") << '\n';
    for (int i = 3; i < count; ++i) file << "argument " << arguments[i] << '\n';
  }
  return std::rename((path + ".part").c_str(), path.c_str());
}

int answer(sd_bus_message* message, void* path, sd_bus_error* /*error*/) {
  std::ofstream file(static_cast<const char*>(path), std::ios::app);
  file << ::sd_bus_message_get_member(message);
  if (::sd_bus_message_is_method_call(message, nullptr, "Open") > 0) {
    ::sd_bus_message_enter_container(message, 'a', "s");
    for (const char* url = nullptr; ::sd_bus_message_read_basic(message, 's', &url) > 0;)
      file << ' ' << url;
  }
  file << '\n' << std::flush;
  return ::sd_bus_reply_method_return(message, "");
}

int serve(const char* name, char* path) {
  static const sd_bus_vtable kApplication[] = {
      SD_BUS_VTABLE_START(0),
      SD_BUS_METHOD("Activate", "a{sv}", "", answer, SD_BUS_VTABLE_UNPRIVILEGED),
      SD_BUS_METHOD("Open", "asa{sv}", "", answer, SD_BUS_VTABLE_UNPRIVILEGED), SD_BUS_VTABLE_END};
  std::string object = std::string("/") + name;
  std::replace(object.begin(), object.end(), '.', '/');
  sd_bus* bus = nullptr;
  if (::sd_bus_open_user(&bus) < 0) return 1;
  if (::sd_bus_add_object_vtable(bus, nullptr, object.c_str(), "org.freedesktop.Application",
                                 kApplication, path) < 0) {
    return 1;
  }
  if (::sd_bus_request_name(bus, name, 0) < 0) return 1;
  // Until the bus goes.
  while (::sd_bus_process(bus, nullptr) >= 0 && ::sd_bus_wait(bus, UINT64_MAX) >= 0) {
  }
  ::sd_bus_flush_close_unref(bus);
  return 0;
}

}  // namespace

int main(int count, char** arguments) {
  const std::string mode = count > 2 ? arguments[1] : "";
  if (mode == "record") return record(count, arguments);
  if (mode == "chat") {
    for (int i = 0; i < 2000; ++i) ::sd_notify(0, i == 0 ? "READY=1" : "STATUS=still here");
    const std::string path = arguments[2];
    std::ofstream(path + ".part") << "done\n";
    return std::rename((path + ".part").c_str(), path.c_str());
  }
  if (mode == "bus" && count == 4) return serve(arguments[2], arguments[3]);
  if (mode != "ready" && mode != "sleep") return 2;
  ::usleep(static_cast<useconds_t>(std::stod(arguments[2]) * 1e6));
  if (mode == "ready") {
    ::sd_notify(0, "STATUS=soon\nREADY=1");
    ::usleep(200'000);
  }
  return 0;
}
