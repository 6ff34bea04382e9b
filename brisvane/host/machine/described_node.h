// DescribedNode, a registry node with fixed properties.
// Any number of threads may use one at the same time.
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
  // nullopt makes a node that does not exist. `place` is the origin of every property.
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
