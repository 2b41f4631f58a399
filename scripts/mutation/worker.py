# SPDX-License-Identifier: MIT
"""A copy of the sources with a build of its own, in which one mutant after another is tried."""

import hashlib
import os
import re
import shutil
import subprocess
from dataclasses import dataclass
from pathlib import Path

# What the programs under test are, whatever is damaged.
_PROGRAMS = ("flashmcu", "vboard")
# Targets that are not called like what they make.
_FILES = {"vboard_library": "libvboard.so"}
_FAILED = re.compile(r"^\[  FAILED  \] ([\w./]+)", re.MULTILINE)


@dataclass(frozen=True)
class Verdict:
    result: str  # killed, survived, or broken: does not compile
    by: str = ""


class Worker:
    def __init__(self, repository, folder, suites):
        self.suites = suites
        self.source = Path(folder) / "source"
        self.build = Path(folder) / "build"
        self._repository = Path(repository)
        self._limit_seconds = {}
        self._sound = {}

    def prepare(self):
        """Brings the copy of the sources up to date."""
        self._copy_sources()
        options = ["-DCMAKE_BUILD_TYPE=Debug", "-DCMAKE_CXX_FLAGS_DEBUG=-O1 -w",
                   "-DFLASHMCU_WARNINGS_AS_ERRORS=OFF"]
        if shutil.which("ld.lld"):
            options.append("-DCMAKE_EXE_LINKER_FLAGS=-fuse-ld=lld")
        if shutil.which("ccache"):
            options.append("-DCMAKE_CXX_COMPILER_LAUNCHER=ccache")
        self._must(["cmake", "-S", self.source, "-B", self.build, "-G", "Ninja", *options])

    def build_all(self):
        """Builds every suite and what it starts. None, or what the build printed when it failed."""
        done = subprocess.run(["ninja", "-k", "0", "-C", self.build, *_PROGRAMS, *self._targets()],
                              capture_output=True, text=True, env=self._environment(), check=False)
        return None if done.returncode == 0 else done.stdout

    def program(self, suite):
        return self.build / "bin" / suite.program

    def measure(self, log):
        """Builds the sources as they are, and looks how long their tests take."""
        output = self.build_all()
        if output is not None:
            raise RuntimeError(f"the build fails:\n{output[-4000:]}")
        for suite in self.suites:
            name = suite.program
            seconds, outcome = _timed(lambda suite=suite: self._run_suite(suite, None))
            if outcome:
                raise RuntimeError(f"{name} fails without any mutant: {outcome}")
            self._limit_seconds[name] = 20 + 10 * seconds
            self._sound[name] = self._digest(suite)
            log(f"{name} takes {seconds:.1f} s")

    def try_mutant(self, mutant):
        path = self.source / mutant.path
        original = path.read_text(encoding="utf-8")
        path.write_text(mutant.apply(original), encoding="utf-8")
        try:
            return self._judge()
        finally:
            path.write_text(original, encoding="utf-8")

    def _judge(self):
        for suite in self.suites:
            if not self._builds(suite.program, *suite.starts):
                return Verdict("broken")
            # What the mutant is not in does what it did without.
            if self._digest(suite) == self._sound[suite.program]:
                continue
            by = self._run_suite(suite, self._limit_seconds[suite.program])
            if by:
                return Verdict("killed", by)
        return Verdict("survived")

    def _digest(self, suite):
        digest = hashlib.sha256()
        for target in (suite.program, *suite.starts):
            digest.update((self.build / "bin" / _FILES.get(target, target)).read_bytes())
        return digest.hexdigest()

    def _targets(self):
        return [target for suite in self.suites for target in (suite.program, *suite.starts)]

    def _copy_sources(self):
        listed = subprocess.run(
            ["git", "-C", self._repository, "ls-files", "-z", "--cached", "--others",
             "--exclude-standard"], check=True, capture_output=True, text=True).stdout
        names = {name for name in listed.split("\0") if name and
                 (self._repository / name).is_file()}
        for name in names:
            source, copy = self._repository / name, self.source / name
            # Unchanged files keep their time, so that the build has little to do.
            if not copy.is_file() or copy.read_bytes() != source.read_bytes():
                copy.parent.mkdir(parents=True, exist_ok=True)
                shutil.copy(source, copy)
        for copy in self.source.rglob("*"):
            if copy.is_file() and str(copy.relative_to(self.source)) not in names:
                copy.unlink()

    def _environment(self):
        # Sources that are found by other ways give the same objects.
        return {"CCACHE_BASEDIR": str(self.source.parent), "CCACHE_NOHASHDIR": "1", **os.environ}

    def _must(self, command):
        done = subprocess.run([str(word) for word in command], capture_output=True, text=True,
                              env=self._environment(), check=False)
        if done.returncode != 0:
            raise RuntimeError(f"{command[0]} fails:\n{done.stdout[-2000:]}{done.stderr[-2000:]}")

    def _builds(self, *targets):
        # A mutant is built once: it would only fill the cache. Listing a mutant's tests may fail,
        # which is as good as a failed test.
        done = subprocess.run(["ninja", "-C", self.build, *targets], capture_output=True,
                              text=True, env={**self._environment(), "CCACHE_DISABLE": "1"},
                              check=False)
        return done.returncode == 0

    def _run_suite(self, suite, limit_seconds):
        """Empty when every test passes, else what went wrong first."""
        try:
            done = subprocess.run(
                [self.program(suite), suite.filter, "--gtest_fail_fast", "--gtest_brief=1"],
                capture_output=True, text=True,
                errors="replace", timeout=limit_seconds, check=False, cwd=self.build,
                # The same random inputs each time.
                env={**os.environ, "RC_PARAMS": "seed=1"})
        except subprocess.TimeoutExpired:
            return f"{suite.program}: the time limit"
        if done.returncode == 0:
            return ""
        failed = _FAILED.search(done.stdout)
        return failed.group(1) if failed else f"{suite.program}: status {done.returncode}"


def _timed(action):
    before = os.times().elapsed
    result = action()
    return os.times().elapsed - before, result
