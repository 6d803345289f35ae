"""The vehicle process, and what its file says of it, for tests that talk to it."""

import dataclasses
import os
import socket
import subprocess
import tempfile
import time
import xml.etree.ElementTree

PORT = 13400
PATIENCE = 60


def own_address(vehicle=0):
    """An address of this machine alone, another one for another vehicle of a test: tests beside each other
    all use the port of the standard."""
    number = os.getpid()
    return f"127.{1 + 64 * vehicle + (number >> 16 & 0x3F)}.{number >> 8 & 0xFF}.{1 + (number & 0xFF) % 254}"


class VehicleProcess:
    """Serves the file until it is left. What it says is in `log`."""

    def __init__(self, program, file, address=None, alive_check=60000):
        self.address = address or own_address()
        self.output = tempfile.TemporaryFile()
        self.process = subprocess.Popen(
            [program, file, "--address", self.address, "--port", str(PORT),
             # A machine under load takes its time.
             "--initial-inactivity", "60000", "--alive-check", str(alive_check)],
            stdin=subprocess.PIPE, stdout=self.output, stderr=subprocess.STDOUT)

    def __enter__(self):
        end = time.monotonic() + PATIENCE
        while True:
            try:
                socket.create_connection((self.address, PORT), timeout=PATIENCE).close()
                return self
            except ConnectionRefusedError:
                if self.process.poll() is not None or time.monotonic() > end:
                    self.__exit__()
                    raise AssertionError("the vehicle does not listen") from None
                time.sleep(0.02)

    def __exit__(self, *_):
        self.process.kill()
        self.process.communicate()
        self.output.close()

    def end(self):
        """Its exit code, having been asked to end."""
        self.process.terminate()
        return self.process.wait(timeout=PATIENCE)

    def log(self):
        self.output.seek(0)
        return self.output.read().decode()


@dataclasses.dataclass
class Unit:
    """Of a vehicle's file."""

    name: str
    address: int
    tells_vin: bool
    # Code and status.
    dtcs: list


@dataclasses.dataclass
class Described:
    """What a tester should find out about the vehicle of a file."""

    vin: str
    gateway: int
    eid: bytes
    gid: bytes
    units: list


def number(text):
    return int(text, 0)


def described(file):
    root = xml.etree.ElementTree.parse(file).getroot()
    eid = root.get("eid", "02:00:00:00:00:01")
    units = [Unit(unit.get("name"), number(unit.get("address")),
                  any(number(data.get("id")) == 0xF190 for data in unit.iter("DataIdentifier")),
                  [(number(dtc.get("code")), number(dtc.get("status"))) for dtc in unit.iter("Dtc")])
             for unit in root.iter("ControlUnit")]
    return Described(root.get("vin"), number(root.get("gatewayAddress", "0x1000")),
                     bytes.fromhex(eid.replace(":", "")),
                     bytes.fromhex(root.get("gid", eid).replace(":", "")), units)
