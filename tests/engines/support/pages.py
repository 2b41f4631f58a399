# SPDX-License-Identifier: MIT
"""What a page shows: the files and commands in its fenced blocks."""

import os
import re
import shutil
import subprocess

from support.boards import BLINKY, ROOT, read, write

_BLOCK = re.compile(r"^```(\S*)(?: (\S+))?\n(.*?)^```$", re.MULTILINE | re.DOTALL)


def commands_of(name):
    """The commands that docs/engines/NAME.md shows in its blocks of kind "sh", one each."""
    return [command for kind, _, text in _blocks_of(name) if kind == "sh" for command in _commands(text)]


def file_of(name, path):
    """What docs/engines/NAME.md shows as the content of this file."""
    return next(text for _, shown, text in _blocks_of(name) if shown == path)


def run_page(name):
    """Does what docs/engines/NAME.md shows, in its order.

    A block of kind "sh" holds commands that have to end with 0, each on a line of its own or continued
    by a backslash. A block of another kind that names a path behind its kind is what that file holds.
    `blinky.hex` and the folder `integrations` are there.
    """
    # A page's commands begin in the repository's folder; here that is a folder that can be written.
    os.symlink(f"{ROOT}/integrations", "integrations")
    shutil.copy(BLINKY, ".")
    for kind, path, text in _blocks_of(name):
        if path:
            write(path, text)
        elif kind == "sh":
            for command in _commands(text):
                _run(command)


def _blocks_of(name):
    return _BLOCK.findall(read(f"{ROOT}/docs/engines/{name}.md"))


def _commands(text):
    return text.replace("\\\n", " ").splitlines()


def _run(command):
    ended = subprocess.run(["bash", "-c", command], stdin=subprocess.DEVNULL, stdout=subprocess.PIPE,
                           stderr=subprocess.STDOUT, text=True, check=False)
    if ended.returncode != 0:
        raise AssertionError(f"{command}\nended with {ended.returncode}:\n{ended.stdout}")
