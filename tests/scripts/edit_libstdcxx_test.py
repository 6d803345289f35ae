#!/usr/bin/env python3
"""scripts/edit-libstdcxx-for-windows: what it changes, and what it says when it cannot.

A script stands in for the compiler: it says a version and where its header is.
"""

import os
import pathlib
import subprocess
import sys
import tempfile
import unittest

import script_module

SCRIPT = pathlib.Path(__file__).resolve().parents[2] / "scripts" / "edit-libstdcxx-for-windows"


class EditLibstdcxx(unittest.TestCase):
    def setUp(self):
        folder = tempfile.TemporaryDirectory()
        self.addCleanup(folder.cleanup)
        self.folder = pathlib.Path(folder.name)
        self.module = script_module.load(SCRIPT)
        self.source = self.folder / "gcc" / self.module.HEADER
        self.target = self.folder / "edited" / self.module.HEADER
        self.version = "12-posix"
        self.text = "// begin\n" + "// between\n".join(before for before, _ in self.module.EDITS)

    def edit(self):
        self.source.parent.mkdir(parents=True, exist_ok=True)
        self.source.write_text(self.text)
        compiler = self.folder / self.module.COMPILER
        compiler.write_text("#!/bin/sh\n"
                            f'if [ "$1" = -dumpversion ]; then echo {self.version}; else\n'
                            f"cat >/dev/null; echo '-.o: {self.source} /other.h'; fi\n")
        compiler.chmod(0o755)
        path = f"{self.folder}{os.pathsep}{os.environ['PATH']}"
        return subprocess.run([sys.executable, str(SCRIPT), str(self.folder / "edited")],
                              capture_output=True, text=True, check=False,
                              env={**os.environ, "PATH": path})

    def test_puts_each_piece_under_the_lock_and_keeps_the_rest(self):
        result = self.edit()
        self.assertEqual(result.returncode, 0, result.stderr)
        edited = "// begin\n" + "// between\n".join(after for _, after in self.module.EDITS)
        self.assertEqual(self.target.read_text(), edited)

    def test_names_version_and_lines_that_were_not_found(self):
        gone = self.module.EDITS[1][0]
        self.text = self.text.replace(gone, "")
        result = self.edit()
        self.assertEqual(result.returncode, 1)
        self.assertIn(f"{self.source}, GCC 12-posix: expected once, found 0 times:\n{gone}",
                      result.stderr)
        self.assertFalse(self.target.exists())

    def test_names_lines_that_stand_twice(self):
        twice = self.module.EDITS[0][0]
        self.text += twice
        result = self.edit()
        self.assertEqual(result.returncode, 1)
        self.assertIn(f"found 2 times:\n{twice}", result.stderr)

    def test_leaves_an_edited_header_alone(self):
        self.edit()
        os.utime(self.target, (1, 1))
        self.assertEqual(self.edit().returncode, 0)
        self.assertEqual(self.target.stat().st_mtime, 1)

    def test_removes_its_header_where_the_compiler_is_mended(self):
        self.edit()
        self.version = "13-posix"
        self.assertEqual(self.edit().returncode, 0)
        self.assertFalse(self.target.exists())


if __name__ == "__main__":
    unittest.main()
