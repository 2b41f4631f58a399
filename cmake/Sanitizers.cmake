# SPDX-License-Identifier: MIT
# clang's sanitizers as one shared library, which a library that is loaded into plain programs needs; it lies where the
# loader does not look.
if(CMAKE_CXX_FLAGS MATCHES "-shared-libsan")
  execute_process(COMMAND ${CMAKE_CXX_COMPILER} -print-runtime-dir
    OUTPUT_VARIABLE sanitizer_folder OUTPUT_STRIP_TRAILING_WHITESPACE COMMAND_ERROR_IS_FATAL ANY)
  list(APPEND CMAKE_BUILD_RPATH ${sanitizer_folder})
endif()

# For libraries that fuzzers link: libFuzzer sees which of their branches an input takes. All others do without what
# that costs in compiling and running.
function(flashmcu_fuzzed target)
  if(FLASHMCU_BUILD_FUZZERS)
    target_compile_options(${target} PRIVATE -fsanitize=fuzzer-no-link)
  endif()
endfunction()
