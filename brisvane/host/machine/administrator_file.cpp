#include "brisvane/host/machine/administrator_file.h"

#include <unistd.h>

#include <algorithm>
#include <cerrno>

#include "brisvane/host/machine/read_once.h"

namespace brisvane::host::real {

std::shared_ptr<const MachineDescription> AdministratorFile::read() const {
  return ReadOnce::content<MachineDescription>(path_, [this] {
    return MachineDescription::fromFile(path_).optional().value_or(MachineDescription{});
  });
}

Error AdministratorFile::whyMissing() const {
  return ::access(path_.c_str(), R_OK) == 0 ? Error(ENODATA, path_) : Error::last(path_);
}

bool OverlaidNode::exists() const {
  return base_->exists() || ((*file_.read()).*section_).has_value();
}

std::optional<Object> OverlaidNode::property(std::string_view name) const {
  const auto description = file_.read();
  const auto& overlay = (*description).*section_;
  const auto found = overlay ? overlay->find(name) : Dictionary::const_iterator();
  return overlay && found != overlay->end() ? std::optional(found->second) : base_->property(name);
}

std::vector<std::string> OverlaidNode::propertyNames() const {
  std::vector<std::string> names = base_->propertyNames();
  const auto description = file_.read();
  for (const auto& [name, value] : ((*description).*section_).value_or(Dictionary()))
    names.push_back(name);
  std::sort(names.begin(), names.end());
  names.erase(std::unique(names.begin(), names.end()), names.end());
  return names;
}

Result<std::string> OverlaidNode::origin(std::string_view name) const {
  const auto description = file_.read();
  const auto& overlay = (*description).*section_;
  if (overlay && overlay->contains(name)) return file_.path();
  auto origin = base_->origin(name);
  if (!origin.ok() && origin.error().what().empty()) return file_.whyMissing();
  return origin;
}

}  // namespace brisvane::host::real
