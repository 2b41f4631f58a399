#!/usr/bin/python3
# SPDX-License-Identifier: MIT
"""The machine that each test makes for itself: however it ends, nothing of it is left."""

import glob
import os
import select
import signal
import subprocess
import sys
import unittest

from support.sandbox import run_in_sandbox

_MARK = "3141592"
"""In the name of all that a busy test leaves; it is a number of seconds, too."""


def _busy_test():
    """Leaves what a careless test would: a file, mounts, a loop device and a process that outlives it."""
    if os.geteuid() == 0:
        # As RAUC mounts a bundle: with a loop device that goes when the mount does.
        subprocess.run(["sh", "-ec", f"truncate -s 1M {_MARK}.img; mkfs.ext2 -q {_MARK}.img; mkdir at;"
                                     f"mount -o loop {_MARK}.img at"], check=True)
    subprocess.run(["mount", "-t", "tmpfs", _MARK, "/tmp"], check=True)
    with open(f"/etc/{_MARK}", "w", encoding="utf-8"):
        pass
    subprocess.Popen(["setsid", "sleep", _MARK], stdout=subprocess.DEVNULL, stderr=subprocess.DEVNULL)
    print("ready", flush=True)
    if "--stay" in sys.argv:
        signal.pause()
    return 7


def _left():
    """What is there of busy tests, anywhere on this machine."""
    patterns = ("/proc/[0-9]*/cmdline", "/sys/block/loop*/loop/backing_file", "/proc/self/mountinfo")
    return [path for pattern in patterns for path in glob.glob(pattern) if _MARK in _content(path)] + glob.glob(
        f"/etc/{_MARK}")


def _content(path):
    try:
        with open(path, encoding="utf-8", errors="replace") as file:
            return file.read()
    except OSError:
        return ""


def _comes_true(condition):
    """Looks again for ten seconds at most: the kernel ends and starts processes in its own time."""
    for _ in range(1000):
        if condition():
            return True
        select.select([], [], [], 0.01)
    return False


class SandboxTest(unittest.TestCase):
    def busy(self, *options):
        test = subprocess.Popen([sys.executable, "-B", __file__, "--busy", *options], stdout=subprocess.PIPE)
        self.addCleanup(test.stdout.close)
        self.addCleanup(test.wait)
        # One that stays would be waited for without end where a check of it fails.
        self.addCleanup(test.kill)
        return test

    def test_what_a_test_leaves_is_gone_when_it_ends_and_its_status_is_kept(self):
        test = self.busy()
        test.stdout.read()
        self.assertEqual(test.wait(), 7)
        self.assertEqual(_left(), [])

    def test_what_a_test_leaves_is_there_until_its_end(self):
        test = self.busy("--stay")
        self.assertEqual(test.stdout.readline(), b"ready\n")
        self.assertTrue(_comes_true(lambda: "cmdline" in " ".join(_left())), _left())

    def test_what_a_test_leaves_is_gone_when_it_is_interrupted_or_killed(self):
        for number in (signal.SIGINT, signal.SIGTERM, signal.SIGHUP, signal.SIGKILL):
            with self.subTest(number.name):
                test = self.busy("--stay")
                self.assertEqual(test.stdout.readline(), b"ready\n")
                test.send_signal(number)
                self.assertIn(test.wait(), (128 + number, -number))
                self.assertTrue(_comes_true(lambda: not _left()), _left())


if __name__ == "__main__":
    if "--busy" in sys.argv:
        run_in_sandbox(_busy_test)
    unittest.main(argv=sys.argv[:1])
