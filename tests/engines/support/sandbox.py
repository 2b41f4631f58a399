# SPDX-License-Identifier: MIT
"""A machine of the test's own, which is gone when the test is, however it ended.

The test runs in name spaces for mounts, processes, network and IPC. /etc, /usr, /var and /tmp are
laid over those of the machine and can be written freely, /run is empty. The first process of the
name space dies with the test's, and the kernel then ends every other process in it; the last of them
takes mounts, loop devices and sockets along. So there is nothing that a test could forget to clean up.

Others than root get the same in a user name space, where the kernel grants one, but then only with
copies of the few folders that Ansible and Mender write to; the other engines need root themselves.
"""

import ctypes
import fcntl
import os
import shutil
import signal
import socket
import struct
import subprocess
import sys

WORK = "/run/work"
"""Where a test keeps its files: in memory, and only seen in the sandbox."""

_LAID_OVER = ("/etc", "/usr", "/var", "/tmp")
_COPIED = ("/etc", "/usr/share/mender")
_EMPTIED = ("/var/lib",)

# Linux, sched.h and prctl.h.
_CLONE_NEWNS, _CLONE_NEWIPC, _CLONE_NEWUSER = 0x00020000, 0x08000000, 0x10000000
_CLONE_NEWPID, _CLONE_NEWNET = 0x20000000, 0x40000000
_PR_SET_PDEATHSIG = 1


def run_in_sandbox(main):
    """Calls `main()` in a sandbox and ends this program with what it returns.

    A signal that would end this program ends the sandbox, too; the status is then 128 and its number.
    """
    libc = ctypes.CDLL(None, use_errno=True)
    flags = _CLONE_NEWNS | _CLONE_NEWIPC | _CLONE_NEWPID | _CLONE_NEWNET
    user, group, is_root = os.geteuid(), os.getegid(), os.geteuid() == 0
    if libc.unshare(flags if is_root else flags | _CLONE_NEWUSER) != 0:
        print(f"no name spaces for this user: {os.strerror(ctypes.get_errno())}; run it as root")
        sys.exit(1)
    if not is_root:
        _become_root_of_name_space(user, group)
    starter = os.getpid()
    child = os.fork()
    if child == 0:
        libc.prctl(_PR_SET_PDEATHSIG, signal.SIGKILL)
        # What came before that call is seen so: in a new name space the starter has no number at all.
        if os.getppid() not in (0, starter):
            os._exit(1)
        os._exit(_first_process(main, is_root))
    sys.exit(_outlive(child))


def _become_root_of_name_space(user, group):
    for name, text in (("setgroups", "deny"), ("uid_map", f"0 {user} 1"), ("gid_map", f"0 {group} 1")):
        with open(f"/proc/self/{name}", "w", encoding="ascii") as file:
            file.write(text)


def _outlive(child):
    """Waits for the sandbox; when told to end, ends it first. Returns the status to end with."""

    def end(number, _frame):
        os.kill(child, signal.SIGKILL)
        os.waitpid(child, 0)
        os._exit(128 + number)

    for number in (signal.SIGINT, signal.SIGTERM, signal.SIGHUP):
        signal.signal(number, end)
    _, status = os.waitpid(child, 0)
    return os.waitstatus_to_exitcode(status) & 0xFF


def _first_process(main, is_root):
    """The name space's process 1: sets the sandbox up, and reaps what its programs leave."""
    _mount("-t", "proc", "proc", "/proc")
    _mount("--make-rprivate", "none", "/")
    _mount("-t", "tmpfs", "-o", "mode=0755", "run", "/run")
    for folder in ("/run/lock", WORK):
        os.makedirs(folder)
    if is_root:
        _lay_over()
    else:
        _copy()
    _raise_loopback()
    worker = os.fork()
    if worker == 0:
        os.chdir(WORK)
        # What this user has made of their own shell does not count.
        os.environ.update(HOME=WORK, TMPDIR="/tmp", PATH="/usr/sbin:/usr/bin:/sbin:/bin", LC_ALL="C.UTF-8")
        status = main()
        sys.stdout.flush()
        sys.stderr.flush()
        os._exit(status)
    while True:
        pid, status = os.wait()
        if pid == worker:
            return os.waitstatus_to_exitcode(status) & 0xFF


def _mount(*arguments):
    subprocess.run(["mount", *arguments], check=True)


def _lay_over():
    for folder in _LAID_OVER:
        upper, work = f"/run/over{folder}/upper", f"/run/over{folder}/work"
        os.makedirs(upper)
        os.makedirs(work)
        shutil.copystat(folder, upper)
        _mount("-t", "overlay", "-o", f"lowerdir={folder},upperdir={upper},workdir={work}", "overlay", folder)


def _copy():
    for folder in filter(os.path.isdir, _COPIED):
        copy = f"/run/over{folder}"
        os.makedirs(os.path.dirname(copy), exist_ok=True)
        # A user may not read everything; what is missing then, no test needs.
        subprocess.run(["cp", "-rT", folder, copy], stderr=subprocess.DEVNULL, check=False)
        _mount("--bind", copy, folder)
    for folder in _EMPTIED:
        _mount("-t", "tmpfs", "empty", folder)


def _raise_loopback():
    with socket.socket(socket.AF_INET, socket.SOCK_DGRAM) as loopback:
        get_flags, set_flags, is_up = 0x8913, 0x8914, 1
        request = struct.pack("16sh", b"lo", 0)
        flags = struct.unpack("16sh", fcntl.ioctl(loopback, get_flags, request))[1]
        fcntl.ioctl(loopback, set_flags, struct.pack("16sh", b"lo", flags | is_up))
