#!/usr/bin/env python3
"""Runs scripts/demo with an installed program: the first thing that a new user sees works.

usage: demo_test.py PROGRAM EXAMPLE_CONFIG FLASH_DATA
"""

import pathlib
import re
import shutil
import subprocess
import sys
import tempfile
import unittest

from installed_program import held_port, install

PROGRAM, EXAMPLES, FLASH_DATA = (pathlib.Path(argument).resolve() for argument in sys.argv[1:4])
DEMO = pathlib.Path(__file__).resolve().parent.parent.parent / "scripts" / "demo"


class DemoTest(unittest.TestCase):
    def setUp(self):
        scratch = tempfile.TemporaryDirectory()
        self.addCleanup(scratch.cleanup)
        self.folder = pathlib.Path(scratch.name)

    def demo(self, *arguments):
        return subprocess.run([DEMO, *arguments], stdin=subprocess.DEVNULL, stdout=subprocess.PIPE,
                              stderr=subprocess.STDOUT, text=True, timeout=240, check=False)

    def test_runs_the_start_sequence_and_every_route_and_ends_the_server(self):
        install(self.folder, PROGRAM, EXAMPLES, keeps_start_sequence=True)
        shutil.copytree(FLASH_DATA, self.folder / "config" / "data" / "flashdata", dirs_exist_ok=True)
        with held_port() as port:
            ran = self.demo("--built", self.folder, str(port.getsockname()[1]))

        self.assertEqual(ran.returncode, 0, ran.stdout)
        report = re.search(r"^demo: report: (.+)$", ran.stdout, re.MULTILINE)
        self.assertIsNotNone(report, ran.stdout)
        self.assertIn("</html>", pathlib.Path(report[1]).read_text(encoding="utf-8"))
        self.assertIn('demo: PUT /kel/v1/tracing {"tracing":true}', ran.stdout)
        self.assertRegex(ran.stdout, r"\n[^\n]*\bShutting down kel_server\n")
        self.assertTrue(ran.stdout.endswith("demo: the server ended with exit code 0\n"), ran.stdout)

    def test_says_when_the_program_does_not_start(self):
        ran = self.demo("--built", self.folder, "1")

        self.assertEqual(ran.returncode, 1)
        self.assertIn("demo: error: the server ended early\n", ran.stdout)

    def test_names_what_an_argument_lacks(self):
        ran = self.demo("--built", self.folder)

        self.assertEqual((ran.returncode, ran.stdout),
                         (1, "demo: error: --built needs a folder and a port\n"))


if __name__ == "__main__":
    unittest.main(argv=sys.argv[:1])
