#include "brisvane/host/machine/described_node.h"

#include <algorithm>
#include <cerrno>

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

std::optional<Object> DescribedNode::property(std::string_view name) const {
  if (!properties_) return std::nullopt;
  const auto found = properties_->find(name);
  return found != properties_->end() ? std::optional(copyOf(found->second)) : std::nullopt;
}

std::vector<std::string> DescribedNode::propertyNames() const {
  std::vector<std::string> names;
  if (properties_) {
    for (const auto& [name, value] : *properties_) names.push_back(name);
  }
  std::sort(names.begin(), names.end());
  return names;
}

Result<std::string> DescribedNode::origin(std::string_view name) const {
  if (!properties_) return Error(ENOENT, place_);
  if (!properties_->contains(name)) return Error(ENODATA, place_);
  return place_;
}

}  // namespace brisvane::host
