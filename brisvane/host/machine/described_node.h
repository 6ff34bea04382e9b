// DescribedNode, a registry node that has the properties it was given.
// Safe from any thread: nothing of it changes.
#pragma once

#include <optional>
#include <string>
#include <utility>
#include <vector>

#include "brisvane/host/machine/node_registry.h"
#include "brisvane/types/export.h"
#include "brisvane/types/object.h"

namespace brisvane::host {

class BRISVANE_EXPORT DescribedNode final : public RegistryNode {
 public:
  // Without properties, a node that the machine does not have. `place` is what gave the
  // properties, for their origin.
  DescribedNode(std::optional<Dictionary> properties, std::string place) noexcept
      : properties_(std::move(properties)), place_(std::move(place)) {}
  ~DescribedNode() override;

  [[nodiscard]] bool exists() const noexcept override { return properties_.has_value(); }
  [[nodiscard]] std::optional<Object> property(std::string_view name) const override;
  [[nodiscard]] std::vector<std::string> propertyNames() const override;
  Result<std::string> origin(std::string_view name) const override;

 private:
  const std::optional<Dictionary> properties_;
  const std::string place_;
};

}  // namespace brisvane::host
