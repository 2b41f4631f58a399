# SPDX-License-Identifier: MIT
# How the tool is built for a board: small, hardened, and with as few libraries as wanted.
option(FLASHMCU_HARDENED "Build the tool with PIE, RELRO, fortified calls and a stack protector" OFF)
set(FLASHMCU_LINK shared CACHE STRING "Libraries the tool needs on the board: shared, static-runtime or static")
set_property(CACHE FLASHMCU_LINK PROPERTY STRINGS shared static-runtime static)

add_library(flashmcu_release INTERFACE)

set(small $<CONFIG:MinSizeRel>)
target_compile_options(flashmcu_release INTERFACE
  $<${small}:-ffunction-sections> $<${small}:-fdata-sections>)
target_link_options(flashmcu_release INTERFACE
  $<${small}:-Wl,--gc-sections> $<${small}:-Wl,--as-needed> $<${small}:-Wl,-O1>)

if(FLASHMCU_HARDENED)
  # Fortified calls need an optimised build, which every build type but Debug is.
  target_compile_options(flashmcu_release INTERFACE
    -fPIE -fstack-protector-strong $<$<NOT:$<CONFIG:Debug>>:-D_FORTIFY_SOURCE=2>)
  target_link_options(flashmcu_release INTERFACE -Wl,-z,relro -Wl,-z,now -Wl,-z,noexecstack)
endif()

if(FLASHMCU_LINK STREQUAL "static")
  # Static and still loaded at a random address, where the C library has the start-up file for it:
  # Debian 12's for armhf has not.
  include(CheckCXXSourceCompiles)
  set(CMAKE_REQUIRED_FLAGS -fPIE)
  set(CMAKE_REQUIRED_LINK_OPTIONS -static-pie)
  check_cxx_source_compiles("int main() { return 0; }" FLASHMCU_HAS_STATIC_PIE)
  unset(CMAKE_REQUIRED_FLAGS)
  unset(CMAKE_REQUIRED_LINK_OPTIONS)
  if(FLASHMCU_HARDENED AND FLASHMCU_HAS_STATIC_PIE)
    target_link_options(flashmcu_release INTERFACE -static-pie)
  else()
    target_link_options(flashmcu_release INTERFACE -static)
  endif()
else()
  if(FLASHMCU_HARDENED)
    target_link_options(flashmcu_release INTERFACE -pie)
  endif()
  if(FLASHMCU_LINK STREQUAL "static-runtime")
    target_link_options(flashmcu_release INTERFACE -static-libstdc++ -static-libgcc)
  elseif(NOT FLASHMCU_LINK STREQUAL "shared")
    message(FATAL_ERROR "FLASHMCU_LINK takes shared, static-runtime or static, not '${FLASHMCU_LINK}'")
  endif()
endif()
