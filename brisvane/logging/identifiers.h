// The names under which the library appears in the system log and in the preferences.
// Private to the library.
#pragma once

namespace brisvane {

inline constexpr char kLogSubsystem[] = "org.brisvane.log";
inline constexpr char kLogCategory[] = "BV";
inline constexpr char kPreferencesSuite[] = "org.brisvane";

}  // namespace brisvane
