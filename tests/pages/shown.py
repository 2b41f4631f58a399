# SPDX-License-Identifier: MIT
"""What the pages show: blocks, and the commands in them and in their prose."""

import pathlib
import re
from typing import NamedTuple

_PROGRAMS = set(
    "ansible ansible-playbook apt-get bash bitbake cat cc clang-format cmake cp ctest dpkg dpkg-buildpackage "
    "export flashguard flashmcu fleet-report flock git grep install kill make man mender mender-artifact mkdir "
    "objcopy openssl printf python3 rauc sed sh sigrok-cli srec_cat stty sudo swupdate systemctl timeout udevadm "
    "unshare vboard".split())
_FOLDERS = ("./", "build/bin/", "examples/", "integrations/", "scripts/")

_FENCE = re.compile(r"^ *```(\S*)(?: \S+)?$")


class Block(NamedTuple):
    """`kind` is the word behind a fence, or "indented"."""

    line: int
    kind: str
    lines: list


def pages(root):
    """All pages, as paths below `root`."""
    root = pathlib.Path(root)
    found = [*root.glob("*.md"), *root.glob("docs/**/*.md"), *root.glob("examples/**/*.md"),
             *root.glob("integrations/**/*.md"), *root.glob("man/*.scd")]
    return sorted(str(path.relative_to(root)) for path in found if path.name != "chart-license.md")


def blocks(text):
    """The fenced blocks, and those behind four blanks with an empty line before them."""
    lines, found, at = text.splitlines(), [], 0
    while at < len(lines):
        begin, fence = at, _FENCE.match(lines[at])
        if fence:
            at = next(end for end in range(begin + 1, len(lines)) if _FENCE.match(lines[end]))
            found.append(Block(begin + 1, fence[1], [line.strip() for line in lines[begin + 1 : at]]))
        elif lines[at].startswith("    ") and (at == 0 or not lines[at - 1].strip()):
            while at + 1 < len(lines) and (lines[at + 1].startswith("    ") or _goes_on(lines, at + 1)):
                at += 1
            found.append(Block(begin + 1, "indented", [line[4:] for line in lines[begin : at + 1]]))
        at += 1
    return found


def _goes_on(lines, at):
    """Whether an empty line stands between two indented ones."""
    return not lines[at].strip() and at + 1 < len(lines) and lines[at + 1].startswith("    ")


def prose(text):
    """The page without its blocks, line for line."""
    lines = text.splitlines()
    for block in blocks(text):
        fences = 0 if block.kind == "indented" else 2
        for at in range(block.line - 1, block.line - 1 + len(block.lines) + fences):
            lines[at] = ""
    return "\n".join(lines)


def commands_in(block):
    """The lines of a block that are commands, continued ones joined, without what is said behind them."""
    lines, joined = [], ""
    for line in block.lines:
        if line.endswith("\\"):
            joined += line[:-1].strip() + " "
        else:
            lines.append(_before_comment(joined + (line.strip() if joined else line)))
            joined = ""
    return [line for line in lines if _is_command(line)]


def _before_comment(line):
    return re.split(r"  +#", line)[0].rstrip()


def _is_command(line):
    """Words with one blank between them, of which the first is a program; a drawing has more blanks."""
    words = line.split(" ")
    return "" not in words and _is_program(words[0])


def _is_program(word):
    return word in _PROGRAMS or (word.startswith(_FOLDERS) and len(word) > len("./"))


def commands_in_prose(text):
    """Code within a line that can be typed as it is: a program with an option, a path or a placeholder."""
    spans = (" ".join(span.split()) for span in re.findall(r"`([^`]+)`", prose(text)))
    return [span for span in dict.fromkeys(spans) if _is_command(span) and _is_whole(span)]


def _is_whole(span):
    return any(word.startswith("-") or "/" in word or "." in word or word.isupper()
               for word in span.split(" ")[1:])


def section_of(text, command):
    """What stands below the heading over the command; the page's beginning counts for all of it."""
    parts = re.split(r"^#", text, flags=re.MULTILINE)
    return "\n".join([*parts[:2], *(part for part in parts[2:] if command in " ".join(part.split()))])
