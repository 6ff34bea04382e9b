#include "report_files.h"

#include <filesystem>
#include <utility>

#include <brisvane/host/files/files.h>
#include <brisvane/host/formats/property_list.h>

#include "report_page.h"

namespace bvdiag {
namespace {

namespace bv = brisvane;

constexpr const char* kLog = ".log";
constexpr const char* kJson = ".json";
constexpr const char* kPropertyList = ".plist";
constexpr const char* kPage = ".html";

}  // namespace

std::string ReportFiles::pathOf(const std::string& ending) const {
  return (std::filesystem::path(folder_) / (name_ + ending)).string();
}

std::string ReportFiles::existing() const {
  for (const char* const ending : {kLog, kJson, kPropertyList, kPage}) {
    if (bv::host::fileKind(pathOf(ending)) != bv::host::FileKind::kNone) return pathOf(ending);
  }
  return {};
}

bool ReportFiles::begin(const Session& session) {
  Output& output = session.output();
  if (const auto made = bv::host::createFolders(folder_); !made.ok()) {
    output.complain(writingFailure("folder " + folder_, made.error().number()));
    return false;
  }
  if (const std::string other = existing(); !other.empty()) {
    output.complain(other + ": is there already; give another --name");
    return false;
  }
  if (!session.startLog(pathOf(kLog))) return false;
  written_.push_back(pathOf(kLog));
  return true;
}

bool ReportFiles::save(const std::string& ending, std::string_view content, Output& output) {
  const std::string path = pathOf(ending);
  const auto created = bv::host::createFile(path, content);
  if (created.ok()) {
    written_.push_back(path);
    return true;
  }
  output.complain(writingFailure(path, created.error().number()));
  std::error_code none;
  const auto folder = std::filesystem::temp_directory_path(none);
  const std::string other = (folder / (name_ + ending)).string();
  if (!none && bv::host::createFile(other, content).ok()) {
    output.complain("the report is in " + other + " instead");
    written_.push_back(other);
  }
  return false;
}

bool ReportFiles::write(const RunResult& result, Output& output) {
  const bv::Dictionary description = described(result);
  bool isComplete =
      save(kJson, jsonOf(description, bv::host::JsonLayout::kIndented) + "\n", output);
  isComplete &= save(kPage, reportPage(result), output);
  const auto list = bv::host::binaryPropertyList(description);
  if (!list.ok()) {
    output.complain("the result cannot become a property list: " + list.error().reason());
    return false;
  }
  isComplete &= save(kPropertyList, bv::asCharacters(list.value()), output);
  return isComplete;
}

}  // namespace bvdiag
