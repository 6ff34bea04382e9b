#include "brisvane/host/machine/machine_identity.h"

#include <cerrno>
#include <charconv>

#include "brisvane/host/files/files.h"

namespace brisvane::host::real {
namespace {

// Globally defined variables (UEFI Specification, "Globally Defined Variables").
constexpr std::string_view kSecureBoot = "8BE4DF61-93CA-11D2-AA0D-00E098032B8C:SecureBoot";
constexpr std::string_view kSetupMode = "8BE4DF61-93CA-11D2-AA0D-00E098032B8C:SetupMode";

// A variable of one byte. `isStore` is whether there is a store of variables.
Result<std::uint8_t> byteOf(const EfiVariables& variables, bool isStore, std::string_view name) {
  const auto value = isStore ? variables.property(name) : std::nullopt;
  const Data* const bytes = value ? value->ifData() : nullptr;
  if (bytes != nullptr && bytes->size() == 1) return bytes->front();
  const auto origin = variables.origin(name);
  return origin.ok() ? Error(ENODATA, origin.value()) : origin.error();
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

Result<Object> MachineIdentity::signingFuse() const {
  const bool isStore = variables_->exists();
  const auto secureBoot = byteOf(*variables_, isStore, kSecureBoot);
  if (!secureBoot.ok()) return secureBoot.error();
  const auto setupMode = byteOf(*variables_, isStore, kSetupMode);
  if (!setupMode.ok()) return setupMode.error();
  return Object(secureBoot.value() == 1 && setupMode.value() == 0);
}

Result<Object> MachineIdentity::uniqueChipID() const {
  constexpr std::size_t kLargest = 4096;
  const auto serial = readFile(serialFile(), kLargest);
  if (!serial.ok()) return serial.error();
  const auto number = hexNumber(serial.value());
  if (!number) return Error(ENODATA, serialFile());
  return Object(*number);
}

std::optional<Object> MachineIdentity::answer(std::string_view key) const {
  const auto description = file_.read();
  const Dictionary& answers = description->identity;
  if (const auto found = answers.find(key); found != answers.end()) return found->second;
  if (key == kSigningFuse) return signingFuse().optional();
  if (key == kUniqueChipID) return uniqueChipID().optional();
  return std::nullopt;
}

Result<std::string> MachineIdentity::origin(std::string_view key) const {
  if (file_.read()->identity.contains(key)) return file_.path();
  if (key == kSigningFuse) {
    const auto fuse = signingFuse();
    return fuse.ok() ? variables_->origin(kSecureBoot) : fuse.error();
  }
  if (key == kUniqueChipID) {
    const auto number = uniqueChipID();
    return number.ok() ? Result<std::string>(serialFile()) : number.error();
  }
  return file_.whyMissing();
}

}  // namespace brisvane::host::real
