// Fixture, a simulated test fixture on a real pseudo-terminal.
// A Fixture runs on a thread of its own. Its operations may be called from any thread, but not from
// its observer.
#pragma once

#include <functional>
#include <memory>
#include <string>

#include "brisvane/host/simulated/simulated_fixture_script.h"
#include "brisvane/types/data.h"
#include "brisvane/types/export.h"
#include "brisvane/types/result.h"

namespace brisvane::host::simulated {

// Any program can open its node as it would a USB adapter's, one program at a time. What a program
// has not read is discarded shortly after it has closed the line.
// A text command ends with a carriage return, a line feed or both. A command that the script has as
// an exact text or as bytes also ends when the line goes quiet after it.
class BRISVANE_EXPORT Fixture {
 public:
  enum class Event : std::uint8_t { kOpened, kClosed, kReceived, kSent, kHungUp };
  // Is called on the fixture's thread for each event. Only kReceived and kSent have bytes. kHungUp
  // may come after hangUp() has returned.
  // REQUIRES: throws nothing but std::bad_alloc, upon which the fixture hangs up.
  using Observer = std::function<void(Event event, ByteView bytes)>;

  // Starts a fixture. Never null. Fails when the system gives no pseudo-terminal or no thread.
  [[nodiscard]] static Result<std::unique_ptr<Fixture>> start(FixtureScript script,
                                                              Observer observer = nullptr);
  Fixture(const Fixture&) = delete;
  Fixture& operator=(const Fixture&) = delete;
  // Hangs up and joins the thread.
  ~Fixture();

  // The terminal to open, such as "/dev/pts/3". It stays the same for the fixture's life.
  [[nodiscard]] const std::string& node() const noexcept;

  // Hangs the line up at once, as when the plug is pulled. What the program has not read is lost.
  void hangUp() noexcept;

  // Whether the line has hung up, by its script or by hangUp(). It stays hung up.
  [[nodiscard]] bool hasHungUp() const noexcept;

 private:
  class Worker;
  explicit Fixture(std::unique_ptr<Worker> worker) noexcept;
  std::unique_ptr<Worker> worker_;
};

}  // namespace brisvane::host::simulated
