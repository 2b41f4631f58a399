#!/usr/bin/python3
# SPDX-License-Identifier: MIT
"""The SWUpdate handler with the real swupdate: from a file, and in a rollout as hawkBit makes them."""

import hashlib
import os
import re
import shutil
import signal
import subprocess

from support.boards import Board, HaltedRun, read, write
from support.ddi_server import DdiServer
from support.engine_test import OLD, EngineTest, install_package, run_tests
from support.pages import commands_of, run_page

_DESCRIPTION = """software =
{{
    version = "1";
    hardware-compatibility = [ "{hardware}" ];
    images: ( {{ filename = "firmware.hex"; type = "flashguard"; sha256 = "{sha256}"; {properties} }} );
}}
"""


class SwupdateCase(EngineTest):
    def setUp(self):
        super().setUp()
        install_package("flashguard-swupdate")
        write("/etc/hwrevision", "our-product 1.0\n")
        for socket in ("swupdateprog", "sockinstctrl"):
            if os.path.exists(f"/tmp/{socket}"):
                os.remove(f"/tmp/{socket}")
        self.make_key("ours")

    def make_key(self, name):
        self.run_program("openssl", "req", "-x509", "-newkey", "rsa:2048", "-nodes", "-keyout", f"{name}.key",
                         "-out", f"{name}.pem", "-subj", "/CN=updates", "-days", "3650",
                         "-addext", "extendedKeyUsage=emailProtection")

    def swu(self, image, key="ours", hardware="1.0", properties=""):
        """Builds firmware.swu of this image."""
        write("firmware.hex", read(image))
        digest = hashlib.sha256(read(image).encode()).hexdigest()
        write("sw-description", _DESCRIPTION.format(hardware=hardware, sha256=digest, properties=properties))
        self.run_program("openssl", "cms", "-sign", "-in", "sw-description", "-out", "sw-description.sig",
                         "-signer", f"{key}.pem", "-inkey", f"{key}.key", "-outform", "DER", "-nosmimecap",
                         "-binary")
        self.run_program("sh", "-c", "printf '%s\\n' sw-description sw-description.sig firmware.hex |"
                                     "cpio -o -H crc --quiet >firmware.swu")

    def swupdate(self, succeeds=True):
        """Installs firmware.swu. Its status does not count: it has been 1 after a success, at random."""
        said = self.run_program("swupdate", "-v", "-k", "ours.pem", "-i", "firmware.swu", status=None)
        self.assertEqual("SWUPDATE successful !" in said, succeeds, said)
        return said


class SwupdateTest(SwupdateCase):
    def test_an_older_chip_is_programmed(self):
        board = Board("b", image_path=OLD)
        self.configure(board.command())
        self.swu(self.new)
        self.assertIn("flashguard: installed", self.swupdate())
        self.assert_proved(board, self.new)

    def test_the_percentage_is_shown_while_the_chip_is_programmed(self):
        board = Board("b", image_path=OLD)
        self.configure(board.command())
        self.swu(self.big)
        # The update begins when somebody looks on: the socket listens, and one is connected to it.
        write("wait", "#!/bin/sh\nuntil [ $(grep -c /tmp/swupdateprog /proc/net/unix) -ge 2 ]; do sleep 0.01; done\n")
        os.chmod("wait", 0o755)
        progress = subprocess.Popen(["swupdate-progress", "-w"], stdin=subprocess.DEVNULL, stdout=subprocess.PIPE,
                                    start_new_session=True)
        self.addCleanup(progress.stdout.close)
        self.addCleanup(self.end_program, progress)
        update = self.start_program("swupdate", "-P", "./wait", "-k", "ours.pem", "-i", "firmware.swu")
        shown = self.read_until(progress.stdout, b" 2 of 1 ")
        update.wait()
        percentages = [int(number) for number in re.findall(rb" (\d+)% \(firmware.hex\)", shown)]
        # Up to there it counts the copy of the image.
        self.assertIn(5, percentages)
        ours = percentages[percentages.index(5) :]
        self.assertEqual(ours, sorted(ours))
        self.assertGreater(len(set(ours)), 20)
        self.assert_proved(board, self.big)

    @staticmethod
    def read_until(stream, text):
        """What comes up to this text, or to the end."""
        seen = b""
        while text not in seen and (piece := os.read(stream.fileno(), 65536)):
            seen += piece
        return seen

    def test_a_current_chip_is_left_alone_unless_that_is_forced(self):
        board = Board("b", image_path=OLD)
        self.configure(board.command())
        self.swu(OLD)
        self.assertIn("flashguard: current", self.swupdate())
        self.swu(OLD, properties='properties: { force = "true"; };')
        self.assertIn("flashguard: installed", self.swupdate())
        self.assert_proved(board, OLD)

    def test_a_refused_image_fails_with_its_reason_and_the_chip_is_as_it_was(self):
        board = Board("b", image_path=OLD)
        self.configure(board.command())
        self.swu(self.bad)
        self.assertIn("checksum", self.swupdate(succeeds=False).replace("check sum", "checksum"))
        self.assertTrue(board.holds(OLD))

    def test_a_dead_chip_fails_and_the_chip_is_as_it_was(self):
        board = Board("b", "--option", "silent=yes", image_path=OLD)
        self.configure(board.command())
        self.swu(self.new)
        self.swupdate(succeeds=False)
        self.assertTrue(board.holds(OLD))

    def test_a_wrong_signature_and_wrong_hardware_never_reach_the_handler(self):
        board = Board("b", image_path=OLD)
        self.configure(board.command())
        self.make_key("foreign")
        self.swu(self.new, key="foreign")
        self.swupdate(succeeds=False)
        self.swu(self.new, hardware="2.0")
        self.swupdate(succeeds=False)
        self.assert_proved(board, OLD)

    def test_after_a_killed_swupdate_the_next_run_brings_the_chip_to_the_image(self):
        board, halted = Board("b", image_path=OLD), HaltedRun("halted")
        self.configure(board.command(*halted.option))
        self.swu(self.big)
        engine = self.start_program("swupdate", "-k", "ours.pem", "-i", "firmware.swu")
        halted.wait_for("loader  write")
        os.kill(engine.pid, signal.SIGKILL)
        engine.wait()
        self.assert_whole_or_nothing(board, OLD, self.big)
        halted.go_on()
        self.assert_whole_or_nothing(board, OLD, self.big)
        self.configure(board.command())
        self.swupdate()
        self.assert_proved(board, self.big)

    def test_the_page_works_as_written(self):
        board = Board("my")
        self.configure(board.command())
        run_page("SWUPDATE")
        self.assert_proved(board, OLD)


class HawkbitTest(SwupdateCase):
    """The rollout: what the device reports, and what the board holds then."""

    def rollout(self, command):
        """Rolls firmware.swu out as the page says. Returns what the server hears in the end, and the log.

        Without a boot loader's environment swupdate takes an installed update for one that waits for
        its restart, and reports the result when it is told it then.
        """
        self.configure(command)
        with open("firmware.swu", "rb") as file:
            server = DdiServer(file.read())
        first, second = commands_of("HAWKBIT")
        report, said = self.device(server, first, lambda report: report["details"] == ["All Chunks Installed."])
        if report["execution"] != "closed":
            report, more = self.device(server, second, lambda report: False)
            said += more
        server.close()
        return report["result"]["finished"], said

    def device(self, server, command, is_awaited):
        """Runs the device by a command of the page until the action is closed, or the awaited report has come."""
        shutil.copy("ours.pem", "cert.pem")
        os.environ["HAWKBIT"] = server.url
        device = self.start_program("bash", "-c", command, log="swupdate.log")
        report = server.next_report()
        while report["execution"] != "closed" and not is_awaited(report):
            report = server.next_report()
        # It would ask on and on, by processes of its own.
        self.end_program(device)
        return report, read("swupdate.log")

    def test_a_rollout_programs_the_chip_and_reports_success(self):
        board = Board("b", image_path=OLD)
        self.swu(self.new)
        finished, said = self.rollout(board.command())
        self.assertEqual(finished, "success", said)
        self.assert_proved(board, self.new)

    def test_a_rollout_to_a_dead_chip_reports_failure(self):
        board = Board("b", "--option", "silent=yes", image_path=OLD)
        self.swu(self.new)
        finished, said = self.rollout(board.command())
        self.assertEqual(finished, "failure", said)
        self.assertTrue(board.holds(OLD))

    def test_a_rollout_of_a_refused_image_reports_failure_and_the_chip_is_as_it_was(self):
        board = Board("b", image_path=OLD)
        self.swu(self.bad)
        finished, said = self.rollout(board.command())
        self.assertEqual(finished, "failure", said)
        self.assert_proved(board, OLD)


if __name__ == "__main__":
    run_tests()
