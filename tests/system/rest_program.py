"""The program with its REST API, for tests that talk to it."""

import http.client
import socket
import subprocess
import zipfile

from installed_program import held_port, install, wait_for_line

PORT = 8011
PREFIX = "/kel/v1"


class Server:
    """The program in a copy of its folder, stopped through its own API."""

    def __init__(self, folder, program, examples, emulator, keeps_start_sequence=False):
        install(folder, program, examples, keeps_start_sequence)
        (folder / "Update").mkdir()
        with zipfile.ZipFile(folder / "Update" / "New.zip", "w") as package:
            package.writestr("entry", "content")
        self.holder = held_port()
        port = self.holder.getsockname()[1]
        self.process = subprocess.Popen(
            [*emulator, folder / program.name, "127.0.0.1", str(port), "--REST", "--non_interactive"],
            cwd=folder, stdin=subprocess.DEVNULL, stdout=subprocess.PIPE)
        wait_for_line(self.process.stdout, b"REST server started")

    def end(self):
        self.holder.close()
        self.process.stdout.close()
        if self.process.poll() is None:
            try:
                return self.process.wait(timeout=100)
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
    with socket.create_connection(("localhost", PORT), timeout=100) as connection:
        connection.sendall(("\r\n".join(lines) + "\r\n\r\n" + (body or "")).encode())
        reply = http.client.HTTPResponse(connection, method=method.upper())
        reply.begin()
        return reply.status, reply.getheader("Content-Type"), reply.read()
