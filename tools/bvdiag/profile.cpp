// `bvdiag profile`: the identity of the machine, and where each value comes from.
#include <cerrno>
#include <span>
#include <string>
#include <vector>

#include <brisvane/all.h>
#include <brisvane/host/machine/identity_service.h>
#include <brisvane/host/machine/system_version.h>
#include <brisvane/host/platform.h>

#include "commands.h"
#include "registry_command.h"

namespace bvdiag {
namespace {

namespace bv = brisvane;
using bv::BVSystemInfo;
using bv::ProfileService;
using bv::ProfileSource;
using bv::ProfileValue;

constexpr std::size_t kColumn = 24;
#if defined(__x86_64__)
constexpr bool kKnowsCompanionChips = true;
#else
constexpr bool kKnowsCompanionChips = false;
#endif

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
      return bv::errorText(error);
  }
}

// What a source has to say.
struct Finding {
  std::string source;  // as in "platform model"
  std::string place;   // a file; empty for none
  std::string reason;  // "answered", or why it is not

  [[nodiscard]] bool isAnswer() const { return reason == reasonText(0); }
  [[nodiscard]] std::string text() const {
    return reason + ": " + source + (place.empty() ? "" : " (" + place + ")");
  }
};

Finding companionChip() {
  const BVSystemInfo& machine = BVSystemInfo::shared();
  const bool isThere = machine.boardIDStr() && machine.targetType();
  return {
      std::string(nameOf(ProfileService::kCompanionChip)), {}, isThere ? reasonText(0) : "none"};
}

// Whether the profile can make something of a property that is there.
bool isOfUse(bv::host::NodeHandle node, std::string_view name) {
  const BVSystemInfo& decoder = BVSystemInfo::shared();
  if (name == "chip-id") return decoder.numFromHwRegEntryDataFlipWord(node, name).has_value();
  return decoder.stringFromHwRegEntry(node, name).has_value();
}

Finding findingFrom(const ProfileSource& source) {
  if (source.service == ProfileService::kCompanionChip) return companionChip();
  const auto platform = bv::host::platform();
  Finding finding{std::string(nameOf(source.service)) + " " + std::string(source.name), {}, {}};
  const auto origin = [&]() -> bv::Result<std::string> {
    if (source.service == ProfileService::kIdentity)
      return platform->identityService().origin(source.name);
    if (source.service == ProfileService::kSystemVersion)
      return platform->systemVersion().origin(source.name);
    const bv::host::OpenNode node(platform->registry(),
                                  bv::openNode(platform->registry(), source.service));
    auto found = platform->registry().origin(node.handle(), source.name);
    if (!node) finding.reason = "no such node";
    if (found.ok() && !isOfUse(node.handle(), source.name)) finding.reason = "unusable value";
    return found;
  }();
  if (source.needs != ProfileService::kNone &&
      !bv::host::OpenNode(platform->registry(), bv::openNode(platform->registry(), source.needs))) {
    finding.reason = "not asked without a node " + std::string(nameOf(source.needs));
  }
  finding.place = origin.ok() ? origin.value() : std::string(origin.error().what());
  if (finding.reason.empty())
    finding.reason = reasonText(origin.ok() ? 0 : origin.error().number());
  return finding;
}

// Up to the first answer, which is the one that counts. A flag depends on all of them.
std::vector<Finding> findingsFor(const ProfileValue& value, bool isFlag) {
  std::vector<Finding> findings;
  for (const ProfileSource& source : value.sources) {
    if (source.service == ProfileService::kCompanionChip && !kKnowsCompanionChips) continue;
    findings.push_back(findingFrom(source));
    if (findings.back().isAnswer() && !isFlag) break;
  }
  return findings;
}

bv::Object describe(const bv::Object& value, const std::vector<Finding>& findings) {
  bv::Array sources;
  for (const Finding& finding : findings) {
    sources.emplace_back(
        bv::Dictionary{{"source", finding.source},
                       {"place", finding.place.empty() ? bv::Object() : bv::Object(finding.place)},
                       {"result", finding.reason}});
  }
  return bv::Dictionary{{"value", value}, {"sources", std::move(sources)}};
}

void printLine(Output& output, std::string_view key, const bv::Object& value) {
  std::string line(key);
  line.append(kColumn - line.size(), ' ');
  output.print(line + (value.isNull() ? output.colored(Color::kRed, "absent") : valueText(value)) +
               "\n");
}

struct ProfileOptions {
  bool explains = false;
};

int run(const ProfileOptions& options, Session& session) {
  Output& output = session.output();
  complainOfAdministratorFile(session);
  const bv::Dictionary profile = BVSystemInfo::shared().profile();
  bv::Dictionary explained;
  for (const ProfileValue& described : bv::profileValues()) {
    const auto found = profile.find(described.key);
    if (found == profile.end()) continue;
    const bv::Object& value = found->second;
    const auto findings = options.explains ? findingsFor(described, value.boolean().has_value())
                                           : std::vector<Finding>();
    if (output.json()) {
      explained.emplace(described.key, describe(value, findings));
      continue;
    }
    printLine(output, described.key, value);
    for (const Finding& finding : findings)
      output.print(std::string(kColumn, ' ') + escaped(finding.text()) + "\n");
  }
  if (output.json()) output.printJson(options.explains ? explained : profile);
  return kSuccess;
}

}  // namespace

void addProfile(AnyCommand& program) {
  auto command = program.command<ProfileOptions>(
      "profile", "Prints the identity of the machine and its system");
  command.flag("--explain", &ProfileOptions::explains,
               "Adds the source of each value, or why it is absent");
  command.example("bvdiag profile --explain");
  command.footer(exitStatusText("success, even if every value is absent", "never"));
  command.runs(run);
}

}  // namespace bvdiag
