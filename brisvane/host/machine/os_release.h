// The operating system's versions on Linux, from os-release(5).
// Safe from any thread. The files are read afresh at each question, once where a ReadOnce says so.
#pragma once

#include <memory>
#include <string>
#include <utility>

#include "brisvane/host/machine/administrator_file.h"
#include "brisvane/host/machine/system_version.h"

namespace brisvane::host::real {

// BUILD_ID and VERSION_ID under the names of the two entries, from `file`, or from
// `fallback` where that does not exist; what the administrator's file says stands over both.
class OsRelease final : public SystemVersion {
 public:
  OsRelease(std::string file, std::string fallback, AdministratorFile administrator)
      : file_(std::move(file)), fallback_(std::move(fallback)), administrator_(std::move(administrator)) {}

  std::optional<Dictionary> entries() const noexcept override;
  std::optional<OsVersion> running() const noexcept override;
  Origin origin(std::string_view entry) const noexcept override;

 private:
  struct Found {
    std::optional<Dictionary> entries;
    Origin origin;
  };
  [[nodiscard]] std::shared_ptr<const Found> read() const;
  [[nodiscard]] Found readFiles() const;

  const std::string file_;
  const std::string fallback_;
  const AdministratorFile administrator_;
};

}  // namespace brisvane::host::real
