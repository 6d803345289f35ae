#!/usr/bin/env python3
"""What stands beside a built program is completed after each link, and what was edited stays."""

import os
import pathlib
import subprocess
import sys
import tempfile
import unittest

ROOT = pathlib.Path(__file__).resolve().parent.parent.parent
CMAKE = sys.argv.pop(1) if len(sys.argv) > 1 else "cmake"
PROJECT = f"""
cmake_minimum_required(VERSION 3.25)
project(copy_beside LANGUAGES C)
list(APPEND CMAKE_MODULE_PATH "{ROOT}/cmake")
include(RunsInPlace)
add_executable(program main.c)
kel_copy_beside(program "${{CMAKE_SOURCE_DIR}}/example" config)
"""


class CopyBeside(unittest.TestCase):
    def setUp(self):
        folder = tempfile.TemporaryDirectory()
        self.addCleanup(folder.cleanup)
        self.source = pathlib.Path(folder.name) / "source"
        self.built = pathlib.Path(folder.name) / "built"
        self.config = self.built / "config"
        (self.source / "example" / "projects").mkdir(parents=True)
        (self.source / "CMakeLists.txt").write_text(PROJECT)
        (self.source / "example" / "KelServer.xml").write_text("example")
        (self.source / "example" / "projects" / "project.xml").write_text("example")
        (self.source / "main.c").write_text("")
        subprocess.run([CMAKE, "-G", "Ninja", "-S", self.source, "-B", self.built], check=True,
                       stdout=subprocess.DEVNULL)
        self.link("int main(void) { return 0; }")

    def link(self, program):
        (self.source / "main.c").write_text(program)
        before = self.linked()
        subprocess.run([CMAKE, "--build", self.built], check=True, stdout=subprocess.DEVNULL)
        self.assertNotEqual(self.linked(), before)

    def linked(self):
        program = self.built / "program"
        return program.read_bytes() if program.exists() else None

    def test_brings_all_files_with_the_first_link(self):
        self.assertEqual((self.config / "KelServer.xml").read_text(), "example")
        self.assertEqual((self.config / "projects" / "project.xml").read_text(), "example")

    def test_leaves_what_was_edited(self):
        (self.config / "KelServer.xml").write_text("edited")
        (self.config / "projects" / "own.xml").write_text("own")
        os.utime(self.config / "KelServer.xml", (0, 0))  # older than the example
        self.link("int main(void) { return 1; }")
        self.assertEqual((self.config / "KelServer.xml").read_text(), "edited")
        self.assertEqual((self.config / "projects" / "own.xml").read_text(), "own")

    def test_brings_back_what_is_missing(self):
        (self.config / "projects" / "project.xml").unlink()
        (self.source / "example" / "new.xml").write_text("new")
        self.link("int main(void) { return 2; }")
        self.assertEqual((self.config / "projects" / "project.xml").read_text(), "example")
        self.assertEqual((self.config / "new.xml").read_text(), "new")

    def test_is_what_the_server_is_built_with(self):
        text = (ROOT / "kel_server" / "CMakeLists.txt").read_text()
        self.assertIn('kel_copy_beside(kel_server "${PROJECT_SOURCE_DIR}/examples/config" config)',
                      text)
        self.assertNotIn("copy_directory", text)


if __name__ == "__main__":
    unittest.main()
