# SPDX-License-Identifier: MIT
"""For each rule small trees: what is in them, and every finding it has to make, "file:line: what".
A tree without findings shows what the rule lets pass."""

import rules

# The rules read this file, too, and must not take its texts for the real thing.
_TEST = "TEST"


def _in(path):
    """A tree of one file, the line second, so that numbers that begin at 0 or 1 by mistake show."""
    return lambda line, **more: {path: f"\n{line}\n", **more}


_HOUSE = "# A comment.\ntime ->\n\nchip -> time <fmt>\ntests -> * <*>\n"


def _house(path, line):
    return {"docs/layers.txt": _HOUSE, path: f"\n{line}\n"}


_LAYERS = [
    (line, _house(path, line), [])
    for path, line in (
        ("chip/Chip.cpp", '#include "chip/Chip.h"'), ("chip/Chip.cpp", '#include "time/Clock.h"'),
        ("chip/Chip.cpp", "#include <vector>"), ("chip/Chip.cpp", "#include <fmt/format.h>"),
        ("tests/ChipTest.cpp", '#include "chip/Chip.h"'),
        ("tests/ChipTest.cpp", "#include <gtest/gtest.h>"))
] + [
    (line, _house(path, line), [f"{path}:{number}: {what}"])
    for path, line, number, what in (
        ("time/Clock.cpp", '#include "chip/Chip.h"  // back', 2, "time may not include chip"),
        ("chip/Chip.cpp", "#include <unistd.h>", 2, "chip may not include <unistd.h> (family libc)"),
        ("chip/Chip.cpp", "#include <sys/mman.h>", 2,
         "chip may not include <sys/mman.h> (family libc)"),
        ("chip/Chip.cpp", "#include <CLI/CLI.hpp>", 2,
         "chip may not include <CLI/CLI.hpp> (family CLI)"),
        ("chip/Chip.cpp", '#include "tests/Bench.h"', 2, "chip may not include tests"),
        ("chip/Chip.cpp", '#include "attic/Old.h"', 2, '"attic/Old.h" is in no folder of the list'),
        ("attic/Old.cpp", "", 1, "its folder is in no layer"))
]

_ARROWS = [
    ("one way", {"docs/layers.txt": _HOUSE}, []),
    ("a way round", {"docs/layers.txt": "chip -> time\ntime ->\n"},
     ["docs/layers.txt:1: chip points to time, which is not listed above it"]),
]

_PAGE = [
    ("the same arrows", {"docs/layers.txt": "# x\n\na ->\n",
                         "docs/ARCHITECTURE.md": "Arrows:\n```\na ->\n```\n"}, []),
    ("others", {"docs/layers.txt": "a ->\nb -> a\n", "docs/ARCHITECTURE.md": "```\na ->\n```\n"},
     ["docs/ARCHITECTURE.md:1: its arrows are not those of docs/layers.txt"]),
]

_CIRCLES = [
    ("a line", {"room/A.h": '#include "room/B.h"\n', "room/A.cpp": '#include "room/A.h"\n',
                "room/B.h": '#include "other/A.h"\n', "other/A.h": ""}, []),
    ("a source that closes it",
     {"room/A.h": '#include "room/B.h"\n', "room/B.h": "", "room/C.h": '#include "room/A.h"\n',
      "room/B.cpp": '#include "room/B.h"\n#include "room/C.h"\n'},
     ["room/A:1: a circle of includes: room/A, room/B, room/C"]),
]

_board = _in("vboard/chip/Bad.cpp")
_ALLOWED = {rules.BANNED_CALLS_ALLOWED: "# Why.\nvboard/front/Pacer.cpp:clock  real time\n"}
_BANNED = [
    (line, _board(line), [f"vboard/chip/Bad.cpp:2: banned ({kind}): {what}"])
    for line, kind, what in (
        ("auto now = std::chrono::steady_clock::now();", "clock", "steady_clock"),
        ("const auto now = time(nullptr);", "clock", "time("),
        ("clock_gettime(CLOCK_REALTIME, &now);", "clock", "clock_gettime("),
        ("sleep(1);", "sleep", "sleep("),
        ("std::this_thread::sleep_for(1s);", "sleep", "sleep_for"),
        ("std::thread worker(Work);", "thread", "std::thread"),
        ("std::mutex m_lock;", "thread", "std::mutex"),
        ("std::random_device seed;", "random", "random_device"),
        ("return rand();", "random", "rand("),
        ("std::unordered_map<int, int> m_pins;", "order", "unordered_map"),
        ('fmt::print("{}", fmt::ptr(this));', "address", "fmt::ptr"),
        ('printf("%p", this);', "address", "%p"))
] + [
    (line, _board(line), [])
    for line in ("Real().usleep(length);", "row.time(x);", "Duration CharacterTime() const;",
                 "// time(nullptr) would not do", 'Say("sleep(1)");', "std::map<int, int> m_pins;",
                 "const auto uptime = Uptime(now);", 'Say(R"x(sleep(1) ")x");')
] + [
    ("outside the board", {"examples/Speed.cpp": "time(nullptr);"}, []),
    ("an exception", {**_ALLOWED, "vboard/front/Pacer.cpp": "clock_gettime(X, &now);"}, []),
    ("an exception for another file and kind",
     {**_ALLOWED, "vboard/front/Pacer.cpp": "time(nullptr);\nusleep(1);",
      "vboard/front/Other.cpp": "time(nullptr);"},
     ["vboard/front/Pacer.cpp:2: banned (sleep): usleep(",
      "vboard/front/Other.cpp:1: banned (clock): time("]),
    ("an exception that nothing needs", {**_ALLOWED, "vboard/chip/Good.cpp": ""},
     [f"{rules.BANNED_CALLS_ALLOWED}:2: nothing needs vboard/front/Pacer.cpp:clock any more"]),
]

_LICENCE = [
    ("each language", {"a.cpp": f"// {rules.LICENCE}\n", "a.ld": f"/* {rules.LICENCE} */\n",
                       "CMakeLists.txt": f"# {rules.LICENCE}\n",
                       "run": f"#!/bin/sh\n# {rules.LICENCE}\n", "README.md": "# Title\n"}, []),
    ("missing, displaced, another, in another tongue",
     {"a.cpp": "#include <vector>\n", "b.cpp": f"\n// {rules.LICENCE}\n", "c.cpp": "// BSD\n",
      "a.ld": f"// {rules.LICENCE}\n", "run": "#!/bin/sh\nset -e\n", "empty.h": ""},
     ["a.cpp:1: no licence in this line", "b.cpp:1: no licence in this line",
      "c.cpp:1: no licence in this line", "a.ld:1: no licence in this line",
      "run:2: no licence in this line", "empty.h:1: no licence in this line"]),
]

_GUARDS = [
    ("either guard", {"a.h": "// x\n#pragma once\n", "b.h": "// x\n#ifndef X_B_H\n#define X_B_H\n"}, []),
    ("none", {"a.h": "// x\nclass A;\n", "b.h": "// x\n#ifndef X_B_H\n#define X_C_H\n"},
     ["a.h:2: nothing guards it against a second include",
      "b.h:2: nothing guards it against a second include"]),
]

_OWN_HEADER = [
    ("first, or there is none", {"room/A.h": "", "room/A.cpp": '#include "room/A.h"\n',
                                 "room/B.cpp": "#include <vector>\n"}, []),
    ("later", {"room/A.h": "", "room/A.cpp": '\n#include <vector>\n#include "room/A.h"\n'},
     ["room/A.cpp:2: its own header is not its first include"]),
]

_STANDARD = [
    ("its own, or of a header of ours",
     {"a/A.h": "#include <string>\n", "a/B.h": '#include "A.h"\n#include <vector>\n',
      "a/B.cpp": '#include "a/B.h"\nstd::vector<std::string> x;  // std::map\nstd::other y;\n'}, []),
    ("none, told once", {"a/A.h": "#include <map>\n", "a/B.cpp": "\nstd::map<int, std::string> x;\nstd::map y;\n"},
     ["a/B.cpp:2: std::map without its header", "a/B.cpp:2: std::string without its header"]),
]

_COMMENT = "// Oddity (late-answer): the answer comes late.\n"
_ROW = "| `late-answer` | it is late | `tool/a.cpp` | `Answer.IsLate` | wait |\n"


def _oddity(code, page, test=f"{_TEST}(Answer, IsLate) {{\n}}\n"):
    return {"docs/ODDITIES.md": page, "tests/ATest.cpp": test, "tool/a.cpp": code}


_ODDITY = [
    ("in step", _oddity(_COMMENT, _ROW), []),
    ("a comment without a name", _oddity(_COMMENT + "// Oddity: too late.\n", _ROW),
     ["tool/a.cpp:2: an oddity without a name"]),
    ("a comment without a row", _oddity(_COMMENT, ""),
     ["tool/a.cpp:1: the oddity 'late-answer' has no row"]),
    ("two comments", _oddity(_COMMENT + _COMMENT, _ROW),
     ["tool/a.cpp:2: a second oddity 'late-answer'"]),
    ("two rows", _oddity(_COMMENT, _ROW + _ROW), ["docs/ODDITIES.md:2: a second row 'late-answer'"]),
    ("a row without its comment", _oddity("", _ROW),
     ["docs/ODDITIES.md:1: no comment 'Oddity (late-answer)' in tool/a.cpp"]),
    ("a row that names another file", _oddity(_COMMENT, _ROW.replace("a.cpp", "b.cpp")),
     ["docs/ODDITIES.md:1: no comment 'Oddity (late-answer)' in tool/b.cpp"]),
    ("another test", _oddity(_COMMENT, _ROW, f"{_TEST}(Answer, IsEarly) {{\n}}\n"),
     ["docs/ODDITIES.md:1: there is no test Answer.IsLate"]),
    ("a test in a comment", _oddity(_COMMENT, _ROW, f"// {_TEST}(Answer, IsLate) {{\n"),
     ["docs/ODDITIES.md:1: there is no test Answer.IsLate"]),
    ("nothing that a user can do", _oddity(_COMMENT, _ROW.replace(" wait |", "")),
     ["docs/ODDITIES.md:1: a row that is not whole",
      "tool/a.cpp:1: the oddity 'late-answer' has no row"]),
]


def _page(line):
    return {"docs/page.md": f"\n{line}\n", "vboard/chip/Chip.h": "", "flashmcu/FWU_MSP.cpp": "",
            "CMakePresets.json": '{ "name": "default" }'}


_PAGES = [
    ("files, folders, a log line's path, a preset",
     _page("`vboard/chip/Chip.h`, `vboard/chip`, `vboard/`, `flashmcu/FWU_MSP`; cmake --preset default"),
     []),
    ("a file that is gone", _page("see `vboard/chip/Chip.h` and `vboard/chip/Core.h`"),
     ["docs/page.md:2: there is no vboard/chip/Core.h"]),
    ("a preset that is gone", _page("ctest --preset nightly"),
     ["docs/page.md:2: there is no preset nightly"]),
]

_MAP = ("# close is named in this comment only\n{\n  global:\n    open; __open_2;\n  local:\n    *;\n"
        "};\n")
_WRAPPERS = ('#define VBOARD_EXPORT extern "C" __attribute__((visibility("default")))\n'
             "VBOARD_EXPORT int open(const char* path, int flags, ...) {\n"
             "    return Real().open(path, flags);\n}\n"
             "VBOARD_EXPORT int __open_2(const char* path, int flags) {\n"
             "    return Real().open(path, flags);\n}\n")


def _seam(wrappers, other=""):
    return {rules.EXPORTS: _MAP, "vboard/front/Preload.cpp": wrappers, "vboard/host/Other.cpp": other}


_SEAM = [
    ("a small seam", _seam(_WRAPPERS), []),
    ("a name without a wrapper", _seam("VBOARD_EXPORT int open(const char* path) {\n}\n"),
     [f"{rules.EXPORTS}:1: __open_2 has no wrapper"]),
    ("a wrapper without a name", _seam(_WRAPPERS + "\nVBOARD_EXPORT int close(int fd) {\n}\n"),
     ["vboard/front/Preload.cpp:9: close is not exported"]),
]

_DIRECT_CALLS = [
    (line, _seam(_WRAPPERS, line), ["vboard/host/Other.cpp:1: open is a wrapped function"])
    for line in ("open(path, 0);", "x = ::open(path, 0);", "std::open(path, 0);",
                 "if (open(path, 0) < 0) {", "return open (path, 0);")
] + [
    (line, _seam(_WRAPPERS, line), [])
    for line in ("Real().open(path, 0);", "file->open(path);", "reopen(path);", "// open(path)",
                 'Say("open(path)");', "Open(path, 0);")
]


def _imports(table, passed=""):
    return {rules.EXPORTS: _MAP, rules.TOOL_IMPORTS: table, rules.PASSED_THROUGH: passed}


_PASSED = "# Why.\nprintf  standard output\n_Z*  C++ run-time library\n"
_IMPORTS = [
    ("answered or listed", _imports("       U open@GLIBC_2.2.5\n   U printf\n w _ZdlPv\n", _PASSED), []),
    ("a call that nobody answers", _imports("  U open\n  U poll@GLIBC_2.2.5\n", _PASSED),
     [f"{rules.PASSED_THROUGH}:1: the tool calls poll, which the board does not answer"]),
    ("a name that is answered and listed", _imports("  U open\n", _PASSED + "open  outdated\n"),
     [f"{rules.PASSED_THROUGH}:4: open is answered by the board"]),
]

_BUILT = [
    ("the same", {rules.EXPORTS: _MAP, rules.LIBRARY_EXPORTS: "0 T open\n0 T __open_2@@V1\n"}, []),
    ("one missing, one too many",
     {rules.EXPORTS: _MAP, rules.LIBRARY_EXPORTS: "0 T open\n0000 T leaked\n"},
     [f"{rules.EXPORTS}:1: the built library does not export __open_2",
      f"{rules.EXPORTS}:1: the built library exports leaked as well"]),
]


def _function(lines, head=f"{_TEST}(Long,\n     Test) {{\n"):
    return {"tests/a.cpp": "namespace {\n" + head + "    Step();\n" * (lines - 3) + "}\n}  // namespace\n"}


_LENGTH = [
    ("69 lines", _function(69), []),
    ("70 lines, the head in two", _function(70),
     [f"tests/a.cpp:2: 70 lines, too many from 70: {_TEST}(Long,"]),
    ("a table", _function(99, "constexpr Row kRows[] =\n    {\n"), []),
    ("a method",
     {"tests/a.h": "class A {\n    int B() {\n" + "        C();\n" * 68 + "    }\n};\n"},
     ["tests/a.h:2: 70 lines, too many from 70: int B() {"]),
]

_HEADER = """// SPDX-License-Identifier: MIT
#pragma once

// What it is for.

namespace vboard {

class First;

class Heading {
public:
    Heading();
    ~Heading();
    /// One comment
    /// for a group.
    void A();
    int B() const { return 1; }

    template <class Value>
    int Silent(const Value& value,
               int second) const;

    void Over(int value,
              int second) override;

private:
    void Hidden();
    int m_value = 0;
};

struct Row {
    int value;
    std::function<void(int)> act;
    int Sum() const;
};

/// Words.
enum class Word { kOne,
                  kTwo };

int Free();
inline constexpr int kBehind = 1;  ///< A number.

}  // namespace vboard
"""

_DECLARATIONS = [
    ("silent ones", {"vboard/a.h": _HEADER},
     [f"vboard/a.h:{line}: no comment: {words}" for line, words in (
         (12, "Heading();"), (19, "template <class Value>"), (31, "struct Row {"),
         (34, "int Sum() const;"), (41, "int Free();"))]),
    ("elsewhere", {"flashmcu/a.h": _HEADER, "vboard/a.cpp": _HEADER}, []),
]

TREES = {
    "every_include_follows_an_arrow": _LAYERS,
    "the_arrows_run_one_way": _ARROWS,
    "the_architecture_page_shows_the_same_arrows": _PAGE,
    "no_circle_of_files_inside_a_room": _CIRCLES,
    "the_virtual_board_depends_on_its_inputs_alone": _BANNED,
    "every_source_names_its_licence": _LICENCE,
    "every_header_is_guarded": _GUARDS,
    "every_public_declaration_says_what_it_is": _DECLARATIONS,
    "every_source_includes_its_own_header_first": _OWN_HEADER,
    "every_name_of_the_standard_library_has_its_header": _STANDARD,
    "oddities_have_a_comment_a_row_and_a_test": _ODDITY,
    "pages_name_what_is_there": _PAGES,
    "every_exported_name_has_a_wrapper_and_the_other_way_round": _SEAM,
    "nothing_behind_a_wrapper_calls_a_wrapped_function": _DIRECT_CALLS,
    "the_board_answers_what_the_tool_calls_or_the_list_says_why_not": _IMPORTS,
    "the_built_library_exports_what_the_map_says": _BUILT,
    "every_function_of_the_tests_fits_on_a_page": _LENGTH,
}
