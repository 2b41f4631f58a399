# SPDX-License-Identifier: MIT
"""All mutants of a source compiled at once, where a word of the environment says which one runs: a
function's body stands there once for every mutant in it, and a literal of a table is chosen when the
program starts. What lies elsewhere is left out: it needs a build of its own."""

from dataclasses import dataclass, field

# Every source of the subject reads this first. Which() says which mutant of a group, a function, is
# on; where MUTANT_REACHED names a file of a byte a group, it sets the byte. The file is opened
# without libc's names, since the board stands in front of them, syscall among them.
SWITCH_HEADER = """\
#pragma once
#include <cstdlib>
#include <fcntl.h>
#include <sys/mman.h>
#include <sys/syscall.h>
#include <unistd.h>
namespace mutant_switch {
inline int Number(const char* name) {
    const char* text = std::getenv(name);
    return text == nullptr ? 0 : std::atoi(text);
}
inline long Kernel(long number, long a, long b, long c, long d, long e, long f) {
#ifdef __x86_64__
    register long fourth asm("r10") = d;
    register long fifth asm("r8") = e;
    register long sixth asm("r9") = f;
    asm volatile("syscall"
                 : "+a"(number)
                 : "D"(a), "S"(b), "d"(c), "r"(fourth), "r"(fifth), "r"(sixth)
                 : "rcx", "r11", "memory");
    return number;
#else
    return syscall(number, a, b, c, d, e, f);
#endif
}
inline char* Map() {
    const char* path = std::getenv("MUTANT_REACHED");
    if (path == nullptr) { return nullptr; }
    const long file = Kernel(SYS_openat, AT_FDCWD, reinterpret_cast<long>(path),
                             O_RDWR | O_CLOEXEC, 0, 0, 0);
    if (file < 0) { return nullptr; }
    const long at = Kernel(SYS_mmap, 0, 65536, PROT_READ | PROT_WRITE, MAP_SHARED, file, 0);
    Kernel(SYS_close, file, 0, 0, 0, 0, 0);
    return at < 0 && at > -4096 ? nullptr : reinterpret_cast<char*>(at);
}
inline int Which(int group) {
    static const int active = Number("MUTANT");
    static char* const reached = Map();
    if (reached != nullptr) { reached[group] = 1; }
    return active;
}
inline bool Is(int mutant) {
    return Which(0) == mutant;
}
}  // namespace mutant_switch
"""
GROUPS = 65536

_CONTAINERS = ("namespace", "class", "struct", "union", "extern")


@dataclass(frozen=True)
class Span:
    """Of a source's text; of a function's body from brace to brace."""

    start: int
    end: int


@dataclass(frozen=True)
class Table:
    """A constant; what is behind `start`, its type and name, can be chosen."""

    constexpr: int
    start: int
    end: int
    name: str


@dataclass
class Switched:
    text: str
    group_of: dict = field(default_factory=dict)  # Number of a mutant to the group it stands in.


# What every test reaches: tables are read as the program starts.
ALWAYS = 0


class Shape:
    """Where the bodies and the tables of a source are."""

    def __init__(self, source):
        self.bodies = []
        self.tables = []  # Of constants: from the word constexpr to the semicolon.
        self._source = source
        self._walk()

    def _walk(self):
        tokens = self._source.tokens
        statement, first = [], 0  # The words since the last one that ended, and the first of them.
        index = 0
        while index < len(tokens):
            text = tokens[index].text
            if not statement:
                first = index
            if text == "template":
                index = self._behind_angles(index + 1)
            elif text in "([":
                index = self._source.closing(index)
                statement.append(tokens[index].text)
            elif text == "{":
                index, ended = self._pass_brace(index, statement)
                statement = [] if ended else [*statement, "{}"]
            elif text in ";}":
                if statement[:1] == ["constexpr"]:
                    self.tables.append(self._table(first, index))
                statement = []
            else:
                statement.append(text)
            index += 1

    def _table(self, first, last):
        """Of its type nothing can be chosen."""
        texts = [token.text for token in self._source.tokens[first:last + 1]]
        begins = min(texts.index(text) for text in ("=", "{", ";") if text in texts)
        name = next(text for text in reversed(texts[:begins]) if text[0] == "k")
        return Table(self._source.tokens[first].start, self._source.tokens[first + begins].start,
                     self._source.tokens[last].end, name)

    def _behind_angles(self, index):
        depth = 0
        while True:
            depth += {"<": 1, ">": -1, ">>": -2}.get(self._source.tokens[index].text, 0)
            if depth <= 0:
                return index
            index += 1

    def _pass_brace(self, index, statement):
        """Where to go on, and whether a declaration ended or was opened."""
        tokens = self._source.tokens
        closing = self._source.closing(index)
        if any(word in statement for word in _CONTAINERS) and ")" not in statement:
            return index, True
        if "enum" not in statement and "=" not in statement and statement and statement[-1] in (
                ")", "const", "noexcept", "override", "{}"):
            self.bodies.append(Span(tokens[index].start, tokens[closing].end))
            return closing, True
        return closing, False


def _within(span, mutants):
    return [(number, mutant) for number, mutant in mutants
            if span.start < mutant.start and mutant.end < span.end]


def switch(source, mutants, first_group, fixed=()):
    """The source with every one of `mutants`, pairs of number and mutant, that can be switched, and
    the group after the last one of it. Tables of the names `fixed` stay as they are."""
    shape = Shape(source)
    switched = Switched("")
    group = first_group
    edits = []
    for body in shape.bodies:
        inside = _within(body, mutants)
        if inside:
            edits.append((body.start, body.end, _body_of_all(source, body, inside, group)))
            switched.group_of.update((number, group) for number, _ in inside)
        # Counted also where no mutant is: what is left out later changes no other source.
        group += 1
    for table in shape.tables:
        if table.name in fixed:
            continue
        inside = [(number, mutant) for number, mutant in _within(table, mutants)
                  if mutant.kind in ("number", "text", "word")]
        if inside:
            edits.append((table.constexpr, table.constexpr + len("constexpr"), "static const"))
            edits += _choices(source, inside)
            switched.group_of.update((number, ALWAYS) for number, _ in inside)
    parts, at = [f'#include "mutant_switch.h"\n#line 1 "{source.path}"\n'], 0
    for start, end, new in sorted(edits):
        parts += [source.text[at:start], new]
        at = end
    switched.text = "".join([*parts, source.text[at:]])
    return switched, group


def _choices(source, mutants):
    """One choice for all the mutants of a literal."""
    places = {}
    for number, mutant in mutants:
        start, end = _literal_at(source, mutant)
        new = source.text[start:mutant.start] + mutant.new + source.text[mutant.end:end]
        places.setdefault((start, end), []).append((number, new))
    for (start, end), here in places.items():
        chosen = source.text[start:end]
        for number, new in here:
            chosen = f"(::mutant_switch::Is({number}) ? {new} : {chosen})"
        yield start, end, chosen


def _literal_at(source, mutant):
    """From start to end: strings side by side are one literal."""
    start, end = mutant.start, mutant.end
    if mutant.kind == "text":
        at = next(i for i, token in enumerate(source.tokens) if token.start == mutant.start)
        first = last = at
        while source.tokens[first - 1].kind == "string":
            first -= 1
        while source.tokens[last + 1].kind == "string":
            last += 1
        start, end = source.tokens[first].start, source.tokens[last].end
    return start, end


def _body_of_all(source, body, inside, group):
    line = source.line_number(body.start)
    text = source.text[body.start:body.end]
    parts = [f"{{ switch (__builtin_is_constant_evaluated() ? 0 : ::mutant_switch::Which({group})) {{"]
    for number, mutant in inside:
        damaged = (text[:mutant.start - body.start] + mutant.new
                   + text[mutant.end - body.start:])
        parts.append(f'case {number}:\n#line {line} "mutant-{number}"\n{damaged} break;')
    parts.append(f'default:\n#line {line} "{source.path}"\n{text} break;')
    after = source.line_number(body.end)
    parts.append(f'}} }}\n#line {after} "{source.path}"\n')
    return "\n".join(parts)
