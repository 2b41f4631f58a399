# SPDX-License-Identifier: MIT
"""The far side of a board on real pseudo-terminals: an MSP430's loader and its application.

    board = FakeBoard()                 # nothing runs yet; board.port and board.comm name the slaves
    with board.serving():
        ... start the program ...
    board.heard_on_port                 # every byte that the program sent to the loader
    board.memory                        # what the chip holds, all 64 KiB

It answers each sync and each frame at once, keeps what is written, and answers the version query
from the word at 0x2100 while an application is there (the reset vector is not erased). The lines
are not looked at: a closed port ends a conversation with the loader. Pseudo-terminals carry no
line speed and drop the parity, so that this is about descriptors, signals and the program's own
pauses; for the protocol and the lines there is the virtual board.
"""

import contextlib
import os
import select
import termios
import threading
import tty

ACK = b"\x90"
SYNC = 0x80
ERASED = b"\xff" * 0x10000
POLL_MS = 5


def application(version):
    """A memory that holds nothing but a version word and a reset vector."""
    memory = bytearray(ERASED)
    memory[0x2100:0x2102] = version.to_bytes(2, "little")
    memory[0xFFFE:0x10000] = b"\x00\x21"
    return memory


def let_settings_be_settable(master):
    """Leaves the pseudo-terminal at another speed. It drops the parity that the program asks for, which
    libc takes for a refusal when nothing else has changed either."""
    settings = termios.tcgetattr(master)
    settings[4] = settings[5] = termios.B38400
    termios.tcsetattr(master, termios.TCSANOW, settings)


class Link:
    """One pseudo-terminal. `receive` gets what the program sent, `closed` is told of its close."""

    def __init__(self, receive, closed=lambda: None):
        self.master, slave = os.openpty()
        tty.setraw(slave)
        self.path = os.ttyname(slave)
        os.close(slave)
        let_settings_be_settable(self.master)
        self._receive = receive
        self._closed = closed
        self.is_open = False

    def step(self, events):
        """Takes what poll said about the master."""
        if events & select.POLLIN:
            self.is_open = True
            self._receive(os.read(self.master, 4096))
        elif events & select.POLLHUP and self.is_open:
            self.is_open = False
            self._forget_unread()
            self._closed()

    def send(self, data):
        os.write(self.master, data)

    def _forget_unread(self):
        """What was sent and not read by the close is lost, as in a serial port: a killed program leaves such
        bytes, and the next one would take them for its own answers."""
        slave = os.open(self.path, os.O_RDWR | os.O_NOCTTY)
        termios.tcflush(slave, termios.TCIFLUSH)
        os.close(slave)


class FakeBoard:
    def __init__(self, memory=None):
        self.memory = bytearray(memory if memory is not None else application(256))
        self.heard_on_port = b""
        self.heard_on_comm = b""
        self.settings_left = None
        """What the last conversation with the loader has left of the port's settings, as termios has them."""
        self.silent = False
        self.on_frame = lambda command: None
        self._pending = b""
        self._synchronised = False
        self._port = Link(self._from_port, self._end_conversation)
        self._comm = Link(self._from_comm)
        self.port = self._port.path
        self.comm = self._comm.path
        self._stop = threading.Event()

    @contextlib.contextmanager
    def serving(self):
        thread = threading.Thread(target=self.serve, daemon=True)
        thread.start()
        try:
            yield self
        finally:
            self._stop.set()
            thread.join()

    def serve(self):
        """Answers until it is told to stop."""
        links = {link.master: link for link in (self._port, self._comm)}
        poll = select.poll()
        for master in links:
            poll.register(master, select.POLLIN)
        while not self._stop.is_set():
            ready = poll.poll(POLL_MS)
            for master, events in ready:
                links[master].step(events)
            # A slave that nobody has open is reported all the time.
            if all(events == select.POLLHUP for _, events in ready):
                self._stop.wait(POLL_MS / 1000)

    def _end_conversation(self):
        self._pending = b""
        self._synchronised = False
        self.settings_left = termios.tcgetattr(self._port.master)
        let_settings_be_settable(self._port.master)

    def _from_port(self, data):
        self.heard_on_port += data
        self._pending += data
        while not self.silent and self._take_one():
            self._port.send(ACK)

    def _take_one(self):
        """Whether a sync or a whole frame was there; it is taken."""
        pending = self._pending
        if not self._synchronised:
            self._synchronised = pending[:1] == bytes([SYNC])
            self._pending = pending[1:]
            return self._synchronised
        if len(pending) < 4 or len(pending) < pending[2] + 6:
            return False
        length = pending[2] + 6
        self._pending = pending[length:]
        self._synchronised = False
        self._execute(pending[:length])
        return True

    def _execute(self, frame):
        command = frame[1]
        address = int.from_bytes(frame[4:6], "little")
        if command == 0x12:
            count = frame[2] - 4
            self.memory[address : address + count] = frame[8 : 8 + count]
        elif command == 0x18 or (command == 0x16 and frame[6] == 0x04):
            self.memory[0x2100:] = ERASED[0x2100:]
        self.on_frame(command)

    def _from_comm(self, data):
        self.heard_on_comm += data
        if data == b"\x02\xb4\x00" and self.memory[0xFFFE:] != b"\xff\xff" and not self.silent:
            low, high = self.memory[0x2100:0x2102]
            self._comm.send(bytes([0x03, 0xB5, high, low]))
