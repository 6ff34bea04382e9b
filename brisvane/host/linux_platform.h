// The platform services of the Linux machine that the program runs on.
// The function may be called from any thread.
#pragma once

#include <string>

#include "brisvane/host/machine/machine_description.h"
#include "brisvane/host/platform.h"

namespace brisvane::host::real {

// Where the services look. A test sets folders of its own.
struct Roots {
  std::string deviceDirectory = "/dev";
  std::string journalSocket = "/run/systemd/journal/socket";
  std::string syslogSocket = "/dev/log";
  std::string administratorFile{kAdministratorFile};
  std::string smbios = "/sys/class/dmi/id";
  std::string deviceTree = "/proc/device-tree";
  std::string soc = "/sys/devices/soc0";
  std::string osRelease = "/etc/os-release";
  std::string vendorOsRelease = "/usr/lib/os-release";
  std::string efiVariables = "/sys/firmware/efi/efivars";
  bool anyFileSystem = false;  // as for EfiVariables
  std::string networkInterfaces = "/sys/class/net";
};

// A platform with every service, reading from `roots`.
Platform makePlatform(const Roots& roots);

}  // namespace brisvane::host::real
