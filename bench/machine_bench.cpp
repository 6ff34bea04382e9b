// The services of a Linux machine that lies in a folder.
#include <brisvane/logging/BVLog.h>
#include <brisvane/platform/BVNvram.h>
#include <brisvane/platform/BVSystemInfo.h>
#include <fcntl.h>
#include <sys/socket.h>
#include <sys/un.h>
#include <unistd.h>

#include <array>
#include <memory>
#include <span>

#include "bench/harness.h"
#include "tests/support/linux_machine.h"

namespace brisvane::bench {
namespace {

using testing::LinuxMachine;

constexpr const char* kVariable = "4D1EDE05-38C7-4A6A-9CC6-4BCCA8B38C14:greeting";
constexpr const char* kVariableFile = "variables/greeting-4d1ede05-38c7-4a6a-9cc6-4bcca8b38c14";
constexpr std::size_t kAttributes = 4;  // bytes ahead of a variable's value
constexpr const char* kModel = "A board of the field";

// A case that runs on a machine.
template <typename Operation, typename Value>
Case on(const std::shared_ptr<const host::Platform>& platform, std::string name,
        Operation operation, Value expected) {
  Case one = giving(std::move(name), std::move(operation), std::move(expected));
  one.run = [platform, run = one.run](std::size_t times) {
    const host::ScopedPlatform installed(platform);
    run(times);
  };
  one.isRight = [platform, isRight = one.isRight] {
    const host::ScopedPlatform installed(platform);
    return isRight();
  };
  return one;
}

// The files that a profile is gathered from.
constexpr std::array<std::pair<const char*, const char*>, 9> kFiles{
    {{"smbios/product_serial", "C02X1234ABCD\n"},
     {"smbios/product_uuid", "1b4e28ba-2fa1-11d2-883f-0016d3cca427\n"},
     {"smbios/product_name", "A board of the field\n"},
     {"smbios/board_name", "X870-17\n"},
     {"smbios/bios_version", "F12c\n"},
     {"soc/serial_number", "0x1122334455\n"},
     {"os-release", "NAME=\"A system\"\nVERSION_ID=\"12.5\"\nBUILD_ID=12B5003a\n"},
     {"variables/SecureBoot-8be4df61-93ca-11d2-aa0d-00e098032b8c", "\6\0\0\0\1"},
     {"variables/SetupMode-8be4df61-93ca-11d2-aa0d-00e098032b8c", "\6\0\0\0\0"}}};
constexpr const char* kDescription = R"({
  "registry": {"root": {"RookeryBuildVersion": "DEVELOPMENT 7"},
               "chosen": {"chip-id": {"hex": "34 12"}, "board-id": {"hex": "07"}}},
  "identity": {"FirmwareVersion": "F12d", "ProvisioningUniqueDeviceID": "00000000-1111"},
  "systemVersion": {"entries": {"ProductBuildVersion": "12B5003b"}}
}
)";

// A machine that lives as long as its paths are used.
struct Machine {
  LinuxMachine files;
  std::vector<std::string> paths;  // of what a profile is gathered from

  explicit Machine(const char* description) {
    for (const auto& [name, content] : kFiles) {
      const bool isVariable = std::string_view(name).starts_with("variables/");
      add(name, isVariable ? std::string(content, kAttributes + 1) : content);
    }
    if (description != nullptr) add("machine.json", description);
  }

 private:
  void add(const std::string& name, const std::string& content) {
    files.write(name, content);
    paths.push_back(files / name);
  }
};

std::size_t readOnce(const std::string& path) {
  std::array<char, 4096> content;
  const int file = ::open(path.c_str(), O_RDONLY | O_CLOEXEC);
  const ssize_t count = ::read(file, content.data(), content.size());
  ::close(file);
  keep(content);
  return count > 0 ? static_cast<std::size_t>(count) : 0;
}

bool readAll(const std::vector<std::string>& paths) {
  bool isRead = true;
  for (const std::string& path : paths) isRead = readOnce(path) != 0 && isRead;
  return isRead;
}

Row profileRow(std::string size, const Goal& goal, const char* description) {
  const auto machine = std::make_shared<const Machine>(description);
  const auto platform = machine->files.platform();
  return {std::move(size),
          goal,
          {giving(
               "its files read once", [machine] { return readAll(machine->paths); }, true),
           on(
               platform, "BVSystemInfo", [] { return BVSystemInfo().modelID(); },
               std::optional<std::string>(kModel))}};
}

Row variableRow() {
  const auto machine = std::make_shared<LinuxMachine>();
  const std::string value = "a text of some length, as variables hold it";
  machine->write(kVariableFile, std::string(kAttributes, '\7') + value);
  const std::string path = *machine / kVariableFile;
  return {"",
          {1.4, 2.2, "the store is asked whether it is mounted"},
          {giving(
               "open, read, close", [machine, path] { return readOnce(path); },
               kAttributes + value.size()),
           on(
               machine->platform(), "stringFromVariable",
               [] { return BVNvram::stringFromVariable(kVariable); },
               std::optional<std::string>(value))}};
}

// A datagram socket where the machine's journal would listen, read by whoever sends.
class Journal {
 public:
  explicit Journal(const LinuxMachine& machine)
      : ours_(::socket(AF_UNIX, SOCK_DGRAM | SOCK_CLOEXEC, 0)),
        sender_(::socket(AF_UNIX, SOCK_DGRAM | SOCK_CLOEXEC, 0)) {
    const std::string path = machine / "journal";
    address_.sun_family = AF_UNIX;
    path.copy(address_.sun_path, sizeof address_.sun_path - 1);
    ::bind(ours_, reinterpret_cast<const sockaddr*>(&address_), sizeof address_);
  }
  Journal(const Journal&) = delete;
  Journal& operator=(const Journal&) = delete;
  ~Journal() {
    ::close(ours_);
    ::close(sender_);
  }

  // As sd_journal_sendv(3) sends one: each field a part, in one datagram.
  void send(std::span<const std::string_view> fields) {
    std::array<iovec, 10> parts{};
    for (std::size_t i = 0; i < fields.size(); ++i)
      parts[i] = {const_cast<char*>(fields[i].data()), fields[i].size()};
    msghdr message{};
    message.msg_name = &address_;
    message.msg_namelen = sizeof address_;
    message.msg_iov = parts.data();
    message.msg_iovlen = fields.size();
    ::sendmsg(sender_, &message, MSG_NOSIGNAL);
  }

  // The number of bytes of the entry that has been sent.
  [[nodiscard]] ssize_t read() noexcept {
    return ::recv(ours_, space_.data(), space_.size(), MSG_DONTWAIT);
  }

 private:
  sockaddr_un address_{};
  int ours_;
  int sender_;
  std::array<char, 4096> space_;
};

Row journalRow() {
  struct Logged {
    LinuxMachine machine;
    Journal journal{machine};
    BVLog log{SystemLogHandle::waylineLog(), nullptr, 0};
  };
  static constexpr const char* kLine = "the text of a line as tools write them, status OK";
  static constexpr std::array<std::string_view, 10> kFields{
      "MESSAGE=the text of a line as tools write them, status OK",
      "\n",
      "PRIORITY=6",
      "\n",
      "SYSLOG_IDENTIFIER=brisvane_machine_bench",
      "\n",
      "BRISVANE_SUBSYSTEM=brisvane",
      "\n",
      "BRISVANE_CATEGORY=log",
      "\n"};
  const auto all = std::make_shared<Logged>();
  const auto isAnEntry = [](ssize_t bytes) { return bytes > 100; };
  return {"to a journal, and read",
          1.1,
          {measured(
               "sendmsg on a socket that is kept",
               [all] { return all->journal.send(kFields), all->journal.read(); }, isAnEntry),
           on(
               all->machine.platform(), "info",
               [all] { return all->log.info(kLine), all->journal.read() > 100; }, true)}};
}

}  // namespace

std::vector<Table> machineTables() {
  return {{"info", {journalRow()}},
          {"BVSystemInfo, first use",
           {profileRow("without a description",
                       {1.4, 2.3, "each file is read to its end, its folder looked for"}, nullptr),
            profileRow("with an administrator's", {1.6, 4.2, "as above, and JSON is parsed"},
                       kDescription)}},
          {"stringFromVariable", {variableRow()}}};
}

std::vector<Family> families() { return {{machineTables, Clock::kReal}}; }

}  // namespace brisvane::bench
