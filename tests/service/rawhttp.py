"""A client that sends bytes as given and returns what comes back."""

import socket
import struct

PATIENCE = 20.0  # seconds; far more than ever needed, even under a sanitizer


class Response:
    """One response. A text that does not begin like a response has the status 0."""

    def __init__(self, status: int, fields: dict, body: bytes):
        self.status = status
        self.fields = fields  # by lower-case name; the last of several
        self.body = body


class RawClient:
    """One connection. Reading ends with None when the server has closed or reset it."""

    def __init__(self, address: tuple, patience: float = PATIENCE):
        self.patience = patience
        self.socket = socket.create_connection(address, timeout=patience)
        self.socket.setsockopt(socket.IPPROTO_TCP, socket.TCP_NODELAY, 1)
        self._waiting = bytearray()  # grows in place: responses of gigabytes come in small pieces
        self._ended = False

    def __enter__(self):
        return self

    def __exit__(self, *_):
        self.socket.close()

    def send(self, data: bytes) -> None:
        """If the server has gone meanwhile, reading shows it."""
        try:
            self.socket.sendall(data)
        except (BrokenPipeError, ConnectionResetError):
            pass

    def half_close(self) -> None:
        try:
            self.socket.shutdown(socket.SHUT_WR)
        except OSError:
            pass

    def reset(self) -> None:
        """Closes with a reset."""
        self.socket.setsockopt(socket.SOL_SOCKET, socket.SO_LINGER, struct.pack("ii", 1, 0))
        self.socket.close()

    def _more(self) -> bool:
        """Whether more has arrived. Raises TimeoutError on timeout."""
        if self._ended:
            return False
        try:
            data = self.socket.recv(1 << 16)
        except ConnectionResetError:
            data = b""
        self._ended = not data
        self._waiting += data
        return bool(data)

    def _take(self, size: int) -> bytes:
        taken = bytes(self._waiting[:size])
        del self._waiting[:size]
        return taken

    def silent(self, seconds: float) -> bool:
        """Whether nothing arrives for that long, not even the end."""
        if self._waiting or self._ended:
            return False
        self.socket.settimeout(seconds)
        try:
            self._more()
            return False
        except TimeoutError:
            return True
        finally:
            self.socket.settimeout(self.patience)

    def response(self, to_head: bool = False):
        """The next whole response; None if the connection ended instead. Raises TimeoutError."""
        while b"\r\n\r\n" not in self._waiting:
            if not self._more():
                return Response(0, {}, self._take(len(self._waiting))) if self._waiting else None
        end = self._waiting.index(b"\r\n\r\n") + 4
        if not self._waiting.startswith(b"HTTP/1."):
            return Response(0, {}, self._take(len(self._waiting)))
        head = self._take(end).decode("latin-1")
        status = int(head.split(" ")[1])
        fields = {}
        for line in head.split("\r\n")[1:-2]:
            name, value = line.split(":", 1)
            fields[name.lower()] = value.strip()
        if to_head or status < 200 or status in (204, 304):
            return Response(status, fields, b"")
        size = int(fields["content-length"]) if "content-length" in fields else None
        while size is None or len(self._waiting) < size:
            if not self._more():
                break
        body = self._take(len(self._waiting) if size is None else size)
        if size is not None and len(body) < size:
            return None  # cut short: not a response
        return Response(status, fields, body)

    def closed(self) -> bool:
        """Whether the server ends the connection, whatever it sends before."""
        try:
            while self._more():
                pass
            return True
        except TimeoutError:
            return False


def ask(address: tuple, data: bytes, patience: float = PATIENCE):
    """One request on a new connection; None if there was no response."""
    with RawClient(address, patience) as client:
        client.send(data)
        return client.response()


def get(address: tuple, target: str, patience: float = PATIENCE):
    return ask(address, f"GET {target} HTTP/1.1\r\nHost: a\r\n\r\n".encode(), patience)


def post(address: tuple, target: str, body: bytes, patience: float = PATIENCE):
    head = f"POST {target} HTTP/1.1\r\nHost: a\r\nContent-Length: {len(body)}\r\n\r\n"
    return ask(address, head.encode() + body, patience)
