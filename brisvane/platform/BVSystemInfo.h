// BVSystemInfo, the machine's profile: who the machine is and what it runs.
//
// Threads:
//  - The static operations may be called from any thread at any time.
//  - Any thread may read and set osVersion() and the four flags at any time.
//  - The other getters, profile() and the decoders may run at the same time on one object, as long
//    as no setter, setIsSeed() or setPlatformInfo() runs on it.
#pragma once

#include <atomic>
#include <cstdint>
#include <optional>
#include <string>

#include "brisvane/host/machine/registry.h"
#include "brisvane/host/machine/system_version.h"
#include "brisvane/types/export.h"
#include "brisvane/types/object.h"
#include "brisvane/types/text.h"

namespace brisvane {

// The machine's profile. Its values come from the registry, the identity service and the system
// version file of the platform that is in force when they are gathered. A value that is unavailable
// is absent. Gathering reports no failure and logs nothing. docs/linux.md lists the source of each
// value on Linux, and the values that only root can read.
//
//   namespace bv = brisvane;
//   const bv::BVSystemInfo& machine = bv::BVSystemInfo::shared();
//   if (machine.modelID()) use(*machine.modelID());
//   const bv::Dictionary profile = machine.profile();
class BRISVANE_EXPORT BVSystemInfo final {
 public:
  // The one instance of the process. The first call gathers it; after that only setPlatformInfo()
  // does. It is never destroyed. The first call may throw std::bad_alloc. It blocks while it reads
  // the machine's files, and other threads that call shared() wait for it.
  // REQUIRES: no service of the platform in force calls shared() or forks while the first call
  // gathers (see host::IdentityService). A debug build aborts if one does.
  [[nodiscard]] static BVSystemInfo& shared();

  // An instance of the caller's own. Gathers as setPlatformInfo() does.
  BVSystemInfo();
  BVSystemInfo(const BVSystemInfo&) = delete;
  BVSystemInfo& operator=(const BVSystemInfo&) = delete;
  ~BVSystemInfo();

  // Gathers every value again, from the platform in force. Blocks while it reads the machine's
  // files.
  //  - A value that its source no longer has becomes absent.
  //  - A value that is read only with a registry node stays as it is when that node no longer
  //    exists. chipID() and isPrePelorusHost() are not kept.
  //  - A value for which memory runs out stays as it is.
  void setPlatformInfo() noexcept;

  // Sets isSeedBuild() from osBuildVersionStr(): true when the third and the last character are
  // letters and the fourth is "5". A letter is A to Z in either case, or a character above U+007F
  // that is a letter in the current locale. False for an absent text, for one of fewer than four
  // characters, and when memory runs out.
  void setIsSeed() noexcept;

  // The current values, always under these 15 keys. May throw std::bad_alloc.
  //  - "chipId", "modelID", "serialNumber", "vireoVersion", "firmwareVersion", "uuid", "ecid",
  //    "buildVersion" and "strRookeryBuildVersion": the null marker when the value is absent;
  //  - "boardId": "Orvel" when boardIDStr() is absent;
  //  - "keelModelName": "notKeel" when it is absent;
  //  - "isSeedBuild", "isPrePelorusHost", "isProductionFused" and "isInternaOS": booleans.
  [[nodiscard]] Dictionary profile() const;

  // --- Registry decoders ---
  //
  // Each reads the property named `value` of the node `entry`. nullopt when there is no such
  // property, and when memory runs out. Blocks for as long as the registry does.
  // REQUIRES: the caller has opened the node in the registry of the platform in force, and holds it
  // open (host::OpenNode).

  // The property as a text. A text is returned unchanged. A byte buffer takes the first of these
  // forms that fits:
  //  1. It begins with a byte below 0x0A: two lower-case hexadecimal digits for each byte.
  //  2. It is UTF-8: that text, without the zero bytes at its end.
  //  3. It has only ASCII characters ahead of its first zero byte: those characters.
  //  4. Any other: two lower-case hexadecimal digits for each byte.
  // nullopt for an empty buffer and for a property of another kind.
  [[nodiscard]] std::optional<std::string> stringFromHwRegEntry(host::NodeHandle entry,
                                                                Text value) const noexcept;

  // The first eight, two or one bytes of a byte buffer, as a little-endian number. nullopt for a
  // property of another kind. For a buffer that is too short, the first operation takes 0 for each
  // missing byte; the other two give nullopt.
  [[nodiscard]] std::optional<std::uint64_t> numFromHwRegEntryData8Byte(host::NodeHandle entry,
                                                                        Text value) const noexcept;
  [[nodiscard]] std::optional<std::uint16_t> numFromHwRegEntryDataFlipWord(
      host::NodeHandle entry, Text value) const noexcept;
  [[nodiscard]] std::optional<std::uint8_t> numFromHwRegEntryDataByte(host::NodeHandle entry,
                                                                      Text value) const noexcept;

  // --- Folders ---

  // True when a folder is at the path. Symbolic links are followed. When nothing is there and
  // `createFolder` is true, makes the folder and every missing one above it, mode 0777 under the
  // umask. True when that succeeds. What exists is never changed. False also when memory runs out.
  // Blocks for as long as the file system does.
  static bool folderExists(Text path, bool createFolder) noexcept;

  // --- Values ---
  //
  // An absent value is nullopt. A setter changes one value of this object and derives no other
  // value from it. When memory runs out, a setter of a text changes nothing.

  // Whether the OS build is a pre-release: see setIsSeed().
  [[nodiscard]] bool isSeedBuild() const noexcept { return isSeedBuild_; }
  void setIsSeedBuild(bool isSeedBuild) noexcept { isSeedBuild_ = isSeedBuild; }

  // Whether the host is of the generation before Pelorus hosts. Gathering never sets it on arm64.
  [[nodiscard]] bool isPrePelorusHost() const noexcept { return isPrePelorusHost_; }
  void setIsPrePelorusHost(bool isPrePelorusHost) noexcept { isPrePelorusHost_ = isPrePelorusHost; }

  // Whether the machine runs production-signed software only.
  [[nodiscard]] bool isProductionFused() const noexcept { return isProductionFused_; }
  void setIsProductionFused(bool isProductionFused) noexcept {
    isProductionFused_ = isProductionFused;
  }

  // Whether strRookeryBuildVersion holds "DEVELOPMENT".
  [[nodiscard]] bool isInternaOS() const noexcept { return isInternaOS_; }
  void setIsInternaOS(bool isInternaOS) noexcept { isInternaOS_ = isInternaOS; }

  [[nodiscard]] const std::optional<std::string>& targetType() const noexcept {
    return targetType_;
  }
  void setTargetType(Text targetType) noexcept { set(targetType_, targetType); }

  [[nodiscard]] const std::optional<std::string>& systemSerialNumber() const noexcept {
    return systemSerialNumber_;
  }
  void setSystemSerialNumber(Text systemSerialNumber) noexcept {
    set(systemSerialNumber_, systemSerialNumber);
  }

  [[nodiscard]] const std::optional<std::string>& firmwareVersion() const noexcept {
    return firmwareVersion_;
  }
  void setFirmwareVersion(Text firmwareVersion) noexcept { set(firmwareVersion_, firmwareVersion); }

  // The board's identifier as a text; boardID() is a number.
  [[nodiscard]] const std::optional<std::string>& boardIDStr() const noexcept {
    return boardIDStr_;
  }
  void setBoardIDStr(Text boardIDStr) noexcept { set(boardIDStr_, boardIDStr); }

  [[nodiscard]] const std::optional<std::string>& UUID() const noexcept { return UUID_; }
  void setUUID(Text UUID) noexcept { set(UUID_, UUID); }

  // The chip's unique number.
  [[nodiscard]] std::optional<std::uint64_t> ECID() const noexcept { return ECID_; }
  void setECID(std::optional<std::uint64_t> ECID) noexcept { ECID_ = ECID; }

  // The companion chip's model, without "AP" at its end.
  [[nodiscard]] const std::optional<std::string>& keelModelName() const noexcept {
    return keelModelName_;
  }
  void setKeelModelName(Text keelModelName) noexcept { set(keelModelName_, keelModelName); }

  [[nodiscard]] std::optional<std::uint8_t> boardID() const noexcept { return boardID_; }
  void setBoardID(std::optional<std::uint8_t> boardID) noexcept { boardID_ = boardID; }

  [[nodiscard]] std::optional<std::uint16_t> chipID() const noexcept { return chipID_; }
  void setChipID(std::optional<std::uint16_t> chipID) noexcept { chipID_ = chipID; }

  [[nodiscard]] const std::optional<std::string>& modelID() const noexcept { return modelID_; }
  void setModelID(Text modelID) noexcept { set(modelID_, modelID); }

  // The build of the platform's root, which marks an internal OS.
  [[nodiscard]] const std::optional<std::string>& strRookeryBuildVersion() const noexcept {
    return strRookeryBuildVersion_;
  }
  void setStrRookeryBuildVersion(Text strRookeryBuildVersion) noexcept {
    set(strRookeryBuildVersion_, strRookeryBuildVersion);
  }

  // The version of the OS as users know it, and its build.
  [[nodiscard]] const std::optional<std::string>& osVersionStr() const noexcept {
    return osVersionStr_;
  }
  void setOsVersionStr(Text osVersionStr) noexcept { set(osVersionStr_, osVersionStr); }
  [[nodiscard]] const std::optional<std::string>& osBuildVersionStr() const noexcept {
    return osBuildVersionStr_;
  }
  void setOsBuildVersionStr(Text osBuildVersionStr) noexcept {
    set(osBuildVersionStr_, osBuildVersionStr);
  }

  // The running OS version; three zeros when it is unknown. Reading and setting are atomic.
  [[nodiscard]] host::OsVersion osVersion() const noexcept;
  void setOsVersion(host::OsVersion osVersion) noexcept;

 private:
  class Gathering;

  static void set(std::optional<std::string>& field, Text text) noexcept;

  std::atomic<bool> isSeedBuild_{false};
  std::atomic<bool> isPrePelorusHost_{false};
  std::atomic<bool> isProductionFused_{false};
  std::atomic<bool> isInternaOS_{false};
  std::optional<std::string> targetType_;
  std::optional<std::string> systemSerialNumber_;
  std::optional<std::string> firmwareVersion_;
  std::optional<std::string> boardIDStr_;
  std::optional<std::string> UUID_;
  std::optional<std::uint64_t> ECID_;
  std::optional<std::string> keelModelName_;
  std::optional<std::uint8_t> boardID_;
  std::optional<std::uint16_t> chipID_;
  std::optional<std::string> modelID_;
  std::optional<std::string> strRookeryBuildVersion_;
  std::optional<std::string> osVersionStr_;
  std::optional<std::string> osBuildVersionStr_;
  host::OsVersion osVersion_;
};

}  // namespace brisvane
