"""A vehicle in the network of this machine, for tests that look for it."""

import re
import subprocess

import kelctl_program as program

# Milliseconds. A search returns after its whole time: tests begin with a short one, and on a machine under
# load look again for twice as long.
SEARCH_TIMES = (1000, 2000, 4000, 8000, 16000, 32000)
KEL_VEHICLE = program.KEL_SERVER.with_name("kel_vehicle" + program.KEL_SERVER.suffix)


class VehicleProcess:
    """Listens on the port, 0 for one that is free."""

    def __init__(self, file, *arguments, port=0):
        self.process = subprocess.Popen(
            [*program.EMULATOR, KEL_VEHICLE, file, "--port", str(port), "--quiet",
             "--initial-inactivity", "600000", *map(str, arguments)],
            stdin=subprocess.DEVNULL, stdout=subprocess.PIPE)
        line = self.process.stdout.readline().decode()
        match = re.search(r" at [\d.]+:(\d+),", line)
        if not match:
            self.end()
            raise AssertionError(f"the vehicle has not begun: {line}")
        self.port = int(match[1])

    def end(self):
        self.process.kill()
        self.process.wait()
        self.process.stdout.close()
