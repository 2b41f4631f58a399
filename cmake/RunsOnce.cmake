# SPDX-License-Identifier: MIT
# For targets whose code is mostly what a library's headers make of a few lines, and runs once: a builder's
# compiler spends less on it. Releases are as they were.
function(flashmcu_runs_once target)
  target_compile_options(${target} PRIVATE
    $<$<CONFIG:RelWithDebInfo>:-O1> $<$<CONFIG:RelWithDebInfo>:-g1> $<$<CONFIG:Debug>:-O0>)
endfunction()
