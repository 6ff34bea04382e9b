// `bvdiag profile`: who the machine is, and where each value comes from.
#include <cerrno>
#include <memory>
#include <span>
#include <string>
#include <vector>

#include <brisvane/all.h>
#include <brisvane/host/identity_service.h>
#include <brisvane/host/platform.h>
#include <brisvane/host/system_version.h>

#include "commands.h"
#include "registry.h"

namespace bvdiag {
namespace {

namespace bv = brisvane;
using bv::BVSystemInfo;
using bv::host::IdentityService;
using bv::host::Origin;
using bv::host::SystemVersion;

constexpr std::size_t kColumn = 24;

// One place where a value is looked for: the identity service, the system version file, or a
// node of the registry.
struct Source {
  std::string_view service;
  std::string_view name;
  std::string_view needs = {};  // a node without which it is not asked
};

constexpr std::string_view kIdentity = "identity";
constexpr std::string_view kVersion = "system version";
// The library's own table, which an x86-64 host with such a chip is looked up in.
constexpr std::string_view kCompanionChip = "companion chip";
#if defined(__x86_64__)
constexpr bool kKnowsCompanionChips = true;
#else
constexpr bool kKnowsCompanionChips = false;
#endif

// A value of the profile, and where it is looked for, the first first. A flag is
// derived from what stands there.
struct Entry {
  std::string_view key;
  std::vector<Source> sources;
};

const std::vector<Entry>& entries() {
  static const std::vector<Entry> kEntries{
      {"serialNumber", {{"chosen", "HwPlatformSerialNumber"}, {"platform", "HwPlatformSerialNumber"}}},
      {"modelID", {{"chosen", "model"}, {"platform", "model"}}},
      {"boardId", {{"platform", "board-id"}}},
      {"chipId", {{kCompanionChip, ""}, {"chosen", "chip-id"}}},
      {"ecid", {{kIdentity, IdentityService::kUniqueChipID, "chosen"}}},
      {"uuid", {{kIdentity, IdentityService::kUniqueDeviceID, "platform"}, {"platform", "HwPlatformUUID"}}},
      {"keelModelName", {{"platform", "bridge-model"}}},
      {"firmwareVersion",
       {{kIdentity, IdentityService::kFirmwareVersion, "chosen"},
        {"chosen", "firmware-version"},
        {"rom", "version", "platform"}}},
      {"vireoVersion", {{kVersion, SystemVersion::kUserVisibleVersion}}},
      {"buildVersion", {{kVersion, SystemVersion::kBuildVersion}}},
      {"strRookeryBuildVersion", {{"root", "RookeryBuildVersion"}}},
      {"isSeedBuild", {{kVersion, SystemVersion::kBuildVersion}}},
      {"isPrePelorusHost", {{"chosen", "chip-id"}, {"chosen", "board-id"}, {"platform", "bridge-model"}}},
      {"isProductionFused", {{kIdentity, IdentityService::kSigningFuse}}},
      {"isInternaOS", {{"root", "RookeryBuildVersion"}}},
  };
  return kEntries;
}

std::string reasonText(int error) {
  switch (error) {
    case 0:
      return "answered";
    case EACCES:
    case EPERM:
      return "needs root";
    case ENOENT:
      return "no such file";
    case ENODATA:
      return "not answered";
    default:
      return bv::host::errorText(error);
  }
}

// What a source has to say.
struct Finding {
  std::string source;  // as in "platform model"
  std::string place;   // a file; empty for none
  std::string reason;  // "answered", or why it is not

  [[nodiscard]] bool isAnswer() const { return reason == reasonText(0); }
  [[nodiscard]] std::string text() const { return reason + ": " + source + (place.empty() ? "" : " (" + place + ")"); }
};

Finding companionChip() {
  const BVSystemInfo& machine = BVSystemInfo::shared();
  const bool isThere = machine.boardIDStr() && machine.targetType();
  return {std::string(kCompanionChip), {}, isThere ? reasonText(0) : "none"};
}

// Whether the profile can make something of a property that is there.
bool isOfUse(bv::host::NodeHandle node, std::string_view name) {
  const BVSystemInfo& decoder = BVSystemInfo::shared();
  if (name == "chip-id") return decoder.numFromHwRegEntryDataFlipWord(node, name).has_value();
  return decoder.stringFromHwRegEntry(node, name).has_value();
}

Finding findingFrom(const Source& source) {
  if (source.service == kCompanionChip) return companionChip();
  const auto platform = bv::host::platform();
  Finding finding{std::string(source.service) + " " + std::string(source.name), {}, {}};
  Origin origin;
  if (source.service == kIdentity) {
    origin = platform->identityService().origin(source.name);
  } else if (source.service == kVersion) {
    origin = platform->systemVersion().origin(source.name);
  } else {
    const bv::host::OpenNode node(platform->registry(), openNode(platform->registry(), source.service));
    origin = platform->registry().origin(node.handle(), source.name);
    if (!node) finding.reason = "no such node";
    if (!origin.error && !isOfUse(node.handle(), source.name)) finding.reason = "not of use";
  }
  if (!source.needs.empty() &&
      !bv::host::OpenNode(platform->registry(), openNode(platform->registry(), source.needs))) {
    finding.reason = "not asked without a node " + std::string(source.needs);
  }
  finding.place = origin.place;
  if (finding.reason.empty()) finding.reason = reasonText(origin.error.number());
  return finding;
}

// Up to the first answer, which is the one that counts. A flag depends on all of them.
std::vector<Finding> findingsFor(const Entry& entry, bool isFlag) {
  std::vector<Finding> findings;
  for (const Source& source : entry.sources) {
    if (source.service == kCompanionChip && !kKnowsCompanionChips) continue;
    findings.push_back(findingFrom(source));
    if (findings.back().isAnswer() && !isFlag) break;
  }
  return findings;
}

bv::Object describe(const bv::Object& value, const std::vector<Finding>& findings) {
  bv::Array sources;
  for (const Finding& finding : findings) {
    sources.emplace_back(bv::Dictionary{{"source", finding.source},
                                        {"place", finding.place.empty() ? bv::Object() : bv::Object(finding.place)},
                                        {"result", finding.reason}});
  }
  return bv::Dictionary{{"value", value}, {"sources", std::move(sources)}};
}

void printLine(Output& output, std::string_view key, const bv::Object& value) {
  std::string line(key);
  line.append(kColumn - line.size(), ' ');
  output.print(line + (value.isNull() ? output.colored(Color::kRed, "absent") : valueText(value)) + "\n");
}

int run(Session& session, bool explains) {
  Output& output = session.output();
  complainOfAdministratorFile(session);
  const bv::Dictionary profile = BVSystemInfo::shared().profile();
  bv::Dictionary explained;
  for (const Entry& entry : entries()) {
    const bv::Object& value = profile.find(entry.key)->second;
    const auto findings = explains ? findingsFor(entry, value.boolean().has_value()) : std::vector<Finding>();
    if (output.json()) {
      explained.emplace(entry.key, describe(value, findings));
      continue;
    }
    printLine(output, entry.key, value);
    for (const Finding& finding : findings) output.print(std::string(kColumn, ' ') + escaped(finding.text()) + "\n");
  }
  if (output.json()) output.printJson(explains ? explained : profile);
  return kSuccess;
}

}  // namespace

void addProfile(CLI::App& program, Chosen& chosen) {
  CLI::App* const command = program.add_subcommand("profile", "Shows who the machine is and what it runs");
  const auto explains = std::make_shared<bool>(false);
  command->add_flag("--explain", *explains, "Adds where each value comes from, or why it is absent");
  command->footer(exitStatusText("shown, even if all is absent", "never"));
  command->callback(
      [&chosen, explains] { chosen.run = [explains](Session& session) { return run(session, *explains); }; });
}

}  // namespace bvdiag
