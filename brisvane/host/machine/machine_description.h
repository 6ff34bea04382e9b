// MachineDescription, who a machine is, as a JSON text describes it. The administrator's file and
// the simulated machine share this form. docs/machine.md defines it.
// A value type. The functions may be called from any thread. All but parseVersion() may throw
// std::bad_alloc.
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

// The file in which an administrator describes the machine. Its values replace the machine's own.
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

  // Reads the fields "registry", "identity" and "systemVersion" of a description. A missing field
  // leaves its part empty. "$schema", by which editors find a schema, is ignored. Throws
  // DescriptionError when a field is malformed.
  [[nodiscard]] static MachineDescription read(DescriptionReader& reader);

  // Reads an administrator's file, which has only those fields. Fails when the file cannot be read
  // or is malformed. The error names the file and, when it is malformed, the line.
  static Result<MachineDescription> fromFile(std::string_view path);
};

// The property that a value of a description stands for. A text, a number or a boolean stands for
// itself, {"hex": "34 12"} for a byte buffer. Throws DescriptionError for any other value.
[[nodiscard]] BRISVANE_EXPORT Object describedValue(const Object& value, const std::string& place);

// The value that stands for a property in a description: the reverse of describedValue(). A
// property of any other kind gives the null marker.
[[nodiscard]] BRISVANE_EXPORT Object describeValue(const Object& value);

// Parses a version such as "12", "12.5" or "12.5.1". Missing numbers are 0. Whatever follows a
// third dot is ignored. nullopt for any other text, and for a number that does not fit into 64
// bits.
[[nodiscard]] BRISVANE_EXPORT std::optional<OsVersion> parseVersion(std::string_view text) noexcept;

}  // namespace brisvane::host
