#include "brisvane/host/simulated/simulated_variables.h"

#include <cerrno>
#include <utility>

namespace brisvane::host::simulated {
namespace {

// What a file of the real store can be called.
constexpr std::size_t kLongestName = 255 - 1 - kGuidTextLength;
// The largest variable that common firmware takes, and a small store's size.
constexpr std::size_t kLargestValue = 32'768;
constexpr std::size_t kCapacity = 65'536;

// A text stands for its bytes: firmware knows nothing else.
Data bytesOf(const Object& value, const std::string& place) {
  if (const std::string* const text = value.ifText()) return {text->begin(), text->end()};
  DescriptionReader reader(value, place);
  Data bytes = reader.hex("hex");
  reader.finish();
  return bytes;
}

}  // namespace

MemoryVariables::MemoryVariables(DescriptionReader reader)
    : readOnly_(reader.boolean("readOnly", false)),
      capacity_(reader.count("capacity", kCapacity, 0)) {
  const std::string variables = reader.placeOf("variables");
  for (const auto& [fullName, value] : reader.members("variables").value_or(Dictionary())) {
    const std::string place = variables + "." + fullName;
    const auto name = VariableName::parse(fullName);
    if (!name || name->name.size() > kLongestName)
      throw DescriptionError{place, "must be named \"GUID:name\""};
    Data bytes = bytesOf(value, place);
    if (bytes.empty()) throw DescriptionError{place, "must have a value"};
    if (!values_.emplace(name->text(), std::move(bytes)).second)
      throw DescriptionError{place, "is there twice, with other letters in its GUID"};
  }
  reader.finish();
}

std::vector<std::string> MemoryVariables::propertyNames() const {
  const std::scoped_lock lock(mutex_);
  std::vector<std::string> names;
  for (const auto& [name, value] : values_) names.push_back(name);
  return names;
}

Result<Data> MemoryVariables::read(const VariableName& name) const {
  const std::scoped_lock lock(mutex_);
  const auto found = values_.find(name.text());
  return found != values_.end() ? Result<Data>(found->second) : Error(ENOENT, name.text());
}

Result<> MemoryVariables::write(const VariableName& name, ByteView value) const {
  if (name.name.size() > kLongestName) return Error(ENAMETOOLONG, name.text());
  if (readOnly_) return Error(EROFS, name.text());
  if (value.size() > kLargestValue) return Error(EINVAL, name.text());
  const std::scoped_lock lock(mutex_);
  const std::string fullName = name.text();
  std::size_t used = value.size();
  for (const auto& [other, bytes] : values_) used += other != fullName ? bytes.size() : 0;
  if (used > capacity_) return Error(ENOSPC, name.text());
  values_.insert_or_assign(fullName, Data(value.begin(), value.end()));
  return {};
}

Result<> MemoryVariables::remove(const VariableName& name) const {
  if (name.name.size() > kLongestName) return Error(ENAMETOOLONG, name.text());
  if (readOnly_) return Error(EROFS, name.text());
  const std::scoped_lock lock(mutex_);
  if (values_.erase(name.text()) == 0) return Error(ENOENT, name.text());
  return {};
}

}  // namespace brisvane::host::simulated
