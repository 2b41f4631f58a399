# SPDX-License-Identifier: MIT
# The warnings of every target of ours. They are errors only where FLASHMCU_WARNINGS_AS_ERRORS is set (all presets), so that
# a board's older or newer compiler is not stopped by a warning that ours does not know.
add_library(flashmcu_warnings INTERFACE)
target_compile_options(flashmcu_warnings INTERFACE
  -Wall -Wextra -Wpedantic -Wconversion -Wshadow
  # Where rooms are compiled whole, gcc takes their sources for headers, and minds types without a linkage.
  $<$<AND:$<BOOL:${FLASHMCU_WHOLE}>,$<CXX_COMPILER_ID:GNU>>:-Wno-subobject-linkage>
  $<$<BOOL:${FLASHMCU_WARNINGS_AS_ERRORS}>:-Werror>)
