#!/usr/bin/python3
# SPDX-License-Identifier: MIT
"""Ansible module: brings a board's microcontroller to an image by flashguard, and says what it did."""

import json
import os
import shlex
import subprocess

from ansible.module_utils.basic import AnsibleModule

DOCUMENTATION = r"""
module: flashguard
short_description: Bring a wired MSP430 to a firmware image, proved
description:
  - Calls C(flashguard) on the host. The task is changed only when the chip was programmed.
  - A failure's message is the first line of C(flashguard), its status is in C(status).
options:
  image:
    description: Path of the Intel HEX file on the host.
    type: path
    required: true
  state:
    description:
      - C(installed) programs the image unless the firmware has that version already.
      - C(verified) compares the whole memory and programs nothing; it fails when the chip differs.
    choices: [installed, verified]
    default: installed
    type: str
  board:
    description: Name of the board, as C(flashguard boards) lists them.
    type: str
  force:
    description: Program the image even if the firmware has that version.
    type: bool
    default: false
  command:
    description: The program to call, as a shell's words.
    type: str
    default: flashguard
  record:
    description: File on the host that gets the run's JSON Lines, for the fleet report.
    type: path
"""

EXAMPLES = r"""
- name: Bring the chip to the release
  flashguard:
    image: /usr/lib/firmware/flashguard/firmware.hex
    board: BRDC
"""

RETURN = r"""
outcome: {description: What was done, returned: always, type: str, sample: installed}
status: {description: Exit status of flashguard, returned: always, type: int}
verdict: {description: The whole verdict object of flashguard, returned: always, type: dict}
"""


class Run:
    """One run of flashguard: its status, its verdict and the first line of its complaint."""

    def __init__(self, module, *words):
        command = [*shlex.split(module.params["command"]), "--json"]
        if module.params["board"]:
            command += ["--board", module.params["board"]]
        try:
            ended = subprocess.run([*command, *words], stdin=subprocess.DEVNULL, capture_output=True,
                                   text=True, errors="replace", check=False)
        except OSError as error:
            module.fail_json(msg=f"cannot start {command[0]}: {error.strerror}; is flashguard installed?")
        self.status = ended.returncode
        self.lines = ended.stdout
        self.verdict = _verdict_of(ended.stdout)
        complaint = ended.stderr.strip().splitlines()
        self.message = complaint[0] if complaint else f"flashguard ended with {self.status} and no word"

    def result(self):
        return {"status": self.status, "verdict": self.verdict,
                "outcome": self.verdict.get("outcome", "nothing")}


def _verdict_of(output):
    """The last object, or an empty one when the run came to no verdict."""
    try:
        return json.loads(output.rstrip().rsplit("\n", 1)[-1])
    except ValueError:
        return {}


def _versions(before, after):
    """For --diff."""
    return {"before": f"version {before}\n", "after": f"version {after}\n"}


def _need(module):
    """What an installation would do: asks the running firmware and reads the image, no more."""
    image, info = Run(module, "check", module.params["image"]), Run(module, "info")
    if image.status != 0:
        module.fail_json(msg=image.message, **image.result())
    wanted = (image.verdict.get("image") or {}).get("version")
    running = info.verdict.get("version_before")
    changed = module.params["force"] or wanted != running
    module.exit_json(changed=changed, diff=_versions(running, wanted) if changed else {},
                     **image.result())


def _install(module):
    run = Run(module, "install", *(["--force"] if module.params["force"] else []), module.params["image"])
    _keep(module, run)
    if run.status != 0:
        # A run that failed after the erase has changed the chip all the same.
        module.fail_json(msg=run.message, changed=run.verdict.get("chip") not in ("untouched", "as-it-was"),
                         **run.result())
    changed = run.verdict["outcome"] == "installed"
    diff = _versions(run.verdict.get("version_before"), run.verdict.get("version_after")) if changed else {}
    module.exit_json(changed=changed, diff=diff, **run.result())


def _verify(module):
    run = Run(module, "verify", module.params["image"])
    _keep(module, run)
    if run.status != 0:
        module.fail_json(msg=run.message, **run.result())
    module.exit_json(changed=False, **run.result())


def _keep(module, run):
    path = module.params["record"]
    if path:
        try:
            with open(path + ".new", "w", encoding="utf-8") as file:
                file.write(run.lines)
            os.replace(path + ".new", path)
        except OSError as error:
            module.warn(f"cannot write {path}: {error.strerror}")


def main():
    module = AnsibleModule(
        argument_spec={
            "image": {"type": "path", "required": True},
            "state": {"type": "str", "default": "installed", "choices": ["installed", "verified"]},
            "board": {"type": "str"},
            "force": {"type": "bool", "default": False},
            "command": {"type": "str", "default": "flashguard"},
            "record": {"type": "path"},
        },
        supports_check_mode=True,
    )
    if module.params["state"] == "verified":
        _verify(module)
    if module.check_mode:
        _need(module)
    _install(module)


if __name__ == "__main__":
    main()
