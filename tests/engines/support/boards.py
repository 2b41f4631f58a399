# SPDX-License-Identifier: MIT
"""Boards and images of the tests: made and looked at by `vboard` alone."""

import fcntl
import json
import os
import shlex
import subprocess

from support.sandbox import WORK

ROOT = os.path.realpath(os.path.join(os.path.dirname(__file__), "../../.."))
BLINKY = f"{ROOT}/examples/blinky/blinky.hex"
BIG = f"{ROOT}/examples/big/big.hex"

MAIN_FIRST, MAIN_LAST = 0x2100, 0xFFFF
"""Main memory of the boards' chips; both ends included."""


class Builds:
    """Where the programs under test stand; set once from the command line."""

    folder = f"{ROOT}/build"

    @classmethod
    def program(cls, name):
        return f"{cls.folder}/bin/{name}"


def memory_of_hex(text):
    """Main memory as Intel HEX describes it, 0xFF where it says nothing."""
    memory = bytearray(b"\xff" * (MAIN_LAST + 1))
    for line in text.split():
        record = bytes.fromhex(line[1:])
        count, address, kind = record[0], int.from_bytes(record[1:3], "big"), record[3]
        if kind == 0:
            memory[address : address + count] = record[4 : 4 + count]
    return bytes(memory[MAIN_FIRST:])


def read(path):
    with open(path, encoding="utf-8", errors="replace") as file:
        return file.read()


def write(path, text):
    os.makedirs(os.path.dirname(path) or ".", exist_ok=True)
    with open(path, "w", encoding="utf-8") as file:
        file.write(text)


def image(path, changes, base=BLINKY):
    """Writes a copy of an image with other bytes: `changes` maps an address to the bytes from there on.

    The rows of the result have sixteen bytes, those that hold 0xFF alone are left out.
    """
    memory = bytearray(memory_of_hex(read(base)))
    for address, values in changes.items():
        memory[address - MAIN_FIRST : address - MAIN_FIRST + len(values)] = values
    lines = []
    for offset in range(0, len(memory), 16):
        row = bytes(memory[offset : offset + 16])
        if row != b"\xff" * 16:
            lines.append(_record(MAIN_FIRST + offset, 0, row))
    write(path, "\n".join([*lines, _record(0, 1, b"")]) + "\n")
    return path


def versioned(path, version, base=BLINKY):
    """An image like `base` that has this version."""
    return image(path, {0x2100: version.to_bytes(2, "little")}, base)


def damaged(path):
    """An image with a wrong check sum in its second line."""
    lines = read(BLINKY).splitlines()
    lines[1] = lines[1][:-2] + f"{int(lines[1][-2:], 16) ^ 1:02X}"
    write(path, "\n".join(lines) + "\n")
    return path


def _record(address, kind, data):
    body = bytes([len(data)]) + address.to_bytes(2, "big") + bytes([kind]) + data
    return f":{body.hex().upper()}{-sum(body) & 0xFF:02X}"


class Board:
    """A board in a file of its own, and the command line that reaches `flashguard` on it."""

    def __init__(self, name, *options, image_path=None):
        self.path = f"{WORK}/{name}.board"
        words = [Builds.program("vboard"), "new", self.path, *options]
        subprocess.run(words + (["--image", image_path] if image_path else []), check=True)

    def command(self, *run_options, program_options=()):
        """What a configuration names as its `flashguard`: the words of a shell's command line."""
        return shlex.join([Builds.program("vboard"), "run", "--quiet", "--board", self.path, *run_options, "--",
                           Builds.program("flashguard"), *program_options])

    def memory(self):
        return memory_of_hex(self._vboard("dump"))

    def shown(self):
        return json.loads(self._vboard("show", "--json"))

    def version(self):
        return self.shown()["version"]

    def holds(self, image_path):
        return self.memory() == memory_of_hex(read(image_path))

    def runs_nothing(self):
        """Whether the reset vector is erased, so that a reset starts nothing."""
        return self.memory()[-2:] == b"\xff\xff"

    def is_left_alone(self):
        """Whether no line is driven, exported or switched."""
        shown = self.shown()
        return not shown["tristate"] and not any(line["exported"] for line in shown["lines"].values())

    def flashguard(self, *words, run_options=()):
        """Runs `flashguard` with these words on the board."""
        return subprocess.run(shlex.split(self.command(*run_options)) + list(words), text=True,
                              capture_output=True, check=False)

    def _vboard(self, command, *options):
        words = [Builds.program("vboard"), command, *options, self.path]
        return subprocess.run(words, check=True, text=True, capture_output=True).stdout


class HaltedRun:
    """A run that stands still in mid-update, without a clock: nobody reads on in its transcript.

    The transcript goes into a pipe that holds a page, in front of which the board gathers some more, so
    that only a big image will do. Use `option` among the run's, start the engine, and `wait_for` a line:
    the run stands still some thousand lines behind it.
    """

    def __init__(self, name):
        self.path = f"{WORK}/{name}.transcript"
        os.mkfifo(self.path)
        self.option = ("--transcript", self.path)
        # Open at both ends, so that the pipe stays and a run ends without an end of the file.
        self._file = open(self.path, "r+b", buffering=0)
        fcntl.fcntl(self._file, fcntl.F_SETPIPE_SZ, 4096)
        self._seen = ""

    def wait_for(self, text):
        """Reads until this text has come, if need be from one run after the other."""
        while text not in self._seen:
            self._seen += self._file.read(512).decode()

    def go_on(self):
        """Lets the run go to its end, and waits for that."""
        with open(self.path, "rb", buffering=0) as end:
            self._file.close()
            while end.read(65536):
                pass
