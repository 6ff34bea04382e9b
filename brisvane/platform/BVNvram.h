// BVNvram, which reads, writes and deletes the machine's firmware variables.
// The class keeps no state. Any thread may call any operation at any time. The store orders
// concurrent calls.
#pragma once

#include <cstdint>
#include <optional>
#include <string>

#include "brisvane/types/export.h"
#include "brisvane/types/guid.h"
#include "brisvane/types/object.h"
#include "brisvane/types/text.h"

namespace brisvane {

// Names. The full name of a variable is "GUID:name": the GUID of its namespace, a colon and a short
// name. Some operations take the full name. Those of the system and the larder namespace take the
// short name.
//
// Reads. There are three views of a value:
//  - data: the value as the store has it, usually a byte buffer;
//  - dictionary: the JSON object that a byte buffer holds;
//  - string: a text unchanged, or the UTF-8 text of a byte buffer. Zero bytes at its end stay.
// The result is `notFoundObject`, that very handle, in these cases; an operation without that
// parameter gives nullopt:
//  - there is no store or no such variable;
//  - a guard refuses the read;
//  - the value has no such view;
//  - memory runs out.
// The string view of bytes that are not UTF-8 is nullopt even when `notFoundObject` is not.
//
// Guards. `requireDevFused` refuses the read on a production-fused machine. `requireInternalOS`
// refuses it on a machine that runs no internal OS. Both use BVSystemInfo::shared(), whose first
// use gathers the profile. A read without guards does not use it. A refused read does not reach the
// store.
//
// Writes and deletions. The result is 0, or kNoStore (-1) when the machine has no variable store,
// or an errno value:
//  - EACCES, EPERM: this user may not change the variable.
//  - EROFS: the store is mounted read-only.
//  - ENOSPC: the store is full.
//  - EINVAL: the name has no GUID, the value is empty, or the firmware refuses the value.
//  - ENAMETOOLONG: the name has more than 218 bytes.
//  - ENOENT: the variable to delete does not exist.
//  - ENOMEM: memory runs out.
//  - EIO: the store reports no errno value.
// A write is not read back. A new variable is non-volatile.
//
// No operation logs. Each blocks for as long as the firmware does.
//
//   auto mode = bv::BVNvram::systemGUID_stringFromVariable("bench-mode");
//   std::int32_t status = bv::BVNvram::writeSystemGUID_StringVariable("bench-mode", "burn-in");
class BRISVANE_EXPORT BVNvram final {
 public:
  BVNvram() = delete;

  // The GUIDs of the two namespaces. They belong to this library.
  static constexpr Guid kSystemGuid{0xED, 0xA7, 0x69, 0x7C, 0xEB, 0x6C, 0x45, 0x53,
                                    0xA9, 0x21, 0xC1, 0x31, 0x03, 0x6F, 0xC9, 0x39};
  static constexpr Guid kLarderGuid{0xA5, 0xD4, 0x20, 0x23, 0x9B, 0xB9, 0x43, 0x66,
                                    0x87, 0x41, 0xA4, 0xA0, 0x16, 0x1F, 0xDE, 0xDE};

  // The status where the machine has no variable store.
  static constexpr std::int32_t kNoStore = -1;

  // The status of a write or a deletion in words: "Permission denied". It may throw std::bad_alloc.
  [[nodiscard]] static std::string statusText(std::int32_t status);

  // --- Full names ---

  [[nodiscard]] static std::optional<Object> dataFromVariable(
      Text name, bool requireDevFused, bool requireInternalOS,
      const std::optional<Object>& notFoundObject) noexcept;
  [[nodiscard]] static std::optional<Object> dataFromVariable(Text name) noexcept;
  [[nodiscard]] static std::optional<Object> dictionaryFromVariable(
      Text name, bool requireDevFused, bool requireInternalOS,
      const std::optional<Object>& notFoundObject) noexcept;
  [[nodiscard]] static std::optional<Dictionary> dictionaryFromVariable(Text name) noexcept;
  [[nodiscard]] static std::optional<Object> stringFromVariable(
      Text name, bool requireDevFused, bool requireInternalOS,
      const std::optional<Object>& notFoundObject) noexcept;
  [[nodiscard]] static std::optional<std::string> stringFromVariable(Text name) noexcept;
  static std::int32_t writeStringVariable(Text name, Text withValue) noexcept;
  // Deletes the variable. When that succeeds, the store commits at once. A failure to commit is
  // ignored.
  static std::int32_t deleteVariable(Text name) noexcept;

  // --- Short names in the system namespace ---

  [[nodiscard]] static std::optional<Object> systemGUID_dataFromVariable(
      Text name, bool requireDevFused, bool requireInternalOS,
      const std::optional<Object>& notFoundObject) noexcept;
  [[nodiscard]] static std::optional<Object> systemGUID_dataFromVariable(Text name) noexcept;
  [[nodiscard]] static std::optional<Object> systemGUID_dictionaryFromVariable(
      Text name, bool requireDevFused, bool requireInternalOS,
      const std::optional<Object>& notFoundObject) noexcept;
  [[nodiscard]] static std::optional<Dictionary> systemGUID_dictionaryFromVariable(
      Text name) noexcept;
  [[nodiscard]] static std::optional<Object> systemGUID_stringFromVariable(
      Text name, bool requireDevFused, bool requireInternalOS,
      const std::optional<Object>& notFoundObject) noexcept;
  [[nodiscard]] static std::optional<std::string> systemGUID_stringFromVariable(Text name) noexcept;
  static std::int32_t writeSystemGUID_StringVariable(Text name, Text withValue) noexcept;
  static std::int32_t deleteSystemGUIDVariable(Text name) noexcept;

  // --- Short names in the larder namespace ---

  [[nodiscard]] static std::optional<Object> larderGUID_dataFromVariable(
      Text name, bool requireDevFused, bool requireInternalOS,
      const std::optional<Object>& notFoundObject) noexcept;
  [[nodiscard]] static std::optional<Object> larderGUID_dataFromVariable(Text name) noexcept;
  [[nodiscard]] static std::optional<Object> larderGUID_dictionaryFromVariable(
      Text name, bool requireDevFused, bool requireInternalOS,
      const std::optional<Object>& notFoundObject) noexcept;
  [[nodiscard]] static std::optional<Dictionary> larderGUID_dictionaryFromVariable(
      Text name) noexcept;
  [[nodiscard]] static std::optional<Object> larderGUID_stringFromVariable(
      Text name, bool requireDevFused, bool requireInternalOS,
      const std::optional<Object>& notFoundObject) noexcept;
  [[nodiscard]] static std::optional<std::string> larderGUID_stringFromVariable(Text name) noexcept;
  static std::int32_t writeLarderGUID_StringVariable(Text name, Text withValue) noexcept;
  static std::int32_t deleteLarderGUIDVariable(Text name) noexcept;
};

}  // namespace brisvane
