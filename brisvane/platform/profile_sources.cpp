#include "brisvane/platform/profile_sources.h"

#include "brisvane/host/machine/identity_service.h"
#include "brisvane/host/machine/system_version.h"

namespace brisvane {
namespace {

using enum ProfileService;
using host::IdentityService;
using host::SystemVersion;

// The one source that differs between the two processors.
#if defined(__x86_64__)
constexpr std::string_view kTargetType = "bridge-model";
#else
constexpr std::string_view kTargetType = "target-type";
#endif
constexpr std::string_view kSerialNumber = "HwPlatformSerialNumber";
constexpr std::string_view kRookeryBuild = "RookeryBuildVersion";

constexpr ProfileSource kTargetTypeSources[] = {{kPlatformNode, kTargetType}};
constexpr ProfileSource kSerialNumberSources[] = {{kChosenNode, kSerialNumber},
                                                  {kPlatformNode, kSerialNumber}};
constexpr ProfileSource kFirmwareSources[] = {
    {kIdentity, IdentityService::kFirmwareVersion, kChosenNode},
    {kChosenNode, "firmware-version"},
    {kRomNode, "version", kPlatformNode}};
constexpr ProfileSource kEcidSources[] = {{kIdentity, IdentityService::kUniqueChipID, kChosenNode}};
constexpr ProfileSource kModelSources[] = {{kChosenNode, "model"}, {kPlatformNode, "model"}};
constexpr ProfileSource kBoardSources[] = {{kPlatformNode, "board-id"}};
constexpr ProfileSource kChipNumberSources[] = {{kCompanionChip, "", kPlatformNode},
                                                {kChosenNode, "chip-id"}};
constexpr ProfileSource kBoardNumberSources[] = {{kCompanionChip, "", kPlatformNode},
                                                 {kChosenNode, "board-id"}};
constexpr ProfileSource kUuidSources[] = {
    {kIdentity, IdentityService::kUniqueDeviceID, kPlatformNode},
    {kPlatformNode, "HwPlatformUUID"}};
constexpr ProfileSource kKeelModelSources[] = {{kPlatformNode, "bridge-model"}};
constexpr ProfileSource kOsVersionSources[] = {
    {kSystemVersion, SystemVersion::kUserVisibleVersion}};
constexpr ProfileSource kOsBuildSources[] = {{kSystemVersion, SystemVersion::kBuildVersion}};
constexpr ProfileSource kRookeryBuildSources[] = {{kRootNode, kRookeryBuild}};
constexpr ProfileSource kHostGenerationSources[] = {
    {kChosenNode, "chip-id"}, {kChosenNode, "board-id"}, {kPlatformNode, "bridge-model"}};
constexpr ProfileSource kFuseSources[] = {{kIdentity, IdentityService::kSigningFuse}};

constexpr ProfileValue kValues[] = {
    {"targetType", kTargetTypeSources},
    {"serialNumber", kSerialNumberSources},
    {"firmwareVersion", kFirmwareSources},
    {"ecid", kEcidSources},
    {"modelID", kModelSources},
    {"boardId", kBoardSources},
    {"chipId", kChipNumberSources},
    {"boardID", kBoardNumberSources},
    {"uuid", kUuidSources},
    {"keelModelName", kKeelModelSources},
    {"vireoVersion", kOsVersionSources},
    {"buildVersion", kOsBuildSources},
    {"strRookeryBuildVersion", kRookeryBuildSources},
    {"isSeedBuild", kOsBuildSources, true},
    {"isPrePelorusHost", kHostGenerationSources, true},
    {"isProductionFused", kFuseSources},
    {"isInternaOS", kRookeryBuildSources, true},
};

}  // namespace

std::span<const ProfileValue> profileValues() noexcept { return kValues; }

std::string_view nameOf(ProfileService service) noexcept {
  switch (service) {
    case kNone:
      return "";
    case kIdentity:
      return "identity";
    case kSystemVersion:
      return "system version";
    case kRootNode:
      return "root";
    case kChosenNode:
      return "chosen";
    case kPlatformNode:
      return "platform";
    case kRomNode:
      return "rom";
    case kCompanionChip:
      return "companion chip";
  }
  return "";
}

host::NodeHandle openNode(const host::Registry& registry, ProfileService node) {
  switch (node) {
    case kRootNode:
      return registry.root();
    case kChosenNode:
      return registry.nodeAtPath(host::Registry::kChosenPath);
    case kPlatformNode:
      return registry.firstNodeOfClass(host::Registry::kPlatformClass);
    case kRomNode:
      return registry.nodeAtPath(host::Registry::kRomPath);
    default:
      return 0;
  }
}

}  // namespace brisvane
