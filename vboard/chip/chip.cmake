# SPDX-License-Identifier: MIT
target_sources(vboard_rooms PRIVATE
  chip/Application.cpp
  chip/BootLoader.cpp
  chip/Chip.cpp
  chip/ChipOptions.cpp
  chip/ChipTable.cpp
  chip/CommandWords.cpp
  chip/EntryDetector.cpp
  chip/EraseMargins.cpp
  chip/Flash.cpp
  chip/FrameDecoder.cpp
  chip/LoaderCommands.cpp
  chip/PulseFilter.cpp
  chip/Segments.cpp)
