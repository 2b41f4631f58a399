# SPDX-License-Identifier: MIT
"""Runs inside of a booted machine: the board on pseudo-terminals, and what is done to its unit.

    booted-trial.py BRDA|BRDC

Started by systemd before the unit of that board. Says each step, ends with "BOARD: all as it should
be", and switches the machine off.
"""

import os
import pathlib
import socket
import subprocess
import sys
import time

import namespace
from fake_board import ERASED, FakeBoard, application

BOARD = sys.argv[1]
UNIT = f"flashmcu@{BOARD}.service"
PORT, LINES = {"BRDA": ("/dev/ttyS1", (90, 86, 91)), "BRDC": ("/dev/ttymxc1", (104, 6, 5))}[BOARD]
COMM = "/dev/knxspi"
RESET = pathlib.Path(namespace.GPIO, f"gpio{LINES[0]}/value")
MARKER = pathlib.Path(f"/var/lib/flashmcu/{BOARD}.unfinished")
DROP_IN = pathlib.Path(f"/run/systemd/system/{UNIT}.d/limit.conf")
VERSION_QUERY = b"\x02\xb4\x00"
WAIT_S = 60


def image_bytes():
    memory = bytearray(ERASED)
    for record in pathlib.Path("/given/blinky.hex").read_text().split():
        data = bytes.fromhex(record[1:])
        if data[3] == 0:
            address = int.from_bytes(data[1:3], "big")
            memory[address : address + data[0]] = data[4:-1]
    return memory


def ready():
    with socket.socket(socket.AF_UNIX, socket.SOCK_DGRAM) as notify:
        notify.connect(os.environ["NOTIFY_SOCKET"])
        notify.send(b"READY=1")


def systemctl(*words):
    return subprocess.run(["systemctl", *words], capture_output=True, text=True, check=False).stdout


def until(is_so, what):
    end = time.monotonic() + WAIT_S
    while not is_so():
        if time.monotonic() > end:
            expect(False, what)
        time.sleep(0.05)


def expect(is_so, what):
    if not is_so:
        print(f"{BOARD}: not so: {what}")
        print(systemctl("status", "--no-pager", "-n", "40", UNIT), flush=True)
        raise SystemExit(1)


def result():
    """How the unit stands, once it stands still."""
    shown = {}

    def settled():
        for line in systemctl("show", "-p", "ActiveState,Result", UNIT).splitlines():
            name, value = line.split("=", 1)
            shown[name] = value
        return shown["ActiveState"] in ("active", "failed", "inactive")

    until(settled, "the unit comes to an end")
    return shown["ActiveState"], shown["Result"]


def say(step):
    print(f"{BOARD}: {step}", flush=True)


class Trial:
    def __init__(self):
        self.board = FakeBoard(application(256))
        self.blocks = 0
        self.board.on_frame = self.count
        for path, target in ((PORT, self.board.port), (COMM, self.board.comm)):
            os.symlink(target, path)

    def count(self, command):
        self.blocks += command == 0x12

    def begin(self, memory):
        """The unit is stopped, which touches nothing, and the chip holds this."""
        heard = self.board.heard_on_port
        systemctl("stop", UNIT)
        systemctl("reset-failed", UNIT)
        expect(self.board.heard_on_port == heard, "the end of a run that ended well touches nothing")
        self.board.memory[:] = memory
        self.board.heard_on_port = self.board.heard_on_comm = b""
        self.blocks = 0

    def expect_done(self):
        expect(result() == ("active", "success"), "the unit has ended well")
        expect(self.board.memory == image_bytes(), "the chip holds the image")
        expect(not MARKER.exists(), "no marker is left")

    def expect_programmed_unasked(self):
        """The next start, behind a run that was cut short."""
        self.board.heard_on_comm = b""
        systemctl("reset-failed", UNIT)
        systemctl("start", UNIT)
        self.expect_done()
        expect(self.board.heard_on_comm == VERSION_QUERY, "the version is asked at the end alone")

    def done(self):
        self.expect_done()
        say("done at boot")
        systemctl("restart", UNIT)
        expect(result() == ("active", "success"), "a chip that is current is left alone")

    def silent_chip(self):
        DROP_IN.parent.mkdir(parents=True)
        DROP_IN.write_text("[Service]\nTimeoutStartSec=4s\nTimeoutStopSec=2s\n")
        systemctl("daemon-reload")
        self.begin(application(256))
        self.board.silent = True
        systemctl("start", UNIT)
        expect(result() == ("failed", "timeout"), "a silent chip ends in the time limit")
        expect(MARKER.exists(), "the marker stays")
        say("silent chip: time limit, failed")
        self.board.silent = False
        DROP_IN.unlink()
        systemctl("daemon-reload")
        self.expect_programmed_unasked()
        say("started again: programmed whatever the chip reports")

    def cut_short(self):
        self.begin(application(256))
        systemctl("start", "--no-block", UNIT)
        until(lambda: self.blocks >= 3, "blocks are written")
        systemctl("kill", "-s", "KILL", UNIT)
        expect(result() == ("failed", "signal"), "a killed run is a failure")
        expect(MARKER.exists(), "the marker stays")
        expect(RESET.read_text() == "0", "the chip is not left in reset")
        say("cut short: failed, and the chip let go")
        # What a half-written chip may report.
        self.board.memory[:] = application(0x1234)
        self.expect_programmed_unasked()
        say("started again: programmed although the chip reports the version")


def main():
    subprocess.run(["mount", "-t", "tmpfs", "none", "/sys/class"], check=True)
    namespace.make_lines(namespace.GPIO, LINES)
    trial = Trial()
    with trial.board.serving():
        ready()
        trial.done()
        if BOARD == "BRDA":
            trial.silent_chip()
            trial.cut_short()
    say("all as it should be")


if __name__ == "__main__":
    try:
        main()
    finally:
        systemctl("poweroff", "--force")
