# SPDX-License-Identifier: MIT
"""The list of survivors that are known and accepted, each with its reason.

Four lines a mutant, an empty line between two:

    flashmcu/Source.cpp
    the source line, without the blanks around it
    OLD -> NEW            as the run prints it; * stands for any characters
    why no test can or need see it
"""

from dataclasses import dataclass
from fnmatch import fnmatchcase


@dataclass(frozen=True)
class Explanation:
    path: str
    line_text: str
    change: str
    reason: str

    def fits(self, mutant):
        return (
            self.path == mutant.path
            and self.line_text == mutant.line_text
            and fnmatchcase(mutant.change, self._pattern())
        )

    def _pattern(self):
        # Only the star is special.
        return "".join(f"[{c}]" if c in "[]?" else c for c in self.change)


def read_explanations(path):
    lines = [line.strip() for line in path.read_text(encoding="utf-8").splitlines()]
    lines = [line for line in lines if not line.startswith("##")]
    blocks = [block.split("\n") for block in "\n".join(lines).split("\n\n")]
    explanations = []
    for block in blocks:
        block = [line for line in block if line]
        if not block:
            continue
        if len(block) < 4:
            raise ValueError(f"{path}: four lines are wanted where this stands: {block}")
        explanations.append(Explanation(block[0], block[1], block[2], " ".join(block[3:])))
    return explanations
