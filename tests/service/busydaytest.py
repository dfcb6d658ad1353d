#!/usr/bin/env python3
"""Many simultaneous clients that all give their files the same names.

    busydaytest.py SERVICE TOOL [SECONDS [CLIENTS]]

64 clients for 6 seconds by default. Every route that writes a file, and every route that runs the
tool, with different contents for each client; tools that take up to 300 ms (tests/support/
busytool.cpp). What is checked:

- every answer and every fetched byte belongs to the client that asked; of uploads, which replace
  each other, every reading is one of them, whole
- every line of the log file is whole
- afterwards no thread, descriptor, tool, progress or helper's file is left

Old files are removed meanwhile, so names become free again.
"""

import base64
import collections
import json
import os
import random
import re
import signal
import sys
import threading
import time
import urllib.parse
import zlib

import rawhttp
import servicerun

NAME = "image.jpg"
AGE = 8.0  # lifetime of a file in seconds; no client needs one for so long
PATIENCE = 100.0  # seconds for one response, on a machine that is also busy with other work
LOG_LINE = re.compile(rb"\d\d-\d\d-\d{4} \d\d:\d\d:\d\d:\d{3} \[T\]:\d+: .")


def picture(chance: random.Random, owner: str) -> bytes:
    """Identifies its owner and its end, and shows when it is mixed with another."""
    length = chance.choice([100, 3000, 70000, 400000])
    filling = (owner + " ").encode() * (length // len(owner) + 1)
    body = owner.encode() + b"\n" + filling[:length]
    return b"%08x %d\n" % (zlib.crc32(body), len(body)) + body


def is_whole(data: bytes) -> bool:
    head, newline, body = data.partition(b"\n")
    return bool(newline) and head == b"%08x %d" % (zlib.crc32(body), len(body))


class Day:
    """What all clients share."""

    def __init__(self, service: servicerun.Service, end: float):
        self.service = service
        self.end = end
        self.lock = threading.Lock()
        self.tries = collections.Counter()
        self.wrong = collections.Counter()
        self.examples = {}
        self.jobs = []  # request ids

    def judge(self, what: str, right: bool, got) -> None:
        with self.lock:
            self.tries[what] += 1
            if not right:
                self.wrong[what] += 1
                self.examples.setdefault(what, got[:200] if got is not None else None)

    def is_over(self) -> bool:
        return time.monotonic() > self.end


class Client(threading.Thread):
    """Sends one random request after the other."""

    def __init__(self, day: Day, number: int):
        super().__init__(daemon=True)
        self.day = day
        self.number = number
        self.chance = random.Random(number)
        self.round = 0
        self.broken = None

    def run(self) -> None:
        kinds = [self.inline, self.inline, self.command, self.command, self.upload, self.convert,
                 self.cancel, self.details]
        try:
            while not self.day.is_over():
                self.round += 1
                self.chance.choice(kinds)(f"{self.number}-{self.round}")
        except (OSError, ValueError) as error:
            self.broken = f"client {self.number}, round {self.round}: {error!r}"

    def ask(self, target: str, data: bytes = b"") -> bytes:
        answer = rawhttp.post(self.day.service.address, target, data, PATIENCE)
        if answer is None or answer.status != 200:
            raise OSError(f"{target} was not answered")
        return answer.body

    def fetch(self, name: str) -> bytes:
        return self.ask("/getConversionResult/" + urllib.parse.quote(name))

    def inline(self, owner: str) -> None:
        data, profile = picture(self.chance, owner), picture(self.chance, owner)
        request = {"fileName": NAME, "configuration": "X",
                   "imgData": base64.b64encode(data).decode()}
        with_profile = self.chance.random() < 0.3
        if with_profile:
            option = {"filename": NAME, "option": "--profile",
                      "data": base64.b64encode(profile).decode()}
            request["setOptions"] = {"setOptions": [{"local:": option}]}
        answer = self.ask("/convertWithLocalData", json.dumps(request).encode())
        result = self.fetch(answer.decode().rsplit("/", 1)[-1])
        self.day.judge("inline conversions",
                       result == b"\n" + data + (profile if with_profile else b""), result)

    def command(self, owner: str) -> None:
        data = picture(self.chance, owner)
        request = [{"filename": NAME, "data": base64.b64encode(data).decode()},
                   "-o", "return:" + self.chance.choice([NAME, "result.jpg"])]
        answer = json.loads(self.ask("/vond", json.dumps(request).encode()))
        names = list(answer.get("returnFilesDict", {}).values())
        self.day.judge("names in commands' answers", len(names) == 1 and answer["stdOut"]
                       == f"wrote {self.day.service.work}/{names[0]}\n", str(answer))
        result = self.fetch(names[0]) if names else b""
        self.day.judge("commands", result == data, result)

    def upload(self, owner: str) -> None:
        answer = self.ask("/upload/" + NAME, picture(self.chance, owner))
        self.day.judge("uploads", answer == b'{"ok": true}', answer)
        result = self.fetch(NAME)
        self.day.judge("readings of uploads", is_whole(result), result)

    def conversion(self, owner: str, configuration: str) -> bytes:
        with self.day.lock:
            self.day.jobs.append(owner)
        return json.dumps({"fileName": NAME, "reqestID": owner, "cancelID": owner,
                           "configuration": configuration}).encode()

    def try_to_ask(self, target: str, data: bytes = b"") -> bytes:
        """For a second thread, whose failure would otherwise go unnoticed."""
        try:
            return self.ask(target, data)
        except OSError as error:
            return repr(error).encode()

    def poll(self, owner: str) -> None:
        answer = self.try_to_ask("/progressInfo/" + owner)
        own = answer.endswith(b"% " + owner.encode() + b".txt\n")
        self.day.judge("polls", own or answer in (b"", b"Progress: 0%"), answer)

    def convert(self, owner: str) -> None:
        self.upload(owner)
        poller = threading.Thread(target=lambda: [self.poll(owner) for _ in range(3)])
        poller.start()
        answer = self.ask("/convert", self.conversion(owner, "X"))
        poller.join()
        result = self.fetch(answer.decode())
        head, _, rest = result.partition(b"\n")
        self.day.judge("conversions", head == owner.encode() + b".txt" and is_whole(rest),
                       answer + b": " + result)

    def cancel(self, owner: str) -> None:
        answers = []
        job = threading.Thread(target=lambda: answers.append(
            self.try_to_ask("/convert", self.conversion(owner, "UntilStopped"))))
        job.start()
        answer = self.ask("/cancelConversion/" + owner)
        job.join()
        self.day.judge("cancellations", answer == owner.encode()
                       and answers == [b"stopped by " + owner.encode() + b".txt\n"], str(answers))

    def details(self, owner: str) -> None:
        answer = self.ask("/configDetails/" + owner)
        self.day.judge("questions", answer == f"details of {owner}\n".encode(), answer)


def age(day: Day) -> None:
    """Removes what is old, except for the file that is uploaded repeatedly."""
    while not day.is_over():
        time.sleep(0.5)
        for path in day.service.work.iterdir():
            try:
                if path.name != NAME and path.stat().st_mtime < time.time() - AGE:
                    path.unlink()
            except FileNotFoundError:
                pass


def aftermath(day: Day, before: tuple):
    """Yields what remains but should not."""
    service = day.service
    if not servicerun.eventually(lambda: service.threads() <= before[0]):
        yield f"threads: {before[0]} before, {service.threads()} after"
    if not servicerun.eventually(lambda: service.descriptors() <= before[1]):
        yield f"descriptors: {before[1]} before, {service.descriptors()} after"
    if service.children():
        yield "tools are left"
    for path in service.work.iterdir():
        if path.name.startswith("."):
            yield f"a helper's file is left: {path.name}"
    for job in day.jobs[-1000:]:
        if rawhttp.get(service.address, "/progressInfo/" + job, PATIENCE).body != b"":
            yield f"the progress of {job} is left"
            break
    lines = (service.folder / "tmp/vondServer.log").read_bytes().split(b"\n")
    if lines.pop() != b"" or len(lines) < sum(day.tries.values()):
        yield "the log file is not whole"
    for line in lines:
        if not LOG_LINE.match(line) or len(LOG_LINE.findall(line)) != 1:
            yield f"a line of the log is not whole: {line[:200]!r}"
            break


def main() -> int:
    if len(sys.argv) not in (3, 4, 5) or sys.argv[1].startswith("-"):
        print(__doc__)
        return 2
    seconds = float(sys.argv[3]) if len(sys.argv) > 3 else 6
    clients = int(sys.argv[4]) if len(sys.argv) > 4 else 64
    signal.signal(signal.SIGTERM, lambda *_: sys.exit(1))  # not without ending the service
    service = servicerun.Service(sys.argv[1], sys.argv[2])
    service.work = service.folder / "tmp/work"
    service.work.mkdir()
    (service.folder / "config/meridane/vondServer.conf").write_text(
        f"[General]\nTempFolder={service.work}\nServerLogging=true\n"
        f"LogFolder={service.folder / 'tmp'}\n", encoding="utf-8")
    with service:
        day = Day(service, time.monotonic() + seconds)
        first = Client(day, clients)  # opens what remains open
        for number in range(1, 100):  # with many names, the service watches for removals
            (service.work / f"image_{number}.jpg").touch()
        for kind in (first.upload, first.details, first.inline):
            kind("first")
        servicerun.eventually(lambda: service.connection_threads() == 0)
        before = (service.threads(), service.descriptors())
        threads = [Client(day, number) for number in range(clients)]
        ageing = threading.Thread(target=age, args=(day,), daemon=True)
        for thread in [*threads, ageing]:
            thread.start()
        for thread in [*threads, ageing]:
            thread.join()
        problems = [thread.broken for thread in threads if thread.broken]
        problems += aftermath(day, before)
        if not service.alive():
            problems.append("the service has ended: " + service.errors()[-500:])
    for what, count in sorted(day.tries.items()):
        print(f"{what}: {count}, wrong {day.wrong[what]}"
              + (f", for one {day.examples[what]!r}" if day.wrong[what] else ""))
    for problem in problems[:10]:
        print("FAIL " + problem)
    missing = len(day.tries) < 9
    if missing:
        print("FAIL too little was going on to prove anything")
    return 1 if problems or day.wrong or missing else 0


if __name__ == "__main__":
    sys.exit(main())
