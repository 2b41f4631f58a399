# SPDX-License-Identifier: MIT
"""A C++ source cut into tokens, and the places where it may be damaged."""

import re
from dataclasses import dataclass

_TOKEN = re.compile(
    r"""
    (?P<comment>//[^\n]*|/\*.*?\*/)
  | (?P<directive>^[ ]*\#[^\n]*)
  | (?P<asserted>\bstatic_assert\((?:"(?:\\.|[^"\\\n])*"|[^";])*;)
  | (?P<string>"(?:\\.|[^"\\\n])*")
  | (?P<character>'(?:\\.|[^'\\\n])+')
  | (?P<number>\b(?:0[xX][0-9a-fA-F']+|[0-9][0-9']*)(?:[uUlL]*)\b)
  | (?P<word>[A-Za-z_]\w*)
  | (?P<operator><<=|>>=|\+\+|--|->|::|&&|\|\||==|!=|<=|>=|\+=|-=|\|=|&=|<<|>>|[-+*/%&|^~!<>=?:;,.(){}\[\]])
  | (?P<space>\s+)
  """,
    re.VERBOSE | re.DOTALL | re.MULTILINE,
)


@dataclass(frozen=True)
class Token:
    kind: str
    text: str
    start: int

    @property
    def end(self):
        return self.start + len(self.text)


class Source:
    """One source file: its text, and its tokens without comments, directives and blanks, nor what
    the compiler alone looks at: no program has a static_assert in it that a test could watch."""

    def __init__(self, path, text):
        self.path = path
        self.text = text
        self.tokens = [
            Token(match.lastgroup, match.group(), match.start())
            for match in _TOKEN.finditer(text)
            if match.lastgroup not in ("comment", "directive", "asserted", "space")
        ]

    def line_number(self, offset):
        return self.text.count("\n", 0, offset) + 1

    def line_text(self, offset):
        """The line at `offset` without the blanks around it; one that only leaves a block stands in
        many places, so the line before it belongs to it."""
        lines = self.text.split("\n")
        at = self.line_number(offset) - 1
        text = lines[at].strip()
        if at > 0 and text in ("return false;", "return true;", "continue;", "break;"):
            text = f"{lines[at - 1].strip()} {text}"
        return text

    def closing(self, index):
        """The index of the token that closes the parenthesis or brace at `index`."""
        pairs = {"(": ")", "{": "}", "[": "]"}
        opening, closing = self.tokens[index].text, pairs[self.tokens[index].text]
        depth = 0
        for at in range(index, len(self.tokens)):
            if self.tokens[at].text == opening:
                depth += 1
            elif self.tokens[at].text == closing:
                depth -= 1
                if depth == 0:
                    return at
        raise ValueError(f"{self.path}: nothing closes the {opening} at {self.tokens[index].start}")

    def statements(self):
        """Spans (first, last) of token indices: calls and assignments that end in a semicolon, in
        order. What begins with a keyword or declares something is left out."""
        spans = []
        first = 0
        depth = 0
        for index, token in enumerate(self.tokens):
            if token.text in "([":
                depth += 1
            elif token.text in ")]":
                depth -= 1
            elif depth == 0 and token.text in "{}":
                first = index + 1
            elif depth == 0 and token.text == ";":
                if self._is_plain(first, index):
                    spans.append((first, index))
                first = index + 1
        return spans


    def _is_plain(self, first, last):
        texts = [token.text for token in self.tokens[first:last]]
        if not texts or texts[0] in _KEYWORDS:
            return texts in (["continue"], ["break"])
        if texts[0] in ("++", "--", "("):
            return True
        # A name, perhaps with a path to it, then a call or an assignment: no declaration, whose
        # type and name stand side by side.
        at = 0
        while at + 2 < len(texts) and texts[at + 1] in (".", "->", "::"):
            at += 2
        return at + 1 < len(texts) and texts[at + 1] in _AFTER_TARGET


_KEYWORDS = frozenset(
    "return if else for while do switch case default const constexpr static using namespace class "
    "struct enum public private protected template typename inline extern auto bool int unsigned "
    "char short long void break continue goto".split()
)
_AFTER_TARGET = frozenset(["(", "=", "+=", "-=", "|=", "&=", "<<=", ">>=", "++", "--", "["])
