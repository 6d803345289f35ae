#!/usr/bin/env python3
"""scripts/check-hardening takes a hardened program and names what another one lacks."""

import pathlib
import shutil
import subprocess
import tempfile
import unittest

ROOT = pathlib.Path(__file__).resolve().parent.parent.parent
MINGW = "x86_64-w64-mingw32-gcc"
SOURCE = """
#include <stdio.h>
#include <string.h>
int main(int count, char** arguments) {
    char large[20000], small[10];
    memset(large, count, sizeof large);
    strcpy(small, arguments[0]);
    sprintf(large, "%s", small);
    return puts(large);
}
"""
LINUX_FLAGS = ["-O2", "-w", "-U_FORTIFY_SOURCE", "-D_FORTIFY_SOURCE=3", "-fstack-protector-strong",
               "-fstack-clash-protection", "-fPIE", "-pie", "-Wl,-z,relro,-z,now"]
WITHOUT = [
    (["-fno-pie", "-no-pie"], "is no position-independent executable"),
    (["-Wl,-z,norelro"], "has no RELRO"),
    (["-Wl,-z,lazy"], "binds lazily"),
    (["-Wl,-z,execstack"], "has an executable stack"),
    (["-fno-stack-protector"], "has no stack protector"),
    (["-U_FORTIFY_SOURCE"], "has no checked library functions"),
    (["-fno-stack-clash-protection"], "does not probe large stack frames"),
]


class CheckHardening(unittest.TestCase):
    def setUp(self):
        folder = tempfile.TemporaryDirectory()
        self.addCleanup(folder.cleanup)
        self.program = pathlib.Path(folder.name) / "program.exe"  # mingw adds a missing ".exe"
        self.source = pathlib.Path(folder.name) / "program.c"
        self.source.write_text(SOURCE)

    def check(self, compiler, flags):
        subprocess.run([compiler, self.source, "-o", self.program, *flags], check=True)
        return self.check_program()

    def check_program(self):
        return subprocess.run([ROOT / "scripts" / "check-hardening", self.program],
                              capture_output=True, text=True)

    def test_takes_a_hardened_program(self):
        result = self.check("gcc", LINUX_FLAGS)
        self.assertEqual(result.returncode, 0, result.stderr)

    def test_names_what_a_program_lacks(self):
        for flags, fault in WITHOUT:
            with self.subTest(fault):
                result = self.check("gcc", [*LINUX_FLAGS, *flags])
                self.assertEqual(result.returncode, 1)
                self.assertEqual(result.stderr.count("\n"), 1, result.stderr)
                self.assertIn(f"{self.program} {fault}", result.stderr)

    @unittest.skipUnless(shutil.which(MINGW), f"there is no {MINGW}")
    def test_names_what_a_windows_program_lacks(self):
        result = self.check(MINGW, ["-w", "-Wl,--dynamicbase,--high-entropy-va,--nxcompat"])
        self.assertEqual(result.returncode, 0, result.stderr)
        for option, flag in (("dynamicbase", "DYNAMIC_BASE"), ("high-entropy-va", "HIGH_ENTROPY_VA"),
                             ("nxcompat", "NX_COMPAT")):
            with self.subTest(flag):
                result = self.check(MINGW, ["-w", f"-Wl,--disable-{option}"])
                self.assertEqual(result.returncode, 1)
                self.assertIn(f"{self.program} lacks the flag {flag}", result.stderr)

    def test_takes_nothing_that_is_no_program(self):
        self.program.write_text("text")
        self.assertEqual(self.check_program().returncode, 1)


if __name__ == "__main__":
    unittest.main()
