// VariableStore, the registry's options node: the machine's firmware variables.
// Any number of threads may use one at the same time; the store orders what they do.
#pragma once

#include <optional>
#include <string>
#include <string_view>

#include "brisvane/host/machine/node_registry.h"
#include "brisvane/types/data.h"
#include "brisvane/types/export.h"
#include "brisvane/types/guid.h"

namespace brisvane::host {

// The parts of a full variable name.
struct VariableName {
  Guid space;        // the namespace
  std::string name;  // within it

  // Takes "GUID:name" apart: the text of a GUID, in letters of either case, a colon and a
  // name, which may hold colons. nullopt for any other text, for an empty name, and for a
  // name with '/' or U+0000, which a store cannot keep.
  [[nodiscard]] BRISVANE_EXPORT static std::optional<VariableName> parse(std::string_view fullName);
  // "GUID:name", letters of the GUID upper-case.
  [[nodiscard]] BRISVANE_EXPORT std::string text() const;
};

// Each variable is a property, named in full. A write of a property is a write of the variable.
// Two properties cannot be read: a write of kDelete deletes the variable that its value names, a
// write of kCommit, with any value, commits at once.
//
// The errors that every store reports for a write:
//  - EINVAL for a malformed name, and for an empty value, which firmware takes for a deletion;
//  - ENOENT for the deletion of a missing variable;
//  - ENAMETOOLONG for a name of more than 218 bytes.
class BRISVANE_EXPORT VariableStore : public RegistryNode {
 public:
  static constexpr std::string_view kDelete = "HwNVRAM-DELETE-PROPERTY";
  static constexpr std::string_view kCommit = "HwNVRAM-FORCESYNCNOW-PROPERTY";

  // The variable's bytes, without its attributes.
  [[nodiscard]] std::optional<Object> property(std::string_view name) const final;
  Result<> setProperty(std::string_view name, std::string_view value) const final;
  Result<std::string> origin(std::string_view name) const final;

 private:
  virtual Result<Data> read(const VariableName& name) const = 0;
  virtual Result<> write(const VariableName& name, ByteView value) const = 0;
  virtual Result<> remove(const VariableName& name) const = 0;
  virtual Result<> commit() const = 0;
  // What keeps a variable: a file.
  [[nodiscard]] virtual std::string place(const VariableName& name) const = 0;
};

}  // namespace brisvane::host
