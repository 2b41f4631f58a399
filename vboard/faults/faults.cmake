# SPDX-License-Identifier: MIT
# The fault plan: text to rules, and what strikes when.
target_sources(vboard_rooms PRIVATE
  faults/FaultPlan.cpp faults/FaultPlanParser.cpp faults/FaultRule.cpp faults/FaultTable.cpp
  faults/NoiseSource.cpp)
