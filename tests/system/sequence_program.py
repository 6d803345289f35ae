"""The program over one link to the vehicle, for tests that run sequences and look at what came of them."""

import shutil
import subprocess

from installed_program import edit, held_port, install, wait_for_line
from rpc_client import PATIENCE, RpcClient

# Longer than a control unit is silent on any machine under load, with and without a session.
TIMES = 'p2="20000" deltaP2="20000"'


class SequenceProgram:
    """In a copy of its folder, without a start sequence, traces every message of the bus.

    Make all before one is started on another thread: a start passes the files that are open on to the new
    process for a moment, and no program can be started while any process has it open for writing."""

    def __init__(self, folder, program, examples, flash_data, doip=None):
        """`doip` is the place of a vehicle, host and port; without it the vehicle is simulated."""
        self.config = folder / "config"
        install(folder, program, examples)
        shutil.copytree(flash_data, self.config / "data" / "flashdata", dirs_exist_ok=True)
        settings = self.config / "KelServer.xml"
        edit(settings, '<Tracing enabled="true" level="3"/>', '<Tracing enabled="true" level="4"/>')
        use_link(settings, doip)
        self.folder, self.program = folder, folder / program.name

    def start(self):
        self.holder = held_port()
        port = self.holder.getsockname()[1]
        self.process = subprocess.Popen([self.program, "127.0.0.1", str(port)],
                                        cwd=self.folder, stdin=subprocess.PIPE, stdout=subprocess.PIPE)
        try:
            # The last line that does not wait for the next one.
            wait_for_line(self.process.stdout, b"Press F2")
            self.client = RpcClient(port)
        except BaseException:
            self.kill()
            raise

    def run(self, script):
        """All that is known of the run; the script is one of the folder with scripts."""
        assert self.client.result("sequence.start", name=script) == {"handled": True}
        return self.client.result("runs.get", id=self.client.result("runs.list")[-1]["id"])

    def add_script(self, name, text):
        (self.config / "KelServerScripts" / name).write_text(text, encoding="utf-8")

    def script(self, name):
        return (self.config / "KelServerScripts" / name).read_text(encoding="utf-8")

    def report(self, name):
        return (self.config / "reports" / name).read_text(encoding="utf-8")

    def traces(self):
        """Oldest first, once the program has ended."""
        files = sorted((self.config / "traces").glob("kel_server*.log"),
                       key=lambda file: file.stat().st_mtime_ns)
        return "".join(file.read_text(encoding="utf-8") for file in files)

    def end(self):
        """Its exit code."""
        try:
            self.client.close()
            self.process.communicate(b"q", timeout=PATIENCE)
        finally:
            self.kill()
        return self.process.returncode

    def kill(self):
        self.process.kill()
        self.process.communicate()
        self.holder.close()


def use_link(settings, doip):
    simulation, real = '<Interface name="Simulation" enabled=', '<Interface name="DoIP" enabled='
    edit(settings, simulation + '"true"/>',
         f'{simulation}"{"false" if doip else "true"}" {TIMES}/>')
    if doip:
        host, port = doip
        edit(settings, real + '"false" host="127.0.0.1" port="13400"',
             f'{real}"true" host="{host}" port="{port}" {TIMES}')
