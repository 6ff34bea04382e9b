// Origin, where a value of the machine comes from, for a tool that explains a profile.
// A value type.
#pragma once

#include <string>

#include "brisvane/types/former_error.h"

namespace brisvane::host {

// Where a service looks for one value, and why it finds none there.
struct Origin {
  std::string place;  // a file, as a rule; empty when the machine has no place for such a value
  // Success when the value is there. ENOENT: no such file or node. EACCES or EPERM: kept
  // from this user. ENODATA: the place is there, and says nothing. EFBIG: too large.
  FormerError error;
};

}  // namespace brisvane::host
