// Brisvane, the class of operations that belong to no object.
// The class keeps no state; its operations may be called from any thread.
#pragma once

#include <optional>

#include "brisvane/types/export.h"
#include "brisvane/types/object.h"

namespace brisvane {

class BRISVANE_EXPORT Brisvane final {
 public:
  Brisvane() = delete;

  // The argument itself when present, identity included; the null marker when it is
  // absent. Lets a value that may be missing be stored in a dictionary or an array.
  [[nodiscard]] static Object objectOrNull(const std::optional<Object>& object) noexcept;
};

}  // namespace brisvane
