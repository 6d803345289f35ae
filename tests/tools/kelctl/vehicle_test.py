#!/usr/bin/env python3
"""kelctl vehicle: what it tells of vehicles in the network, each a process of its own."""

import pathlib
import re
import socket
import tempfile
import threading
import unittest

from kelctl_program import DONE, EXAMPLES, IS_WINDOWS, NOT_REACHABLE, WRONG_USAGE, kelctl
from vehicle_process import SEARCH_TIMES, VehicleProcess

VEHICLE = (EXAMPLES / "vehicle.xml").read_text(encoding="utf-8")
# One of each answer that a status is made of.
ANSWERS = ("nodeType", "powerMode")
ATTEMPTS = 10
VIN = "WKLDEMO0000000042"


def message(payload_type, payload, version=3):
    payload = bytes.fromhex(payload)
    return (bytes((version, 0xFF - version)) + payload_type.to_bytes(2, "big") + len(payload).to_bytes(4, "big")
            + payload)


class ScriptedVehicle:
    """Answers datagrams by their types, and has the port for itself."""

    def __init__(self, answers):
        self.socket = socket.socket(socket.AF_INET, socket.SOCK_DGRAM)
        self.socket.bind(("127.0.0.1", 0))
        self.place = self.socket.getsockname()
        self.port = self.place[1]
        self.answers = answers
        self.thread = threading.Thread(target=self.serve)
        self.thread.start()

    def serve(self):
        while True:
            question, asker = self.socket.recvfrom(1000)
            if not question:
                return
            answer = self.answers.get(int.from_bytes(question[2:4], "big"))
            if answer:
                self.socket.sendto(answer, asker)

    def end(self):
        with socket.socket(socket.AF_INET, socket.SOCK_DGRAM) as ender:
            ender.sendto(b"", self.place)
        self.thread.join()
        self.socket.close()


class Vehicles(unittest.TestCase):
    def setUp(self):
        folder = tempfile.TemporaryDirectory()
        self.addCleanup(folder.cleanup)
        self.folder = pathlib.Path(folder.name)

    def start(self, *arguments, port=0, vin=VIN, identity=""):
        file = self.folder / f"{vin}.xml"
        file.write_text(re.sub(f'vin="{VIN}"', f'vin="{vin}" {identity}', VEHICLE), encoding="utf-8")
        vehicle = VehicleProcess(file, *arguments, port=port)
        self.addCleanup(vehicle.end)
        return vehicle

    def script(self, answers):
        vehicle = ScriptedVehicle(answers)
        self.addCleanup(vehicle.end)
        return vehicle

    def found(self, port, *options, count=1):
        """What is told once so many have answered, each in a line or in the value."""
        for wait in SEARCH_TIMES:
            result = kelctl(*options, "vehicle", "list", "--wait", wait, "--vehicle-port", port)
            if result.code == DONE and (not options or len(result.json()) >= count):
                break
        return result

    def status(self, vehicle, host="127.0.0.1", untold=()):
        """What people read of it, and what programs do. Asks again while more than `untold` is missing: on a
        machine under load an answer may come too late."""
        place = f"{host}:{vehicle.port}"
        for _ in range(ATTEMPTS):
            result = kelctl("vehicle", "status", place)
            if " within 2000 ms" not in result.out + result.err:
                break
        self.assertEqual(result.code, DONE, result.err)
        for _ in range(ATTEMPTS):
            value = kelctl("--json", "vehicle", "status", place)
            if value.code == DONE and {name for name in ANSWERS if value.json()[name] is None} == set(untold):
                break
        return result.out, value.json()

    def test_one_is_told_with_everything_that_it_says_of_itself(self):
        vehicle = self.start()
        result = self.found(vehicle.port)
        self.assertEqual((result.code, result.out), (
            DONE, f"{VIN}  127.0.0.1  0x1000  EID 02:00:00:00:00:01  GID 02:00:00:00:00:01  version 0x03\n"))
        self.assertEqual(self.found(vehicle.port, "--json").json(), [
            {"vin": VIN, "eid": "02:00:00:00:00:01", "gid": "02:00:00:00:00:01", "logicalAddress": 0x1000,
             "host": "127.0.0.1", "furtherAction": 0, "version": 3}])

    def test_one_that_knows_little_of_itself_is_told_so(self):
        port = self.script({0x0001: message(0x0004, 17 * "00" + "1234" "02000000000A" "000000000000" "10", 2)}).port
        *notes, line = self.found(port).out.splitlines()
        self.assertEqual(line, "no VIN  127.0.0.1  0x1234  EID 02:00:00:00:00:0A  GID none  version 0x02  "
                               "wants routing activation of type 0xE0 (central security) (0x10)")
        if not IS_WINDOWS:
            self.assertEqual(
                notes, [f"note: announcements are not heard: another program has the UDP port {port}"])
        self.assertEqual(self.found(port, "--json").json(), [
            {"vin": "", "eid": "02:00:00:00:00:0A", "gid": None, "logicalAddress": 0x1234,
             "host": "127.0.0.1", "furtherAction": 0x10, "version": 2}])

    @unittest.skipIf(IS_WINDOWS, "only one address of the machine itself is asked there")
    def test_all_that_answer_are_told(self):
        port = self.start().port
        self.start("--address", "127.0.0.2", port=port, vin="WKLDEMO0000000043",
                   identity='gatewayAddress="0x1001" eid="02:00:00:00:00:02"')
        found = self.found(port, "--json", count=2).json()
        self.assertEqual(sorted((each["vin"], each["host"], each["logicalAddress"]) for each in found),
                         [(VIN, "127.0.0.1", 0x1000), ("WKLDEMO0000000043", "127.0.0.2", 0x1001)])

    def test_where_none_answers_none_is_reachable(self):
        with socket.socket(socket.AF_INET, socket.SOCK_DGRAM) as silent:
            silent.bind(("127.0.0.1", 0))
            port = silent.getsockname()[1]
            result = kelctl("vehicle", "list", "--wait", 30, "--vehicle-port", port)
            self.assertEqual((result.code, result.err), (
                NOT_REACHABLE, f"kelctl: no vehicle answers or announces itself on UDP port {port}\n"))
            result = kelctl("--json", "vehicle", "status", f"127.0.0.1:{port}")
            self.assertEqual((result.code, result.out), (NOT_REACHABLE, ""))
            self.assertIn(f"the vehicle at 127.0.0.1:{port} does not answer the entity status request (0x4001) "
                          "within 2000 ms", result.err)

    def test_a_vehicle_tells_its_status(self):
        vehicle = self.start("--max-sockets", 7)
        with socket.create_connection(("127.0.0.1", vehicle.port)) as tester:
            tester.sendall(bytes.fromhex("03FC000500000007 0E80 00 00000000"))
            self.assertEqual(tester.recv(100)[12:13], b"\x10")
            out, told = self.status(vehicle, "localhost")
        self.assertRegex(out, r"\Anode type +gateway\nsockets +1 open of 7\n"
                              r"max data size +\d+ bytes\npower mode +ready \(0x01\)\n\Z")
        self.assertGreater(told.pop("maxDataSize"), 4095)
        self.assertEqual(told, {"nodeType": "gateway", "openSockets": 1, "maxSockets": 7, "powerMode": 1})

    def test_what_a_vehicle_does_not_tell_is_said(self):
        refusal = message(0x0000, "01")
        vehicle = self.script({0x4001: message(0x4002, "010100"), 0x4003: refusal})
        out, value = self.status(vehicle, untold={"powerMode"})
        self.assertEqual(out, "node type      node\nsockets        0 open of 1\nmax data size  not told\n"
                              f"not told: the vehicle at 127.0.0.1:{vehicle.port} does not answer the power mode "
                              "request (0x4003): unknown payload type (0x01)\n")
        self.assertEqual(value, {"nodeType": "node", "openSockets": 0, "maxSockets": 1, "maxDataSize": None,
                                 "powerMode": None})
        vehicle = self.script({0x4001: refusal, 0x4003: message(0x4004, "02")})
        out, value = self.status(vehicle, untold={"nodeType"})
        self.assertEqual(out, f"not told: the vehicle at 127.0.0.1:{vehicle.port} does not answer the entity status "
                              "request (0x4001): unknown payload type (0x01)\npower mode     not supported (0x02)\n")
        self.assertEqual(value, {"nodeType": None, "openSockets": None, "maxSockets": None, "maxDataSize": None,
                                 "powerMode": 2})

    def test_a_place_that_is_none_is_wrong(self):
        for place in ("127.0.0.1:", "127.0.0.1:0", "127.0.0.1:65536", "127.0.0.1:1x", ":13400x", ":13400"):
            result = kelctl("vehicle", "status", place)
            self.assertEqual((result.code, result.err), (
                WRONG_USAGE, "kelctl: " + (f"in front of the colon of {place} stands no host" if place == ":13400"
                                           else f"behind the colon of {place} stands no port from 1 to 65535") + "\n"))
        result = kelctl("vehicle", "status", "nowhere.invalid")
        self.assertEqual(result.code, NOT_REACHABLE)
        self.assertIn("the vehicle nowhere.invalid cannot be found", result.err)
        for wait in (0, 60001):
            self.assertEqual(kelctl("vehicle", "list", "--wait", wait).code, WRONG_USAGE)
        self.assertEqual(kelctl("vehicle", "list", "--vehicle-port", 0).code, WRONG_USAGE)


if __name__ == "__main__":
    unittest.main(argv=["vehicle_test"])
