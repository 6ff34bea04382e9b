// Who a Linux machine is, as far as it says so itself, and what the administrator's file
// says. Safe from any thread.
#pragma once

#include <memory>
#include <string>
#include <utility>

#include "brisvane/host/machine/administrator_file.h"
#include "brisvane/host/machine/efi_variables.h"
#include "brisvane/host/machine/identity_service.h"

namespace brisvane::host::real {

// "SigningFuse" is whether Secure Boot is in force, "UniqueChipID" the serial number of the
// system on a chip. Everything else, and over these, is the administrator's to say.
class MachineIdentity final : public IdentityService {
 public:
  // `soc` is the kernel's folder of the system on a chip.
  MachineIdentity(std::shared_ptr<const EfiVariables> variables, std::string soc, AdministratorFile file)
      : variables_(std::move(variables)), soc_(std::move(soc)), file_(std::move(file)) {}

  std::optional<Object> answer(std::string_view key) const noexcept override;
  Origin origin(std::string_view key) const noexcept override;

 private:
  // On failure `missing` is the variable that says nothing.
  [[nodiscard]] std::optional<Object> signingFuse(std::string_view& missing) const;
  [[nodiscard]] std::optional<Object> uniqueChipID(FormerError& error) const;
  [[nodiscard]] std::string serialFile() const { return soc_ + "/serial_number"; }

  const std::shared_ptr<const EfiVariables> variables_;
  const std::string soc_;
  const AdministratorFile file_;
};

}  // namespace brisvane::host::real
