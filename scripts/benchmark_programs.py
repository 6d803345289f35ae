"""What the scripts that measure share: the programs of a build folder and how they are started."""

import contextlib
import pathlib
import socket
import subprocess
import sys

ROOT = pathlib.Path(__file__).resolve().parent.parent
WINE = ROOT / "scripts" / "wine"


def command_of(folder, name):
    """How a program of a Linux or a Windows build is started."""
    if (folder / name).is_file():
        return [folder / name]
    if (folder / f"{name}.exe").is_file():
        return [WINE, folder / f"{name}.exe"]
    sys.exit(f"benchmark: {folder / name} is not there; configure with KEL_BUILD_BENCHMARKS=ON "
             "and build it")


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
