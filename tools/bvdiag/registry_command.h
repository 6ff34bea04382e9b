// The registry's nodes as commands name them.
#pragma once

#include <array>
#include <optional>
#include <string_view>

#include <brisvane/host/machine/registry.h>
#include <brisvane/types/object.h>

#include "session.h"

namespace bvdiag {

// A node, and how it is opened.
struct KnownNode {
  std::string_view name;  // as in a machine's description
  brisvane::host::NodeHandle (*open)(const brisvane::host::Registry& registry);
};

inline constexpr std::string_view kOptionsNode = "options";

inline constexpr std::array<KnownNode, 5> kKnownNodes{{
    {"root", [](const brisvane::host::Registry& registry) { return registry.root(); }},
    {"chosen",
     [](const auto& registry) {
       return registry.nodeAtPath(brisvane::host::Registry::kChosenPath);
     }},
    {"platform",
     [](const auto& registry) {
       return registry.firstNodeOfClass(brisvane::host::Registry::kPlatformClass);
     }},
    {"rom",
     [](const auto& registry) { return registry.nodeAtPath(brisvane::host::Registry::kRomPath); }},
    {kOptionsNode,
     [](const auto& registry) {
       return registry.nodeAtPath(brisvane::host::Registry::kOptionsPath);
     }},
}};

// Opens the node of this name; 0 when there is none.
[[nodiscard]] inline brisvane::host::NodeHandle openNode(const brisvane::host::Registry& registry,
                                                         std::string_view name) {
  for (const KnownNode& known : kKnownNodes) {
    if (known.name == name) return known.open(registry);
  }
  return 0;
}

// The properties of an open node that have a value.
[[nodiscard]] brisvane::Dictionary propertiesOf(const brisvane::host::Registry& registry,
                                                brisvane::host::NodeHandle node);

// Properties as a machine's description spells them.
[[nodiscard]] brisvane::Dictionary described(const brisvane::Dictionary& properties);

// Reports an administrator's file that cannot be read, which the library ignores.
void complainOfAdministratorFile(const Session& session);

}  // namespace bvdiag
