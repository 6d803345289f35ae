"""The program with its REST API, for tests that talk to it."""

import http.client
import re
import shutil
import socket
import subprocess
import zipfile

PORT = 8011
PREFIX = "/kel/v1"


class Server:
    """The program in a copy of its folder, stopped through its own API."""

    def __init__(self, folder, program, examples, emulator, keeps_start_sequence=False):
        shutil.copy2(program, folder)
        shutil.copytree(examples, folder / "config")
        if not keeps_start_sequence:
            settings = folder / "config" / "KelServer.xml"
            settings.write_text(re.sub(r"<StartSequence>[^<]*</StartSequence>", "",
                                       settings.read_text(encoding="utf-8")), encoding="utf-8")
        (folder / "Update").mkdir()
        with zipfile.ZipFile(folder / "Update" / "New.zip", "w") as package:
            package.writestr("entry", "content")
        with socket.socket() as probe:
            probe.bind(("127.0.0.1", 0))
            port = probe.getsockname()[1]
        self.process = subprocess.Popen(
            [*emulator, folder / program.name, "127.0.0.1", str(port), "--REST", "--non_interactive"],
            cwd=folder, stdin=subprocess.DEVNULL, stdout=subprocess.PIPE)
        for line in self.process.stdout:
            if line.startswith(b"REST server started"):
                return
        raise AssertionError("the server ended early")

    def end(self):
        self.process.stdout.close()
        if self.process.poll() is None:
            try:
                return self.process.wait(timeout=60)
            except subprocess.TimeoutExpired:
                self.process.kill()
        return self.process.wait()


def send(method, path, body, header="", host="localhost"):
    """`header` is a line that may be none that a client should send."""
    lines = [f"{method.upper()} {PREFIX}{path} HTTP/1.1", f"Host: {host}"]
    if header:
        lines.append(header)
    if body is not None:
        lines.append(f"Content-Length: {len(body.encode())}")
    with socket.create_connection(("localhost", PORT), timeout=30) as connection:
        connection.sendall(("\r\n".join(lines) + "\r\n\r\n" + (body or "")).encode())
        reply = http.client.HTTPResponse(connection, method=method.upper())
        reply.begin()
        return reply.status, reply.getheader("Content-Type"), reply.read()
