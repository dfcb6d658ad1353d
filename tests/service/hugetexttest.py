#!/usr/bin/env python3
"""Texts of a gigabyte and more: each is returned in full, or not at all and with a line for the
operator.

    hugetexttest.py SERVICE TOOL

Takes 4 GiB of memory for the largest. Exit status 77: there is less.
"""

import hashlib
import os
import socket
import sys

import servicerun

MOST = 1073741810  # characters in the longest text
LABEL = b"vondServer:"
TOO_LARGE = "error: the text is too large to be answered\n"
BODY_TOO_LARGE = "error: the body is too large to be answered as a text\n"
PIECE = 1 << 20
PATIENCE = 120.0  # seconds, between two pieces
NEEDED = 6 << 30  # bytes of memory, with this client and the file


def pieces(byte: bytes, size: int):
    whole = byte * PIECE
    for _ in range(size // PIECE):
        yield whole
    yield whole[:size % PIECE]


def exchange(service, target: str, byte: bytes, size: int) -> tuple:
    """Length and hash of the response's body; None if there is no response."""
    method = "POST" if size else "GET"
    head = f"{method} {target} HTTP/1.1\r\nHost: a\r\nConnection: close\r\n"
    with socket.create_connection(service.address, timeout=PATIENCE) as client:
        client.sendall(f"{head}Content-Length: {size}\r\n\r\n".encode())
        for piece in pieces(byte, size):
            client.sendall(piece)
        stream = client.makefile("rb")
        if stream.readline() != b"HTTP/1.1 200 OK\r\n":
            return None
        while stream.readline() not in (b"\r\n", b""):
            pass
        length, digest = 0, hashlib.sha1()
        while piece := stream.read(PIECE):
            length += len(piece)
            digest.update(piece)
        return length, digest.digest()


def expected(label: bytes, byte: bytes, size: int) -> tuple:
    digest = hashlib.sha1(label)
    for piece in pieces(byte, size):
        digest.update(piece)
    return len(label) + size, digest.digest()


EMPTY = expected(b"", b"", 0)


class Failed(Exception):
    pass


def same(what: str, got, wanted) -> None:
    if got != wanted:
        raise Failed(f"{what}: {got} instead of {wanted}")


def check(service, what: str, request: tuple, wanted: tuple, line: str) -> None:
    before = service.errors().count(line) if line else 0
    descriptors = service.descriptors()
    same(what, exchange(service, *request), wanted)
    if line:
        same(f"{what}, lines", service.errors().count(line), before + 1)
    if not servicerun.eventually(lambda: service.descriptors() == descriptors):
        raise Failed(f"{what}: a descriptor is kept")
    print("ok:", what, flush=True)


def write_log(path, size: int) -> None:
    with open(path, "wb") as file:
        file.truncate(size)  # a hole: zero bytes that take no space


def run(service) -> None:
    same("a first answer", service.serves(), True)
    for size in (700 << 20, 800_000_000, MOST - len(LABEL)):
        check(service, f"/text with {size}", ("/text", b"x", size), expected(LABEL, b"x", size), "")
    for size in (MOST - len(LABEL) + 1, 2_000_000_000):
        check(service, f"/text with {size}", ("/text", b"x", size), EMPTY, BODY_TOO_LARGE)
    check(service, "/text whose replacements do not fit", ("/text", b"\xff", 800_000_000), EMPTY,
          TOO_LARGE)

    log = service.folder / "tmp/vondServer.log"
    for size in (700 << 20, 800_000_000, MOST):
        write_log(log, size)
        check(service, f"a log of {size}", ("/getLogFile", b"", 0), expected(b"", b"\0", size), "")
    for size in (MOST + 1, 2_000_000_000, 3 << 30):
        write_log(log, size)
        check(service, f"a log of {size}", ("/getLogFile", b"", 0), EMPTY,
              f"Could not read {log}: too large\n")


def main() -> int:
    if os.sysconf("SC_PHYS_PAGES") * os.sysconf("SC_PAGE_SIZE") < NEEDED:
        print("skipped: too little memory")
        return 77
    with servicerun.Service(sys.argv[1], sys.argv[2]) as service:
        try:
            run(service)
        except (Failed, OSError) as failure:
            print("FAILED:", failure, "\n", service.errors()[-2000:])
            return 1
    return 0


sys.exit(main())
