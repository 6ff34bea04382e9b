#include "brisvane/logging/file_writers.h"

#include <new>

#include "brisvane/host/files/files.h"
#include "brisvane/host/formats/property_list.h"
#include "brisvane/logging/BVLog.h"
#include "brisvane/support/Brisvane.h"
#include "brisvane/types/join.h"
#include "brisvane/types/unicode.h"

namespace brisvane {
namespace {

// Tells the default logger of a failure.
void report(std::initializer_list<std::string_view> pieces) { BVLog::Default::error(join(pieces)); }

}  // namespace

void appendTo(Text text, Text file) noexcept try {
  const std::string_view path = file.orEmpty();
  if (const host::FormerError failed = host::appendToFile(path, text.orEmpty())) {
    report({"Failed to append string to file ", path, ": ", failed.text()});
  }
} catch (const std::bad_alloc&) {
  // There is no memory for the report.
}

bool Brisvane::appendString(Text text, Text toFile) noexcept {
  const bool canBeWritten = isAscii(text.orEmpty());
  const std::string_view bytes = canBeWritten ? text.orEmpty() : std::string_view();
  return !host::appendToFile(toFile.orEmpty(), bytes) && canBeWritten;
}

bool writeToPlist(const Dictionary& dictionary, Text filePath) noexcept try {
  const std::string_view path = filePath.orEmpty();
  const auto encoded = host::binaryPropertyList(dictionary);
  if (!encoded) {
    report({"Failed to encode data for ", path});
    return false;
  }
  if (host::fileKind(path) == host::FileKind::kNone) {
    const host::FormerError failed = host::createFile(path, asCharacters(*encoded));
    if (failed) report({"Failed to create ", path, " file"});
    return !failed;
  }
  const host::FormerError failed = host::overwriteFile(path, asCharacters(*encoded));
  if (failed) report({"Failed to write ", path, " file: ", failed.text()});
  return !failed;
} catch (const std::bad_alloc&) {
  return false;
}

}  // namespace brisvane
