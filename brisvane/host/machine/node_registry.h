// NodeRegistry, a registry of nodes that its creator gives it.
// Any number of threads may use one at the same time.
#pragma once

#include <cstddef>
#include <memory>
#include <string>
#include <unordered_map>
#include <vector>

#include "brisvane/host/machine/registry.h"
#include "brisvane/types/export.h"

namespace brisvane::host {

// One node of a registry. Any number of threads may use one at the same time.
// REQUIRES of an implementation: it throws nothing but std::bad_alloc.
class BRISVANE_EXPORT RegistryNode {
 public:
  RegistryNode() = default;
  RegistryNode(const RegistryNode&) = delete;
  RegistryNode& operator=(const RegistryNode&) = delete;
  virtual ~RegistryNode();

  // Whether the machine has the node at this moment.
  [[nodiscard]] virtual bool exists() const = 0;

  // The operations of Registry with these names. By default setProperty() fails with ENOTSUP.
  [[nodiscard]] virtual std::optional<Object> property(std::string_view name) const = 0;
  virtual Result<> setProperty(std::string_view name, std::string_view value) const;
  [[nodiscard]] virtual std::vector<std::string> propertyNames() const = 0;
  virtual Result<std::string> origin(std::string_view name) const = 0;
};

class BRISVANE_EXPORT NodeRegistry final : public Registry {
 public:
  // The nodes that the library reads. Null for a node that the machine never has.
  struct Nodes {
    std::shared_ptr<const RegistryNode> root;
    std::shared_ptr<const RegistryNode> chosen;
    std::shared_ptr<const RegistryNode> platform;  // of the class kPlatformClass
    std::shared_ptr<const RegistryNode> rom;
    std::shared_ptr<const RegistryNode> options;
  };
  explicit NodeRegistry(Nodes nodes) noexcept;
  ~NodeRegistry() override;

  [[nodiscard]] NodeHandle root() const override;
  [[nodiscard]] NodeHandle nodeAtPath(std::string_view path) const override;
  [[nodiscard]] NodeHandle firstNodeOfClass(std::string_view name) const override;
  [[nodiscard]] std::optional<Object> property(NodeHandle node,
                                               std::string_view name) const override;
  Result<> setProperty(NodeHandle node, std::string_view name,
                       std::string_view value) const override;
  [[nodiscard]] std::vector<std::string> propertyNames(NodeHandle node) const override;
  Result<std::string> origin(NodeHandle node, std::string_view name) const override;
  // Releasing a handle a second time does nothing, because no handle is used again.
  void release(NodeHandle node) const noexcept override;

  // How many handles are open.
  [[nodiscard]] std::size_t openHandles() const noexcept;

 private:
  using Node = std::shared_ptr<const RegistryNode>;
  [[nodiscard]] NodeHandle open(const Node& node) const;
  [[nodiscard]] Node find(NodeHandle handle) const noexcept;

  const Nodes nodes_;
  mutable std::unordered_map<NodeHandle, Node> open_;
};

}  // namespace brisvane::host
