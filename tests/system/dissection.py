"""A capture as tshark, of Wireshark, reads it."""

import subprocess

PATIENCE = 240
# Severity "warning" and worse, as Wireshark numbers them.
COMPLAINTS = "_ws.malformed || _ws.unreassembled || _ws.expert.severity >= 0x600000"


class Dissection:
    def __init__(self, tshark, capture):
        self.tshark = tshark
        self.capture = capture

    def lines(self, *arguments):
        ran = subprocess.run([self.tshark, "-n", "-r", self.capture, *arguments], capture_output=True,
                             text=True, timeout=PATIENCE, check=False)
        assert ran.returncode == 0, ran.stderr
        return ran.stdout.splitlines()

    def complaints(self):
        """The frames that something is wrong with."""
        return self.lines("-Y", COMPLAINTS)

    def fields(self, *names):
        """Of each frame, in lower case."""
        arguments = [part for name in names for part in ("-e", name)]
        return [line.lower().split("\t") for line in self.lines("-T", "fields", *arguments)]


class Table:
    """Some fields of a capture, read at once."""

    def __init__(self, dissection, *names):
        self.names = names
        self.frames = dissection.fields(*names)

    def messages(self, *names):
        """Of each message, which may share a frame with others: it has all of these fields or none."""
        columns = [self.names.index(name) for name in names]
        return [message for frame in self.frames
                for message in zip(*(frame[column].split(",") for column in columns)) if any(message)]
