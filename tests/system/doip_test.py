#!/usr/bin/env python3
"""Has Scapy's automotive layers, which know nothing of this project, use the vehicle process as a tester.

usage: doip_test.py VEHICLE_PROGRAM VEHICLE_FILE
"""

import pathlib
import socket
import sys
import unittest

from scapy.contrib.automotive.doip import DoIP, UDS_DoIPSocket
from scapy.contrib.automotive.uds import UDS, UDS_RDBI, UDS_RDTCI

from vehicle_program import PATIENCE, PORT, VehicleProcess, described, own_address

PROGRAM, FILE = (pathlib.Path(argument).resolve() for argument in sys.argv[1:3])
EXPECTED = described(FILE)
TESTER, ANOTHER_TESTER = 0x0E80, 0x0E81
HEADER = 8
ACTIVATED = 0x10


def setUpModule():
    global vehicle
    vehicle = VehicleProcess(PROGRAM, FILE).__enter__()
    unittest.addModuleCleanup(vehicle.__exit__)


class Closed(Exception):
    pass


class Tester:
    """A TCP connection whose messages Scapy writes and reads."""

    def __init__(self, receive_buffer=None, entity=None):
        self.socket = socket.socket()
        self.socket.settimeout(PATIENCE)
        if receive_buffer is not None:
            self.socket.setsockopt(socket.SOL_SOCKET, socket.SO_RCVBUF, receive_buffer)
        self.socket.connect(((entity or vehicle).address, PORT))

    def send(self, message):
        self.socket.sendall(bytes(message))

    def receive(self):
        header = self.read(HEADER)
        return DoIP(header + self.read(int.from_bytes(header[4:], "big")))

    def read(self, count):
        whole = b""
        while len(whole) < count:
            try:
                part = self.socket.recv(count - len(whole))
            except ConnectionResetError:
                part = b""
            if not part:
                raise Closed
            whole += part
        return whole

    def ask(self, message):
        self.send(message)
        return self.receive()

    def activate(self, address=TESTER, activation_type=0):
        return self.ask(DoIP(payload_type=0x0005, source_address=address,
                             activation_type=activation_type)).routing_activation_response


def diagnostic(target, data, source=TESTER):
    return DoIP(payload_type=0x8001, source_address=source, target_address=target) / UDS(data)


class DoipTest(unittest.TestCase):
    def connect(self, **options):
        tester = Tester(**options)
        self.addCleanup(tester.socket.close)
        return tester

    def active_tester(self, address=TESTER, **options):
        tester = self.connect(**options)
        self.assertEqual(tester.activate(address), ACTIVATED)
        return tester

    def assert_silent_and_open(self, tester):
        """Its bytes are taken and nothing is said to them; a connection that ends says so much sooner."""
        tester.socket.sendall(bytes(1024 * 1024))
        tester.socket.settimeout(0.5)
        with self.assertRaises(TimeoutError):
            tester.receive()

    def assert_closed(self, tester):
        with self.assertRaises(Closed):
            tester.receive()


class Datagrams(DoipTest):
    def setUp(self):
        self.socket = socket.socket(socket.AF_INET, socket.SOCK_DGRAM)
        self.addCleanup(self.socket.close)
        self.socket.bind(("127.0.0.1", 0))
        self.socket.settimeout(PATIENCE)

    def send(self, **fields):
        self.socket.sendto(bytes(DoIP(**fields)), (vehicle.address, PORT))

    def receive(self):
        whole, sender = self.socket.recvfrom(65535)
        self.assertEqual(sender, (vehicle.address, PORT))
        return DoIP(whole)

    def ask(self, **fields):
        self.send(**fields)
        return self.receive()

    def assert_identified(self, response):
        self.assertEqual((response.payload_type, response.vin.decode(), response.logical_address,
                          response.eid, response.gid, response.further_action, response.vin_gid_status),
                         (0x0004, EXPECTED.vin, EXPECTED.gateway, EXPECTED.eid, EXPECTED.gid, 0, 0))

    def test_identify_the_vehicle_for_everybody(self):
        self.assert_identified(self.ask(payload_type=0x0001))
        self.assert_identified(self.ask(payload_type=0x0001, protocol_version=0xFF, inverse_version=0x00))
        self.assert_identified(self.ask(payload_type=0x0001, protocol_version=3, inverse_version=0xFC))

    def test_identify_the_vehicle_that_is_called_by_its_eid(self):
        self.assert_identified(self.ask(payload_type=0x0002, eid=EXPECTED.eid))

    def test_identify_the_vehicle_that_is_called_by_its_vin(self):
        self.assert_identified(self.ask(payload_type=0x0003, vin=EXPECTED.vin.encode()))

    def test_leave_others_to_answer_who_are_called(self):
        self.send(payload_type=0x0002, eid=b"another")
        self.send(payload_type=0x0003, vin=b"ANOTHER0000000042")
        self.assertEqual(self.ask(payload_type=0x4003).payload_type, 0x4004)

    def test_tell_the_power_mode(self):
        response = self.ask(payload_type=0x4003)

        self.assertEqual((response.payload_type, response.diagnostic_power_mode), (0x4004, 1))

    def test_tell_the_status_of_a_gateway_with_its_sockets(self):
        before = self.ask(payload_type=0x4001)
        self.active_tester(0x0E90)
        after = self.ask(payload_type=0x4001)

        self.assertEqual((before.payload_type, before.node_type), (0x4002, 0))
        self.assertGreaterEqual(before.max_open_sockets, 50)
        self.assertGreater(before.max_data_size, 4096)
        self.assertGreaterEqual(after.cur_open_sockets, 1)

    def test_are_refused_in_another_version(self):
        response = self.ask(payload_type=0x0001, protocol_version=2, inverse_version=0xFC)

        self.assertEqual((response.payload_type, response.nack), (0x0000, 0))


class ScapysOwnTester(DoipTest):
    """Its sockets wrap the requests and find the responses."""

    def ask(self, unit, request):
        # Its own activation waits no more than a second.
        tester = UDS_DoIPSocket(vehicle.address, PORT, source_address=TESTER, activate_routing=False)
        tester.target_address = unit.address
        activation = DoIP(payload_type=0x0005, source_address=TESTER)
        try:
            self.assertEqual(self.response(tester, activation).routing_activation_response, ACTIVATED)
            return self.response(tester, request)
        finally:
            tester.close()

    def response(self, tester, request):
        """Asks again without a response: what has come before Scapy reads is one message to it, so that on a
        machine under load an acknowledgement swallows the answer behind it."""
        attempts = 12
        for _ in range(attempts):
            response = tester.sr1(request, timeout=PATIENCE / attempts, verbose=False)
            if response is not None:
                return response
        self.fail(f"no response to {request!r}")

    def test_reads_the_vin(self):
        tellers = [unit for unit in EXPECTED.units if unit.tells_vin]
        self.assertTrue(tellers)
        for unit in tellers:
            with self.subTest(unit.name):
                response = self.ask(unit, UDS() / UDS_RDBI(identifiers=[0xF190]))

                self.assertEqual(response.service, 0x62)
                self.assertEqual(bytes(response), b"\x62\xf1\x90" + EXPECTED.vin.encode())

    def test_reads_the_faults_of_every_control_unit(self):
        for unit in EXPECTED.units:
            with self.subTest(unit.name):
                response = self.ask(unit, UDS() / UDS_RDTCI(reportType=2, DTCStatusMask=0xFF))

                self.assertEqual((response.service, response.reportType), (0x59, 2))
                records = response.DTCAndStatusRecord
                self.assertEqual(sorted((int.from_bytes(records[at:at + 3], "big"), records[at + 3])
                                        for at in range(0, len(records), 4)), sorted(unit.dtcs))

    def test_hears_what_a_control_unit_refuses(self):
        response = self.ask(EXPECTED.units[0], UDS() / UDS_RDBI(identifiers=[0x0001]))

        self.assertEqual((response.service, response.requestServiceId, response.negativeResponseCode),
                         (0x7F, 0x22, 0x31))


class RoutingActivation(DoipTest):
    def test_is_given_for_the_types_of_the_standard(self):
        for activation_type in (0x00, 0x01, 0xE0):
            tester = self.connect()
            response = tester.ask(DoIP(payload_type=0x0005, source_address=TESTER,
                                       activation_type=activation_type))
            self.assertEqual(
                (response.payload_type, response.logical_address_tester,
                 response.logical_address_doip_entity, response.routing_activation_response),
                (0x0006, TESTER, EXPECTED.gateway, ACTIVATED))
            tester.socket.close()

    def test_is_refused_to_somebody_who_is_no_tester(self):
        tester = self.connect()
        self.assertEqual(tester.activate(0x1234), 0x00)
        self.assert_closed(tester)

    def test_is_refused_for_a_type_that_nobody_knows(self):
        tester = self.connect()
        self.assertEqual(tester.activate(activation_type=0x55), 0x06)
        self.assert_closed(tester)

    def test_is_refused_for_a_second_address_on_one_connection(self):
        tester = self.active_tester()
        self.assertEqual(tester.activate(ANOTHER_TESTER), 0x02)
        self.assert_closed(tester)

    def test_is_refused_to_the_second_tester_of_one_address_while_the_first_is_there(self):
        first, second = self.active_tester(), self.connect()
        second.send(DoIP(payload_type=0x0005, source_address=TESTER))
        self.assertEqual(first.receive().payload_type, 0x0007)
        first.send(DoIP(payload_type=0x0008, source_address=TESTER))

        self.assertEqual(second.receive().routing_activation_response, 0x03)
        self.assert_closed(second)
        self.assertEqual(first.ask(diagnostic(EXPECTED.units[0].address, b"\x3e\x00")).payload_type, 0x8002)

    def test_is_given_to_the_second_tester_of_one_address_when_the_first_does_not_answer(self):
        with VehicleProcess(PROGRAM, FILE, own_address(1), alive_check=500) as impatient:
            first, second = self.active_tester(entity=impatient), self.connect(entity=impatient)
            self.assertEqual(second.activate(), ACTIVATED)

            self.assertEqual(first.receive().payload_type, 0x0007)
            self.assert_closed(first)


class DiagnosticMessages(DoipTest):
    def test_are_acknowledged_and_answered_each_in_a_message(self):
        tester = self.active_tester()
        for unit in EXPECTED.units:
            ack = tester.ask(diagnostic(unit.address, b"\x3e\x00"))
            answer = tester.receive()
            self.assertEqual((ack.payload_type, ack.source_address, ack.target_address, ack.ack_code),
                             (0x8002, unit.address, TESTER, 0))
            self.assertEqual((answer.payload_type, answer.source_address, answer.target_address,
                              bytes(answer[UDS])), (0x8001, unit.address, TESTER, b"\x7e\x00"))

    def test_reach_all_control_units_of_a_functional_address(self):
        tester = self.active_tester()
        ack = tester.ask(diagnostic(0xE400, b"\x3e\x00"))
        answers = [tester.receive() for _ in EXPECTED.units]

        self.assertEqual(ack.payload_type, 0x8002)
        self.assertEqual(sorted((answer.source_address, bytes(answer[UDS])) for answer in answers),
                         sorted((unit.address, b"\x7e\x00") for unit in EXPECTED.units))

    def test_are_refused_for_a_target_that_is_not_there(self):
        tester = self.active_tester()
        nack = tester.ask(diagnostic(0x7777, b"\x3e\x00"))

        self.assertEqual((nack.payload_type, nack.nack_code), (0x8003, 0x03))
        self.assertEqual(tester.ask(diagnostic(EXPECTED.units[0].address, b"\x3e\x00")).payload_type, 0x8002)

    def test_are_refused_from_another_address_than_the_active_one(self):
        tester = self.active_tester()
        nack = tester.ask(diagnostic(EXPECTED.units[0].address, b"\x3e\x00", source=ANOTHER_TESTER))

        self.assertEqual((nack.payload_type, nack.nack_code), (0x8003, 0x02))
        self.assert_closed(tester)

    def test_may_follow_an_alive_check_response_that_nobody_asked_for(self):
        tester = self.active_tester()
        tester.send(DoIP(payload_type=0x0008, source_address=TESTER))

        self.assertEqual(tester.ask(diagnostic(EXPECTED.units[0].address, b"\x3e\x00")).payload_type, 0x8002)


class Headers(DoipTest):
    def test_end_the_connection_in_another_version(self):
        for version, inverse in ((2, 0xFC), (0x77, 0x88)):
            tester = self.connect()
            response = tester.ask(DoIP(payload_type=0x0005, source_address=TESTER,
                                       protocol_version=version, inverse_version=inverse))
            self.assertEqual((response.payload_type, response.nack), (0x0000, 0x00))
            self.assert_closed(tester)

    def test_are_refused_with_a_payload_type_that_nobody_knows(self):
        tester = self.active_tester()
        response = tester.ask(DoIP(payload_type=0x1234))

        self.assertEqual((response.payload_type, response.nack), (0x0000, 0x01))
        self.assertEqual(tester.ask(diagnostic(EXPECTED.units[0].address, b"\x3e\x00")).payload_type, 0x8002)

    def test_are_refused_with_a_length_that_nobody_takes_and_the_rest_is_dropped(self):
        tester = self.active_tester()
        response = tester.ask(DoIP(payload_type=0x8001, payload_length=0xFFFFFFFF,
                                   source_address=TESTER, target_address=EXPECTED.units[0].address))

        self.assertEqual((response.payload_type, response.nack), (0x0000, 0x02))
        self.assert_silent_and_open(tester)


class Segments(DoipTest):
    """Some testers take only one message of a segment."""

    COUNT = 2000
    # Of data, since the connection was made: the field tcpi_data_segs_in of the system's tcp_info.
    SEGMENTS_OFFSET = 152

    def segments(self, tester):
        info = tester.socket.getsockopt(socket.IPPROTO_TCP, socket.TCP_INFO, 256)
        return int.from_bytes(info[self.SEGMENTS_OFFSET:self.SEGMENTS_OFFSET + 4], sys.byteorder)

    def test_have_one_message_each(self):
        tester = self.active_tester()
        before = self.segments(tester)
        # The gateway answers at once.
        for target in (EXPECTED.units[0].address, EXPECTED.gateway):
            self.assertEqual(tester.ask(diagnostic(target, b"\x3e\x00")).payload_type, 0x8002)
            self.assertEqual(tester.receive().payload_type, 0x8001)
        # The system may have sent one twice.
        self.assertGreaterEqual(self.segments(tester) - before, 4)

    def test_have_one_message_each_also_where_the_tester_reads_late(self):
        tester = self.active_tester(receive_buffer=1)
        before = self.segments(tester)
        request = bytes(diagnostic(EXPECTED.units[0].address, b"\x3e\x00"))
        tester.socket.sendall(request * self.COUNT)
        types = [tester.receive().payload_type for _ in range(2 * self.COUNT)]
        self.assertEqual((types.count(0x8002), types.count(0x8001)), (self.COUNT, self.COUNT))
        # One that does not fit into the window is split.
        self.assertGreaterEqual(self.segments(tester) - before, 2 * self.COUNT)


if __name__ == "__main__":
    unittest.main(argv=sys.argv[:1])
