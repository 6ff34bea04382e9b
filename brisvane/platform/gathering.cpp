// The gathering of the profile. Its steps stand in their order: later ones build on what
// earlier ones have set.
#include <cstdlib>
#include <new>
#include <utility>

#include "brisvane/host/identity_service.h"
#include "brisvane/host/platform.h"
#include "brisvane/platform/BVSystemInfo.h"
#include "brisvane/platform/companion_chip.h"
#include "brisvane/platform/registry_decoders.h"

namespace brisvane {
namespace {

using host::IdentityService;
using host::OpenNode;
using host::Registry;

// The two processors differ in three points, all of them here.
#if defined(__x86_64__)
constexpr bool kStartsAsPrePelorusHost = true;
constexpr bool kHasCompanionChip = true;
constexpr std::string_view kTargetType = "bridge-model";
#else
constexpr bool kStartsAsPrePelorusHost = false;
constexpr bool kHasCompanionChip = false;
constexpr std::string_view kTargetType = "target-type";
#endif

constexpr std::string_view kSerialNumber = "HwPlatformSerialNumber";
constexpr std::string_view kModel = "model";
constexpr std::string_view kBoardID = "board-id";
constexpr std::string_view kInternalMark = "DEVELOPMENT";

std::optional<std::string> textAnswer(const IdentityService& service, std::string_view key) {
  const auto answer = service.answer(key);
  return answer ? answer->text() : std::nullopt;
}

// A boolean, or a number that is not zero.
bool isTrue(const std::optional<Object>& answer) {
  if (!answer) return false;
  if (const auto flag = answer->boolean()) return *flag;
  return (answer->integer() || answer->unsignedInteger() || answer->real()) && answer != Object(0) &&
         answer != Object(0.0);
}

std::optional<std::string> textOf(const OpenNode& node, const Registry& registry, std::string_view name) {
  return decodeText(registry.property(node.handle(), name));
}

std::optional<std::string> textEntry(const std::optional<Dictionary>& entries, std::string_view key) {
  if (!entries) return std::nullopt;
  const auto found = entries->find(key);
  return found != entries->end() ? found->second.text() : std::nullopt;
}

// The number that a host board's identifier ends with, in hexadecimal.
std::uint64_t hostBoardNumber(const std::string& board) {
  constexpr std::size_t kPrefix = 4;
  return board.size() > kPrefix ? std::strtoull(board.c_str() + kPrefix, nullptr, 16) : 0;
}

}  // namespace

void BVSystemInfo::setPlatformInfo() noexcept try {
  const auto platform = host::platform();
  const Registry& registry = platform->registry();
  const auto signingFuse = platform->identityService().answer(IdentityService::kSigningFuse);
  isProductionFused_ = isTrue(signingFuse);
  {
    const OpenNode root(registry, registry.root());
    strRookeryBuildVersion_ = textOf(root, registry, "RookeryBuildVersion");
  }
  isInternaOS_ = strRookeryBuildVersion_ && strRookeryBuildVersion_->find(kInternalMark) != std::string::npos;
  isPrePelorusHost_ = kStartsAsPrePelorusHost;
  readSystemVersion(platform->systemVersion());
  chipID_ = std::nullopt;
  readChosenNode(*platform);
  readPlatformNode(*platform);
} catch (const std::bad_alloc&) {
  // What has been gathered stands; the rest is as it was.
}

void BVSystemInfo::readSystemVersion(const host::SystemVersion& version) {
  setOsVersion(version.running().value_or(host::OsVersion{}));
  const auto entries = version.entries();
  osBuildVersionStr_ = textEntry(entries, host::SystemVersion::kBuildVersion);
  setIsSeed();
  osVersionStr_ = textEntry(entries, host::SystemVersion::kUserVisibleVersion);
}

void BVSystemInfo::readChosenNode(const host::Platform& platform) {
  const Registry& registry = platform.registry();
  const IdentityService& identity = platform.identityService();
  const OpenNode chosen(registry, registry.nodeAtPath(Registry::kChosenPath));
  if (!chosen) return;
  systemSerialNumber_ = textOf(chosen, registry, kSerialNumber);
  firmwareVersion_ = textAnswer(identity, IdentityService::kFirmwareVersion);
  if (!firmwareVersion_) firmwareVersion_ = textOf(chosen, registry, "firmware-version");
  const auto uniqueChip = identity.answer(IdentityService::kUniqueChipID);
  ECID_ = uniqueChip ? uniqueChip->unsignedInteger() : std::nullopt;
  modelID_ = textOf(chosen, registry, kModel);
  chipID_ = decodeNumber<std::uint16_t>(registry.property(chosen.handle(), "chip-id"));
  boardID_ = decodeNumber<std::uint8_t>(registry.property(chosen.handle(), kBoardID));
  if (chipID_ && boardID_) isPrePelorusHost_ = false;
}

void BVSystemInfo::readPlatformNode(const host::Platform& platform) {
  const Registry& registry = platform.registry();
  {
    const OpenNode node(registry, registry.firstNodeOfClass(Registry::kPlatformClass));
    if (!node) return;
    targetType_ = textOf(node, registry, kTargetType);
    if (!systemSerialNumber_) systemSerialNumber_ = textOf(node, registry, kSerialNumber);
    if (!modelID_) modelID_ = textOf(node, registry, kModel);
    boardIDStr_ = textOf(node, registry, kBoardID);
    if (kHasCompanionChip && boardIDStr_ && targetType_) takeCompanionChip();
    UUID_ = textAnswer(platform.identityService(), IdentityService::kUniqueDeviceID);
    if (!UUID_) UUID_ = textOf(node, registry, "HwPlatformUUID");
    setCompanionModel(textOf(node, registry, "bridge-model"));
  }
  if (firmwareVersion_) return;
  const OpenNode rom(registry, registry.nodeAtPath(Registry::kRomPath));
  if (rom) firmwareVersion_ = textOf(rom, registry, "version");
}

void BVSystemInfo::takeCompanionChip() {
  if (const auto board = companionChipBoard(hostBoardNumber(*boardIDStr_))) boardID_ = board;
  isPrePelorusHost_ = false;
  chipID_ = kCompanionChipID;
}

void BVSystemInfo::setCompanionModel(std::optional<std::string> model) {
  constexpr std::string_view kEnding = "AP";
  if (model) isPrePelorusHost_ = false;
  if (model && model->ends_with(kEnding)) model->resize(model->size() - kEnding.size());
  keelModelName_ = std::move(model);
}

}  // namespace brisvane
