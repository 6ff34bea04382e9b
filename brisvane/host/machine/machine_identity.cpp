#include "brisvane/host/machine/machine_identity.h"

#include <cerrno>
#include <charconv>
#include <new>

#include "brisvane/host/files/files.h"

namespace brisvane::host::real {
namespace {

// Globally defined variables (UEFI Specification, "Globally Defined Variables").
constexpr std::string_view kSecureBoot = "8BE4DF61-93CA-11D2-AA0D-00E098032B8C:SecureBoot";
constexpr std::string_view kSetupMode = "8BE4DF61-93CA-11D2-AA0D-00E098032B8C:SetupMode";

// A variable of one byte.
std::optional<std::uint8_t> byteOf(const EfiVariables& variables, std::string_view name) {
  const auto value = variables.property(name);
  const Data* const bytes = value ? value->ifData() : nullptr;
  return bytes != nullptr && bytes->size() == 1 ? std::optional(bytes->front()) : std::nullopt;
}

// A whole number in hexadecimal, with or without "0x", that fits into 64 bits.
std::optional<std::uint64_t> hexNumber(std::string_view text) {
  if (text.ends_with('\n')) text.remove_suffix(1);
  if (text.starts_with("0x") || text.starts_with("0X")) text.remove_prefix(2);
  std::uint64_t number = 0;
  const char* const end = text.data() + text.size();
  const auto [stop, error] = std::from_chars(text.data(), end, number, 16);
  return error == std::errc() && stop == end ? std::optional(number) : std::nullopt;
}

}  // namespace

std::optional<Object> MachineIdentity::signingFuse(std::string_view& missing) const {
  missing = kSecureBoot;
  if (!variables_->exists()) return std::nullopt;
  const auto secureBoot = byteOf(*variables_, kSecureBoot);
  const auto setupMode = byteOf(*variables_, kSetupMode);
  if (secureBoot) missing = kSetupMode;
  if (!secureBoot || !setupMode) return std::nullopt;
  return Object(*secureBoot == 1 && *setupMode == 0);
}

std::optional<Object> MachineIdentity::uniqueChipID(FormerError& error) const {
  constexpr std::size_t kLargest = 4096;
  const auto serial = readFile(serialFile(), kLargest);
  error = FormerError(serial.ok() ? 0 : serial.error().number());
  if (!serial.ok()) return std::nullopt;
  const auto number = hexNumber(serial.value());
  if (!number) error = FormerError(ENODATA);
  return number ? std::optional<Object>(*number) : std::nullopt;
}

std::optional<Object> MachineIdentity::answer(std::string_view key) const noexcept try {
  const auto description = file_.read();
  const Dictionary& answers = description->identity;
  if (const auto found = answers.find(key); found != answers.end()) return found->second;
  FormerError error;
  std::string_view missing;
  if (key == kSigningFuse) return signingFuse(missing);
  if (key == kUniqueChipID) return uniqueChipID(error);
  return std::nullopt;
} catch (const std::bad_alloc&) {
  return std::nullopt;
}

Origin MachineIdentity::origin(std::string_view key) const noexcept try {
  if (file_.read()->identity.contains(key)) return {file_.path(), {}};
  if (key == kSigningFuse) {
    std::string_view missing;
    const bool isAnswered = signingFuse(missing).has_value();
    Origin origin = variables_->origin(isAnswered ? kSecureBoot : missing);
    if (!isAnswered && !origin.error) origin.error = FormerError(ENODATA);
    return origin;
  }
  if (key != kUniqueChipID) return file_.originOfNothing();
  Origin origin{serialFile(), {}};
  static_cast<void>(uniqueChipID(origin.error));
  return origin;
} catch (const std::bad_alloc&) {
  return {{}, FormerError(ENOMEM)};
}

}  // namespace brisvane::host::real
