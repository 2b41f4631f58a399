# SPDX-License-Identifier: MIT
# fmt::fmt-header-only. Debian's package files of fmt belong to one processor and its headers to all, so that a cross build
# looks for the headers themselves.
find_package(fmt QUIET)
if(NOT TARGET fmt::fmt-header-only)
  find_path(FMT_INCLUDE_DIR fmt/format.h REQUIRED)
  add_library(fmt::fmt-header-only INTERFACE IMPORTED GLOBAL)
  target_compile_features(fmt::fmt-header-only INTERFACE cxx_std_17)
  target_compile_definitions(fmt::fmt-header-only INTERFACE FMT_HEADER_ONLY=1)
  target_include_directories(fmt::fmt-header-only INTERFACE ${FMT_INCLUDE_DIR})
endif()
