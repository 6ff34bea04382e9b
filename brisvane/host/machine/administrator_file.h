// What the administrator's file says about the machine; it replaces what the machine itself says.
// Safe from any thread. Each question reads the file afresh, once while a ReadOnce lives.
#pragma once

#include <memory>
#include <string>
#include <string_view>
#include <utility>

#include "brisvane/host/machine/machine_description.h"
#include "brisvane/host/machine/node_registry.h"

namespace brisvane::host::real {

class AdministratorFile {
 public:
  explicit AdministratorFile(std::string path) : path_(std::move(path)) {}

  // Its content. Empty when the file is missing, cannot be read or is malformed: no part of a
  // malformed file is used.
  [[nodiscard]] std::shared_ptr<const MachineDescription> read() const;

  // Why a value that it could give is missing, as Registry::origin reports it.
  [[nodiscard]] Error whyMissing() const;

  [[nodiscard]] const std::string& path() const noexcept { return path_; }

 private:
  std::string path_;
};

// A registry node of the machine. The properties that the file gives it replace its own.
class OverlaidNode final : public RegistryNode {
 public:
  using Section = std::optional<Dictionary> MachineDescription::*;

  OverlaidNode(std::shared_ptr<const RegistryNode> base, AdministratorFile file,
               Section section) noexcept
      : base_(std::move(base)), file_(std::move(file)), section_(section) {}

  [[nodiscard]] bool exists() const override;
  [[nodiscard]] std::optional<Object> property(std::string_view name) const override;
  [[nodiscard]] std::vector<std::string> propertyNames() const override;
  Result<std::string> origin(std::string_view name) const override;

 private:
  const std::shared_ptr<const RegistryNode> base_;
  const AdministratorFile file_;
  const Section section_;
};

}  // namespace brisvane::host::real
