#!/usr/bin/env python3
"""Records what the program and the vehicle process say to each other in a quick test and a flash, and has
tshark and Scapy judge it.

usage: doip_capture_test.py PROGRAM EXAMPLE_CONFIG FLASH_DATA VEHICLE_PROGRAM TSHARK
"""

import collections
import pathlib
import re
import socket
import sys
import tempfile
import time
import unittest

from scapy.contrib.automotive.doip import DoIP
from scapy.contrib.automotive.uds import UDS, UDS_RC, UDS_WDBI
from scapy.packet import Padding, Raw

from dissection import Dissection, Table
from recording_proxy import RecordingProxy
from sequence_program import SequenceProgram
from vehicle_program import PATIENCE, PORT, VehicleProcess, described

PROGRAM, EXAMPLES, FLASH_DATA, VEHICLE = (pathlib.Path(argument).resolve() for argument in sys.argv[1:5])
TSHARK = sys.argv[5]
FILE = EXAMPLES / "vehicle.xml"
EXPECTED = described(FILE)
# Fault memories as they are, everything there is with a flash, fault memories when they are cleared.
SCRIPTS = ["Demo.xml", "AllActions.xml", "ClearFaults.xml"]
# Services that the scripts ask for, each at least so often.
SERVICES = {0x10: 4, 0x11: 1, 0x14: 2, 0x19: 8, 0x22: 20, 0x27: 4, 0x28: 1, 0x2E: 1, 0x31: 5, 0x34: 2,
            0x36: 29, 0x37: 2, 0x3E: 3, 0x85: 1}
ANNOUNCEMENT, ACTIVATION, ACTIVATED, DIAGNOSTIC = 0x0004, 0x0005, 0x0006, 0x8001
REPLY = "0x01"
NEGATIVE = "0x3f"
PENDING = "0x78"
PRESENT = "7e00"
VERSION = {"protocol_version": 3, "inverse_version": 0xFC}
# One line of the trace: so much of the bytes as it shows.
TRACED = re.compile(r" debug kel_cpp/bus/BusTrace:\d+ \S+ 0x[0-9A-F]{4} ([<>]) "
                    r"0x([0-9A-F]{4})  ([0-9A-F]{2}(?: [0-9A-F]{2})*)(?: |$)", re.MULTILINE)
SHOWN = 64
# How these messages begin.
ALIVE, KEPT = b"\x03\xfc\x00\x08", b"\x03\xfc\x80\x02\x00\x00\x00\x05\x10\x00"


def setUpModule():
    global recording, traces, capture
    folder = tempfile.TemporaryDirectory()
    unittest.addModuleCleanup(folder.cleanup)
    path = pathlib.Path(folder.name).resolve()
    with VehicleProcess(VEHICLE, FILE) as vehicle, RecordingProxy((vehicle.address, PORT)) as proxy:
        # Without a host, so that it looks for the vehicle, where it finds the proxy.
        program = SequenceProgram(path, PROGRAM, EXAMPLES, FLASH_DATA, doip=("", proxy.place[1]))
        program.start()
        try:
            outcomes = [program.run(script)["outcome"] for script in SCRIPTS]
            wait_until_kept(proxy.recording)
        finally:
            code = program.end()
        assert (outcomes, code) == (["clean"] * len(SCRIPTS), 0), (outcomes, code)
        ask_entity(proxy.place)
        traces = program.traces()
    recording = proxy.recording
    capture = recording.write(path / "doip.pcap")


def wait_until_kept(recorded):
    """Until the idle connection has been kept once, and the vehicle has answered to that."""
    end = time.monotonic() + PATIENCE
    while not (recorded.has(True, ALIVE) and recorded.has(False, KEPT)):
        assert time.monotonic() < end, "nothing keeps the connection"
        time.sleep(0.05)


def ask_entity(place):
    """What the program has no need of."""
    with socket.socket(socket.AF_INET, socket.SOCK_DGRAM) as tester:
        tester.settimeout(PATIENCE)
        for question in (DoIP(payload_type=0x0002, eid=EXPECTED.eid, **VERSION),
                         DoIP(payload_type=0x4001, **VERSION), DoIP(payload_type=0x4003, **VERSION)):
            tester.sendto(bytes(question), place)
            tester.recv(2048)


def understood(is_from_tester):
    """What Scapy makes of the messages of one side."""
    return [DoIP(message) for message in recording.messages(is_from_tester)]


def rebuilt(message):
    """The bytes of what Scapy has understood."""
    fields = message.copy()
    fields.clear_cache()
    return bytes(fields)


class Tshark(unittest.TestCase):
    @classmethod
    def setUpClass(cls):
        cls.seen = Table(Dissection(TSHARK, capture), "doip.type", "doip.length", "doip.response_code",
                         "doip.diag_ack_code", "doip.diag_nack_code", "doip.vin", "uds.sid", "uds.reply",
                         "uds.err.code", "uds.rdbi.data_record", "uds.rdtci.record")

    def test_has_nothing_to_complain_of(self):
        self.assertEqual(Dissection(TSHARK, capture).complaints(), [])

    def test_sees_every_message_that_was_sent(self):
        sent = collections.Counter((message.payload_type, message.payload_length)
                                   for message in understood(True) + understood(False))
        seen = collections.Counter((int(kind, 16), int(length))
                                   for kind, length in self.seen.messages("doip.type", "doip.length"))

        self.assertEqual(seen, sent)

    def test_sees_the_vehicle_found_and_asked_and_the_routing_activated_for_every_connection(self):
        kinds = collections.Counter(int(kind, 16) for (kind,) in self.seen.messages("doip.type"))
        connections = len(recording.conversations)

        self.assertGreaterEqual(connections, len(SCRIPTS))
        self.assertEqual((kinds[ACTIVATION], kinds[ACTIVATED]), (connections, connections))
        # It asks again when the answer takes its time.
        self.assertGreaterEqual(kinds[0x0001], connections)
        self.assertEqual(kinds[ANNOUNCEMENT], kinds[0x0001] + kinds[0x0002])
        for kind in (0x0002, 0x4001, 0x4002):
            self.assertEqual(kinds[kind], 1)
        # Each search asks for the power mode, too.
        for kind in (0x4003, 0x4004):
            self.assertEqual(kinds[kind], connections + 1)
        self.assertEqual(set(self.seen.messages("doip.response_code")), {("0x10",)})

    def test_sees_every_diagnostic_message_acknowledged(self):
        targets = [message.target_address for message in understood(True)
                   if message.payload_type == DIAGNOSTIC]

        self.assertEqual(self.seen.messages("doip.diag_ack_code"), [("0x00",)] * len(targets))
        self.assertEqual(self.seen.messages("doip.diag_nack_code"), [])
        # What only keeps the connection.
        self.assertGreater(targets.count(EXPECTED.gateway), 0)

    def test_sees_every_service_answered_positively(self):
        seen = collections.Counter(self.seen.messages("uds.sid", "uds.reply"))
        pending = self.seen.messages("uds.err.code").count((PENDING,))

        for service, count in SERVICES.items():
            with self.subTest(hex(service)):
                asked, answered = seen[f"0x{service:02x}", "0x00"], seen[f"0x{service:02x}", REPLY]
                self.assertGreaterEqual(asked, count)
                self.assertGreaterEqual(answered, count)
        self.assertGreater(pending, 0)
        self.assertEqual({sid for sid, _ in seen},
                         {f"0x{service:02x}" for service in SERVICES} | {NEGATIVE})

    def test_sees_the_vin_and_every_fault(self):
        said = [record for (record,) in self.seen.messages("uds.rdbi.data_record")]
        faults = "".join(record for (record,) in self.seen.messages("uds.rdtci.record"))

        self.assertEqual(set(self.seen.messages("doip.vin")), {(EXPECTED.vin.lower(),)})
        self.assertIn(EXPECTED.vin.encode().hex(), said)
        for unit in EXPECTED.units:
            for code, status in unit.dtcs:
                if status & 0x08:
                    self.assertIn(f"{code:06x}{status:02x}", faults)


class Scapy(unittest.TestCase):
    def test_understands_all_that_the_program_sends(self):
        for whole, message in zip(recording.messages(True), understood(True)):
            with self.subTest(repr(message)):
                self.assertIn(message.payload_type, DoIP.payload_types)
                self.assertEqual(rebuilt(message), whole)
                self.assertFalse(message.haslayer(Padding))
                # It has no field for the content of these two.
                if not message.haslayer(UDS_WDBI) and not message.haslayer(UDS_RC):
                    self.assertFalse(message.haslayer(Raw))

    def test_knows_each_service_by_its_name(self):
        asked = collections.Counter(message[UDS].service for message in understood(True)
                                    if message.payload_type == DIAGNOSTIC)

        self.assertEqual(set(asked), set(SERVICES))
        for service, count in SERVICES.items():
            self.assertIn(service, UDS.services)
            self.assertGreaterEqual(asked[service], count)

    def test_finds_the_messages_of_the_bus_trace(self):
        traced = collections.Counter((way, unit.lower(), said.lower().replace(" ", ""))
                                     for way, unit, said in TRACED.findall(traces))
        found = collections.Counter()
        for way, is_from_tester in ((">", True), ("<", False)):
            for message in understood(is_from_tester):
                unit = message.target_address if is_from_tester else message.source_address
                # What only keeps the connection is the link's own.
                if message.payload_type == DIAGNOSTIC and unit != EXPECTED.gateway:
                    found[way, f"{unit:04x}", bytes(message[UDS])[:SHOWN].hex()] += 1

        self.assertGreater(sum(found.values()), 200)
        # The project need not know all control units that answer a question to everybody.
        for unit in EXPECTED.units:
            present = "<", f"{unit.address:04x}", PRESENT
            self.assertGreaterEqual(found.pop(present), traced.pop(present))
        self.assertEqual(found, traced)


if __name__ == "__main__":
    unittest.main(argv=sys.argv[:1])
