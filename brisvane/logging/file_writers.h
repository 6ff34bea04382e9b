// Small writers: a text to the end of a file, a dictionary to a property list. See also
// Brisvane::appendString().
// The functions keep no state and may be called from any thread. They block for as long as the file
// system does. They fail, without a signal, when the reader of a pipe goes away.
#pragma once

#include "brisvane/types/export.h"
#include "brisvane/types/object.h"
#include "brisvane/types/text.h"

namespace brisvane {

// Appends the text to a file, byte for byte. A missing file is made. A file that exists and cannot
// be opened is never replaced. On a local file system, texts of several threads and processes
// neither tear nor overwrite each other.
// The default logger logs a failure as an error: "Failed to append string to file ", the path, ": "
// and the reason. When memory runs out, it may log nothing.
BRISVANE_EXPORT void appendTo(Text text, Text file) noexcept;

// Writes the dictionary to a file, as a binary property list. A file that exists is overwritten in
// place. True when all was written. Otherwise false, and the default logger logs one of these
// errors, but may log nothing when memory runs out:
//
//   "Failed to encode data for " the path             it holds a null marker or a text that is not
//                                                     UTF-8, or nests too deep; no file is touched
//   "Failed to create " the path " file"              nothing is left behind
//   "Failed to write " the path " file: " the reason
BRISVANE_EXPORT bool writeToPlist(const Dictionary& dictionary, Text filePath) noexcept;

}  // namespace brisvane
