#!/usr/bin/python3
# SPDX-License-Identifier: MIT
"""The Ansible module and role, with the real Ansible."""

import json
import os
import signal
import subprocess

from support.boards import ROOT, Board, HaltedRun, read, write
from support.engine_test import NEW_VERSION, OLD, OLD_VERSION, EngineTest, run_tests
from support.pages import run_page
from support.sandbox import WORK

_INVENTORY = "board ansible_connection=local ansible_python_interpreter=/usr/bin/python3\n"
_PUMP = """name = "PUMP2"
port = "/dev/ttyS2"
communication = "/dev/knxspi"
chip = "msp430-56k"

[lines]
reset = 17
rxd_nmi = 27
tck = 22
"""


class AnsibleTest(EngineTest):
    def setUp(self):
        super().setUp()
        os.environ.update(ANSIBLE_REMOTE_TEMP=f"{WORK}/ansible", ANSIBLE_PIPELINING="1")
        os.environ["ANSIBLE_LIBRARY"] = f"{ROOT}/integrations/ansible/roles/flashguard/library"
        os.environ["ANSIBLE_ROLES_PATH"] = f"{ROOT}/integrations/ansible/roles"
        write("inventory", _INVENTORY)

    def module(self, board, image, *options, run_options=(), **parameters):
        """What the module reports for this task, whether it `failed`, and what Ansible `said`."""
        words = self.words(board, image, *options, run_options=run_options, **parameters)
        ended = subprocess.run(words, stdin=subprocess.DEVNULL, capture_output=True, text=True, check=False)
        result = json.loads(read("results/board"))
        return {"changed": False} | result | {"failed": ended.returncode != 0, "said": ended.stdout}

    def words(self, board, image, *options, run_options=(), **parameters):
        arguments = {"image": image, "command": board.command(*run_options)} | parameters
        return ["ansible", "-i", "inventory", "board", "-m", "flashguard", "-a", json.dumps(arguments),
                "--tree", "results", *options]

    def test_an_older_chip_is_programmed_and_the_task_is_changed(self):
        board = Board("b", image_path=OLD)
        result = self.module(board, self.new, record=f"{WORK}/record.jsonl")
        self.assertFalse(result["failed"], result)
        self.assertTrue(result["changed"])
        self.assertEqual(result["outcome"], "installed")
        self.assert_proved(board, self.new)
        self.assertEqual(json.loads(read("record.jsonl").splitlines()[-1]), result["verdict"])

    def test_a_current_chip_is_left_alone_and_the_task_is_not_changed(self):
        board = Board("b", image_path=self.new)
        result = self.module(board, self.new)
        self.assertEqual((result["failed"], result["changed"], result["outcome"]), (False, False, "current"))

    def test_a_current_chip_is_programmed_when_that_is_forced(self):
        board = Board("b", image_path=self.new)
        result = self.module(board, self.new, force=True)
        self.assertEqual((result["failed"], result["changed"], result["outcome"]), (False, True, "installed"))
        self.assert_proved(board, self.new)

    def test_a_refused_image_fails_with_its_reason_and_the_chip_is_as_it_was(self):
        board = Board("b", image_path=OLD)
        result = self.module(board, self.bad)
        self.assertEqual((result["failed"], result["changed"], result["status"]), (True, False, 10))
        self.assertIn("checksum", result["msg"].replace(" ", "").lower())
        self.assertTrue(board.holds(OLD))

    def test_a_dead_chip_fails_with_what_to_do(self):
        board = Board("b", "--option", "silent=yes", image_path=OLD)
        result = self.module(board, self.new)
        self.assertEqual((result["failed"], result["changed"], result["status"]), (True, False, 13))
        self.assertTrue(board.holds(OLD))

    def test_check_mode_tells_the_need_and_the_versions_and_programs_nothing(self):
        board = Board("b", image_path=OLD)
        result = self.module(board, self.new, "--check", "--diff")
        self.assertEqual((result["failed"], result["changed"]), (False, True), result)
        self.assertIn(f"\n-version {OLD_VERSION}\n+version {NEW_VERSION}\n", result["said"])
        self.assertTrue(board.holds(OLD))
        self.assertFalse(self.module(board, OLD, "--check")["changed"])

    def test_verified_tells_an_equal_chip_from_a_different_one(self):
        board = Board("b", image_path=OLD)
        equal = self.module(board, OLD, state="verified")
        self.assertEqual((equal["failed"], equal["changed"], equal["outcome"]), (False, False, "equal"))
        different = self.module(board, self.new, state="verified")
        self.assertEqual((different["failed"], different["changed"], different["status"]), (True, False, 22))
        self.assertTrue(board.holds(OLD))

    def test_after_a_killed_ansible_the_next_run_brings_the_chip_to_the_image(self):
        board, halted = Board("b", image_path=OLD), HaltedRun("halted")
        ansible = self.start_program(*self.words(board, self.big, run_options=halted.option))
        halted.wait_for("loader  write")
        os.kill(ansible.pid, signal.SIGKILL)
        self.assert_whole_or_nothing(board, OLD, self.big)
        halted.go_on()
        self.assert_whole_or_nothing(board, OLD, self.big)
        # Where the orphaned run came to its end, the chip is current.
        self.assertFalse(self.module(board, self.big)["failed"])
        self.assert_proved(board, self.big)

    def test_a_program_that_is_not_there_is_named(self):
        arguments = {"image": self.new, "command": "/no/such/flashguard"}
        self.run_program("ansible", "-i", "inventory", "board", "-m", "flashguard", "-a",
                         json.dumps(arguments), "--tree", "results", status=2)
        self.assertIn("cannot start /no/such/flashguard: No such file", json.loads(read("results/board"))["msg"])

    def test_the_role_lays_everything_down_and_its_second_run_changes_nothing(self):
        write("pump.toml", _PUMP)
        board = Board("b", "--model", "pump.toml", image_path=OLD)
        write("/etc/systemd/system/flashguard@.service", read(f"{ROOT}/packaging/systemd/flashguard@.service.in"))
        # One that is here already stands for ours. Without root the machine's list of packages is not seen,
        # and the unit's folder for images is out of reach.
        packages = ["openssl"] if os.path.exists("/var/lib/dpkg/status") else []
        folder = "/usr/lib/firmware" if packages else f"{WORK}/firmware"
        variables = {"flashguard_image": self.new, "flashguard_command": board.command(),
                     "flashguard_board": "PUMP2", "flashguard_board_file": f"{WORK}/pump.toml",
                     "flashguard_packages": packages}
        if not packages:
            variables["flashguard_image_path"] = f"{folder}/flashguard/PUMP2.hex"
        write("play.yml", json.dumps([{"hosts": "board", "gather_facts": False, "roles": ["flashguard"],
                                       "environment": {"SYSTEMD_OFFLINE": "1"}, "vars": variables}]))
        self.assertIn("failed=0", self.run_program("ansible-playbook", "-i", "inventory", "play.yml"))
        self.assertTrue(board.holds(self.new))
        self.assertEqual(board.flashguard("--board", "PUMP2", "verify", self.new).returncode, 0)
        self.assertEqual(read(f"{folder}/flashguard/PUMP2.hex"), read(self.new))
        self.assertTrue(os.path.lexists("/etc/systemd/system/multi-user.target.wants/flashguard@PUMP2.service"))
        self.assertIn("changed=0", self.run_program("ansible-playbook", "-i", "inventory", "play.yml"))

    def test_the_page_works_as_written(self):
        board = Board("my", image_path=OLD)
        write("command.yml", json.dumps({"flashguard": board.command()}))
        for name in ("ANSIBLE_LIBRARY", "ANSIBLE_ROLES_PATH"):
            del os.environ[name]
        run_page("ANSIBLE")
        self.assert_proved(board, OLD)


if __name__ == "__main__":
    run_tests()
