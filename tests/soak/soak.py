#!/usr/bin/env python3
"""Loads a running service with a mix of clients for a given time and watches what it holds.

Clients of eleven kinds come and go: they connect for one request or for many, upload, convert,
cancel, poll, vanish in the middle, or send nonsense. Meanwhile threads, descriptors, children and
memory of the service's process are sampled. At the end everything except the memory that finished
connections keep by design must be back where it was, and there must be no trend. Short connections
follow, if asked for: what each of them leaves behind is measured on its own.
"""

import argparse
import json
import multiprocessing
import os
import random
import socket
import struct
import sys
import threading
import time
import urllib.parse

CONNECTION_KEEPS = 4096  # bytes that a finished connection may keep resident, by design
SHORT_CONNECTION_KEEPS = 2560  # one that has asked for "/" alone
CONVERSION_KEEPS = 8192  # and what the process object of a conversion adds, which stays, too
MARGIN_BYTES = 48 << 20  # heaps of the threads, caches; reached while warming up, and then constant
PATIENCE = 60  # seconds until a missing response is a failure


class Failure(Exception):
    """The service sent a wrong response."""


class Client:
    """A connection that counts itself."""

    def __init__(self, load):
        self.load = load
        self.socket = socket.create_connection(load.address, timeout=PATIENCE)
        self.buffer = b""
        load.count("connections")

    def __enter__(self):
        return self

    def __exit__(self, *_):
        self.socket.close()

    def send(self, data):
        self.socket.sendall(data)

    def ask(self, method, target, body=None, close=False):
        head = f"{method} {target} HTTP/1.1\r\nHost: soak\r\n"
        if body is not None:
            head += f"Content-Length: {len(body)}\r\n"
        if close:
            head += "Connection: close\r\n"
        self.send(head.encode() + b"\r\n" + (body or b""))
        return self.answer()

    def answer(self):
        while b"\r\n\r\n" not in self.buffer:
            self.receive()
        head, self.buffer = self.buffer.split(b"\r\n\r\n", 1)
        lines = head.decode("latin-1").split("\r\n")
        fields = dict(line.lower().split(": ", 1) for line in lines[1:])
        length = int(fields["content-length"])
        while len(self.buffer) < length:
            self.receive()
        body, self.buffer = self.buffer[:length], self.buffer[length:]
        self.load.count("answers")
        return int(lines[0].split(" ")[1]), body

    def receive(self):
        data = self.socket.recv(1 << 16)
        if not data:
            raise Failure("the connection ended before the answer did")
        self.buffer += data

    def reset(self):
        self.socket.setsockopt(socket.SOL_SOCKET, socket.SO_LINGER, struct.pack("ii", 1, 0))
        self.socket.close()


def expect(condition, what):
    if not condition:
        raise Failure(what)


class Load:
    """The clients, each kind a method; `weights` says how often each occurs."""

    weights = {
        "new_connection": 60,
        "kept_connection": 10,
        "pipelining": 6,
        "upload": 6,
        "query": 2,
        "conversion": 2,
        "cancellation": 1,
        "aborted": 10,
        "aborted_conversion": 1,
        "bad_request": 10,
        "unknown_path": 6,
    }

    def __init__(self, address, end):
        self.address = address
        self.end = end
        self.numbers = {}
        self.failures = []
        self.lock = threading.Lock()
        self.serial = 0
        self.picture = tiff(64, 64)

    def count(self, what):
        with self.lock:
            self.numbers[what] = self.numbers.get(what, 0) + 1

    def unique(self):
        with self.lock:
            self.serial += 1
            return self.serial

    def run(self):
        chance = random.Random(threading.get_ident())
        kinds, weights = zip(*self.weights.items())
        while time.monotonic() < self.end and not self.failures:
            kind = chance.choices(kinds, weights)[0]
            try:
                getattr(self, kind)(chance)
                self.count(kind)
            except (Failure, OSError, ValueError, KeyError) as reason:
                with self.lock:
                    self.failures.append(f"{kind}: {reason!r}")

    def new_connection(self, _):
        with Client(self) as client:
            expect(client.ask("GET", "/") == (200, b"vondServer: Hello world"), "greeting")

    def kept_connection(self, chance):
        with Client(self) as client:
            for _ in range(chance.randrange(2, 30)):
                text = bytes(chance.choices(b"abcdefgh ", k=chance.randrange(2000)))
                expect(client.ask("POST", "/text", text) == (200, b"vondServer:" + text), "echo")

    def pipelining(self, chance):
        with Client(self) as client:
            count = chance.randrange(2, 20)
            client.send(b"GET /progressInf/x HTTP/1.1\r\nHost: a\r\n\r\n" * count)
            for _ in range(count):
                expect(client.answer() == (200, b"/progressInf: x"), "pipelined answer")

    def upload(self, chance):
        name = f"upload-{chance.randrange(40)}-{threading.get_ident()}"
        body = chance.randbytes(chance.choice([0, 1, 1000, 100000, 2000000]))
        with Client(self) as client:
            expect(client.ask("POST", f"/upload/{name}", body) == (200, b'{"ok": true}'), "upload")
            status, fetched = client.ask("GET", f"/getConversionResult/{name}", close=True)
            expect(status == 200 and fetched == body, "what was uploaded comes back")

    def query(self, _):
        with Client(self) as client:
            status, body = client.ask("GET", "/listconfigurations")
            expect(status == 200 and b"PressCMYK" in body, "configurations")

    def convert(self, client, cancel_id="none"):
        number = self.unique()
        name = f"picture-{number % 16}-{threading.get_ident()}.tif"
        client.ask("POST", f"/upload/{name}", self.picture)
        request = {"fileName": name, "reqestID": f"job-{number}", "configuration": "PressCMYK",
                   "cancelID": cancel_id}
        return json.dumps(request).encode()

    def conversion(self, _):
        with Client(self) as client, Client(self) as poller:
            body = self.convert(client)
            poller.ask("GET", "/progressInfo/unknown")
            status, answer = client.ask("POST", "/convert", body)
            name = answer.decode()
            expect(status == 200 and name.endswith(".tif"), f"conversion answered {answer!r}")
            status, result = client.ask("GET",
                                        f"/getConversionResult/{urllib.parse.quote(name)}")
            expect(status == 200 and result[:4] == b"II*\0", "the result is a picture")
        self.count("conversions")

    def cancellation(self, _):
        cancel_id = f"cancel-{self.unique()}"
        with Client(self) as client, Client(self) as canceller:
            body = self.convert(client, cancel_id)
            expect(canceller.ask("GET", f"/cancelConversion/{cancel_id}")
                   == (200, cancel_id.encode()), "cancellation")
            status, answer = client.ask("POST", "/convert", body)
            expect(status == 200 and b"cancel" in answer, f"cancelled job answered {answer!r}")
        self.count("conversions")

    def aborted(self, chance):
        client = Client(self)
        request = b"POST /text HTTP/1.1\r\nHost: a\r\nContent-Length: 5000\r\n\r\n" + b"x" * 4000
        client.send(request[:chance.randrange(len(request))])
        client.reset()

    def aborted_conversion(self, _):
        client = Client(self)
        body = self.convert(client)
        client.send(b"POST /convert HTTP/1.1\r\nHost: a\r\nContent-Length: %d\r\n\r\n" % len(body)
                    + body)
        client.reset()
        self.count("conversions")

    def bad_request(self, chance):
        with Client(self) as client:
            client.send(chance.choice([
                b"nonsense\r\n\r\n",
                b"GET / HTTP/1.1\r\n\r\n",
                b"GET / HTTP/1.1\nHost: a\n\n",
                b"POST / HTTP/1.1\r\nHost: a\r\nContent-Length: 1\r\n"
                b"Transfer-Encoding: chunked\r\n\r\n0\r\n\r\n",
                b"POST / HTTP/1.1\r\nHost: a\r\nTransfer-Encoding: chunked\r\n\r\nx\r\n\r\n",
            ]))
            expect(client.answer()[0] == 400, "refusal")

    def unknown_path(self, _):
        with Client(self) as client:
            expect(client.ask("GET", "/nothing/here")[0] == 404, "unknown path")


def tiff(width, height):
    """An uncompressed RGB picture."""
    pixels = bytes((x * y) & 255 for y in range(height) for x in range(3 * width))
    entries = [(256, 4, 1, width), (257, 4, 1, height), (258, 3, 3, 122), (259, 3, 1, 1),
               (262, 3, 1, 2), (273, 4, 1, 128), (277, 3, 1, 3), (278, 4, 1, height),
               (279, 4, 1, len(pixels))]
    directory = struct.pack("<H", len(entries)) + b"".join(
        struct.pack("<HHII", *entry) for entry in entries) + struct.pack("<I", 0)
    return (b"II*\0" + struct.pack("<I", 8) + directory).ljust(122, b"\0") + struct.pack(
        "<HHH", 8, 8, 8) + pixels


class Sample:
    """What the process holds at one moment."""

    names = ("threads", "descriptors", "children", "resident", "heap")

    def __init__(self, pid, load, start):
        self.time = time.monotonic() - start
        self.connections = load.numbers.get("connections", 0)
        self.conversions = load.numbers.get("conversions", 0)
        with open(f"/proc/{pid}/status", encoding="ascii", errors="replace") as file:
            status = dict(line.split(":", 1) for line in file)
        self.threads = int(status["Threads"])
        self.resident = int(status["VmRSS"].split()[0]) << 10
        # Anonymous memory: heaps, and individually mapped blocks.
        self.heap = int(status.get("RssAnon", status["VmRSS"]).split()[0]) << 10
        self.descriptors = len(os.listdir(f"/proc/{pid}/fd"))
        self.children = sum(1 for other in os.listdir("/proc")
                            if other.isdigit() and parent_of(other) == pid)


def parent_of(pid):
    try:
        with open(f"/proc/{pid}/stat", encoding="ascii", errors="replace") as file:
            return int(file.read().rsplit(")", 1)[1].split()[1])
    except (OSError, IndexError):
        return 0  # ended meanwhile


def picture(samples, path):
    """Plots each value over time, one below the other."""
    width, height, gap = 900, 120, 40
    parts = []
    span = max(samples[-1].time, 1)
    for row, name in enumerate(Sample.names):
        values = [getattr(sample, name) for sample in samples]
        top = max(max(values), 1)
        base = 30 + row * (height + gap) + height
        points = " ".join(f"{60 + width * s.time / span:.1f},{base - height * v / top:.1f}"
                          for s, v in zip(samples, values))
        shown = f"{top / (1 << 20):.1f} MiB" if name in ("resident", "heap") else str(top)
        parts.append(f'<text x="60" y="{base - height - 6}">{name}, at most {shown}</text>'
                     f'<line x1="60" y1="{base}" x2="{60 + width}" y2="{base}" stroke="#999"/>'
                     f'<polyline points="{points}" fill="none" stroke="#06c"/>')
    total = 30 + len(Sample.names) * (height + gap) + 20
    parts.append(f'<text x="60" y="{total - 8}">{span / 60:.1f} minutes, '
                 f"{samples[-1].connections} connections</text>")
    with open(path, "w", encoding="utf-8") as file:
        file.write(f'<svg xmlns="http://www.w3.org/2000/svg" width="{width + 120}" '
                   f'height="{total}" font-family="sans-serif" font-size="13">'
                   f'<rect width="100%" height="100%" fill="#fff"/>{"".join(parts)}</svg>\n')


def settled(pid, load, start, at_rest):
    """A sample of the idle process, or the last one if it does not become idle in time."""
    deadline = time.monotonic() + PATIENCE
    while True:
        sample = Sample(pid, load, start)
        if at_rest(sample) or time.monotonic() > deadline:
            return sample
        time.sleep(0.2)


def connect_once(address):
    """Asks for "/" and goes with a reset, so that no side remembers the connection."""
    with socket.create_connection(address, timeout=PATIENCE) as client:
        client.setsockopt(socket.SOL_SOCKET, socket.SO_LINGER, struct.pack("ii", 1, 0))
        client.sendall(b"GET / HTTP/1.1\r\nHost: soak\r\nConnection: close\r\n\r\n")
        answer = b""
        while chunk := client.recv(4096):
            answer += chunk
    expect(answer.startswith(b"HTTP/1.1 200 ") and answer.endswith(b"Hello world"),
           f"a short connection was answered {answer[:60]!r}")


def connect_often(address, times):
    for _ in range(times):
        connect_once(address)


def short_connections(address, total):
    """Sixteen clients at a time. Throws Failure or OSError of the first that fails."""
    at_once = 16
    shares = [total // at_once + (client < total % at_once) for client in range(at_once)]
    with multiprocessing.get_context("spawn").Pool(at_once) as clients:
        clients.starmap(connect_often, [(address, share) for share in shares], chunksize=1)


def follow_with_short_connections(options, load, start, before):
    """Lists what is wrong after them."""
    try:
        short_connections(load.address, options.short_connections)
    except (Failure, OSError) as failure:
        return [f"short connections: {failure}"]
    after = settled(options.pid, load, start,
                    lambda sample: sample.threads <= before.threads
                    and sample.descriptors <= before.descriptors)
    kept = (after.resident - before.resident) / options.short_connections
    print(f"short connections    {options.short_connections}, {kept / 1024:.2f} KiB resident each")
    wrong = [f"{name}: {getattr(before, name)} before the short connections, "
             f"{getattr(after, name)} after" for name in ("threads", "descriptors", "children")
             if getattr(after, name) > getattr(before, name)]
    if kept > SHORT_CONNECTION_KEEPS:
        wrong.append(f"a short connection keeps {kept:.0f} bytes")
    return wrong


def median(values):
    return sorted(values)[len(values) // 2]


def verdict(samples, idle, after):
    """Yields what is wrong: a trend under load, or something that was not released."""
    quarter = len(samples) // 4
    early, late = samples[quarter:2 * quarter], samples[-quarter:]
    for name in ("threads", "descriptors", "children"):
        before, now = (median([getattr(s, name) for s in part]) for part in (early, late))
        if now > before * 1.5 + 8:
            yield f"{name} grow under load: median {before} early, {now} late"
        if getattr(after, name) > getattr(idle, name):
            yield f"{name} do not come back: {getattr(idle, name)} idle, {getattr(after, name)} after"
    first = samples[quarter]
    allowed = (MARGIN_BYTES + (after.connections - first.connections) * CONNECTION_KEEPS
               + (after.conversions - first.conversions) * CONVERSION_KEEPS)
    for name in ("resident", "heap"):
        grown = getattr(after, name) - getattr(first, name)
        if grown > allowed:
            yield (f"{name} memory grew by {grown >> 10} KiB after warming up, "
                   f"{allowed >> 10} KiB are meant to stay")


def main():
    parser = argparse.ArgumentParser(description=__doc__)
    parser.add_argument("--port", type=int, required=True)
    parser.add_argument("--pid", type=int, required=True, help="the service's process")
    parser.add_argument("--minutes", type=float, default=30)
    parser.add_argument("--clients", type=int, default=12)
    parser.add_argument("--short-connections", type=int, default=0, help="that follow the mix")
    parser.add_argument("--picture", required=True, help="an SVG file to write")
    options = parser.parse_args()

    start = time.monotonic()
    load = Load(("127.0.0.1", options.port), start + 60 * options.minutes)
    # What is opened once and kept (such as the table of content types) counts as part of the idle
    # process.
    chance = random.Random(1)
    for once in (load.new_connection, load.upload, load.query, load.conversion):
        once(chance)
    idle = settled(options.pid, load, start, lambda sample: sample.threads == 1)
    clients = [threading.Thread(target=load.run) for _ in range(options.clients)]
    for client in clients:
        client.start()
    samples = []
    every = min(5.0, options.minutes * 60 / 40)
    while any(client.is_alive() for client in clients):
        time.sleep(every)
        samples.append(Sample(options.pid, load, start))
    for client in clients:
        client.join()

    after = settled(options.pid, load, start,
                    lambda sample: sample.threads <= idle.threads and sample.children == 0
                    and sample.descriptors <= idle.descriptors)
    samples.append(after)
    picture(samples, options.picture)

    for kind, number in sorted(load.numbers.items()):
        print(f"{kind:20} {number}")
    for name in Sample.names:
        print(f"{name:20} idle {getattr(idle, name)}, "
              f"most {max(getattr(s, name) for s in samples)}, after {getattr(after, name)}")
    print(f"picture              {options.picture}")
    wrong = load.failures + list(verdict(samples, idle, after))
    if options.short_connections:
        wrong += follow_with_short_connections(options, load, start, after)
    for line in wrong:
        print(f"WRONG: {line}")
    return 1 if wrong else 0


if __name__ == "__main__":
    sys.exit(main())
