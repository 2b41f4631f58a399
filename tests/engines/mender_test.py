#!/usr/bin/python3
# SPDX-License-Identifier: MIT
"""The Mender update module, with the real client and real signed artifacts."""

import os
import shutil
import signal

from support.boards import Board, HaltedRun, image, read, write
from support.engine_test import NEW_VERSION, OLD, EngineTest, install_package, run_tests
from support.pages import run_page
from support.sandbox import WORK

_KEPT = "/var/lib/flashguard/mender/proved.hex"


def _prepare_client():
    """What Debian's client expects of a device: its folder leads to a partition that is not here."""
    if os.path.islink("/var/lib/mender"):
        os.remove("/var/lib/mender")
    shutil.rmtree("/var/lib/mender", ignore_errors=True)
    os.makedirs("/var/lib/mender")
    write("/var/lib/mender/device_type", "device_type=brda\n")
    write("/etc/mender/artifact_info", "artifact_name=factory\n")


class MenderTest(EngineTest):
    def setUp(self):
        super().setUp()
        shutil.rmtree("/var/lib/flashguard", ignore_errors=True)
        install_package("flashguard-mender")
        _prepare_client()

    def prepare_keys(self):
        for name in ("ours", "foreign"):
            self.run_program("openssl", "genrsa", "-traditional", "-out", f"{name}.key", "2048")
        self.run_program("openssl", "rsa", "-in", "ours.key", "-pubout", "-out", "ours.pub")
        write("/etc/mender/mender.conf", f'{{"ArtifactVerifyKey": "{WORK}/ours.pub"}}')

    def artifact(self, name, image_path, key="ours.key", device="brda"):
        self.run_program("mender-artifact", "write", "module-image", "-T", "mcu", "-n", name, "-t", device,
                         "-f", image_path, "-k", key, "-o", f"{name}.mender")
        return f"{name}.mender"

    def mender(self, *words, status=0):
        return self.run_program("mender", "--no-syslog", *words, status=status)

    def board_with_proved_old_image(self, *options):
        """A board whose image this module has brought and committed, so that it is kept."""
        self.prepare_keys()
        board = Board("b", *options)
        self.configure(board.command())
        self.mender("install", self.artifact("old", OLD))
        self.assertEqual(read(_KEPT), read(OLD))
        self.assert_proved(board, OLD)
        return board

    def test_the_first_update_is_committed_at_once_and_its_image_is_kept(self):
        self.prepare_keys()
        board = Board("b")
        self.configure(board.command())
        self.assertIn("Committing immediately", self.mender("install", self.artifact("old", OLD)))
        self.assertEqual(self.mender("show-artifact").splitlines()[-1], "old")
        self.assertEqual(read(_KEPT), read(OLD))
        self.assert_proved(board, OLD)

    def test_a_later_update_is_committed_or_taken_back_byte_for_byte(self):
        board = self.board_with_proved_old_image()
        before = board.memory()
        self.assertIn("rollback", self.mender("install", self.artifact("new", self.new)))
        self.assert_proved(board, self.new)
        self.assertEqual(read(_KEPT), read(OLD))
        self.mender("rollback")
        self.assert_proved(board, OLD)
        self.assertEqual(board.memory(), before)
        self.mender("install", "new.mender")
        self.mender("commit")
        self.assertEqual(read(_KEPT), read(self.new))
        self.assert_proved(board, self.new)

    def test_a_current_chip_is_left_alone_and_nothing_is_kept_of_it(self):
        self.prepare_keys()
        board = Board("b", image_path=OLD)
        self.configure(board.command())
        before = board.memory()
        self.assertIn("current", self.mender("install", self.artifact("old", OLD)))
        self.assertEqual(board.memory(), before)
        self.assertFalse(os.path.exists(_KEPT))

    def test_a_refused_image_fails_and_the_chip_is_as_it_was(self):
        board = self.board_with_proved_old_image()
        said = self.mender("install", self.artifact("bad", self.bad), status=1)
        self.assertIn("the image is refused; the chip was not touched", said)
        self.assertEqual(self.mender("show-artifact").splitlines()[-1], "old")
        self.assert_proved(board, OLD)

    def test_a_dead_chip_fails_and_nothing_is_taken_back(self):
        self.prepare_keys()
        board = Board("b", "--option", "silent=yes", image_path=OLD)
        self.configure(board.command())
        self.assertIn("flashguard ended with 13", self.mender("install", self.artifact("new", self.new), status=1))
        self.assertTrue(board.holds(OLD))

    def test_a_firmware_that_reports_a_wrong_version_is_taken_back_byte_for_byte(self):
        # This firmware answers with the word at 0x2200, which is not always the one it is built with.
        honest = image("honest.hex", {0x2200: b"\x34\x12"})
        wrong = image("wrong.hex", {0x2100: NEW_VERSION.to_bytes(2, "little"), 0x2200: b"\x99\x99"})
        self.prepare_keys()
        board = Board("b", "--option", "version-address=0x2200")
        self.configure(board.command())
        self.mender("install", self.artifact("honest", honest))
        before = board.memory()
        said = self.mender("install", self.artifact("wrong", wrong), status=1)
        self.assertIn("flashguard ended with 21", said)
        self.assertEqual(board.memory(), before)
        self.assert_proved(board, honest)
        self.assertEqual(board.version(), 0x1234)
        self.assertEqual(self.mender("show-artifact").splitlines()[-1], "honest")

    def test_a_wrong_signature_and_a_wrong_device_never_reach_the_module(self):
        board = self.board_with_proved_old_image()
        self.assertIn("invalid signature", self.mender(
            "install", self.artifact("foreign", self.new, key="foreign.key"), status=1))
        self.assertIn("not compatible with device brda", self.mender(
            "install", self.artifact("other", self.new, device="brdb"), status=1))
        self.assert_proved(board, OLD)

    def test_beside_the_orphan_of_a_killed_client_a_second_install_finds_the_port_busy(self):
        board = self.board_with_proved_old_image()
        halted = HaltedRun("halted")
        self.configure(board.command(*halted.option))
        client = self.start_program("mender", "--no-syslog", "install", self.artifact("new", self.big))
        halted.wait_for("loader  write")
        os.kill(client.pid, signal.SIGKILL)
        client.wait()
        self.assert_whole_or_nothing(board, OLD, self.big)
        # On a board of its own, since the file of the first is in use: what keeps it off is the port's lock.
        self.configure(Board("beside").command())
        said = self.mender("install", "new.mender", status=1)
        self.assertIn("flashguard ended with 11", said)
        self.assertNotIn("could not be brought back", said)
        halted.go_on()
        self.assert_whole_or_nothing(board, OLD, self.big)
        self.configure(board.command())
        self.mender("install", "new.mender")
        self.assert_proved(board, self.big)

    def test_a_module_that_takes_too_long_is_ended_in_order_and_taken_back(self):
        board = self.board_with_proved_old_image()
        # At the board's own speed this image takes two minutes.
        self.configure(board.command("--pace", "1"))
        write("/etc/mender/mender.conf",
              f'{{"ArtifactVerifyKey": "{WORK}/ours.pub", "ModuleTimeoutSeconds": 1}}')
        said = self.mender("install", self.artifact("new", self.big), status=1)
        self.assertIn("flashguard ended with 24", said)
        self.assert_whole_or_nothing(board, OLD)
        self.assertTrue(board.is_left_alone())
        self.configure(board.command())
        write("/etc/mender/mender.conf", f'{{"ArtifactVerifyKey": "{WORK}/ours.pub"}}')
        self.mender("install", "new.mender")
        self.assert_proved(board, self.big)

    def test_the_page_works_as_written(self):
        board = Board("my")
        self.configure(board.command())
        run_page("MENDER")
        self.assert_proved(board, OLD)


if __name__ == "__main__":
    run_tests()
