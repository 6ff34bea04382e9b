// A tool that logs one line.
#include <brisvane/logging/BVLog.h>

int main() { brisvane::BVLog::Default::info("started"); }
