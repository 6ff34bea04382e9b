// A Linux machine in a folder: the real services, pointed at files that a test writes.
#pragma once

#include <memory>
#include <string>

#include "brisvane/host/linux_platform.h"
#include "tests/support/temporary_folder.h"

namespace brisvane::testing {

class LinuxMachine {
 public:
  // Writes a file of the machine: "smbios/product_name", "tree/chosen/chip-id",
  // "soc/serial_number", "variables/x-<GUID>", "os-release", "vendor-os-release", "net/lo/uevent"
  // or "machine.json".
  void write(const std::string& name, const std::string& content) const {
    writeFile(folder_ / name, content);
  }

  [[nodiscard]] std::string operator/(const std::string& name) const { return folder_ / name; }

  // Its services; what is written later counts, too.
  [[nodiscard]] std::shared_ptr<const host::Platform> platform() const {
    host::real::Roots roots;
    roots.deviceDirectory = folder_ / "dev";
    roots.journalSocket = folder_ / "journal";
    roots.administratorFile = folder_ / "machine.json";
    roots.smbios = folder_ / "smbios";
    roots.deviceTree = folder_ / "tree";
    roots.soc = folder_ / "soc";
    roots.osRelease = folder_ / "os-release";
    roots.vendorOsRelease = folder_ / "vendor-os-release";
    roots.efiVariables = folder_ / "variables";
    roots.anyFileSystem = true;
    roots.networkInterfaces = folder_ / "net";
    return std::make_shared<const host::Platform>(host::real::makePlatform(roots));
  }

 private:
  TemporaryFolder folder_;
};

}  // namespace brisvane::testing
