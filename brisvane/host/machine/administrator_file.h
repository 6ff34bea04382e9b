// What an administrator says about the machine, over what the machine says itself.
// Safe from any thread. The file is read afresh at each question, once where a ReadOnce says so.
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

  // What it says; nothing when it is missing, cannot be read, or is malformed: a wrong file
  // counts as a whole or not at all.
  [[nodiscard]] std::shared_ptr<const MachineDescription> read() const;

  // The origin of a value that it could give and does not.
  [[nodiscard]] Origin originOfNothing() const;

  [[nodiscard]] const std::string& path() const noexcept { return path_; }

 private:
  std::string path_;
};

// A registry node of the machine, with what the file says of it laid over.
class OverlaidNode final : public RegistryNode {
 public:
  using Section = std::optional<Dictionary> MachineDescription::*;

  OverlaidNode(std::shared_ptr<const RegistryNode> base, AdministratorFile file, Section section) noexcept
      : base_(std::move(base)), file_(std::move(file)), section_(section) {}

  [[nodiscard]] bool exists() const noexcept override;
  [[nodiscard]] std::optional<Object> property(std::string_view name) const noexcept override;
  [[nodiscard]] std::vector<std::string> propertyNames() const noexcept override;
  [[nodiscard]] Origin origin(std::string_view name) const noexcept override;

 private:
  const std::shared_ptr<const RegistryNode> base_;
  const AdministratorFile file_;
  const Section section_;
};

}  // namespace brisvane::host::real
