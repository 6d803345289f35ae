#!/usr/bin/env python3
"""The program on the example's runtime. usage: runtime_test.py PROGRAM"""

import http.client
import json
import pathlib
import shutil
import socket
import subprocess
import sys
import tempfile
import time
import unittest

PROGRAM = pathlib.Path(sys.argv.pop(1)).resolve()
REST_PORT = 8011
PATIENCE = 60


class ProgramOnTheExample(unittest.TestCase):
    """Runs it in a folder of its own, with an empty configuration beside it."""

    def setUp(self):
        folder = tempfile.TemporaryDirectory()
        self.addCleanup(folder.cleanup)
        self.program = pathlib.Path(folder.name) / "kel_server"
        shutil.copy(PROGRAM, self.program)
        (self.program.parent / "config").mkdir()

    def start(self, *arguments):
        process = subprocess.Popen(
            [str(self.program), *arguments], stdin=subprocess.DEVNULL, stdout=subprocess.PIPE,
            stderr=subprocess.STDOUT, text=True)
        self.addCleanup(process.stdout.close)
        self.addCleanup(process.kill)
        return process

    def wait_until_it_serves(self, process):
        """The line that it listens comes before it does."""
        end = time.monotonic() + PATIENCE
        while time.monotonic() < end and process.poll() is None:
            try:
                socket.create_connection(("127.0.0.1", REST_PORT), timeout=PATIENCE).close()
                return
            except ConnectionRefusedError:
                time.sleep(0.05)
        self.fail(f"it does not serve; its exit code: {process.poll()}")

    def request(self, method, path):
        connection = http.client.HTTPConnection("127.0.0.1", REST_PORT, timeout=PATIENCE)
        self.addCleanup(connection.close)
        connection.request(method, f"/kel/v1/{path}", headers={"Host": "localhost"})
        reply = connection.getresponse()
        return reply.status, json.loads(reply.read() or "null")

    def read_until(self, process, word):
        """What it prints up to the line that holds the word."""
        printed = []
        for line in process.stdout:
            printed.append(line)
            if word in line:
                return "".join(printed)
        self.fail(f"no {word!r} in: {printed}")

    def test_serves_what_the_example_offers_and_tells_what_it_does_not(self):
        process = self.start("127.0.0.1", "--REST", "--non_interactive")
        self.assertIn("server version: smallest runtime 1.0\n",
                      self.read_until(process, "REST API Listening"))
        self.wait_until_it_serves(process)
        self.assertEqual(self.request("GET", "version")[1]["version"], "smallest runtime 1.0")
        self.assertEqual(self.request("GET", "projects/Car/otx"), (500, {
            "errorCode": "1", "errorMessage": "selectProject: this runtime knows no vehicle"}))
        self.assertEqual(self.request("PUT", "stop"), (200, {"status": "OK"}))
        self.assertEqual(process.wait(PATIENCE), 0)


if __name__ == "__main__":
    unittest.main()
