#include "lasting_port.h"

#include <filesystem>
#include <system_error>
#include <utility>

#include <brisvane/all.h>
#include <brisvane/host/platform.h>

namespace bvdiag {

namespace bv = brisvane;

bool LastingPort::open() {
  OpenedPort opened = openPort(options_);
  const bool mayCome = opened.isAbsent && reconnects_;
  if (opened.port == nullptr && mayCome) tell_(opened.error + "; waiting for it");
  take(std::move(opened));
  return port_ != nullptr || mayCome;
}

bool LastingPort::lose() {
  error_ = lineFailure(*port_).value_or(port_->path() + ": the transfer failed; check the adapter");
  bv::BVLog::Default::error(error_);
  port_.reset();  // at once, so that the adapter gets its name again
  if (reconnects_) tell_(error_ + "; waiting for it");
  return reconnects_;
}

void LastingPort::retry() {
  constexpr std::chrono::milliseconds kPause{200};
  const auto now = std::chrono::steady_clock::now();
  if (port_ != nullptr || now - lastTry_ < kPause) return;
  lastTry_ = now;
  if (!isThere()) return;
  OpenedPort opened = openPort(options_);
  // Its owner is set a moment after the node is made, and another program may have it for a while.
  if (opened.port == nullptr && opened.error != error_) tell_(opened.error + "; trying again");
  take(std::move(opened));
}

void LastingPort::take(OpenedPort opened) {
  error_ = std::move(opened.error);
  port_ = std::move(opened.port);
  if (port_ == nullptr) return;
  const std::string text = port_->path() + " at " + std::to_string(options_.speed) + " bits/s";
  bv::BVLog::Default::info("opened " + text);
  tell_("connected to " + text);
}

// Whether there is something to open, so that no failure is logged five times a second.
bool LastingPort::isThere() const {
  if (!options_.path) return bv::BVSerialPort::createPortWithSerial(options_.serial) != nullptr;
  const std::string path = bv::host::platform()->deviceNodes().location(*options_.path);
  std::error_code ignored;
  return std::filesystem::exists(path, ignored);
}

}  // namespace bvdiag
