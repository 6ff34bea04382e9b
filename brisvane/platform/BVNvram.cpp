#include "brisvane/platform/BVNvram.h"

#include <cerrno>

#include "brisvane/host/formats/json.h"
#include "brisvane/host/machine/variable_store.h"
#include "brisvane/host/platform.h"
#include "brisvane/platform/BVSystemInfo.h"
#include "brisvane/types/join.h"
#include "brisvane/types/out_of_memory.h"
#include "brisvane/types/unicode.h"

namespace brisvane {
namespace {

using host::OpenNode;
using host::Registry;
using host::VariableStore;

std::string fullName(const Guid& space, Text name) {
  return join({guidText(space), ":", name.orEmpty()});
}

// Whether both are one object, or both are absent.
bool same(const std::optional<Object>& left, const std::optional<Object>& right) noexcept {
  return left.has_value() == right.has_value() && (!left || left->same(*right));
}

bool isRefused(bool requireDevFused, bool requireInternalOS) {
  if (requireDevFused && BVSystemInfo::shared().isProductionFused()) return true;
  return requireInternalOS && !BVSystemInfo::shared().isInternaOS();
}

// The status of a write: an errno value, also where the store's error has none.
std::int32_t setProperty(const Registry& registry, std::string_view name, std::string_view value) {
  const OpenNode options(registry, registry.nodeAtPath(Registry::kOptionsPath));
  if (!options) return BVNvram::kNoStore;
  const auto written = registry.setProperty(options.handle(), name, value);
  if (written.ok()) return 0;
  return written.error().number() != 0 ? written.error().number() : EIO;
}

// Calls an operation with a full name, and gives `failure` when memory runs out for that.
template <typename Value, typename Operation>
Value inNamespace(const Guid& space, Text name, const Value& failure,
                  Operation operation) noexcept {
  return memoryPermitting(failure, [&]() -> Value { return operation(fullName(space, name)); });
}

}  // namespace

std::optional<Object> BVNvram::dataFromVariable(
    Text name, bool requireDevFused, bool requireInternalOS,
    const std::optional<Object>& notFoundObject) noexcept {
  return memoryPermitting(notFoundObject, [&]() -> std::optional<Object> {
    if (isRefused(requireDevFused, requireInternalOS)) return notFoundObject;
    const auto platform = host::platform();
    const Registry& registry = platform->registry();
    const OpenNode options(registry, registry.nodeAtPath(Registry::kOptionsPath));
    if (!options) return notFoundObject;
    auto value = registry.property(options.handle(), name.orEmpty());
    if (!value) return notFoundObject;
    return value;
  });
}

std::optional<Object> BVNvram::dictionaryFromVariable(
    Text name, bool requireDevFused, bool requireInternalOS,
    const std::optional<Object>& notFoundObject) noexcept {
  return memoryPermitting(notFoundObject, [&]() -> std::optional<Object> {
    const auto value = dataFromVariable(name, requireDevFused, requireInternalOS, notFoundObject);
    if (same(value, notFoundObject)) return notFoundObject;
    const Data* const bytes = value->ifData();
    if (bytes == nullptr) return notFoundObject;
    auto parsed = host::parseJson(asCharacters(*bytes));
    if (!parsed.ok() || parsed.value().ifDictionary() == nullptr) return notFoundObject;
    return std::move(parsed).value();
  });
}

std::optional<Object> BVNvram::stringFromVariable(
    Text name, bool requireDevFused, bool requireInternalOS,
    const std::optional<Object>& notFoundObject) noexcept {
  return memoryPermitting(notFoundObject, [&]() -> std::optional<Object> {
    auto value = dataFromVariable(name, requireDevFused, requireInternalOS, notFoundObject);
    if (same(value, notFoundObject)) return notFoundObject;
    if (value->ifText() != nullptr) return value;
    const Data* const bytes = value->ifData();
    if (bytes == nullptr) return notFoundObject;
    const std::string_view text = asCharacters(*bytes);
    return isUtf8(text) ? std::optional<Object>(text) : std::nullopt;
  });
}

std::optional<Object> BVNvram::dataFromVariable(Text name) noexcept {
  return dataFromVariable(name, false, false, std::nullopt);
}

std::optional<Dictionary> BVNvram::dictionaryFromVariable(Text name) noexcept {
  return memoryPermitting(std::nullopt, [name]() -> std::optional<Dictionary> {
    const auto value = dictionaryFromVariable(name, false, false, std::nullopt);
    return value ? value->dictionary() : std::nullopt;
  });
}

std::optional<std::string> BVNvram::stringFromVariable(Text name) noexcept {
  return memoryPermitting(std::nullopt, [name]() -> std::optional<std::string> {
    const auto value = stringFromVariable(name, false, false, std::nullopt);
    return value ? value->text() : std::nullopt;
  });
}

std::string BVNvram::statusText(std::int32_t status) {
  return status == kNoStore ? "the machine has no variable store" : errorText(status);
}

std::int32_t BVNvram::writeStringVariable(Text name, Text withValue) noexcept {
  return memoryPermitting(std::int32_t{ENOMEM}, [&] {
    return setProperty(host::platform()->registry(), name.orEmpty(), withValue.orEmpty());
  });
}

std::int32_t BVNvram::deleteVariable(Text name) noexcept {
  const auto platform = host::platform();
  const std::int32_t status = memoryPermitting(std::int32_t{ENOMEM}, [&] {
    return setProperty(platform->registry(), VariableStore::kDelete, name.orEmpty());
  });
  if (status != 0) return status;
  unlessOutOfMemory([&] {
    static_cast<void>(
        setProperty(platform->registry(), VariableStore::kCommit, VariableStore::kCommit));
  });
  return 0;
}

// --- The system namespace ---

std::optional<Object> BVNvram::systemGUID_dataFromVariable(
    Text name, bool requireDevFused, bool requireInternalOS,
    const std::optional<Object>& notFoundObject) noexcept {
  return inNamespace(kSystemGuid, name, notFoundObject, [&](Text full) {
    return dataFromVariable(full, requireDevFused, requireInternalOS, notFoundObject);
  });
}

std::optional<Object> BVNvram::systemGUID_dictionaryFromVariable(
    Text name, bool requireDevFused, bool requireInternalOS,
    const std::optional<Object>& notFoundObject) noexcept {
  return inNamespace(kSystemGuid, name, notFoundObject, [&](Text full) {
    return dictionaryFromVariable(full, requireDevFused, requireInternalOS, notFoundObject);
  });
}

std::optional<Object> BVNvram::systemGUID_stringFromVariable(
    Text name, bool requireDevFused, bool requireInternalOS,
    const std::optional<Object>& notFoundObject) noexcept {
  return inNamespace(kSystemGuid, name, notFoundObject, [&](Text full) {
    return stringFromVariable(full, requireDevFused, requireInternalOS, notFoundObject);
  });
}

std::optional<Object> BVNvram::systemGUID_dataFromVariable(Text name) noexcept {
  return inNamespace(kSystemGuid, name, std::optional<Object>(),
                     [](Text full) { return dataFromVariable(full); });
}

std::optional<Dictionary> BVNvram::systemGUID_dictionaryFromVariable(Text name) noexcept {
  return inNamespace(kSystemGuid, name, std::optional<Dictionary>(),
                     [](Text full) { return dictionaryFromVariable(full); });
}

std::optional<std::string> BVNvram::systemGUID_stringFromVariable(Text name) noexcept {
  return inNamespace(kSystemGuid, name, std::optional<std::string>(),
                     [](Text full) { return stringFromVariable(full); });
}

std::int32_t BVNvram::writeSystemGUID_StringVariable(Text name, Text withValue) noexcept {
  return inNamespace(kSystemGuid, name, std::int32_t{ENOMEM},
                     [withValue](Text full) { return writeStringVariable(full, withValue); });
}

std::int32_t BVNvram::deleteSystemGUIDVariable(Text name) noexcept {
  return inNamespace(kSystemGuid, name, std::int32_t{ENOMEM},
                     [](Text full) { return deleteVariable(full); });
}

// --- The larder namespace ---

std::optional<Object> BVNvram::larderGUID_dataFromVariable(
    Text name, bool requireDevFused, bool requireInternalOS,
    const std::optional<Object>& notFoundObject) noexcept {
  return inNamespace(kLarderGuid, name, notFoundObject, [&](Text full) {
    return dataFromVariable(full, requireDevFused, requireInternalOS, notFoundObject);
  });
}

std::optional<Object> BVNvram::larderGUID_dictionaryFromVariable(
    Text name, bool requireDevFused, bool requireInternalOS,
    const std::optional<Object>& notFoundObject) noexcept {
  return inNamespace(kLarderGuid, name, notFoundObject, [&](Text full) {
    return dictionaryFromVariable(full, requireDevFused, requireInternalOS, notFoundObject);
  });
}

std::optional<Object> BVNvram::larderGUID_stringFromVariable(
    Text name, bool requireDevFused, bool requireInternalOS,
    const std::optional<Object>& notFoundObject) noexcept {
  return inNamespace(kLarderGuid, name, notFoundObject, [&](Text full) {
    return stringFromVariable(full, requireDevFused, requireInternalOS, notFoundObject);
  });
}

std::optional<Object> BVNvram::larderGUID_dataFromVariable(Text name) noexcept {
  return inNamespace(kLarderGuid, name, std::optional<Object>(),
                     [](Text full) { return dataFromVariable(full); });
}

std::optional<Dictionary> BVNvram::larderGUID_dictionaryFromVariable(Text name) noexcept {
  return inNamespace(kLarderGuid, name, std::optional<Dictionary>(),
                     [](Text full) { return dictionaryFromVariable(full); });
}

std::optional<std::string> BVNvram::larderGUID_stringFromVariable(Text name) noexcept {
  return inNamespace(kLarderGuid, name, std::optional<std::string>(),
                     [](Text full) { return stringFromVariable(full); });
}

std::int32_t BVNvram::writeLarderGUID_StringVariable(Text name, Text withValue) noexcept {
  return inNamespace(kLarderGuid, name, std::int32_t{ENOMEM},
                     [withValue](Text full) { return writeStringVariable(full, withValue); });
}

std::int32_t BVNvram::deleteLarderGUIDVariable(Text name) noexcept {
  return inNamespace(kLarderGuid, name, std::int32_t{ENOMEM},
                     [](Text full) { return deleteVariable(full); });
}

}  // namespace brisvane
