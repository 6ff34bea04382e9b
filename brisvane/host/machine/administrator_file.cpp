#include "brisvane/host/machine/administrator_file.h"

#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <new>

#include "brisvane/host/machine/read_once.h"

namespace brisvane::host::real {

std::shared_ptr<const MachineDescription> AdministratorFile::read() const {
  return ReadOnce::content<MachineDescription>(path_, [this] {
    std::string error;
    return MachineDescription::fromFile(path_, error).value_or(MachineDescription{});
  });
}

Origin AdministratorFile::originOfNothing() const {
  const bool isThere = ::access(path_.c_str(), R_OK) == 0;
  return {path_, FormerError(isThere ? ENODATA : errno)};
}

bool OverlaidNode::exists() const noexcept try {
  return base_->exists() || ((*file_.read()).*section_).has_value();
} catch (const std::bad_alloc&) {
  return base_->exists();
}

std::optional<Object> OverlaidNode::property(std::string_view name) const noexcept try {
  const auto description = file_.read();
  const auto& overlay = (*description).*section_;
  const auto found = overlay ? overlay->find(name) : Dictionary::const_iterator();
  return overlay && found != overlay->end() ? std::optional(found->second) : base_->property(name);
} catch (const std::bad_alloc&) {
  return std::nullopt;
}

std::vector<std::string> OverlaidNode::propertyNames() const noexcept try {
  std::vector<std::string> names = base_->propertyNames();
  const auto description = file_.read();
  for (const auto& [name, value] : ((*description).*section_).value_or(Dictionary())) names.push_back(name);
  std::sort(names.begin(), names.end());
  names.erase(std::unique(names.begin(), names.end()), names.end());
  return names;
} catch (const std::bad_alloc&) {
  return {};
}

Origin OverlaidNode::origin(std::string_view name) const noexcept try {
  const auto description = file_.read();
  const auto& overlay = (*description).*section_;
  if (overlay && overlay->contains(name)) return {file_.path(), {}};
  Origin origin = base_->origin(name);
  return origin.place.empty() ? file_.originOfNothing() : origin;
} catch (const std::bad_alloc&) {
  return {{}, FormerError(ENOMEM)};
}

}  // namespace brisvane::host::real
