#include "brisvane/host/launching/desktop_entry.h"

#include <gmock/gmock.h>

namespace brisvane::host::real {
namespace {

using ::testing::HasSubstr;
using ::testing::Optional;
using Words = std::vector<std::string>;

TEST(DesktopEntry, IsItsOwnGroupWithEscapesReplaced) {
  const DesktopEntry entry(
      "Exec=outside\n# comment\n[Desktop Entry]\r\nName = A\\sb\\tc\\\\d\\n "
      "\r\nName[de]=Anders\nTerminal=true\n"
      "Hidden=1\n#Path=/comment\nno value\n[Desktop Action new]\nExec=other\n");
  EXPECT_EQ(entry.text("Name"), "A b\tc\\d\n");
  EXPECT_TRUE(entry.flag("Terminal"));
  EXPECT_FALSE(entry.flag("Hidden"));
  for (const char* const absent : {"Exec", "Path", "#Path", "no value"})
    EXPECT_EQ(entry.text(absent), std::nullopt);
  EXPECT_TRUE(DesktopEntry("[Other]\nName=x\n").empty());
}

TEST(DesktopEntry, CommandIsTakenApartWithItsFieldCodes) {
  const FieldValues values{{"one", "t w o", "%f"}, "The Name", "icon", "/a/b.desktop"};
  const std::pair<const char*, Words> cases[] = {
      {"run", {"run", "one", "t w o", "%f"}},
      {"run %F end", {"run", "one", "t w o", "%f", "end"}},
      {"run %U", {"run", "one", "t w o", "%f"}},
      {"run %f end", {"run", "one", "end", "t w o", "%f"}},
      {"run --open=%u", {"run", "--open=one", "t w o", "%f"}},
      {"run %f %f %f %f", {"run", "one", "t w o", "%f"}},
      {"run %i %c %k %F",
       {"run", "--icon", "icon", "The Name", "/a/b.desktop", "one", "t w o", "%f"}},
      {"run 100%% a%%b \"c%%\" %F", {"run", "100%", "a%b", "c%", "one", "t w o", "%f"}},
      {"run %d %N -%v- %F", {"run", "--", "one", "t w o", "%f"}},
      {R"("/a b/run" "" "q \" \` \$ \\ 'x' ; & C:\dir" %F)",
       {"/a b/run", "", "q \" ` $ \\ 'x' ; & C:\\dir", "one", "t w o", "%f"}},
      {"  run   a=b  %F ", {"run", "a=b", "one", "t w o", "%f"}}};
  for (const auto& [exec, words] : cases)
    EXPECT_THAT(commandWords(exec, values).optional(), Optional(words)) << exec;
  EXPECT_THAT(commandWords("run %i %f %F", {}).optional(), Optional(Words{"run"}));
}

TEST(DesktopEntry, MalformedCommandIsRefusedWithTheReason) {
  const std::pair<const char*, const char*> cases[] = {{"", "empty"},
                                                       {"  ", "empty"},
                                                       {"run \"a", "quote without an end"},
                                                       {"run \"a\\", "quote without an end"},
                                                       {"run \"a\"b", "right after a quoted"},
                                                       {"run \"%f\"", "between quotes"},
                                                       {"run 'a b'", "reserved character"},
                                                       {"run a;b", "reserved character"},
                                                       {"run $HOME", "reserved character"},
                                                       {"run %x", "field code that there is not"},
                                                       {"run a%F", "argument of its own"},
                                                       {"%F", "begins with a field code"},
                                                       {"run %", "field code that there is not"}};
  for (const auto& [exec, reason] : cases) {
    const auto refused = commandWords(exec, {});
    ASSERT_FALSE(refused.ok()) << exec;
    EXPECT_THAT(refused.error().text(), HasSubstr(reason)) << exec;
  }
  // A value that is long, for each of many codes.
  const std::string large(std::size_t{1} << 20U, 'n');
  for (const std::string code : {"%c", "%i", "%k"}) {
    std::string exec = "run ";
    for (int i = 0; i < 10; ++i) exec += code + ' ';
    EXPECT_EQ(commandWords(exec, {{}, large, large, large}).error().text(), "is too long") << code;
  }
}

}  // namespace
}  // namespace brisvane::host::real
