#include "brisvane/host/machine/variable_store.h"

#include <fcntl.h>
#include <gmock/gmock.h>
#include <linux/fs.h>
#include <sys/ioctl.h>
#include <sys/resource.h>
#include <unistd.h>

#include <cerrno>
#include <csignal>
#include <thread>

#include "brisvane/host/simulated/simulated_machine.h"
#include "tests/support/error_number.h"
#include "tests/support/linux_machine.h"

namespace brisvane::host {
namespace {

using ::testing::AnyOf;
using ::testing::ElementsAre;
using ::testing::Optional;

constexpr char kSpace[] = "0B5B1C1E-7C3A-4A5C-9F34-1B0C5D2E3F40";
constexpr char kLowerSpace[] = "0b5b1c1e-7c3a-4a5c-9f34-1b0c5d2e3f40";

std::string named(const std::string& name) { return std::string(kSpace) + ":" + name; }
std::string fileOf(const std::string& name) { return "variables/" + name + "-" + kLowerSpace; }
Object bytes(std::string_view text) { return Data(text.begin(), text.end()); }

// The options node of a platform, opened for each operation as the library does.
class Store {
 public:
  explicit Store(std::shared_ptr<const Platform> platform) : platform_(std::move(platform)) {}

  [[nodiscard]] bool exists() const { return static_cast<bool>(open()); }
  [[nodiscard]] std::optional<Object> get(const std::string& name) const {
    return registry().property(open().handle(), name);
  }
  [[nodiscard]] std::int32_t set(const std::string& name, std::string_view value) const {
    return testing::errorNumber(registry().setProperty(open().handle(), name, value));
  }
  [[nodiscard]] std::int32_t remove(std::string_view name) const {
    return set(std::string(VariableStore::kDelete), name);
  }
  [[nodiscard]] std::vector<std::string> names() const {
    return registry().propertyNames(open().handle());
  }
  [[nodiscard]] int originError(const std::string& name) const {
    return testing::errorNumber(registry().origin(open().handle(), name));
  }

 private:
  [[nodiscard]] const Registry& registry() const { return platform_->registry(); }
  [[nodiscard]] OpenNode open() const {
    return {registry(), registry().nodeAtPath(Registry::kOptionsPath)};
  }
  std::shared_ptr<const Platform> platform_;
};

std::unique_ptr<simulated::Machine> simulatedMachine(const std::string& firmware) {
  return simulated::Machine::fromJson("{\"firmware\": {" + firmware + "}}").value();
}

// Two stores with the same two variables.
struct RealStore {
  RealStore() {
    machine.write(fileOf("abc"), std::string("\7\0\0\0abc\0", 8));
    machine.write(fileOf("a:b"), std::string("\7\0\0\0\xFF\xFE", 6));
    machine.write("variables/no variable", "");
    machine.write("variables/-" + std::string(kLowerSpace), "");
  }
  testing::LinuxMachine machine;
  Store store{machine.platform()};
};

struct SimulatedStore {
  std::unique_ptr<simulated::Machine> machine =
      simulatedMachine("\"variables\": {\"" + named("abc") + R"(": "abc\u0000", ")" + kLowerSpace +
                       R"(:a:b": {"hex": "FF FE"}})");
  Store store{machine->platform()};
};

template <typename Kind>
class EveryStore : public ::testing::Test, public Kind {};
using Kinds = ::testing::Types<RealStore, SimulatedStore>;
TYPED_TEST_SUITE(EveryStore, Kinds);

TYPED_TEST(EveryStore, ReadsAndListsItsVariablesByTheirFullNames) {
  const Store& options = this->store;
  EXPECT_EQ(options.get(named("abc")), bytes(std::string_view("abc\0", 4)));
  EXPECT_EQ(options.get(std::string(kLowerSpace) + ":abc"), options.get(named("abc")));
  EXPECT_FALSE(options.get(named("abc"))->same(*options.get(named("abc"))));
  EXPECT_EQ(options.get(named("a:b")), bytes("\xFF\xFE"));
  EXPECT_THAT(options.names(), ElementsAre(named("a:b"), named("abc")));
  for (const std::string& absent :
       {named("ABC"), named("ab"), std::string("abc"), std::string(), named(""),
        std::string(VariableStore::kDelete), std::string(VariableStore::kCommit)}) {
    EXPECT_EQ(options.get(absent), std::nullopt) << absent;
  }
  EXPECT_EQ(options.originError(named("abc")), 0);
  EXPECT_EQ(options.originError(named("ABC")), ENOENT);
}

TYPED_TEST(EveryStore, WritesReplacesAndDeletes) {
  const Store& options = this->store;
  EXPECT_EQ(options.set(named("new"), "a longer value"), 0);
  EXPECT_EQ(options.get(named("new")), bytes("a longer value"));
  EXPECT_EQ(options.set(named("new"), std::string_view("\0\xFF", 2)), 0);
  EXPECT_EQ(options.get(named("new")), bytes(std::string_view("\0\xFF", 2)));
  EXPECT_EQ(options.remove(named("new")), 0);
  EXPECT_EQ(options.get(named("new")), std::nullopt);
  EXPECT_EQ(options.remove(named("new")), ENOENT);
  EXPECT_EQ(options.set(std::string(VariableStore::kCommit), "anything"), 0);
  EXPECT_THAT(options.names(), ElementsAre(named("a:b"), named("abc")));
}

TYPED_TEST(EveryStore, RefusesANameThatIsNoneAndAnEmptyValue) {
  const Store& options = this->store;
  const std::string wrong[] = {"",
                               "abc",
                               kSpace,
                               named(""),
                               named("a/b"),
                               named("../abc"),
                               named(std::string("a\0b", 3)),
                               "0B5B1C1E7C3A-4A5C-9F34-1B0C5D2E3F40-:abc",
                               "0B5B1C1G-7C3A-4A5C-9F34-1B0C5D2E3F40:abc"};
  for (const std::string& name : wrong) {
    EXPECT_EQ(options.set(name, "value"), EINVAL) << name;
    EXPECT_EQ(options.remove(name), EINVAL) << name;
  }
  EXPECT_EQ(options.set(named("abc"), ""), EINVAL);
  EXPECT_EQ(options.set(named(std::string(219, 'n')), "value"), ENAMETOOLONG);
  EXPECT_EQ(options.remove(named(std::string(219, 'n'))), ENAMETOOLONG);
  EXPECT_EQ(options.set(named(std::string(218, 'n')), "value"), 0);
  EXPECT_EQ(options.get(named("abc")), bytes(std::string_view("abc\0", 4)));
}

TYPED_TEST(EveryStore, OrdersWhatThreadsDoToOneVariable) {
  const Store& options = this->store;
  const std::string name = named("contended");
  std::vector<std::thread> threads;
  for (char digit = '1'; digit <= '4'; ++digit) {
    threads.emplace_back([&, digit] {
      for (int round = 0; round < 50; ++round) {
        EXPECT_EQ(options.set(name, std::string(64, digit)), 0);
        if (round % 10 != 0) continue;
        EXPECT_THAT(options.remove(name), AnyOf(0, ENOENT));
      }
    });
  }
  for (std::thread& thread : threads) thread.join();
  EXPECT_EQ(options.set(name, "last"), 0);
  EXPECT_EQ(options.get(name), bytes("last"));
}

TEST(EfiVariables, KeepTheAttributesOfAVariableAndGiveANewOneTheCommonOnes) {
  const RealStore real;
  real.machine.write(fileOf("boot"), std::string("\3\0\0\0old", 7));
  EXPECT_EQ(real.store.set(named("boot"), "new"), 0);
  EXPECT_EQ(testing::contentOf(real.machine / fileOf("boot")), std::string("\3\0\0\0new", 7));
  EXPECT_EQ(real.store.set(named("mine"), "value"), 0);
  EXPECT_EQ(testing::contentOf(real.machine / fileOf("mine")), std::string("\7\0\0\0value", 9));
}

TEST(EfiVariables, AreReadWholeUpToOneMebibyte) {
  const RealStore real;
  const std::string large(200'000, 'x');
  real.machine.write(fileOf("large"), std::string("\7\0\0\0", 4) + large);
  real.machine.write(fileOf("endless"), std::string(3U << 20U, 'x'));
  EXPECT_EQ(real.store.get(named("large")), bytes(large));
  EXPECT_EQ(real.store.originError(named("endless")), EFBIG);
}

TEST(EfiVariables, ARefusedWriteLeavesNothingBehind) {
  const RealStore real;
  real.machine.write(fileOf("leftover"), std::string(3, '\7'));
  EXPECT_EQ(real.store.get(named("leftover")), std::nullopt);
  std::signal(SIGXFSZ, SIG_IGN);
  rlimit before{};
  ::getrlimit(RLIMIT_FSIZE, &before);
  const rlimit none{0, before.rlim_max};
  ::setrlimit(RLIMIT_FSIZE, &none);
  EXPECT_EQ(real.store.set(named("refused"), "value"), EFBIG);
  EXPECT_EQ(real.store.set(named("leftover"), "value"), EFBIG);
  EXPECT_EQ(real.store.set(named("abc"), "value"), EFBIG);
  ::setrlimit(RLIMIT_FSIZE, &before);
  // What was there before is someone else's, who may be about to write it.
  EXPECT_THAT(real.store.names(), ElementsAre(named("a:b"), named("abc"), named("leftover")));
  EXPECT_EQ(real.store.get(named("abc")), bytes(std::string_view("abc\0", 4)));
}

// As efivarfs has it on every variable from its birth.
class ImmutableFile {
 public:
  explicit ImmutableFile(const std::string& path) : path_(path) {}
  ~ImmutableFile() { set(false); }
  [[nodiscard]] bool isSet() const { return (flags() & FS_IMMUTABLE_FL) != 0; }
  bool set(bool immutable) const {
    const int file = ::open(path_.c_str(), O_RDONLY | O_CLOEXEC);
    int wanted = immutable ? flags() | FS_IMMUTABLE_FL : flags() & ~FS_IMMUTABLE_FL;
    const bool done = ::ioctl(file, FS_IOC_SETFLAGS, &wanted) == 0;
    ::close(file);
    return done;
  }

 private:
  [[nodiscard]] int flags() const {
    const int file = ::open(path_.c_str(), O_RDONLY | O_CLOEXEC);
    int flags = 0;
    static_cast<void>(::ioctl(file, FS_IOC_GETFLAGS, &flags));
    ::close(file);
    return flags;
  }
  std::string path_;
};

TEST(EfiVariables, AreImmutableAgainAfterAWriteAndGoWhenDeleted) {
  const RealStore real;
  const ImmutableFile file(real.machine / fileOf("abc"));
  if (!file.set(true))
    GTEST_SKIP() << "the file system has no immutable flag, or it is root's to set";
  EXPECT_EQ(real.store.set(named("abc"), "new"), 0);
  EXPECT_TRUE(file.isSet());
  EXPECT_EQ(real.store.get(named("abc")), bytes("new"));
  EXPECT_EQ(real.store.remove(named("abc")), 0);
  EXPECT_THAT(real.store.names(), ElementsAre(named("a:b")));
}

TEST(EfiVariables, AreThereOnlyWhereTheirFileSystemIs) {
  const testing::TemporaryFolder folder;
  real::Roots roots;
  roots.efiVariables = folder.path();  // an ordinary folder, as the mount point without a mount
  EXPECT_FALSE(Store(std::make_shared<const Platform>(real::makePlatform(roots))).exists());
}

TEST(SimulatedStore, CanBeReadOnlyFullOrMissing) {
  const auto locked =
      simulatedMachine("\"readOnly\": true, \"variables\": {\"" + named("abc") + "\": \"abc\"}");
  const Store readOnly(locked->platform());
  EXPECT_EQ(readOnly.get(named("abc")), bytes("abc"));
  EXPECT_EQ(readOnly.set(named("abc"), "x"), EROFS);
  EXPECT_EQ(readOnly.remove(named("abc")), EROFS);
  const auto small = simulatedMachine("\"capacity\": 8");
  const Store full(small->platform());
  EXPECT_EQ(full.set(named("a"), "12345678"), 0);
  EXPECT_EQ(full.set(named("b"), "1"), ENOSPC);
  EXPECT_EQ(full.set(named("a"), "1234567"), 0);
  EXPECT_EQ(full.set(named("b"), "1"), 0);
  EXPECT_EQ(full.set(named("b"), std::string(40'000, 'x')), EINVAL);
  EXPECT_FALSE(Store(simulated::Machine::fromJson("{}").value()->platform()).exists());
}

}  // namespace
}  // namespace brisvane::host
