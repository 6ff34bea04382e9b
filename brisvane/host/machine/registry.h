// The device registry as a service: nodes that stand for parts of the machine, with typed
// properties. Any number of threads may use one at the same time.
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

// The nodes that the library reads are the root and those named here. An operation on a handle
// that is 0, released or of another registry answers "nothing", and so does an operation that is
// not overridden.
//
// REQUIRES of an implementation: it throws nothing but std::bad_alloc; and what
// host::IdentityService requires, because a profile is gathered from it.
class BRISVANE_EXPORT Registry {
 public:
  static constexpr std::string_view kChosenPath = "HwDeviceTree:/chosen";
  static constexpr std::string_view kRomPath = "HwDeviceTree:/rom";
  // The firmware variables: one property each.
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

  // The value of a property: a byte buffer, a text, a number or anything else. nullopt when
  // there is none or it cannot be read; origin() says why. Each call makes a new Object.
  [[nodiscard]] virtual std::optional<Object> property(NodeHandle node, std::string_view name) const;

  // Sets a property to a text. ENOTSUP for a node that takes none, ENOENT for a handle that
  // names no node. On the options node this writes a variable, see VariableStore.
  virtual Result<> setProperty(NodeHandle node, std::string_view name, std::string_view value) const;

  // The names of a node's properties, sorted.
  [[nodiscard]] virtual std::vector<std::string> propertyNames(NodeHandle node) const;

  // The place that a property comes from: a file, as a rule.
  // When there is no such property, the error's what() is the place where it would be; it is
  // empty when the machine has no place for such a value. The numbers:
  //  - ENOENT: there is no such file or node.
  //  - EACCES, EPERM: this user may not read it.
  //  - ENODATA: the place exists, and has no such value.
  //  - EFBIG: the value is too large.
  virtual Result<std::string> origin(NodeHandle node, std::string_view name) const;

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
