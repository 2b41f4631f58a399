# SPDX-License-Identifier: MIT
"""What can be damaged: for each subject its sources, the test programs that watch it, and the list
of its survivors that are explained."""

from dataclasses import dataclass


@dataclass(frozen=True)
class Suite:
    """A GoogleTest program, the targets that it starts without linking them, and its dearest tests,
    which a mutant need not wait for."""

    program: str
    starts: tuple = ()
    without: tuple = ()

    @property
    def filter(self):
        return "--gtest_filter=-" + ":".join(self.without)


@dataclass(frozen=True)
class Subject:
    sources: tuple  # Patterns below the repository.
    suites: tuple  # Cheap ones first: what they kill, the dearer ones need not see.
    explained: str
    # Sources whose tables are read before a program's own could be made (switched.py).
    untouched_tables: tuple = ()


_TOOL_RUNS = ("flashmcu",)
_BOARD_RUNS = ("vboard", "vboard_library")

SUBJECTS = {
    "tool": Subject(
        sources=("flashmcu/*.cpp",),
        suites=(Suite("unit_tests"), Suite("scenario_tests", _TOOL_RUNS)),
        explained="scripts/mutants-explained/tool.txt"),
    "board": Subject(
        sources=tuple(f"vboard/{room}/*.cpp"
                      for room in ("chip", "wires", "host", "board", "faults", "time")),
        suites=(Suite("board_tests"), Suite("host_tests"), Suite("fault_tests", _BOARD_RUNS),
                Suite("scenario_tests", _BOARD_RUNS), Suite("command_tests", _BOARD_RUNS),
                Suite("tty_tests", (*_BOARD_RUNS, "tty_probe")),
                Suite("waveforms_tests", _BOARD_RUNS)),
        explained="scripts/mutants-explained/board.txt",
        untouched_tables=("vboard/board/BoardFile.cpp", "vboard/host/Host.cpp")),
    "guard": Subject(
        sources=("guard/*.cpp", "guard/*/*.cpp", "image/*.cpp", "boardfile/*.cpp"),
        # Other readers' judgement of thousands of images and the cost of large ones are left out.
        suites=(Suite("image_tests",
                      without=("TenThousandRandomImages.*", "TwentyThousandDamagedImages.*")),
                Suite("boardfile_tests"),
                Suite("report_tests", without=("ALargeImage.*",)),
                Suite("guard_session_tests"), Suite("guard_tests", ("flashguard", *_BOARD_RUNS))),
        explained="scripts/mutants-explained/guard.txt"),
}
