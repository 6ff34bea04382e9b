#include "launching.h"

#include <filesystem>
#include <system_error>

#include <brisvane/all.h>

#include "interrupt.h"

namespace bvdiag {
namespace {

namespace bv = brisvane;
using bv::BVProcess;

std::string adviceFor(std::int64_t result) {
  switch (result) {
    case BVProcess::kRunAppNoNotifications:
      return "not launched, because launches cannot be watched: no descriptor or thread is left";
    case BVProcess::kRunAppTimedOut:
      return "launched, but not up in time: check --id, or try a longer --timeout";
    default:
      return "not launched";
  }
}

// The errors that the operation has logged, on one line.
std::string reportedErrors() {
  std::string text = bv::BVLog::aggregatedErrorDescription();
  while (text.ends_with('\n')) text.pop_back();
  for (std::size_t at = text.find('\n'); at != std::string::npos; at = text.find('\n', at))
    text.replace(at, 1, "; ");
  return text;
}

}  // namespace

std::string applicationIdentifier(const std::string& path) {
  namespace fs = std::filesystem;
  const fs::path ending = ".desktop";
  std::error_code failed;
  for (const fs::directory_entry& entry : fs::directory_iterator(path, failed)) {
    if (entry.path().extension() == ending) return entry.path().stem();
  }
  const fs::path name = fs::path(path).filename();
  return name.extension() == ending ? name.stem() : name;
}

std::string launchFailure(const std::string& path, std::int64_t result) {
  // The operation itself gives a number. The reasons are in the aggregated errors.
  return path + ": " + (interrupted() ? "interrupted" : adviceFor(result)) + " (result " +
         std::to_string(result) + "): " + reportedErrors();
}

}  // namespace bvdiag
