#!/usr/bin/env python3
"""Runs the program with --REST and holds each of its replies against docs/openapi.yaml.

usage: openapi_test.py PROGRAM EXAMPLE_CONFIG OPENAPI_FILE [EMULATOR]
"""

import http.client
import json
import pathlib
import socket
import sys
import tempfile
import time
import unittest

import jsonschema
import yaml

from rest_program import PORT, PREFIX, Server, send

PROGRAM, EXAMPLES, OPENAPI = (pathlib.Path(argument).resolve() for argument in sys.argv[1:4])
EMULATOR = sys.argv[4:5]
DOCUMENT = yaml.safe_load(OPENAPI.read_text(encoding="utf-8"))
PROJECT = "Car_DEMO0000000042"
LARGE_BODY = " " * (1024 * 1024 + 1)

# Method, path as documented, path as sent, body, expected status.
REQUESTS = [
    ("get", "/configurations", None, None, 200),
    ("get", "/tracing", None, None, 200),
    ("put", "/tracing", None, '{"tracing":true}', 200),
    ("put", "/tracing", None, "{", 400),
    ("put", "/tracing", None, "[1]", 500),
    ("get", "/projects/{PROJECTNAME}/otx", f"/projects/{PROJECT}/otx", None, 200),
    ("get", "/projects/{PROJECTNAME}/otx", "/projects/Nowhere/otx", None, 500),
    ("get", "/version", None, None, 200),
    ("get", "/health", None, None, 200),
    ("put", "/update", None, "[]", 200),
    ("put", "/update", None, "[", 400),
    ("put", "/update", None, '[{"patchName":"New.zip"}]', 200),
    ("put", "/update", None, '[{"patchName":"Missing.zip"}]', 500),
    ("put", "/update", None, '[{"patchName":"../config/KelServer.xml"}]', 500),
    ("put", "/update", None, '{"patchName":"Missing.zip"}', 500),
    ("get", "/simulation", None, None, 200),
    ("put", "/simulation", None, '{"enable":true}', 200),
    ("put", "/simulation", None, "", 400),
    ("put", "/simulation", None, '{"enabled":true}', 500),
    ("put", "/scripts/{BUTTON}", "/scripts/F1", '{"script":"Demo.xml"}', 200),
    ("put", "/scripts/{BUTTON}", "/scripts/F3", '{"script":"Demo.xml"}', 400),
    ("put", "/scripts/{BUTTON}", "/scripts/F2", "{}", 500),
    ("put", "/sequence/abort", None, None, 200),
]
# What only a failing runtime answers; the tests of the handlers hold those replies.
NOT_PROVOKED = {
    ("get", "/configurations", 500), ("get", "/tracing", 500), ("get", "/version", 500),
    ("get", "/simulation", 500), ("put", "/sequence/abort", 500),
}
# Refused before a route sees them, on each of the routes.
REFUSED = (400, 403, 404, 413, 414, 501)
STATUS_OK = b'{"status":"OK"}'
MAX_TARGET = 2048
MAX_HEADER_LINE = 8192
MAX_REQUEST_LINE = 32768
MAX_HEADER_LINES = 100


def resolved(node):
    """The node with every reference replaced by what it points to."""
    if isinstance(node, list):
        return [resolved(item) for item in node]
    if not isinstance(node, dict):
        return node
    if "$ref" in node:
        target = DOCUMENT
        for key in node["$ref"].removeprefix("#/").split("/"):
            target = target[key]
        return resolved(target)
    return {key: resolved(value) for key, value in node.items()}


PATHS = resolved(DOCUMENT["paths"])


def check_schema(value, schema):
    jsonschema.validate(value, schema, cls=jsonschema.Draft202012Validator)


class Document(unittest.TestCase):
    def test_every_example_fits_its_schema(self):
        checked = 0
        for operations in PATHS.values():
            for operation in operations.values():
                parts = [operation.get("requestBody", {}), *operation["responses"].values()]
                for media in (part["content"]["application/json"] for part in parts
                              if "content" in part):
                    for example in media["examples"].values():
                        check_schema(example["value"], media["schema"])
                        checked += 1
        self.assertGreater(checked, 20)

    def test_every_schema_is_one(self):
        for schema in DOCUMENT["components"]["schemas"].values():
            jsonschema.Draft202012Validator.check_schema(schema)

    def test_every_member_and_parameter_has_a_type(self):
        def members(node):
            if isinstance(node, list):
                for item in node:
                    yield from members(item)
            elif isinstance(node, dict):
                yield from node.get("properties", {}).items()
                if "schema" in node:
                    yield node.get("name", "schema"), node["schema"]
                for value in node.values():
                    yield from members(value)
        found = [*members(PATHS)]
        self.assertGreater(len(found), 50)
        self.assertEqual([name for name, schema in found if "type" not in schema], [])

    def test_what_is_sent_fits_its_schema_unless_it_is_refused(self):
        for method, path, _, body, status in REQUESTS:
            if body is not None and status == 200:
                media = PATHS[path][method]["requestBody"]["content"]["application/json"]
                check_schema(json.loads(body), media["schema"])

    def test_the_twelve_routes_are_described(self):
        routes = {(method, path) for path, operations in PATHS.items() for method in operations}
        self.assertEqual(routes, {(method, path) for method, path, *_ in REQUESTS} | {("put", "/stop")})
        self.assertEqual(len(routes), 12)

    def test_every_documented_status_is_provoked(self):
        documented = {(method, path, int(status)) for path, operations in PATHS.items()
                      for method, operation in operations.items()
                      for status in operation["responses"]}
        provoked = {(method, path, status) for method, path, _, _, status in REQUESTS}
        refused = {(method, path, status) for path, operations in PATHS.items()
                   for method in operations
                   for status in REFUSED + ((416,) if method == "get" else ())}
        self.assertEqual(documented, provoked | refused | NOT_PROVOKED | {("put", "/stop", 200)})


class Replies(unittest.TestCase):
    def setUp(self):
        self.folder = tempfile.TemporaryDirectory()
        self.addCleanup(self.folder.cleanup)
        self.server = Server(pathlib.Path(self.folder.name), PROGRAM, EXAMPLES, EMULATOR)

    def check(self, method, path, sent_path, body, expected, header=""):
        status, content_type, text = send(method, sent_path or path, body, header)
        self.assertEqual(status, expected)
        description = PATHS[path][method]["responses"][str(status)]
        if not text:
            self.assertTrue("content" not in description or description.get("x-body-optional"))
            self.assertIsNone(content_type)
            return
        self.assertEqual(content_type, "application/json")
        value = json.loads(text)
        check_schema(value, description["content"]["application/json"]["schema"])
        compact = json.dumps(value, sort_keys=True, separators=(",", ":"), ensure_ascii=False)
        self.assertEqual(text.decode(), compact.replace("/", "\\/"))

    def check_refusals(self, method, path):
        sent_path = path.replace("{PROJECTNAME}", PROJECT).replace("{BUTTON}", "F1")
        self.check(method, path, sent_path, None, 400, ": no name")
        self.check(method, path, sent_path, None, 403, "Sec-Fetch-Site: cross-site")
        self.check(method, path, sent_path + "/", None, 404)
        self.check(method, path, sent_path, LARGE_BODY, 413)
        self.check(method, path, sent_path + "?" + "x" * 2048, None, 414)
        self.check(method, path, sent_path, None, 501, "Transfer-Encoding: gzip")
        if method == "get":
            self.assertEqual(send(method, sent_path, None, "Range: bytes=100000-")[0], 416)

    def check_packages(self):
        """What the runtime has done with the packages, and what it says of those it refuses."""
        folder = pathlib.Path(self.folder.name)
        staged = folder / "config" / "data" / "staged" / "New.zip"
        self.assertEqual(staged.read_bytes(), (folder / "Update" / "New.zip").read_bytes())
        _, _, text = send("put", "/update", '[{"patchName":"../config/KelServer.xml"}]')
        self.assertIn("it is not inside the update folder", json.loads(text)["errorMessage"])

    def check_error_example(self, response, example, reply):
        """The document's example is what the runtime sends, but for the folder and its spelling."""
        example = DOCUMENT["components"]["responses"][response]["content"]["application/json"][
            "examples"][example]["value"]
        own_path = json.loads(send("get", "/configurations", None)[2])["ownPath"]
        sent = json.loads(reply[2])
        self.assertEqual(sent["errorCode"], example["errorCode"])
        self.assertEqual(sent["errorMessage"].replace(own_path, "/opt/kel_server").replace("\\", "/"),
                         example["errorMessage"])

    def check_error_examples(self):
        self.check_error_example("RuntimeFailure", "noProject",
                                 send("get", "/projects/Nowhere/otx", None))
        self.check_error_example("RuntimeFailureOrUnhandled", "noPackage",
                                 send("put", "/update", '[{"patchName":"Missing.zip"}]'))

    def check_limits(self):
        """What the document's text says of methods and sizes, on both sides of each limit."""
        def status(*arguments, **more):
            return send(*arguments, **more)[0]
        room = MAX_TARGET - len(f"{PREFIX}/health?")
        self.assertEqual(status("get", "/health?" + "x" * room, None), 200)
        self.assertEqual(status("get", "/health?" + "x" * (room + 1), None), 414)
        room = MAX_HEADER_LINE - len("X: \r\n")
        self.assertEqual(status("get", "/health", None, "X: " + "x" * room), 200)
        self.assertEqual(status("get", "/health", None, "X: " + "x" * (room + 1)), 400)
        lines = ["X: x"] * (MAX_HEADER_LINES - 1)
        self.assertEqual(status("get", "/health", None, "\r\n".join(lines)), 200)
        self.assertEqual(status("get", "/health", None, "\r\n".join([*lines, "X: x"])), 400)
        self.assertEqual(status("put", "/update", "[]" + LARGE_BODY[3:]), 200)
        with self.assertRaises((http.client.HTTPException, OSError)):
            send("get", "/health?" + "x" * MAX_REQUEST_LINE, None)
        with self.assertRaises(OSError):
            socket.create_connection(("::1", PORT), timeout=30)
        for method, expected in (("head", 200), ("post", 404), ("delete", 404), ("patch", 404),
                                 ("options", 404), ("put", 404), ("trace", 400), ("no", 400)):
            self.assertEqual((method, status(method, "/health", None)), (method, expected))
        self.assertEqual(status("get", "/projects/a%2Fb/otx", None), 404)

    def check_ranges(self):
        self.assertEqual(send("get", "/health", None, "Range: bytes=0-3")[::2], (200, STATUS_OK))
        self.assertEqual(send("get", "/health", None, "Range: lines=0-3")[::2], (200, STATUS_OK))
        self.assertEqual(send("put", "/update", "[]", "Range: bytes=100-")[::2], (200, STATUS_OK))

    def check_announced_length(self):
        """Answered although the body never comes."""
        self.assertEqual(send("put", "/update", None, "Content-Length: 1048577")[0], 413)

    def check_foreign_hosts(self):
        for host, expected in (("example.org", 403), ("localhost.example.org:8011", 403),
                               ("192.168.178.1", 403), ("LOCALHOST:80", 200), ("127.0.0.1", 200),
                               ("127.1.2.3:8011", 200), ("[::1]:8011", 200)):
            self.assertEqual((host, send("get", "/health", None, host=host)[0]), (host, expected))

    def test_each_reply_is_as_described_and_the_stop_ends_the_program(self):
        try:
            for method, path, sent_path, body, status in REQUESTS:
                with self.subTest(f"{method} {sent_path or path} {str(body)[:40]} -> {status}"):
                    self.check(method, path, sent_path, body, status)
            for path, operations in PATHS.items():
                for method in operations:
                    with self.subTest(f"{method} {path}, refused"):
                        self.check_refusals(method, path)
            for check in (self.check_packages, self.check_error_examples, self.check_limits,
                          self.check_ranges, self.check_announced_length,
                          self.check_foreign_hosts):
                with self.subTest(check.__name__):
                    check()
        finally:
            began = time.monotonic()
            self.check("put", "/stop", None, None, 200)
            self.assertEqual(self.server.end(), 0)
        self.assertLess(time.monotonic() - began, 90)


class StopDuringTheStartSequence(unittest.TestCase):
    def test_lets_the_sequence_end_first(self):
        with tempfile.TemporaryDirectory() as name:
            folder = pathlib.Path(name)
            server = Server(folder, PROGRAM, EXAMPLES, EMULATOR, keeps_start_sequence=True)
            self.assertEqual(send("put", "/stop", None)[0], 200)
            self.assertEqual(server.end(), 0)
            self.assertEqual(len([*(folder / "config" / "reports").rglob("*.html")]), 1)


if __name__ == "__main__":
    unittest.main(argv=sys.argv[:1])
