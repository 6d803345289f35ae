#!/usr/bin/env python3
"""scripts/edit-httplib-for-windows: what it changes, and what it says when it cannot."""

import pathlib
import subprocess
import sys
import tempfile
import unittest

import script_module

SCRIPT = pathlib.Path(__file__).resolve().parents[2] / "scripts" / "edit-httplib-for-windows"


def known_lines():
    return list(script_module.load(SCRIPT).OBJECTS)


class EditHttplib(unittest.TestCase):
    def setUp(self):
        folder = tempfile.TemporaryDirectory()
        self.addCleanup(folder.cleanup)
        self.source = pathlib.Path(folder.name) / "httplib.h"
        self.target = pathlib.Path(folder.name) / "edited" / "httplib.h"
        self.lines = ['#define CPPHTTPLIB_VERSION "9.8.7"', *known_lines()]

    def edit(self):
        self.source.write_text("\n".join(self.lines))
        return subprocess.run([sys.executable, str(SCRIPT), str(self.source), str(self.target)],
                              capture_output=True, text=True, check=False)

    def test_makes_each_of_the_objects_one_for_all_threads(self):
        result = self.edit()
        self.assertEqual(result.returncode, 0, result.stderr)
        edited = self.target.read_text()
        self.assertNotIn("thread_local", edited)
        self.assertEqual(edited.count("static const"), len(known_lines()))

    def test_names_version_and_line_that_was_not_found(self):
        gone = self.lines.pop()
        result = self.edit()
        self.assertEqual(result.returncode, 1)
        self.assertIn(f"{self.source}, cpp-httplib 9.8.7: the line '{gone}' stands 0 times",
                      result.stderr)
        self.assertFalse(self.target.exists())

    def test_names_version_and_line_that_it_does_not_know(self):
        self.lines.append("  thread_local std::string unknown;")
        result = self.edit()
        self.assertEqual(result.returncode, 1)
        self.assertIn("cpp-httplib 9.8.7: '  thread_local std::string unknown;' is not known",
                      result.stderr)

    def test_leaves_numbers_alone(self):
        self.lines.append("  thread_local std::mt19937 rng(1);")
        self.assertEqual(self.edit().returncode, 0)
        self.assertIn("  thread_local std::mt19937 rng(1);", self.target.read_text())


if __name__ == "__main__":
    unittest.main()
