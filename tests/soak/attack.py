#!/usr/bin/env python3
"""Floods the built service with random members of families of hostile requests.

    attack.py SERVICE TOOL [--seconds N] [FAMILY...]       all families, or those that are named
    attack.py SERVICE TOOL --count N FAMILY                so many connections of one family

Meanwhile a bystander sends ordinary requests and must be served. Afterwards the process must still
be running, with threads, descriptors, children and memory as after as many ordinary connections.
"""

import argparse
import os
import pathlib
import random
import resource
import shlex
import sys
import threading
import time

sys.path.insert(0, str(pathlib.Path(__file__).resolve().parent.parent / "service"))
import rawhttp  # noqa: E402
import servicerun  # noqa: E402

MEBIBYTE = 1 << 20
CONNECTION_KEEPS = 4096  # bytes that a finished connection may keep resident, by design
MARGIN = 64 * MEBIBYTE  # heaps of the threads, and what freed memory may stay after any request
PATIENCE = 60.0  # seconds until a missing response is a failure
ATTACKERS = 8
HEAD_BYTES = 60000  # nearly the largest head
HEAD_SECONDS = 0.01  # processor time for such a head; linear time takes a tenth of it
SLOW_SECONDS = 75  # a chunk line has 60


class Failure(Exception):
    """The service did what it must not."""


def expect(condition, what):
    if not condition:
        raise Failure(what)


class Target:
    """A service, and what it held when it was idle."""

    def __init__(self, options, listener=False, **more):
        self.service = servicerun.Service(options.service, options.tool, **more)
        self.listener = None
        if listener:
            os.mkfifo(self.service.folder / "error")  # where standard error goes
            self.listener = os.open(self.service.folder / "error", os.O_RDONLY | os.O_NONBLOCK)
        self.service.start()
        self.connections = 0
        self.lock = threading.Lock()

    def warm(self):
        """What is opened once and kept counts as part of the idle process."""
        for _ in range(50):
            rawhttp.post(self.service.address, "/upload/warm", b"abc")
            rawhttp.get(self.service.address, "/getConversionResult/warm")
            rawhttp.get(self.service.address, "/nowhere")
        expect(servicerun.eventually(lambda: self.service.threads() == 1), "no rest before it began")
        self.before = self.held()

    def listen_no_more(self):
        os.close(self.listener)

    def held(self):
        return (self.service.threads(), self.service.descriptors(), len(self.service.children()),
                resident(self.service.pid))

    def client(self):
        with self.lock:
            self.connections += 1
        return rawhttp.RawClient(self.service.address, PATIENCE)

    def verdict(self, name):
        """Yields what is wrong with it now."""
        if not self.service.alive():
            said = self.service.errors()[-300:] if self.listener is None else ""
            yield f"{name} has ended: {said}"
            return
        servicerun.eventually(lambda: self.held()[:3] == self.before[:3], PATIENCE)
        after = self.held()
        for what, was, now in zip(("threads", "descriptors", "children"), self.before, after):
            if now > was:
                yield f"{name}: {was} {what} before, {now} after"
        allowed = MARGIN + self.connections * CONNECTION_KEEPS
        if after[3] - self.before[3] > allowed:
            yield (f"{name}: {(after[3] - self.before[3]) >> 20} MiB more are held after "
                   f"{self.connections} connections, {allowed >> 20} may be")
        if not self.service.serves():
            yield f"{name} does not serve any more"
        print(f"{name}: {self.connections} connections; threads, descriptors, children, resident "
              f"bytes {self.before} before, {after} after")


def resident(pid):
    with open(f"/proc/{pid}/status", encoding="ascii", errors="replace") as file:
        for line in file:
            if line.startswith("VmRSS:"):
                return int(line.split()[1]) << 10
    return 0


def cut(chance, data):
    """The bytes in one to four pieces."""
    places = sorted(chance.randrange(len(data) + 1) for _ in range(chance.randrange(4)))
    return [data[a:b] for a, b in zip([0, *places], [*places, len(data)]) if a < b]


def head(method, target, *fields):
    return "\r\n".join([f"{method} {target} HTTP/1.1", "Host: a", *fields, "", ""]).encode()


class Attack:
    """The families; each method is one member of the family, on connections of its own."""

    def __init__(self, options):
        self.plain = Target(options)
        # Nobody reads its standard error, and it may not write files larger than a mebibyte.
        self.deaf = Target(options, listener=True, limits=[(resource.RLIMIT_FSIZE, MEBIBYTE)])
        self.hungry = Target(options)
        self.targets = {"the service": self.plain, "the service nobody listens to": self.deaf,
                        "the service without memory": self.hungry}
        for target in self.targets.values():
            target.warm()
        with open(self.hungry.service.work / "large", "wb") as file:
            file.truncate(400 * MEBIBYTE)
        self.hungry.service.limit(resource.RLIMIT_AS,
                                  self.hungry.service.memory() + 200 * MEBIBYTE)

    def families(self):
        return sorted(name[len("attack_"):] for name in dir(self) if name.startswith("attack_"))

    def send(self, client, chance, data):
        for piece in cut(chance, data):
            client.send(piece)

    def answered(self, client, *statuses):
        answer = client.response()
        expect(answer is not None and answer.status in statuses,
               f"expected {statuses}, got {answer and answer.status}")
        return answer

    # Row by row.

    def attack_ordinary(self, _):
        """No attack: what others are compared with."""
        with self.plain.client() as client:
            client.send(head("GET", "/", "Connection: close"))
            self.answered(client, 200)

    def attack_lengths(self, chance):
        """Lengths and chunk sizes that no array can hold, however they are split."""
        value = chance.choice([2147483623, 1 << 31, (1 << 32) - 1, 1 << 32, 1 << 63,
                               chance.randrange(2147483623, 1 << 64)])
        data = chance.choice([
            head("POST", "/text", f"Content-Length: {value}"),
            head("POST", "/text", "Transfer-Encoding: chunked") + f"{value:x}\r\n".encode(),
            head("POST", "/text", "Transfer-Encoding: chunked")
            + f"3\r\nabc\r\n{value:X}\r\n".encode(),
        ])
        with self.plain.client() as client:
            if chance.random() < 0.5:
                client.send(head("GET", "/"))
                self.answered(client, 200)
            self.send(client, chance, data)
            self.answered(client, 413)
            expect(client.closed(), "the connection stays open after 413")

    def attack_hunger(self, chance):
        """Responses for which there is no memory, on the first request and on a later one."""
        with self.hungry.client() as client:
            if chance.random() < 0.5:
                client.send(head("GET", "/"))
                self.answered(client, 200)
            client.send(head("GET", "/getConversionResult/large"))
            expect(client.response() is None, "an answer for which there was no memory")

    def attack_heads(self, chance):
        """Heads that are expensive to normalise."""
        size = chance.randrange(100, HEAD_BYTES)
        with self.plain.client() as client:
            self.send(client, chance, expensive_head(chance, size))
            answer = client.response()
            expect(answer is not None, "no answer to an expensive head")

    def attack_containers(self, chance):
        """JSON with very many containers."""
        unit = chance.choice([b"[[0],", b"[],", b"{},", b"[", b'{"a":', b"[[[[[[0]]]]]],"])
        count = chance.randrange(1, 2 * MEBIBYTE) // len(unit)
        body = b"[" + unit * count + b"0" + chance.choice([b"]", b"]" * min(count, 5000), b""])
        route = chance.choice(["/convert", "/convertWithLocalData", "/vond"])
        with self.plain.client() as client:
            client.send(head("POST", route, f"Content-Length: {len(body)}") + body)
            client.response()  # or the connection ends: out of memory

    def attack_flood(self, _):
        """A tool that prints endlessly."""
        body = b'["--flood"]'
        with self.plain.client() as client:
            client.send(head("POST", "/vond", f"Content-Length: {len(body)}") + body)
            self.answered(client, 200)

    def attack_deaf(self, chance):
        """Messages that nobody reads, and files beyond the size limit."""
        with self.deaf.client() as client:
            if chance.random() < 0.8:
                client.send(head("GET", "/getConversionResult/none"))  # is reported on standard error
            else:
                body = bytes(2 * MEBIBYTE)
                client.send(head("POST", "/upload/large", f"Content-Length: {len(body)}") + body)
            self.answered(client, 200)

    def attack_late(self, chance):
        """Bytes after the last response, while most of it has not been read."""
        body = b"x" * chance.randrange(1, 3 * MEBIBYTE)
        with self.plain.client() as client:
            client.send(head("POST", "/text", "Connection: close",
                             f"Content-Length: {len(body)}") + body)
            time.sleep(0.05 * chance.random())
            client.send(b"late" * chance.randrange(1, 100))
            answer = self.answered(client, 200)
            expect(len(answer.body) == len(body) + len("vondServer:"), "an answer was taken back")

    def attack_slow(self, chance):
        """Chunk framing a byte at a time; `slow_ones` checks that it ends in time."""
        with self.plain.client() as client:
            client.send(head("POST", "/text", "Transfer-Encoding: chunked"))
            for byte in chance.choice([b"1;abc", b"0\r\nX: y\r\nZ", b"1\r\nx\r\n2;a=\"b"]):
                client.send(bytes([byte]))
            if chance.random() < 0.5:
                client.reset()

    def slow_ones(self, end):
        """Dripping clients, one of each kind, that must get 408 if there is time."""
        starts = [(b"1;", b"a"), (b"1\r\nx\r\n1;", b"a"), (b"0\r\n", b"X: y\r\n")]
        clients = []
        began = time.monotonic()
        for start, drop in starts:
            client = self.plain.client()
            client.send(head("POST", "/text", "Transfer-Encoding: chunked") + start)
            clients.append((client, drop))
        while time.monotonic() < min(end, began + SLOW_SECONDS):
            for client, drop in clients:
                client.send(drop)
            time.sleep(0.5)
        for client, _ in clients:
            try:
                if time.monotonic() - began >= SLOW_SECONDS:
                    self.answered(client, 408)
            finally:
                client.socket.close()

    def large_log(self):
        """Once, because it is large: a log of 700 MB is returned or rejected, and nothing remains."""
        with open(self.plain.service.folder / "tmp" / "vondServer.log", "wb") as file:
            file.truncate(700 * 1000 * 1000)
        with self.plain.client() as client:
            client.send(head("GET", "/getLogFile"))
            self.answered(client, 200)

    def head_cost(self):
        """The most processor time of a large head, on an otherwise idle service."""
        chance = random.Random(5)
        worst = 0.0
        for _ in range(20):
            data = expensive_head(chance, HEAD_BYTES)
            before = self.plain.service.processor_seconds()
            for _ in range(10):
                with self.plain.client() as client:
                    client.send(data)
                    client.response()
            worst = max(worst, (self.plain.service.processor_seconds() - before) / 10)
        print(f"a head of {HEAD_BYTES} bytes costs {worst * 1000:.1f} ms at the most")
        expect(worst < HEAD_SECONDS, f"a head costs {worst:.3f} s of the processor")


def expensive_head(chance, size):
    accents = ("%CC%80" * (size // 12)) + ("%CC%A7" * (size // 12))
    kind = chance.randrange(6)
    if kind == 0:
        return f"GET / HTTP/1.1\r\nHost: a{accents}\r\n\r\n".encode()
    if kind == 1:
        return head("GET", f"http://a{accents}/")
    if kind == 2:
        piece = chance.choice(["a", "../", "%41", "%", "%2F", "%CC%80%CC%A7", "%ED%A0%80", "//"])
        return head("GET", chance.choice(["/", "/?", "/progressInf/"])
                    + piece * (size // len(piece)))
    if kind == 3:
        return head("GET", "/", *["a: b"] * (size // 6))
    if kind == 4:
        return head("GET", "/", "Connection: " + "x," * (size // 2) + "close")
    return head("GET", "/", "Transfer-Encoding: " + "gzip," * (size // 5) + "chunked")


class Run:
    """Attackers and a bystander, for a time or a number of attacks."""

    def __init__(self, attack, families, seconds, count):
        self.attack = attack
        self.families = families
        self.end = time.monotonic() + seconds if not count else float("inf")
        self.left = count or float("inf")
        self.numbers = dict.fromkeys(families, 0)
        self.failures = []
        self.lock = threading.Lock()
        self.slowest = 0.0
        self.answers = 0
        self.over = threading.Event()

    def next_family(self, chance):
        with self.lock:
            if self.left <= 0 or time.monotonic() > self.end or len(self.failures) > 20:
                return None
            self.left -= 1
        # The large ones rarely: they would leave no time for the others.
        weights = [{"containers": 2, "flood": 1, "late": 5}.get(name, 20) for name in self.families]
        return chance.choices(self.families, weights)[0]

    def guarded(self, name, work, *arguments):
        try:
            work(*arguments)
            return True
        except (Failure, OSError, ValueError, KeyError) as reason:
            with self.lock:
                self.failures.append(f"{name}: {reason!r}")
            return False

    def attacker(self, seed):
        chance = random.Random(seed)
        while (name := self.next_family(chance)) is not None:
            self.guarded(name, getattr(self.attack, "attack_" + name), chance)
            with self.lock:
                self.numbers[name] += 1

    def bystander(self):
        target = self.attack.plain
        while not self.over.is_set():
            start = time.monotonic()

            def ask():
                with target.client() as client:
                    client.send(head("GET", "/"))
                    expect(client.response().body == b"vondServer: Hello world", "greeting")
                    client.send(head("POST", "/upload/mine", "Content-Length: 3") + b"abc")
                    expect(client.response().body == b'{"ok": true}', "upload")
                    client.send(head("GET", "/getConversionResult/mine", "Connection: close"))
                    expect(client.response().body == b"abc", "what was uploaded")

            if self.guarded("bystander", ask):
                self.answers += 3
            self.slowest = max(self.slowest, time.monotonic() - start)
            self.over.wait(0.05)

    def run(self, seed, slow):
        threads = [threading.Thread(target=self.attacker, args=(seed + i,))
                   for i in range(ATTACKERS)]
        if slow:
            threads.append(threading.Thread(
                target=self.guarded, args=("slow", self.attack.slow_ones, self.end)))
        bystander = threading.Thread(target=self.bystander)
        for thread in [bystander, *threads]:
            thread.start()
        for thread in threads:
            thread.join()
        self.over.set()
        bystander.join()
        for name, number in self.numbers.items():
            print(f"{name:12} {number}")
        print(f"bystander    {self.answers} answers, slowest round {self.slowest:.2f} s")


def flooding_tool(folder, tool):
    """The tool, except for one argument with which it prints endlessly."""
    path = pathlib.Path(folder) / "tool"
    path.write_text(f"#!/bin/sh\n[ \"$1\" != --flood ] || exec yes\nexec {shlex.quote(tool)} \"$@\"\n",
                    encoding="utf-8")
    path.chmod(0o755)
    return str(path)


def main():
    parser = argparse.ArgumentParser(description=__doc__,
                                     formatter_class=argparse.RawDescriptionHelpFormatter)
    parser.add_argument("service")
    parser.add_argument("tool")
    parser.add_argument("--seconds", type=float, default=120)
    parser.add_argument("--count", type=int)
    parser.add_argument("--seed", type=int, default=int(time.time()))
    parser.add_argument("--without", action="append", default=[], help="a family to leave out")
    parser.add_argument("families", nargs="*")
    options = parser.parse_intermixed_args()
    folder = pathlib.Path(os.environ["TMPDIR"])
    options.tool = flooding_tool(folder, os.path.abspath(options.tool))
    print(f"seed {options.seed}")

    attack = Attack(options)
    known = attack.families()
    unknown = [name for name in options.families + options.without
               if name not in known + ["log", "cost"]]
    if unknown:
        parser.error(f"no family {unknown[0]}; there are {' '.join(known)}")
    families = [name for name in options.families or known if name not in options.without]
    whole = not options.families and not options.count
    run = Run(attack, families, options.seconds, options.count)
    try:
        if "deaf" in families:
            attack.deaf.listen_no_more()
        run.run(options.seed, slow=whole)
        if whole and "cost" not in options.without:
            run.guarded("heads", attack.head_cost)
        if whole and "log" not in options.without:
            run.guarded("log", attack.large_log)
        wrong = run.failures + [line for name, target in attack.targets.items()
                                for line in target.verdict(name)]
    finally:
        for target in attack.targets.values():
            target.service.__exit__()
    for line in wrong:
        print(f"WRONG: {line}")
    return 1 if wrong else 0


if __name__ == "__main__":
    sys.exit(main())
