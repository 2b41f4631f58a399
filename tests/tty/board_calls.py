#!/usr/bin/env python3
# SPDX-License-Identifier: MIT
"""Every function of libc that takes a descriptor or a path stands in the table of docs/BOARD.md, on
one of two sides: answered, or refused with an errno. What the library puts in front of libc and what
libc's headers declare are both looked at.

    tests/tty/board_calls.py FOLDER-OF-THE-REPOSITORY [--missing]
    vboard run -- tests/tty/board_calls.py FOLDER-OF-THE-REPOSITORY --try

The second makes each refused call, on the port and on the board's files, and looks at the errno.
"""

import ctypes
import errno
import os
import pathlib
import re
import subprocess
import sys

# The headers in which libc declares what a program can do with files.
HEADERS = """aio.h dirent.h fcntl.h fts.h ftw.h glob.h poll.h pty.h spawn.h stdio.h stdlib.h stropts.h
sys/epoll.h sys/fanotify.h sys/file.h sys/inotify.h sys/ioctl.h sys/mman.h sys/mount.h sys/poll.h
sys/select.h sys/sendfile.h sys/socket.h sys/stat.h sys/statfs.h sys/statvfs.h sys/swap.h sys/time.h
sys/timerfd.h sys/uio.h sys/xattr.h sys/eventfd.h sys/signalfd.h sys/quota.h sys/acct.h sys/ipc.h
sys/sendfile.h termios.h unistd.h utime.h utmp.h mntent.h""".split()

# What libc calls a parameter that is a descriptor or a path.
PARAMETER = re.compile(r"\b__?(fd|fds|fd_in|fd_out|fdin|fdout|infd|outfd|in_fd|out_fd|fildes|filedes|"
                       r"pathfd|dfd|dirfd|fromfd|tofd|oldfd|newfd|epfd|path|pathname|file|filename|"
                       r"from|to|old|new|oldpath|newpath|special_file|dir|pattern|readfds|"
                       r"target|source)\b")
IS_DESCRIPTOR_OR_PATH = re.compile(r"^(const )?(char \*(const )?|int )(__restrict )?__?\w+$")
FUNCTION = re.compile(r"extern\s+[^;{}()=]*?\b(\w+)\s*\(([^;{}]*?)\)\s*(?:__attribute__|__asm__|;|$)",
                      re.S)


# These take a text that names no file, or one that only a later call opens.
NO_FILES = {"glob_pattern_p", "tempnam", "utmpname"}


def declared():
    """The names that libc's headers declare with a descriptor or a path among the parameters, and
    where those stand: pairs of a place and 'fd' or 'path'."""
    source = "#define _GNU_SOURCE\n" + "".join(f"#include <{header}>\n" for header in HEADERS
                                               if pathlib.Path("/usr/include", header).exists() or
                                               list(pathlib.Path("/usr/include").glob(f"*/{header}")))
    text = subprocess.run(["cc", "-E", "-P", "-xc", "-"], input=source, capture_output=True,
                          text=True, check=True).stdout
    text = re.sub(r"__attribute__\s*\(\((?:[^()]|\([^()]*\))*\)\)", "", text)
    names = {}
    for match in FUNCTION.finditer(re.sub(r"\s+", " ", text)):
        parameters = [part.strip() for part in match[2].split(",")]
        places = [(place, "fd" if part.startswith("int ") else "path")
                  for place, part in enumerate(parameters)
                  if PARAMETER.search(part) and IS_DESCRIPTOR_OR_PATH.match(part)]
        if places and match[1] not in NO_FILES:
            names[match[1]] = places
    return names


def exported(root):
    """The names that the library puts in front of libc."""
    text = (root / "vboard/front/exports.map").read_text()
    text = re.sub("#[^\n]*", "", text)
    return set(re.findall(r"\w+", text[text.index("global:") + 7:text.index("local:")]))


def table(root):
    """The names in the page's table, and the errno that its second column gives; '' for answered."""
    names = {}
    for line in (root / "docs/BOARD.md").read_text().splitlines():
        row = re.match(r"\| (.*) \| (answered|refused, [A-Z0-9]+)(?:[;,] .*)? \|$", line)
        for name in re.findall(r"`(\w+)`", row[1]) if row else []:
            names.setdefault(name, []).append(row[2])
    return names


# Calls that no program makes by chance, or that change the process that makes them.
NOT_TRIED = {"aio_cancel", "aio_cancel64", "posix_spawn", "posix_spawnp", "execve", "execv", "execvp",
             "execvpe", "execl", "execlp", "execle", "execveat", "fexecve", "setns", "acct", "chroot",
             "posix_spawn_file_actions_addfchdir_np", "fsconfig", "isfdtype", "ptsname"}


# What is no file at all: the text of a link; a folder whose path libc's header calls a name; the
# set of an epoll_ctl, for which the page has an errno of its own.
NOT_PLACES = {("symlink", 0), ("symlinkat", 0), ("symlinkat", 1), ("unlinkat", 0),
              ("inotify_add_watch", 0), ("epoll_ctl", 0)}
# Without these the kernel would not look at the descriptor.
BESIDE = {"tee": {2: 1}, "epoll_ctl": {1: 1, 3: "memory"}, "signalfd": {1: "memory"}}


def outcome(name, arguments):
    """The errno of a call: of what it left in errno, or of what it returned. 0: it succeeded."""
    function = getattr(ctypes.CDLL(None, use_errno=True), name)
    function.restype = ctypes.c_long
    ctypes.set_errno(0)
    result = function(*arguments) & 0xFFFFFFFF
    return ctypes.get_errno() or (result if 0 < result < 200 else 0)


def in_a_child(name, arguments):
    """The same in a process of its own, which the call may bring down."""
    child = os.fork()
    if child == 0:
        os._exit(outcome(name, arguments))
    return os.waitstatus_to_exitcode(os.waitpid(child, 0)[1])


def try_calls(root):
    """What the refused calls of the table say of the port."""
    port = os.open("/dev/ttyS1", os.O_RDWR | os.O_NOCTTY)
    memory = ctypes.create_string_buffer(256)
    findings, tried = [], 0
    places_of = declared()
    for name, sides in sorted(table(root).items()):
        if not sides[0].startswith("refused") or name in NOT_TRIED:
            continue
        expected = getattr(errno, sides[0].split()[1])
        places = places_of.get(name, [])
        with_path = any(kind == "path" for _, kind in places)
        for place, kind in places:
            # The folder of an "at" function is no file of the board; its path is.
            if (with_path and kind == "fd") or (name, place) in NOT_PLACES:
                continue
            arguments = [ctypes.c_void_p(0)] * 7
            for other, beside in BESIDE.get(name, {}).items():
                arguments[other] = memory if beside == "memory" else ctypes.c_long(beside)
            for other, _ in places:
                if _ == "path":
                    arguments[other] = ctypes.c_char_p(b"/nowhere/at/all")
            arguments[place] = (ctypes.c_long(port) if kind == "fd"
                                else ctypes.c_char_p(b"/dev/ttyS1"))
            got = in_a_child(name, arguments)
            tried += 1
            if got != expected:
                findings.append(f"{name}, argument {place}: {errno.errorcode.get(got, got)}"
                                f" in the place of {errno.errorcode[expected]}")
    print("\n".join(findings) or f"{tried} calls tried")
    return 1 if findings or tried < 100 else 0


def main():
    root = pathlib.Path(sys.argv[1])
    if "--try" in sys.argv:
        return try_calls(root)
    rows, findings = table(root), []
    wanted = set(declared())
    plain = {name for name in exported(root) if not name.startswith("__")}
    if "--missing" in sys.argv:
        print(" ".join(sorted((wanted | plain) - set(rows))))
        return 0
    if len(wanted) < 200 or len(rows) < 200:
        findings.append(f"only {len(wanted)} functions and {len(rows)} rows were found")
    findings += [f"docs/BOARD.md: `{name}` is in no row of the table of calls"
                 for name in sorted((wanted | plain) - set(rows))]
    findings += [f"docs/BOARD.md: `{name}` is in more than one row"
                 for name, sides in sorted(rows.items()) if len(sides) > 1]
    print("\n".join(findings) or f"{len(wanted | plain)} functions, each in one row")
    return 1 if findings else 0


sys.exit(main())
