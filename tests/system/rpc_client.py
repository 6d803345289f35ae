"""A client of the runtime's server, from Python's own library: JSON-RPC over a WebSocket (RFC 6455)."""

import base64
import collections
import json
import os
import socket
import struct

PATIENCE = 60
CONTINUATION, TEXT, CLOSE, PING, PONG = 0, 1, 8, 9, 10


class Closed(Exception):
    """The server has closed the connection, with the code of its close frame or None."""

    def __init__(self, code=None):
        super().__init__(f"closed with {code}")
        self.code = code


def handshake(host, port, headers=()):
    key = base64.b64encode(os.urandom(16)).decode()
    lines = ["GET /rpc HTTP/1.1", f"Host: {host}:{port}", "Connection: Upgrade", "Upgrade: websocket",
             "Sec-WebSocket-Version: 13", f"Sec-WebSocket-Key: {key}", *headers, "", ""]
    return "\r\n".join(lines).encode()


def frame(opcode, payload):
    """One masked frame with a mask of zeros, which leaves the payload readable."""
    size = len(payload)
    if size < 126:
        length = struct.pack("!B", 0x80 | size)
    elif size < 65536:
        length = struct.pack("!BH", 0x80 | 126, size)
    else:
        length = struct.pack("!BQ", 0x80 | 127, size)
    return bytes([0x80 | opcode]) + length + bytes(4) + payload


class RpcClient:
    def __init__(self, port, host="127.0.0.1", headers=(), tls=None):
        """`tls` wraps the socket and names the host that the client asks for."""
        self.socket = socket.create_connection((host, port), timeout=PATIENCE)
        if tls:
            wrap, host, port = tls
            self.socket = wrap(self.socket)
        self.stream = self.socket.makefile("rb")
        self.notifications = collections.deque()
        self.last_id = 0
        self.socket.sendall(handshake(host, port, headers))
        self.status = int(self.stream.readline().split()[1])
        while self.stream.readline().strip():
            pass

    def __enter__(self):
        return self

    def __exit__(self, *_):
        self.close()

    def close(self):
        self.stream.close()
        self.socket.close()

    def send(self, text):
        self.socket.sendall(frame(TEXT, text.encode()))

    def receive(self):
        text = b""
        while True:
            opcode, last, payload = self._frame()
            if opcode in (TEXT, CONTINUATION):
                text += payload
                if last:
                    return json.loads(text)
            if opcode == CLOSE:
                raise Closed(struct.unpack("!H", payload[:2])[0] if payload else None)
            if opcode == PING:
                self.socket.sendall(frame(PONG, payload))

    def _frame(self):
        head = self.stream.read(2)
        if len(head) < 2:
            raise Closed()
        size = head[1] & 0x7F
        if size == 126:
            size = struct.unpack("!H", self.stream.read(2))[0]
        elif size == 127:
            size = struct.unpack("!Q", self.stream.read(8))[0]
        return head[0] & 0x0F, head[0] & 0x80, self.stream.read(size)

    def begin(self, method, **params):
        """Sends a call; `finish` takes its response."""
        self.last_id += 1
        self.send(json.dumps({"jsonrpc": "2.0", "id": self.last_id, "method": method,
                              "params": params}))
        return self.last_id

    def finish(self, number):
        while True:
            message = self.receive()
            if message.get("id") == number:
                return message
            self.notifications.append(message)

    def result(self, method, **params):
        response = self.finish(self.begin(method, **params))
        if "error" in response:
            raise AssertionError(f"{method}: {response['error']}")
        return response["result"]

    def next_notification(self):
        return self.notifications.popleft() if self.notifications else self.receive()

    def notification(self, method):
        """The parameters of the next notification of this method."""
        while True:
            message = self.next_notification()
            if message.get("method") == method:
                return message["params"]

    def status_until(self, text):
        """The status texts that come until this one has come."""
        texts = []
        while not texts or texts[-1] != text:
            texts.append(self.notification("status.changed")["text"])
        return texts

    def status_texts_until_closed(self):
        texts = []
        try:
            while True:
                texts.append(self.notification("status.changed")["text"])
        except Closed:
            return texts
