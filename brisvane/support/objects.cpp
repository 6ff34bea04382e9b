#include "brisvane/support/Brisvane.h"

namespace brisvane {

Object Brisvane::objectOrNull(const std::optional<Object>& object) noexcept { return object.value_or(Object()); }

}  // namespace brisvane
