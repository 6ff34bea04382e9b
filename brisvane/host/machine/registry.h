// Registry, the device registry as a service. Its nodes stand for parts of the machine, and have
// typed properties.
// Any number of threads may use one at the same time.
#pragma once

#include <cstdint>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include "brisvane/types/export.h"
#include "brisvane/types/object.h"
#include "brisvane/types/result.h"

namespace brisvane::host {

// Names an open node; 0 names none. Who opens a node releases it.
using NodeHandle = std::uint32_t;

// The library reads the root and the nodes named here. By default there are no nodes: a handle is
// 0, a property is nullopt, a list is empty, and a Result is an error. The same holds for an
// operation on a handle that is 0, released or of another registry.
//
// REQUIRES of an implementation: what host::IdentityService requires of services from which a
// profile is gathered.
class BRISVANE_EXPORT Registry {
 public:
  static constexpr std::string_view kChosenPath = "HwDeviceTree:/chosen";
  static constexpr std::string_view kRomPath = "HwDeviceTree:/rom";
  // Each property of this node is a firmware variable.
  static constexpr std::string_view kOptionsPath = "HwDeviceTree:/options";
  static constexpr std::string_view kPlatformClass = "HwPlatformExpertDevice";

  Registry() = default;
  Registry(const Registry&) = delete;
  Registry& operator=(const Registry&) = delete;
  virtual ~Registry();

  // Opens the root, the node at a path, or the first node of a class. 0 when the machine has no
  // such node.
  [[nodiscard]] virtual NodeHandle root() const;
  [[nodiscard]] virtual NodeHandle nodeAtPath(std::string_view path) const;
  [[nodiscard]] virtual NodeHandle firstNodeOfClass(std::string_view name) const;

  // The value of a property, of any kind. Each call makes a new Object. nullopt when there is none,
  // or when it cannot be read: origin() has the reason.
  [[nodiscard]] virtual std::optional<Object> property(NodeHandle node,
                                                       std::string_view name) const;

  // Sets a property to a text. On the options node this writes a variable: see VariableStore.
  // ENOTSUP: the node takes no properties. ENOENT: the handle names no node.
  virtual Result<> setProperty(NodeHandle node, std::string_view name,
                               std::string_view value) const;

  // The names of a node's properties, sorted.
  [[nodiscard]] virtual std::vector<std::string> propertyNames(NodeHandle node) const;

  // The place that a property comes from, usually a file.
  // Fails when there is no such property. The error's what() is the place where it would be; empty
  // when the machine has no such place. The usual errors:
  //  - ENOENT: there is no such file or node.
  //  - EACCES, EPERM: this user may not read it.
  //  - ENODATA: the place exists and has no such value.
  //  - EFBIG: the value is too large.
  //  - EINVAL: on the options node, the name is not "GUID:name".
  virtual Result<std::string> origin(NodeHandle node, std::string_view name) const;

  // Closes a handle. Does nothing for one that is 0 or released.
  virtual void release(NodeHandle node) const noexcept;
};

// An open node, released when this object is destroyed.
class OpenNode {
 public:
  OpenNode(const Registry& registry, NodeHandle node) noexcept : registry_(registry), node_(node) {}
  OpenNode(const OpenNode&) = delete;
  OpenNode& operator=(const OpenNode&) = delete;
  ~OpenNode() {
    if (*this) registry_.release(node_);
  }

  // False when there is no such node.
  explicit operator bool() const noexcept { return node_ != 0; }
  [[nodiscard]] NodeHandle handle() const noexcept { return node_; }

 private:
  const Registry& registry_;
  const NodeHandle node_;
};

}  // namespace brisvane::host
