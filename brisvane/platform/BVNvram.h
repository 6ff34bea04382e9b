// BVNvram, the machine's firmware variables: read in three views, written, deleted.
// The class keeps no state and takes no lock: any thread may call anything at any time, and
// concurrent calls meet only in the store, which orders them.
#pragma once

#include <cstdint>
#include <optional>
#include <string>

#include "brisvane/types/export.h"
#include "brisvane/types/guid.h"
#include "brisvane/types/object.h"
#include "brisvane/types/text.h"

namespace brisvane {

// A variable has a full name: the text of a namespace GUID, letters upper-case, a colon and
// a short name. The operations without a namespace take the full name as it is; those of the
// system and the larder namespace take the short name and do the same otherwise.
//
// Reads. The raw view is the value as the store gives it, as a rule a byte buffer; the
// dictionary view is a byte buffer that holds a JSON object; the text view is a text as it
// is, or a byte buffer as UTF-8, zero bytes at its end included. Without a value (no store, no
// such variable, a refused guard, no JSON object, no text, no memory) the result is
// `notFoundObject`: the very handle that was passed, or nullopt when that is nullopt. One case
// differs: the text view of bytes that are not UTF-8 is nullopt, whatever was passed.
//
// Guards. With `requireDevFused`, a production-fused machine is refused; with
// `requireInternalOS`, a machine that runs no internal OS. BVSystemInfo::shared() answers
// both; it is used only when one is asked for. A refused read does not reach the store.
//
// Writes. The result is 0, or -1 when the machine has no variable store, or the store's errno
// value:
//  - EACCES, EPERM: this user may not write it.
//  - EROFS: the store is mounted read-only.
//  - ENOSPC: the store is full.
//  - EINVAL: a name without a GUID, an empty value, or a value that the firmware refuses.
//  - ENOMEM: memory has run out.
// Nothing is read back. A new variable is non-volatile.
//
// Nothing logs. Each call blocks for as long as the firmware does.
//
//   auto mode = bv::BVNvram::systemGUID_stringFromVariable("bench-mode");
//   std::int32_t status = bv::BVNvram::writeSystemGUID_StringVariable("bench-mode", "burn-in");
class BRISVANE_EXPORT BVNvram final {
 public:
  BVNvram() = delete;

  // The two namespaces, GUIDs of this project's own.
  static constexpr Guid kSystemGuid{0xED, 0xA7, 0x69, 0x7C, 0xEB, 0x6C, 0x45, 0x53,
                                    0xA9, 0x21, 0xC1, 0x31, 0x03, 0x6F, 0xC9, 0x39};
  static constexpr Guid kLarderGuid{0xA5, 0xD4, 0x20, 0x23, 0x9B, 0xB9, 0x43, 0x66,
                                    0x87, 0x41, 0xA4, 0xA0, 0x16, 0x1F, 0xDE, 0xDE};

  // --- Full names ---

  [[nodiscard]] static std::optional<Object> dataFromVariable(Text name, bool requireDevFused, bool requireInternalOS,
                                                              const std::optional<Object>& notFoundObject) noexcept;
  [[nodiscard]] static std::optional<Object> dataFromVariable(Text name) noexcept;
  [[nodiscard]] static std::optional<Object> dictionaryFromVariable(
      Text name, bool requireDevFused, bool requireInternalOS, const std::optional<Object>& notFoundObject) noexcept;
  [[nodiscard]] static std::optional<Dictionary> dictionaryFromVariable(Text name) noexcept;
  [[nodiscard]] static std::optional<Object> stringFromVariable(Text name, bool requireDevFused, bool requireInternalOS,
                                                                const std::optional<Object>& notFoundObject) noexcept;
  [[nodiscard]] static std::optional<std::string> stringFromVariable(Text name) noexcept;
  static std::int32_t writeStringVariable(Text name, Text withValue) noexcept;
  // Deletes the variable. When that succeeds, the store is asked to commit at once; a failure of
  // the commit is ignored. The status for a missing variable is ENOENT.
  static std::int32_t deleteVariable(Text name) noexcept;

  // --- Short names in the system namespace ---

  [[nodiscard]] static std::optional<Object> systemGUID_dataFromVariable(
      Text name, bool requireDevFused, bool requireInternalOS, const std::optional<Object>& notFoundObject) noexcept;
  [[nodiscard]] static std::optional<Object> systemGUID_dataFromVariable(Text name) noexcept;
  [[nodiscard]] static std::optional<Object> systemGUID_dictionaryFromVariable(
      Text name, bool requireDevFused, bool requireInternalOS, const std::optional<Object>& notFoundObject) noexcept;
  [[nodiscard]] static std::optional<Dictionary> systemGUID_dictionaryFromVariable(Text name) noexcept;
  [[nodiscard]] static std::optional<Object> systemGUID_stringFromVariable(
      Text name, bool requireDevFused, bool requireInternalOS, const std::optional<Object>& notFoundObject) noexcept;
  [[nodiscard]] static std::optional<std::string> systemGUID_stringFromVariable(Text name) noexcept;
  static std::int32_t writeSystemGUID_StringVariable(Text name, Text withValue) noexcept;
  static std::int32_t deleteSystemGUIDVariable(Text name) noexcept;

  // --- Short names in the larder namespace ---

  [[nodiscard]] static std::optional<Object> larderGUID_dataFromVariable(
      Text name, bool requireDevFused, bool requireInternalOS, const std::optional<Object>& notFoundObject) noexcept;
  [[nodiscard]] static std::optional<Object> larderGUID_dataFromVariable(Text name) noexcept;
  [[nodiscard]] static std::optional<Object> larderGUID_dictionaryFromVariable(
      Text name, bool requireDevFused, bool requireInternalOS, const std::optional<Object>& notFoundObject) noexcept;
  [[nodiscard]] static std::optional<Dictionary> larderGUID_dictionaryFromVariable(Text name) noexcept;
  [[nodiscard]] static std::optional<Object> larderGUID_stringFromVariable(
      Text name, bool requireDevFused, bool requireInternalOS, const std::optional<Object>& notFoundObject) noexcept;
  [[nodiscard]] static std::optional<std::string> larderGUID_stringFromVariable(Text name) noexcept;
  static std::int32_t writeLarderGUID_StringVariable(Text name, Text withValue) noexcept;
  static std::int32_t deleteLarderGUIDVariable(Text name) noexcept;
};

}  // namespace brisvane
