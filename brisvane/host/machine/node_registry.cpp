#include "brisvane/host/machine/node_registry.h"

#include <cerrno>
#include <mutex>
#include <utility>

#include "brisvane/types/process_locks.h"

namespace brisvane::host {
namespace {

// Counted over all registries, so that a handle of one is never taken for another's.
// REQUIRES: the registries' lock is held.
NodeHandle nextHandle() noexcept {
  static constinit NodeHandle last = 0;
  if (++last == 0) ++last;
  return last;
}

}  // namespace

RegistryNode::~RegistryNode() = default;

Result<> RegistryNode::setProperty(std::string_view /*name*/, std::string_view /*value*/) const {
  return Error(ENOTSUP);
}

NodeRegistry::NodeRegistry(Nodes nodes) noexcept : nodes_(std::move(nodes)) {}
NodeRegistry::~NodeRegistry() = default;

NodeHandle NodeRegistry::root() const { return open(nodes_.root); }

NodeHandle NodeRegistry::nodeAtPath(std::string_view path) const {
  if (path == kChosenPath) return open(nodes_.chosen);
  if (path == kRomPath) return open(nodes_.rom);
  if (path == kOptionsPath) return open(nodes_.options);
  return 0;
}

NodeHandle NodeRegistry::firstNodeOfClass(std::string_view name) const {
  return name == kPlatformClass ? open(nodes_.platform) : 0;
}

NodeHandle NodeRegistry::open(const Node& node) const {
  if (node == nullptr || !node->exists()) return 0;
  const std::scoped_lock lock(processLock(ProcessLock::kRegistries));
  NodeHandle handle = nextHandle();
  while (!open_.emplace(handle, node).second) handle = nextHandle();
  return handle;
}

NodeRegistry::Node NodeRegistry::find(NodeHandle handle) const noexcept {
  const std::scoped_lock lock(processLock(ProcessLock::kRegistries));
  const auto found = open_.find(handle);
  return found != open_.end() ? found->second : nullptr;
}

std::optional<Object> NodeRegistry::property(NodeHandle node, std::string_view name) const {
  const Node found = find(node);
  return found != nullptr ? found->property(name) : std::nullopt;
}

Result<> NodeRegistry::setProperty(NodeHandle node, std::string_view name,
                                   std::string_view value) const {
  const Node found = find(node);
  return found != nullptr ? found->setProperty(name, value) : Error(ENOENT);
}

std::vector<std::string> NodeRegistry::propertyNames(NodeHandle node) const {
  const Node found = find(node);
  return found != nullptr ? found->propertyNames() : std::vector<std::string>();
}

Result<std::string> NodeRegistry::origin(NodeHandle node, std::string_view name) const {
  const Node found = find(node);
  return found != nullptr ? found->origin(name) : Error(ENOENT);
}

void NodeRegistry::release(NodeHandle node) const noexcept {
  Node released;  // goes after the lock has been let go
  const std::scoped_lock lock(processLock(ProcessLock::kRegistries));
  const auto found = open_.find(node);
  if (found == open_.end()) return;
  released = std::move(found->second);
  open_.erase(found);
}

std::size_t NodeRegistry::openHandles() const noexcept {
  const std::scoped_lock lock(processLock(ProcessLock::kRegistries));
  return open_.size();
}

}  // namespace brisvane::host
