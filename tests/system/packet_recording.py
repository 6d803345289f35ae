"""What has passed between testers and a vehicle, written down as the packets of a network."""

import dataclasses
import threading
import time

from scapy.layers.inet import IP, TCP, UDP
from scapy.layers.l2 import Ether
from scapy.packet import Raw
from scapy.utils import wrpcap

TESTER_MAC, VEHICLE_MAC = "02:00:00:00:00:0e", "02:00:00:00:00:10"
# Scaled, so that no sender ever fills it.
SCALE = 10
WINDOW = 0x4000
# Of a DoIP message; its length comes last.
HEADER = 8


def split(stream):
    """The DoIP messages of a stream."""
    while stream:
        size = HEADER + int.from_bytes(stream[4:HEADER], "big")
        assert len(stream) >= size, stream[:size]
        yield stream[:size]
        stream = stream[size:]


@dataclasses.dataclass
class Sender:
    """One of the two ends of a conversation."""

    mac: str
    place: tuple
    # Of its next byte.
    sequence: int = 0


class Conversation:
    """One TCP connection. Any thread may tell what comes next in it."""

    def __init__(self, recording, tester, vehicle):
        self.recording = recording
        self.tester = Sender(TESTER_MAC, tester, 1000)
        self.vehicle = Sender(VEHICLE_MAC, vehicle, 5000)
        # What each end has sent, without the boundaries of segments.
        self.streams = {True: b"", False: b""}
        self.is_reset = False

    def begin(self):
        with self.recording.lock:
            options = [("MSS", 1460), ("WScale", SCALE)]
            self._packet(True, "S", options=options)
            self._packet(False, "SA", options=options)
            self._packet(True, "A")

    def segment(self, is_from_tester, data):
        with self.recording.lock:
            self.streams[is_from_tester] += data
            self._packet(is_from_tester, "PA", data)
            self._packet(not is_from_tester, "A")

    def end(self, is_from_tester):
        with self.recording.lock:
            if not self.is_reset:
                self._packet(is_from_tester, "FA")
                self._packet(not is_from_tester, "A")

    def reset(self, is_from_tester):
        with self.recording.lock:
            if not self.is_reset:
                self._packet(is_from_tester, "RA")
                self.is_reset = True

    def _packet(self, is_from_tester, flags, data=b"", options=()):
        source, target = self.tester, self.vehicle
        if not is_from_tester:
            source, target = target, source
        header = TCP(sport=source.place[1], dport=target.place[1], seq=source.sequence,
                     ack=0 if flags == "S" else target.sequence, flags=flags, window=WINDOW,
                     options=list(options))
        self.recording.add(source, target, header, data)
        # SYN and FIN count as a byte each.
        source.sequence += len(data) + ("S" in flags) + ("F" in flags)


class Recording:
    def __init__(self):
        self.lock = threading.RLock()
        self.packets = []
        self.conversations = []
        # Of each datagram whether it is the tester's, and its content.
        self.datagrams = []

    def conversation(self, tester, vehicle):
        begun = Conversation(self, tester, vehicle)
        with self.lock:
            self.conversations.append(begun)
            begun.begin()
        return begun

    def datagram(self, is_from_tester, tester, vehicle, data):
        source, target = Sender(TESTER_MAC, tester), Sender(VEHICLE_MAC, vehicle)
        if not is_from_tester:
            source, target = target, source
        with self.lock:
            self.datagrams.append((is_from_tester, data))
            self.add(source, target, UDP(sport=source.place[1], dport=target.place[1]), data)

    def has(self, is_from_tester, part):
        """Whether one side has sent this over TCP."""
        with self.lock:
            return any(part in conversation.streams[is_from_tester] for conversation in self.conversations)

    def messages(self, is_from_tester):
        """The DoIP messages of one side, over TCP and UDP. Each stream ends with a whole one, and so does
        each datagram."""
        streams = [conversation.streams[is_from_tester] for conversation in self.conversations]
        streams += [data for sender, data in self.datagrams if sender == is_from_tester]
        return [message for stream in streams for message in split(stream)]

    def add(self, source, target, header, data):
        packet = (Ether(src=source.mac, dst=target.mac) /
                  IP(src=source.place[0], dst=target.place[0], id=len(self.packets) & 0xFFFF) / header)
        if data:
            packet /= Raw(data)
        packet.time = time.time()
        self.packets.append(packet)

    def write(self, path):
        with self.lock:
            wrpcap(str(path), self.packets)
        return path
