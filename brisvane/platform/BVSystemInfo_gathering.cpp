// The gathering of the profile. Its steps stand in their order: later ones build on what
// earlier ones have set.
#include <cstdlib>
#include <utility>

#include "brisvane/host/machine/read_once.h"
#include "brisvane/host/platform.h"
#include "brisvane/platform/BVSystemInfo.h"
#include "brisvane/platform/companion_chip.h"
#include "brisvane/platform/profile_sources.h"
#include "brisvane/platform/registry_decoders.h"
#include "brisvane/types/out_of_memory.h"

namespace brisvane {
namespace {

using host::OpenNode;
using host::Registry;

// The two processors differ in three points: these, and the source of `targetType`.
#if defined(__x86_64__)
constexpr bool kStartsAsPrePelorusHost = true;
constexpr bool kHasCompanionChip = true;
#else
constexpr bool kStartsAsPrePelorusHost = false;
constexpr bool kHasCompanionChip = false;
#endif

constexpr std::string_view kInternalMark = "DEVELOPMENT";

// A boolean, or a number that is not zero.
bool isTrue(const std::optional<Object>& answer) {
  if (!answer) return false;
  if (const auto flag = answer->boolean()) return *flag;
  return (answer->integer() || answer->unsignedInteger() || answer->real()) &&
         answer != Object(0) && answer != Object(0.0);
}

// The number that a host board's identifier ends with, in hexadecimal.
std::uint64_t hostBoardNumber(const std::string& board) {
  constexpr std::size_t kPrefix = 4;
  return board.size() > kPrefix ? std::strtoull(board.c_str() + kPrefix, nullptr, 16) : 0;
}

}  // namespace

// One run over the table of sources, from one reading of the machine's files. A value for which
// memory runs out stays as it is, and the run goes on with the next.
class BVSystemInfo::Gathering {
 public:
  Gathering(BVSystemInfo& info, const host::Platform& platform)
      : info_(info), platform_(platform) {}

  void run() {
    takeAnswersWithoutNode();
    static_cast<void>(takeFrom(ProfileService::kRootNode));
    const auto& build = info_.strRookeryBuildVersion_;
    info_.isInternaOS_ = build && build->find(kInternalMark) != std::string::npos;
    info_.isPrePelorusHost_ = kStartsAsPrePelorusHost;
    takeSystemVersion();
    info_.chipID_ = std::nullopt;
    if (takeFrom(ProfileService::kChosenNode) && info_.chipID_ && info_.boardID_)
      info_.isPrePelorusHost_ = false;
    if (!takeFrom(ProfileService::kPlatformNode)) return;
    shortenCompanionModel();
    if (!info_.firmwareVersion_) static_cast<void>(takeFrom(ProfileService::kRomNode));
  }

 private:
  using TextField = std::optional<std::string> BVSystemInfo::*;

  // What holds a text of this key; null for what is no text.
  static TextField textField(std::string_view key) noexcept {
    constexpr std::pair<std::string_view, TextField> kFields[] = {
        {"targetType", &BVSystemInfo::targetType_},
        {"serialNumber", &BVSystemInfo::systemSerialNumber_},
        {"firmwareVersion", &BVSystemInfo::firmwareVersion_},
        {"modelID", &BVSystemInfo::modelID_},
        {"boardId", &BVSystemInfo::boardIDStr_},
        {"uuid", &BVSystemInfo::UUID_},
        {"keelModelName", &BVSystemInfo::keelModelName_},
        {"vireoVersion", &BVSystemInfo::osVersionStr_},
        {"buildVersion", &BVSystemInfo::osBuildVersionStr_},
        {"strRookeryBuildVersion", &BVSystemInfo::strRookeryBuildVersion_},
    };
    for (const auto& [name, field] : kFields) {
      if (name == key) return field;
    }
    return nullptr;
  }

  // Takes what a node says, and what the other services say that are asked only with it. False
  // when the machine has no such node.
  bool takeFrom(ProfileService service) {
    const Registry& registry = platform_.registry();
    const OpenNode node(registry, memoryPermitting(host::NodeHandle{0},
                                                   [&] { return openNode(registry, service); }));
    if (!node) return false;
    forEachSource([&](const ProfileValue& value, const ProfileSource& source) {
      if (source.service == service && isWanted(value, source)) {
        take(value.key, registry.property(node.handle(), source.name));
      } else if (source.needs == service) {
        takeBeside(value, source);
      }
    });
    return true;
  }

  void takeAnswersWithoutNode() {
    forEachSource([&](const ProfileValue& value, const ProfileSource& source) {
      if (source.needs == ProfileService::kNone) takeBeside(value, source);
    });
  }

  void takeBeside(const ProfileValue& value, const ProfileSource& source) {
    if (source.service == ProfileService::kCompanionChip) takeCompanionChip(value.key);
    if (source.service == ProfileService::kIdentity && isWanted(value, source)) {
      takeAnswer(value.key, platform_.identityService().answer(source.name));
    }
  }

  template <typename Visit>
  static void forEachSource(const Visit& visit) {
    for (const ProfileValue& value : profileValues()) {
      if (value.derived) continue;
      for (const ProfileSource& source : value.sources) {
        unlessOutOfMemory([&] { visit(value, source); });
      }
    }
  }

  // The first source of a text replaces it, the further ones fill a gap.
  bool isWanted(const ProfileValue& value, const ProfileSource& source) const {
    const TextField field = textField(value.key);
    return field == nullptr || &source == value.sources.data() || !(info_.*field);
  }

  void take(std::string_view key, const std::optional<Object>& property) {
    if (key == "chipId") info_.chipID_ = decodeNumber<std::uint16_t>(property);
    if (key == "boardID") info_.boardID_ = decodeNumber<std::uint8_t>(property);
    if (const TextField field = textField(key)) info_.*field = decodeText(property);
  }

  void takeAnswer(std::string_view key, const std::optional<Object>& answer) {
    if (key == "isProductionFused") info_.isProductionFused_ = isTrue(answer);
    if (key == "ecid") info_.ECID_ = answer ? answer->unsignedInteger() : std::nullopt;
    if (const TextField field = textField(key))
      info_.*field = answer ? answer->text() : std::nullopt;
  }

  void takeSystemVersion() {
    unlessOutOfMemory([this] {
      info_.setOsVersion(platform_.systemVersion().running().value_or(host::OsVersion{}));
    });
    unlessOutOfMemory([this] {
      const Dictionary entries = platform_.systemVersion().entries().value_or(Dictionary());
      forEachSource([&](const ProfileValue& value, const ProfileSource& source) {
        if (source.service != ProfileService::kSystemVersion) return;
        const auto found = entries.find(source.name);
        info_.*textField(value.key) = found != entries.end() ? found->second.text() : std::nullopt;
      });
    });
    info_.setIsSeed();
  }

  void takeCompanionChip(std::string_view key) {
    if (!kHasCompanionChip || !info_.boardIDStr_ || !info_.targetType_) return;
    info_.isPrePelorusHost_ = false;
    if (key == "chipId") info_.chipID_ = kCompanionChipID;
    const auto board = companionChipBoard(hostBoardNumber(*info_.boardIDStr_));
    if (key == "boardID" && board) info_.boardID_ = board;
  }

  void shortenCompanionModel() {
    constexpr std::string_view kEnding = "AP";
    auto& model = info_.keelModelName_;
    if (!model) return;
    info_.isPrePelorusHost_ = false;
    if (model->ends_with(kEnding)) model->resize(model->size() - kEnding.size());
  }

  const host::ReadOnce filesAreReadOnce_;
  BVSystemInfo& info_;
  const host::Platform& platform_;
};

void BVSystemInfo::setPlatformInfo() noexcept {
  const auto platform = host::platform();
  Gathering(*this, *platform).run();
}

}  // namespace brisvane
