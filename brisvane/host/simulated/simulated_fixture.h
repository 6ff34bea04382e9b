// Fixture, a simulated test fixture on a real pseudo-terminal.
// A Fixture runs on a thread of its own; its operations may be called from any thread,
// except from within its observer.
#pragma once

#include <functional>
#include <memory>
#include <string>

#include "brisvane/host/simulated/simulated_fixture_script.h"
#include "brisvane/types/data.h"
#include "brisvane/types/export.h"
#include "brisvane/types/result.h"

namespace brisvane::host::simulated {

// Any program can open its node, one at a time, as it would a USB adapter's. What a
// program has left unread is taken away a moment after it has closed the line. A
// text command ends with a carriage return, a line feed or both; a command known by its
// exact text or bytes is also taken when the line goes quiet after it.
class BRISVANE_EXPORT Fixture {
 public:
  enum class Event : std::uint8_t { kOpened, kClosed, kReceived, kSent, kHungUp };
  // Called on the fixture's thread as things happen; the bytes are empty but for
  // kReceived and kSent. It must not throw. kHungUp may come after hangUp has returned.
  using Observer = std::function<void(Event event, ByteView bytes)>;

  // Starts a fixture; never null. Fails when the system gives no pseudo-terminal or no thread.
  [[nodiscard]] static Result<std::unique_ptr<Fixture>> start(FixtureScript script, Observer observer = nullptr);
  Fixture(const Fixture&) = delete;
  Fixture& operator=(const Fixture&) = delete;
  // Hangs up and joins the thread.
  ~Fixture();

  // The terminal to open, as in "/dev/pts/3". Stays the same for the fixture's life.
  [[nodiscard]] const std::string& node() const noexcept;

  // Pulls the plug, at once; what the program has not read is lost.
  void hangUp() noexcept;

  // Whether the line has hung up: by its script or by hangUp. It never comes back.
  [[nodiscard]] bool hasHungUp() const noexcept;

 private:
  class Worker;
  explicit Fixture(std::unique_ptr<Worker> worker) noexcept;
  std::unique_ptr<Worker> worker_;
};

}  // namespace brisvane::host::simulated
