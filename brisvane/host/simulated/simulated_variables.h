// The firmware variables of a simulated machine, kept in memory.
// Private to the simulated machine. Safe from any thread.
#pragma once

#include <cstdint>
#include <map>
#include <mutex>
#include <optional>
#include <string>

#include "brisvane/host/machine/description_reader.h"
#include "brisvane/host/machine/variable_store.h"

namespace brisvane::host::simulated {

class MemoryVariables final : public VariableStore {
 public:
  // From the field "firmware" of a description. Throws DescriptionError.
  explicit MemoryVariables(DescriptionReader reader);

  [[nodiscard]] bool exists() const override { return true; }
  [[nodiscard]] std::vector<std::string> propertyNames() const override;

 private:
  Result<Data> read(const VariableName& name) const override;
  Result<> write(const VariableName& name, ByteView value) const override;
  Result<> remove(const VariableName& name) const override;
  Result<> commit() const override { return {}; }
  [[nodiscard]] std::string place(const VariableName& name) const override { return name.text(); }

  bool readOnly_ = false;
  std::size_t capacity_;  // bytes that the values may have together
  mutable std::mutex mutex_;
  mutable std::map<std::string, Data> values_;  // by full name
};

}  // namespace brisvane::host::simulated
