# SPDX-License-Identifier: MIT
"""What surrounds the tool's process, in real time on real pseudo-terminals: closed and inherited
descriptors, a reader of the log that ends.

    python3 tests/ptys/edges_test.py PROGRAM IMAGE.hex [NAME...]

Each test takes as long as the tool's own pauses, from half a second to seven seconds. Exit status: 0 all passed,
1 not, 77 this machine gives no mount namespace.
"""

import os
import subprocess
import sys
import termios
import unittest

import namespace
from fake_board import ERASED, FakeBoard, application

PROGRAM, IMAGE = sys.argv[1:3]
TIME_LIMIT_S = 30

SYNC = b"\x80"
VERSION_QUERY = b"\x02\xb4\x00"


def image_bytes():
    """The image's data, strictly read: the memory of a chip that holds it and nothing else."""
    memory = bytearray(ERASED)
    with open(IMAGE, encoding="ascii") as records:
        for record in records:
            data = bytes.fromhex(record.strip()[1:])
            assert sum(data) % 256 == 0, record
            if data[3] == 0:
                address = int.from_bytes(data[1:3], "big")
                memory[address : address + data[0]] = data[4:-1]
    return memory


def without(descriptors):
    """The program started with these descriptors closed."""
    closed = " ".join(f"{descriptor}>&-" for descriptor in descriptors)
    return ["sh", "-c", f'exec "$@" {closed}', "sh"]


# Every number below 1,024 is taken, so that the next device gets one that select cannot wait for.
WITH_1024_DESCRIPTORS = [
    sys.executable,
    "-c",
    "import os, resource, sys\n"
    "_, most = resource.getrlimit(resource.RLIMIT_NOFILE)\n"
    "resource.setrlimit(resource.RLIMIT_NOFILE, (min(most, 4096), most))\n"
    "for number in range(3, 1024): os.dup2(0, number)\n"
    "os.execv(sys.argv[1], sys.argv[1:])",
]


class Edges(unittest.TestCase):
    def run_tool(self, board, arguments, through=(), **settings):
        """Runs the tool on the board to its end, with what it says in `stdout`."""
        command = [*through, PROGRAM, "-d", board.port, "-c", board.comm, *arguments]
        settings = {"stdout": subprocess.PIPE, "stderr": subprocess.PIPE, **settings}
        with board.serving():
            return subprocess.run(command, timeout=TIME_LIMIT_S, check=False, **settings)

    def test_with_standard_output_closed_nothing_of_the_log_reaches_the_loader(self):
        board = FakeBoard()
        ended = self.run_tool(board, ["-r"], through=without([1]))
        self.assertEqual(board.heard_on_port, SYNC)
        self.assertEqual(board.heard_on_comm, b"")
        self.assertEqual(ended.returncode, 0)

    def test_with_standard_output_closed_nothing_of_the_log_reaches_the_firmware(self):
        board = FakeBoard(ERASED)
        ended = self.run_tool(board, ["-v"], through=without([1]))
        self.assertEqual(board.heard_on_comm, VERSION_QUERY)
        self.assertEqual(ended.returncode, 0)

    def test_a_reader_of_the_log_that_ends_does_not_end_the_run(self):
        board = FakeBoard(application(256))
        reader = subprocess.Popen(["sed", "-n", "/Programming MSP/q"], stdin=subprocess.PIPE)
        ended = self.run_tool(board, ["-f", IMAGE], stdout=reader.stdin)
        reader.stdin.close()
        self.assertEqual(reader.wait(), 0)
        self.assertEqual(ended.returncode, 0)
        self.assertEqual(board.memory, image_bytes())

    def test_with_1024_inherited_descriptors_the_version_is_never_read(self):
        board = FakeBoard(application(256))
        ended = self.run_tool(board, ["-v"], through=WITH_1024_DESCRIPTORS)
        self.assertIn(b"warn Error reading current version from MSP\n", ended.stdout)
        self.assertTrue(ended.stdout.endswith(b"info Current MSP version is 0\n"))
        self.assertEqual(ended.returncode, 0)

    def test_the_port_keeps_the_settings_of_the_run(self):
        board = FakeBoard()
        self.run_tool(board, ["-r"])
        _, output, control, local, speed_in, speed_out, _ = board.settings_left
        self.assertEqual((speed_in, speed_out), (termios.B9600, termios.B9600))
        self.assertEqual(local & (termios.ICANON | termios.ECHO | termios.ISIG), 0)
        self.assertEqual(output & termios.OPOST, 0)
        # A pseudo-terminal has no parity to keep.
        self.assertEqual(control & termios.CSIZE, termios.CS8)

    def test_the_virtual_board_and_the_test_of_its_package_name_a_missing_proc(self):
        programs = os.path.dirname(PROGRAM)
        of_package = os.path.join(os.path.dirname(__file__), "../../debian/tests/program-an-image")
        environment = {**os.environ, "PATH": f"{programs}:{os.environ['PATH']}"}
        for command in (["vboard", "run", "--", "true"], [of_package]):
            hidden = ["unshare", "--mount", "sh", "-c", 'mount -t tmpfs none /proc && exec "$@"', "sh", *command]
            ended = subprocess.run(hidden, capture_output=True, text=True, check=False, env=environment)
            self.assertEqual(ended.returncode, 125)
            self.assertTrue(ended.stderr.startswith("vboard: there is no /proc here"), ended.stderr)


if __name__ == "__main__":
    namespace.enter(lines=(90, 86, 91))
    unittest.main(argv=sys.argv[:1] + sys.argv[3:])
