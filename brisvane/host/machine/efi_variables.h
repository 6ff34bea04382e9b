// The firmware variables of a UEFI machine, through the kernel's efivarfs.
// Any number of threads and processes may use them at the same time.
#pragma once

#include <string>
#include <utility>

#include "brisvane/host/machine/variable_store.h"

namespace brisvane::host::real {

// Each variable is a file, its name, a hyphen and the GUID in lower case: four bytes of
// attributes, then the value. An existing variable keeps its attributes, a new one becomes
// non-volatile, for boot services and run time. The immutable flag that keeps a variable from
// accidents is taken away for a change and put back. Nothing is ever mounted or remounted.
class EfiVariables final : public VariableStore {
 public:
  // `anyFileSystem` lets an ordinary folder stand in for efivarfs.
  explicit EfiVariables(std::string folder, bool anyFileSystem = false)
      : folder_(std::move(folder)), anyFileSystem_(anyFileSystem) {}

  // Whether efivarfs is mounted there: the empty folder without it is no store.
  [[nodiscard]] bool exists() const noexcept override;
  [[nodiscard]] std::vector<std::string> propertyNames() const noexcept override;

 private:
  [[nodiscard]] std::optional<Data> read(const VariableName& name, FormerError& error) const override;
  FormerError write(const VariableName& name, ByteView value) const override;
  FormerError remove(const VariableName& name) const override;
  FormerError commit() const override;
  [[nodiscard]] std::string place(const VariableName& name) const override;

  const std::string folder_;
  const bool anyFileSystem_;
};

}  // namespace brisvane::host::real
