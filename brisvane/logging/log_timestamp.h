// The timestamp that begins each line of a log file. Private to the library.
#pragma once

#include <string>

#include "brisvane/host/clock.h"

namespace brisvane {

// The date as "yyyy-MM-dd", a space, and hour, minute and second as plain decimal
// numbers joined by colons, in the local time zone: "2024-03-05 9:7:3". A change of TZ is
// followed at once, one of /etc/localtime at the next second that is asked about.
std::string logTimestamp(host::Clock::Wall moment);

}  // namespace brisvane
