#include "variable_name.h"

#include <cerrno>

#include <brisvane/host/machine/variable_store.h>
#include <brisvane/platform/BVNvram.h>
#include <brisvane/types/error.h>
#include <brisvane/types/guid.h>

namespace bvdiag {

namespace bv = brisvane;

std::string fullVariableName(std::string_view name, std::string_view space) {
  const bv::Guid& guid = space == "system" ? bv::BVNvram::kSystemGuid : bv::BVNvram::kLarderGuid;
  return bv::guidText(guid).append(":").append(name);
}

bool isVariableName(std::string_view fullName) {
  return bv::host::VariableName::parse(fullName).has_value();
}

std::string adviceForVariable(int error) {
  switch (error) {
    case EACCES:
    case EPERM:
      return "run it as root";
    case EROFS:
      return "the variables are mounted read-only: mount -o remount,rw /sys/firmware/efi/efivars";
    case ENOSPC:
      return "the store is full: delete a variable, or reboot so that the firmware frees space";
    case EINVAL:
      return "check the name (GUID:name, or --namespace) and the value: neither empty nor too "
             "large";
    case ENOENT:
      return "see `bvdiag nvram list`";
    default:
      return "check the store with `bvdiag nvram list`";
  }
}

std::string variableFailure(const std::string& fullName, int status) {
  if (status == 0) return {};
  if (status == bv::BVNvram::kNoStore) return fullName + ": " + kNoStore;
  return bv::errorText(fullName, status) + " (" + std::to_string(status) + "); " +
         adviceForVariable(status);
}

}  // namespace bvdiag
