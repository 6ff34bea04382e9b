// Who a Linux machine is: from its own files and the administrator's file.
// Safe from any thread.
#pragma once

#include <memory>
#include <string>
#include <utility>

#include "brisvane/host/machine/administrator_file.h"
#include "brisvane/host/machine/efi_variables.h"
#include "brisvane/host/machine/identity_service.h"

namespace brisvane::host::real {

// "SigningFuse" is whether Secure Boot is in force. "UniqueChipID" is the serial number of the
// system on a chip. The administrator's file replaces these, and alone gives the other answers.
class MachineIdentity final : public IdentityService {
 public:
  // `soc` is the kernel's folder of the system on a chip.
  MachineIdentity(std::shared_ptr<const EfiVariables> variables, std::string soc,
                  AdministratorFile file)
      : variables_(std::move(variables)), soc_(std::move(soc)), file_(std::move(file)) {}

  [[nodiscard]] std::optional<Object> answer(std::string_view key) const override;
  Result<std::string> origin(std::string_view key) const override;

 private:
  // Each error concerns the file that lacks the value.
  [[nodiscard]] Result<Object> signingFuse() const;
  [[nodiscard]] Result<Object> uniqueChipID() const;
  [[nodiscard]] std::string serialFile() const { return soc_ + "/serial_number"; }

  const std::shared_ptr<const EfiVariables> variables_;
  const std::string soc_;
  const AdministratorFile file_;
};

}  // namespace brisvane::host::real
