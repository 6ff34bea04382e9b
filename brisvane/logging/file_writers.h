// Small writers: a text to the end of a file, a dictionary to a property list.
// They keep no state and may be called from any thread; they block for as long as the file system
// does. A pipe whose reader goes away is a failure, and no signal. Of Brisvane, appendString() is another one.
#pragma once

#include "brisvane/types/export.h"
#include "brisvane/types/object.h"
#include "brisvane/types/text.h"

namespace brisvane {

// Appends the text's bytes, with nothing added, to a file, which is made when it is not there.
// Appends of several threads and processes neither tear nor overwrite each other on a local file
// system. A failure is reported as an error of the default logger, "Failed to append string to file "
// with the path, ": " and the reason; a file that exists and cannot be opened is never replaced.
BRISVANE_EXPORT void appendTo(Text text, Text file) noexcept;

// Writes the dictionary to a file, as a binary property list that any reader of these takes. A
// file that exists is overwritten in place. True when it was written. Otherwise an error of the default
// logger says why:
//
//   "Failed to encode data for " the path             it holds a null marker or a text that is not
//                                                     UTF-8, or nests too deep; no file is touched
//   "Failed to create " the path " file"              nothing is left behind
//   "Failed to write " the path " file: " the reason
BRISVANE_EXPORT bool writeToPlist(const Dictionary& dictionary, Text filePath) noexcept;

}  // namespace brisvane
