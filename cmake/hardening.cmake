# brisvane_hardening: what makes a fault in the code harder to use. It is for the libraries and the
# tools, in a parent project's build too; tests/check_hardening looks for each of these in the built files.
include(CheckCXXCompilerFlag)
include(CheckPIESupported)
check_pie_supported(LANGUAGES CXX)  # CMake passes -pie only after this.

add_library(brisvane_hardening INTERFACE)
target_link_options(brisvane_hardening INTERFACE
  LINKER:-z,relro LINKER:-z,now LINKER:-z,noexecstack LINKER:-z,text)
target_compile_options(brisvane_hardening INTERFACE -fstack-protector-strong)

# Those that not every compiler has for every processor.
foreach(flag -fstack-clash-protection -fcf-protection -mbranch-protection=standard)
  string(MAKE_C_IDENTIFIER "BRISVANE_HAS${flag}" has)
  set(CMAKE_REQUIRED_FLAGS -Werror)
  check_cxx_compiler_flag(${flag} ${has})
  unset(CMAKE_REQUIRED_FLAGS)
  if(${has})
    target_compile_options(brisvane_hardening INTERFACE ${flag})
  endif()
endforeach()

# Fortified functions need an optimised build, and sanitizers need the plain ones.
# Level 3 is level 2 where the compiler has no more. A distribution's own level gives way.
if(NOT CMAKE_CXX_FLAGS MATCHES "-fsanitize=")
  target_compile_options(brisvane_hardening INTERFACE
    $<$<CONFIG:Release,RelWithDebInfo,MinSizeRel>:-U_FORTIFY_SOURCE -D_FORTIFY_SOURCE=3>)
endif()
