// The operating system's versions on Linux, from os-release(5).
// Safe from any thread. Each question reads the files afresh, once while a ReadOnce lives.
#pragma once

#include <memory>
#include <string>
#include <utility>

#include "brisvane/host/machine/administrator_file.h"
#include "brisvane/host/machine/system_version.h"

namespace brisvane::host::real {

// BUILD_ID and VERSION_ID under the names of the two entries, from `file`, or from `fallback`
// where `file` does not exist. What the administrator's file says replaces both.
class OsRelease final : public SystemVersion {
 public:
  OsRelease(std::string file, std::string fallback, AdministratorFile administrator)
      : file_(std::move(file)),
        fallback_(std::move(fallback)),
        administrator_(std::move(administrator)) {}

  [[nodiscard]] std::optional<Dictionary> entries() const override;
  [[nodiscard]] std::optional<OsVersion> running() const override;
  Result<std::string> origin(std::string_view entry) const override;

 private:
  struct Found {
    Dictionary entries;
    std::string path;
  };
  [[nodiscard]] std::shared_ptr<const Result<Found>> read() const;
  [[nodiscard]] Result<Found> readFiles() const;

  const std::string file_;
  const std::string fallback_;
  const AdministratorFile administrator_;
};

}  // namespace brisvane::host::real
