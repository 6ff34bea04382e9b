// A process of its own for tests of what a process makes once: no other test has been in it.
#pragma once

#include <gtest/gtest.h>

#include <cstdlib>

namespace brisvane::testing {

// Runs `body` there; the test around it runs there up to this call. What fails in `body`,
// or what a sanitizer finds, fails the test.
template <typename Body>
void inProcessOfItsOwn(Body body) {
  GTEST_FLAG_SET(death_test_style, "threadsafe");  // begins anew instead of a fork
  EXPECT_EXIT(
      {
        body();
        std::exit(::testing::Test::HasFailure() ? 1 : 0);
      },
      ::testing::ExitedWithCode(0), "");
}

}  // namespace brisvane::testing
