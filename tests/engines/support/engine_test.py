# SPDX-License-Identifier: MIT
"""What the tests of all engines share: the two images, the configuration, what is judged in the end."""

import contextlib
import os
import shutil
import signal
import subprocess
import sys
import unittest

from support.boards import BIG, BLINKY, ROOT, Builds, damaged, read, versioned, write
from support.sandbox import WORK, run_in_sandbox

OLD = BLINKY
OLD_VERSION = 0x1234
NEW_VERSION = 0x1235

CONFIGURATION = "/etc/flashguard/engine.conf"


class EngineTest(unittest.TestCase):
    """Each test begins with an empty work folder in a machine of its own making."""

    longMessage = True

    def setUp(self):
        shutil.rmtree(WORK, ignore_errors=True)
        os.makedirs(WORK)
        os.chdir(WORK)
        self.new = versioned(f"{WORK}/new.hex", NEW_VERSION)
        self.big = versioned(f"{WORK}/big.hex", NEW_VERSION, BIG)
        self.bad = damaged(f"{WORK}/bad.hex")

    def configure(self, command):
        """Names the program that the engines call."""
        write(CONFIGURATION, f'FLASHGUARD="{command}"\n')

    def run_program(self, *words, status=0, **options):
        """Runs a program that has to end with this status; None takes any. Returns what it said."""
        ended = subprocess.run(words, stdin=subprocess.DEVNULL, stdout=subprocess.PIPE,
                               stderr=subprocess.STDOUT, text=True, errors="replace", check=False, **options)
        if status is not None:
            self.assertEqual(ended.returncode, status, f"{' '.join(words)}\n{ended.stdout}")
        return ended.stdout

    def start_program(self, *words, log="background.log"):
        """Starts a program that goes on beside the test, as the leader of a group of processes.

        What it says goes to the file `log`, since processes that outlive it may hold on to its output.
        """
        with open(log, "w", encoding="utf-8") as output:
            program = subprocess.Popen(words, stdin=subprocess.DEVNULL, stdout=output, stderr=output,
                                       start_new_session=True)
        self.addCleanup(self.end_program, program)
        return program

    @staticmethod
    def end_program(program):
        """Kills it with its group, if it is still there."""
        with contextlib.suppress(ProcessLookupError):
            os.killpg(program.pid, signal.SIGKILL)
        program.wait()

    def assert_proved(self, board, image):
        """`flashguard` says that the image is there, the board's file holds it, nothing is held."""
        ended = board.flashguard("verify", image)
        self.assertEqual(ended.returncode, 0, ended.stderr)
        self.assertTrue(board.holds(image), "flashguard called it equal, but the chip holds something else")
        self.assertTrue(board.is_left_alone(), "lines are held")

    def assert_whole_or_nothing(self, board, *images):
        """The chip holds one of the images whole, or nothing that a reset would start."""
        if not any(board.holds(image) for image in images):
            self.assertTrue(board.runs_nothing(), "a part of an image, with a reset vector")


def run_tests():
    """main of a file of tests: FILE [--build FOLDER] [unittest's options]."""
    if "--build" in sys.argv:
        at = sys.argv.index("--build")
        Builds.folder = os.path.realpath(sys.argv[at + 1])
        del sys.argv[at : at + 2]
    run_in_sandbox(lambda: 0 if unittest.main(exit=False).result.wasSuccessful() else 1)


def install_package(name):
    """Lays a Debian package's files where it does, by what debian/NAME.install says."""
    for line in read(f"{ROOT}/debian/{name}.install").splitlines():
        source, folder = line.split()
        os.makedirs(f"/{folder}", exist_ok=True)
        shutil.copy(f"{ROOT}/{source}", f"/{folder}")
