#!/usr/bin/env python3
"""Sends bodies designed to take memory, and checks what the service keeps.

    memoryreturntest.py SERVICE TOOL [NAME...]
    memoryreturntest.py SERVICE TOOL --limited

After each one, resident memory is within 64 MiB of before, and the same process still responds. At
the peak, a body takes no more than a few times its size. `--limited`: instead, with a limit on the
address space that leaves less and less: failed allocations end a connection and nothing else.
"""

import argparse
import resource
import sys
import threading

import rawhttp
import servicerun
from servicerun import eventually

MEBIBYTE = 1024 * 1024
MARGIN = 64 * MEBIBYTE
SIZE = 60_000_000  # of the large bodies
MOST_ELEMENTS = 262144
# How many times its size a body takes: if nothing in it is used, the body itself, a copied number,
# and the operator's line; if it is a text for the tool, also the texts and arguments made from it
# (two bytes per character) and the log lines.
UNWANTED = 4
WANTED = 30
PATIENCE = 20.0


def fill(unit: bytes, before: bytes = b"", after: bytes = b"") -> bytes:
    return before + unit * ((SIZE - len(before) - len(after)) // len(unit)) + after


def listed(element: bytes, count: int, before: bytes = b"", after: bytes = b"") -> bytes:
    return before + b"[" + b",".join([element] * count) + b"]" + after


def options(element: bytes, count: int) -> bytes:
    return listed(element, count, b'{"setOptions":{"setOptions":', b"}}")


JSON_ROUTES = ("/convert", "/convertWithLocalData", "/vond")
TEXT = b'"' + b"x" * 60000 + b'"'

# Name, routes, body.
BODIES = [
    ("arrays", JSON_ROUTES, fill(b"[0],", b"[", b"0]")),
    ("arrays that stay open", JSON_ROUTES, fill(b"[[0],")),
    ("arrays in one another", JSON_ROUTES,
     fill(b"[" * 1000 + b"0" + b"]" * 1000 + b",", b"[", b"0]")),
    ("objects", JSON_ROUTES, fill(b'{"a":0},', b"[", b"0]")),
    ("the same key again", JSON_ROUTES, fill(b'"a":[[0]],', b"{", b'"b":0}')),
    ("other keys", JSON_ROUTES,
     b"{" + b",".join(b'"%d":{}' % i for i in range(SIZE // 12)) + b"}"),
    ("numbers", JSON_ROUTES, fill(b"0,", b"[", b"0]")),
    ("a long number", JSON_ROUTES, fill(b"7", b"[", b"]")),
    ("short texts", JSON_ROUTES, fill(b'"a",', b"[", b'""]')),
    ("middling texts", JSON_ROUTES, listed(TEXT, SIZE // 60000)),
    ("a long text", JSON_ROUTES, fill(b"x", b'{"fileName":"', b'"}')),
    ("a long name", ("/vond",), fill(b"x", b'["', b'"]')),
    ("a long image", ("/convertWithLocalData",), fill(b"QUJD", b'{"imgData":"', b'"}')),
    ("escapes", JSON_ROUTES, fill(b"\\u00e4", b'{"fileName":"', b'"}')),
    ("UTF-8", JSON_ROUTES, fill(b"\xc3\xa4", b'{"fileName":"', b'"}')),
    ("as many arguments as can be", ("/vond",), listed(b'"argument"', MOST_ELEMENTS)),
    ("one argument more", ("/vond",), listed(b'"argument"', MOST_ELEMENTS + 1)),
    ("as many options as can be", ("/convertWithLocalData",),
     options(b'{"key":"value"}', MOST_ELEMENTS)),
    ("one option more", ("/convertWithLocalData",),
     options(b'{"key":"value"}', MOST_ELEMENTS + 1)),
    ("middling options", ("/convertWithLocalData",),
     options(b"{" + TEXT + b":" + TEXT + b"}", SIZE // 120000)),
    ("any bytes", ("/upload/large", "/text"), fill(b"x")),
]
UNWANTED_NAMES = ("arrays", "arrays that stay open", "arrays in one another", "objects",
                  "the same key again", "other keys", "numbers", "a long number", "short texts")


class Failed(Exception):
    pass


def peak(service) -> int:
    with open(f"/proc/{service.pid}/status", encoding="ascii") as status:
        return next(int(line.split()[1]) for line in status if line.startswith("VmHWM:")) * 1024


def resident(service) -> int:
    with open(f"/proc/{service.pid}/statm", encoding="ascii") as statm:
        return int(statm.read().split()[1]) * resource.getpagesize()


def send(service, target: str, body: bytes) -> None:
    """A response, or the end of the connection, or nothing for a while: whatever comes."""
    try:
        rawhttp.post(service.address, target, body, PATIENCE)
    except (ConnectionError, TimeoutError):
        pass


def look(service, what: str, target: str, body: bytes, most: int) -> None:
    with open(f"/proc/{service.pid}/clear_refs", "w", encoding="ascii") as file:
        file.write("5")  # the peak counts from now
    before = resident(service)
    send(service, target, body)
    if not service.alive() or not service.serves():
        raise Failed(f"{what}: the service has ended: {service.errors()[-500:]}")
    eventually(lambda: resident(service) <= before + MARGIN, 5)
    kept = resident(service) - before
    times = (peak(service) - before) / len(body)
    print(f"{what:52} {len(body) / 1e6:6.1f} MB  kept {kept / MEBIBYTE:7.1f} MiB"
          f"  height {times:5.1f} times", flush=True)
    if kept > MARGIN:
        raise Failed(f"{what}: keeps {kept / MEBIBYTE:.0f} MiB")
    if times > most:
        raise Failed(f"{what}: takes {times:.1f} times its size")


def warm(service) -> None:
    def some():
        for target in (*JSON_ROUTES, "/text", "/upload/a"):
            send(service, target, b'["a"]')

    threads = [threading.Thread(target=some) for _ in range(8)]
    for thread in threads:
        thread.start()
    for thread in threads:
        thread.join()


def whole(service, names: list) -> list:
    failures = []
    for name, targets, body in BODIES:
        for target in targets:
            if names and name not in names:
                continue
            try:
                look(service, f"{name} to {target}", target, body,
                     UNWANTED if name in UNWANTED_NAMES else WANTED)
            except Failed as failure:
                failures.append(str(failure))
                if not service.alive():
                    return failures
    return failures


def limited(program: str, tool: str) -> list:
    """The bodies with many values, with less and less memory left."""
    bodies = [b"[" + (b"[" * 1000 + b"0" + b"]" * 1000 + b",") * 1350 + b"0]",
              b"[" + b"[0]," * 700000 + b"0]",
              listed(b'"a"', 200000),
              options(b'{"key":"value"}', 200000)]
    for left in range(104, 0, -8):
        with servicerun.Service(program, tool) as service:
            warm(service)
            service.limit(resource.RLIMIT_AS, service.memory() + left * MEBIBYTE)
            for body in bodies:
                for target in JSON_ROUTES:
                    try:
                        rawhttp.post(service.address, target, body, 1)
                    except (ConnectionError, TimeoutError):
                        pass
                    if not service.alive():
                        return [f"{left} MiB left, {body[:8]} to {target}: the service has ended:"
                                f" {service.errors()[-300:]}"]
    print("never ended")
    return []


def main() -> int:
    parser = argparse.ArgumentParser()
    parser.add_argument("program")
    parser.add_argument("tool")
    parser.add_argument("--limited", action="store_true", help="only the round with limits")
    parser.add_argument("names", nargs="*")
    arguments = parser.parse_args()
    if arguments.limited:
        failures = limited(arguments.program, arguments.tool)
    else:
        with servicerun.Service(arguments.program, arguments.tool) as service:
            warm(service)
            failures = whole(service, arguments.names)
    for failure in failures:
        print("FAILED:", failure)
    return 1 if failures else 0


sys.exit(main())
