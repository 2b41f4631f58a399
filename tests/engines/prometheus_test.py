#!/usr/bin/python3
# SPDX-License-Identifier: MIT
"""The file of figures, read by the real node exporter of Prometheus."""

import os
import subprocess
import urllib.request

from support.boards import Board, read
from support.engine_test import OLD, EngineTest, run_tests


def _samples(text):
    """Name and labels of each sample, and its value."""
    lines = [line for line in text.splitlines() if line and not line.startswith("#")]
    return {name: float(value) for name, _, value in (line.rpartition(" ") for line in lines)}


class PrometheusTest(EngineTest):
    def exporter(self):
        """Starts it on the folder `textfile`, waits until it listens, and returns where."""
        program = subprocess.Popen(
            ["prometheus-node-exporter", "--collector.disable-defaults", "--collector.textfile",
             "--collector.textfile.directory=textfile", "--web.listen-address=127.0.0.1:9100"],
            stdin=subprocess.DEVNULL, stdout=subprocess.DEVNULL, stderr=subprocess.PIPE, text=True,
            start_new_session=True)
        self.addCleanup(program.stderr.close)
        self.addCleanup(self.end_program, program)
        while "TLS is disabled" not in (line := program.stderr.readline()):
            self.assertTrue(line, "the exporter ended")
        return "http://127.0.0.1:9100/metrics"

    def test_every_figure_of_an_installation_and_of_a_failure_is_read(self):
        os.makedirs("textfile")
        sound, dead = Board("sound", image_path=OLD), Board("dead", "--option", "silent=yes")
        self.assertEqual(sound.flashguard("--prometheus", "textfile/sound.prom", "install", self.new).returncode, 0)
        self.assertEqual(dead.flashguard("--prometheus", "textfile/dead.prom", "install", self.new).returncode, 13)
        address = self.exporter()
        for name in ("sound", "dead"):
            if name == "dead":
                # One board on one machine: the two would have the same names.
                os.remove("textfile/sound.prom")
            else:
                os.rename("textfile/dead.prom", "dead.prom")
            with urllib.request.urlopen(address) as answer:
                seen = _samples(answer.read().decode())
            written = _samples(read(f"textfile/{name}.prom"))
            self.assertTrue(written)
            self.assertEqual({key: seen.get(key) for key in written}, written)
            self.assertEqual(seen["node_textfile_scrape_error"], 0)
            if name == "sound":
                os.rename("dead.prom", "textfile/dead.prom")


if __name__ == "__main__":
    run_tests()
