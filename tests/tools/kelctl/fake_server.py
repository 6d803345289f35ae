"""A server of the runtime that answers as a test wants: an old one, an odd one, a hostile one."""

import base64
import hashlib
import json
import socket
import struct

from listening import serve_each


def text_frame(text):
    payload = text.encode()
    size = len(payload)
    if size < 126:
        length = struct.pack("!B", size)
    elif size < 65536:
        length = struct.pack("!BH", 126, size)
    else:
        length = struct.pack("!BQ", 127, size)
    return b"\x81" + length + payload


def read_text(stream):
    """The next text of a client, unmasked; None at the end."""
    head = stream.read(2)
    if len(head) < 2 or head[0] & 0x0F == 8:
        return None
    size = head[1] & 0x7F
    if size == 126:
        size, = struct.unpack("!H", stream.read(2))
    elif size == 127:
        size, = struct.unpack("!Q", stream.read(8))
    mask = stream.read(4)
    payload = bytes(byte ^ mask[index % 4] for index, byte in enumerate(stream.read(size)))
    return payload.decode() if head[0] & 0x0F == 1 else read_text(stream)


def result(call, value):
    return json.dumps({"jsonrpc": "2.0", "id": call["id"], "result": value})


def notification(method, params):
    return json.dumps({"jsonrpc": "2.0", "method": method, "params": params})


class FakeServer:
    """`answer` is given each call and returns the texts to send, `pages` the body of a GET."""

    def __init__(self, answer, pages=None, refusal=None):
        self.answer = answer
        self.pages = pages or {}
        self.refusal = refusal
        self.listener = socket.create_server(("127.0.0.1", 0))
        self.port = self.listener.getsockname()[1]
        serve_each(self.listener, self.serve)

    def __enter__(self):
        return self

    def __exit__(self, *_):
        self.listener.close()

    def serve(self, client):
        with client, client.makefile("rb") as stream:
            try:
                path = stream.readline().split()[1].decode()
                headers = {}
                while line := stream.readline().strip():
                    name, value = line.decode().split(":", 1)
                    headers[name.lower()] = value.strip()
                if "sec-websocket-key" in headers and not self.refusal:
                    self.talk(client, stream, headers["sec-websocket-key"])
                else:
                    self.reply(client, path)
            except OSError:
                pass

    def reply(self, client, path):
        body = self.pages.get(path)
        status = self.refusal or ("404 Not Found" if body is None else "200 OK")
        body = (body or "").encode()
        client.sendall(f"HTTP/1.1 {status}\r\nContent-Length: {len(body)}\r\n\r\n".encode() + body)

    def talk(self, client, stream, key):
        digest = hashlib.sha1((key + "258EAFA5-E914-47DA-95CA-C5AB0DC85B11").encode()).digest()
        client.sendall(b"HTTP/1.1 101 Switching Protocols\r\nUpgrade: websocket\r\nConnection: Upgrade\r\n"
                       b"Sec-WebSocket-Accept: " + base64.b64encode(digest) + b"\r\n\r\n")
        while (text := read_text(stream)) is not None:
            for each in self.answer(json.loads(text)):
                client.sendall(text_frame(each))
