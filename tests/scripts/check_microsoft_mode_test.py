#!/usr/bin/env python3
"""scripts/check-microsoft-mode notices what Microsoft's compiler would refuse."""

import json
import pathlib
import shutil
import subprocess
import tempfile
import unittest

ROOT = pathlib.Path(__file__).resolve().parent.parent.parent
GOOD = """
#include <algorithm>
#include <array>
#include <string_view>
#include <windows.h>
int find(std::string_view text, int wanted) {
    const std::array<int, 3> numbers{1, 2, 3};
    const auto found = std::find(numbers.begin(), numbers.end(), wanted);
    const auto blank = std::find(text.begin(), text.end(), ' ');
    return found != numbers.end() && blank != text.end() && text.ends_with("x") ? *found : UNKNOWN;
}
"""
WRONG = {
    "a pointer for an array's iterator": (
        "const auto found = std::find(numbers", "const auto* found = std::find(numbers"),
    "a pointer for a view's iterator": (
        "const auto blank = std::find(text", "const auto* blank = std::find(text"),
    "an iterator where a pointer is wanted": (
        "const auto blank", "const char* const begin = text.begin(); (void)begin; const auto blank"),
    "a warning": ("int find(", "static int unused() { return 1; }\nint find("),
    "what is no C++": ("int find(", "no int find("),
}

PRODUCT = ("platform", "std_util", "xml", "config", "uds", "simulation", "kel_server_lib", "kel_cpp",
           "kel_server", "tools")


# `scripts/setup --tests`, which the Linux tests alone need, brings neither.
COMPILERS = ("clang++", "x86_64-w64-mingw32-g++-posix")
with_compilers = unittest.skipUnless(all(map(shutil.which, COMPILERS)),
                                     f"not all of these are here: {', '.join(COMPILERS)}")


class CheckMicrosoftMode(unittest.TestCase):
    def setUp(self):
        folder = tempfile.TemporaryDirectory()
        self.addCleanup(folder.cleanup)
        self.build = pathlib.Path(folder.name).resolve()

    def check(self, content, place="platform/Source.cpp", definition="-DUNKNOWN=0"):
        return self.check_all(content, [place], definition)

    def check_all(self, content, places, definition=""):
        commands = []
        for source in (self.build / place for place in places):
            source.parent.mkdir(parents=True, exist_ok=True)
            source.write_text(content)
            command = f"ccache x86_64-w64-mingw32-g++ {definition} -O2 -std=c++20 -o Source.o -c {source}"
            commands.append({"directory": str(self.build), "command": command, "file": str(source)})
        (self.build / "compile_commands.json").write_text(json.dumps(commands))
        return self.run_script(self.build)

    def run_script(self, *arguments):
        return subprocess.run([ROOT / "scripts" / "check-microsoft-mode", *arguments],
                              capture_output=True, text=True, timeout=300)

    @with_compilers
    def test_takes_what_compiles(self):
        result = self.check(GOOD)
        self.assertEqual(result.returncode, 0, result.stdout + result.stderr)
        self.assertIn("1 sources, 0 do not compile", result.stdout)

    @with_compilers
    def test_names_the_source_that_does_not_compile(self):
        for name, (before, after) in WRONG.items():
            with self.subTest(name):
                self.assertIn(before, GOOD)
                result = self.check(GOOD.replace(before, after))
                self.assertEqual(result.returncode, 1, result.stdout + result.stderr)
                self.assertIn("Source.cpp does not compile", result.stdout)
                self.assertIn("error:", result.stdout)

    @with_compilers
    def test_takes_the_definitions_of_the_build(self):
        self.assertEqual(self.check(GOOD, definition="").returncode, 1)

    @with_compilers
    def test_reads_every_folder_of_the_product(self):
        result = self.check_all("int number = 1;\n", [f"{folder}/Source.cpp" for folder in PRODUCT])
        self.assertEqual(result.returncode, 0, result.stdout + result.stderr)
        self.assertIn(f"{len(PRODUCT)} sources, 0 do not compile", result.stdout)

    @with_compilers
    def test_reads_by_the_rules_of_microsoft_and_refuses_what_they_alone_allow(self):
        result = self.check("void* pointerTo(int (*function)()) { return function; }\n")
        self.assertEqual(result.returncode, 1, result.stdout + result.stderr)
        self.assertIn("is a Microsoft extension", result.stdout)

    def test_leaves_foreign_sources_alone_and_fails_without_any(self):
        result = self.check(GOOD, place="foreign/Source.cpp")
        self.assertNotEqual(result.returncode, 0)
        self.assertIn("names no source of the product", result.stderr)

    def test_wants_a_build_folder_that_is_configured(self):
        result = self.run_script(self.build)
        self.assertNotEqual(result.returncode, 0)
        self.assertIn("run cmake --preset windows-mingw", result.stderr)

    def test_says_how_it_is_used(self):
        result = self.run_script()
        self.assertNotEqual(result.returncode, 0)
        self.assertIn("usage: scripts/check-microsoft-mode", result.stderr)


if __name__ == "__main__":
    unittest.main()
