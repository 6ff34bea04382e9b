// The kinds of steps, as a plan describes them.
#include <algorithm>
#include <array>
#include <limits>

#include <brisvane/types/unicode.h>

#include "plan_reader.h"
#include "variable_name.h"

namespace bvdiag {
namespace {

namespace bv = brisvane;

// Those of BVSystemInfo::profile().
constexpr std::array<std::string_view, 15> kProfileKeys{"boardId",
                                                        "buildVersion",
                                                        "chipId",
                                                        "ecid",
                                                        "firmwareVersion",
                                                        "isInternaOS",
                                                        "isPrePelorusHost",
                                                        "isProductionFused",
                                                        "isSeedBuild",
                                                        "keelModelName",
                                                        "modelID",
                                                        "serialNumber",
                                                        "strRookeryBuildVersion",
                                                        "uuid",
                                                        "vireoVersion"};

void readCommand(DescriptionReader& reader, ExchangeOptions& exchange) {
  const bool isHex = reader.has("hex");
  if (isHex == reader.has("text")) reader.fail("text", "must be given, or else hex");
  if (isHex) {
    if (!exchange.bytes) reader.fail("hex", "needs bytes, the number of those in the reply");
    exchange.commandBytes = reader.hex("hex");
    exchange.command = reader.text("hex");
    exchange.hex = true;
    return;
  }
  exchange.command = requiredText(reader, "text");
  exchange.commandBytes.assign(exchange.command.begin(), exchange.command.end());
  if (!exchange.bytes && !bv::isAscii(exchange.command))
    reader.fail("text", "must be ASCII; other bytes need bytes, the number of those in the reply");
}

ProfileRule readProfileRule(const std::string& key, const bv::Object& value,
                            const std::string& place) {
  if (std::find(kProfileKeys.begin(), kProfileKeys.end(), key) == kProfileKeys.end())
    throw DescriptionError{place, "the profile has no such value; see `bvdiag profile`"};
  if (value.ifDictionary() != nullptr) {
    DescriptionReader reader(value, place);
    if (!reader.has("matches")) throw DescriptionError{place, "must have matches"};
    ProfileRule rule{key, *optionalPattern(reader, "matches")};
    reader.finish();
    return rule;
  }
  if (value.kind() == bv::Object::Kind::kReal || value.ifArray() != nullptr) {
    throw DescriptionError{
        place, "must be a text, a whole number, true, false, null, or an object with matches"};
  }
  return {key, value};
}

std::string readVariableName(DescriptionReader& reader) {
  std::string name = requiredText(reader, "name");
  if (reader.has("namespace")) {
    name = fullVariableName(
        name,
        choice<std::string>(reader, "namespace", {{"system", "system"}, {"larder", "larder"}}));
  }
  if (!isVariableName(name))
    reader.fail("name", "must be GUID:name, or a short name in a namespace");
  return name;
}

}  // namespace

SendStep readSend(DescriptionReader& reader) {
  SendStep step;
  const auto accept = optionalPattern(reader, "accept");
  if (accept) step.exchange.accept = accept->text;
  if (reader.has("bytes")) {
    constexpr auto kMost = static_cast<std::size_t>(std::numeric_limits<std::int32_t>::max());
    if (accept) reader.fail("bytes", "accept says already what ends the reply");
    step.exchange.bytes = static_cast<std::int32_t>(reader.count("bytes", 0, 0, kMost));
  }
  readCommand(reader, step.exchange);
  step.exchange.newline = reader.boolean("newline", false);
  if (reader.has("newline") && !step.exchange.endsBySilence())
    reader.fail("newline", "accept always sends one, and bytes never does");
  step.exchange.timeout = reader.seconds("timeout", step.exchange.timeout);
  step.drain = reader.boolean("drain", true);
  step.expected = readExpectation(reader, accept);
  return step;
}

RunStep readRun(DescriptionReader& reader) {
  constexpr std::size_t kMostStatus = 255;
  RunStep step;
  step.program = requiredText(reader, "program");
  step.arguments = texts(reader, "arguments");
  step.folder = optionalText(reader, "folder");
  step.timeout = reader.seconds("timeout", step.timeout);
  step.status = static_cast<int>(reader.count("status", 0, 0, kMostStatus));
  step.expected = readExpectation(reader);
  return step;
}

LaunchStep readLaunch(DescriptionReader& reader) {
  constexpr std::size_t kLongest = 86'400;
  LaunchStep step;
  step.path = requiredText(reader, "path");
  step.arguments = texts(reader, "arguments");
  step.identifier = optionalText(reader, "id");
  step.timeout = static_cast<std::int32_t>(
      reader.count("timeout", static_cast<std::size_t>(step.timeout), 0, kLongest));
  return step;
}

ProfileStep readProfile(DescriptionReader& reader) {
  ProfileStep step;
  if (!reader.has("expect")) reader.fail("expect", "is missing");
  const auto rules = reader.members("expect");
  for (const auto& [key, value] : *rules)
    step.rules.push_back(readProfileRule(key, value, reader.placeOf("expect") + "." + key));
  std::sort(step.rules.begin(), step.rules.end(),
            [](const ProfileRule& left, const ProfileRule& right) { return left.key < right.key; });
  if (step.rules.empty()) reader.fail("expect", "must have a value");
  return step;
}

VariableStep readVariable(DescriptionReader& reader) {
  VariableStep step;
  step.name = readVariableName(reader);
  step.view = choice<VariableView>(reader, "view",
                                   {{"text", VariableView::kText},
                                    {"data", VariableView::kData},
                                    {"dictionary", VariableView::kDictionary}});
  step.expected = readExpectation(reader);
  return step;
}

SetVariableStep readSetVariable(DescriptionReader& reader) {
  return {readVariableName(reader), requiredText(reader, "value")};
}

AskStep readAsk(DescriptionReader& reader) {
  AskStep step;
  step.question = requiredText(reader, "question");
  step.kind = choice<AnswerKind>(reader, "answer",
                                 {{"yesOrNo", AnswerKind::kYesNo},
                                  {"text", AnswerKind::kText},
                                  {"serialNumber", AnswerKind::kSerial}});
  if (step.kind == AnswerKind::kYesNo) {
    step.expectsYes = choice<bool>(reader, "expect", {{"yes", true}, {"no", false}});
  } else {
    step.expected = readExpectation(reader);
  }
  return step;
}

}  // namespace bvdiag
