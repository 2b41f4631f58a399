# SPDX-License-Identifier: MIT
"""A private view of /sys/class/gpio, which a machine without such lines does not have.

The whole program is started anew in a mount namespace of its own, in which plain files stand for the
lines. Nothing outside of it is changed.
"""

import os
import subprocess
import sys

GPIO = "/sys/class/gpio"
SKIPPED = 77
_INSIDE = "FLASHMCU_PTYS_INSIDE"


def enter(lines):
    """Returns inside of the namespace, with a folder for each of the lines; ends the program with 77
    and the reason where a namespace may not be made."""
    if _INSIDE not in os.environ:
        root = [] if os.geteuid() == 0 else ["--map-root-user"]
        unshare = ["unshare", "--mount", *root]
        if subprocess.run([*unshare, "true"], capture_output=True).returncode != 0:
            print("skipped: no mount namespace may be made here")
            sys.exit(SKIPPED)
        mount = 'mount -t tmpfs none /sys/class && exec "$@"'
        os.environ[_INSIDE] = "yes"
        os.execvp("unshare", [*unshare, "sh", "-c", mount, "sh", sys.executable, *sys.argv])
    make_lines(GPIO, lines)


def make_lines(folder, lines):
    os.makedirs(folder, exist_ok=True)
    for name in ("export", "unexport"):
        open(os.path.join(folder, name), "w").close()
    for line in lines:
        line_folder = os.path.join(folder, f"gpio{line}")
        os.makedirs(line_folder, exist_ok=True)
        for name in ("direction", "value"):
            open(os.path.join(line_folder, name), "w").close()
