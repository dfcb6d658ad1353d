#!/usr/bin/env python3
"""Hides a second request behind every ambiguous framing.

    smugglingtest.py SERVICE TOOL                         the built service
    smugglingtest.py --server HOST:PORT --folder FOLDER   what stands before it; FOLDER is its work
                                                          folder, or several
        --user NAME:PASSWORD --ca FILE                    a proxy that asks for a password, over TLS

The hidden request uploads a file under a unique name. None may appear, the connection must end, and
the service must keep serving. Before and after, the same request behind a proper framing is
executed, which shows that the check can fail.

A proxy may be more lenient and take what is hidden for a second request: then it treats it as one,
with its password and its limits. So each pattern is sent twice: with a hidden request that lacks
the password, and can only get through past the proxy, and with one that has it. The first must
never be executed. The second may be, if the proxy itself has answered it. After each pattern an
innocent client sends a request, and must get its own response: bytes left over on the proxy's
connections would corrupt it.
"""

import argparse
import base64
import concurrent.futures
import itertools
import pathlib
import ssl
import sys
import time

import rawhttp
import servicerun

CHUNKS = "3\r\nabc\r\n0\r\n\r\n"

# Name, and what is between the first line and the hidden request. "{hidden}" is that request and
# "{size}" its size, for lengths that would skip or swallow it.
HEAD = "POST /text HTTP/1.1\r\nHost: a\r\n"
PATTERNS = [
    # A length and a coding: parsers that use one find a different end from those that use the
    # other.
    ("CL.TE", HEAD + "Content-Length: 4\r\nTransfer-Encoding: chunked\r\n\r\n0\r\n\r\n{hidden}"),
    ("CL.TE, length over all",
     HEAD + "Content-Length: {over}\r\nTransfer-Encoding: chunked\r\n\r\n0\r\n\r\n{hidden}"),
    ("TE.CL", HEAD + "Transfer-Encoding: chunked\r\nContent-Length: 4\r\n\r\n"
              "{hexsize}\r\n{hidden}\r\n0\r\n\r\n"),
    ("TE.CL, length 0", HEAD + "Transfer-Encoding: chunked\r\nContent-Length: 0\r\n\r\n"
                        "{hexsize}\r\n{hidden}\r\n0\r\n\r\n"),
    ("CL.0: length in a folded line", HEAD + "Content-Length:\r\n 0\r\n\r\n{hidden}"),
    # Two codings: one parser may not see the second.
    *[(f"TE.TE: {name}", HEAD + "Content-Length: 5\r\n" + field + "\r\n\r\n0\r\n\r\n{hidden}")
      for name, field in (
          ("xchunked", "Transfer-Encoding: xchunked"),
          ("blank before the colon", "Transfer-Encoding : chunked"),
          ("tab before the colon", "Transfer-Encoding\t: chunked"),
          ("twice, the second unknown", "Transfer-Encoding: chunked\r\nTransfer-Encoding: x"),
          ("twice, the first unknown", "Transfer-Encoding: x\r\nTransfer-Encoding: chunked"),
          ("tab before the value", "Transfer-Encoding:\tchunked"),
          ("vertical tab before the value", "Transfer-Encoding:\x0bchunked"),
          ("blank before the name", " Transfer-Encoding: chunked"),
          ("behind a line feed", "X: x\nTransfer-Encoding: chunked"),
          ("behind a carriage return", "X: x\rTransfer-Encoding: chunked"),
          ("folded", "Transfer-Encoding:\r\n chunked"),
          ("folded, unknown first", "Transfer-Encoding: x,\r\n chunked"),
          ("quoted", "Transfer-Encoding: \"chunked\""),
          ("with a parameter", "Transfer-Encoding: chunked;a=b"),
          ("list with identity", "Transfer-Encoding: identity, chunked"),
          ("chunked, then identity", "Transfer-Encoding: chunked, identity"),
          ("zero byte behind", "Transfer-Encoding: chunked\0"),
          ("delete byte behind", "Transfer-Encoding: chunked\x7f"),
          ("byte 160 before the value", "Transfer-Encoding:\xa0chunked"),
          ("byte 255 behind", "Transfer-Encoding: chunked\xff"),
          ("zero byte in the name", "Transfer-Enc\0oding: chunked"),
          ("upper case", "TRANSFER-ENCODING: CHUNKED"),
          ("byte 128 in the name", "Transfer-Encoding\x80: chunked"))],
    # The same without a length: taken for no body, the chunks would be the next request.
    *[(f"TE alone: {name}", HEAD + field + "\r\n\r\n{hidden}")
      for name, field in (
          ("xchunked", "Transfer-Encoding: xchunked"),
          ("identity", "Transfer-Encoding: identity"),
          ("gzip", "Transfer-Encoding: gzip"),
          ("empty", "Transfer-Encoding:"),
          ("twice chunked", "Transfer-Encoding: chunked, chunked"),
          ("chunked, then gzip", "Transfer-Encoding: chunked, gzip"),
          ("blank before the colon", "Transfer-Encoding : chunked"),
          ("folded", "Transfer-Encoding:\r\n\tchunked"))],
    ("TE in HTTP/1.0", "POST /text HTTP/1.0\r\nHost: a\r\nConnection: keep-alive\r\n"
                       "Transfer-Encoding: chunked\r\n\r\n0\r\n\r\n{hidden}"),
    # Lengths.
    ("CL.CL", HEAD + "Content-Length: {size}\r\nContent-Length: 0\r\n\r\n{hidden}"),
    ("CL.CL, the other way", HEAD + "Content-Length: 0\r\nContent-Length: {size}\r\n\r\n{hidden}"),
    *[(f"CL: {name}", HEAD + f"Content-Length: {value}\r\n\r\n{{hidden}}")
      for name, value in (
          ("list of two", "0, {size}"), ("list with an empty member", "0,"), ("plus", "+0"),
          ("minus", "-0"), ("minus one", "-1"), ("blank inside", "0 0"), ("hexadecimal", "0x0"),
          ("with a point", "0.0"), ("with an exponent", "0e5"), ("empty", ""), ("word", "zero"),
          ("zero byte behind", "0\0"), ("vertical tab before", "\x0b0"), ("byte 160 before", "\xa00"),
          ("2 to the 64th", "18446744073709551616"), ("2 to the 32nd, with a sign", "+4294967296"),
          ("quoted", "\"0\""), ("semicolon behind", "0;"))],
    ("CL: blank before the colon", HEAD + "Content-Length : {size}\r\n\r\n{hidden}"),
    ("CL: blank before the name", HEAD + " Content-Length: {size}\r\n\r\n{hidden}"),
    ("CL: folded", HEAD + "X: x\r\n Content-Length: {size}\r\n\r\n{hidden}"),
    ("CL: behind a line feed", HEAD + "X: x\nContent-Length: {size}\r\n\r\n{hidden}"),
    ("CL: behind a carriage return", HEAD + "X: x\rContent-Length: {size}\r\n\r\n{hidden}"),
    ("CL: no colon", HEAD + "Content-Length {size}\r\n\r\n{hidden}"),
    # The end of the head.
    ("head ended by line feeds", HEAD + "X: x\n\n{hidden}"),
    ("head ended by a line feed after a proper line", HEAD + "\n{hidden}"),
    ("head ended by carriage returns", HEAD + "X: x\r\r{hidden}"),
    ("head ended by CR LF CR", HEAD + "X: x\r\n\r{hidden}"),
    ("head ended by a line of a blank", HEAD + "X: x\r\n \r\n{hidden}"),
    ("zero byte before the end", HEAD + "X: x\0\r\n\r\n{hidden}"),
    ("zero byte in the request line", "POST /text\0 HTTP/1.1\r\nHost: a\r\n\r\n{hidden}"),
    ("line feed in the request line", "POST /text\n HTTP/1.1\r\nHost: a\r\n\r\n{hidden}"),
    ("carriage return in the request line", "POST /text\r HTTP/1.1\r\nHost: a\r\n\r\n{hidden}"),
    ("request line without a version", "POST /text\r\n\r\n{hidden}"),
    ("request line with a version cut short", "GET / HTT\r\n\r\n{hidden}"),
    ("two Hosts", HEAD + "Host: b\r\n\r\n{hidden}"),
    ("no Host", "POST /text HTTP/1.1\r\n\r\n{hidden}"),
    ("Host with a blank", "POST /text HTTP/1.1\r\nHost: a b\r\n\r\n{hidden}"),
    # Chunks.
    *[(f"chunks: {name}", HEAD + "Transfer-Encoding: chunked\r\n\r\n" + body)
      for name, body in (
          ("size overflows to 0", "10000000000000000\r\n{hidden}"),
          ("size overflows to 3", "10000000000000003\r\nabc\r\n0\r\n\r\n{hidden}"),
          ("size of 32 digits", "0000000000000001" * 2 + "\r\n{hidden}"),
          ("size is minus 1", "-1\r\n{hidden}"),
          ("size with a plus", "+0\r\n\r\n{hidden}"),
          ("size with 0x", "0x0\r\n\r\n{hidden}"),
          ("blank before the size", " 0\r\n\r\n{hidden}"),
          ("no size", "\r\n\r\n{hidden}"),
          ("no size, an extension", ";a\r\n\r\n{hidden}"),
          ("size ended by a line feed", "0\n\r\n{hidden}"),
          ("size ended by a carriage return", "0\r\r\n{hidden}"),
          ("last chunk ended by line feeds", "0\n\n{hidden}"),
          ("line feed in an extension", "0;a\nb\r\n\r\n{hidden}"),
          ("carriage return in an extension", "0;a\rb\r\n\r\n{hidden}"),
          ("zero byte in an extension", "0;a\0b\r\n\r\n{hidden}"),
          ("extension hides a chunk", "3;\n0\r\n\r\nabc\r\n0\r\n\r\n{hidden}"),
          ("extension leaves a quote open", "3;a=\"\r\nabc\r\n0\r\n\r\n{hidden}"),
          ("last extension leaves a quote open", "0;a=\"\r\n\r\n{hidden}"),
          ("chunk behind the last one", "0\r\n3\r\nabc\r\n\r\n{hidden}"),
          ("data not ended", "3\r\nabc0\r\n\r\n{hidden}"),
          ("data ended by a line feed", "3\r\nabc\n0\r\n\r\n{hidden}"),
          ("data ended by a carriage return", "3\r\nabc\r0\r\n\r\n{hidden}"),
          ("data ended by two other bytes", "3\r\nabcXX0\r\n\r\n{hidden}"),
          ("data longer than told", "3\r\nabcd\r\n0\r\n\r\n{hidden}"),
          ("trailer ended by line feeds", "0\r\nX: x\n\n{hidden}"),
          ("trailer with a folded line", "0\r\nX: x\r\n y\r\n\r\n{hidden}"),
          ("trailer with a coding", "0\r\nTransfer-Encoding: chunked\r\n\r\n{hidden}"),
          ("trailer with a length", "0\r\nContent-Length: {size}\r\n\r\n{hidden}"))],
    # Rejected for other reasons, but rejected: what follows must not be a request either.
    ("unknown coding before chunked",
     HEAD + "Transfer-Encoding: gzip, chunked\r\n\r\n0\r\n\r\n{hidden}"),
    ("unknown expectation", HEAD + "Expect: tea\r\nContent-Length: 0\r\n\r\n{hidden}"),
    ("unknown version", "POST /text HTTP/1.2\r\nHost: a\r\n\r\n{hidden}"),
    ("unknown method", "BREW /text HTTP/1.1\r\nHost: a\r\n\r\n{hidden}"),
    ("asked to close", HEAD + "Connection: close\r\nContent-Length: 0\r\n\r\n{hidden}"),
    ("HTTP/1.0", "POST /text HTTP/1.0\r\nContent-Length: 0\r\n\r\n{hidden}"),
]

# Proper framings that only look odd: the bytes behind "{hidden}" are body, not a request, and the
# connection goes on.
SWALLOWED = [
    ("request inside a body", HEAD + "Content-Length: {size}\r\n\r\n{hidden}"),
    ("request inside a chunk",
     HEAD + "Transfer-Encoding: chunked\r\n\r\n{hexsize}\r\n{hidden}\r\n0\r\n\r\n"),
    ("request inside an extension",
     HEAD + "Transfer-Encoding: chunked\r\n\r\n0;a=\"POST /upload/x HTTP/1.1\"\r\n\r\n"),
    ("request behind a GET with a length",
     "GET /text HTTP/1.1\r\nHost: a\r\nContent-Length: {size}\r\n\r\n{hidden}"),
    ("request behind a length that Connection names",
     HEAD + "Connection: Content-Length\r\nContent-Length: {size}\r\n\r\n{hidden}"),
    ("request inside a chunk of OPTIONS",
     "OPTIONS /text HTTP/1.1\r\nHost: a\r\nTransfer-Encoding: chunked\r\n\r\n"
     "{hexsize}\r\n{hidden}\r\n0\r\n\r\n"),
]


def upload(name: str) -> str:
    return (f"POST /upload/{name} HTTP/1.1\r\nHost: a\r\nContent-Length: 6\r\n"
            "Connection: close\r\n\r\nhidden")


def filled(pattern: str, hidden: str) -> bytes:
    for key, value in (("size", str(len(hidden))), ("hexsize", f"{len(hidden):x}"),
                       ("over", str(len(hidden) + 5)), ("hidden", hidden)):
        pattern = pattern.replace("{" + key + "}", value)
    return pattern.encode("latin-1")


def pieces(data: bytes) -> list:
    """Whole, and split where a parser might lose its place: inside and right after the head."""
    cut = data.find(b"\r\n\r\n") + 4
    return [[data], [data[:cut - 2], data[cut - 2:]], [data[:cut], data[cut:]]]


class Run:
    def __init__(self, address: tuple, folder: pathlib.Path):
        self.address = address
        self.folder = folder
        self.numbers = itertools.count(1)
        self.broken = 0

    def fail(self, text: str) -> None:
        self.broken += 1
        print("FAIL " + text)

    def next_name(self) -> str:
        return f"smuggled{next(self.numbers)}"

    def proof_could_fail(self) -> None:
        name = self.next_name()
        with rawhttp.RawClient(self.address) as client:
            client.send(filled(HEAD + "Content-Length: 0\r\n\r\n{hidden}", upload(name)))
            answers = [client.response(), client.response()]
        if None in answers or not (self.folder / name).exists():
            self.fail("an upload in plain sight made no file: the other checks prove nothing")

    def refused(self, name: str, pattern: str) -> None:
        file = self.next_name()
        for parts in pieces(filled(pattern, upload(file))):
            with rawhttp.RawClient(self.address) as client:
                for part in parts:
                    client.send(part)
                if not client.closed():
                    self.fail(f"{name}: the connection is not ended")
            if (self.folder / file).exists():
                self.fail(f"{name}: the hidden request was executed")
                return

    def swallowed(self, name: str, pattern: str) -> None:
        file = self.next_name()
        for parts in pieces(filled(pattern, upload(file))):
            with rawhttp.RawClient(self.address) as client:
                for part in parts:
                    client.send(part)
                first = client.response()
                client.send(b"GET / HTTP/1.1\r\nHost: a\r\n\r\n")
                second = client.response()
                if not first or not second or (first.status, second.status) != (200, 200):
                    self.fail(f"{name}: a proper request was not answered")
            if (self.folder / file).exists():
                self.fail(f"{name}: body bytes were executed")

    def all(self) -> int:
        self.proof_could_fail()
        for name, pattern in PATTERNS:
            try:
                self.refused(name, pattern)
            except OSError as error:
                self.fail(f"{name}: {error}")
        for name, pattern in SWALLOWED:
            self.swallowed(name, pattern)
        self.proof_could_fail()
        print(f"{len(PATTERNS)} patterns refused, {len(SWALLOWED)} swallowed, each in 3 cuts: "
              f"{self.broken} failed")
        return self.broken


class ProxyRun(Run):
    """Through a proxy with TLS and a password. Its connections may stay open."""

    QUIET = 0.4  # seconds without a byte, after which a pattern counts as answered
    CLIENTS = 4  # at a time
    PACE = 0.15  # seconds before each connection of a client, for the proxy's limit of requests

    def __init__(self, address: tuple, folders: list, user: str, ca: str):
        super().__init__(address, folders[0])
        self.folders = folders
        self.field = "Authorization: Basic " + base64.b64encode(user.encode()).decode() + "\r\n"
        self.tls = ssl.create_default_context(cafile=ca)
        self.tls.check_hostname = False
        self.passed_on = 0  # patterns whose outer request the service answered
        self.visible = []  # patterns that are two requests for the proxy, too
        self.hidden = []  # pattern and file of what was not executed

    def client(self) -> rawhttp.RawClient:
        time.sleep(self.PACE)
        client = rawhttp.RawClient(self.address)
        client.socket = self.tls.wrap_socket(client.socket)
        return client

    def made(self, file: str) -> bool:
        return any((folder / file).exists() for folder in self.folders)

    def bytes_for(self, pattern: str, file: str, with_password: bool) -> bytes:
        """The outer request has the password and a path that the proxy passes on."""
        hidden = upload(file)
        if with_password:
            hidden = hidden.replace("Host: a\r\n", "Host: a\r\n" + self.field)
        pattern = pattern.replace("/text", "/vondServerVersion")
        pattern = pattern.replace("Host: a\r\n", "Host: a\r\n" + self.field)
        return filled(pattern, hidden)

    def statuses(self, parts: list) -> list:
        """The responses to what is sent, until the end or until nothing more arrives."""
        answered = []
        with self.client() as client:
            for part in parts:
                client.send(part)
            client.socket.settimeout(self.QUIET)
            try:
                answer = client.response()
                while answer:
                    answered.append(answer.status)
                    answer = client.response()
            except OSError:  # silent, or closed without TLS close_notify
                pass
        if 429 in answered:
            self.fail("the proxy's limit was met instead of its parser")
        return answered

    def proof_could_fail(self) -> None:
        """Not hidden, the upload works with the password, and not without it."""
        for with_password, status in ((True, 200), (False, 401)):
            file = self.next_name()
            answered = self.statuses([self.bytes_for(HEAD + "Content-Length: 0\r\n\r\n{hidden}",
                                                     file, with_password)])
            if answered != [200, status] or self.made(file) != with_password:
                self.fail(f"in plain sight: {answered}; the other checks prove nothing")

    def pattern(self, name: str, pattern: str) -> None:
        for with_password in (False, True):
            file = self.next_name()
            answers = []
            for parts in pieces(self.bytes_for(pattern, file, with_password)):
                answers.append(self.statuses(parts))
                if self.made(file):
                    break
            self.passed_on += answers[-1][:1] == [200] and not with_password
            if not self.made(file):
                self.hidden.append((name, file))
            elif with_password and len(answers[-1]) > 1:
                self.visible.append(name)
            else:
                self.fail(f"{name}: the hidden request was executed: {answers}")
            self.innocent(name)

    def innocent(self, name: str) -> None:
        with self.client() as client:
            client.send(f"GET /vondServerVersion HTTP/1.1\r\nHost: a\r\n{self.field}\r\n".encode())
            answer = client.response()
        if not answer or not answer.body.startswith(b"vondServer:"):
            self.fail(f"{name}: the next client got another answer")

    def all(self) -> int:
        self.proof_could_fail()
        patterns = PATTERNS + SWALLOWED
        with concurrent.futures.ThreadPoolExecutor(self.CLIENTS) as clients:
            for done in [clients.submit(self.pattern, *pattern) for pattern in patterns]:
                done.result()
        self.proof_could_fail()
        for name, file in self.hidden:  # all connections are closed: nothing more can arrive
            if self.made(file):
                self.fail(f"{name}: the hidden request was executed afterwards")
        print(f"{len(patterns)} patterns in 3 cuts, with and without the password hidden: "
              f"{self.passed_on} passed on, the others refused; {len(self.visible)} are two requests "
              f"for the proxy, too ({'; '.join(self.visible)}); {self.broken} failed")
        return self.broken


def main() -> int:
    parser = argparse.ArgumentParser(description=__doc__,
                                     formatter_class=argparse.RawDescriptionHelpFormatter)
    parser.add_argument("service", nargs="?")
    parser.add_argument("tool", nargs="?")
    parser.add_argument("--server")
    parser.add_argument("--folder", type=pathlib.Path, nargs="+")
    parser.add_argument("--user")
    parser.add_argument("--ca")
    options = parser.parse_args()
    if options.server:
        host, port = options.server.rsplit(":", 1)
        address = (host, int(port))
        run = ProxyRun(address, options.folder, options.user, options.ca) if options.user \
            else Run(address, options.folder[0])
        return 1 if run.all() else 0
    with servicerun.Service(options.service, options.tool) as service:
        broken = Run(service.address, service.work).all()
        left = [path.name for path in service.work.iterdir()
                if path.read_bytes() != b"hidden"]
        if left or not service.alive():
            broken += 1
            print(f"FAIL strange files {left}, or the service ended: {service.errors()}")
    return 1 if broken else 0


if __name__ == "__main__":
    sys.exit(main())
