#!/usr/bin/env python3
# SPDX-License-Identifier: MIT
"""What the unit starts, within the mounts that the unit asks for, on pseudo-terminals in real time.

    tests/packages/unit_in_its_mounts.py BUILD

systemd itself is not needed: the settings are read from the unit and made in a mount namespace, each
as systemd.exec(5) describes it. tests/packages/booted lets systemd do it.
Exit status: 0 all well, 1 not, 77 this machine gives no mount namespace.
"""

import os
import pathlib
import re
import subprocess
import sys

ROOT = pathlib.Path(__file__).resolve().parents[2]
sys.path.insert(0, str(ROOT / "tests/ptys"))

import namespace  # noqa: E402
from fake_board import FakeBoard, application  # noqa: E402

BUILD = pathlib.Path(sys.argv[1]).resolve()
IMAGE = ROOT / "examples/blinky/blinky.hex"
BLINKY_VERSION = 0x1234
TIME_LIMIT_S = 60


def settings():
    """Each setting of the unit with its words, in order."""
    unit = (BUILD / "packaging/flashmcu@.service").read_text()
    found = {}
    for line in unit.splitlines():
        if re.match(r"\w+=", line):
            name, value = line.split("=", 1)
            found.setdefault(name, []).extend(value.split())
    return found


def mount(*words):
    subprocess.run(["mount", *words], check=True)


def close_the_system(state):
    """ProtectSystem=strict: all but /dev, /proc and /sys can only be read, and the state's folder."""
    for line in pathlib.Path("/proc/self/mountinfo").read_text().splitlines():
        place, options = line.split()[4:6]
        open_trees = ("/dev", "/proc", "/sys", state)
        if not any(place == tree or place.startswith(tree + "/") for tree in open_trees):
            kept = ",".join(option for option in options.split(",") if option != "rw")
            subprocess.run(["mount", "-o", f"remount,bind,ro,{kept}", place], capture_output=True)


def present(words):
    """The paths that are there. One that is not, without a '-' before it, keeps the unit from starting."""
    for word in words:
        path = word.removeprefix("-")
        if os.path.exists(path):
            yield path
        elif not word.startswith("-"):
            sys.exit(f"status=226/NAMESPACE: the unit names {path}, which it cannot see")


def make_mounts(unit, state):
    assert unit["ProtectSystem"] == ["strict"], unit["ProtectSystem"]
    close_the_system(state)
    hidden = os.path.join(state, "hidden")
    os.mkdir(hidden, 0)
    if unit.get("ProcSubset") == ["pid"]:
        mount("-t", "proc", "-o", "subset=pid", "proc", "/proc")
    for path in present(unit.get("ReadOnlyPaths", [])):
        mount("--bind", path, path)
        mount("-o", "remount,bind,ro", path)
    for path in present(unit.get("InaccessiblePaths", [])):
        mount("--bind", hidden, path)


def start(unit, step, board, state):
    words = " ".join(unit[step]).replace("%i", "BRDA").replace("$FLASHMCU_OPTIONS", "").split()
    words = [word.replace("/usr/lib/firmware/flashmcu/BRDA.hex", str(IMAGE)) for word in words]
    command = [str(ROOT / "packaging/systemd/at-boot"), *words[1:], "-d", board.port, "-c", board.comm]
    environment = {"PATH": f"{state}/bin:/usr/bin:/bin", "STATE_DIRECTORY": state}
    ended = subprocess.run(
        command, env=environment, timeout=TIME_LIMIT_S, check=False, capture_output=True, text=True
    )
    print(ended.stdout + ended.stderr, end="")
    return ended


def expect(is_so, what):
    if not is_so:
        sys.exit(f"not so: {what}")


def main():
    namespace.enter(lines=(90, 86, 91))
    unit = settings()
    # In the namespace's own file system, and gone with it.
    state = os.path.join(os.path.dirname(namespace.GPIO), "state")
    os.mkdir(state)
    board = FakeBoard(application(BLINKY_VERSION))
    os.mkdir(f"{state}/bin")
    os.symlink(BUILD / "bin/flashmcu", f"{state}/bin/flashmcu")
    marker = os.path.join(state, "BRDA.unfinished")
    make_mounts(unit, state)
    expect(not os.access("/usr", os.W_OK), "the system is closed")
    with board.serving():
        ended = start(unit, "ExecStart", board, state)
        expect(ended.returncode == 0, "a chip that is current is left alone")
        expect(not os.path.exists(marker), "no marker is left by a run that ended well")
        open(marker, "w").close()
        ended = start(unit, "ExecStopPost", board, state)
    expect(ended.returncode == 0, "the chip is brought back")
    lines = pathlib.Path(namespace.GPIO)
    expect((lines / "export").read_text() == "918690", "the lines are exported")
    expect((lines / "gpio90/value").read_text() == "0", "the chip is let go")
    expect("error" not in ended.stdout, "no file of a line is out of reach")


if __name__ == "__main__":
    main()
