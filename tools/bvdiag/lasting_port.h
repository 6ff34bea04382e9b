// LastingPort, a port that is opened again when its adapter comes back.
// A LastingPort belongs to one thread.
#pragma once

#include <chrono>
#include <functional>
#include <memory>
#include <string>

#include <brisvane/serial/BVSerialPort.h>

#include "port_choice.h"

namespace bvdiag {

class LastingPort {
 public:
  // `tell` gets what a person wants to know: that the port is open, or what is waited for.
  // REQUIRES: the options outlive it.
  LastingPort(const PortOptions& options, bool reconnects,
              std::function<void(const std::string&)> tell)
      : options_(options), reconnects_(reconnects), tell_(std::move(tell)) {}

  // Opens the port. One that reconnects waits for an adapter that is absent. False for any other
  // failure: see error().
  [[nodiscard]] bool open();

  // What to do when a transfer has failed. False when that is the end: see error().
  [[nodiscard]] bool lose();

  // Tries to open a port that is waited for, unless it has just done so.
  void retry();

  // The open port; null while it is waited for.
  [[nodiscard]] brisvane::BVSerialPort* port() const noexcept { return port_.get(); }
  [[nodiscard]] const std::string& error() const noexcept { return error_; }

 private:
  void take(OpenedPort opened);
  [[nodiscard]] bool isThere() const;

  const PortOptions& options_;
  bool reconnects_;
  std::function<void(const std::string&)> tell_;
  std::unique_ptr<brisvane::BVSerialPort> port_;
  std::string error_;
  std::chrono::steady_clock::time_point lastTry_;
};

}  // namespace bvdiag
