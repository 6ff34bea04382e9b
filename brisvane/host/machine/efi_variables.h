// The firmware variables of a UEFI machine, through the kernel's efivarfs.
// Any number of threads and processes may use them at the same time.
#pragma once

#include <string>
#include <utility>

#include "brisvane/host/machine/variable_store.h"

namespace brisvane::host::real {

// Each variable is a file. Its name is the variable's name, a hyphen and the GUID in lower case. It
// holds four bytes of attributes, then the value. An existing variable keeps its attributes; a new
// one is non-volatile, for boot services and run time. The kernel protects most variables by the
// immutable flag: it is cleared for a change and set again. Nothing is ever mounted or remounted.
class EfiVariables final : public VariableStore {
 public:
  // `anyFileSystem` accepts an ordinary folder in place of efivarfs.
  explicit EfiVariables(std::string folder, bool anyFileSystem = false)
      : folder_(std::move(folder)), anyFileSystem_(anyFileSystem) {}

  // Whether efivarfs is mounted there. The empty folder without it is no store.
  [[nodiscard]] bool exists() const noexcept override;
  [[nodiscard]] std::vector<std::string> propertyNames() const override;

 private:
  Result<Data> read(const VariableName& name) const override;
  Result<> write(const VariableName& name, ByteView value) const override;
  Result<> remove(const VariableName& name) const override;
  Result<> commit() const override;
  [[nodiscard]] std::string place(const VariableName& name) const override;

  const std::string folder_;
  const bool anyFileSystem_;
};

}  // namespace brisvane::host::real
