"""Runs kelctl as people do. The arguments of each test: KELCTL KEL_SERVER EXAMPLE_CONFIG FLASH_DATA [EMULATOR]"""

import dataclasses
import json
import os
import pathlib
import subprocess
import sys

KELCTL, KEL_SERVER, EXAMPLES, FLASH_DATA = (pathlib.Path(argument).resolve()
                                            for argument in sys.argv[1:5])
EMULATOR = sys.argv[5:]
IS_WINDOWS = KELCTL.suffix == ".exe"
PATIENCE = 60

DONE, REFUSED, WRONG_USAGE, NOT_REACHABLE, FINDINGS, CANCELLED = range(6)


@dataclasses.dataclass
class Result:
    code: int
    out: str
    err: str

    def json(self):
        """The only line, as JSON."""
        line, = self.out.splitlines()
        return json.loads(line)

    def json_lines(self):
        return [json.loads(line) for line in self.out.splitlines()]


def command(*arguments):
    return [*EMULATOR, str(KELCTL), *map(str, arguments)]


def kelctl(*arguments, cwd=None, stdin=b"", **environment):
    """What it ends with and says. Lines end alike on all systems."""
    done = subprocess.run(command(*arguments), cwd=cwd, input=stdin, timeout=PATIENCE, check=False,
                          capture_output=True, env={**os.environ, **environment})
    return Result(done.returncode, *(stream.decode("utf-8").replace("\r\n", "\n")
                                     for stream in (done.stdout, done.stderr)))
