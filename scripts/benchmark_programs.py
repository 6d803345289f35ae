"""What the scripts that measure share: the programs of a build folder and how they are started."""

import contextlib
import os
import pathlib
import pty
import re
import select
import shutil
import socket
import subprocess
import sys
import time

ROOT = pathlib.Path(__file__).resolve().parent.parent
WINE = ROOT / "scripts" / "wine"
MAX_WAIT = 60
PROMPT = b"Enter 'q'"
START_SEQUENCE = re.compile(r"<StartSequence>[^<]*</StartSequence>")


def command_of(folder, name):
    """How a program of a Linux or a Windows build is started."""
    if (folder / name).is_file():
        return [folder / name]
    if (folder / f"{name}.exe").is_file():
        return [WINE, folder / f"{name}.exe"]
    sys.exit(f"benchmark: {folder / name} is not there; configure with KEL_BUILD_BENCHMARKS=ON "
             "and build it")


def is_windows(build_folder):
    return WINE in command_of(build_folder / "bin", "kel_server")


def on_processor(processor, command):
    return command if processor is None else ["taskset", "--cpu-list", processor, *command]


@contextlib.contextmanager
def wine_server(command):
    """Wine's server, for a command that needs it: every program starts a server of its own otherwise,
    which keeps the program's output open for longer than it runs."""
    if WINE not in command:
        yield
        return
    subprocess.run([WINE, "--start"], check=True)
    try:
        yield
    finally:
        subprocess.run([WINE, "--stop"], check=True)


def free_port():
    with socket.socket() as probe:
        probe.bind(("127.0.0.1", 0))
        return probe.getsockname()[1]


class Console:
    """A program on a terminal of its own: behind a pipe the prompt, which is not flushed, would come
    only when the program ends."""

    def __init__(self, command, folder=None):
        self.terminal, console = pty.openpty()
        self.began = time.monotonic()
        self.process = subprocess.Popen(command, stdin=console, stdout=console, stderr=console,
                                        cwd=folder)
        os.close(console)

    def wait_for_prompt(self):
        """Milliseconds since the start."""
        seen, deadline = b"", time.monotonic() + MAX_WAIT
        while PROMPT not in seen:
            part = self.read_console(deadline)
            if not part:
                self.process.kill()
                sys.exit(f"benchmark: no prompt from {self.process.args}; it wrote:\n{seen.decode()}")
            seen += part
        return (time.monotonic() - self.began) * 1000

    def read_console(self, deadline):
        """What is there; nothing at the end of the output and when time is over."""
        ready, _, _ = select.select([self.terminal], [], [], max(0, deadline - time.monotonic()))
        try:
            return os.read(self.terminal, 4096) if ready else b""
        except OSError:
            return b""

    def wait_for_end(self):
        deadline = time.monotonic() + MAX_WAIT
        while self.read_console(deadline):
            pass
        self.process.wait(timeout=MAX_WAIT)
        os.close(self.terminal)
        if self.process.returncode != 0:
            sys.exit(f"benchmark: {self.process.args} ended with exit code {self.process.returncode}")


class Server(Console):
    """The server, running in place in a copy of its folder."""

    def __init__(self, folder, prefix=(), arguments=()):
        self.port = free_port()
        super().__init__([*prefix, *command_of(folder, "kel_server"), "127.0.0.1", str(self.port),
                          *arguments], folder)

    def resident_megabytes(self, field="VmRSS"):
        status = pathlib.Path(f"/proc/{self.process.pid}/status").read_text()
        return int(re.search(field + r":\s+(\d+) kB", status)[1]) / 1024

    def processor_seconds(self):
        """Of all threads since they began."""
        tasks = pathlib.Path(f"/proc/{self.process.pid}/task").iterdir()
        return sum(int((task / "schedstat").read_text().split()[0]) for task in tasks) / 1e9

    def watched_sensors(self):
        links = pathlib.Path(f"/proc/{self.process.pid}/fd").iterdir()
        return sum("in_proximity" in os.readlink(link) for link in links)

    def stop(self):
        """Milliseconds that it took."""
        began = time.monotonic()
        os.write(self.terminal, b"q")
        self.wait_for_end()
        return (time.monotonic() - began) * 1000


def copy_program(build_folder, target):
    target.mkdir()
    shutil.copy2(command_of(build_folder / "bin", "kel_server")[-1], target)
    shutil.copytree(ROOT / "examples" / "config", target / "config")
    return target


def without_start_sequence(folder):
    settings = folder / "config" / "KelServer.xml"
    settings.write_text(START_SEQUENCE.sub("", settings.read_text()))
    return folder
