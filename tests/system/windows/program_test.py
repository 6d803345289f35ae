#!/usr/bin/env python3
"""Runs the Windows program as people do: its console, its exit codes, its sequence, its signs of life.

usage: program_test.py PROGRAM EXAMPLE_CONFIG FLASH_DATA [EMULATOR]
"""

import http.client
import os
import pathlib
import pty
import re
import select
import shutil
import socket
import subprocess
import sys
import tempfile
import threading
import time
import unittest

import file_properties
import system_libraries

sys.path.insert(0, str(pathlib.Path(__file__).resolve().parents[1]))

# pylint: disable=wrong-import-position
from installed_program import held_port

PROGRAM, EXAMPLES, FLASH_DATA = (pathlib.Path(argument).resolve() for argument in sys.argv[1:4])
EMULATOR = sys.argv[4:5]
PATIENCE = 100
READY = b"server device: Windows\n"
# Not flushed: behind a pipe it comes with the next line.
PROMPT = b"Enter 'q' and Enter to exit\n"
GOODBYE = b"Shutting down kel_server\n"
REST_ADDRESS = "http://localhost:8011"
REST_READY = b"REST server started\n"


class Running:
    """A started program and what it has printed so far."""

    def __init__(self, folder, arguments):
        self.process = subprocess.Popen([*EMULATOR, folder / PROGRAM.name, *arguments], cwd=folder,
                                        stdin=subprocess.PIPE, stdout=subprocess.PIPE)
        self.output = b""
        self.news = threading.Condition()
        self.reader = threading.Thread(target=self.read, daemon=True)
        self.reader.start()

    def read(self):
        while piece := os.read(self.process.stdout.fileno(), 4096):
            with self.news:
                self.output += piece
                self.news.notify_all()

    def wait_for(self, text):
        with self.news:
            if not self.news.wait_for(lambda: text in self.output, PATIENCE):
                raise AssertionError(f"no {text!r} in {self.output!r}")

    def type(self, keys):
        self.process.stdin.write(keys)
        self.process.stdin.flush()

    def end(self):
        """The exit code; the program is not left behind, whatever happened."""
        try:
            return self.process.wait(PATIENCE)
        finally:
            self.process.kill()
            self.process.wait()
            self.reader.join()
            self.process.stdin.close()
            self.process.stdout.close()


class InstalledProgram(unittest.TestCase):
    """The program in a folder of its own."""

    def setUp(self):
        folder = tempfile.TemporaryDirectory(prefix="kel_server \u00fc ")
        self.addCleanup(folder.cleanup)
        self.folder = pathlib.Path(folder.name)
        shutil.copy2(PROGRAM, self.folder)
        (self.folder / "config").mkdir()
        self.configure("")

    def port(self):
        """One that nobody else is given during the test."""
        holder = held_port()
        self.addCleanup(holder.close)
        return str(holder.getsockname()[1])

    def configure(self, elements):
        self.write("KelServer.xml", f"<KelServer>\n{elements}\n</KelServer>\n")

    def write(self, name, text):
        (self.folder / "config" / name).write_text(text, encoding="utf-8", newline="")

    def start(self, *arguments):
        program = Running(self.folder, arguments)
        self.addCleanup(program.process.kill)
        return program

    def run_until_q(self, *arguments, ready=READY):
        """What it has printed when a key has ended it."""
        program = self.start(*arguments)
        program.wait_for(ready)
        program.type(b"q")
        self.assertEqual(program.end(), 0)
        return program.output

    def expect_still_running(self, program):
        with self.assertRaises(subprocess.TimeoutExpired):
            program.process.wait(1.6)
        program.process.kill()
        program.end()

    def run_to_end(self, *arguments):
        program = self.start(*arguments)
        code = program.end()
        return code, program.output


class WindowsProgram(InstalledProgram):
    def test_stops_at_q_and_prints_its_lines_in_order(self):
        port = self.port()
        program = self.start("127.0.0.1", port)
        program.wait_for(READY)
        program.type(b"Qxq")
        self.assertEqual(program.end(), 0)
        self.assertRegex(program.output.decode(), re.compile(
            rf"^server address: 127\.0\.0\.1:{port}\nproject path: [^\n]+\nserver version: [^\n]+\n"
            r"cos version: [^\n]*\nserver device: Windows\nEnter 'q' and Enter to exit\n"
            r"Shutting down kel_server\n$"))

    def test_goes_on_at_an_upper_case_q_and_at_the_end_of_its_input(self):
        program = self.start("127.0.0.1", self.port())
        program.wait_for(READY)
        program.type(b"Q")
        program.process.stdin.close()
        self.expect_still_running(program)
        self.assertNotIn(GOODBYE, program.output)

    def test_takes_a_key_from_a_console_without_enter(self):
        port = self.port()
        screen, terminal = pty.openpty()
        process = subprocess.Popen([*EMULATOR, self.folder / PROGRAM.name, "127.0.0.1", port],
                                   cwd=self.folder, stdin=terminal, stdout=terminal,
                                   env={**os.environ, "TERM": "xterm"}, start_new_session=True)
        os.close(terminal)
        shown = b""
        deadline = time.monotonic() + PATIENCE
        while b"to exit" not in shown:
            self.assertTrue(select.select([screen], [], [], deadline - time.monotonic())[0], shown)
            shown += os.read(screen, 4096)
        os.write(screen, b"q")
        drain = threading.Thread(target=self.drain, args=(screen,))
        drain.start()
        self.assertEqual(process.wait(PATIENCE), 0)
        drain.join()
        self.assertIn("\u00fc", shown.decode(errors="replace"))
        os.close(screen)

    @staticmethod
    def drain(screen):
        try:
            while os.read(screen, 4096):
                pass
        except OSError:
            pass  # the other side is gone

    def test_ignores_keys_when_it_is_not_interactive(self):
        program = self.start("127.0.0.1", self.port(), "--non_interactive")
        program.wait_for(READY)
        program.type(b"q")
        self.expect_still_running(program)
        self.assertNotIn(PROMPT, program.output)

    def test_waits_two_seconds_before_a_delayed_start(self):
        began = time.monotonic()
        program = self.start("127.0.0.1", self.port(), "--delayedStart")
        program.wait_for(b"server address: ")
        self.assertGreaterEqual(time.monotonic() - began, 2)
        program.type(b"q")
        self.assertEqual(program.end(), 0)
        self.assertTrue(program.output.startswith(
            b"starting server with a 2sec delay (from restart request)\n"))

    def test_starts_the_sovd_server(self):
        self.configure(f'<SovdServer port="{self.port()}"/>')
        output = self.run_until_q("127.0.0.1", self.port(), "--sovd")
        self.assertIn(b"\nSOVD server started\n", output)

    def test_prints_the_usage_text_with_the_line_ends_that_it_has(self):
        self.write("KelServer.xml", "no configuration")
        code, output = self.run_to_end("--help")
        self.assertEqual(code, 0)
        self.assertTrue(output.startswith(b"Usage: \n "), output)
        self.assertIn(b"add the following to the KelServer.xml\r\n <ServerAddresses >\r\n", output)
        self.assertTrue(output.endswith(b"(possible after restart)\n"), output)
        self.assertEqual(output.count(b"\r\n"), output.count(b"\r"))
        self.assertNotIn(b"\r\r", output)

    def test_survives_a_reader_that_goes_away(self):
        process = subprocess.Popen(
            [*EMULATOR, self.folder / PROGRAM.name, "127.0.0.1", self.port()], cwd=self.folder,
            stdin=subprocess.PIPE, stdout=subprocess.PIPE)
        self.addCleanup(process.kill)
        while process.stdout.readline() != READY:
            self.assertIsNone(process.poll())
        process.stdout.close()
        process.stdin.write(b"q")
        process.stdin.close()
        self.assertEqual(process.wait(PATIENCE), 0)

    def test_ends_with_one_without_any_address(self):
        code, output = self.run_to_end()
        self.assertEqual(code, 1)
        self.assertTrue(output.startswith(
            b"Missing ServerAddresses configuration in kelServer.xml and also address is not given as "
            b"parameter to application\nUsage: \n"), output)
        self.assertTrue(output.endswith(GOODBYE), output)

    def test_ends_with_two_and_names_the_place_in_a_broken_configuration(self):
        self.write("KelServer.xml", "<KelServer>\n  <ServerAddresses>\n</KelServer>\n")
        code, output = self.run_to_end("127.0.0.1")
        self.assertEqual(code, 2)
        text = output.decode()
        self.assertTrue(text.startswith("Exception caught: "), text)
        self.assertIn("\u00fc", text)
        self.assertIn("KelServer.xml:3:3: ", text)
        self.assertIn(" code: ", text)

    def test_ends_with_two_and_names_address_and_cause_when_the_port_is_taken(self):
        with socket.socket() as taken:
            taken.bind(("127.0.0.1", 0))
            taken.listen()
            port = str(taken.getsockname()[1])
            code, output = self.run_to_end("127.0.0.1", port)
        self.assertEqual(code, 2)
        self.assertIn(f"127.0.0.1:{port}", output.decode())

    def test_does_not_share_its_port_with_a_second_instance(self):
        port = self.port()
        first = self.start("127.0.0.1", port)
        first.wait_for(READY)
        code, output = self.run_to_end("127.0.0.1", port)
        first.type(b"q")
        self.assertEqual(first.end(), 0)
        self.assertEqual(code, 2)
        self.assertIn(f"127.0.0.1:{port}", output.decode())

    def test_starts_on_every_configured_address_that_is_free(self):
        with socket.socket() as taken:
            taken.bind(("127.0.0.1", 0))
            taken.listen()
            taken_port, port = str(taken.getsockname()[1]), self.port()
            self.configure("<ServerAddresses>" + "".join(
                f"<ServerAddress><IpAddress>127.0.0.1</IpAddress><Port>{number}</Port></ServerAddress>"
                for number in (taken_port, port)) + "</ServerAddresses>")
            text = self.run_until_q().decode()
        self.assertTrue(text.startswith(
            f"startServer(127.0.0.1:{taken_port}) failed. Exception caught : "), text)
        self.assertIn(f"\nserver address: 127.0.0.1:{port}\n", text)

    def test_takes_the_broker_from_its_file(self):
        port = self.port()
        self.write("broker.txt", f"http://127.0.0.1:{port}")
        self.configure("<ServerAddresses><ServerAddress><IpAddress>$$BROKERURL$$</IpAddress><Port>1</Port>"
                       "</ServerAddress></ServerAddresses><BrokerUrlFile>broker.txt</BrokerUrlFile>")
        output = self.run_until_q()
        self.assertTrue(output.startswith(f"server address: 127.0.0.1:{port}\n".encode()))

    def test_goes_on_without_a_missing_start_sequence(self):
        self.configure("<StartSequence>Missing.xml</StartSequence>")
        self.run_until_q("127.0.0.1", self.port(), ready=b"Running start sequence: Missing.xml\n")

    def test_does_nothing_for_led_and_buttons(self):
        self.configure("<F1Sequence>Demo.xml</F1Sequence><F2Sequence>Demo.xml</F2Sequence>")
        output = self.run_until_q("127.0.0.1", self.port())
        self.assertNotIn(b"xception", output)

    def test_is_no_service_when_it_is_started_by_hand_and_says_so(self):
        code, output = self.run_to_end("127.0.0.1", self.port(), "--service")
        self.assertEqual(code, 1)
        self.assertRegex(output, rb"^--service is for the service manager: .*\b1063\b")

    def test_needs_no_library_that_a_bare_windows_lacks(self):
        system_libraries.expect_no_other(self, PROGRAM)

    def test_has_one_manifest_and_the_version_of_the_project(self):
        file_properties.expect(self, PROGRAM)

    def test_runs_the_example_sequence_and_writes_a_report(self):
        shutil.copytree(EXAMPLES, self.folder / "config", dirs_exist_ok=True)
        shutil.copytree(FLASH_DATA, self.folder / "config" / "data" / "flashdata")
        output = self.run_until_q("127.0.0.1", self.port())
        self.assertIn(b"\nRunning start sequence: Demo.xml\n", output)
        self.assertNotIn(b"Exception caught", output)
        reports = list((self.folder / "config" / "reports").iterdir())
        self.assertEqual(len(reports), 1)
        self.assertIn("WKLDEMO0000000042", reports[0].read_text(encoding="utf-8"))


class RestApi(InstalledProgram):
    """On its own port, of which there is one."""

    def launch(self):
        program = self.start("127.0.0.1", self.port(), "--REST", "--non_interactive")
        program.wait_for(REST_READY)
        return program

    @staticmethod
    def ask(method, path):
        connection = http.client.HTTPConnection("127.0.0.1", 8011, timeout=PATIENCE)
        try:
            connection.request(method, f"/kel/v1/{path}")
            return connection.getresponse().read()
        finally:
            connection.close()

    def stop(self, program):
        self.assertEqual(self.ask("PUT", "stop"), b'{"status":"OK"}')
        self.assertEqual(program.end(), 0)

    def test_ends_the_program_at_put_stop(self):
        program = self.launch()
        self.stop(program)
        self.assertTrue(program.output.decode().endswith(
            f"server device: Windows\nREST API Listening in {REST_ADDRESS}\nREST server started\n"
            f"Shutting down kel_server\nREST API stop listening in {REST_ADDRESS}\n"), program.output)

    def test_is_not_shared_by_a_second_instance_that_goes_on_without_it(self):
        first, second = self.launch(), self.launch()
        self.assertIn(f"\nREST API server failed to stop listening in {REST_ADDRESS}\n",
                      second.output.decode())
        self.stop(first)
        self.expect_still_running(second)

    def test_can_be_started_again_at_once(self):
        for _ in range(3):
            program = self.launch()
            self.assertNotIn(b"failed", program.output)
            self.stop(program)

    def test_keeps_every_trace_up_to_its_normal_end(self):
        self.configure('<Tracing enabled="true" level="3"/>')
        self.stop(self.launch())
        traces = (self.folder / "config" / "traces" / "kel_server.log").read_text(encoding="utf-8")
        self.assertIn("RESTServer:256 REST API Request: PUT /kel/v1/stop\\n\n", traces)
        self.assertIn(f"RESTServer:288 REST server stop listening on {REST_ADDRESS}\\n\n", traces)
        self.assertIn("<- cancelSequence", traces)


if __name__ == "__main__":
    unittest.main(argv=sys.argv[:1])
