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
"""Seconds, in a command line that nobody else has."""


def _busy_test():
    """Leaves what a careless test would: files, a mount, a loop device and a process that outlives it."""
    if os.geteuid() == 0:
        # As RAUC mounts a bundle: with a loop device that goes when the mount does.
        subprocess.run(["sh", "-ec", "truncate -s 1M disk; mkfs.ext2 -q disk; mkdir at; mount -o loop disk at"],
                       check=True)
    subprocess.run(["mount", "-t", "tmpfs", "left", "/tmp"], check=True)
    with open("/etc/left", "w", encoding="utf-8"):
        pass
    subprocess.Popen(["setsid", "sleep", _MARK], stdout=subprocess.DEVNULL, stderr=subprocess.DEVNULL)
    print("ready", flush=True)
    if "--stay" in sys.argv:
        signal.pause()
    return 7


def _processes():
    """Those that a busy test has started."""
    found = []
    for path in glob.glob("/proc/[0-9]*/cmdline"):
        try:
            with open(path, "rb") as file:
                if _MARK.encode() in file.read().split(b"\0"):
                    found.append(path)
        except (FileNotFoundError, ProcessLookupError):
            pass
    return found


def _machine():
    """What a test could leave behind."""
    with open("/proc/self/mountinfo", encoding="utf-8") as mounts:
        loops = glob.glob("/sys/block/loop*/loop/backing_file")
        return {"mounts": mounts.read(), "loops": loops, "file": os.path.exists("/etc/left"),
                "processes": _processes()}


class SandboxTest(unittest.TestCase):
    def busy(self, *options):
        return subprocess.Popen([sys.executable, "-B", __file__, "--busy", *options], stdout=subprocess.PIPE)

    def test_what_a_test_leaves_is_gone_when_it_ends_and_its_status_is_kept(self):
        before = _machine()
        with self.busy() as test:
            test.stdout.read()
        self.assertEqual(test.returncode, 7)
        self.assertEqual(_machine(), before)

    def test_what_a_test_leaves_is_gone_when_it_is_interrupted_or_killed(self):
        before = _machine()
        for number in (signal.SIGINT, signal.SIGTERM, signal.SIGHUP, signal.SIGKILL):
            with self.subTest(number.name), self.busy("--stay") as test:
                self.assertEqual(test.stdout.readline(), b"ready\n")
                test.send_signal(number)
                # At its end nobody is left who could write.
                test.stdout.read()
                test.wait()
                self.assertIn(test.returncode, (128 + number, -number))
                # The kernel ends the rest behind a killed test's back.
                for _ in range(1000):
                    if _machine() == before:
                        break
                    select.select([], [], [], 0.01)
                self.assertEqual(_machine(), before)


if __name__ == "__main__":
    if "--busy" in sys.argv:
        run_in_sandbox(_busy_test)
    unittest.main(argv=sys.argv[:1])
