// LineOptions in the form of termios(3). Private to the library.
// The functions keep no state and may be called from any thread.
#pragma once

#include <termios.h>

#include "brisvane/host/terminal/line_options.h"
#include "brisvane/types/result.h"

namespace brisvane::host::real {

// Sets the options, but for the speed. EINVAL: an option is out of its range.
Result<> setOptions(termios& settings, const LineOptions& options);

// Whether the settings that a device reports are the options, but for the speed. ENOTSUP, with a
// reason that names the first that is not: drivers ignore what they do not support.
Result<> checkOptions(const termios& reported, const LineOptions& options);

}  // namespace brisvane::host::real
