# SPDX-License-Identifier: MIT
"""Tries mutants that are compiled together (switched.py): each costs only the tests that reach its
place, which a run of every test by itself has told before."""

import os
import re
import resource
import signal
import subprocess
import tempfile
import time
from collections import Counter
from dataclasses import dataclass
from pathlib import Path

from .source import Source
from .switched import ALWAYS, GROUPS, SWITCH_HEADER, Shape, switch
from .worker import Verdict

_BROKEN = re.compile(r"^mutant-(\d+):\d+:\d+: .*(?:error:|in .constexpr. expansion)", re.MULTILINE)
_ERROR_IN_FILE = re.compile(r"^([\w./-]+\.cpp):\d+:\d+: error: ", re.MULTILINE)
_MUST_BE_CONSTANT = re.compile(
    r"^([\w./-]+\.cpp):\d+:\d+: error: the value of .*::(\w+). is not usable in a constant",
    re.MULTILINE)
_FAILED = re.compile(r"^\[  FAILED  \] ([\w./]+)", re.MULTILINE)
# Tests of a suite are run in portions: first those that have killed most in the same source, then
# the quickest.
_PORTIONS = (12, 60)
# Of the processor's time, beside ten times what the tests take: for tests alone, and for tests that
# start programs. A damage that never ends costs this much.
_ALONE_SECONDS = 2
_STARTING_SECONDS = 30
# To start programs is dear: of a suite that does, a mutant is shown so many tests at most, those
# that have killed most in its source and then those that reach the least beside its place. One that
# they don't kill counts as alive.
_MOST_STARTING = 100
_MEMORY_BYTES = 8 << 30


@dataclass(frozen=True)
class Test:
    suite: object
    name: str
    seconds: float
    reached: bytes  # A byte a group.

    def reach(self):
        """How many groups it reaches."""
        return len(self.reached) - self.reached.count(0)


class SwitchedWorker:
    """One build for all of the mutants that it `has`. `worker` copied and built the sources as they
    are; it is left so that it can build single mutants again."""

    def __init__(self, worker, repository, untouched_tables):
        self._worker = worker
        self._repository = repository
        self._untouched = untouched_tables
        self._groups = {}
        self._tests = []
        self._kills = Counter()
        self.broken = set()

    def has(self, number):
        return number in self._groups

    def prepare(self, mutants, log):
        """`mutants` are pairs of number, from 1, and mutant."""
        (self._worker.source / "mutant_switch.h").write_text(SWITCH_HEADER, encoding="utf-8")
        by_path = {}
        for number, mutant in mutants:
            by_path.setdefault(mutant.path, []).append((number, mutant))
        group = ALWAYS + 1
        fixed = {path: _tables_of(path, self._text(path)) if path in self._untouched else set()
                 for path in by_path}
        while True:
            groups, group = {}, ALWAYS + 1
            for path, those in by_path.items():
                left = [pair for pair in those if pair[0] not in self.broken]
                switched, group = switch(Source(path, self._text(path)), left, group, fixed[path])
                groups.update(switched.group_of)
                _write_if_new(self._worker.source / path, switched.text)
            output = self._worker.build_all()
            if output is None:
                break
            self._leave_out_what_fails(output, by_path, fixed)
            log(f"{len(self.broken)} mutants do not compile")
        # Tests that read the sources, for the lines of the log, find them as they are.
        for path in by_path:
            (self._worker.source / path).write_text(self._text(path), encoding="utf-8")
        assert group < GROUPS
        self._groups = groups
        log(f"{len(groups)} mutants are compiled together in {group} groups")
        self._watch(log)

    def _leave_out_what_fails(self, output, by_path, fixed):
        """A table's damage shows where its constants are used, mutants' errors there included."""
        names = set(_MUST_BE_CONSTANT.findall(output))
        spoilt = {path for path in _ERROR_IN_FILE.findall(output) if path in fixed}
        for path in spoilt:
            of_path = {name for at, name in names if at == path}
            fixed[path] |= (of_path if of_path - fixed[path]
                            else _tables_of(path, self._text(path)))
        broken = {int(number) for number in _BROKEN.findall(output)}
        broken -= {number for path in spoilt for number, _ in by_path[path]}
        if not broken and not spoilt:
            raise RuntimeError(f"the build fails:\n{output[-4000:]}")
        self.broken |= broken

    def _text(self, path):
        return (self._repository / path).read_text(encoding="utf-8")

    def _watch(self, log):
        """Runs every test by itself, to see how long it takes and what it reaches."""
        with tempfile.TemporaryDirectory() as folder:
            reached = Path(folder) / "reached"
            for suite in self._worker.suites:
                started = time.monotonic()
                names, before_suite = self._names(suite), len(self._tests)
                for name in names:
                    reached.write_bytes(bytes(GROUPS))
                    before = time.monotonic()
                    outcome = self._run(suite, [name], {"MUTANT_REACHED": str(reached)}, 600)
                    if outcome:
                        # Such as one that measures memory, of which the mutants need some.
                        log(f"{name} fails with every mutant built in and none on: left out")
                        continue
                    self._tests.append(Test(suite, name, time.monotonic() - before,
                                            reached.read_bytes()))
                log(f"{suite.program}: {len(names)} tests, {time.monotonic() - started:.0f} s")
                if 5 * (len(self._tests) - before_suite) < 4 * len(names):
                    raise RuntimeError(f"too many tests of {suite.program} fail without any mutant")

    def _names(self, suite):
        done = subprocess.run([self._worker.program(suite), "--gtest_list_tests", suite.filter],
                              check=True, capture_output=True, text=True)
        names, of = [], ""
        for line in done.stdout.splitlines():
            word = line.split("#")[0].rstrip()
            if line.startswith("  "):
                names.append(of + word.strip())
            elif word.endswith("."):
                of = word
        return [name for name in names if "DISABLED_" not in name]

    def try_mutant(self, number, path, starting):
        """With all tests that start programs, or with all others."""
        for suite in self._worker.suites:
            if bool(suite.starts) != starting:
                continue
            tests = sorted(
                (test for test in self._tests if test.suite is suite and (
                    self._groups[number] == ALWAYS or test.reached[self._groups[number]])),
                key=lambda test: (-self._kills[path, test.name],
                                  test.reach() if starting else 0, test.seconds))
            if starting:
                tests = tests[:_MOST_STARTING]
            for portion in _portions(tests):
                seconds = sum(test.seconds for test in portion)
                by = self._run(suite, [test.name for test in portion],
                               {"MUTANT": str(number)},
                               10 * seconds + (_STARTING_SECONDS if starting else _ALONE_SECONDS))
                if by:
                    self._kills[path, by] += 1
                    return Verdict("killed", by)
        return Verdict("survived")

    def _run(self, suite, names, words, limit_seconds):
        """Empty when every test passes, else what went wrong first."""
        environment = {**os.environ, "RC_PARAMS": "seed=1", **words}
        with tempfile.TemporaryFile("w+", errors="replace") as output:
            with subprocess.Popen(
                    [self._worker.program(suite), "--gtest_fail_fast", "--gtest_brief=1",
                     "--gtest_filter=" + ":".join(names)],
                    stdout=output, stderr=subprocess.STDOUT, stdin=subprocess.DEVNULL,
                    cwd=self._worker.build, env=environment, start_new_session=True,
                    preexec_fn=lambda: _limit(limit_seconds)) as process:
                try:
                    status = process.wait(5 * limit_seconds)
                except subprocess.TimeoutExpired:
                    # What the tests have started may wait for ever, too.
                    os.killpg(process.pid, signal.SIGKILL)
                    return f"{suite.program}: the time limit"
            if status == 0:
                return ""
            output.seek(0)
            failed = _FAILED.search(output.read())
            return failed.group(1) if failed else f"{suite.program}: a crash"


def _limit(seconds):
    """Of the processor's time: how busy the machine is does not count."""
    resource.setrlimit(resource.RLIMIT_CPU, (int(seconds) + 1, int(seconds) + 2))
    resource.setrlimit(resource.RLIMIT_AS, (_MEMORY_BYTES, _MEMORY_BYTES))
    resource.setrlimit(resource.RLIMIT_CORE, (0, 0))


def _portions(tests):
    for size in _PORTIONS:
        if tests:
            yield tests[:size]
        tests = tests[size:]
    if tests:
        yield tests


def _tables_of(path, text):
    return {table.name for table in Shape(Source(path, text)).tables}


def _write_if_new(path, text):
    if path.read_text(encoding="utf-8") != text:
        path.write_text(text, encoding="utf-8")
