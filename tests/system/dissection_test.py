#!/usr/bin/env python3
"""That tshark complains of nothing in a capture says something: it complains of messages that are wrong.

usage: dissection_test.py TSHARK
"""

import itertools
import sys
import tempfile
import unittest

from scapy.contrib.automotive.doip import DoIP
from scapy.contrib.automotive.uds import UDS

from dissection import Dissection
from packet_recording import Recording

TSHARK = sys.argv[1]
VERSION = {"protocol_version": 3, "inverse_version": 0xFC}


def with_length(message, more):
    return message[:7] + bytes([message[7] + more]) + message[8:]


class Complaints(unittest.TestCase):
    answer = bytes(DoIP(payload_type=0x8001, source_address=0x11, target_address=0xE80, **VERSION) /
                   UDS(b"\x59\x02\xff\x03\x01\x00\x2f"))
    activation = bytes(DoIP(payload_type=0x0006, logical_address_tester=0xE80,
                            logical_address_doip_entity=0x1000, routing_activation_response=0x10, **VERSION))
    announcement = bytes(DoIP(payload_type=0x0004, vin=b"WKLDEMO0000000042", **VERSION))
    vehicle = "127.0.0.2", 13400

    def setUp(self):
        self.made = Recording()
        self.tester_ports = itertools.count(40000)

    def tester(self):
        return "127.0.0.1", next(self.tester_ports)

    def stream(self, *segments):
        conversation = self.made.conversation(self.tester(), self.vehicle)
        for segment in segments:
            conversation.segment(False, segment)
        conversation.end(False)

    def datagram(self, data):
        self.made.datagram(False, self.tester(), self.vehicle, data)

    def assert_complaints(self, count):
        with tempfile.NamedTemporaryFile(suffix=".pcap") as file:
            complaints = Dissection(TSHARK, self.made.write(file.name)).complaints()
        self.assertEqual(len(complaints), count, complaints)

    def test_are_none_where_nothing_is_wrong(self):
        self.stream(self.activation, self.answer[:5], self.answer[5:])
        self.datagram(self.announcement)
        self.assert_complaints(0)

    def test_come_of_a_wrong_length(self):
        for more in (-1, 1):
            self.stream(self.activation, with_length(self.answer, more), self.answer, self.answer)
        self.stream(with_length(self.activation, -1) + self.answer)
        self.datagram(with_length(self.announcement, -1))
        self.assert_complaints(4)

    def test_come_of_a_version_that_its_inverse_does_not_fit(self):
        self.stream(b"\x03\xfd" + self.answer[2:])
        self.assert_complaints(1)

    def test_come_of_a_service_that_is_cut(self):
        services = b"", b"\x22\xf1", b"\x27", b"\x34\x00\x44\x00", b"\x7f\x22"
        for service in services:
            header = DoIP(payload_type=0x8001, payload_length=4 + len(service), **VERSION)
            self.stream(bytes(header) + service)
        self.assert_complaints(len(services))


if __name__ == "__main__":
    unittest.main(argv=sys.argv[:1])
