# SPDX-License-Identifier: MIT
"""A fleet of virtual boards, each with a chip, a model, a firmware and perhaps a fault of its own.

The same count and seed give the same fleet.
"""

import dataclasses
import json
import random
import shlex

from support.boards import Board, versioned, write

_CHIPS = ("msp430-56k", "msp430-56k-v110", "msp430-56k-v202", "msp430-56k-key")
_MODELS = ("BRDA", "BRDB", "BRDC")
_OLD_VERSIONS = (1, 2, 3)

# How many of a hundred boards.
_SHARES = {"dead": 2, "noisy": 2, "stuck": 1, "cut": 5}


@dataclasses.dataclass
class Member:
    """One board of the fleet."""

    name: str
    board: Board
    model: str
    kind: str
    """sound, or a key of _SHARES."""
    run_options: tuple
    """Its faults, as options of the run."""

    def can_be_updated(self):
        return self.kind in ("sound", "noisy", "cut")


def make_fleet(count, seed, folder, image, version):
    """Makes the boards' files below `folder`. Some have the image already, some hold nothing."""
    draw = random.Random(seed)
    kinds = [kind for kind, share in _SHARES.items() for _ in range(max(1, count * share // 100))]
    kinds += ["sound"] * (count - len(kinds))
    draw.shuffle(kinds)
    images = {old: versioned(f"{folder}/old-{old}.hex", old) for old in _OLD_VERSIONS} | {version: image}
    return [_make(draw, f"board-{number:04}", kind, folder, images) for number, kind in enumerate(kinds)]


def _make(draw, name, kind, folder, images):
    model, chip = draw.choice(_MODELS), draw.choice(_CHIPS)
    start = ["--option", "silent=yes"] if kind == "dead" else []
    # A board with a fault is never current: it would not show.
    held = draw.choice([*_OLD_VERSIONS, *([] if kind != "sound" else [None, max(images)])])
    if held is None:
        start = ["--erased"]
    board = Board(f"{folder.rsplit('/', 1)[-1]}/{name}", "--model", model, "--chip", chip, *start,
                  image_path=images.get(held))
    return Member(name, board, model, kind, _faults(draw, kind))


def _faults(draw, kind):
    rules = []
    if kind == "noisy":
        rules = [draw.choice(("char:to-chip#{}=parity", "char:to-host#{}=change 55", "char:to-chip#{}=lost"))
                 .format(draw.randrange(100, 600)) for _ in range(4)]
    elif kind == "stuck":
        rules = ["cell:0x2110=stuck-erased"]
    elif kind == "cut":
        # The chip alone, or with it the computer beside it.
        rules = draw.choice((["answer:write#2=power off 100ms"],
                             ["answer:write#2=power off", f"write:port#{draw.randrange(60, 90)}=kill"]))
    return tuple(word for rule in rules for word in ("--fault", rule))


def write_inventory(path, members, folder, with_cuts):
    """Each board is a host with its own command, and its own folder for locks: all share one machine."""
    hosts = {}
    for member in members:
        faults = () if member.kind == "cut" and not with_cuts else member.run_options
        command = member.board.command(*faults, program_options=("--lock-folder", f"{folder}/{member.name}"))
        hosts[member.name] = {"board": member.model, "flashguard": command}
    common = {"ansible_connection": "local", "ansible_python_interpreter": "/usr/bin/python3"}
    write(path, json.dumps({"boards": {"hosts": hosts, "vars": common}}))


def words(member, folder):
    """The same command line, for a run without Ansible."""
    command = member.board.command(*member.run_options,
                                   program_options=("--lock-folder", f"{folder}/{member.name}"))
    return [*shlex.split(command), "--board", member.model]
