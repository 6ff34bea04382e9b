#include "brisvane/host/machine/described_node.h"

#include <algorithm>
#include <cerrno>
#include <new>

namespace brisvane::host {
namespace {

// The same content as an Object of its own.
Object copyOf(const Object& value) {
  if (const std::string* const text = value.ifText()) return *text;
  if (const Data* const bytes = value.ifData()) return *bytes;
  if (const auto flag = value.boolean()) return *flag;
  if (const auto number = value.integer()) return *number;
  if (const auto number = value.unsignedInteger()) return *number;
  if (const auto number = value.real()) return *number;
  return value;
}

}  // namespace

DescribedNode::~DescribedNode() = default;

std::optional<Object> DescribedNode::property(std::string_view name) const noexcept try {
  if (!properties_) return std::nullopt;
  const auto found = properties_->find(name);
  return found != properties_->end() ? std::optional(copyOf(found->second)) : std::nullopt;
} catch (const std::bad_alloc&) {
  return std::nullopt;
}

std::vector<std::string> DescribedNode::propertyNames() const noexcept try {
  std::vector<std::string> names;
  if (properties_) {
    for (const auto& [name, value] : *properties_) names.push_back(name);
  }
  std::sort(names.begin(), names.end());
  return names;
} catch (const std::bad_alloc&) {
  return {};
}

Origin DescribedNode::origin(std::string_view name) const noexcept try {
  const bool isThere = properties_ && properties_->contains(name);
  return {place_, isThere ? FormerError() : FormerError(properties_ ? ENODATA : ENOENT)};
} catch (const std::bad_alloc&) {
  return {{}, FormerError(ENOMEM)};
}

}  // namespace brisvane::host
