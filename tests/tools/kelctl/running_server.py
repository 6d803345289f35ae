"""kel_server with its REST API in a folder of its own, and what stands between it and a client."""

import http.client
import pathlib
import shutil
import socket
import subprocess
import sys
import tempfile
import threading
import time

import kelctl_program as program
from listening import serve_each

sys.path.insert(0, str(pathlib.Path(__file__).resolve().parents[2] / "system"))

# pylint: disable=wrong-import-position
from installed_program import edit, held_port, install, wait_for_line
from rpc_client import RpcClient

SELECT = "<SelectAction project='Car_DEMO0000000042' vehicleInformation='VIT_A' autoConnect='true'/>"
# Starts behind the one that runs.
MAX_WAITING = 16
SCRIPTS = {
    "Read.xml": SELECT + "<ExecuteAction command='Otx_ReadIdent'/>",
    "Fail.xml": SELECT + "<ExecuteAction command='Otx_Fail'/>",
    "Slow.xml": SELECT + "<ExecuteAction command='Otx_Slow'/>",
    "Unknown.xml": "<SelectAction project='Nowhere'/>",
}


class RunningServer:
    """Listens on a port of its own; its REST API's port is fixed, so there is one at a time."""

    def __init__(self):
        self.temporary = tempfile.TemporaryDirectory(prefix="kelctl \u00fc ")
        self.folder = pathlib.Path(self.temporary.name)
        self.config = self.folder / "config"
        install(self.folder, program.KEL_SERVER, program.EXAMPLES)
        shutil.copytree(program.FLASH_DATA, self.config / "data" / "flashdata", dirs_exist_ok=True)
        edit(self.config / "KelServer.xml", "</KelServer>",
             '<Access tokenFile="access.token"/></KelServer>')
        # Longer than any machine needs: only a cancel ends it.
        edit(self.config / "projects" / "Car_DEMO0000000042" / "project.xml",
             'milliseconds="10000"', 'milliseconds="3600000"')
        for name, actions in SCRIPTS.items():
            (self.config / "KelServerScripts" / name).write_text(
                f"<KelServerScript>{actions}</KelServerScript>", encoding="utf-8")
        self.holder = held_port()
        self.port = self.holder.getsockname()[1]
        self.start()

    def start(self):
        self.process = subprocess.Popen(
            [*program.EMULATOR, self.folder / program.KEL_SERVER.name, "127.0.0.1", str(self.port),
             "--REST", "--non_interactive"],
            cwd=self.folder, stdin=subprocess.DEVNULL, stdout=subprocess.PIPE)
        # The last line that does not wait for the next one.
        wait_for_line(self.process.stdout, b"Press F2")

    def stop(self):
        """Its exit code."""
        connection = http.client.HTTPConnection("127.0.0.1", 8011, timeout=program.PATIENCE)
        connection.request("PUT", "/kel/v1/stop")
        connection.getresponse().read()
        connection.close()
        return self.wait()

    def wait(self):
        try:
            self.process.stdout.close()
            return self.process.wait(program.PATIENCE)
        finally:
            self.process.kill()

    def end(self):
        code = self.stop() if self.process.poll() is None else self.process.returncode
        self.holder.close()
        self.temporary.cleanup()
        return code

    def wait_for_job(self):
        """The status text of an action is set before its job is launched."""
        self.wait_until(lambda client: client.result("jobs.list"), "there is no job")

    def wait_for_room(self):
        """One more start may wait: those behind a run that ends begin a moment after its end."""
        self.wait_until(lambda client: len(client.result("sequence.waiting")) < MAX_WAITING,
                        "too many sequences wait")

    def wait_until(self, condition, obstacle):
        end = time.monotonic() + program.PATIENCE
        with RpcClient(self.port) as client:
            while not condition(client):
                assert time.monotonic() < end, obstacle

    def kelctl(self, *arguments, **more):
        return program.kelctl("--port", self.port, *arguments, **more)


class Proxy:
    """Passes connections on to the server as a proxy does: for it they come from elsewhere."""

    HEADER = b"X-Forwarded-For: 192.0.2.7\r\n"

    def __init__(self, port):
        self.target = port
        self.listener = socket.create_server(("127.0.0.1", 0))
        self.port = self.listener.getsockname()[1]
        serve_each(self.listener, self.serve)

    def serve(self, client):
        """The header comes behind the request line; it arrives as a whole."""
        with client, socket.create_connection(("127.0.0.1", self.target)) as server:
            answers = threading.Thread(target=self.copy, args=(server, client), daemon=True)
            line, rest = client.recv(65536).split(b"\r\n", 1)
            # The server knows itself by its own port.
            rest = rest.replace(b":%d" % self.port, b":%d" % self.target)
            server.sendall(line + b"\r\n" + self.HEADER + rest)
            answers.start()
            self.copy(client, server)
            answers.join()

    @staticmethod
    def copy(source, target):
        try:
            while piece := source.recv(65536):
                target.sendall(piece)
            target.shutdown(socket.SHUT_WR)
        except OSError:
            pass

    def end(self):
        self.listener.close()
