// `bvdiag nvram`: the machine's firmware variables.
#include <cerrno>
#include <memory>

#include <brisvane/all.h>
#include <brisvane/host/formats/json.h>
#include <brisvane/host/machine/variable_store.h>
#include <brisvane/host/platform.h>
#include <brisvane/types/error.h>

#include "commands.h"
#include "confirmation.h"

namespace bvdiag {
namespace {

namespace bv = brisvane;
using bv::BVNvram;
using bv::host::Registry;

struct NvramOptions {
  std::string name;
  std::string space;  // "system", "larder" or empty for a full name
  std::string value;
  std::string view = "text";
  bool requireDevFused = false;
  bool requireInternalOS = false;
  bool yes = false;

  [[nodiscard]] std::string fullName() const {
    if (space.empty()) return name;
    return bv::guidText(space == "system" ? BVNvram::kSystemGuid : BVNvram::kLarderGuid) + ":" + name;
  }
};

std::string adviceFor(int error) {
  switch (error) {
    case EACCES:
    case EPERM:
      return "run it as root";
    case EROFS:
      return "the variables are mounted read-only: mount -o remount,rw /sys/firmware/efi/efivars";
    case ENOSPC:
      return "the store is full: delete what is not needed, or reboot to have it cleaned up";
    case EINVAL:
      return "check the name (GUID:name, or --namespace) and the value, which must not be empty and not too large";
    case ENOENT:
      return "`bvdiag nvram list` lists those that there are";
    default:
      return "check the store with `bvdiag nvram list`";
  }
}

// Why a read has found nothing.
std::string explainAbsence(const NvramOptions& options) {
  const std::string name = options.fullName();
  const bv::BVSystemInfo* const machine =
      options.requireDevFused || options.requireInternalOS ? &bv::BVSystemInfo::shared() : nullptr;
  if (options.requireDevFused && machine->isProductionFused())
    return name + ": refused: the machine is production-fused";
  if (options.requireInternalOS && !machine->isInternaOS()) {
    return name + ": refused: the machine runs no internal OS; `bvdiag profile --explain` tells why";
  }
  const auto platform = bv::host::platform();
  const Registry& registry = platform->registry();
  const bv::host::OpenNode store(registry, registry.nodeAtPath(Registry::kOptionsPath));
  if (!store) return name + ": the machine has no variable store; on a PC, it must have been started by UEFI";
  const bv::host::Origin origin = registry.origin(store.handle(), name);
  if (origin.error) {
    return (origin.place.empty() ? name : origin.place) + ": " + origin.error.text() + "; " +
           adviceFor(origin.error.number());
  }
  return name + (options.view == "dictionary" ? ": holds no JSON object; " : ": holds no text; ") +
         "--view data shows what it holds";
}

std::optional<bv::Object> read(const NvramOptions& options) {
  const std::string name = options.fullName();
  const auto operation = [&options]() -> std::optional<bv::Object> (*)(bv::Text, bool, bool,
                                                                       const std::optional<bv::Object>&) noexcept {
    if (options.view == "data") return &BVNvram::dataFromVariable;
    if (options.view == "dictionary") return &BVNvram::dictionaryFromVariable;
    return &BVNvram::stringFromVariable;
  }();
  return operation(name, options.requireDevFused, options.requireInternalOS, std::nullopt);
}

int get(const NvramOptions& options, Session& session) {
  Output& output = session.output();
  const auto value = read(options);
  if (!value) {
    output.complain(explainAbsence(options));
    return kFailure;
  }
  if (output.json()) {
    output.printResult(bv::Dictionary{{"name", options.fullName()}, {"view", options.view}, {"value", *value}});
  } else if (const bv::Data* const bytes = value->ifData()) {
    output.print(hexDump(*bytes));
  } else {
    output.print(valueText(*value) + "\n");
  }
  return kSuccess;
}

int finish(const NvramOptions& options, Session& session, std::int32_t status) {
  Output& output = session.output();
  if (status == -1) {
    output.complain(options.fullName() + ": the machine has no variable store");
  } else if (status != 0) {
    output.complain(bv::host::errorText(options.fullName(), status) + " (" + std::to_string(status) + "); " +
                    adviceFor(status));
  } else if (session.isSimulated()) {
    output.remark("done; the simulated machine forgets it when this command ends");
  }
  if (output.json()) output.printResult(bv::Dictionary{{"name", options.fullName()}, {"status", status}});
  return status == 0 ? kSuccess : kFailure;
}

int set(const NvramOptions& options, Session& session) {
  const std::string question = "Write " + options.fullName() + " to the firmware of this machine?";
  if (!confirmed(session, question, options.yes)) return kFailure;
  return finish(options, session, BVNvram::writeStringVariable(options.fullName(), options.value));
}

int remove(const NvramOptions& options, Session& session) {
  const std::string question = "Delete " + options.fullName() + " from the firmware of this machine?";
  if (!confirmed(session, question, options.yes)) return kFailure;
  return finish(options, session, BVNvram::deleteVariable(options.fullName()));
}

int list(const NvramOptions& options, Session& session) {
  Output& output = session.output();
  const auto platform = bv::host::platform();
  const Registry& registry = platform->registry();
  const bv::host::OpenNode store(registry, registry.nodeAtPath(Registry::kOptionsPath));
  if (!store) {
    output.complain("the machine has no variable store; on a PC, it must have been started by UEFI");
    return kFailure;
  }
  const std::string prefix = options.space.empty() ? "" : options.fullName();
  bv::Array names;
  for (const std::string& name : registry.propertyNames(store.handle())) {
    if (!name.starts_with(prefix)) continue;
    names.emplace_back(name);
    if (!output.json()) output.print(escaped(name) + "\n");
  }
  if (output.json()) output.printJson(std::move(names));
  return kSuccess;
}

void addNamespace(CLI::App& command, NvramOptions& options, const std::string& help) {
  command.add_option("--namespace", options.space, help)
      ->check(CLI::IsMember({"system", "larder"}))
      ->type_name("system|larder");
}

void addName(CLI::App& command, NvramOptions& options) {
  command.add_option("NAME", options.name, "The variable, as GUID:name, or as a short name in --namespace")->required();
  addNamespace(command, options, "The namespace of a short name");
}

void addYes(CLI::App& command, NvramOptions& options) {
  command.add_flag("--yes", options.yes, "Does not ask; a simulated machine never asks");
}

using Operation = int (*)(const NvramOptions&, Session&);

CLI::App* addOperation(CLI::App& nvram, Chosen& chosen, const std::string& name, const std::string& help,
                       const std::shared_ptr<NvramOptions>& options, Operation operation) {
  CLI::App* const command = nvram.add_subcommand(name, help);
  command->callback([&chosen, options, operation] {
    chosen.run = [options, operation](Session& session) { return operation(*options, session); };
  });
  return command;
}

}  // namespace

void addNvram(CLI::App& program, Chosen& chosen) {
  CLI::App* const nvram = program.add_subcommand("nvram", "Reads, writes, deletes and lists firmware variables");
  nvram->require_subcommand(1);
  const auto options = std::make_shared<NvramOptions>();

  CLI::App* const getting = addOperation(*nvram, chosen, "get", "Shows a variable", options, get);
  addName(*getting, *options);
  getting->add_option("--view", options->view, "text, data (its bytes) or dictionary (a JSON object)")
      ->check(CLI::IsMember({"text", "data", "dictionary"}))
      ->type_name("VIEW")
      ->capture_default_str();
  getting->add_flag("--require-dev-fused", options->requireDevFused, "Refuses a production-fused machine");
  getting->add_flag("--require-internal-os", options->requireInternalOS, "Refuses a machine without an internal OS");
  getting->footer(exitStatusText("shown", "there is none, it is refused, or it has no such view"));

  CLI::App* const setting = addOperation(*nvram, chosen, "set", "Writes a text to a variable", options, set);
  addName(*setting, *options);
  setting->add_option("VALUE", options->value, "The text")->required();
  addYes(*setting, *options);
  setting->footer(exitStatusText("written", "not written"));

  CLI::App* const deleting = addOperation(*nvram, chosen, "delete", "Deletes a variable", options, remove);
  addName(*deleting, *options);
  addYes(*deleting, *options);
  deleting->footer(exitStatusText("deleted", "not deleted"));

  CLI::App* const listing =
      addOperation(*nvram, chosen, "list", "Lists the variables by their full names", options, list);
  addNamespace(*listing, *options, "Lists this one alone");
  listing->footer(exitStatusText("listed", "the machine has no variable store"));
}

}  // namespace bvdiag
