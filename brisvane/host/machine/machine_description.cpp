#include "brisvane/host/machine/machine_description.h"

#include <charconv>
#include <utility>

#include "brisvane/host/machine/identity_service.h"
#include "brisvane/types/hex.h"

namespace brisvane::host {
namespace {

std::optional<Dictionary> readNode(DescriptionReader& registry, std::string_view key) {
  auto properties = registry.members(key);
  if (!properties) return std::nullopt;
  for (auto& [name, value] : *properties)
    value = describedValue(value, registry.placeOf(key) + "." + name);
  return properties;
}

void readRegistry(DescriptionReader reader, MachineDescription& machine) {
  machine.root = readNode(reader, "root");
  machine.chosen = readNode(reader, "chosen");
  machine.platform = readNode(reader, "platform");
  machine.rom = readNode(reader, "rom");
  reader.finish();
}

Dictionary readIdentity(DescriptionReader reader) {
  Dictionary answers;
  for (const auto key : {IdentityService::kFirmwareVersion, IdentityService::kUniqueDeviceID}) {
    if (reader.has(key)) answers.emplace(key, reader.text(key));
  }
  if (reader.has(IdentityService::kSigningFuse)) {
    answers.emplace(IdentityService::kSigningFuse,
                    reader.boolean(IdentityService::kSigningFuse, false));
  }
  if (reader.has(IdentityService::kUniqueChipID)) {
    const Object number = reader.value(IdentityService::kUniqueChipID);
    if (!number.unsignedInteger())
      reader.fail(IdentityService::kUniqueChipID, "must be a whole number of 64 bits");
    answers.emplace(IdentityService::kUniqueChipID, number);
  }
  reader.finish();
  return answers;
}

void readSystemVersion(DescriptionReader reader, MachineDescription& machine) {
  Dictionary entries;
  for (const auto key : {SystemVersion::kBuildVersion, SystemVersion::kUserVisibleVersion}) {
    if (reader.has(key)) entries.emplace(key, reader.text(key));
  }
  machine.versionEntries = std::move(entries);
  if (reader.has("running")) {
    machine.running = parseVersion(reader.text("running"));
    if (!machine.running) reader.fail("running", "must be a version, as in \"12.5.1\"");
  }
  reader.finish();
}

}  // namespace

MachineDescription MachineDescription::read(DescriptionReader& reader) {
  MachineDescription machine;
  static_cast<void>(reader.value("$schema"));  // for editors
  if (auto registry = reader.object("registry")) readRegistry(std::move(*registry), machine);
  if (auto identity = reader.object("identity"))
    machine.identity = readIdentity(std::move(*identity));
  if (auto version = reader.object("systemVersion"))
    readSystemVersion(std::move(*version), machine);
  return machine;
}

Result<MachineDescription> MachineDescription::fromFile(std::string_view path) {
  MachineDescription machine;
  const auto isRead = readDescriptionFile(path, [&machine](const Object& description) {
    DescriptionReader reader(description, "");
    machine = read(reader);
    reader.finish();
  });
  if (!isRead.ok()) return isRead.error();
  return machine;
}

Object describedValue(const Object& value, const std::string& place) {
  switch (value.kind()) {
    case Object::Kind::kText:
    case Object::Kind::kBoolean:
    case Object::Kind::kInteger:
    case Object::Kind::kReal:
      return value;
    case Object::Kind::kDictionary: {
      DescriptionReader reader(value, place);
      Data bytes = reader.hex("hex");
      reader.finish();
      return bytes;
    }
    default:
      throw DescriptionError{place, R"(must be a text, a number, true, false or {"hex": "..."})"};
  }
}

Object describeValue(const Object& value) {
  if (const Data* const bytes = value.ifData()) return Dictionary{{"hex", lowerHexText(*bytes)}};
  return value.ifArray() == nullptr && value.ifDictionary() == nullptr && !value.date() ? value
                                                                                        : Object();
}

std::optional<OsVersion> parseVersion(std::string_view text) noexcept {
  OsVersion version;
  const char* at = text.data();
  const char* const end = at + text.size();
  for (std::int64_t* const part :
       {&version.majorVersion, &version.minorVersion, &version.patchVersion}) {
    const bool isDigit = at != end && *at >= '0' && *at <= '9';
    const auto [stop, error] = std::from_chars(at, end, *part);
    if (!isDigit || error != std::errc()) return std::nullopt;
    at = stop;
    if (at == end) return version;
    if (*at++ != '.') return std::nullopt;
  }
  return version;
}

}  // namespace brisvane::host
