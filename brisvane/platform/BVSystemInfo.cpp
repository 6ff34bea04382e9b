#include "brisvane/platform/BVSystemInfo.h"

#include <cwctype>
#include <mutex>
#include <string_view>

#include "brisvane/host/files/files.h"
#include "brisvane/host/platform.h"
#include "brisvane/platform/registry_decoders.h"
#include "brisvane/support/Brisvane.h"
#include "brisvane/types/out_of_memory.h"
#include "brisvane/types/process_locks.h"
#include "brisvane/types/unicode.h"

namespace brisvane {
namespace {

using host::processLock;
using host::ProcessLock;

// What stands in the profile for a board and a companion chip that there are not.
constexpr std::string_view kNoBoard = "Orvel";
constexpr std::string_view kNoCompanion = "notKeel";

bool isLetter(char16_t unit) noexcept {
  if (unit > 0x7F) return std::iswalpha(unit) != 0;
  return (unit >= u'A' && unit <= u'Z') || (unit >= u'a' && unit <= u'z');
}

std::optional<Object> propertyOf(host::NodeHandle entry, Text name) {
  return host::platform()->registry().property(entry, name.orEmpty());
}

template <typename Value>
Object orNull(const std::optional<Value>& value) {
  return Brisvane::objectOrNull(value ? std::optional<Object>(*value) : std::nullopt);
}

}  // namespace

BVSystemInfo& BVSystemInfo::shared() {
  // Not a static object of this function: a fork in the middle of its building would leave
  // the child waiting for ever.
  static constinit BVSystemInfo* instance = nullptr;
  const std::scoped_lock lock(processLock(ProcessLock::kSystemInfo));
  if (instance == nullptr) instance = new BVSystemInfo;
  return *instance;
}

BVSystemInfo::BVSystemInfo() { setPlatformInfo(); }
BVSystemInfo::~BVSystemInfo() = default;

void BVSystemInfo::setIsSeed() noexcept {
  isSeedBuild_ = memoryPermitting(false, [this] {
    constexpr std::size_t kShortest = 4;
    const std::u16string build = toUtf16(Text(osBuildVersionStr_).orEmpty());
    return build.size() >= kShortest && isLetter(build[2]) && isLetter(build.back()) &&
           build[3] == u'5';
  });
}

Dictionary BVSystemInfo::profile() const {
  return {
      {"chipId", orNull(chipID_)},
      {"modelID", orNull(modelID_)},
      {"serialNumber", orNull(systemSerialNumber_)},
      {"vireoVersion", orNull(osVersionStr_)},
      {"firmwareVersion", orNull(firmwareVersion_)},
      {"uuid", orNull(UUID_)},
      {"ecid", orNull(ECID_)},
      {"buildVersion", orNull(osBuildVersionStr_)},
      {"strRookeryBuildVersion", orNull(strRookeryBuildVersion_)},
      {"boardId", boardIDStr_ ? Object(*boardIDStr_) : Object(kNoBoard)},
      {"keelModelName", keelModelName_ ? Object(*keelModelName_) : Object(kNoCompanion)},
      {"isSeedBuild", isSeedBuild()},
      {"isPrePelorusHost", isPrePelorusHost()},
      {"isProductionFused", isProductionFused()},
      {"isInternaOS", isInternaOS()},
  };
}

std::optional<std::string> BVSystemInfo::stringFromHwRegEntry(host::NodeHandle entry,
                                                              Text value) const noexcept {
  return memoryPermitting(std::nullopt, [&] { return decodeText(propertyOf(entry, value)); });
}

std::optional<std::uint64_t> BVSystemInfo::numFromHwRegEntryData8Byte(host::NodeHandle entry,
                                                                      Text value) const noexcept {
  return memoryPermitting(std::nullopt, [&]() -> std::optional<std::uint64_t> {
    const auto property = propertyOf(entry, value);
    const Data* const bytes = property ? property->ifData() : nullptr;
    if (bytes == nullptr) return std::nullopt;
    Data extended = *bytes;
    extended.resize(sizeof(std::uint64_t));
    return decodeNumber<std::uint64_t>(Object(std::move(extended)));
  });
}

std::optional<std::uint16_t> BVSystemInfo::numFromHwRegEntryDataFlipWord(
    host::NodeHandle entry, Text value) const noexcept {
  return memoryPermitting(std::nullopt,
                          [&] { return decodeNumber<std::uint16_t>(propertyOf(entry, value)); });
}

std::optional<std::uint8_t> BVSystemInfo::numFromHwRegEntryDataByte(host::NodeHandle entry,
                                                                    Text value) const noexcept {
  return memoryPermitting(std::nullopt,
                          [&] { return decodeNumber<std::uint8_t>(propertyOf(entry, value)); });
}

bool BVSystemInfo::folderExists(Text path, bool createFolder) noexcept {
  return memoryPermitting(false, [&] {
    const host::FileKind kind = host::fileKind(path.orEmpty());
    if (kind != host::FileKind::kNone || !createFolder) return kind == host::FileKind::kFolder;
    return host::createFolders(path.orEmpty()).ok();
  });
}

host::OsVersion BVSystemInfo::osVersion() const noexcept {
  const std::scoped_lock lock(processLock(ProcessLock::kOsVersion));
  return osVersion_;
}

void BVSystemInfo::setOsVersion(host::OsVersion osVersion) noexcept {
  const std::scoped_lock lock(processLock(ProcessLock::kOsVersion));
  osVersion_ = osVersion;
}

void BVSystemInfo::set(std::optional<std::string>& field, Text text) noexcept {
  unlessOutOfMemory([&] { field = text.copy(); });
}

}  // namespace brisvane
