#include "brisvane/host/machine/variable_store.h"

#include <cerrno>
#include <new>
#include <utility>

#include "brisvane/types/join.h"

namespace brisvane::host {

std::optional<VariableName> VariableName::parse(std::string_view fullName) {
  constexpr std::size_t kPrefix = kGuidTextLength + 1;
  if (fullName.size() <= kPrefix || fullName[kGuidTextLength] != ':') return std::nullopt;
  const auto space = parseGuid(fullName.substr(0, kGuidTextLength));
  const std::string_view name = fullName.substr(kPrefix);
  if (!space || name.find_first_of(std::string_view("/\0", 2)) != std::string_view::npos) return std::nullopt;
  return VariableName{*space, std::string(name)};
}

std::string VariableName::text() const { return join({guidText(space), ":", name}); }

std::optional<Object> VariableStore::property(std::string_view name) const noexcept try {
  const auto variable = VariableName::parse(name);
  if (!variable) return std::nullopt;
  FormerError error;
  auto value = read(*variable, error);
  return value ? std::optional<Object>(std::move(*value)) : std::nullopt;
} catch (const std::bad_alloc&) {
  return std::nullopt;
}

std::int32_t VariableStore::setProperty(std::string_view name, std::string_view value) const noexcept try {
  if (name == kCommit) return commit().number();
  const bool deletes = name == kDelete;
  const auto variable = VariableName::parse(deletes ? value : name);
  if (!variable) return EINVAL;
  if (deletes) return remove(*variable).number();
  if (value.empty()) return EINVAL;
  return write(*variable, asBytes(value)).number();
} catch (const std::bad_alloc&) {
  return ENOMEM;
}

Origin VariableStore::origin(std::string_view name) const noexcept try {
  const auto variable = VariableName::parse(name);
  if (!variable) return {{}, FormerError(EINVAL)};
  Origin origin{place(*variable), {}};
  static_cast<void>(read(*variable, origin.error));
  return origin;
} catch (const std::bad_alloc&) {
  return {{}, FormerError(ENOMEM)};
}

}  // namespace brisvane::host
