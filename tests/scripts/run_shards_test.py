#!/usr/bin/env python3
"""The output of test programs that run several of their cases at a time begins and ends with what failed."""

import pathlib
import subprocess
import sys
import tempfile
import unittest

import script_module

ROOT = pathlib.Path(__file__).resolve().parent.parent.parent
SCRIPT = ROOT / "tests" / "support" / "run_shards.py"
RUN_SHARDS = script_module.load(SCRIPT)

GOOD = "[ RUN      ] Suite.Good\nwell\n[       OK ] Suite.Good (1 ms)\n"
BAD = "[ RUN      ] Suite.Bad\nexpected 1\n[  FAILED  ] Suite.Bad (2 ms)\n"
BAD_VALUE = "[ RUN      ] A/Suite.Bad/0\nodd\n[  FAILED  ] A/Suite.Bad/0, where GetParam() = 1 (2 ms)\n"
LIST = "[  FAILED  ] 1 test, listed below:\n[  FAILED  ] Suite.Bad\n"


class RunShards(unittest.TestCase):
    def run_program(self, source):
        """A program whose source sees the index of its shard."""
        folder = tempfile.TemporaryDirectory()
        self.addCleanup(folder.cleanup)
        program = pathlib.Path(folder.name) / "program.py"
        program.write_text("import os, sys, time\nshard = int(os.environ['GTEST_SHARD_INDEX'])\n" + source)
        done = subprocess.run([sys.executable, SCRIPT, "3", sys.executable, program],
                              capture_output=True, text=True, timeout=100, check=False)
        return done.returncode, done.stdout

    def test_prints_every_shard_in_order_and_nothing_else_when_all_pass(self):
        code, out = self.run_program("time.sleep((2 - shard) / 10)\nprint('output', shard)\n")

        self.assertEqual(code, 0)
        self.assertEqual(out, "".join(f"output {index}\nshard {index + 1} of 3: exit code 0\n"
                                      for index in range(3)))

    def test_begins_and_ends_with_the_failed_case_although_its_shard_is_not_the_last(self):
        code, out = self.run_program(f"print({GOOD!r} + ({BAD!r} if shard == 1 else {GOOD!r}), end='')\n"
                                     "sys.exit(shard == 1)\n")

        self.assertEqual(code, 1)
        told = BAD + "shard 2 failed with exit code 1: Suite.Bad\n"
        self.assertTrue(out.startswith("What failed:\n" + told + "\n[ RUN      ] Suite.Good\n"), out)
        self.assertTrue(out.endswith("shard 3 of 3: exit code 0\n\nWhat failed, once more:\n" + told), out)

    def test_names_each_failed_case_once_behind_the_causes(self):
        self.assertEqual(RUN_SHARDS.summary([BAD + GOOD + BAD_VALUE + LIST, GOOD], [1, 0]),
                         BAD.splitlines() + BAD_VALUE.splitlines() +
                         ["shard 1 failed with exit code 1: Suite.Bad",
                          "shard 1 failed with exit code 1: A/Suite.Bad/0"])

    def test_takes_a_case_that_has_not_ended_for_the_failed_one(self):
        self.assertEqual(RUN_SHARDS.summary([GOOD + "[ RUN      ] Suite.Hangs\nstill here\n"], [-9]),
                         ["[ RUN      ] Suite.Hangs", "still here",
                          "shard 1 failed with exit code -9: Suite.Hangs"])

    def test_shows_the_end_of_a_shard_that_failed_outside_its_cases(self):
        output = "\n".join(str(number) for number in range(200)) + "\n" + "leak\n"

        told = RUN_SHARDS.summary([GOOD + output], [1])

        self.assertEqual(told[-2:], ["leak", "shard 1 failed with exit code 1: no case"])
        self.assertEqual(len(told), RUN_SHARDS.MAX_LINES + 1)

    def test_leaves_out_the_middle_of_a_long_case_and_the_rest_of_a_long_line(self):
        lines = ["[ RUN      ] Suite.Bad", *["y" * 1000] * 100, "[  FAILED  ] Suite.Bad (2 ms)"]

        told = RUN_SHARDS.summary(["\n".join(lines)], [1])

        self.assertEqual((told[0], told[-2]), (lines[0], lines[-1]))
        self.assertEqual(len(told), RUN_SHARDS.MAX_LINES + 2)
        self.assertEqual(max(len(line) for line in told), RUN_SHARDS.MAX_LINE)

    def test_ends_a_shard_that_does_not_end(self):
        shard = subprocess.Popen([sys.executable, "-c", "import time; time.sleep(1000)"])

        self.assertNotEqual(RUN_SHARDS.wait_or_kill(shard, 0), 0)


if __name__ == "__main__":
    unittest.main()
