"""The program in a folder of its own, for tests of its page."""

import json
import os
import pathlib
import shutil
import signal
import subprocess
import tempfile
import time
import urllib.request

import installed_program

PATIENCE = 60
PROJECT = "Car_DEMO0000000042"
SELECT = f"<SelectAction project='{PROJECT}' vehicleInformation='VIT_A' autoConnect='true'/>"


def given(name):
    """A path from the command line of the tests."""
    return pathlib.Path(os.environ[f"KEL_PAGE_TEST_{name}"])


class Program:
    """Use as a context: its end ends the program."""

    def __init__(self, host="127.0.0.1"):
        self.folder = pathlib.Path(tempfile.mkdtemp())
        self.config = self.folder / "config"
        self.host, self.holder = host, installed_program.held_port(host)
        self.port = self.holder.getsockname()[1]
        self.process = None
        self.token = None
        installed_program.install(self.folder, given("PROGRAM"), given("EXAMPLES"))
        self.edit("KelServer.xml", r"<(F[12]Sequence)>[^<]*</\1>", "")

    @property
    def address(self):
        return f"http://{self.host}:{self.port}/"

    def __enter__(self):
        self.start()
        return self

    def __exit__(self, *_):
        self.stop()
        self.holder.close()
        shutil.rmtree(self.folder)

    def edit(self, name, pattern, replacement):
        installed_program.edit(self.config / name, pattern, replacement)

    def script(self, name):
        return self.config / "KelServerScripts" / name

    def write_script(self, name, actions):
        self.script(name).write_text(f"<KelServerScript>{actions}</KelServerScript>", encoding="utf-8")

    def write_slow_script(self, name="Slow.xml"):
        """Longer than the slowest machine needs: its procedure ends only when it is cancelled."""
        self.edit(f"projects/{PROJECT}/project.xml", 'milliseconds="10000"', 'milliseconds="3600000"')
        self.write_script(name, SELECT + "<ExecuteAction command='Otx_Slow'/>"
                                         "<ExecuteAction command='Otx_ReadIdent'/>")

    def slow_the_vehicle_down(self, milliseconds):
        self.edit("vehicle.xml", 'responseDelay="2"', f'responseDelay="{milliseconds}"')

    def add_flash_data(self):
        shutil.copytree(given("FLASH_DATA"), self.config / "data" / "flashdata")

    def write_tokens(self, lines, own):
        """`own` is the one that the test itself shows."""
        self.token = own
        self.edit("KelServer.xml", "</KelServer>", '<Access tokenFile="access.token"/></KelServer>')
        path = self.config / "access.token"
        path.touch(mode=0o600)
        path.write_text("\n".join(lines) + "\n", encoding="utf-8")

    def start(self):
        self.process = subprocess.Popen(
            [self.folder / given("PROGRAM").name, self.host, str(self.port), "--non_interactive"],
            cwd=self.folder, stdin=subprocess.DEVNULL, stdout=subprocess.PIPE)
        installed_program.wait_for_line(self.process.stdout, b"server device:")
        # Only then it takes starts.
        end = time.monotonic() + PATIENCE
        while not self.call("status.get")["text"]:
            assert time.monotonic() < end, "the program has no status"

    def call(self, method, **params):
        """What another client asks."""
        call = {"jsonrpc": "2.0", "id": 1, "method": method, "params": params}
        headers = {"Authorization": f"Bearer {self.token}"} if self.token else {}
        request = urllib.request.Request(self.address + "rpc", json.dumps(call).encode(), headers)
        opener = urllib.request.build_opener(urllib.request.ProxyHandler({}))
        with opener.open(request, timeout=PATIENCE) as reply:
            return json.load(reply)["result"]

    def policy(self):
        opener = urllib.request.build_opener(urllib.request.ProxyHandler({}))
        with opener.open(self.address, timeout=PATIENCE) as reply:
            return reply.headers["Content-Security-Policy"]

    def signal(self, number):
        self.process.send_signal(number)

    def kill(self):
        """In the middle of what it does."""
        self.process.kill()
        self.process.communicate()
        self.process = None

    def stop(self):
        """With its ordered shutdown, so that what a sanitizer finds is told."""
        if self.process is None:
            return
        if self.process.poll() is None:
            self.signal(signal.SIGTERM)
        try:
            self.process.communicate(timeout=120)
        finally:
            self.process.kill()
        assert self.process.returncode == 0, f"the program ended with {self.process.returncode}"
