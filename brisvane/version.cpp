#include "brisvane/version.h"

const double BrisvaneVersionNumber = 1.0;
const char BrisvaneVersionString[] = "@(#)PROGRAM:Brisvane  PROJECT:Brisvane-1\n";
