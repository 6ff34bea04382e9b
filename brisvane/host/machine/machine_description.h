// MachineDescription, who a machine is, as a JSON text describes it. The administrator's file and
// the simulated machine share this form; docs/machine.md defines it.
// A value type; the functions may be called from any thread.
#pragma once

#include <optional>
#include <string>
#include <string_view>

#include "brisvane/host/machine/description_reader.h"
#include "brisvane/host/machine/system_version.h"
#include "brisvane/types/export.h"
#include "brisvane/types/object.h"
#include "brisvane/types/result.h"

namespace brisvane::host {

// The file in which an administrator describes the machine. It replaces what the machine says.
inline constexpr std::string_view kAdministratorFile = "/etc/brisvane/machine.json";

struct BRISVANE_EXPORT MachineDescription {
  // The properties of the registry's nodes, each a text, a number, a boolean or a byte
  // buffer; nullopt for a node that is not described.
  std::optional<Dictionary> root;
  std::optional<Dictionary> chosen;
  std::optional<Dictionary> platform;
  std::optional<Dictionary> rom;

  Dictionary identity;  // answers of the identity service, by key

  std::optional<Dictionary> versionEntries;  // of the system version file
  std::optional<OsVersion> running;

  // Takes the fields "registry", "identity" and "systemVersion" out of a description; a
  // field that is missing leaves its part empty. Throws DescriptionError.
  [[nodiscard]] static MachineDescription read(DescriptionReader& reader);

  // The description in an administrator's file, which has those fields and no others. The error
  // names the file and, for a malformed one, the line.
  static Result<MachineDescription> fromFile(std::string_view path);
};

// A property as a description spells it: a text, number or boolean as it is, a byte buffer
// as {"hex": "34 12"}. Throws DescriptionError for anything else.
[[nodiscard]] BRISVANE_EXPORT Object describedValue(const Object& value, const std::string& place);

// The same the other way round; anything but the kinds above becomes null.
[[nodiscard]] BRISVANE_EXPORT Object describeValue(const Object& value);

// "12", "12.5" or "12.5.1". What follows a further dot is ignored; missing numbers are 0.
// nullopt for any other text, and for a number beyond 64 bits.
[[nodiscard]] BRISVANE_EXPORT std::optional<OsVersion> parseVersion(std::string_view text) noexcept;

}  // namespace brisvane::host
