#!/usr/bin/env python3
"""What kelctl does with a server: every command, every exit code, for people and for programs."""

import json
import os
import pathlib
import re
import shutil
import socket
import stat
import subprocess
import tempfile
import threading
import unittest
import zipfile

from kelctl_program import (CANCELLED, DONE, FINDINGS, IS_WINDOWS, NOT_REACHABLE, PATIENCE,
                            REFUSED, WRONG_USAGE, command, kelctl)
from running_server import MAX_WAITING, Proxy, RunningServer, held_port

STATUS = re.compile(r"\d{4}-\d\d-\d\dT\d\d:\d\d:\d\d\.\d{3}Z  (.*)")
READ = ["Running sequence: Read.xml", "Selecting project Car_DEMO0000000042",
        "Project Car_DEMO0000000042 selected.", "Idle", "Running execute action: Otx_ReadIdent", "Idle",
        "Idle"]


class WithServer(unittest.TestCase):
    @classmethod
    def setUpClass(cls):
        cls.server = RunningServer()

    @classmethod
    def tearDownClass(cls):
        code = cls.server.end()
        if code != 0:
            raise AssertionError(f"the server ended with {code}")

    def kelctl(self, *arguments, **more):
        return self.server.kelctl(*arguments, **more)

    def said(self, *arguments, code=DONE):
        """Standard output of a command that says nothing else."""
        result = self.kelctl(*arguments)
        self.assertEqual((result.code, result.err), (code, ""), result.out)
        return result.out

    def refused(self, *arguments, code=REFUSED):
        """The error of a command that does nothing."""
        result = self.kelctl(*arguments)
        self.assertEqual((result.code, result.out), (code, ""), result.err)
        self.assertTrue(result.err.startswith("kelctl: "), result.err)
        return result.err[len("kelctl: "):].rstrip("\n")

    def follow(self, name, *arguments):
        """A start that goes on until the test ends it, and its first lines."""
        process = subprocess.Popen(
            command("--port", self.server.port, *arguments, "start", name, "--follow"),
            stdout=subprocess.PIPE)
        self.addCleanup(process.stdout.close)
        self.addCleanup(process.wait)
        self.addCleanup(process.kill)
        return process

    def wait_for(self, process, text):
        for line in process.stdout:
            if text in line.decode():
                return
        self.fail(f"no {text!r}")


class Running(WithServer):
    def test_a_followed_start_shows_each_status_once_and_then_the_outcome(self):
        first, *lines = self.said("start", "Read.xml", "--follow").splitlines()
        self.assertRegex(first, STATUS)
        self.assertEqual([STATUS.fullmatch(line)[1] for line in lines[:-1]], READ)
        self.assertEqual(lines[-1], "clean")

    def test_reports_of_a_followed_start_are_named(self):
        lines = self.said("start", "Demo.xml", "--follow").splitlines()
        self.assertEqual(lines[-2], "clean")
        self.assertRegex(lines[-1], r"report \d{8}_\d{6}_WKLDEMO0000000042_Initial.*\.html")

    def test_the_exit_code_is_that_of_the_outcome(self):
        for name, code, outcome in (("Read.xml", DONE, "clean"), ("Unknown.xml", REFUSED, "failed"),
                                    ("Fail.xml", FINDINGS, "findings")):
            with self.subTest(name):
                self.assertEqual(self.said("start", name, "--follow", code=code).splitlines()[-1],
                                 outcome)

    def test_a_cancelled_run_ends_with_five(self):
        follower = self.follow("Slow.xml")
        self.server.wait_for_job()
        self.assertEqual(self.said("cancel"), "cancelled; the buttons rest until the program is "
                                              "started again\n")
        self.assertEqual(follower.stdout.read().decode().split()[-1], "cancelled")
        self.assertEqual(follower.wait(), CANCELLED)

    def test_a_followed_start_tells_programs_every_notification(self):
        lines = [json.loads(line) for line in self.said("--json", "start", "Read.xml",
                                                        "--follow").splitlines()]
        texts = [line["params"]["text"] for line in lines if line["method"] == "status.changed"]
        self.assertEqual(texts[1:], READ)
        self.assertEqual((lines[-1]["method"], lines[-1]["params"]["outcome"]), ("run.ended", "clean"))

    def test_a_start_without_follow_does_not_wait_for_the_end(self):
        self.assertEqual(self.said("start", "Slow.xml"), "started Slow.xml\n")
        self.assertEqual(json.loads(self.said("--json", "start", "Read.xml")), {"started": "Read.xml"})
        self.server.wait_for_job()
        self.assertEqual(json.loads(self.said("--json", "cancel")), {"handled": True})
        # Comes behind both.
        self.said("start", "Read.xml", "--follow")

    def test_a_start_that_the_server_does_not_take_is_refused_at_once(self):
        follower = self.follow("Slow.xml")
        self.server.wait_for_job()
        for _ in range(MAX_WAITING):
            self.assertEqual(self.said("start", "Read.xml"), "started Read.xml\n")
        self.assertEqual(self.refused("start", "Read.xml"), "too many sequences wait")
        followed = self.kelctl("start", "Read.xml", "--follow")
        self.assertEqual((followed.code, followed.err), (REFUSED, "kelctl: too many sequences wait\n"))
        self.said("cancel")
        self.assertEqual(follower.wait(), CANCELLED)
        self.server.wait_for_room()
        # Comes behind all of them.
        self.said("start", "Read.xml", "--follow")

    def test_a_script_that_is_missing_fails(self):
        self.assertEqual(self.said("start", "Missing.xml", "--follow", code=REFUSED).splitlines()[-1],
                         "failed")

    def test_a_name_does_not_steer_the_terminal(self):
        name, shown = "M\x1b[2J.xml", "M?[2J.xml"
        self.assertEqual(self.said("start", name), f"started {shown}\n")
        said = self.said("start", name, "--follow", code=REFUSED)
        self.assertNotIn("\x1b", said)
        self.assertIn(f"Running sequence: {shown}\n", said)

    def test_the_run_of_another_with_the_same_name_is_not_its_own(self):
        script = self.server.config / "KelServerScripts" / "Changed.xml"
        flash = (script.parent / "Flash.xml").read_text(encoding="utf-8")
        script.write_text(flash.replace("</FlashingAction>",
                                        "</FlashingAction><ExecuteAction command='Otx_Fail'/>"),
                          encoding="utf-8")
        others = self.follow(script.name)
        self.wait_for(others, " selected.")
        script.write_bytes((script.parent / "Read.xml").read_bytes())
        self.assertEqual(self.said("start", script.name, "--follow").splitlines()[-1], "clean")
        self.assertEqual(others.wait(), FINDINGS)

    def test_nothing_but_text_goes_into_a_file(self):
        said = self.said("start", "Flash.xml", "--follow")
        self.assertIn("done", said)
        self.assertNotRegex(said, r"[\x1b\r]|\[[# ]+\]")

    def test_the_status_is_shown(self):
        self.assertRegex(self.said("status"), STATUS)
        self.assertEqual(set(json.loads(self.said("--json", "status"))), {"text", "time", "number"})

    def test_a_watched_status_goes_on(self):
        process = subprocess.Popen(command("--port", self.server.port, "status", "--watch"),
                                   stdout=subprocess.PIPE)
        try:
            self.wait_for(process, "  ")
            self.said("start", "Read.xml", "--follow")
            seen = [STATUS.fullmatch(process.stdout.readline().decode().strip())[1] for _ in READ]
            self.assertEqual(seen, READ)
        finally:
            process.kill()
            process.wait()
            process.stdout.close()


class Asking(WithServer):
    def test_health_says_ok(self):
        self.assertEqual(self.said("health"), "ok\n")
        self.assertEqual(json.loads(self.said("--json", "health")), {"health": "ok"})

    def test_versions_and_places_are_listed_below_each_other(self):
        self.assertRegex(self.said("version"),
                         r"\AcosVersion   \S.*\ndpduVersion  \S+\nversion      \S+\n\Z")
        places = json.loads(self.said("--json", "configurations"))
        self.assertEqual(set(places), {"projectsPath", "tracesPath", "reportsPath", "ownPath"})
        self.assertIn("projectsPath  " + places["projectsPath"], self.said("configurations"))

    def test_switches_are_shown_and_switched(self):
        for name, member in (("tracing", "tracing"), ("simulation", "enabled")):
            with self.subTest(name):
                self.assertEqual(self.said(name), "on\n")
                self.assertEqual(self.said(name, "off"), "off\n")
                self.assertEqual(self.said(name, "show"), "off\n")
                self.assertEqual(json.loads(self.said("--json", name)), {member: False})
                self.assertEqual(self.said(name, "on"), "on\n")
                self.assertEqual(self.said(name), "on\n")

    def test_the_procedures_of_a_project_are_listed(self):
        self.assertIn("VIT_A  Otx_ReadIdent\n", self.said("otx", "Car_DEMO0000000042"))
        self.assertIn({"name": "Otx_ReadIdent", "vehicleInformation": "VIT_A"},
                      json.loads(self.said("--json", "otx", "Car_DEMO0000000042"))["otx"])

    def test_the_cause_of_a_refusal_is_the_servers(self):
        self.assertIn("Nowhere % \u00fc", self.refused("otx", "Nowhere % \u00fc"))

    def test_a_button_gets_a_script_and_loses_it(self):
        self.assertEqual(self.said("bind", "F1", "Read.xml"), "F1 runs Read.xml\n")
        self.assertEqual(json.loads(self.said("--json", "bind", "F2", "")), {"button": "F2", "script": ""})
        self.assertEqual(self.said("bind", "F2", ""), "F2 has no script\n")

    def test_an_abort_is_passed_on(self):
        self.assertEqual(self.said("abort"), "aborted\n")
        self.assertEqual(json.loads(self.said("--json", "abort")), {"done": True})


class Packages(WithServer):
    def setUp(self):
        folder = tempfile.TemporaryDirectory()
        self.addCleanup(folder.cleanup)
        self.folder = pathlib.Path(folder.name)

    def package(self, path):
        path.parent.mkdir(exist_ok=True)
        with zipfile.ZipFile(path, "w") as package:
            package.writestr("entry", "content")
        return path

    def test_a_name_stands_for_a_package_in_the_servers_folder(self):
        self.package(self.server.folder / "Update" / "There.zip")
        self.assertEqual(self.said("update", "There.zip"), "staged\n")
        self.assertEqual(json.loads(self.said("--json", "update", "There.zip")),
                         [{"patchName": "There.zip"}])
        self.assertIn("Missing.zip", self.refused("update", "Missing.zip"))

    def test_every_package_is_handed_over(self):
        packages = [self.package(self.folder / name) for name in ("One.zip", "Two.zip")]
        self.assertEqual(json.loads(self.said("--json", "update", *packages)),
                         [{"patchName": "One.zip"}, {"patchName": "Two.zip"}])

    def test_a_server_on_this_machine_has_two_names(self):
        package = self.package(self.folder / "Named.zip")
        self.assertEqual(self.said("--host", "localhost", "update", package), "staged\n")

    def test_an_unfinished_copy_is_neither_in_the_way_nor_left(self):
        update = self.server.folder / "Update"
        update.mkdir(exist_ok=True)
        (update / "Cut.zip.part").write_text("x", encoding="utf-8")
        self.assertEqual(self.said("update", self.package(self.folder / "Cut.zip")), "staged\n")
        (update / "Folder.zip").mkdir()
        self.assertIn("cannot be copied to",
                      self.refused("update", self.package(self.folder / "Folder.zip")))
        self.assertEqual(list(update.glob("*.part")), [])

    def test_a_path_is_copied_there_first(self):
        shutil.rmtree(self.server.folder / "Update", ignore_errors=True)
        self.package(self.folder / "Own.zip")
        self.assertEqual(self.said("update", self.folder / "Own.zip"), "staged\n")
        self.assertEqual((self.server.folder / "Update" / "Own.zip").read_bytes(),
                         (self.folder / "Own.zip").read_bytes())

    def test_a_file_that_is_missing_is_told_with_both_places(self):
        self.assertRegex(self.refused("update", self.folder / "Missing.zip"),
                         r"Missing\.zip cannot be copied to .*Update: .+ \(\d+\)")
        self.assertFalse((self.server.folder / "Update" / "Missing.zip").exists())

    def test_a_path_cannot_be_copied_to_another_machine(self):
        result = kelctl("--host", "192.0.2.1", "update", self.folder / "Own.zip")
        self.assertEqual(result.code, WRONG_USAGE)
        self.assertIn("another machine", result.err)


class Reports(WithServer):
    @classmethod
    def setUpClass(cls):
        super().setUpClass()
        cls.server.kelctl("start", "Demo.xml", "--follow")
        cls.report, = (cls.server.config / "reports").glob("*.html")

    def setUp(self):
        folder = tempfile.TemporaryDirectory()
        self.addCleanup(folder.cleanup)
        self.folder = pathlib.Path(folder.name)

    def test_they_are_listed(self):
        self.assertRegex(self.said("reports"), rf"\A\S+Z  {re.escape(self.report.name)}\n\Z")
        self.assertEqual(json.loads(self.said("--json", "reports"))[0]["name"], self.report.name)

    def test_one_is_saved_as_the_server_has_it(self):
        said = self.said("reports", "--save", self.report.name, "--into", self.folder)
        self.assertIn(self.report.name, said)
        self.assertEqual((self.folder / self.report.name).read_bytes(), self.report.read_bytes())

    def test_one_that_is_missing_is_refused_and_leaves_no_file(self):
        self.assertIn("404 Not Found", self.refused("reports", "--save", "../x.html", "--into", self.folder))
        self.assertEqual(list(self.folder.iterdir()), [])

    def test_a_folder_that_is_missing_is_told(self):
        self.assertRegex(self.refused("reports", "--save", self.report.name, "--into", self.folder / "no"),
                         r"\.html cannot be written: .+ \(\d+\)\Z")

    @unittest.skipIf(IS_WINDOWS, "the folder is named by another variable, which programs need")
    def test_a_missing_folder_for_temporary_files_is_told(self):
        refused = self.kelctl("reports", "--save", self.report.name, TMPDIR=str(self.folder / "no"))
        self.assertEqual((refused.code, refused.out), (REFUSED, ""))
        self.assertRegex(refused.err, r"\Akelctl: cannot make a folder in the one for temporary files: "
                                      r".+ \(\d+\)\n\Z")

    def test_opening_and_saving_exclude_each_other(self):
        result = self.kelctl("reports", "--save", "a", "--open", "b")
        self.assertEqual((result.code, result.out), (WRONG_USAGE, ""))

    @unittest.skipIf(IS_WINDOWS, "the viewer is the desktop's")
    def test_one_is_opened_by_the_viewer(self):
        viewer = self.folder / "xdg-open"
        viewer.write_text(f'#!/bin/sh\nprintf %s "$1" >"{self.folder}/opened"\n', encoding="utf-8")
        viewer.chmod(0o755)
        result = self.kelctl("reports", "--open", self.report.name, "--into", self.folder,
                             PATH=f"{self.folder}:{os.environ['PATH']}")
        self.assertEqual((result.code, result.err), (DONE, ""))
        opened = pathlib.Path((self.folder / "opened").read_text(encoding="utf-8"))
        self.assertEqual(opened, self.folder / self.report.name)
        self.assertEqual(opened.read_bytes(), self.report.read_bytes())

    @unittest.skipIf(IS_WINDOWS, "the viewer is the desktop's")
    def test_a_viewer_that_is_missing_is_told_and_the_report_stays(self):
        result = self.kelctl("reports", "--open", self.report.name, "--into", self.folder,
                             PATH=str(self.folder))
        self.assertEqual(result.code, REFUSED)
        self.assertIn("no program here that shows", result.err)
        self.assertTrue((self.folder / self.report.name).exists())


class Tokens(WithServer):
    @classmethod
    def setUpClass(cls):
        super().setUpClass()
        cls.proxy = Proxy(cls.server.port)
        cls.file = cls.server.config / "access.token"
        cls.folder = tempfile.TemporaryDirectory()

    @classmethod
    def tearDownClass(cls):
        cls.proxy.end()
        cls.folder.cleanup()
        super().tearDownClass()

    def token_file(self, name, role):
        """As the client keeps it; the server has got its line."""
        created = kelctl("--json", "token", "create", name, "--role", role, "--into", self.file)
        self.assertEqual((created.code, created.err), (DONE, ""))
        token = created.json()
        kept = pathlib.Path(self.folder.name) / name
        kept.write_text(token["token"] + "\n", encoding="utf-8")
        self.assertEqual(self.file.read_text(encoding="utf-8").splitlines()[-1], token["line"])
        return kept

    def through(self, *arguments):
        return kelctl("--port", self.proxy.port, *arguments)

    def test_a_client_elsewhere_needs_one(self):
        self.token_file("first", "watch")
        result = self.through("status")
        self.assertEqual((result.code, result.out), (REFUSED, ""))
        self.assertIn("--token-file", result.err)

    def test_one_to_watch_shows_and_starts_nothing(self):
        kept = self.token_file("screen", "watch")
        self.assertEqual(self.through("--token-file", kept, "status").code, DONE)
        refused = self.through("--token-file", kept, "start", "Read.xml")
        self.assertEqual((refused.code, refused.out), (REFUSED, ""))
        # It has one already.
        self.assertNotIn("--token-file", refused.err)
        self.assertEqual(self.through("--token-file", kept, "cancel").code, REFUSED)

    def watched(self, *arguments):
        """The first value of a watch through the proxy."""
        with subprocess.Popen(command("--json", "--port", self.proxy.port, *arguments, "watch"),
                              stdout=subprocess.PIPE) as process:
            try:
                return json.loads(process.stdout.readline())
            finally:
                process.kill()

    def test_a_watch_needs_one_too(self):
        kept = self.token_file("wall", "watch")
        self.assertEqual(self.watched("--token-file", kept)["text"], "Idle")
        self.assertFalse(self.watched()["reachable"])

    def test_it_is_the_first_word_of_its_file(self):
        kept = self.token_file("noted", "watch")
        token = kept.read_text(encoding="utf-8").strip()
        kept.write_text(f"  {token} noted\nfor the line\n", encoding="utf-8")
        self.assertEqual(self.through("--token-file", kept, "status").code, DONE)

    def test_one_to_control_starts_and_fetches_reports(self):
        kept = self.token_file("line", "control")
        followed = self.through("--token-file", kept, "start", "Demo.xml", "--follow")
        self.assertEqual((followed.code, followed.err), (DONE, ""))
        report = followed.out.splitlines()[-1].removeprefix("report ")
        saved = self.through("--token-file", kept, "reports", "--save", report, "--into",
                             self.folder.name)
        self.assertEqual((saved.code, saved.err), (DONE, ""))
        self.assertEqual(self.through("reports", "--save", report, "--into", self.folder.name).code,
                         REFUSED)

    def test_a_wrong_one_is_refused(self):
        wrong = pathlib.Path(self.folder.name) / "wrong"
        wrong.write_text("0" * 64, encoding="utf-8")
        self.token_file("another", "watch")
        result = self.through("--token-file", wrong, "status")
        self.assertEqual((result.code, result.out), (REFUSED, ""))
        self.assertIn("token", result.err)

    def test_a_file_without_one_is_wrong_usage(self):
        empty = pathlib.Path(self.folder.name) / "empty"
        empty.touch()
        result = self.through("--token-file", empty, "status")
        self.assertEqual((result.code, result.out), (WRONG_USAGE, ""))
        self.assertIn("empty has no token", result.err)

    def test_each_is_another_and_is_told_once(self):
        first = kelctl("token", "create", "one", "--role", "watch")
        second = kelctl("token", "create", "one", "--role", "watch")
        pattern = (r"\Atoken for one, told only now:\n([0-9a-f]{64})\n"
                   r"line for the server's token file:\nwatch one ([0-9a-f]{64})\n\Z")
        self.assertRegex(first.out, pattern)
        self.assertNotEqual(re.match(pattern, first.out)[1], re.match(pattern, second.out)[1])

    def test_a_line_that_is_in_the_file_is_not_told(self):
        created = kelctl("token", "create", "one", "--role", "watch", "--into",
                         pathlib.Path(self.folder.name) / "into")
        self.assertRegex(created.out, r"\Atoken for one, told only now:\n[0-9a-f]{64}\n\Z")

    def test_common_options_may_stand_behind(self):
        created = kelctl("token", "create", "one", "--role", "watch", "--json")
        self.assertEqual(created.json().keys(), {"token", "line"})

    @unittest.skipIf(IS_WINDOWS, "it has lists instead, which the server has just accepted")
    def test_its_file_is_for_the_owner_only(self):
        file = pathlib.Path(self.folder.name) / "new.token"
        kelctl("token", "create", "one", "--role", "watch", "--into", file)
        self.assertEqual(stat.S_IMODE(file.stat().st_mode), 0o600)

    def test_a_name_or_role_of_no_use_is_wrong_usage(self):
        for arguments in (("two words", "--role", "watch"), ("", "--role", "watch"),
                          ("a\tb", "--role", "watch"), ("a\x1b[2J", "--role", "watch"),
                          ("a\x0bb", "--role", "watch"),
                          ("name", "--role", "admin"), ("name",)):
            with self.subTest(arguments):
                result = kelctl("token", "create", *arguments)
                self.assertEqual((result.code, result.out), (WRONG_USAGE, ""))

    def test_a_last_line_without_an_end_stays_as_it_is(self):
        file = pathlib.Path(self.folder.name) / "open.token"
        file.write_text("watch one 00", encoding="utf-8")
        created = kelctl("--json", "token", "create", "two", "--role", "watch", "--into", file).json()
        self.assertEqual(file.read_text(encoding="utf-8"), f"watch one 00\n{created['line']}\n")

    def test_a_file_that_cannot_be_written_is_told(self):
        result = kelctl("token", "create", "one", "--role", "watch", "--into",
                        pathlib.Path(self.folder.name) / "no" / "file")
        self.assertEqual((result.code, result.out), (REFUSED, ""))
        self.assertRegex(result.err, r"cannot be written: .+ \(\d+\)\n$")


class WithoutServer(unittest.TestCase):
    def test_a_server_that_is_not_there_is_told_with_its_place(self):
        with held_port() as holder:
            port = holder.getsockname()[1]
            for arguments in (("status",), ("start", "Read.xml"), ("start", "Read.xml", "--follow"),
                              ("cancel",), ("reports",), ("reports", "--save", "x.html")):
                with self.subTest(arguments):
                    result = kelctl("--port", port, *arguments)
                    self.assertEqual((result.code, result.out), (NOT_REACHABLE, ""))
                    self.assertRegex(result.err, rf"\Akelctl: 127\.0\.0\.1:{port}: (.+ \(\d+\)|error \d+)\n\Z")

    def test_a_rest_api_that_is_not_there_is_told_with_the_option_that_it_needs(self):
        with held_port() as holder:
            port = holder.getsockname()[1]
            for arguments in (("health",), ("version",), ("configurations",), ("tracing",),
                              ("simulation", "on"), ("otx", "x"), ("update", "x"),
                              ("bind", "F1", "x"), ("abort",), ("stop",)):
                with self.subTest(arguments):
                    result = kelctl("--rest-port", port, *arguments)
                    self.assertEqual((result.code, result.out), (NOT_REACHABLE, ""))
                    self.assertRegex(result.err, rf"\Akelctl: 127\.0\.0\.1:{port}: (.+ \(\d+\)|error \d+); .+--REST\n\Z")

    def test_programs_get_the_cause_as_json(self):
        result = kelctl("--json", "--port", "1", "status")
        self.assertEqual((result.code, result.out), (NOT_REACHABLE, ""))
        self.assertTrue(json.loads(result.err)["error"].startswith("127.0.0.1:1: "))

    def test_a_host_that_has_no_address_is_not_reachable(self):
        result = kelctl("--host", "no.such.host.invalid", "status")
        self.assertEqual((result.code, result.out), (NOT_REACHABLE, ""))
        self.assertRegex(result.err, r"no\.such\.host\.invalid.*: (.+ \(\d+\)|error \d+)\n\Z")

    def test_wrong_usage_is_explained_and_does_nothing(self):
        for arguments in ((), ("fly",), ("status", "--fly"), ("start",), ("bind", "F3", "x"),
                          ("bind", "F1"), ("tracing", "maybe"), ("--port", "0", "status"),
                          ("--port", "65536", "status"), ("--port", "x", "status"),
                          ("--rest-port", "-1", "health"), ("watch", "--all", "a:b"),
                          ("watch", "--all", ":1"), ("watch", "--all", "a:0"),
                          ("watch", "--all", "a:65536"), ("update",), ("otx",), ("token",),
                          ("support",), ("completion", "fish")):
            with self.subTest(arguments):
                result = kelctl(*arguments)
                self.assertEqual((result.code, result.out), (WRONG_USAGE, ""), result.err)
                self.assertNotEqual(result.err, "")

    def answered(self, answer, *arguments, option="--rest-port", **environment):
        """What a command does when a server of ours answers this; it keeps the request."""
        with socket.create_server(("127.0.0.1", 0)) as listener:
            def serve():
                connection, _ = listener.accept()
                with connection:
                    self.request = connection.recv(65536).decode()
                    connection.sendall(answer)

            threading.Thread(target=serve, daemon=True).start()
            return kelctl(option, listener.getsockname()[1], *arguments, **environment)

    @staticmethod
    def reply(body, status="200 OK"):
        return f"HTTP/1.1 {status}\r\nContent-Length: {len(body)}\r\n\r\n{body}".encode()

    def test_what_a_server_says_does_not_steer_the_terminal(self):
        result = self.answered(self.reply('{"projectsPath":"\\u001b[2Jx\\r\\ny"}'), "configurations")
        self.assertEqual(result.out, "projectsPath  ?[2Jx??y\n")
        result = self.answered(self.reply('{"errorMessage":"\\u001b[2J\\u007f"}', "500 X"), "tracing")
        self.assertEqual(result.err, "kelctl: ?[2J?\n")

    def test_each_question_has_its_own_route(self):
        for arguments, route in ((("health",), "GET /kel/v1/health"),
                                 (("abort",), "PUT /kel/v1/sequence/abort"),
                                 (("otx", "a/b c"), "GET /kel/v1/projects/a%2Fb%20c/otx")):
            with self.subTest(arguments):
                self.answered(self.reply('{"otx":[]}'), *arguments)
                self.assertEqual(self.request.splitlines()[0], route + " HTTP/1.1")

    def test_an_answer_may_have_some_megabytes(self):
        body = json.dumps({"tracing": True, "more": "x" * 9_000_000})
        self.assertEqual(self.answered(self.reply(body), "tracing").out, "on\n")

    def saved(self, *arguments, **environment):
        """A report from a server that has one of every name."""
        result = self.answered(self.reply("the report"), "--json", "reports", *arguments,
                               option="--port", **environment)
        self.assertEqual((result.code, result.err), (DONE, ""))
        self.assertEqual(result.json().keys(), {"file"})
        self.assertTrue(result.json()["file"].endswith("x.html"))

    def test_a_report_is_saved_in_the_folder_only(self):
        with tempfile.TemporaryDirectory() as folder:
            inner = pathlib.Path(folder) / "inner"
            inner.mkdir()
            self.saved("--save", "../x.html", "--into", inner)
            self.assertEqual((inner / "x.html").read_text(encoding="utf-8"), "the report")
            self.assertEqual(list(inner.parent.iterdir()), [inner])

    @unittest.skipIf(IS_WINDOWS, "the system names the folder in other ways")
    def test_without_a_folder_a_report_is_a_temporary_file(self):
        with tempfile.TemporaryDirectory() as folder:
            self.saved("--save", "x.html", TMPDIR=folder)
            own, = pathlib.Path(folder).iterdir()
            # Nobody else can put a file at its place.
            self.assertEqual(stat.S_IMODE(own.stat().st_mode), 0o700)
            self.assertEqual((own / "x.html").read_text(encoding="utf-8"), "the report")

    @unittest.skipIf(IS_WINDOWS, "a pipe that nobody reads is no signal there")
    def test_a_reader_that_goes_does_not_kill_it(self):
        reading, writing = os.pipe()
        os.close(reading)
        with os.fdopen(writing, "wb") as nobody:
            done = subprocess.run(command("completion", "bash"), stdout=nobody, stderr=subprocess.PIPE,
                                  timeout=PATIENCE, check=False)
        self.assertEqual((done.returncode, done.stderr), (REFUSED, b""))

    def test_an_answer_of_no_use_is_told(self):
        for answer, cause in ((self.reply("{}"), "the server answered something unexpected: "),
                              (self.reply('{"tracing":"yes"}'), "the server answered something unexpected: "),
                              (self.reply("<html>"), "the server's answer is no JSON: "),
                              (self.reply("{}", "302 Found"), "302 Found"),
                              (self.reply("", "500 Internal Server Error"), "500 Internal Server Error"),
                              (self.reply('{"errorMessage":"it is broken"}', "500 X"), "it is broken")):
            with self.subTest(answer):
                result = self.answered(answer, "tracing")
                self.assertEqual((result.code, result.out), (REFUSED, ""))
                self.assertTrue(result.err.startswith("kelctl: " + cause), result.err)

    def test_a_connection_that_is_cut_is_a_server_that_is_not_reachable(self):
        for answer in (b"", b"HTTP/1.1 200 OK\r\nContent-Length: 100\r\n\r\n{"):
            with self.subTest(answer):
                self.assertEqual(self.answered(answer, "tracing").code, NOT_REACHABLE)


class Stopping(unittest.TestCase):
    def test_a_stop_ends_the_server(self):
        server = RunningServer()
        watching = subprocess.Popen(command("--port", server.port, "status", "--watch"),
                                    stdout=subprocess.PIPE, stderr=subprocess.PIPE)
        try:
            watching.stdout.readline()
            result = server.kelctl("stop")
            self.assertEqual((result.code, result.out), (DONE, "the server ends\n"))
            _, errors = watching.communicate(timeout=PATIENCE)
            self.assertEqual(watching.returncode, NOT_REACHABLE)
            self.assertRegex(errors.decode().rstrip(), rf"\Akelctl: 127\.0\.0\.1:{server.port} has "
                                                       r"(gone|closed the connection \(.*\))\Z")
            self.assertEqual(server.wait(), 0)
            self.assertEqual(server.kelctl("status").code, NOT_REACHABLE)
        finally:
            watching.kill()
            watching.communicate()
            server.end()


if __name__ == "__main__":
    unittest.main(argv=["server_test"])
