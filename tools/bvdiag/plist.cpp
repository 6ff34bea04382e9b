// `bvdiag plist`: a JSON object as a binary property list.
#include <memory>
#include <string>
#include <string_view>

#include <brisvane/all.h>
#include <brisvane/host/formats/json.h>

#include "byte_streams.h"
#include "commands.h"
#include "log_errors.h"

namespace bvdiag {
namespace {

namespace bv = brisvane;

struct PlistOptions {
  std::string file;
  std::string propertyList;
};

std::string adviceFor(std::string_view failure) {
  if (failure.starts_with("Failed to encode")) return "; a property list holds no null, and at most 512 levels";
  if (failure.starts_with("Failed to create")) return "; check that its folder exists and is yours to write";
  return {};  // it has the reason
}

int run(const PlistOptions& options, Session& session) {
  Output& output = session.output();
  const auto bytes = readBytes(options.file, output);
  if (!bytes) return kFailure;
  const auto value = bv::host::parseJson(bv::asCharacters(*bytes));
  if (!value.ok()) {
    output.complain(nameOf(options.file) + ": is not JSON: " + value.error().reason());
    return kFailure;
  }
  const bv::Dictionary* const dictionary = value.value().ifDictionary();
  if (dictionary == nullptr) {
    output.complain(nameOf(options.file) + ": is no JSON object; a property list needs one");
    return kFailure;
  }
  bool isWritten = false;
  const std::string failure = errorsOf([&] { isWritten = bv::writeToPlist(*dictionary, options.propertyList); });
  if (!isWritten) {
    output.complain(failure.empty() ? "there is not enough memory" : failure + adviceFor(failure));
    return kFailure;
  }
  if (output.json()) output.printResult(bv::Dictionary{{"file", options.propertyList}});
  return kSuccess;
}

}  // namespace

void addPlist(AnyCommand& program) {
  auto command = program.command<PlistOptions>("plist", "Writes a JSON object to a file as a binary property list");
  command.argument("FILE", &PlistOptions::file, "The JSON text; - is standard input").required();
  command.argument("PLIST", &PlistOptions::propertyList, "The file to write; an existing one is overwritten")
      .required()
      .check(faultOfName);
  command.footer(exitStatusText("success", "FILE is no JSON object or holds a null, or PLIST cannot be written"));
  command.runs(run);
}

}  // namespace bvdiag
