// The library in a program that knows it by its plug-ins alone, which come and go.
#include <dlfcn.h>
#include <gtest/gtest.h>
#include <unistd.h>

#include <algorithm>
#include <cstddef>
#include <fstream>
#include <string>
#include <tuple>

#include "tests/support/temporary_folder.h"

namespace {

using brisvane::testing::contentOf;
using brisvane::testing::namesIn;

// Pages of memory that are in use, descriptors, and mappings.
std::tuple<long, std::size_t, std::size_t> used() {
  long all = 0;
  long resident = 0;
  std::ifstream("/proc/self/statm") >> all >> resident;
  const std::string maps = contentOf("/proc/self/maps");
  return {resident, namesIn("/proc/self/fd").size(),
          static_cast<std::size_t>(std::count(maps.begin(), maps.end(), '\n'))};
}

TEST(PlugIn, ComesAndGoesTenThousandTimesAndNothingGrows) {
  constexpr int kFirst = 500;  // until everything has been used
  constexpr int kTimes = 10'000;
  const brisvane::testing::TemporaryFolder folder;
  const std::string path = folder / "log";
  auto before = used();
  for (int i = 0; i < kTimes; ++i) {
    if (i == kFirst) before = used();
    void* const plugIn = ::dlopen(PLUG_IN, RTLD_NOW | RTLD_LOCAL);
    ASSERT_NE(plugIn, nullptr) << ::dlerror();
    reinterpret_cast<void (*)(const char*)>(::dlsym(plugIn, "logLine"))(path.c_str());
    ASSERT_EQ(::dlclose(plugIn), 0);
  }
  const auto after = used();
  const std::string lines = contentOf(path);
  EXPECT_EQ(std::count(lines.begin(), lines.end(), '\n'), kTimes);
  EXPECT_LE(std::get<0>(after), std::get<0>(before) + 64) << "memory";
  EXPECT_EQ(std::get<1>(after), std::get<1>(before)) << "descriptors";
  EXPECT_EQ(std::get<2>(after), std::get<2>(before)) << "mappings";
  EXPECT_EQ(::dlopen(PLUG_IN, RTLD_NOLOAD | RTLD_NOW), nullptr) << "it was never unloaded";
}

}  // namespace
