#!/usr/bin/env python3
"""The help of every command, its examples and those of the documentation, and what shells complete."""

import os
import pathlib
import re
import shlex
import shutil
import subprocess
import sys
import unittest
import zipfile

from kelctl_program import DONE, IS_WINDOWS, KELCTL, NOT_REACHABLE, PATIENCE, command, kelctl
from running_server import RunningServer
from vehicle_process import SEARCH_TIMES, VehicleProcess

sys.path.insert(0, str(pathlib.Path(__file__).resolve().parents[2] / "system" / "windows"))

# pylint: disable=wrong-import-position
import file_properties
import system_libraries

ROOT = pathlib.Path(__file__).resolve().parents[3]
DOCUMENT = ROOT / "docs" / "kelctl.md"
DOCUMENTS = sorted((ROOT / "docs").glob("kelctl*.md"))
COLUMNS, ROWS = 80, 24
# The list of all commands is longer than one of them.
ROWS_OF_ALL = 40
COMMON = {"--host", "--port", "--rest-port", "--token-file", "--json", "--help"}
REPORT = re.compile(r"\b\d{8}_\d{6}_\w+\.html")
# Names of the examples are those of nobody.
HERE = re.compile(r"\b(?:bench-3|station-\d|10\.0\.0\.\d(?::\d+)?)")
SEARCH = re.compile(r"vehicle list( --wait \d+)?")
VEHICLE = re.compile(r"(vehicle status) \S+")
# They go on until somebody ends them.
ENDLESS = re.compile(r"--watch|\bwatch\b")


def commands_below(*path):
    """Every command with its help, the groups first."""
    text = kelctl(*path, "--help").out
    yield path, text
    section = text.partition("\nSubcommands:\n")[2].partition("\n\n")[0]
    for name in re.findall(r"^  (\w+)", section, re.MULTILINE):
        yield from commands_below(*path, name)


ALL = dict(commands_below())
GROUPS = {path for path in ALL if any(other[:-1] == path for other in ALL if other)}
COMMANDS = {path: text for path, text in ALL.items() if path not in GROUPS}


def examples_of(text):
    return re.findall(r"^  (\S.*)$", text.partition("\nExamples:\n")[2], re.MULTILINE)


class Help(unittest.TestCase):
    def test_there_is_every_command(self):
        self.assertEqual({" ".join(path) for path in COMMANDS}, {
            "status", "start", "cancel", "abort", "health", "version", "configurations", "tracing",
            "simulation", "otx", "update", "bind", "reports", "stop", "token create", "script check",
            "script run", "config check", "support bundle", "vehicle list", "vehicle status", "watch",
            "completion"})

    def test_each_fits_a_screen(self):
        for path, text in ALL.items():
            with self.subTest(path):
                lines = text.rstrip("\n").split("\n")
                self.assertLessEqual(len(lines), ROWS if path else ROWS_OF_ALL)
                self.assertLessEqual(max(map(len, lines)), COLUMNS, text)

    def test_each_command_has_examples_of_itself(self):
        for path, text in COMMANDS.items():
            with self.subTest(path):
                examples = examples_of(text)
                self.assertTrue(examples)
                for example in examples:
                    words = shlex.split(example.replace("<(", " ").replace(")", " "), comments=True)
                    self.assertTrue(set(path) <= set(words), example)

    def test_help_and_version_end_well(self):
        for path in ALL:
            result = kelctl(*path, "--help")
            self.assertEqual((result.code, result.err), (DONE, ""))
        self.assertRegex(kelctl("--version").out, r"\Akelctl \d+\.\d+\.\d+\n\Z")


class Examples(unittest.TestCase):
    @classmethod
    def setUpClass(cls):
        cls.server = RunningServer()
        folder = cls.server.folder
        cls.server.kelctl("start", "Demo.xml", "--follow")
        cls.report = next((cls.server.config / "reports").glob("*.html")).name
        (folder / "Update").mkdir()
        for package in ("Update/Patch_01.zip", "Update/Patch_02.zip", "Patch_03.zip"):
            with zipfile.ZipFile(folder / package, "w") as archive:
                archive.writestr("entry", "content")
        cls.viewer = folder / "viewer"
        cls.viewer.mkdir()
        (cls.viewer / "xdg-open").write_text("#!/bin/sh\ntest -s \"$1\"\n", encoding="utf-8")
        (cls.viewer / "xdg-open").chmod(0o755)
        (folder / "stations").write_text("localhost 127.0.0.1", encoding="utf-8")
        (folder / "screen.token").write_text("0" * 64, encoding="utf-8")
        # What the examples need to be without findings, and no more.
        kelctl("token", "create", "tester", "--role", "watch", "--into", cls.server.config / "access.token")
        for name in ("Read.xml", "Fail.xml", "Slow.xml", "Unknown.xml", "AllActions.xml"):
            (cls.server.config / "KelServerScripts" / name).unlink()
        shutil.copy2(cls.server.config / "vehicle.xml", folder)
        cls.vehicle = VehicleProcess(folder / "vehicle.xml")

    @classmethod
    def tearDownClass(cls):
        cls.vehicle.end()
        cls.server.end()

    def adapted(self, example):
        example = REPORT.sub(self.report, example)
        example = example.replace("vehicle list", f"vehicle list --vehicle-port {self.vehicle.port}")
        example = VEHICLE.sub(rf"\1 127.0.0.1:{self.vehicle.port}", example)
        example = example.replace("/etc/kel_server", str(shlex.quote(str(self.server.config))))
        return HERE.sub(f"localhost:{self.server.port}" if "--all" in example else "localhost", example)

    def run_example(self, example):
        """In a shell, as people do."""
        if IS_WINDOWS and "--open" in example:
            return None  # Wine has no program that shows a page.
        program = " ".join(map(shlex.quote, command("--port", self.server.port)))
        script = f'kelctl() {{ {program} "$@"; }}\n{self.adapted(example)}\n'
        if ENDLESS.search(example):
            self.run_endless(script)
            return None
        shell = "zsh" if "zsh" in example else "bash"
        if shell == "zsh":
            if not shutil.which("zsh"):
                return None
            script = "autoload -U compinit; compinit -D -u\n" + script
        return subprocess.run([shell, "-c", script], cwd=self.server.folder, timeout=PATIENCE,
                              capture_output=True, check=False, stdin=subprocess.DEVNULL,
                              env={**os.environ, "PATH": f"{self.viewer}:{os.environ['PATH']}"})

    def run_endless(self, script):
        """Until it says something."""
        process = subprocess.Popen(["bash", "-c", script], cwd=self.server.folder,
                                   stdin=subprocess.DEVNULL, stdout=subprocess.PIPE,
                                   start_new_session=True)
        try:
            self.assertNotEqual(process.stdout.readline(), b"", script)
        finally:
            os.killpg(process.pid, 9)
            process.wait()
            process.stdout.close()

    def run_until_found(self, example):
        """Again with more time where a vehicle on a machine under load does not answer in the example's."""
        done = self.run_example(example)
        for wait in SEARCH_TIMES:
            if done is None or done.returncode != NOT_REACHABLE or "vehicle" not in example:
                break
            done = self.run_example(SEARCH.sub(f"vehicle list --wait {wait}", example))
        return done

    def check_examples(self, examples):
        stops = [example for example in examples if example.split()[-1] == "stop"]
        for example in [*(each for each in examples if each not in stops), *stops]:
            with self.subTest(example):
                done = self.run_until_found(example)
                if done is not None:
                    self.assertEqual(done.returncode, 0, done.stdout + done.stderr)
            if example in stops:
                self.server.wait()
                self.server.start()

    def test_those_of_the_help_do_what_they_say(self):
        self.check_examples([example for text in COMMANDS.values() for example in examples_of(text)])

    def test_those_of_the_documents_do_what_they_say(self):
        blocks = [block for document in DOCUMENTS
                  for block in re.findall(r"^```sh\n(.*?)^```", document.read_text(encoding="utf-8"),
                                          re.MULTILINE | re.DOTALL)]
        examples = [line for block in blocks for line in block.splitlines() if "kelctl" in line]
        self.assertGreater(len(examples), 15)
        self.check_examples(examples)


class Document(unittest.TestCase):
    """docs/kelctl.md"""

    text = DOCUMENT.read_text(encoding="utf-8")

    def test_it_names_every_command(self):
        for path in COMMANDS:
            self.assertIn("`" + " ".join(path), self.text)

    def test_its_list_of_rules_is_that_of_the_checks(self):
        listed = re.findall(r"^\| `([a-z-]+)` \|",
                            (ROOT / "docs" / "kelctl-check.md").read_text(encoding="utf-8"), re.MULTILINE)
        code = "".join(path.read_text(encoding="utf-8")
                       for path in (ROOT / "tools" / "kelctl" / "check").glob("*.cpp"))
        self.assertEqual(listed, sorted(set(re.findall(r'"([a-z]+-[a-z-]+)"', code))))

    def test_it_tells_the_exit_codes(self):
        header = (ROOT / "tools" / "kelctl" / "base" / "ExitCode.hpp").read_text(encoding="utf-8")
        self.assertEqual(re.findall(r"^\| (\d) \|", self.text, re.MULTILINE),
                         re.findall(r"^ +\w+ = (\d),", header, re.MULTILINE))


@unittest.skipUnless(IS_WINDOWS, "a program for Linux has other libraries")
class WindowsProgram(unittest.TestCase):
    def test_needs_no_library_that_a_bare_windows_lacks(self):
        system_libraries.expect_no_other(self, KELCTL)

    def test_has_one_manifest_and_the_version_of_the_project(self):
        file_properties.expect(self, KELCTL)


@unittest.skipIf(IS_WINDOWS, "there is neither shell")
class Completion(unittest.TestCase):
    def completed(self, *words):
        """What bash offers for the last of the words."""
        script = kelctl("completion", "bash").out + "\n" + (
            f"COMP_WORDS=({' '.join(map(shlex.quote, words))}); COMP_CWORD={len(words) - 1}; "
            "_kelctl; printf '%s\\n' \"${COMPREPLY[@]}\"")
        done = subprocess.run(["bash", "-c", script], capture_output=True, text=True, check=True)
        self.assertEqual(done.stderr, "")
        return done.stdout.split()

    def in_zsh(self, *words):
        script = kelctl("completion", "zsh").out.replace("if [[ $funcstack", "false && if [[ $funcstack")
        script += (f"\nwords=({' '.join(map(shlex.quote, words))}); CURRENT={len(words)}\n"
                   "compadd() { shift; print -l -- $@ }\n"
                   "_describe() { print -l -- ${candidates%%:*} }\n_files() { }\n_kelctl\n")
        done = subprocess.run(["zsh", "-f", "-c", script], capture_output=True, text=True, check=True)
        self.assertEqual(done.stderr, "")
        return done.stdout.split()

    def check_all(self, complete):
        self.assertEqual(complete("kelctl", "sta"), ["status", "start"])
        self.assertEqual(complete("kelctl", "--host", "x", "token", "c"), ["create"])
        self.assertEqual(complete("kelctl", "token", "create", "--role", ""), ["watch", "control"])
        self.assertEqual(complete("kelctl", "bind", "F"), ["F1", "F2"])

    def test_programs_get_the_script_as_a_value(self):
        for shell in ("bash", "zsh"):
            self.assertEqual(kelctl("--json", "completion", shell).json(),
                             {"script": kelctl("completion", shell).out[:-1]})

    def test_bash_knows_every_word(self):
        self.check_all(self.completed)
        for path, text in ALL.items():
            with self.subTest(path):
                options = set(re.findall(r"--[\w-]+", text.partition("\nExamples")[0])) | COMMON
                names = {other[-1] for other in ALL if other and other[:-1] == path}
                offered = self.completed("kelctl", *path, "")
                self.assertEqual(len(offered), len(set(offered)))
                self.assertTrue(options | names <= set(offered), offered)

    @unittest.skipUnless(shutil.which("zsh"), "there is no zsh; scripts/setup --tests installs it")
    def test_zsh_knows_every_word(self):
        def begun(*words):
            return [word for word in self.in_zsh(*words) if word.startswith(words[-1])]
        self.check_all(begun)
        for path in ALL:
            with self.subTest(path):
                self.assertTrue(COMMON <= set(self.in_zsh("kelctl", *path, "")))

    @unittest.skipUnless(shutil.which("zsh"), "there is no zsh; scripts/setup --tests installs it")
    def test_zsh_loads_the_script_as_it_is(self):
        done = subprocess.run(
            ["zsh", "-f", "-c", "autoload -U compinit; compinit -D -u; "
             + kelctl("completion", "zsh").out + '\nprint "$_comps[kelctl]"'],
            capture_output=True, text=True, check=True)
        self.assertEqual((done.stdout, done.stderr), ("_kelctl\n", ""))


if __name__ == "__main__":
    unittest.main(argv=["help_test"])
