#!/usr/bin/env python3
# SPDX-License-Identifier: MIT
"""The house rules: each reads the repository's files and names file, line and remedy where it is broken.

    rules.py --list                          the names of the rules
    rules.py RULE [--nm NM --tool FILE --library FILE]
                                             holds the repository to it
    rules.py --bad-trees RULE                sees whether it finds what is wrong in small trees

A rule is a function from a tree, path to text, to what it looked at and its findings: so the real
tree and a small bad one, in bad_trees.py, take the same way. A rule that finds nothing to look at in
the real tree is broken. How long functions are is clang-tidy's (readability-function-size) wherever
it looks; the rule here is for the tests. Exit status: 0 kept, 1 broken, 2 wrong command line.
"""

import argparse
import posixpath
import re
import subprocess
import sys
from functools import lru_cache
from pathlib import Path, PurePosixPath
from typing import NamedTuple

sys.dont_write_bytecode = True

HERE = "tests/rules"
BANNED_CALLS_ALLOWED = f"{HERE}/banned-calls-allowed.txt"
PASSED_THROUGH = f"{HERE}/passed-through.txt"
LAYERS = "docs/layers.txt"
ARCHITECTURE = "docs/ARCHITECTURE.md"
ODDITIES = "docs/ODDITIES.md"
EXPORTS = "vboard/front/exports.map"
# What nm prints of the built programs stands in the tree as if it were files.
TOOL_IMPORTS = "nm --undefined-only flashmcu"
LIBRARY_EXPORTS = "nm --defined-only libvboard.so"


class Finding(NamedTuple):
    file: str
    line: int
    what: str
    remedy: str

    def __str__(self):
        return f"{self.file}:{self.line}: {self.what}; {self.remedy}"


RULES = {}


def rule(function):
    """Takes a generator of findings; None among them says that there was something to look at."""
    def check(tree):
        seen = list(function(tree))
        return seen.count(None), [finding for finding in seen if finding]
    RULES[function.__name__] = check
    return check


# ---- The tree ----------------------------------------------------------------------------------

def is_left_out(relative):
    # What packaging leaves behind in debian/ are folders, except for these two.
    in_debian = relative.parent.as_posix() == "debian" and relative.name not in ("tests", "source")
    return relative.name.startswith((".", "build", "obj-")) or relative.name == "node_modules" or in_debian


def read_tree(root):
    """Path to text, sorted; without build folders and files that are not text. Images have none."""
    tree = {}

    def walk(folder):
        for path in sorted(folder.iterdir()):
            relative = path.relative_to(root)
            if path.is_dir() and not path.is_symlink():
                if not is_left_out(relative):
                    walk(path)
            elif path.is_file() and relative.as_posix() != ".git":
                data = b"" if path.suffix == ".hex" else path.read_bytes()
                if b"\0" not in data:
                    tree[relative.as_posix()] = data.decode("utf-8", "replace")

    walk(Path(root))
    return tree


def is_in(path, folder):
    return path == folder or path.startswith(folder + "/")


def cpp_files(tree, *folders):
    return [(path, text) for path, text in tree.items() if path.endswith((".cpp", ".h"))
            and (not folders or any(is_in(path, folder) for folder in folders))]


_COMMENT_OR_LITERAL = re.compile(
    r'//[^\n]*|/\*.*?\*/|R"([^(\s"]*)\(.*?\)\1"|"(?:\\.|[^"\\\n])*"'
    r"|(?<![0-9a-fA-F])'(?:\\.|[^'\\\n])*'", re.DOTALL)


@lru_cache(maxsize=None)
def code_of(text):
    """C++ with comments and what stands in literals blanked: same length, same lines."""
    def blank(match):
        spaces = re.sub(r"[^\n]", " ", match.group())
        return spaces if match.group().startswith("/") else '"' + spaces[2:] + '"'
    return _COMMENT_OR_LITERAL.sub(blank, text)


def numbered(text):
    return enumerate(text.split("\n"), 1)


def line_at(text, offset):
    return text.count("\n", 0, offset) + 1


def entries_of(tree, path):
    """A list's words with their line numbers: each line is "WORD  reason ..."; # begins a comment."""
    for number, line in numbered(tree.get(path, "")):
        if line and not line.startswith("#"):
            word, *reason = line.split(None, 1)
            if not reason:
                raise SystemExit(f"{path}:{number}: no reason given: {line}")
            yield number, word


# ---- Layers ------------------------------------------------------------------------------------

class Layer(NamedTuple):
    folder: str
    folders: list  # Of ours, besides itself; "*" is any.
    families: list  # Of other headers: libc, fmt, CLI; "*" is any.
    line: int


def layers_of(tree):
    layers = {}
    for number, line in numbered(tree.get(LAYERS, "")):
        if not line or line.startswith("#"):
            continue
        folder, *words = line.split()
        if words[:1] != ["->"]:
            raise SystemExit(f"{LAYERS}:{number}: not a layer: {line}")
        words = words[1:]
        layers[folder] = Layer(folder, [word for word in words if not word.startswith("<")],
                               [word[1:-1] for word in words if word.startswith("<")], number)
    return layers


def layer_of(layers, path):
    """The deepest layer around a path, or None."""
    around = [layer for layer in layers.values() if path.startswith(layer.folder + "/")]
    return max(around, key=lambda layer: len(layer.folder), default=None)


def family_of(header):
    """Empty for the C++ standard library and for what C has even without a libc."""
    if not re.search(r"[./]", header) or header in ("stdint.h", "stddef.h"):
        return ""
    if re.fullmatch(r"(sys|linux|asm|netinet|arpa)/.*|[^/]*", header):
        return "libc"
    return header.split("/")[0]


def includes_of(text):
    """Each include: its line, whether it is ours, the header."""
    for number, line in numbered(text):
        match = re.match(r'\s*#\s*include\s*(["<])([^">]+)[">]', line)
        if match:
            yield number, match[1] == '"', match[2]


def problem_with_include(layer, layers, ours, header):
    if not ours:
        family = family_of(header)
        allowed = not family or family in layer.families or "*" in layer.families
        return "" if allowed else f"{layer.folder} may not include <{header}> (family {family})"
    to = layer_of(layers, header)
    if to is None:
        # Whoever may include anything may do so by a path of its own.
        return "" if "*" in layer.folders else f'"{header}" is in no folder of the list'
    allowed = to.folder == layer.folder or to.folder in layer.folders or "*" in layer.folders
    return "" if allowed else f"{layer.folder} may not include {to.folder}"


@rule
def every_include_follows_an_arrow(tree):
    layers = layers_of(tree)
    for path, text in cpp_files(tree):
        layer = layer_of(layers, path)
        if layer is None:
            yield Finding(path, 1, "its folder is in no layer", f"add the folder to {LAYERS}")
            continue
        for number, ours, header in includes_of(text):
            yield None
            problem = problem_with_include(layer, layers, ours, header)
            if problem:
                yield Finding(path, number, problem, "turn the dependency round or hand the thing in "
                              f"from above; the arrows are in {LAYERS}")


@rule
def the_arrows_run_one_way(tree):
    above = set()
    for layer in layers_of(tree).values():
        for folder in layer.folders:
            yield None
            if folder not in above and folder != "*":
                yield Finding(LAYERS, layer.line, f"{layer.folder} points to {folder}, which is not "
                              "listed above it", "list what is used before what uses it")
        above.add(layer.folder)


@rule
def the_architecture_page_shows_the_same_arrows(tree):
    arrows = "".join(line + "\n" for _, line in numbered(tree.get(LAYERS, ""))
                     if line and not line.startswith("#"))
    if arrows:
        yield None
    if f"```\n{arrows}```\n" not in tree.get(ARCHITECTURE, ""):
        yield Finding(ARCHITECTURE, 1, f"its arrows are not those of {LAYERS}",
                      f"copy these into its fenced block:\n{arrows}")


def circles_of(graph):
    """The sets of nodes that lead to one another, each sorted."""
    def reach(start):
        seen, open_ends = set(), [start]
        while open_ends:
            for node in graph.get(open_ends.pop(), ()):
                if node not in seen:
                    seen.add(node)
                    open_ends.append(node)
        return seen
    reached = {node: reach(node) for node in graph}
    return sorted({tuple(sorted(other for other in reached[node] if node in reached.get(other, ())))
                   for node in graph if node in reached[node]})


@rule
def no_circle_of_files_inside_a_room(tree):
    """A header and its source are one: what the source includes, the pair needs."""
    graph = {}
    for path, text in cpp_files(tree):
        unit = path.rsplit(".", 1)[0]
        needs = graph.setdefault(unit, set())
        for _, ours, header in includes_of(text):
            other = header.rsplit(".", 1)[0]
            if ours and header in tree and other != unit and (
                    PurePosixPath(other).parent == PurePosixPath(unit).parent):
                yield None
                needs.add(other)
    for circle in circles_of(graph):
        yield Finding(circle[0], 1, "a circle of includes: " + ", ".join(circle),
                      "move what they share into a file of its own")


# ---- Calls that would make a run depend on more than its inputs ---------------------------------

def call_of(names):
    """A call by this name, not a member of something and not the end of a longer name."""
    return rf"(?:^|[^\w.>])(?:{names})\s*\("


# Kind, pattern, whether literals count, remedy.
BANS = [(kind, re.compile(pattern), in_literals, remedy) for kind, pattern, in_literals, remedy in (
    ("clock", r"\b(system_clock|steady_clock|high_resolution_clock|utc_clock|file_clock)\b|"
     + call_of("time|clock|clock_gettime|gettimeofday|timespec_get|localtime|gmtime|ftime|times"),
     False, "ask the board's VirtualClock"),
    ("sleep", r"\b(sleep_for|sleep_until)\b|"
     + call_of("sleep|usleep|nanosleep|clock_nanosleep|alarm|setitimer|timerfd_create"),
     False, "let virtual time pass: VirtualClock::Pass"),
    ("thread", r"\b(jthread|thread|mutex|async|future|condition_variable|pthread_\w+|fork|vfork|clone)"
     r"\b\s*[<(>&*]|\bstd::(jthread|thread|mutex|async)\b",
     False, "ask the VirtualClock for an action at an instant"),
    ("random", r"\b(random_device|default_random_engine|getrandom|getentropy|arc4random|drand48)\b|"
     + call_of("rand|srand|random"),
     False, "use a generator whose seed is an input of the run"),
    ("order", r"\bunordered_(map|set|multimap|multiset)\b",
     False, "use std::map, std::set or a sorted vector: their order is the same in each run"),
    ("address", r"%p|\bfmt::ptr\b",
     True, "print a name or a number that is the same in each run"),
)]


@rule
def the_virtual_board_depends_on_its_inputs_alone(tree):
    allowed = {word: number for number, word in entries_of(tree, BANNED_CALLS_ALLOWED)}
    used = set()

    def is_allowed(path, kind):
        for word in allowed:
            place, _, what = word.partition(":")
            if what == kind and is_in(path, place):
                used.add(word)
                return True
        return False

    for path, text in cpp_files(tree, "vboard", "image"):
        code = code_of(text).split("\n")
        for number, line in numbered(text):
            yield None
            for kind, pattern, in_literals, remedy in BANS:
                match = pattern.search(line if in_literals else code[number - 1])
                if match and not is_allowed(path, kind):
                    yield Finding(path, number, f"banned ({kind}): {match.group().strip()}", remedy)
    for word in allowed:
        if word not in used:
            yield Finding(BANNED_CALLS_ALLOWED, allowed[word], f"nothing needs {word} any more",
                          "take its line out")


# ---- First lines -------------------------------------------------------------------------------

LICENCE = "SPDX-License-Identifier: MIT"
LICENCE_LINES = {
    **dict.fromkeys((".ld", ".css"), f"/* {LICENCE} */"),
    **dict.fromkeys((".cpp", ".h", ".hpp", ".c", ".S", ".js", ".mjs", ".ts", ".tsx"), f"// {LICENCE}"),
    **dict.fromkeys((".cmake", ".sh", ".py", ".awk", ".service", ".rules"), f"# {LICENCE}"),
}


@rule
def every_source_names_its_licence(tree):
    for path, text in tree.items():
        file = PurePosixPath(path)
        script = text.startswith("#!")
        wanted = LICENCE_LINES.get(
            file.suffix, f"# {LICENCE}" if script or file.name == "CMakeLists.txt" else None)
        if wanted:
            yield None
            if [*text.split("\n"), ""][script] != wanted:
                yield Finding(path, 1 + script, "no licence in this line", f"write: {wanted}")


@rule
def every_header_is_guarded(tree):
    for path, text in cpp_files(tree):
        if path.endswith(".h") and not is_in(path, "examples"):
            yield None
            if "\n#pragma once\n" not in text and not re.search(
                    r"\n#ifndef (\w+_H)\n#define \1\n", text):
                yield Finding(path, 2, "nothing guards it against a second include",
                              "write #pragma once")


@rule
def every_source_includes_its_own_header_first(tree):
    for path, text in cpp_files(tree):
        header = path[:-3] + "h"
        if path.endswith(".cpp") and header in tree:
            yield None
            number, _, first = next(includes_of(text), (1, True, ""))
            if PurePosixPath(first).name != PurePosixPath(header).name:
                yield Finding(path, number, "its own header is not its first include",
                              f'move #include "{header}" to the top')


# The names that are used most, by their header. What is compiled as one source with its room would not
# miss an include that another of the room has.
_HEADER_OF = {name: header for header, names in {
    "algorithm": "all_of any_of clamp copy copy_n count_if equal fill fill_n find find_if max max_element "
                 "min min_element mismatch none_of remove_if sort",
    "array": "array to_array", "atomic": "atomic atomic_ref", "bit": "bit_cast popcount",
    "charconv": "from_chars to_chars", "chrono": "chrono", "cstdio": "FILE fflush fopen fprintf printf",
    "cstdint": "int32_t int64_t uint8_t uint16_t uint32_t uint64_t", "cstdlib": "abort getenv strtol",
    "cstring": "memcmp memcpy strerror strlen", "deque": "deque", "filesystem": "filesystem",
    "fstream": "ifstream ofstream", "functional": "function", "iostream": "cerr cout",
    "limits": "numeric_limits", "map": "map", "memory": "make_shared make_unique shared_ptr unique_ptr",
    "mutex": "lock_guard mutex unique_lock", "numeric": "accumulate", "optional": "nullopt optional",
    "regex": "regex smatch", "set": "set", "span": "span", "sstream": "istringstream ostringstream",
    "string": "getline stoul string to_string", "string_view": "string_view", "thread": "thread",
    "tuple": "tie tuple", "utility": "exchange forward move pair swap", "variant": "variant",
    "vector": "vector"}.items() for name in names.split()}


def headers_behind(tree, path, seen):
    """The libraries' headers of a file and of all of ours that it includes."""
    headers = set()
    if path not in seen:
        seen.add(path)
        for _, ours, header in includes_of(tree[path]):
            beside = posixpath.normpath(posixpath.join(posixpath.dirname(path), header))
            if not ours:
                headers.add(header)
            elif header in tree or beside in tree:
                headers |= headers_behind(tree, header if header in tree else beside, seen)
    return headers


@rule
def every_name_of_the_standard_library_has_its_header(tree):
    for path, text in cpp_files(tree):
        headers = headers_behind(tree, path, set())
        for match in re.finditer(r"\bstd::(\w+)", code_of(text)):
            needed = _HEADER_OF.get(match[1])
            if needed:
                yield None
                if needed not in headers:
                    headers.add(needed)
                    yield Finding(path, line_at(text, match.start()),
                                  f"std::{match[1]} without its header", f"#include <{needed}>")


# ---- Comments ----------------------------------------------------------------------------------

_NEEDS_NO_COMMENT = re.compile(r"~|= (default|delete);|\b(override|operator|friend|namespace|extern)\b|"
                               r"^(class|struct|enum class) [^{(]*;|^ *static_assert")


def public_declarations(text):
    """Line, first words and whether it is commented, of each that needs to be: by itself or in a group
    under one comment, without an empty line. The file's heading is about its first type. Where one
    begins shows in the indentation that clang-format gives."""
    kind, public, said, is_first_type = "", True, False, True
    lines = numbered(text)
    for number, line in lines:
        if not line:
            said = False
        elif line.startswith("}"):
            kind, public, said = "", True, said and not kind
        elif line.lstrip().startswith("//"):
            said = True
        elif access := re.match(r"(public|private|protected):", line):
            public, said = access[1] == "public", False
        elif re.match(r"    [\[\w]" if kind else r"[\[\w]", line):
            whole = line
            while not re.search(r"[;{})](\s*///<.*)?$", whole):
                whole += " " + next(lines)[1].strip()
            type_here = not kind and re.match(r"(class|struct|enum) .*[^)] \{(};?)?$", whole)
            is_value = kind == "struct" and not re.search(r"\w\(", re.sub("<[^;]*>|=.*", "", whole))
            if public and kind != "enum" and not is_value and not _NEEDS_NO_COMMENT.search(whole):
                yield number, line.strip(), said or "///<" in whole or (type_here and is_first_type)
            if type_here:
                kind = type_here[1] if whole.endswith("{") else ""
                public, said, is_first_type = kind != "class", False, False


@rule
def every_public_declaration_says_what_it_is(tree):
    for path, text in cpp_files(tree, "vboard", "guard", "image", "boardfile"):
        for number, words, is_said in public_declarations(text) if path.endswith(".h") else ():
            yield None
            if not is_said:
                yield Finding(path, number, f"no comment: {words}", "say above it what its name and type "
                              "do not: units, ranges, failure, who owns it")


# ---- What looks wrong and is wanted ------------------------------------------------------------

def oddity_comments(tree):
    """Comments in the programs; tests may speak of oddities as they like."""
    for path, text in cpp_files(tree):
        if not is_in(path, "tests"):
            for number, line in numbered(text):
                match = re.search(r"// Oddity( \(([a-z0-9-]+)\):)?", line)
                if match:
                    yield path, number, match[2]


def oddity_rows(tree):
    """name, file and test of each row; None where it is not whole."""
    for number, line in numbered(tree.get(ODDITIES, "")):
        if line.startswith("| `"):
            row = re.fullmatch(
                r"\| `([a-z0-9-]+)` \| [^|]+ \| `([^`|]+)` \| `([^`|]+)` \| [^|]+ \|", line)
            yield number, row and row.groups()


def tests_of(tree):
    declared = re.compile(r"(?:TEST|TEST_F|TEST_P|RC_GTEST_PROP)\(\s*(\w+),\s*(\w+)")
    return {f"{suite}.{test}" for _, text in cpp_files(tree, "tests")
            for suite, test in declared.findall(code_of(text))}


@rule
def oddities_have_a_comment_a_row_and_a_test(tree):
    comments, listed, tests = {}, set(), tests_of(tree)
    for path, number, name in oddity_comments(tree):
        if name is None:
            yield Finding(path, number, "an oddity without a name", "write '// Oddity (some-name): ...'")
        elif name in comments:
            yield Finding(path, number, f"a second oddity '{name}'", "give each place a name of its own")
        else:
            comments[name] = path, number
    for number, row in oddity_rows(tree):
        yield None
        if row is None:
            yield Finding(ODDITIES, number, "a row that is not whole", "write | `name` | what happens | "
                          "`file` | `Suite.Test` | what a user can do |")
            continue
        name, file, test = row
        if comments.get(name, ("",))[0] != file:
            yield Finding(ODDITIES, number, f"no comment 'Oddity ({name})' in {file}",
                          "correct the row, or take it out with the behaviour")
        if test not in tests:
            yield Finding(ODDITIES, number, f"there is no test {test}", "name the test that shows it")
        if name in listed:
            yield Finding(ODDITIES, number, f"a second row '{name}'", "keep one of them")
        listed.add(name)
    for name, (path, number) in comments.items():
        if name not in listed:
            yield Finding(path, number, f"the oddity '{name}' has no row", f"add one to {ODDITIES}")


# ---- Pages -------------------------------------------------------------------------------------

_NAMED = re.compile(r"`((?:flashmcu|image|guard|integrations|vboard|tests|docs|scripts|cmake|examples|"
                    r"debian|packaging|man|completions|demo|bench)/[\w./+-]*)`")


@rule
def pages_name_what_is_there(tree):
    """Files and folders in `backticks`, as the tool's log lines do perhaps without the extension,
    and presets as --preset NAME."""
    there = set(tree) | {parent.as_posix() for path in tree for parent in PurePosixPath(path).parents}
    presets = set(re.findall(r'"name": *"([\w-]+)"', tree.get("CMakePresets.json", "")))
    for path, text in tree.items():
        for number, line in numbered(text) if path.endswith(".md") else ():
            for named in _NAMED.findall(line):
                yield None
                plain = named.rstrip("/")
                if not there & {plain, plain + ".cpp", plain + ".h"}:
                    yield Finding(path, number, f"there is no {named}", "name what is there now")
            for preset in re.findall(r"--preset[ =]([\w-]+)", line):
                yield None
                if preset not in presets:
                    yield Finding(path, number, f"there is no preset {preset}",
                                  "name one of CMakePresets.json")


# ---- The seam: libc's names --------------------------------------------------------------------

def exports_of(tree):
    """The names between "global:" and "local:"."""
    text = re.sub(r"#[^\n]*", "", tree.get(EXPORTS, ""))
    match = re.search(r"global:(.*?)local:", text, re.DOTALL)
    return re.findall(r"\w+", match[1]) if match else []


def wrappers_of(tree):
    """Name to place of the functions that are marked VBOARD_EXPORT."""
    wrappers = {}
    for path, text in cpp_files(tree, "vboard/front"):
        code = code_of(text)
        for match in re.finditer(r"VBOARD_EXPORT[^(){};#]*?\b(\w+)\s*\(", code):
            if match[1] != "__attribute__":  # The macro's own definition.
                wrappers.setdefault(match[1], (path, line_at(code, match.start(1))))
    return wrappers


@rule
def every_exported_name_has_a_wrapper_and_the_other_way_round(tree):
    exports, wrappers = exports_of(tree), wrappers_of(tree)
    for name in exports:
        yield None
        if name not in wrappers:
            yield Finding(EXPORTS, 1, f"{name} has no wrapper",
                          "define it with VBOARD_EXPORT or take the name out")
    for name, (path, number) in wrappers.items():
        if name not in exports:
            yield Finding(path, number, f"{name} is not exported", f"add the name to {EXPORTS}")


@rule
def nothing_behind_a_wrapper_calls_a_wrapped_function(tree):
    """vboard/run is not in the library. A call may have std:: or :: in front; members are not meant."""
    names = "|".join(exports_of(tree))
    call = re.compile(rf"(?:^|[^\w.>:]|[^\w]::|std::|[^-]>)({names})\s*\(")
    for path, text in cpp_files(tree, "vboard", "image") if names else ():
        for number, line in numbered(code_of(text)) if not is_in(path, "vboard/run") else ():
            yield None
            match = call.search(line)
            if match and not line.startswith("VBOARD_EXPORT"):
                yield Finding(path, number, f"{match[1]} is a wrapped function",
                              f"call it as Real().{match[1]}")


def symbols_of(tree, table):
    """The names, without versions, in what nm -D has printed."""
    return [line.split()[-1].split("@")[0] for line in tree.get(table, "").split("\n") if line.split()]


def is_listed(name, patterns):
    return any(re.fullmatch(re.escape(pattern).replace(r"\*", ".*"), name) for pattern in patterns)


@rule
def the_board_answers_what_the_tool_calls_or_the_list_says_why_not(tree):
    exports = set(exports_of(tree))
    passed = {word: number for number, word in entries_of(tree, PASSED_THROUGH)}
    for name in symbols_of(tree, TOOL_IMPORTS):
        yield None
        if name not in exports and not is_listed(name, passed):
            yield Finding(PASSED_THROUGH, 1, f"the tool calls {name}, which the board does not answer",
                          "wrap it in vboard/front, or list it with the reason why it may reach the "
                          "machine")
    for word, number in passed.items():
        for name in sorted(exports):
            if is_listed(name, [word]):
                yield Finding(PASSED_THROUGH, number, f"{name} is answered by the board",
                              "take it out of this list")


@rule
def the_built_library_exports_what_the_map_says(tree):
    exports, built = exports_of(tree), symbols_of(tree, LIBRARY_EXPORTS)
    for name in exports:
        yield None
        if name not in built:
            yield Finding(EXPORTS, 1, f"the built library does not export {name}",
                          "see that its wrapper is linked")
    for name in built:
        if name not in exports:
            yield Finding(EXPORTS, 1, f"the built library exports {name} as well",
                          "hide it, or name it in the map")


# ---- Function length, where clang-tidy does not look --------------------------------------------

TOO_MANY_LINES = 70


@rule
def every_function_of_the_tests_fits_on_a_page(tree):
    """The formatter puts a closing brace below the first letter of its head."""
    for path, text in cpp_files(tree, "tests", "examples"):
        heads = {}
        for number, line in numbered(code_of(text)):
            words = line.strip()
            indent = len(line) - len(line.lstrip())
            if words.startswith("}"):
                head, name = heads.pop(indent, (number, ""))
                if "(" in name:
                    yield None
                    if number - head + 1 >= TOO_MANY_LINES:
                        yield Finding(path, head, f"{number - head + 1} lines, too many from "
                                      f"{TOO_MANY_LINES}: {name}",
                                      "keep its decisions and move straight work into helpers")
            elif words and not words.startswith("#"):
                heads[indent] = number, words


# ---- The command line --------------------------------------------------------------------------

def symbol_table(nm, option, binary):
    return subprocess.run([nm, "-D", option, binary], check=True, capture_output=True, text=True).stdout


def check_repository(arguments):
    tree = read_tree(Path(__file__).resolve().parents[2])
    if arguments.nm:
        tree[TOOL_IMPORTS] = symbol_table(arguments.nm, "--undefined-only", arguments.tool)
        tree[LIBRARY_EXPORTS] = symbol_table(arguments.nm, "--defined-only", arguments.library)
    looked_at, findings = RULES[arguments.rule](tree)
    for finding in findings:
        print(finding)
    if looked_at == 0:
        print(f"{arguments.rule}: there was nothing to look at; the rule has lost what it is about")
    print(f"{arguments.rule}: {looked_at} places looked at, {len(findings)} findings")
    return 1 if findings or looked_at == 0 else 0


def check_bad_trees(name):
    from bad_trees import TREES
    wrong = 0
    for title, tree, wanted in TREES.get(name, ()):
        found = [f"{finding.file}:{finding.line}: {finding.what}" for finding in RULES[name](tree)[1]]
        if found != wanted:
            wrong += 1
            print(f"{title}:\n  wanted {wanted}\n  found  {found}")
    goes_red = any(wanted for _, _, wanted in TREES.get(name, ()))
    if not goes_red:
        print(f"{name} has no bad tree in {HERE}/bad_trees.py")
    return 0 if goes_red and not wrong else 1


def main():
    parser = argparse.ArgumentParser(prog="rules.py", description=__doc__.split("\n", maxsplit=1)[0])
    parser.add_argument("rule", choices=list(RULES), nargs="?", metavar="RULE")
    parser.add_argument("--list", action="store_true", help="print the names of the rules")
    parser.add_argument("--bad-trees", action="store_true", help="see whether it finds what is wrong")
    parser.add_argument("--nm", help="the nm program of the compiler")
    parser.add_argument("--tool", help="the built tool")
    parser.add_argument("--library", help="the built library that stands in front of libc")
    arguments = parser.parse_args()
    if arguments.list:
        print(*RULES, sep="\n")
        return 0
    if arguments.rule is None:
        parser.error("a rule is wanted: " + ", ".join(RULES))
    return check_bad_trees(arguments.rule) if arguments.bad_trees else check_repository(arguments)


if __name__ == "__main__":
    sys.exit(main())
