// The table of the sources of BVSystemInfo's values. Gathering follows it, and a tool can explain a
// profile with it.
// The functions may be called from any thread.
#pragma once

#include <cstdint>
#include <span>
#include <string_view>

#include "brisvane/host/machine/registry.h"
#include "brisvane/types/export.h"

namespace brisvane {

// A service of the platform, or a node of its registry.
enum class ProfileService : std::uint8_t {
  kNone,
  kIdentity,
  kSystemVersion,
  kRootNode,
  kChosenNode,
  kPlatformNode,
  kRomNode,
  kCompanionChip,  // the library's own table, in which an x86-64 build looks up the host's board
};

// One place where a value is looked for.
struct ProfileSource {
  ProfileService service = ProfileService::kNone;
  std::string_view name;                         // the key, the entry or the property
  ProfileService needs = ProfileService::kNone;  // without this node the source is not read
};

// A value, with its sources in order: the first source that has a value decides. A derived flag
// depends on all of its sources.
struct ProfileValue {
  std::string_view key;  // in BVSystemInfo::profile(), else the name of the getter
  std::span<const ProfileSource> sources;
  bool derived = false;
};

// Every value of BVSystemInfo that has a source in the table. The sources of one node are read in
// the order of the table.
[[nodiscard]] BRISVANE_EXPORT std::span<const ProfileValue> profileValues() noexcept;

// The name of a service to show to people, such as "chosen" or "identity".
[[nodiscard]] BRISVANE_EXPORT std::string_view nameOf(ProfileService service) noexcept;

// Opens the node. The caller releases it: see host::OpenNode. 0 when the machine has no such node,
// and for a service that is no node. Throws what the registry throws.
[[nodiscard]] BRISVANE_EXPORT host::NodeHandle openNode(const host::Registry& registry,
                                                        ProfileService node);

}  // namespace brisvane
