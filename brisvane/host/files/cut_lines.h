// The files in which this process's last write was cut short, as by a full disk: its next line
// begins on a new one. The functions may be called from any thread.
#pragma once

namespace brisvane::host::real {

// Whether there is any such file: a quick look, so that the others need not be called in vain.
[[nodiscard]] bool isAnyLineCut() noexcept;

// Remembers an open file whose end is such a write. When there are too many, the one remembered
// first is forgotten.
void rememberCutLine(int file) noexcept;

// Forgets it. The result is whether this process remembered it. One that is shorter than it was
// then has been emptied, or is another file with its number: the cut line is gone.
bool forgetCutLine(int file) noexcept;

}  // namespace brisvane::host::real
