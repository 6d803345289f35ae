#!/usr/bin/env python3
"""What kelctl shows of many servers at once, and what it shows on a terminal."""

import json
import os
import re
import signal
import socket
import struct
import subprocess
import threading
import unittest

from fake_server import FakeServer
from kelctl_program import DONE, IS_WINDOWS, PATIENCE, command
from running_server import RunningServer, held_port

if not IS_WINDOWS:
    import fcntl
    import pty
    import termios

TIME = re.compile(r"  20\d\d-")
LINE = re.compile(r"(\S+) +(?:\d{4}-\d\d-\d\dT\d\d:\d\d:\d\d\.\d{3}Z  )?(.*)")
READ = ["Running sequence: Read.xml", "Selecting project Car_DEMO0000000042",
        "Project Car_DEMO0000000042 selected.", "Idle", "Running execute action: Otx_ReadIdent", "Idle",
        "Idle"]


class Watching:
    """A program that goes on, and its lines by host."""

    def __init__(self, *arguments):
        self.process = subprocess.Popen(command(*arguments), stdout=subprocess.PIPE)
        self.lines = []
        self.news = threading.Condition()
        self.reader = threading.Thread(target=self.read, daemon=True)
        self.reader.start()

    def read(self):
        for line in self.process.stdout:
            with self.news:
                self.lines.append(line.decode().rstrip("\r\n"))
                self.news.notify_all()

    def wait_for(self, condition):
        with self.news:
            if not self.news.wait_for(lambda: condition(self.lines), PATIENCE):
                raise AssertionError(f"not yet: {self.lines[-20:]}")

    def wait_for_statuses(self, count):
        self.wait_for(lambda lines: len(lines) >= count and len(statuses_of(lines)) >= count)

    def end(self):
        self.process.kill()
        self.process.wait()
        self.reader.join()
        self.process.stdout.close()


def texts_of(lines, host):
    return [match[2] for match in map(LINE.fullmatch, lines) if match[1] == host]


def causes_of(lines):
    """Why a server is not reachable: what has no time."""
    return [line for line in lines if not TIME.search(line)]


def statuses_of(lines):
    return [line for line in lines if TIME.search(line)]


class ManyServers(unittest.TestCase):
    @classmethod
    def setUpClass(cls):
        cls.server = RunningServer()

    @classmethod
    def tearDownClass(cls):
        cls.server.end()

    def watch(self, *arguments):
        watching = Watching(*arguments)
        self.addCleanup(watching.end)
        return watching

    def test_two_hundred_of_them_lose_no_text(self):
        hosts = [f"127.0.0.1:{self.server.port}"] * 200
        watching = self.watch("watch", "--all", *hosts)
        # On a machine under load some fail at first, which is told, too.
        watching.wait_for_statuses(len(hosts))
        self.assertEqual(self.server.kelctl("start", "Read.xml", "--follow").code, DONE)
        total = len(hosts) * (1 + len(READ))
        watching.wait_for_statuses(total)
        texts = texts_of(statuses_of(watching.lines), hosts[0])
        self.assertEqual(len(texts), total)
        for text in set(READ):
            self.assertEqual(texts[len(hosts):].count(text), READ.count(text) * len(hosts))

    def test_each_has_its_own_line(self):
        with held_port() as holder:
            here = f"localhost:{self.server.port}"
            gone = f"127.0.0.1:{holder.getsockname()[1]}"
            watching = self.watch("--port", self.server.port, "watch", "--all", here, gone, "127.0.0.1")
            watching.wait_for(lambda lines: len(lines) == 3)
        self.assertEqual(texts_of(watching.lines, here), ["Idle"])
        self.assertEqual(texts_of(watching.lines, "127.0.0.1"), ["Idle"])
        text, = texts_of(watching.lines, gone)
        self.assertNotEqual(text, "Idle")
        # The names stand below each other.
        self.assertEqual(len({line.index("  20") for line in watching.lines if "Idle" in line}), 1)

    def test_without_hosts_it_is_the_one_server(self):
        watching = self.watch("--port", self.server.port, "watch")
        watching.wait_for(lambda lines: len(lines) == 1)
        self.assertEqual(texts_of(watching.lines, "127.0.0.1"), ["Idle"])

    def test_programs_get_a_value_a_line(self):
        with held_port() as holder:
            gone = f"127.0.0.1:{holder.getsockname()[1]}"
            here = f"127.0.0.1:{self.server.port}"
            watching = self.watch("--json", "watch", "--all", here, gone)
            watching.wait_for(lambda lines: len(lines) == 2)
        values = {value["host"]: value for value in map(json.loads, watching.lines)}
        self.assertEqual(values[here].keys(), {"host", "reachable", "text", "time"})
        self.assertEqual((values[here]["reachable"], values[here]["text"]), (True, "Idle"))
        self.assertEqual(values[gone].keys(), {"host", "reachable", "cause"})
        self.assertFalse(values[gone]["reachable"])
        self.assertRegex(values[gone]["cause"], r"(\A| )(.+ \(\d+\)|error \d+)\Z")


class AServerThatGoes(unittest.TestCase):
    def test_it_is_told_once_and_seen_again_when_it_is_back(self):
        server = RunningServer()
        watching = Watching("watch", "--all", f"127.0.0.1:{server.port}")
        try:
            watching.wait_for(lambda lines: len(lines) == 1)
            server.stop()
            watching.wait_for(causes_of)
            server.start()
            watching.wait_for(lambda lines: "Idle" in lines[-1] and len(lines) > 2)
            texts = texts_of(watching.lines, f"127.0.0.1:{server.port}")
            self.assertEqual((texts[0], texts[-1]), ("Idle", "Idle"))
            causes = causes_of(watching.lines)
            self.assertGreaterEqual(len(causes), 1)
            self.assertEqual(len(causes), len(set(causes)), causes)
            # Told again once it has been there meanwhile.
            server.stop()
            watching.wait_for(lambda lines: len(causes_of(lines)) > len(causes))
            refused = server.kelctl("status").err.rstrip().rpartition(": ")[2]
            self.assertNotIn(refused, causes_of(watching.lines)[len(causes)])
        finally:
            watching.end()
            server.end()


class AServerThatRefuses(unittest.TestCase):
    def test_a_cause_is_told_once(self):
        def serve(listener):
            for cause in ("first", "first", "second"):
                connection, _ = listener.accept()
                with connection:
                    connection.recv(65536)
                    connection.sendall(b"HTTP/1.1 403 Forbidden\r\nContent-Length: %d\r\n\r\n%s"
                                       % (len(cause), cause.encode()))

        with socket.create_server(("127.0.0.1", 0)) as listener:
            threading.Thread(target=serve, args=(listener,), daemon=True).start()
            host = f"127.0.0.1:{listener.getsockname()[1]}"
            watching = Watching("watch", "--all", host)
            try:
                watching.wait_for(lambda lines: any("second" in line for line in lines))
                self.assertEqual(texts_of(watching.lines, host), ["first", "second"])
            finally:
                watching.end()


@unittest.skipIf(IS_WINDOWS, "there is no pseudo terminal")
class OnATerminal(unittest.TestCase):
    @classmethod
    def setUpClass(cls):
        cls.server = RunningServer()

    @classmethod
    def tearDownClass(cls):
        cls.server.end()

    def on_terminal(self, *arguments, rows=24, columns=80, until=None, **environment):
        """All bytes that the program writes, until it ends or has written what is waited for."""
        own, other = pty.openpty()
        fcntl.ioctl(other, termios.TIOCSWINSZ, struct.pack("HHHH", rows, columns, 0, 0))
        process = subprocess.Popen(command("--port", self.server.port, *arguments), stdout=other,
                                   stderr=other, env={**os.environ, **environment})
        os.close(other)
        written = b""
        try:
            while until is None or not until(written.decode(errors="replace")):
                piece = os.read(own, 65536)
                written += piece
        except OSError:
            pass  # The program has ended.
        finally:
            os.close(own)
            process.send_signal(signal.SIGKILL)
            process.wait()
        return written.decode()

    def test_a_flash_has_a_bar_that_ends_full(self):
        written = self.on_terminal("start", "Flash.xml", "--follow")
        bars = re.findall(r"Flash ENGINE  \[(#*)( *)\]  (\d+) %  ([\d,]+) of ([\d,]+) bytes", written)
        self.assertGreater(len(bars), 2)
        for filled, empty, percent, done, total in bars:
            self.assertEqual(len(filled) + len(empty), 24)
            self.assertEqual(len(filled), 24 * int(done.replace(",", "")) // int(total.replace(",", "")))
        self.assertEqual((bars[-1][2], bars[-1][3]), ("100", bars[-1][4]))
        self.assertIn("100,000 of 100,000 bytes", written)
        # What comes behind takes the place of the bar.
        self.assertRegex(written, r"bytes\r\x1b\[J")

    def test_a_quick_test_has_one_too(self):
        self.assertRegex(self.on_terminal("start", "Demo.xml", "--follow"),
                         r"Quick test \w+  \[#+ *\]  \d+ %  \d of 3 control units")

    def test_the_outcome_has_a_colour(self):
        self.assertIn("\x1b[32mclean\x1b[0m", self.on_terminal("start", "Read.xml", "--follow"))
        self.assertIn("\x1b[33mfindings\x1b[0m", self.on_terminal("start", "Fail.xml", "--follow"))
        self.assertIn("\x1b[31mfailed\x1b[0m", self.on_terminal("start", "Unknown.xml", "--follow"))

    def test_no_colour_is_respected(self):
        written = self.on_terminal("start", "Read.xml", "--follow", NO_COLOR="1")
        self.assertIn("clean", written)
        self.assertNotRegex(written, r"\x1b\[\d+m")
        self.assertIn("\x1b[32m", self.on_terminal("health", NO_COLOR=""))

    def test_json_has_neither_colours_nor_bars(self):
        written = self.on_terminal("--json", "start", "Flash.xml", "--follow")
        self.assertNotIn("\x1b", written)
        methods = {json.loads(line)["method"] for line in written.splitlines()}
        self.assertEqual(methods, {"status.changed", "job.progress", "run.ended"})

    def test_a_table_is_drawn_in_place(self):
        written = self.on_terminal("watch", "--all", "127.0.0.1", "localhost",
                                   until=lambda text: text.count("Idle") >= 2)
        self.assertRegex(written, r"\A127\.0\.0\.1  .*….*\r\nlocalhost  .*….*\r\n\x1b\[2A\r\x1b\[J127\.0\.0\.1  ")

    def test_a_table_keeps_within_the_terminal(self):
        written = self.on_terminal("watch", "--all", *["127.0.0.1"] * 9, rows=5, columns=30,
                                   until=lambda text: text.count("\x1b[4A") >= 1)
        frame = written.split("\x1b[4A")[0].split("\r\n")
        self.assertEqual(len(frame), 5)
        self.assertEqual(frame[3], "and 6 more that changed earlie")
        for line in frame:
            self.assertLessEqual(len(re.sub(r"\x1b\[[\d;]*\w", "", line).strip("\r")), 30, line)

    def first_rows(self, *hosts, **size):
        """The table before anything is known."""
        written = self.on_terminal("watch", "--all", *hosts, **size,
                                   until=lambda text: text.count("\r\n") >= len(hosts))
        return re.sub(r"\x1b\[\d*m", "", written).split("\r\n")[:len(hosts)]

    def test_letters_count_and_not_their_bytes(self):
        self.assertEqual(self.first_rows("\u00fc\u00f6", "abcd"), ["\u00fc\u00f6    \u2026", "abcd  \u2026"])
        self.assertEqual(self.first_rows("\u00fc" * 40, columns=30), ["\u00fc" * 30])

    def test_a_host_does_not_steer_the_terminal(self):
        self.assertEqual(self.first_rows("a\x1b[2J"), ["a?[2J  \u2026"])

    def test_colours_of_a_table_tell_who_is_missing(self):
        with held_port() as holder:
            gone = f"127.0.0.1:{holder.getsockname()[1]}"
            written = self.on_terminal("watch", "--all", gone, "127.0.0.1",
                                       until=lambda text: "\x1b[0m\r\n" in text and "Idle" in text
                                       and text.endswith("\r\n"))
        self.assertRegex(written, re.escape(gone) + r"  \x1b\[31m[^\x1b]+\x1b\[0m\r\n")
        self.assertIn("Z  Idle\r\n", written)

    def test_the_latest_changes_have_the_rows(self):
        has_idle = threading.Event()

        def go(_):
            has_idle.wait(PATIENCE)
            raise ConnectionError

        def has_both(text):
            if "Idle" in text:
                has_idle.set()
            return "\x1b[31m" in text

        with FakeServer(go) as leaving:
            nobody = f"127.0.0.1:{leaving.port}"
            written = self.on_terminal("watch", "--all", nobody, nobody, "127.0.0.1", rows=3, until=has_both)
        self.assertLess(written.index("Idle"), written.index("\x1b[31m"))


if __name__ == "__main__":
    unittest.main(argv=["watch_test"])
