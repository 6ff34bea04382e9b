// `bvdiag registry show`: the nodes of the device registry, and their properties.
#include "registry_command.h"

#include <string>

#include <brisvane/all.h>
#include <brisvane/host/files/files.h>
#include <brisvane/host/machine/machine_description.h>
#include <brisvane/host/platform.h>

#include "commands.h"

namespace bvdiag {
namespace {

namespace bv = brisvane;
using bv::host::Registry;

constexpr std::size_t kColumn = 28;

std::string_view kindText(const bv::Object& value) {
  switch (value.kind()) {
    case bv::Object::Kind::kText:
      return "text";
    case bv::Object::Kind::kData:
      return "bytes";
    case bv::Object::Kind::kBoolean:
      return "flag";
    default:
      return "number";
  }
}

void showNode(Session& session, const Registry& registry, const KnownNode& known, bool variables) {
  Output& output = session.output();
  const bv::host::OpenNode node(registry, known.open(registry));
  if (!node) return output.print(std::string(known.name) + "  (not there)\n");
  output.print(output.colored(Color::kCyan, known.name) + "\n");
  const auto names = registry.propertyNames(node.handle());
  if (known.name == kOptionsNode && !variables) {
    return output.print("  " + std::to_string(names.size()) +
                        " firmware variables; --variables prints them\n");
  }
  for (const std::string& name : names) {
    const auto value = registry.property(node.handle(), name);
    if (!value) continue;
    std::string line = "  " + escaped(name);
    line.append(line.size() < kColumn ? kColumn - line.size() : 1, ' ')
        .append(kindText(*value))
        .append("  ");
    output.print(line + valueText(*value) + "\n");
  }
}

// The null marker for a node that is not there.
bv::Object describedNode(const Registry& registry, const KnownNode& known) {
  const bv::host::OpenNode node(registry, known.open(registry));
  return node ? bv::Object(described(propertiesOf(registry, node.handle()))) : bv::Object();
}

struct ShowOptions {
  bool variables = false;
};

int show(const ShowOptions& options, Session& session) {
  complainOfAdministratorFile(session);
  const auto platform = bv::host::platform();
  bv::Dictionary tree;
  for (const KnownNode& known : kKnownNodes) {
    if (!session.output().json()) {
      showNode(session, platform->registry(), known, options.variables);
    } else if (known.name != kOptionsNode || options.variables) {
      tree.emplace(known.name, describedNode(platform->registry(), known));
    }
  }
  if (session.output().json()) session.output().printJson(std::move(tree));
  return kSuccess;
}

}  // namespace

bv::Dictionary propertiesOf(const Registry& registry, bv::host::NodeHandle node) {
  bv::Dictionary properties;
  for (const std::string& name : registry.propertyNames(node)) {
    if (auto value = registry.property(node, name)) properties.emplace(name, std::move(*value));
  }
  return properties;
}

bv::Dictionary described(const bv::Dictionary& properties) {
  bv::Dictionary description;
  for (const auto& [name, value] : properties)
    description.emplace(name, bv::host::describeValue(value));
  return description;
}

void complainOfAdministratorFile(const Session& session) {
  const std::string path(bv::host::kAdministratorFile);
  if (session.isSimulated() || bv::host::fileKind(path) == bv::host::FileKind::kNone) return;
  const auto description = bv::host::MachineDescription::fromFile(path);
  if (!description.ok()) {
    session.output().remark(description.error().text() + "; the file is ignored; correct it");
  }
}

void addRegistry(AnyCommand& program) {
  auto registry = program.command("registry", "Prints the device registry");
  registry.requireCommand();
  registry.example("bvdiag registry show");
  auto command =
      registry.command<ShowOptions>("show", "Prints the nodes from which the profile is gathered");
  command.flag("--variables", &ShowOptions::variables, "Prints each firmware variable, too");
  command.example("bvdiag registry show --variables");
  command.footer(exitStatusText("success", "never"));
  command.runs(show);
}

}  // namespace bvdiag
