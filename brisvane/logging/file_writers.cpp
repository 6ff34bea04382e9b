#include "brisvane/logging/file_writers.h"

#include "brisvane/host/files/files.h"
#include "brisvane/host/formats/property_list.h"
#include "brisvane/logging/BVLog.h"
#include "brisvane/support/Brisvane.h"
#include "brisvane/types/join.h"
#include "brisvane/types/out_of_memory.h"
#include "brisvane/types/unicode.h"

namespace brisvane {
namespace {

// Tells the default logger of a failure.
void report(std::initializer_list<std::string_view> pieces) { BVLog::Default::error(join(pieces)); }

}  // namespace

void appendTo(Text text, Text file) noexcept {
  unlessOutOfMemory([&] {
    const std::string_view path = file.orEmpty();
    const Result<> appended = host::appendToFile(path, text.orEmpty());
    if (!appended.ok())
      report({"Failed to append string to file ", path, ": ", appended.error().reason()});
  });
}

bool Brisvane::appendString(Text text, Text toFile) noexcept {
  const bool canBeWritten = isAscii(text.orEmpty());
  const std::string_view bytes = canBeWritten ? text.orEmpty() : std::string_view();
  return memoryPermitting(
      false, [&] { return host::appendToFile(toFile.orEmpty(), bytes).ok() && canBeWritten; });
}

bool writeToPlist(const Dictionary& dictionary, Text filePath) noexcept {
  return memoryPermitting(false, [&] {
    const std::string_view path = filePath.orEmpty();
    const auto encoded = host::binaryPropertyList(dictionary);
    if (!encoded.ok()) {
      report({"Failed to encode data for ", path});
      return false;
    }
    if (host::fileKind(path) == host::FileKind::kNone) {
      const bool isCreated = host::createFile(path, asCharacters(encoded.value())).ok();
      if (!isCreated) report({"Failed to create ", path, " file"});
      return isCreated;
    }
    const Result<> overwritten = host::overwriteFile(path, asCharacters(encoded.value()));
    if (!overwritten.ok())
      report({"Failed to write ", path, " file: ", overwritten.error().reason()});
    return overwritten.ok();
  });
}

}  // namespace brisvane
