# SPDX-License-Identifier: MIT
"""The kinds of damage. Each yields (start, end, replacement) for places in a source."""

import re
from collections import Counter
from dataclasses import dataclass, replace

from .source import Source


@dataclass(frozen=True)
class Mutant:
    path: str
    line: int
    line_text: str
    kind: str
    start: int
    end: int
    old: str
    new: str
    occurrence: int = 1

    @property
    def change(self):
        """One line that tells it from every other mutant of its line."""
        number = f" #{self.occurrence}" if self.occurrence > 1 else ""
        return f"{_short(self.old)} -> {_short(self.new)}{number}"

    def apply(self, text):
        return text[: self.start] + self.new + text[self.end :]


def _short(text):
    text = re.sub(r"\s+", " ", text).strip()
    return text if text else "nothing"


_SWAPPED_OPERATORS = {
    "==": ("!=",),
    "!=": ("==",),
    "<=": ("<", ">"),
    ">=": (">", "<"),
    "&&": ("||",),
    "||": ("&&",),
    "++": ("--",),
    "--": ("++",),
    "+=": ("-=",),
    "-=": ("+=",),
    "|=": ("&=",),
    "&=": ("|=",),
    "<<": (">>",),
    ">>": ("<<",),
}
# These have other meanings besides (templates, references, pointers, signs): only where the
# formatter has put a blank on either side are they what they seem.
_SWAPPED_BETWEEN_BLANKS = {
    "<": ("<=", ">="),
    ">": (">=", "<="),
    "+": ("-",),
    "-": ("+",),
    "*": ("/",),
    "/": ("*",),
    "%": ("*",),
    "|": ("&",),
    "&": ("|",),
    "^": ("&",),
}
_SWAPPED_WORDS = {
    "true": "false",
    "false": "true",
    "O_RDWR": "O_RDONLY",
    "O_NOCTTY": "0",
    "TCSANOW": "TCSADRAIN",
    "CREAD": "0U",
    "CLOCAL": "0U",
    "PARENB": "PARODD",
    "PARODD": "PARENB",
    "CSTOPB": "CRTSCTS",
    "CRTSCTS": "CSTOPB",
    "kLogError": "kLogWarn",
    "kLogWarn": "kLogError",
    "kLogInfo": "kLogVerbose",
    "kLogVerbose": "kLogInfo",
    "kSuccess": "kFailure",
    "kFailure": "kSuccess",
    "kNoPauseUs": "1000",
    "kLineSettleUs": "kNoPauseUs",
    "tckGpio": "rxdNmiGpio",
    "rxdNmiGpio": "resetGpio",
    "resetGpio": "tckGpio",
    "programmingPort": "communicationPort",
    "communicationPort": "programmingPort",
}


def _numbers(source):
    for token in source.tokens:
        if token.kind != "number":
            continue
        digits = token.text.rstrip("uUlL")
        suffix = token.text[len(digits) :]
        plain = digits.replace("'", "")
        value = int(plain, 16 if plain.lower().startswith("0x") else 10)
        for other in (value + 1, value - 1):
            if other >= 0:
                shown = f"0x{other:X}" if plain.lower().startswith("0x") else str(other)
                yield token.start, token.end, shown + suffix


def _strings(source):
    for token in source.tokens:
        if token.kind == "string":
            yield token.start, token.end, f'"{_with_another_first_character(token.text[1:-1])}"'
        elif token.kind == "character":
            yield token.start, token.end, "'~'"


def _with_another_first_character(inner):
    return "~" + re.sub(r"^(\\.|.)", "", inner)


def _operators(source):
    text = source.text
    for token in source.tokens:
        if token.kind != "operator":
            continue
        news = _SWAPPED_OPERATORS.get(token.text, ())
        if token.text in _SWAPPED_BETWEEN_BLANKS:
            if text[token.start - 1] in " \n" and text[token.end] in " \n":
                news = _SWAPPED_BETWEEN_BLANKS[token.text]
        for new in news:
            yield token.start, token.end, new


def _words(source):
    for token in source.tokens:
        if token.kind == "word" and token.text in _SWAPPED_WORDS:
            yield token.start, token.end, _SWAPPED_WORDS[token.text]


def _is_flipped_anyway(tokens):
    """Its only comparison or its leading ! is a mutant of its own, which is the same."""
    texts = [token.text for token in tokens]
    if "&&" in texts or "||" in texts:
        return False
    return texts[0] == "!" or "==" in texts or "!=" in texts


def _conditions(source):
    """if (X), while (X) and X ? a : b negated; a ! taken away."""
    for index, token in enumerate(source.tokens[:-1]):
        if token.text in ("if", "while") and source.tokens[index + 1].text == "(":
            closing = source.closing(index + 1)
            start, end = source.tokens[index + 1].end, source.tokens[closing].start
            if not _is_flipped_anyway(source.tokens[index + 2 : closing]):
                yield start, end, f"!({source.text[start:end]})"
        elif token.text == "?":
            yield token.start, token.end, "== 0 ?"
        elif token.text == "!":
            yield token.start, token.end, ""


def _lines_kept(text):
    return "\n" * text.count("\n")


def _removed_statements(source):
    """Lines stay where they are: log lines carry their numbers."""
    for first, last in source.statements():
        start, end = source.tokens[first].start, source.tokens[last].end
        yield start, end, ";" + _lines_kept(source.text[start:end])


def _assigns(source, span):
    return any(token.text == "=" for token in source.tokens[span[0] : span[1]])


def _swapped_statements(source):
    spans = source.statements()
    for one, other in zip(spans, spans[1:]):
        if other[0] != one[1] + 1:
            continue
        start, end = source.tokens[one[0]].start, source.tokens[other[1]].end
        first = source.text[start : source.tokens[one[1]].end]
        second = source.text[source.tokens[other[0]].start : end]
        between = source.text[source.tokens[one[1]].end : source.tokens[other[0]].start]
        # Two assignments mean the same in either order unless one reads what the other writes,
        # which the tool has nowhere.
        if first != second and not (_assigns(source, one) and _assigns(source, other)):
            yield start, end, second + between + first


def _returns(source):
    """return X; answers the other thing, where X is more than one word."""
    for index, token in enumerate(source.tokens):
        if token.text != "return" or source.tokens[index + 1].text in (";", "true", "false"):
            continue
        last = index
        while source.tokens[last].text != ";":
            last += 1
        start, end = source.tokens[index + 1].start, source.tokens[last].start
        if not _is_flipped_anyway(source.tokens[index + 1 : last]):
            yield start, end, f"!({source.text[start:end]})"


KINDS = {
    "number": _numbers,
    "text": _strings,
    "operator": _operators,
    "word": _words,
    "condition": _conditions,
    "removed": _removed_statements,
    "swapped": _swapped_statements,
    "return": _returns,
}


def mutants_of(path, text):
    """All mutants of a source, in the order of the text."""
    source = Source(path, text)
    found = []
    for kind, places in KINDS.items():
        for start, end, new in places(source):
            old = text[start:end]
            if old != new:
                found.append(
                    Mutant(path, source.line_number(start), source.line_text(start), kind, start,
                           end, old, new)
                )
    found.sort(key=lambda mutant: (mutant.start, mutant.end, mutant.kind, mutant.new))
    return _numbered(found)


def _numbered(mutants):
    """Changes that read the same in one line are told apart by their number."""
    seen = Counter()
    numbered = []
    for mutant in mutants:
        seen[mutant.line, mutant.change] += 1
        numbered.append(replace(mutant, occurrence=seen[mutant.line, mutant.change]))
    return numbered
