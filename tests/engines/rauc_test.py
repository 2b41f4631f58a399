#!/usr/bin/python3
# SPDX-License-Identifier: MIT
"""The RAUC hook and handler, with the real RAUC behind its D-Bus service."""

import os
import shutil
import signal

from support.boards import Board, HaltedRun, write
from support.engine_test import OLD, EngineTest, install_package, run_tests
from support.pages import run_page

_SYSTEM = """[system]
compatible=our-product
bootloader=noop
mountprefix=/run/rauc
[keyring]
path=/etc/rauc/keyring.pem
[slot.mcu.0]
device=/dev/null
type=raw
[slot.system.0]
device=/dev/null
type=raw
bootname=system0
"""

_UPDATE = "[update]\ncompatible={compatible}\nversion=1\n[bundle]\nformat=plain\n"
_HOOK = "[hooks]\nfilename=hook\nhooks=install-check\n"
_SLOT = "[image.mcu]\nfilename=firmware.hex\nhooks=install\n"
_HANDLER = "[handler]\nfilename=handler\n"


class RaucTest(EngineTest):
    def setUp(self):
        super().setUp()
        install_package("flashguard-rauc")
        self.make_key("ours")
        write("/etc/rauc/system.conf", _SYSTEM)
        shutil.copy("ours.pem", "/etc/rauc/keyring.pem")
        # The first call of `rauc` has the service started by the bus; here no boot loader tells the slot.
        service = "/usr/share/dbus-1/system-services/de.pengutronix.rauc.service"
        write(service, "[D-BUS Service]\nName=de.pengutronix.rauc\nUser=root\n"
                       "Exec=/usr/bin/rauc --override-boot-slot=system0 service\n")
        os.makedirs("/run/dbus", exist_ok=True)
        self.bus = int(self.run_program("dbus-daemon", "--system", "--fork", "--nopidfile", "--print-pid=1"))

    def tearDown(self):
        if self.bus:
            os.kill(self.bus, signal.SIGTERM)
        os.remove("/run/dbus/system_bus_socket")

    def make_key(self, name):
        self.run_program("openssl", "req", "-x509", "-newkey", "rsa:2048", "-nodes", "-keyout", f"{name}.key",
                         "-out", f"{name}.pem", "-subj", f"/CN={name}", "-days", "3650")

    def bundle(self, image, key="ours", compatible="our-product", handler=False):
        shutil.rmtree("content", ignore_errors=True)
        os.makedirs("content")
        for name in ("hook", "handler"):
            shutil.copy(f"/usr/share/flashguard/rauc/{name}", "content")
        shutil.copy(image, "content/firmware.hex")
        write("content/manifest.raucm",
              _UPDATE.format(compatible=compatible) + _HOOK + (_HANDLER if handler else _SLOT))
        if os.path.exists("update.raucb"):
            os.remove("update.raucb")
        self.run_program("rauc", "bundle", "--cert", f"{key}.pem", "--key", f"{key}.key", "content", "update.raucb")

    def rauc(self, status=0):
        return self.run_program("rauc", "install", "update.raucb", status=status)

    def test_an_older_chip_is_programmed_by_the_hook_of_its_slot_and_then_is_current(self):
        board = Board("b", image_path=OLD)
        self.configure(board.command())
        self.bundle(self.new)
        self.rauc()
        self.assert_proved(board, self.new)
        before = board.memory()
        self.rauc()
        self.assertEqual(board.memory(), before)

    def test_an_older_chip_is_programmed_by_the_handler(self):
        board = Board("b", image_path=OLD)
        self.configure(board.command())
        self.bundle(self.new, handler=True)
        self.rauc()
        self.assert_proved(board, self.new)

    def test_a_refused_image_is_the_last_error_and_the_chip_is_as_it_was(self):
        board = Board("b", image_path=OLD)
        self.configure(board.command())
        for handler in (False, True):
            self.bundle(self.bad, handler=handler)
            said = self.rauc(status=1)
            self.assertRegex(said, "LastError: .*Hook returned: .*firmware.hex.*2")
        self.assert_proved(board, OLD)

    def test_a_dead_chip_is_the_last_error_by_its_status(self):
        board = Board("b", "--option", "silent=yes", image_path=OLD)
        self.configure(board.command())
        self.bundle(self.new)
        self.assertRegex(self.rauc(status=1), "LastError: .*mcu.0.*exited with code 13")
        self.assertTrue(board.holds(OLD))

    def test_a_foreign_signature_and_another_product_never_reach_the_hook(self):
        board = Board("b", image_path=OLD)
        self.configure(board.command())
        self.make_key("foreign")
        self.bundle(self.new, key="foreign")
        self.assertIn("signature verification failed", self.rauc(status=1))
        self.bundle(self.new, compatible="other-product")
        self.assertIn("the bundle is for other-product, this is our-product", self.rauc(status=1))
        self.assert_proved(board, OLD)

    def test_after_a_killed_service_the_next_install_brings_the_chip_to_the_image(self):
        board, halted = Board("b", image_path=OLD), HaltedRun("halted")
        self.configure(board.command(*halted.option))
        self.bundle(self.big)
        client = self.start_program("rauc", "install", "update.raucb")
        halted.wait_for("loader  write")
        os.kill(self.service(), signal.SIGKILL)
        client.wait()
        self.assertNotEqual(client.returncode, 0)
        self.assert_whole_or_nothing(board, OLD, self.big)
        halted.go_on()
        self.assert_whole_or_nothing(board, OLD, self.big)
        self.configure(board.command())
        self.rauc()
        self.assert_proved(board, self.big)

    def service(self):
        """The process of RAUC's service, as the bus knows it."""
        said = self.run_program("dbus-send", "--system", "--print-reply", "--dest=org.freedesktop.DBus", "/",
                                "org.freedesktop.DBus.GetConnectionUnixProcessID", "string:de.pengutronix.rauc")
        return int(said.split()[-1])

    def test_the_page_works_as_written(self):
        board = Board("my")
        self.configure(board.command())
        run_page("RAUC")
        self.assert_proved(board, OLD)


if __name__ == "__main__":
    run_tests()
