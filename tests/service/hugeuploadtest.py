#!/usr/bin/env python3
"""Uploads the largest possible body, and checks the file and what it took.

    hugeuploadtest.py SERVICE TOOL

Exits with 77 if memory or disk space is too small.
"""

import os
import pathlib
import re
import shutil
import sys
import time

import rawhttp
import servicerun

LARGEST = 2147483622  # bytes; the most that the service takes
PIECE = bytes(range(256)) * 4095 + b"another length, so that no two megabytes are the same"
PATIENCE = 600.0  # seconds
GIBIBYTE = 1 << 30


def pieces():
    left = LARGEST
    while left > 0:
        yield PIECE[:left]
        left -= len(PIECE)


def peak_mebibytes(pid: int) -> int:
    status = pathlib.Path(f"/proc/{pid}/status").read_text(encoding="ascii")
    return int(re.search(r"VmHWM:\s+(\d+)", status)[1]) >> 10


def is_whole(path: pathlib.Path) -> bool:
    with open(path, "rb") as file:
        return all(file.read(len(piece)) == piece for piece in pieces()) and not file.read(1)


def main() -> int:
    if len(sys.argv) != 3:
        print(__doc__)
        return 2
    with servicerun.Service(sys.argv[1], sys.argv[2]) as service:
        memory = os.sysconf("SC_AVPHYS_PAGES") * os.sysconf("SC_PAGE_SIZE")
        if memory < 4 * GIBIBYTE or shutil.disk_usage(service.work).free < 4 * GIBIBYTE:
            print("skipped: too little memory or disk")
            return 77
        start = time.monotonic()
        with rawhttp.RawClient(service.address, PATIENCE) as client:
            client.send(f"POST /upload/large HTTP/1.1\r\nHost: a\r\n"
                        f"Content-Length: {LARGEST}\r\n\r\n".encode())
            for piece in pieces():
                client.send(piece)
            answer = client.response()
        seconds = time.monotonic() - start
        whole = is_whole(service.work / "large")
        peak = peak_mebibytes(service.pid)
        print(f"{LARGEST} bytes in {seconds:.1f} s, the service's peak {peak} MiB, "
              f"the file is {'whole' if whole else 'NOT whole'}")
        once = LARGEST / (1 << 20)
        return 0 if whole and answer and answer.body == b'{"ok": true}' \
            and peak < 1.2 * once else 1


if __name__ == "__main__":
    sys.exit(main())
