// `bvdiag plist`: a JSON object as a binary property list.
#include <memory>
#include <string>
#include <string_view>

#include <brisvane/all.h>
#include <brisvane/host/files/files.h>
#include <brisvane/host/formats/json.h>
#include <brisvane/host/formats/property_list.h>

#include "byte_streams.h"
#include "commands.h"

namespace bvdiag {
namespace {

namespace bv = brisvane;

struct PlistOptions {
  std::string file;
  std::string propertyList;
};

bv::Result<> write(const bv::Data& propertyList, const std::string& path) {
  const std::string_view bytes = bv::asCharacters(propertyList);
  const bool isNew = bv::host::fileKind(path) == bv::host::FileKind::kNone;
  return isNew ? bv::host::createFile(path, bytes) : bv::host::overwriteFile(path, bytes);
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
  if (value.value().ifDictionary() == nullptr) {
    output.complain(nameOf(options.file) + ": is no JSON object; a property list needs one");
    return kFailure;
  }
  const auto propertyList = bv::host::binaryPropertyList(*value.value().ifDictionary());
  if (!propertyList.ok()) {
    output.complain(nameOf(options.file) +
                    ": cannot become a property list: " + propertyList.error().reason());
    return kFailure;
  }
  if (const auto written = write(propertyList.value(), options.propertyList); !written.ok()) {
    output.complain(writingFailure(options.propertyList, written.error().number()));
    return kFailure;
  }
  if (output.json()) output.printResult(bv::Dictionary{{"file", options.propertyList}});
  return kSuccess;
}

}  // namespace

void addPlist(AnyCommand& program) {
  auto command = program.command<PlistOptions>(
      "plist", "Writes a JSON object to a file as a binary property list");
  command.argument("FILE", &PlistOptions::file, "The JSON text; - is standard input").required();
  command
      .argument("PLIST", &PlistOptions::propertyList,
                "The file to write; an existing one is overwritten")
      .required()
      .check(faultOfName);
  command.example("bvdiag plist results.json results.plist");
  command.footer(exitStatusText(
      "success", "FILE is no JSON object or holds a null, or PLIST cannot be written"));
  command.runs(run);
}

}  // namespace bvdiag
