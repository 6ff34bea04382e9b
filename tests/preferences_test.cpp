#include <gmock/gmock.h>

#include <cerrno>
#include <cstdlib>
#include <limits>

#include "brisvane/host/linux_platform.h"
#include "brisvane/logging/preferences_store.h"
#include "tests/support/temporary_folder.h"

namespace brisvane {
namespace {

// The real preferences, of a user and a machine that have set nothing yet.
class Preferences : public ::testing::Test {
 protected:
  Preferences() {
    ::setenv("HOME", (folder_ / "home").c_str(), 1);
    ::setenv("XDG_CONFIG_HOME", (folder_ / "own").c_str(), 1);
    ::setenv("XDG_CONFIG_DIRS", ((folder_ / "first") + ":" + (folder_ / "second")).c_str(), 1);
  }
  void set(const std::string& file, const std::string& content) {
    testing::writeFile(folder_ / file, content);
  }

  testing::TemporaryFolder folder_;
  host::ScopedPlatform installed_{
      std::make_shared<const host::Platform>(host::real::makePlatform({}))};
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
  set("own/" + std::string(program_invocation_short_name) + ".conf", "key=standard");
  EXPECT_EQ(PreferencesStore::standard().text("key"), "standard");
  EXPECT_EQ(PreferencesStore("").text("key"), std::nullopt);
  EXPECT_EQ(Diagnostics::diagDefaults().text("key"), std::nullopt);
}

TEST_F(Preferences, ADirectoryThatIsNotAbsoluteIsIgnored) {
  std::filesystem::current_path(folder_.path());
  set("home/.config/suite.conf", "key=home");
  set("relative/suite.conf", "key=relative");
  set("relative/.config/suite.conf", "key=relative");
  set("second/suite.conf", "key=second\nlast=second");
  ::setenv("XDG_CONFIG_DIRS", ("relative::" + (folder_ / "second")).c_str(), 1);
  for (const char* const unusable : {"relative", ""}) {
    ::setenv("XDG_CONFIG_HOME", unusable, 1);
    EXPECT_EQ(store_.text("key"), "home");
    EXPECT_EQ(store_.text("last"), "second");
  }
  ::setenv("HOME", "relative", 1);
  EXPECT_EQ(store_.text("key"), "second");
  std::filesystem::current_path("/");
}

TEST_F(Preferences, AFileIsReadLineByLineAndANameNeverLeadsOutOfItsDirectory) {
  set("own/suite.conf",
      "# key=comment\n; key=comment\n  # key=comment\n\n[section]\nno separator\nkey = first \r\n"
      "\t key\t=\t last = value # kept \t\r\nspaced key=1\nend=no line end");
  EXPECT_EQ(store_.text("key"), "last = value # kept");
  EXPECT_EQ(store_.text("spaced key"), "1");
  EXPECT_EQ(store_.text("end"), "no line end");
  for (const char* const absent : {"# key", ";key", "no separator", "[section]", "Key"}) {
    EXPECT_EQ(store_.text(absent), std::nullopt) << absent;
  }
  set("own/sub/suite.conf", "key=sub");
  set("outside.conf", "key=outside");
  for (const auto& name :
       {std::string("sub/suite"), std::string("../outside"), std::string("suite.conf\0", 11)}) {
    EXPECT_EQ(PreferencesStore(name).text("key"), std::nullopt) << name;
  }
}

TEST_F(Preferences, AnIntegerIsReadWholeOrNotAtAll) {
  set("own/suite.conf",
      "spaced= 4 \nplus=+3\nminus=-2\nmost=9223372036854775807\nleast=-9223372036854775808");
  EXPECT_EQ(store_.integer("spaced"), 4);
  EXPECT_EQ(store_.integer("plus"), 3);
  EXPECT_EQ(store_.integer("minus"), -2);
  EXPECT_EQ(store_.integer("most"), std::numeric_limits<std::int64_t>::max());
  EXPECT_EQ(store_.integer("least"), std::numeric_limits<std::int64_t>::min());
  EXPECT_EQ(store_.integer("missing"), 0);
  for (const std::string wrong :
       {"9223372036854775808", "four", "4s", "4.5", "0x10", "+-5", "++5", "+", "", "1 2"}) {
    set("own/suite.conf", "key=" + wrong);
    EXPECT_EQ(store_.integer("key"), 0) << wrong;
  }
}

}  // namespace
}  // namespace brisvane
