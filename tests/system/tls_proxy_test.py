#!/usr/bin/env python3
"""Runs the blocks of docs/how-to/use-tls.md and uses the program through the proxy that they set up.

usage: tls_proxy_test.py PROGRAM EXAMPLE_CONFIG HOW_TO NGINX
"""

import contextlib
import http.client
import json
import os
import pathlib
import re
import signal
import socket
import ssl
import subprocess
import sys
import tempfile
import time
import unittest

from installed_program import edit, held_port, install, wait_for_line
from rpc_client import PATIENCE, RpcClient

PROGRAM, EXAMPLES, HOW_TO, NGINX = (pathlib.Path(argument).resolve() for argument in sys.argv[1:5])
HOST = "kel.example"
HTTPS = 443
PAGE = f"https://{HOST}"
ACCESS_DENIED = -32001
# What a configuration of Debian has around the site.
NGINX_CONF = """
master_process off;
pid nginx.pid;
error_log stderr notice;
events {}
http {
    access_log off;
    client_body_temp_path body;
    proxy_temp_path proxy;
    fastcgi_temp_path fastcgi;
    uwsgi_temp_path uwsgi;
    scgi_temp_path scgi;
    include site.conf;
}
"""


def block(language, begin):
    """The block of the document that has this at the beginning of one of its lines."""
    blocks = re.findall(rf"^```{language}\n(.*?)^```$", HOW_TO.read_text(encoding="utf-8"),
                        re.MULTILINE | re.DOTALL)
    found, = [text for text in blocks if re.search(rf"^{begin}", text, re.MULTILINE)]
    return found


def replaced(text, replacements):
    """Each must be there, so that the test runs what the document says."""
    for old, new in replacements.items():
        assert old in text, f"the document has no {old}"
        text = text.replace(old, str(new))
    return text


class Setup:
    """The program behind the proxy, in a folder of their own."""

    def __init__(self, cleanup):
        self.folder = pathlib.Path(cleanup.enter_context(tempfile.TemporaryDirectory()))
        self.port, self.proxy_port = (
            cleanup.enter_context(held_port()).getsockname()[1] for _ in range(2))
        self.files = {"/etc/kel_server": self.folder / "config", "/etc/nginx": self.folder}
        self.make_program()
        self.control = self.make_token("control bench-laptop")
        self.watch = self.make_token("watch screen")
        self.make_proxy()
        self.tls = ssl.create_default_context(cafile=self.folder / "kel_server.crt")

    def make_program(self):
        install(self.folder, PROGRAM, EXAMPLES)
        edit(self.folder / "config" / "KelServer.xml", "</KelServer>",
             block("xml", "<Access ") + "</KelServer>")

    def make_token(self, line):
        return self.run(replaced(block("sh", "token="), {
            "control bench-laptop": line, "/etc/kel_server": self.files["/etc/kel_server"]})).strip()

    def make_proxy(self):
        self.run(replaced(block("sh", "openssl "), {"/etc/nginx": self.files["/etc/nginx"]}))
        (self.folder / "nginx.conf").write_text(NGINX_CONF, encoding="utf-8")
        (self.folder / "site.conf").write_text(replaced(block("nginx", "server "), {
            "/etc/nginx": self.files["/etc/nginx"], "127.0.0.1:58000": f"127.0.0.1:{self.port}",
            "listen 443": f"listen 127.0.0.1:{self.proxy_port}"}), encoding="utf-8")

    def run(self, script, **variables):
        return subprocess.run(["sh", "-e", "-c", script], env={**os.environ, **variables}, check=True,
                              stdout=subprocess.PIPE, timeout=PATIENCE, text=True).stdout

    def start(self, cleanup):
        program = [self.folder / PROGRAM.name, "127.0.0.1", str(self.port), "--non_interactive"]
        # The first line behind the start of its addresses; it takes starts once it has a status.
        self.start_process(cleanup, program, "stdout", b"server device:")
        end = time.monotonic() + PATIENCE
        with RpcClient(self.port) as client:
            while not client.result("status.get")["text"]:
                assert time.monotonic() < end, "the program has no status"
        proxy = [NGINX, "-p", self.folder, "-c", "nginx.conf", "-e", "stderr", "-g", "daemon off;"]
        # The last line before it serves.
        self.start_process(cleanup, proxy, "stderr", b"getrlimit")

    def start_process(self, cleanup, command, stream, line):
        process = subprocess.Popen(command, cwd=self.folder, stdin=subprocess.DEVNULL,
                                   **{stream: subprocess.PIPE})
        cleanup.callback(end, process)
        wait_for_line(getattr(process, stream), line)

    def connect(self, token=None, **headers):
        """A WebSocket through the proxy."""
        lines = [f"{name.replace('_', '-')}: {value}" for name, value in headers.items()]
        if token:
            lines.append(f"Authorization: Bearer {token}")
        return RpcClient(self.proxy_port, headers=lines, tls=(self.wrap, HOST, HTTPS))

    def wrap(self, connection):
        return self.tls.wrap_socket(connection, server_hostname=HOST)

    def request(self, method, path, body=None, **headers):
        """Status and body of one request through the proxy."""
        with self.wrap(socket.create_connection(("127.0.0.1", self.proxy_port), PATIENCE)) as stream:
            connection = http.client.HTTPConnection(HOST)
            connection.sock = stream
            connection.request(method, path, body, headers)
            response = connection.getresponse()
            return response.status, response.read().decode()

    def call(self, token, method, **params):
        """One call through the proxy: its response."""
        request = {"jsonrpc": "2.0", "id": 1, "method": method, "params": params}
        status, text = self.request("POST", "/rpc", json.dumps(request),
                                    Authorization=f"Bearer {token}")
        return json.loads(text) if status == 200 else status


def end(process):
    process.send_signal(signal.SIGTERM)
    try:
        process.communicate(timeout=PATIENCE)
    finally:
        process.kill()
    if process.returncode != 0:
        raise AssertionError(f"{process.args[0]} ended with {process.returncode}")


class TlsProxy(unittest.TestCase):
    @classmethod
    def setUpClass(cls):
        with contextlib.ExitStack() as cleanup:
            cls.proxy = Setup(cleanup)
            cls.proxy.start(cleanup)
            cls.addClassCleanup(cleanup.pop_all().close)

    def connect(self, *arguments, **headers):
        client = self.proxy.connect(*arguments, **headers)
        self.addCleanup(client.close)
        return client

    def test_the_page_is_served(self):
        status, page = self.proxy.request("GET", "/")
        self.assertEqual(status, 200)
        self.assertIn("<html", page)

    def test_a_call_needs_a_token(self):
        call = '{"jsonrpc": "2.0", "id": 1, "method": "status.get"}'
        self.assertEqual(self.proxy.request("POST", "/rpc", call)[0], 401)
        self.assertEqual(self.proxy.call("wrong", "status.get"), 401)
        self.assertEqual(self.connect("wrong").status, 401)
        self.assertEqual(self.proxy.request("GET", "/reports/any.html")[0], 401)

    def test_a_client_of_the_proxy_is_none_of_this_machine(self):
        for headers in ({}, {"X_Forwarded_For": ""}, {"X_Forwarded_For": "127.0.0.1"}):
            with self.subTest(headers):
                client = self.connect(**headers)
                self.assertEqual(client.result("session.role"), "none")
                denied = client.finish(client.begin("status.get"))
                self.assertEqual(denied["error"]["code"], ACCESS_DENIED)

    def test_a_client_without_the_proxy_may_do_all(self):
        with RpcClient(self.proxy.port) as client:
            self.assertEqual(client.result("session.role"), "control")
            self.assertEqual(client.result("sequence.cancel"), {"handled": True})

    def test_a_token_that_may_watch_may_not_control(self):
        self.assertIn("result", self.proxy.call(self.proxy.watch, "status.get"))
        denied = self.proxy.call(self.proxy.watch, "sequence.start", name="Demo.xml")
        self.assertEqual(denied["error"]["code"], ACCESS_DENIED)

    def test_a_run_can_be_started_and_watched(self):
        watcher = self.connect(self.proxy.watch)
        self.assertTrue(watcher.result("status.subscribe"))
        watcher.notification("status.changed")
        self.assertEqual(self.proxy.call(self.proxy.control, "sequence.start", name="Demo.xml"),
                         {"jsonrpc": "2.0", "id": 1, "result": {"handled": True}})
        self.assertEqual(watcher.status_until("Idle")[0], "Running sequence: Demo.xml")
        run = watcher.notification("run.ended")
        self.assertEqual(run["outcome"], "clean")
        self.assertTrue(run["client"].startswith("bench-laptop 127.0.0.1:"), run["client"])
        report, = run["reports"]
        status, _ = self.proxy.request("GET", f"/reports/{report}",
                                       Authorization=f"Bearer {self.proxy.watch}")
        self.assertEqual(status, 200)

    def test_a_browser_logs_in_over_its_websocket(self):
        client = self.connect(Origin=PAGE)
        self.assertEqual(client.result("session.login", token=self.proxy.watch),
                         {"role": "watch", "name": "screen"})
        self.assertEqual(client.result("session.role"), "watch")

    def test_pages_of_somebody_else_are_refused(self):
        own_address = f"http://127.0.0.1:{self.proxy.port}"
        for origin in ("https://evil.example", f"{PAGE}.evil.example", f"http://{HOST}", "null",
                       own_address):
            with self.subTest(origin):
                self.assertEqual(self.proxy.request("GET", "/", Origin=origin)[0], 403)
                self.assertEqual(self.connect(self.proxy.control, Origin=origin).status, 403)

    def test_the_servers_own_page_is_not(self):
        self.assertEqual(self.proxy.request("GET", "/", Origin=PAGE)[0], 200)
        self.assertEqual(self.connect(Origin=PAGE).status, 101)

    def test_other_names_are_refused(self):
        for host in ("evil.example", "127.0.0.1", f"127.0.0.1:{self.proxy.port}"):
            with self.subTest(host):
                self.assertEqual(self.proxy.request("GET", "/", Host=host)[0], 403)

    def test_the_command_to_try_it_gives_the_documented_answer(self):
        (self.proxy.folder / ".curlrc").write_text(
            f'connect-to = "{HOST}:{HTTPS}:127.0.0.1:{self.proxy.proxy_port}"\nsilent\n')
        answer = self.proxy.run(
            replaced(block("sh", "curl "), {"/etc/nginx": self.proxy.files["/etc/nginx"]}),
            CURL_HOME=str(self.proxy.folder), token=self.proxy.control)
        self.assertIn(f"answers `{answer}`", HOW_TO.read_text(encoding="utf-8"))


if __name__ == "__main__":
    unittest.main(argv=sys.argv[:1])
