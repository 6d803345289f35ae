"""The program in a copy of its folder, for tests that run it."""

import re
import shutil
import socket


def install(folder, program, examples, keeps_start_sequence=False):
    """With the example's configuration."""
    shutil.copy2(program, folder)
    shutil.copytree(examples, folder / "config")
    if not keeps_start_sequence:
        edit(folder / "config" / "KelServer.xml", r"<StartSequence>[^<]*</StartSequence>", "")


def edit(path, pattern, replacement):
    """The file must have what is replaced."""
    text, count = re.subn(pattern, replacement, path.read_text(encoding="utf-8"))
    assert count > 0, f"{path} has no {pattern}"
    path.write_text(text, encoding="utf-8")


def held_port(host="127.0.0.1"):
    """A port that the system gives to nobody who asks for any; one who asks for this one can listen."""
    holder = socket.socket()
    holder.setsockopt(socket.SOL_SOCKET, socket.SO_REUSEADDR, 1)
    holder.bind((host, 0))
    return holder


def wait_for_line(stream, part):
    """Until a line of the output contains this."""
    said = []
    for line in stream:
        said.append(line)
        if part in line:
            return
    raise AssertionError(f"ended early: {said}")
