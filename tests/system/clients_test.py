#!/usr/bin/env python3
"""Runs the program and uses it as clients of the runtime's server do: start, watch, cancel, vanish.

usage: clients_test.py PROGRAM EXAMPLE_CONFIG FLASH_DATA [EMULATOR]
"""

import hashlib
import http.client
import json
import os
import pathlib
import re
import resource
import shutil
import socket
import subprocess
import sys
import tempfile
import threading
import time
import unittest

from installed_program import edit, held_port, install, wait_for_line
from rpc_client import PATIENCE, Closed, RpcClient, frame, handshake
from rpc_schemas import Described

PROGRAM, EXAMPLES, FLASH_DATA = (pathlib.Path(argument).resolve() for argument in sys.argv[1:4])
EMULATOR = sys.argv[4:]
PROTOCOL = pathlib.Path(__file__).resolve().parent.parent.parent / "docs" / "clients.md"
SELECT = ("<SelectAction project='Car_DEMO0000000042' vehicleInformation='VIT_A' autoConnect='true'/>")
SLOW = "<ExecuteAction command='Otx_Slow'/>"
READ = "<ExecuteAction command='Otx_ReadIdent'/>"
FAIL = "<ExecuteAction command='Otx_Fail'/>"
TOKEN = "do"
SELECTED = ["Selecting project Car_DEMO0000000042", "Project Car_DEMO0000000042 selected.", "Idle"]


class Server:
    """The program in a copy of its folder, with these scripts and without a start sequence."""

    def __init__(self, folder, scripts):
        install(folder, PROGRAM, EXAMPLES)
        shutil.copytree(FLASH_DATA, folder / "config" / "data" / "flashdata", dirs_exist_ok=True)
        edit(folder / "config" / "KelServer.xml", "</KelServer>",
             '<Access tokenFile="access.token"/></KelServer>')
        tokens = folder / "config" / "access.token"
        tokens.touch(mode=0o600)
        tokens.write_text(f"watch screen {hashlib.sha256(TOKEN.encode()).hexdigest()}\n",
                          encoding="utf-8")
        # Longer than any machine needs: only a cancel ends it.
        edit(folder / "config" / "projects" / "Car_DEMO0000000042" / "project.xml",
             'milliseconds="10000"', 'milliseconds="3600000"')
        for name, actions in scripts.items():
            (folder / "config" / "KelServerScripts" / name).write_text(
                f"<KelServerScript>{actions}</KelServerScript>", encoding="utf-8")
        self.holder = held_port()
        self.port = self.holder.getsockname()[1]
        self.process = subprocess.Popen(
            [*EMULATOR, folder / PROGRAM.name, "127.0.0.1", str(self.port)],
            cwd=folder, stdin=subprocess.PIPE, stdout=subprocess.PIPE)
        # The last line that does not wait for the next one.
        wait_for_line(self.process.stdout, b"Press F2")

    def end(self):
        try:
            self.process.communicate(b"q", timeout=PATIENCE)
        finally:
            self.process.kill()
            self.holder.close()
        return self.process.returncode

    def client(self):
        return RpcClient(self.port)

    def get(self, path):
        connection = http.client.HTTPConnection("127.0.0.1", self.port, timeout=PATIENCE)
        try:
            connection.request("GET", path)
            response = connection.getresponse()
            return response.status, response.read()
        finally:
            connection.close()


class Clients(unittest.TestCase):
    @classmethod
    def setUpClass(cls):
        cls.folder = tempfile.TemporaryDirectory()
        cls.server = Server(pathlib.Path(cls.folder.name), {
            "Slow.xml": SELECT + SLOW + READ, "Read.xml": SELECT + READ, "Fail.xml": SELECT + FAIL,
            "Unknown.xml": "<SelectAction project='Nowhere'/>"})

    @classmethod
    def tearDownClass(cls):
        code = cls.server.end()
        cls.folder.cleanup()
        if code != 0:
            raise AssertionError(f"the program ended with {code}")

    def watcher(self):
        client = self.server.client()
        self.addCleanup(client.close)
        self.assertTrue(client.result("status.subscribe"))
        self.assertEqual(client.notification("status.changed")["text"], "Idle")
        return client

    def wait_for_job(self, client):
        """The status text "Running execute action" is set before the job is launched."""
        self.wait_until(lambda: client.result("jobs.list"))

    def wait_until_alone(self, client):
        self.wait_until(lambda: len([entry for entry in client.result("connections.list")
                                     if entry.startswith("client")]) == 1)

    def wait_until(self, condition):
        end = time.monotonic() + PATIENCE
        while not condition():
            self.assertLess(time.monotonic(), end, "it does not become true")

    def run_of(self, client):
        return client.result("runs.get", id=client.result("runs.list")[-1]["id"])

    def test_a_subscriber_sees_exactly_the_status_texts_of_a_run(self):
        watcher = self.watcher()
        with self.server.client() as client:
            self.assertEqual(client.result("sequence.start", name="Read.xml"), {"handled": True})
            run = self.run_of(client)
        expected = ["Running sequence: Read.xml", *SELECTED,
                    "Running execute action: Otx_ReadIdent", "Idle", "Idle"]
        entries = [watcher.notification("status.changed") for _ in expected]
        self.assertEqual([entry["text"] for entry in entries], expected)
        self.assertEqual([entry["number"] for entry in entries],
                         list(range(entries[0]["number"], entries[0]["number"] + len(expected))))
        self.assertEqual([entry["text"] for entry in run["statuses"]], expected)
        self.assertEqual(watcher.notification("run.ended")["outcome"], "clean")
        self.assertEqual(run["outcome"], "clean")

    def test_a_cancel_during_a_procedure_ends_the_run_before_its_next_action(self):
        watcher = self.watcher()
        with self.server.client() as starter, self.server.client() as canceller:
            start = starter.begin("sequence.start", name="Slow.xml")
            self.wait_for_job(canceller)
            self.assertEqual(canceller.result("sequence.cancel"), {"handled": True})
            self.assertEqual(starter.finish(start)["result"], {"handled": True})
            run = self.run_of(starter)
        self.assertEqual(watcher.notification("run.ended")["outcome"], "cancelled")
        self.assertEqual(run["outcome"], "cancelled")
        self.assertEqual([job["name"] for job in run["jobs"]], ["Otx_Slow"])
        self.assertEqual(run["jobs"][0]["outcome"], "cancelled")
        with self.server.client() as client:
            self.assertEqual(client.result("vehicle.get")["project"], "")

    def test_a_procedure_that_fails_is_a_finding(self):
        with self.server.client() as client:
            client.result("sequence.start", name="Fail.xml")
            run = self.run_of(client)
        self.assertEqual(run["outcome"], "findings")
        self.assertEqual(run["exceptions"], [])
        self.assertIn("Otx_Fail", run["jobs"][0]["summary"])

    def test_an_exception_of_the_runtime_is_a_failure(self):
        with self.server.client() as client:
            client.result("sequence.start", name="Unknown.xml")
            run = self.run_of(client)
        self.assertEqual(run["outcome"], "failed")
        self.assertIn("Nowhere", run["exceptions"][0])

    def test_a_missing_script_is_a_failure(self):
        with self.server.client() as client:
            self.assertEqual(client.result("sequence.start", name="Missing.xml"), {"handled": True})
            run = self.run_of(client)
            self.assertEqual(run["outcome"], "failed")
            client.result("sequence.start", name="Read.xml")

    def test_a_report_is_where_the_run_says(self):
        with self.server.client() as client:
            client.result("sequence.start", name="Demo.xml")
            name = self.run_of(client)["reports"][0]
        status, page = self.server.get(f"/reports/{name}")
        self.assertEqual(status, 200)
        self.assertIn(b"Cylinder 1 misfire detected", page)
        self.assertEqual(self.server.get("/config/KelServer.xml")[0], 404)

    def run_documented(self, language, *command):
        """What the only block of the document in this language prints."""
        block, = re.findall(rf"^```{language}\n(.*?)^```$", PROTOCOL.read_text(encoding="utf-8"),
                            re.MULTILINE | re.DOTALL)
        self.assertIn("58000", block)
        return subprocess.run([*command, block.replace("58000", str(self.server.port))], check=True,
                              env={**os.environ, "no_proxy": "*"}, stdout=subprocess.PIPE,
                              timeout=PATIENCE, text=True).stdout

    def test_the_documented_session_runs(self):
        answers = self.run_documented("sh", "sh", "-e", "-c")
        count = 0
        while answers:
            answer, size = json.JSONDecoder().raw_decode(answers)
            answers = answers[size:]
            for one in answer if isinstance(answer, list) else [answer]:
                self.assertIn("result", one)
                count += 1
        self.assertEqual(count, 5)

    def test_the_documented_program_runs(self):
        self.assertRegex(self.run_documented("python", sys.executable, "-c"), r"^clean \S+\.html$")

    def test_a_client_that_vanishes_does_not_end_its_run(self):
        watcher = self.watcher()
        starter = self.server.client()
        starter.begin("sequence.start", name="Slow.xml")
        self.wait_for_job(watcher)
        name = "client %s:%d" % starter.socket.getsockname()
        starter.close()
        with self.server.client() as client:
            # Its start keeps it in the list.
            self.assertIn(name, client.result("connections.list"))
            self.assertIsNone(client.result("runs.list")[-1]["end"])
            client.result("sequence.cancel")
            self.wait_until(lambda: name not in client.result("connections.list"))
        self.assertEqual(watcher.notification("run.ended")["outcome"], "cancelled")

    def test_clients_that_vanish_at_any_stage_leave_nothing_behind(self):
        call = json.dumps({"jsonrpc": "2.0", "id": 1, "method": "sequence.list"}).encode()
        upgrade = handshake("127.0.0.1", self.server.port)
        subscribe = frame(1, call.replace(b"sequence.list", b"status.subscribe"))
        stages = [b"", upgrade[:20], upgrade[:-2], upgrade, upgrade + frame(1, call)[:1],
                  upgrade + frame(1, call)[:-3], upgrade + frame(1, call), upgrade + subscribe,
                  upgrade + frame(8, b"\x03"), b"POST /rpc HTTP/1.1\r\nContent-Length: 9\r\n\r\n{"]
        for stage in stages * 3:
            with socket.create_connection(("127.0.0.1", self.server.port)) as client:
                client.sendall(stage)
        with self.server.client() as client:
            self.wait_until_alone(client)
            self.assertEqual(client.result("server.version"), "1.0.0")

    def test_clients_that_vanish_during_a_run_leave_nothing_behind(self):
        watcher = self.watcher()
        starter, waiting, deaf, stranger = (self.server.client() for _ in range(4))
        deaf.result("status.subscribe")
        starter.begin("sequence.start", name="Slow.xml")
        self.wait_for_job(watcher)
        waiting.begin("sequence.start", name="Read.xml")
        self.wait_until(lambda: watcher.result("sequence.waiting"))
        stranger.begin("session.login", token="guess")
        for client in (starter, waiting, deaf, stranger):
            client.close()
        watcher.result("sequence.cancel")
        ended = [watcher.notification("run.ended")["name"] for _ in range(2)]
        self.assertEqual(ended, ["Slow.xml", "Read.xml"])
        self.wait_until_alone(watcher)
        self.assertEqual(watcher.result("sequence.waiting"), [])

    def test_a_cancel_is_carried_out_without_its_client(self):
        watcher = self.watcher()
        watcher.begin("sequence.start", name="Slow.xml")
        self.wait_for_job(watcher)
        with self.server.client() as canceller:
            canceller.begin("sequence.cancel")
        self.assertEqual(watcher.notification("run.ended")["outcome"], "cancelled")
        # The last thing that a cancel does before it lets others go on.
        self.wait_until(lambda: watcher.result("vehicle.get")["project"] == "")
        watcher.result("sequence.start", name="Read.xml")
        self.assertEqual(watcher.notification("run.ended")["outcome"], "clean")

    def test_each_answer_is_as_described(self):
        with self.server.client() as client, self.server.client() as starter:
            described = Described(client)
            described.ask("sequence.start", name="Demo.xml")
            described.ask("sequence.start", name="Fail.xml")
            starts = [starter.begin("sequence.start", name="Slow.xml")]
            self.wait_for_job(client)
            starts.append(starter.begin("sequence.start", name="Read.xml"))
            self.wait_until(lambda: described.ask("sequence.waiting"))
            self.assertTrue(described.ask("jobs.list"))
            described.ask("sequence.cancel")
            for start in starts:
                described.check("sequence.start", starter.finish(start)["result"])
            for run in described.ask("runs.list"):
                described.ask("runs.get", id=run["id"])
            self.assertTrue(described.ask("reports.list"))
            # Wine does not show the file with tokens as its owner's alone.
            if EMULATOR:
                described.unasked.discard("session.login")
            else:
                self.assertEqual(described.ask("session.login", token=TOKEN)["role"], "watch")
            # Those that need neither a parameter nor something to tell.
            for method in sorted(described.unasked):
                described.ask(method)

    def test_each_notification_is_as_described(self):
        watcher = self.watcher()
        described = Described(watcher)
        with self.server.client() as client:
            client.result("sequence.start", name="Demo.xml")
        kinds = set()
        while "run.ended" not in kinds:
            message = watcher.next_notification()
            kinds.add(message["method"])
            described.notifications[message["method"]].validate(message["params"])
        self.assertEqual(kinds, set(described.notifications))

    def test_a_stop_ends_the_run_of_a_client_that_has_gone_and_refuses_what_waits(self):
        count = 12
        with tempfile.TemporaryDirectory() as name:
            folder = pathlib.Path(name)
            server = Server(folder, {"Slow.xml": SELECT + SLOW + READ})
            with server.client() as starter, server.client() as watcher:
                watcher.result("status.subscribe")
                for _ in range(count):
                    starter.begin("sequence.start", name="Slow.xml")
                self.wait_for_job(watcher)
                starter.close()
                # Within the patience, although the procedure lasts for an hour.
                self.assertEqual(server.end(), 0)
                texts = watcher.status_texts_until_closed()
        begun = [text for text in texts if text.startswith("Running sequence: ")]
        self.assertEqual(begun, ["Running sequence: Slow.xml"])
        self.assertIn("Shutting down", texts)

    @unittest.skipIf(EMULATOR, "Wine shows a link as what it leads to")
    def test_a_link_among_the_reports_is_not_served(self):
        with self.server.client() as client:
            client.result("sequence.start", name="Demo.xml")
            report = client.result("reports.list")[-1]["name"]
            reports = pathlib.Path(self.folder.name) / "config" / "reports"
            link = reports / "link.html"
            link.symlink_to(reports / report)
            self.addCleanup(link.unlink)
            self.assertNotIn("link.html", [each["name"] for each in client.result("reports.list")])
        self.assertEqual(self.server.get("/reports/" + report)[0], 200)
        self.assertEqual(self.server.get("/reports/link.html")[0], 404)

    def test_a_thousand_subscribers_see_every_status(self):
        # Wine gives its programs fewer sockets.
        count = 100 if EMULATOR else 1000
        clients = [self.server.client() for _ in range(count)]
        try:
            for client in clients:
                client.result("status.subscribe")
            self.assertEqual(clients[0].result("sequence.start", name="Read.xml"), {"handled": True})
            for client in clients:
                texts = client.status_until("Running execute action: Otx_ReadIdent")
                self.assertEqual(texts[-5:], ["Running sequence: Read.xml", *SELECTED,
                                              "Running execute action: Otx_ReadIdent"])
        finally:
            for client in clients:
                client.close()

    def test_many_clients_start_and_cancel_at_once(self):
        failures = []

        def act(number):
            try:
                with self.server.client() as client:
                    client.result("status.subscribe")
                    for _ in range(5):
                        if number % 3 == 0:
                            client.result("sequence.cancel")
                        else:
                            response = client.finish(client.begin("sequence.start", name="Read.xml"))
                            # Refused where too many wait.
                            if response.get("error", {"code": -32002})["code"] != -32002:
                                failures.append(response)
            except (AssertionError, Closed, OSError) as failure:
                failures.append(failure)

        threads = [threading.Thread(target=act, args=(number,)) for number in range(20)]
        for thread in threads:
            thread.start()
        for thread in threads:
            thread.join()
        self.assertEqual(failures, [])
        with self.server.client() as client:
            self.assertEqual(client.result("sequence.waiting"), [])


def raise_descriptor_limit():
    """A thousand clients in this process need more than it has by default."""
    _, maximum = resource.getrlimit(resource.RLIMIT_NOFILE)
    resource.setrlimit(resource.RLIMIT_NOFILE, (min(8192, maximum), maximum))


if __name__ == "__main__":
    raise_descriptor_limit()
    unittest.main(argv=sys.argv[:1])
