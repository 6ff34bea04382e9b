// BVSystemInfo, who the machine is and what it runs, gathered once.
//
// Threads. shared() and the class-level operations may be called from any thread at any
// time. Getters, profile() and the decoders may run at the same time on one object, as long
// as no setter, setIsSeed() or setPlatformInfo() runs. Any thread may read and set osVersion()
// and the four flags at any time.
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

// The machine's profile. Everything comes from the platform in force when it is gathered:
// the device registry, the identity service and the system version file. A value that is not
// found is absent. Nothing is logged, and gathering reports no failure. docs/linux.md lists where
// each value comes from on Linux, and which ones only root can read.
//
//   namespace bv = brisvane;
//   const bv::BVSystemInfo& machine = bv::BVSystemInfo::shared();
//   if (machine.modelID()) use(*machine.modelID());
//   const bv::Dictionary profile = machine.profile();
class BRISVANE_EXPORT BVSystemInfo final {
 public:
  // The one instance of the process, gathered on first use and again only by setPlatformInfo().
  // It is never destroyed. The first use may throw std::bad_alloc. It blocks while the files of
  // the machine are read; other threads wait for it. REQUIRES: no service of the platform in force
  // calls it or forks, see host::IdentityService. A debug build stops there.
  [[nodiscard]] static BVSystemInfo& shared();

  // An instance of the caller's own, gathered now.
  BVSystemInfo();
  BVSystemInfo(const BVSystemInfo&) = delete;
  BVSystemInfo& operator=(const BVSystemInfo&) = delete;
  ~BVSystemInfo();

  // Gathers every value afresh. The values of a registry node that no longer exists stay as they
  // are, except chipID. A value for which memory runs out stays as it is.
  void setPlatformInfo() noexcept;

  // Sets isSeedBuild from osBuildVersionStr: true when its third and its last character are
  // letters and the fourth is "5". A letter is A to Z in either case, or a character above
  // U+007F that the current locale takes for one. A shorter text gives false.
  void setIsSeed() noexcept;

  // The current values, under exactly these keys: "chipId", "modelID", "serialNumber",
  // "vireoVersion", "firmwareVersion", "uuid", "ecid", "buildVersion",
  // "strRookeryBuildVersion" (the null marker when absent), "boardId" ("Orvel" when
  // absent), "keelModelName" ("notKeel" when absent), and the booleans "isSeedBuild",
  // "isPrePelorusHost", "isProductionFused" and "isInternaOS". May throw std::bad_alloc.
  [[nodiscard]] Dictionary profile() const;

  // --- Registry decoders ---
  //
  // Each reads one property of a node that the caller holds open in the registry of the
  // platform in force (host::OpenNode). A property that is missing gives nullopt.

  // The property as a text. A text is given as it is. A byte buffer is decoded: as UTF-8,
  // without the zero bytes at its end; else as its ASCII characters ahead of the first zero
  // byte; else, and when it begins with a byte below 0x0A, as two lower-case hexadecimal
  // digits a byte. nullopt for an empty buffer and for any other kind.
  [[nodiscard]] std::optional<std::string> stringFromHwRegEntry(host::NodeHandle entry, Text value) const noexcept;

  // The first eight, two or one bytes of a byte buffer as a little-endian number. nullopt
  // for any other kind, and for a buffer that is too short; only the first takes a shorter
  // one, whose missing bytes count as 0.
  [[nodiscard]] std::optional<std::uint64_t> numFromHwRegEntryData8Byte(host::NodeHandle entry,
                                                                        Text value) const noexcept;
  [[nodiscard]] std::optional<std::uint16_t> numFromHwRegEntryDataFlipWord(host::NodeHandle entry,
                                                                           Text value) const noexcept;
  [[nodiscard]] std::optional<std::uint8_t> numFromHwRegEntryDataByte(host::NodeHandle entry,
                                                                      Text value) const noexcept;

  // --- Folders ---

  // Whether there is a folder at the path. Symbolic links are followed. When nothing is there and
  // `createFolder` is true, the folder and every missing one above it are made, mode 0777 under the
  // umask; the result is whether that succeeded. What exists is never changed. False when memory
  // runs out. Blocks as long as the file system does.
  static bool folderExists(Text path, bool createFolder) noexcept;

  // --- Values ---
  //
  // Setting one replaces it in this object only; no other value is derived from it anew. A text
  // for which memory runs out is not set.

  // Whether the OS build is a pre-release: see setIsSeed().
  [[nodiscard]] bool isSeedBuild() const noexcept { return isSeedBuild_; }
  void setIsSeedBuild(bool isSeedBuild) noexcept { isSeedBuild_ = isSeedBuild; }

  // Whether the host is of the generation before Pelorus hosts. Always false on arm64.
  [[nodiscard]] bool isPrePelorusHost() const noexcept { return isPrePelorusHost_; }
  void setIsPrePelorusHost(bool isPrePelorusHost) noexcept { isPrePelorusHost_ = isPrePelorusHost; }

  // Whether the machine takes production-signed software only.
  [[nodiscard]] bool isProductionFused() const noexcept { return isProductionFused_; }
  void setIsProductionFused(bool isProductionFused) noexcept { isProductionFused_ = isProductionFused; }

  // Whether strRookeryBuildVersion holds "DEVELOPMENT".
  [[nodiscard]] bool isInternaOS() const noexcept { return isInternaOS_; }
  void setIsInternaOS(bool isInternaOS) noexcept { isInternaOS_ = isInternaOS; }

  [[nodiscard]] const std::optional<std::string>& targetType() const noexcept { return targetType_; }
  void setTargetType(Text targetType) noexcept { set(targetType_, targetType); }

  [[nodiscard]] const std::optional<std::string>& systemSerialNumber() const noexcept { return systemSerialNumber_; }
  void setSystemSerialNumber(Text systemSerialNumber) noexcept { set(systemSerialNumber_, systemSerialNumber); }

  [[nodiscard]] const std::optional<std::string>& firmwareVersion() const noexcept { return firmwareVersion_; }
  void setFirmwareVersion(Text firmwareVersion) noexcept { set(firmwareVersion_, firmwareVersion); }

  // The board's identifier as a text; boardID() is a number.
  [[nodiscard]] const std::optional<std::string>& boardIDStr() const noexcept { return boardIDStr_; }
  void setBoardIDStr(Text boardIDStr) noexcept { set(boardIDStr_, boardIDStr); }

  [[nodiscard]] const std::optional<std::string>& UUID() const noexcept { return UUID_; }
  void setUUID(Text UUID) noexcept { set(UUID_, UUID); }

  // The chip's unique number.
  [[nodiscard]] std::optional<std::uint64_t> ECID() const noexcept { return ECID_; }
  void setECID(std::optional<std::uint64_t> ECID) noexcept { ECID_ = ECID; }

  // The companion chip's model, without "AP" at its end.
  [[nodiscard]] const std::optional<std::string>& keelModelName() const noexcept { return keelModelName_; }
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
  [[nodiscard]] const std::optional<std::string>& osVersionStr() const noexcept { return osVersionStr_; }
  void setOsVersionStr(Text osVersionStr) noexcept { set(osVersionStr_, osVersionStr); }
  [[nodiscard]] const std::optional<std::string>& osBuildVersionStr() const noexcept { return osBuildVersionStr_; }
  void setOsBuildVersionStr(Text osBuildVersionStr) noexcept { set(osBuildVersionStr_, osBuildVersionStr); }

  // The running OS version; three zeros when it is unknown. Read and set as a whole.
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
