// Marks what the shared libraries export. Refuses a build for a C++ that is too old, and one whose
// standard library has another layout of strings and vectors than theirs.
#pragma once

#if __cplusplus < 202002L
#error "Brisvane's headers need C++20 or later: build with -std=c++20 or -std=c++23"
#endif

#include <string>  // defines the standard library's own configuration macros

#if defined(_LIBCPP_VERSION)
#error "Brisvane's interface passes libstdc++ types: build with libstdc++, not libc++"
#endif
#if defined(_GLIBCXX_DEBUG)
#error \
    "Brisvane is built in libstdc++'s release mode: _GLIBCXX_DEBUG changes the layout of its types"
#endif
#if defined(_GLIBCXX_USE_CXX11_ABI) && !_GLIBCXX_USE_CXX11_ABI
#error "Brisvane is built with libstdc++'s current string ABI (_GLIBCXX_USE_CXX11_ABI=1)"
#endif

#define BRISVANE_EXPORT __attribute__((visibility("default")))
