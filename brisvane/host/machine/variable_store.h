// VariableStore, the registry's options node: the machine's firmware variables.
// Any number of threads may use one at the same time. The store orders their operations.
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

  // Parses "GUID:name". The GUID's letters may have either case. The name may hold colons. nullopt
  // for any other text, for an empty name, and for a name with '/' or U+0000, which a store cannot
  // keep. May throw std::bad_alloc.
  [[nodiscard]] BRISVANE_EXPORT static std::optional<VariableName> parse(std::string_view fullName);
  // "GUID:name", with the GUID in upper case. May throw std::bad_alloc.
  [[nodiscard]] BRISVANE_EXPORT std::string text() const;
};

// Each variable is a property under its full name. Setting the property writes the variable. Two
// further properties can only be set: kDelete deletes the variable that its value names, and
// kCommit, with any value, commits at once.
//
// The errors that every store reports for setProperty():
//  - EINVAL: the name is malformed, or the value is empty. Firmware takes an empty value for a
//    deletion.
//  - ENOENT: the variable to delete does not exist.
//  - ENAMETOOLONG: the name has more than 218 bytes.
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
  // The place of a variable: a file.
  [[nodiscard]] virtual std::string place(const VariableName& name) const = 0;
};

}  // namespace brisvane::host
