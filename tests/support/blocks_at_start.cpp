// ThreadSanitizer (seen with LLVM 14) loses a signal that comes while the first blocking call of a
// thread prepares for signals. A program with this makes that call before it has any handler.
#include <poll.h>

namespace {

[[gnu::constructor]] void block() { ::poll(nullptr, 0, 0); }

}  // namespace
