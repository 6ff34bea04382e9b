// The files that a run of a plan leaves: its result as JSON, as a property list and as a page, and
// its log.
#pragma once

#include <string>
#include <vector>

#include "output.h"
#include "run_result.h"
#include "session.h"

namespace bvdiag {

class ReportFiles {
 public:
  // Files in `folder` that are called `name`, each with its own ending.
  ReportFiles(std::string folder, std::string name)
      : folder_(std::move(folder)), name_(std::move(name)) {}

  // One of the files that is there already; empty when none is.
  [[nodiscard]] std::string existing() const;

  // Makes the folder and begins the log. False when a file is there already, or when the folder
  // cannot be written: then no run may begin. `session` reports which.
  [[nodiscard]] bool begin(const Session& session);

  // Writes the reports, each complete or not at all. One that cannot be written there goes into the
  // folder for temporary files. False when one is not where it should be, which `output` reports.
  [[nodiscard]] bool write(const RunResult& result, Output& output);

  // Those that were written, and the log.
  [[nodiscard]] const std::vector<std::string>& written() const noexcept { return written_; }

 private:
  [[nodiscard]] std::string pathOf(const std::string& ending) const;
  bool save(const std::string& ending, std::string_view content, Output& output);

  std::string folder_;
  std::string name_;
  std::vector<std::string> written_;
};

}  // namespace bvdiag
