// The version of the library, as a number and as a text that `what` finds.
// Constants: any thread may read them.
#pragma once

#include "brisvane/types/export.h"

extern "C" {

// 1.0
BRISVANE_EXPORT extern const double BrisvaneVersionNumber;

// "@(#)PROGRAM:Brisvane  PROJECT:Brisvane-1" and a line feed.
BRISVANE_EXPORT extern const char BrisvaneVersionString[];

}  // extern "C"
