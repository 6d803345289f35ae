#!/usr/bin/env python3
"""The vehicle process as people and scripts start it. usage: program_test.py PROGRAM VEHICLE_FILE"""

import contextlib
import os
import pathlib
import re
import resource
import signal
import socket
import subprocess
import sys
import tempfile
import unittest

PROGRAM, FILE = sys.argv[1:3]
PATIENCE = 120
# A machine under load takes its time.
NO_HURRY = ("--initial-inactivity", "600000")
# Nobody else has the address: whatever stood there a moment ago was this test's.
OWN_ADDRESS, PORT = f"127.{64 + os.getpid() % 64}.{os.getpid() // 64 % 256}.1", "13400"
ACTIVATION = bytes.fromhex("03FC 0005 00000007 0E80 00 00000000")


def run(*arguments):
    return subprocess.run([PROGRAM, *arguments], stdin=subprocess.DEVNULL, capture_output=True, text=True,
                          timeout=PATIENCE)


def may_have_descriptors(now, most):
    """So many without asking the system for more, and so many with it."""
    return lambda: resource.setrlimit(resource.RLIMIT_NOFILE, (now, most))


class TheProgram(unittest.TestCase):
    def start(self, *arguments, port="0", **options):
        process = subprocess.Popen([PROGRAM, FILE, "--port", port, *arguments], stdin=subprocess.PIPE,
                                   stdout=subprocess.PIPE, stderr=subprocess.PIPE, text=True, **options)
        self.addCleanup(process.communicate)
        self.addCleanup(process.kill)
        return process

    def connect(self, process, count=2):
        """To a program whose first line has not been read."""
        host, port = re.search(r" at ([\d.]+):(\d+),", process.stdout.readline()).groups()
        return [self.enter(socket.create_connection((host, port), timeout=PATIENCE)) for _ in range(count)]

    def assert_served(self, tester):
        tester.sendall(ACTIVATION)
        self.assertEqual(tester.recv(100)[12:13], b"\x10")

    def enter(self, context):
        self.addCleanup(context.__exit__, None, None, None)
        return context.__enter__()

    def written(self, text):
        folder = self.enter(tempfile.TemporaryDirectory())
        file = pathlib.Path(folder, "lines")
        file.write_text(text)
        return str(file)

    def test_tells_its_version_and_its_options(self):
        result = run("--version")
        self.assertEqual((result.returncode, result.stderr), (0, ""))
        self.assertRegex(result.stdout, r"\Akel_vehicle \d+\.\d+\.\d+\n\Z")
        result = run("--help")
        self.assertEqual((result.returncode, result.stderr), (0, ""))
        self.assertIn("--tester-present-timeout MS", result.stdout)

    def test_says_what_it_serves_once_it_listens_and_ends_well_on_either_signal(self):
        for number in (signal.SIGTERM, signal.SIGINT):
            process = self.start()
            self.assertRegex(process.stdout.readline(),
                             r"^kel_vehicle: VIN WKLDEMO0000000042 at 127\.0\.0\.1:\d+, 3 control units$")
            process.send_signal(number)
            self.assertEqual(process.wait(PATIENCE), 0)

    def test_takes_commands_from_standard_input_whose_end_does_not_end_it(self):
        process = self.start()
        process.stdout.readline()
        process.stdin.write("refuse 22 code=0x31\nrefuse 22 code=0\n")
        process.stdin.close()
        process.stdin = None

        self.assertEqual(process.stdout.readline(), 'kel_vehicle: took "refuse 22 code=0x31"\n')
        self.assertIn("standard input:2:16: ", process.stderr.readline())
        self.assertIsNone(process.poll())

    def test_takes_a_last_line_without_its_end_and_cuts_one_that_is_too_long(self):
        process = self.start()
        process.stdout.readline()
        process.stdin.write("silence 22 #" + "x" * 5000 + "\nsilence 36")
        process.stdin.close()
        process.stdin = None

        self.assertEqual(process.stdout.readline(), f'kel_vehicle: took "silence 22 #{"x" * 4084}"\n')
        self.assertEqual(process.stdout.readline(), 'kel_vehicle: took "silence 36"\n')

    def test_takes_a_thousand_commands_until_they_are_cleared(self):
        process = self.start("--misbehave", self.written("silence 22\n" * 1000))
        process.stdout.readline()
        process.stdin.write("silence 36\nclear\nsilence 36\n")
        process.stdin.flush()

        self.assertEqual(process.stdout.readline(), 'kel_vehicle: took "clear"\n')
        self.assertEqual(process.stdout.readline(), 'kel_vehicle: took "silence 36"\n')
        self.assertEqual(process.stderr.readline(), "standard input:1:1: there are 1000 misbehaviours already, "
                                                    "and only clear forgets them\n")

    def test_takes_more_lines_at_once_than_it_keeps(self):
        count = 2500
        process = self.start()
        process.stdout.readline()
        process.stdin.write("clear\n" * count)
        process.stdin.flush()
        for _ in range(count):
            self.assertEqual(process.stdout.readline(), 'kel_vehicle: took "clear"\n')

    def test_counts_what_the_commands_of_a_file_leave(self):
        file = self.written("silence 22\n" * 1001)
        result = run(FILE, "--port", "0", "--misbehave", file)
        self.assertEqual((result.returncode, result.stderr),
                         (1, f"kel_vehicle: {file}: 1001 misbehaviours, expected at most 1000\n"))
        process = self.start("--misbehave", self.written("silence 22\n" * 1000 + "clear\n" + "silence 36\n"))
        self.assertIn("kel_vehicle: VIN ", process.stdout.readline())

    def test_logs_what_its_testers_do_unless_it_is_to_be_quiet(self):
        process = self.start(*NO_HURRY)
        tester, _ = self.connect(process)
        tester.sendall(ACTIVATION)
        self.assertTrue(any(": routing is active" in process.stdout.readline() for _ in range(3)))

        process = self.start("--quiet", *NO_HURRY)
        tester, _ = self.connect(process)
        self.assert_served(tester)
        process.stdin.write("clear\n")
        process.stdin.flush()
        self.assertEqual(process.stdout.readline(), 'kel_vehicle: took "clear"\n')

    def test_lets_silent_testers_go_at_the_times_that_it_is_told(self):
        for option, cause in (("--initial-inactivity", "no routing activation came in its time"),
                              ("--general-inactivity", "nothing was sent or received for too long"),
                              ("--alive-check", "the alive check was not answered in its time"),
                              ("--tester-present-timeout", "no diagnostic message came in its time")):
            with self.subTest(option):
                process = self.start(*(NO_HURRY if option != NO_HURRY[0] else ()), option, "1")
                for tester in self.connect(process):
                    # The one that comes too late is not heard any more.
                    with contextlib.suppress(OSError):
                        tester.sendall(ACTIVATION if option != NO_HURRY[0] else b"")
                line = ""
                while "ended: " not in line:
                    line = process.stdout.readline()
                self.assertIn("ended: " + cause, line)

    def test_goes_on_when_nobody_reads_what_it_says(self):
        process = self.start(*NO_HURRY)
        tester, _ = self.connect(process)
        process.stdout.close()
        process.stdout = None
        self.assert_served(tester)
        self.assertIsNone(process.poll())

    def test_has_all_the_descriptors_that_the_system_allows_it(self):
        process = self.start(*NO_HURRY, preexec_fn=may_have_descriptors(40, 200))
        self.assert_served(self.connect(process, 60)[-1])

    def test_lets_testers_in_again_once_it_has_descriptors(self):
        most = 40
        # Without a descriptor the sanitizer cannot look at memory, and takes every object for none.
        blind = self.written("vptr:*\n")
        sanitizer = ":".join(filter(None, (os.environ.get("UBSAN_OPTIONS"), f"suppressions={blind}")))
        process = self.start(*NO_HURRY, preexec_fn=may_have_descriptors(most, most),
                             env={**os.environ, "UBSAN_OPTIONS": sanitizer})
        testers = self.connect(process, 2 * most)
        while len(os.listdir(f"/proc/{process.pid}/fd")) < most:
            self.assertIsNone(process.poll())
        for tester in testers[:-1]:
            tester.close()
        self.assert_served(testers[-1])

    def test_begins_again_at_once_where_it_has_ended(self):
        process = self.start("--address", OWN_ADDRESS, *NO_HURRY, port=PORT)
        tester, _ = self.connect(process)
        tester.sendall(b"this is no header")
        while tester.recv(100):
            pass
        tester.close()
        process.terminate()
        self.assertEqual(process.wait(PATIENCE), 0)
        process = self.start("--address", OWN_ADDRESS, port=PORT)
        self.assertIn(f" at {OWN_ADDRESS}:{PORT},", process.stdout.readline())

    def test_takes_none_of_its_sockets_for_a_stream_that_is_missing(self):
        process = subprocess.Popen([PROGRAM, FILE, "--address", OWN_ADDRESS, "--port", PORT, *NO_HURRY],
                                   preexec_fn=lambda: os.closerange(0, 3))
        self.addCleanup(process.wait)
        self.addCleanup(process.kill)
        tester = None
        while not tester:
            self.assertIsNone(process.poll())
            with contextlib.suppress(ConnectionRefusedError):
                tester = self.enter(socket.create_connection((OWN_ADDRESS, int(PORT)), timeout=PATIENCE))
        self.assert_served(tester)
        self.assertEqual({os.readlink(f"/proc/{process.pid}/fd/{number}") for number in range(3)}, {"/dev/null"})

    def test_names_each_mistake_of_a_command_file_and_does_not_start(self):
        with tempfile.TemporaryDirectory() as folder:
            file = pathlib.Path(folder, "commands")
            file.write_text("silence 22\nsilence\n\n late 22 by=x\n")
            result = run(FILE, "--port", "0", "--misbehave", str(file))

        self.assertEqual((result.returncode, result.stdout), (1, ""))
        self.assertIn(f"{file}:2:1: ", result.stderr)
        self.assertIn(f"{file}:4:13: ", result.stderr)

    def test_ends_with_one_for_a_file_or_an_address_that_is_not_to_be_had(self):
        for arguments in (("nowhere.xml",), (__file__,), (FILE, "--address", "192.0.2.1"),
                          (FILE, "--misbehave", "nowhere")):
            with self.subTest(arguments):
                result = run(*arguments)
                self.assertEqual((result.returncode, result.stdout), (1, ""))
                self.assertTrue(result.stderr.startswith("kel_vehicle: "), result.stderr)
                self.assertIn(pathlib.Path(arguments[-1]).name, result.stderr)

    def test_names_the_place_that_is_not_to_be_had(self):
        self.assertIn("kel_vehicle: 192.0.2.1:13400 over UDP: ", run(FILE, "--address", "192.0.2.1").stderr)
        with socket.socket() as taken:
            taken.bind(("127.0.0.1", 0))
            taken.listen()
            port = taken.getsockname()[1]
            self.assertIn(f"kel_vehicle: 127.0.0.1:{port} over TCP: ", run(FILE, "--port", str(port)).stderr)

    def test_ends_with_two_for_wrong_usage(self):
        for arguments in ((), (FILE, "--port", "70000"), (FILE, "--nothing"), (FILE, "--address", "here"),
                          (FILE, "--max-sockets", "0"), (FILE, "--max-sockets", "256"),
                          (FILE, "--initial-inactivity", "-1"), (FILE, "--alive-check", "86400001")):
            with self.subTest(arguments):
                self.assertEqual(run(*arguments).returncode, 2)
        self.assertRegex(run(FILE, "--port", "70000").stderr, r"\Akel_vehicle: --port: .*70000.*; see --help\n\Z")


if __name__ == "__main__":
    # Also where whoever started this ignores it, as shells do for what runs in the background.
    signal.signal(signal.SIGINT, signal.default_int_handler)
    unittest.main(argv=sys.argv[:1])
