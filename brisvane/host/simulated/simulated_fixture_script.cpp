#include "brisvane/host/simulated/simulated_fixture_script.h"

#include <random>
#include <utility>

#include "brisvane/host/machine/description_reader.h"

namespace brisvane::host::simulated {
namespace {

Data bytesOf(std::string_view text) { return {text.begin(), text.end()}; }

Data hexBytes(DescriptionReader& reader, std::string_view key) {
  Data bytes = reader.hex(key);
  if (bytes.empty()) reader.fail(key, "must be pairs of hexadecimal digits");
  return bytes;
}

// Exactly one of these fields must be there; gives its name.
std::string_view oneOf(const DescriptionReader& reader,
                       std::initializer_list<std::string_view> keys) {
  std::string_view found;
  std::string names;
  for (const std::string_view key : keys) {
    names += names.empty() ? "" : ", ";
    names += key;
    if (!reader.has(key)) continue;
    if (!found.empty()) reader.fail(key, "cannot stand beside \"" + std::string(found) + "\"");
    found = key;
  }
  if (found.empty()) reader.fail(*keys.begin(), "one of " + names + " is needed");
  return found;
}

void readSplit(DescriptionReader& reader, FixtureScript::Reply& reply) {
  if (reader.value("split").ifArray() != nullptr) {
    for (const auto& [size, place] : reader.elements("split"))
      reply.split.push_back(countFrom(size, place, 1));
  } else if (reader.has("split")) {
    reply.split.push_back(reader.count("split", 1, 1));
    reply.splitsEvenly = true;
  }
}

FixtureScript::Reply readReply(const Object& description, const std::string& place) {
  constexpr std::size_t kMostNoise = 1'000'000;
  FixtureScript::Reply reply;
  if (const std::string* const text = description.ifText()) {
    reply.bytes = bytesOf(*text);
    reply.isText = true;
    return reply;
  }
  DescriptionReader reader(description, place);
  const std::string_view content = oneOf(reader, {"text", "hex", "noise"});
  reply.isText = content == "text";
  if (reply.isText) reply.bytes = bytesOf(reader.text(content));
  if (content == "hex") reply.bytes = hexBytes(reader, content);
  if (content == "noise") reply.noise = reader.count(content, 0, 1, kMostNoise);
  reply.delay = reader.seconds("delay", reply.delay);
  readSplit(reader, reply);
  reply.gap = reader.seconds("gap", reply.gap);
  reader.finish();
  return reply;
}

FixtureScript::Replies readReplies(DescriptionReader& reader, std::string_view key) {
  FixtureScript::Replies replies;
  for (const auto& [description, place] : reader.elements(key))
    replies.push_back(readReply(description, place));
  return replies;
}

FixtureScript::Command readCommand(const Object& description, const std::string& place) {
  DescriptionReader reader(description, place);
  FixtureScript::Command command;
  const std::string_view kind = oneOf(reader, {"command", "pattern", "hex"});
  if (kind == "command") {
    command.text = reader.text(kind);
    const bool isLine =
        !command.text->empty() && command.text->find_first_of("\r\n") == std::string::npos;
    if (!isLine) reader.fail(kind, "must be one line, without its end");
  }
  if (kind == "hex") command.bytes = hexBytes(reader, kind);
  if (kind == "pattern") {
    auto pattern = Pattern::compile(reader.text(kind));
    if (!pattern.ok())
      reader.fail(kind, "is not a regular expression: " + pattern.error().reason());
    command.pattern = std::move(pattern).value();
  }
  command.replies = readReplies(reader, "replies");
  command.hangsUp = reader.boolean("hangUp", false);
  reader.finish();
  return command;
}

FixtureScript readScript(const Object& description, const std::string& place) {
  constexpr std::size_t kLargestSeed = std::minstd_rand::modulus - 1;
  FixtureScript script;
  DescriptionReader reader(description, place);
  script.greeting = readReplies(reader, "greeting");
  script.echo = reader.boolean("echo", script.echo);
  for (const auto& [command, where] : reader.elements("commands")) {
    script.commands.push_back(readCommand(command, where));
  }
  script.unknown = readReplies(reader, "unknown");
  if (reader.has("hangUpAfter")) script.hangUpAfter = reader.count("hangUpAfter", 1, 1);
  script.commandGap = reader.seconds("commandGap", script.commandGap);
  script.seed = static_cast<std::uint32_t>(reader.count("seed", script.seed, 1, kLargestSeed));
  reader.finish();
  return script;
}

}  // namespace

FixtureScript FixtureScript::read(const Object& description, const std::string& place) {
  return readScript(description, place);
}

Result<FixtureScript> FixtureScript::fromJson(std::string_view json) {
  FixtureScript script;
  const auto read =
      readDescription(json, [&script](const Object& value) { script = readScript(value, ""); });
  if (!read.ok()) return read.error();
  return script;
}

}  // namespace brisvane::host::simulated
