// The device registry as a service: nodes that stand for parts of the machine, with typed
// properties. Any number of threads may use one at the same time.
#pragma once

#include <cstdint>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include "brisvane/host/machine/origin.h"
#include "brisvane/types/export.h"
#include "brisvane/types/object.h"

namespace brisvane::host {

// Names an open node; 0 names none. Who opens a node releases it.
using NodeHandle = std::uint32_t;

// The nodes that the library reads are the root and those named here. Every operation on
// a handle that is 0, released or of another registry answers "nothing".
// An operation that is not overridden answers "nothing".
//
// REQUIRES of an implementation what host::IdentityService does: a profile is gathered from it.
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

  // Each opens a node: the root, the one at a path, the first one of a class. 0 when the
  // machine has no such node, and when memory runs out.
  [[nodiscard]] virtual NodeHandle root() const noexcept;
  [[nodiscard]] virtual NodeHandle nodeAtPath(std::string_view path) const noexcept;
  [[nodiscard]] virtual NodeHandle firstNodeOfClass(std::string_view name) const noexcept;

  // The value of a property: a byte buffer, a text, a number or anything else. nullopt when
  // there is none or it cannot be read. Each call makes a new Object.
  [[nodiscard]] virtual std::optional<Object> property(NodeHandle node, std::string_view name) const noexcept;

  // Sets a property to a text. 0 for success, else an errno value: ENOTSUP from a node that
  // takes none, ENOENT for a handle that names no node. On the options node this writes a
  // variable, see VariableStore.
  [[nodiscard]] virtual std::int32_t setProperty(NodeHandle node, std::string_view name,
                                                 std::string_view value) const noexcept;

  // The names of a node's properties, sorted.
  [[nodiscard]] virtual std::vector<std::string> propertyNames(NodeHandle node) const noexcept;

  // Where a property comes from, or would if it were there.
  [[nodiscard]] virtual Origin origin(NodeHandle node, std::string_view name) const noexcept;

  virtual void release(NodeHandle node) const noexcept;
};

// An open node, released when this object goes.
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
