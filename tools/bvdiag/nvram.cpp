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
#include "variable_name.h"

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
    return space.empty() ? name : fullVariableName(name, space);
  }
};

// Why a read has found nothing.
std::string explainAbsence(const NvramOptions& options) {
  const std::string name = options.fullName();
  const bv::BVSystemInfo* const machine =
      options.requireDevFused || options.requireInternalOS ? &bv::BVSystemInfo::shared() : nullptr;
  if (options.requireDevFused && machine->isProductionFused())
    return name + ": refused: the machine is production-fused; omit --require-dev-fused";
  if (options.requireInternalOS && !machine->isInternaOS()) {
    return name + ": refused: the machine runs no internal OS; see `bvdiag profile --explain`";
  }
  const auto platform = bv::host::platform();
  const Registry& registry = platform->registry();
  const bv::host::OpenNode store(registry, registry.nodeAtPath(Registry::kOptionsPath));
  if (!store) return name + ": " + kNoStore;
  const auto origin = registry.origin(store.handle(), name);
  if (!origin.ok()) {
    const bv::Error& error = origin.error();
    return (error.what().empty() ? error.of(name) : error).text() + "; " +
           adviceForVariable(error.number());
  }
  return name + (options.view == "dictionary" ? ": holds no JSON object; " : ": holds no text; ") +
         "--view data prints its bytes";
}

std::optional<bv::Object> read(const NvramOptions& options) {
  const std::string name = options.fullName();
  const auto operation = [&options]() -> std::optional<bv::Object> (*)(
                                          bv::Text, bool, bool,
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
    output.printResult(
        bv::Dictionary{{"name", options.fullName()}, {"view", options.view}, {"value", *value}});
  } else if (const bv::Data* const bytes = value->ifData()) {
    output.print(hexDump(*bytes));
  } else {
    output.print(valueText(*value) + "\n");
  }
  return kSuccess;
}

int finish(const NvramOptions& options, Session& session, std::int32_t status) {
  Output& output = session.output();
  if (const auto failure = variableFailure(options.fullName(), status); !failure.empty()) {
    output.complain(failure);
  } else if (session.isSimulated()) {
    output.remark("done; the simulated machine forgets it when this command ends");
  }
  if (output.json())
    output.printResult(bv::Dictionary{{"name", options.fullName()}, {"status", status}});
  return status == 0 ? kSuccess : kFailure;
}

int set(const NvramOptions& options, Session& session) {
  const std::string question = "Write " + options.fullName() + " to the firmware of this machine?";
  if (!confirmed(session, question, options.yes)) return kFailure;
  return finish(options, session, BVNvram::writeStringVariable(options.fullName(), options.value));
}

int remove(const NvramOptions& options, Session& session) {
  const std::string question =
      "Delete " + options.fullName() + " from the firmware of this machine?";
  if (!confirmed(session, question, options.yes)) return kFailure;
  return finish(options, session, BVNvram::deleteVariable(options.fullName()));
}

int list(const NvramOptions& options, Session& session) {
  Output& output = session.output();
  const auto platform = bv::host::platform();
  const Registry& registry = platform->registry();
  const bv::host::OpenNode store(registry, registry.nodeAtPath(Registry::kOptionsPath));
  if (!store) {
    output.complain(kNoStore);
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

using NvramCommand = Command<NvramOptions>;

void addNamespace(NvramCommand& command, const std::string& help) {
  command.option("--namespace", &NvramOptions::space, "system|larder", help)
      .oneOf({"system", "larder"});
}

void addName(NvramCommand& command) {
  command
      .argument("NAME", &NvramOptions::name,
                "The variable, as GUID:name, or as a short name in --namespace")
      .required();
  addNamespace(command, "The namespace of a short name");
}

void addYes(NvramCommand& command) {
  command.flag("--yes", &NvramOptions::yes,
               "Does not ask for confirmation; a simulated machine never does");
}

void addGet(AnyCommand& nvram) {
  auto command = nvram.command<NvramOptions>("get", "Prints a variable");
  addName(command);
  command
      .option("--view", &NvramOptions::view, "VIEW",
              "text, data (its bytes) or dictionary (a JSON object)")
      .oneOf({"text", "data", "dictionary"})
      .showsDefault();
  command.flag("--require-dev-fused", &NvramOptions::requireDevFused,
               "Refuses a production-fused machine");
  command.flag("--require-internal-os", &NvramOptions::requireInternalOS,
               "Refuses a machine without an internal OS");
  command.example("bvdiag nvram get bench-mode --namespace system");
  command.footer(exitStatusText(
      "success", "there is no such variable, the machine refuses it, or it has no such view"));
  command.runs(get);
}

void addSet(AnyCommand& nvram) {
  auto command = nvram.command<NvramOptions>("set", "Writes a text to a variable");
  addName(command);
  command.argument("VALUE", &NvramOptions::value, "The text").required();
  addYes(command);
  command.example("bvdiag nvram set bench-mode burn-in --namespace system");
  command.footer(exitStatusText("success", "the variable cannot be written"));
  command.runs(set);
}

void addDelete(AnyCommand& nvram) {
  auto command = nvram.command<NvramOptions>("delete", "Deletes a variable");
  addName(command);
  addYes(command);
  command.example("bvdiag nvram delete bench-mode --namespace system");
  command.footer(exitStatusText("success", "the variable cannot be deleted"));
  command.runs(remove);
}

void addList(AnyCommand& nvram) {
  auto command = nvram.command<NvramOptions>("list", "Lists the variables by their full names");
  addNamespace(command, "Lists this namespace only");
  command.example("bvdiag nvram list --namespace larder");
  command.footer(exitStatusText("success", "the machine has no variable store"));
  command.runs(list);
}

}  // namespace

void addNvram(AnyCommand& program) {
  auto nvram = program.command("nvram", "Reads, writes, deletes and lists firmware variables");
  nvram.example("bvdiag nvram get bench-mode --namespace system");
  nvram.requireCommand();
  addGet(nvram);
  addSet(nvram);
  addDelete(nvram);
  addList(nvram);
}

}  // namespace bvdiag
