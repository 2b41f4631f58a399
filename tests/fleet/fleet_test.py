#!/usr/bin/python3
# SPDX-License-Identifier: MIT
"""A rollout over a fleet with broken boards, by the real Ansible.

fleet_test.py [--build FOLDER] [--boards COUNT] [--seed NUMBER] [--once]
"""

import argparse
import json
import os
import re
import resource
import subprocess
import sys
import time
import unittest

sys.path.insert(0, os.path.join(os.path.dirname(os.path.realpath(__file__)), "../engines"))

from fleet import make_fleet, words, write_inventory  # noqa: E402
from support.boards import ROOT, Builds, read, versioned, write  # noqa: E402
from support.pages import commands_of, file_of  # noqa: E402
from support.sandbox import WORK, run_in_sandbox  # noqa: E402

_VERSION = 7
_WAVES = (5, 20, 100)
"""Percent of all boards."""
_LIMIT = 4
"""Percent of a wave that may fail in the first rollout."""

_FAILED = re.compile(r"^fatal: \[([^]]+)\]: FAILED! => (\{.*\})$", re.MULTILINE)


def _processor_seconds():
    """Of all processes that this one has waited for."""
    used = resource.getrusage(resource.RUSAGE_CHILDREN)
    return used.ru_utime + used.ru_stime


class Rollout:
    """One call of Ansible over the fleet: who failed with what, and what it took."""

    def __init__(self, folder, image, limit, waves=_WAVES):
        self.records = f"{folder}/records"
        os.makedirs(self.records, exist_ok=True)
        write("rollout.json", json.dumps({
            "image": image, "records": self.records, "limit": limit, "waves": [f"{wave}%" for wave in waves]}))
        write("rollout.yml", file_of("FLEET", "rollout.yml"))
        began, used = time.monotonic(), _processor_seconds()
        ended = subprocess.run(["bash", "-c", commands_of("FLEET")[0]], stdin=subprocess.DEVNULL,
                               capture_output=True, text=True, check=False)
        self.seconds, self.processor_seconds = time.monotonic() - began, _processor_seconds() - used
        self.output = ended.stdout + ended.stderr
        self.failed = {name: json.loads(result)["msg"] for name, result in _FAILED.findall(self.output)}
        self.reached = set(re.findall(r"^(?:ok|changed|fatal): \[([^]]+)\]", self.output, re.MULTILINE))


class FleetTest(unittest.TestCase):
    boards = 200
    seed = 113
    once = False

    def setUp(self):
        os.environ.update(ANSIBLE_LIBRARY=f"{ROOT}/integrations/ansible/roles/flashguard/library",
                          ANSIBLE_REMOTE_TEMP=f"{WORK}/ansible", ANSIBLE_PIPELINING="1", ANSIBLE_FORKS="4",
                          ANSIBLE_NOCOLOR="1", ANSIBLE_DEPRECATION_WARNINGS="0")
        self.image = versioned(f"{WORK}/image.hex", _VERSION)

    def fleet(self, name):
        folder = f"{WORK}/{name}"
        os.makedirs(folder)
        members = make_fleet(self.boards, self.seed, folder, self.image, _VERSION)
        for member in members:
            os.makedirs(f"{folder}/{member.name}")
        return folder, members

    def stopped_rollout(self, folder, members):
        """The first rollout. It stops behind the first wave with too many failures, and not before."""
        write_inventory("hosts", members, folder, with_cuts=True)
        before = {member.name: member.board.memory() for member in members}
        rollout = Rollout(folder, self.image, _LIMIT)
        rest = [member for member in members if member.name not in rollout.reached]
        self.assertTrue(rest, "it was to be stopped\n" + rollout.output[-3000:])
        for member in rest:
            self.assertEqual(member.board.memory(), before[member.name], member.name)
        begin = 0
        for wave in self.waves():
            names = [member.name for member in members[begin : begin + wave]]
            self.assertTrue(rollout.reached.issuperset(names), "it stopped within a wave")
            begin += wave
            if sum(name in rollout.failed for name in names) * 100 > _LIMIT * wave:
                break
        self.assertEqual(len(rollout.reached), begin, "it went on behind a wave with too many failures")
        return rollout

    def waves(self):
        left = self.boards
        for wave in _WAVES:
            size = min(left, max(1, self.boards * wave // 100))
            left -= size
            yield size

    def assert_named(self, members, rollout):
        """Each board that failed stands there with what flashguard says when it is called by hand."""
        for member in members:
            if member.kind in ("dead", "stuck") and member.name in rollout.reached:
                self.assertIn(member.name, rollout.failed)
            if member.kind == "sound":
                self.assertNotIn(member.name, rollout.failed, rollout.failed.get(member.name))
            if member.kind == "dead" and member.name in rollout.failed:
                ended = subprocess.run([*words(member, os.path.dirname(member.board.path)), "install", self.image],
                                       capture_output=True, text=True, check=False)
                self.assertEqual(rollout.failed[member.name], ended.stderr.splitlines()[0])

    def whole_rollout(self, folder, members, with_cuts, waves=_WAVES):
        """A rollout without limit: whoever did not fail has the image."""
        write_inventory("hosts", members, folder, with_cuts)
        rollout = Rollout(folder, self.image, 100, waves)
        self.assertEqual(rollout.reached, {member.name for member in members}, rollout.output[-3000:])
        for member in members:
            if member.name not in rollout.failed:
                self.assertTrue(member.board.holds(self.image), member.name)
            elif member.kind != "dead":
                self.assertTrue(member.board.runs_nothing(), member.name)
        self.assert_named(members, rollout)
        return rollout

    def last_rollout(self, folder, members, waves=_WAVES):
        """With power that stays: all boards that can get the image have it."""
        rollout = self.whole_rollout(folder, members, with_cuts=False, waves=waves)
        self.assertEqual([member.name for member in members if member.can_be_updated() and member.name in rollout.failed], [])
        return rollout

    def assert_reported(self, members, rollout):
        """The page about the second rollout counts all boards, and those that failed."""
        for name, target in (("integrations", f"{ROOT}/integrations"), ("records", rollout.records)):
            if os.path.lexists(name):
                os.remove(name)
            os.symlink(target, name)
        subprocess.run(["bash", "-c", commands_of("FLEET")[1]], check=True)
        figures = {what: int(count) for count, what in
                   re.findall(r'<div class="figure[^>]*><b>(\d+)</b>(\w+)</div>', read("report.html"))}
        self.assertEqual((figures["boards"], figures["failed"]), (len(members), len(rollout.failed)))

    def run_both(self, name):
        """A rollout that is stopped, and one over all boards. Returns what has to be equal the next time."""
        folder, members = self.fleet(name)
        first = self.stopped_rollout(folder, members)
        self.assert_named(members, first)
        second = self.last_rollout(folder, members)
        self.assert_reported(members, second)
        print(f"{self.boards} boards, seed {self.seed}: the first rollout reached {len(first.reached)} and "
              f"{len(first.failed)} failed, in {first.seconds:.1f} s; {self.words_about(second)}")
        return [(rollout.reached, rollout.failed) for rollout in (first, second)], members, folder

    def run_once(self):
        """One rollout over all boards, and one more over those that failed."""
        folder, members = self.fleet("once")
        rollout = self.whole_rollout(folder, members, with_cuts=True)
        failed = [member for member in members if member.name in rollout.failed]
        # A wave of which nobody comes through ends a rollout, whatever the limit is.
        again = self.last_rollout(folder, failed, waves=(100,))
        self.assert_reported(members, again)
        print(f"{self.boards} boards, seed {self.seed}: {self.words_about(rollout)}; "
              f"once more over these, {len(again.failed)} failed, in {again.seconds:.1f} s")
        return members, folder

    def words_about(self, rollout):
        return (f"{len(rollout.failed)} of all failed, in {rollout.seconds:.1f} s; a board took "
                f"{rollout.seconds / self.boards * 1000:.0f} ms and "
                f"{rollout.processor_seconds / self.boards * 1000:.0f} ms of processor time")

    def test_a_rollout_stops_where_it_should_and_the_second_brings_every_sound_board_to_the_image(self):
        if self.once:
            members, folder = self.run_once()
        else:
            outcome, members, folder = self.run_both("first")
            again, _, _ = self.run_both("again")
            self.assertEqual(outcome, again)
        self.print_cost_of_flashguard(members, folder)

    def print_cost_of_flashguard(self, members, folder):
        """What the same work costs without Ansible: sound boards programmed again."""
        engine_kib = resource.getrusage(resource.RUSAGE_CHILDREN).ru_maxrss
        sound = [member for member in members if member.kind == "sound"][:50]
        processor_seconds, began = 0, time.monotonic()
        for member in sound:
            run = subprocess.Popen([*words(member, folder), "--quiet", "install", "--force", self.image])
            _, status, used = os.wait4(run.pid, 0)
            run.returncode = os.waitstatus_to_exitcode(status)
            self.assertEqual(run.returncode, 0, member.name)
            processor_seconds += used.ru_utime + used.ru_stime
        print(f"flashguard and its virtual board alone, programming: {(time.monotonic() - began) / len(sound) * 1000:.0f} ms "
              f"a board and {processor_seconds / len(sound) * 1000:.0f} ms of processor time; the largest process of "
              f"Ansible had {engine_kib // 1024} MiB")


def main():
    parser = argparse.ArgumentParser()
    parser.add_argument("--build", default=Builds.folder)
    parser.add_argument("--boards", type=int, default=FleetTest.boards)
    parser.add_argument("--seed", type=int, default=FleetTest.seed)
    parser.add_argument("--once", action="store_true", help="one rollout over all boards and one over those that failed, and nothing to compare")
    options = parser.parse_args()
    Builds.folder = os.path.realpath(options.build)
    FleetTest.boards, FleetTest.seed, FleetTest.once = options.boards, options.seed, options.once
    run_in_sandbox(lambda: 0 if unittest.main(argv=["fleet_test"], exit=False).result.wasSuccessful() else 1)


if __name__ == "__main__":
    main()
