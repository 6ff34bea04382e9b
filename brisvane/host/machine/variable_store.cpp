#include "brisvane/host/machine/variable_store.h"

#include <cerrno>
#include <utility>

#include "brisvane/types/join.h"

namespace brisvane::host {

std::optional<VariableName> VariableName::parse(std::string_view fullName) {
  constexpr std::size_t kPrefix = kGuidTextLength + 1;
  if (fullName.size() <= kPrefix || fullName[kGuidTextLength] != ':') return std::nullopt;
  const auto space = parseGuid(fullName.substr(0, kGuidTextLength));
  const std::string_view name = fullName.substr(kPrefix);
  if (!space || name.find_first_of(std::string_view("/\0", 2)) != std::string_view::npos)
    return std::nullopt;
  return VariableName{*space, std::string(name)};
}

std::string VariableName::text() const { return join({guidText(space), ":", name}); }

std::optional<Object> VariableStore::property(std::string_view name) const {
  const auto variable = VariableName::parse(name);
  if (!variable) return std::nullopt;
  auto value = read(*variable);
  return value.ok() ? std::optional<Object>(std::move(value).value()) : std::nullopt;
}

Result<> VariableStore::setProperty(std::string_view name, std::string_view value) const {
  if (name == kCommit) return commit();
  const bool deletes = name == kDelete;
  const auto variable = VariableName::parse(deletes ? value : name);
  if (!variable) return Error(EINVAL);
  if (deletes) return remove(*variable);
  if (value.empty()) return Error(EINVAL);
  return write(*variable, asBytes(value));
}

Result<std::string> VariableStore::origin(std::string_view name) const {
  const auto variable = VariableName::parse(name);
  if (!variable) return Error(EINVAL);
  const auto value = read(*variable);
  return value.ok() ? Result<std::string>(place(*variable)) : value.error().of(place(*variable));
}

}  // namespace brisvane::host
