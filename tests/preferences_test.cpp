#include <gmock/gmock.h>

#include <cerrno>
#include <cstdlib>
#include <limits>

#include "brisvane/host/linux/platform.h"
#include "brisvane/logging/preferences_store.h"
#include "tests/support/temporary_folder.h"

namespace brisvane {
namespace {

using brisvane::testing::TemporaryFolder;
using brisvane::testing::writeFile;

// The real preferences, of a user and a machine that have set nothing yet.
class Preferences : public ::testing::Test {
 protected:
  Preferences() {
    ::setenv("HOME", (folder_ / "home").c_str(), 1);
    ::setenv("XDG_CONFIG_HOME", (folder_ / "own").c_str(), 1);
    ::setenv("XDG_CONFIG_DIRS", ((folder_ / "first") + ":" + (folder_ / "second")).c_str(), 1);
  }

  void set(const std::string& file, const std::string& content) { writeFile(folder_ / file, content); }

  TemporaryFolder folder_;
  host::ScopedPlatform installed_{std::make_shared<const host::Platform>(host::real::makePlatform({}))};
  PreferencesStore store_{"suite"};
};

TEST_F(Preferences, TheFirstDirectoryThatHasTheKeyDecides) {
  EXPECT_EQ(store_.text("key"), std::nullopt);
  set("second/suite.conf", "key=second\nlast=only here");
  EXPECT_EQ(store_.text("key"), "second");
  set("first/suite.conf", "key=first");
  EXPECT_EQ(store_.text("key"), "first");
  set("own/suite.conf", "key=own");
  EXPECT_EQ(store_.text("key"), "own");  // read afresh each time
  EXPECT_EQ(store_.text("last"), "only here");
  set("own/suite.conf", "key=");
  EXPECT_EQ(store_.text("key"), "");  // set to nothing, which is not the same as not set
  EXPECT_EQ(PreferencesStore("other").text("key"), std::nullopt);

  set("own/" + std::string(program_invocation_short_name) + ".conf", "key=standard");
  EXPECT_EQ(PreferencesStore::standard().text("key"), "standard");
  set("own/org.brisvane.conf", "key=library");
  EXPECT_EQ(Diagnostics::diagDefaults().text("key"), "library");
}

TEST_F(Preferences, ADirectoryThatIsNotAbsoluteIsIgnored) {
  const auto before = std::filesystem::current_path();
  std::filesystem::current_path(folder_.path());
  set("home/.config/suite.conf", "key=home");
  set("relative/suite.conf", "key=relative");
  set("second/suite.conf", "key=second\nlast=second");
  ::setenv("XDG_CONFIG_HOME", "relative", 1);
  ::setenv("XDG_CONFIG_DIRS", ("relative::" + (folder_ / "second")).c_str(), 1);
  EXPECT_EQ(store_.text("key"), "home");
  EXPECT_EQ(store_.text("last"), "second");
  ::unsetenv("XDG_CONFIG_HOME");
  EXPECT_EQ(store_.text("key"), "home");
  ::setenv("XDG_CONFIG_HOME", "", 1);
  EXPECT_EQ(store_.text("key"), "home");
  ::setenv("HOME", "relative", 1);
  set("relative/.config/suite.conf", "key=relative");
  EXPECT_EQ(store_.text("key"), "second");
  std::filesystem::current_path(before);
}

TEST_F(Preferences, AFileIsReadLineByLineAndANameNeverLeadsOutOfItsDirectory) {
  set("own/suite.conf",
      "# key=comment\n; key=comment\n  # key=indented comment\n\n[section]\nno separator\n"
      "key = first \r\n\t key\t=\t last = value # kept \t\r\n"
      "spaced key=1\n=of no key\nend=no line end");
  EXPECT_EQ(store_.text("key"), "last = value # kept");
  EXPECT_EQ(store_.text("spaced key"), "1");
  EXPECT_EQ(store_.text("end"), "no line end");
  for (const char* const absent : {"# key", ";key", "no separator", "[section]", "Key", " key", "section"}) {
    EXPECT_EQ(store_.text(absent), std::nullopt) << absent;
  }

  set("own/sub/suite.conf", "key=sub");
  set("outside.conf", "key=outside");
  for (const std::string& name : {std::string("sub/suite"), std::string("../outside"), folder_ / "outside",
                                  std::string("suite\0", 6), std::string("suite.conf\0", 11)}) {
    EXPECT_EQ(PreferencesStore(name).text("key"), std::nullopt) << name;
  }
}

TEST_F(Preferences, AnIntegerIsReadWholeOrNotAtAll) {
  constexpr auto kMost = std::numeric_limits<std::int64_t>::max();
  constexpr auto kLeast = std::numeric_limits<std::int64_t>::min();
  set("own/suite.conf",
      "spaced= 4 \nplus=+3\nminus=-2\nzeros=007\nmost=9223372036854775807\nleast=-9223372036854775808\n"
      "beyond=9223372036854775808\nbelow=-9223372036854775809\nword=four\nunit=4s\nreal=4.5\nhex=0x10\n"
      "both=+-5\ntwice=++5\nsign=+\nempty=\ngap=1 2\nfullwidth=\uFF14");
  const std::pair<const char*, std::int64_t> expected[] = {
      {"spaced", 4}, {"plus", 3},  {"minus", -2}, {"zeros", 7},   {"most", kMost}, {"least", kLeast}, {"beyond", 0},
      {"below", 0},  {"word", 0},  {"unit", 0},   {"real", 0},    {"hex", 0},      {"both", 0},       {"twice", 0},
      {"sign", 0},   {"empty", 0}, {"gap", 0},    {"missing", 0}, {"fullwidth", 0}};
  for (const auto& [key, value] : expected) EXPECT_EQ(store_.integer(key), value) << key;
}

}  // namespace
}  // namespace brisvane
