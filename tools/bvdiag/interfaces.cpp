// `bvdiag interfaces`: the network interfaces that are up with an IPv4 address.
#include <brisvane/all.h>

#include "commands.h"

namespace bvdiag {
namespace {

namespace bv = brisvane;

struct Column {
  std::string_view key;
  std::size_t width;
};

// As wide as the widest that Linux knows; the last needs no width.
constexpr Column kColumns[] = {{"NetworkInterfaceName", 17},
                               {"NetworkInterfaceType", 11},
                               {"MacAddress", 19},
                               {"IPAddress", 0}};

std::string lineOf(const bv::Dictionary& record) {
  std::string line;
  std::size_t end = 0;
  for (const Column& column : kColumns) {
    line += escaped(*record.find(column.key)->second.ifText());
    end += column.width;
    if (column.width > 0) line.append(line.size() < end ? end - line.size() : 1, ' ');
  }
  return line + "\n";
}

int run(const NoOptions& /*options*/, Session& session) {
  Output& output = session.output();
  const auto interfaces = bv::Brisvane::findEthernetInterfaces();
  if (!interfaces) {
    output.complain(
        "the network interfaces cannot be listed; check that a sandbox does not forbid netlink "
        "sockets");
    return kFailure;
  }
  if (interfaces->empty())
    output.remark("no wired, virtual-LAN or wireless interface is up with an IPv4 address");
  if (output.json()) {
    output.printJson(*interfaces);
    return kSuccess;
  }
  for (const bv::Object& record : *interfaces) output.print(lineOf(*record.ifDictionary()));
  return kSuccess;
}

}  // namespace

void addInterfaces(AnyCommand& program) {
  auto command = program.command("interfaces",
                                 "Lists the network interfaces: name, type, MAC and IPv4 address");
  command.example("bvdiag interfaces");
  command.footer(
      exitStatusText("success, even without an interface", "the interfaces cannot be listed"));
  command.runs(run);
}

}  // namespace bvdiag
