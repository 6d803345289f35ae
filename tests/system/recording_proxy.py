"""Stands between testers and a vehicle, passes on what they say to each other over TCP and UDP, and records
it segment by segment."""

import contextlib
import selectors
import socket
import threading

from packet_recording import Recording

HOST = "127.0.0.1"
# Fits into one packet.
SEGMENT = 32768


def bound_pair():
    """Sockets of TCP and UDP at one port that nobody has had. Who looks for announcements at this port
    can listen beside the second."""
    while True:
        listener, datagrams = socket.socket(), socket.socket(socket.AF_INET, socket.SOCK_DGRAM)
        datagrams.setsockopt(socket.SOL_SOCKET, socket.SO_REUSEADDR, 1)
        try:
            listener.bind((HOST, 0))
            datagrams.bind(listener.getsockname())
            listener.listen()
            return listener, datagrams
        except OSError:
            listener.close()
            datagrams.close()


class RecordingProxy:
    """Where testers find it is `place`; in the recording they talk to the vehicle itself."""

    def __init__(self, vehicle):
        """`vehicle` is host and port of the vehicle, for TCP and UDP."""
        self.vehicle = vehicle
        self.recording = Recording()
        self.listener, self.datagrams = bound_pair()
        self.place = self.listener.getsockname()
        # Of each tester the socket that asks in its stead.
        self.askers = {}
        self.pumps = []
        self.is_closing, self.closer = socket.socketpair()
        self.selector = selectors.DefaultSelector()
        self.selector.register(self.listener, selectors.EVENT_READ, self._accept)
        self.selector.register(self.datagrams, selectors.EVENT_READ, self._ask)
        self.selector.register(self.is_closing, selectors.EVENT_READ, lambda: None)
        self.thread = threading.Thread(target=self._serve)

    def __enter__(self):
        self.thread.start()
        return self

    def __exit__(self, *_):
        """Ends once the testers, or the vehicle, have ended their connections."""
        self.closer.close()
        self.thread.join()
        for pump in self.pumps:
            pump.join()
        for each in (self.listener, self.datagrams, self.is_closing, self.selector, *self.askers.values()):
            each.close()

    def _serve(self):
        is_closing = False
        while not is_closing:
            ready = [key for key, _ in self.selector.select()]
            for key in ready:
                key.data()
            is_closing = any(key.fileobj is self.is_closing for key in ready)

    def _accept(self):
        tester, place = self.listener.accept()
        try:
            vehicle = socket.create_connection(self.vehicle)
        except OSError:
            tester.close()
            return
        conversation = self.recording.conversation(place, self.vehicle)
        ends = (tester, vehicle)
        for end in ends:
            end.setsockopt(socket.IPPROTO_TCP, socket.TCP_NODELAY, 1)
        not_last = threading.Semaphore(1)
        for is_from_tester, (source, target) in ((True, ends), (False, ends[::-1])):
            pump = threading.Thread(target=self._pump,
                                    args=(conversation, is_from_tester, source, target, not_last))
            pump.start()
            self.pumps.append(pump)

    def _pump(self, conversation, is_from_tester, source, target, not_last):
        """One direction of a connection until its end; the last of the two closes the sockets."""
        who_resets = is_from_tester
        try:
            while data := source.recv(SEGMENT):
                conversation.segment(is_from_tester, data)
                who_resets = not is_from_tester
                target.sendall(data)
                who_resets = is_from_tester
            conversation.end(is_from_tester)
            with contextlib.suppress(OSError):
                target.shutdown(socket.SHUT_WR)
        except OSError:
            conversation.reset(who_resets)
            for end in (source, target):
                with contextlib.suppress(OSError):
                    end.shutdown(socket.SHUT_RDWR)
        if not not_last.acquire(blocking=False):
            source.close()
            target.close()

    def _ask(self):
        data, tester = self.datagrams.recvfrom(65535)
        if tester not in self.askers:
            asker = socket.socket(socket.AF_INET, socket.SOCK_DGRAM)
            asker.bind((HOST, 0))
            self.askers[tester] = asker
            self.selector.register(asker, selectors.EVENT_READ, lambda: self._answer(asker, tester))
        self.recording.datagram(True, tester, self.vehicle, data)
        self.askers[tester].sendto(data, self.vehicle)

    def _answer(self, asker, tester):
        data, vehicle = asker.recvfrom(65535)
        self.recording.datagram(False, tester, vehicle, data)
        self.datagrams.sendto(data, tester)
