#!/usr/bin/env python3
"""Counts what goes wrong when many clients use one name at the same time.

    samenames.py SERVICE TOOL [--tries N] [--rounds N] [--readings N] [--clients N ...]
                              [--slow-tries N] [--only PART ...]

TOOL is tests/support/busytool.cpp. The parts, each with a service of its own:

    inline    "/convertWithLocalData", one file name, contents of each try's own; N tries for each
              number of clients. Wrong: what is fetched is not the conversion of what was sent.
    command   "/vond", one "return:" name; N tries of 16 clients, and --slow-tries with a tool that
              takes 50 ms. Wrong: what is fetched is another's, or two runs have one name at once.
    uploads   four clients upload 8 MB each under one name at once, N rounds. Wrong: what is there
              afterwards is not exactly one of the four.
    readings  N times, by a tool and by "/getConversionResult", while two clients replace the file.
              Wrong: a reading is not a whole upload.

Clients are processes. They remove what they have fetched, so that names become free all the time.
"""

import argparse
import base64
import collections
import contextlib
import json
import multiprocessing
import os
import pathlib
import re
import sys
import time
import urllib.parse
import zlib

sys.path.insert(0, str(pathlib.Path(__file__).resolve().parent.parent / "service"))
import rawhttp  # noqa: E402
import servicerun  # noqa: E402

NAME = "image.jpg"
PATIENCE = 120.0  # seconds for one response
QUICK_TOOL = "0"  # milliseconds that it works
SLOW_TOOL = "50"
COMMAND_CLIENTS = 16
UPLOADERS = 4
UPLOAD_BYTES = 8_000_000
LENGTHS = (100, 3000, 70000)  # bytes of a picture
READ_LENGTHS = (0, 30000, 400000)
RESULT = re.compile(r"(image(?:_\d+)?)_X(?:_\d+)?\.jpg")


def marked(body: bytes) -> bytes:
    """Makes a part, or a mixture with another, recognisable."""
    return b"%08x %d\n" % (zlib.crc32(body), len(body)) + body


def is_whole(data: bytes) -> bool:
    head, newline, body = data.partition(b"\n")
    return bool(newline) and head == b"%08x %d" % (zlib.crc32(body), len(body))


def picture(owner: str, length: int) -> bytes:
    return marked((owner.encode() + b" ") * (length // (len(owner) + 1) + 1))


class Connection(rawhttp.RawClient):
    """One that is kept."""

    def ask(self, target: str, data: bytes = b"") -> bytes:
        self.send(b"POST %s HTTP/1.1\r\nHost: a\r\nContent-Length: %d\r\n\r\n"
                  % (target.encode(), len(data)) + data)
        answer = self.response()
        if answer is None or answer.status != 200:
            raise OSError(f"{target} was not answered")
        return answer.body

    def fetch(self, name: str) -> bytes:
        return self.ask("/getConversionResult/" + urllib.parse.quote(name))


def remove(path: pathlib.Path) -> None:
    with contextlib.suppress(FileNotFoundError):
        path.unlink()


# Each counts what was wrong, by kind.

def inline(connection, work: pathlib.Path, client: int, tries: int) -> collections.Counter:
    wrong = collections.Counter()
    for number in range(tries):
        owner = f"{client}-{number}"
        data = picture(owner, LENGTHS[(client + number) % len(LENGTHS)])
        request = {"fileName": NAME, "configuration": "X",
                   "imgData": base64.b64encode(data).decode()}
        answer = connection.ask("/convertWithLocalData", json.dumps(request).encode())
        result = answer.decode().rsplit("/", 1)[-1]
        if connection.fetch(result) != b"\n" + data:
            wrong["another's picture, or none"] += 1
        match = RESULT.fullmatch(result)
        if not match:
            wrong["a name that is none"] += 1
            continue
        remove(work / result)
        remove(work / (match[1] + ".jpg"))
    return wrong


def command(connection, work: pathlib.Path, client: int, tries: int) -> collections.Counter:
    wrong = collections.Counter()
    own = work / f"own-{client}"
    given = work.parent / "given"
    for number in range(tries):
        data = picture(f"{client}-{number}", LENGTHS[(client + number) % len(LENGTHS)])
        own.write_bytes(data)
        answer = json.loads(connection.ask(
            "/vond", json.dumps([str(own), "-o", "return:" + NAME]).encode()))
        names = list(answer.get("returnFilesDict", {}).values())
        if len(names) != 1:
            wrong["no name"] += 1
            continue
        # The result exists until this client removes it, so nobody else may be given its name.
        try:
            os.close(os.open(given / names[0], os.O_CREAT | os.O_EXCL))
        except FileExistsError:
            wrong["a name that another run has"] += 1
        if connection.fetch(names[0]) != data:
            wrong["another's file, or none"] += 1
        remove(given / names[0])
        remove(work / names[0])
    return wrong


def upload_once(connection, client: int, number: int) -> None:
    if connection.ask("/upload/" + NAME, upload_of(client, number)) != b'{"ok": true}':
        raise OSError("an upload was not acknowledged")


def upload_of(client: int, number: int) -> bytes:
    block = b"%d-%d " % (client, number)
    return (block * (UPLOAD_BYTES // len(block) + 1))[:UPLOAD_BYTES - 1000 * client]


def upload(connection, client: int, rounds: int, barrier) -> collections.Counter:
    """One of the four. The first one looks, while the others wait."""
    wrong = collections.Counter()
    for number in range(rounds):
        barrier.wait(PATIENCE)
        upload_once(connection, client, number)
        barrier.wait(PATIENCE)
        if client == 0:
            result = connection.fetch(NAME)
            if all(result != upload_of(other, number) for other in range(UPLOADERS)):
                wrong["not exactly one of them"] += 1
    return wrong


def replace(connection, client: int, over) -> collections.Counter:
    number = 0
    while not over.is_set():
        number += 1
        length = READ_LENGTHS[number % len(READ_LENGTHS)]
        connection.ask("/upload/" + NAME, picture(f"{client}-{number}", length))
    return collections.Counter()


def read(connection, work: pathlib.Path, readings: int) -> collections.Counter:
    wrong = collections.Counter()
    for number in range(readings):
        if number % 2:
            what, result = "a result", connection.fetch(NAME)
        else:
            what = "a tool's reading"
            answer = json.loads(connection.ask(
                "/vond", json.dumps([str(work / NAME), "-o", "return:read.jpg"]).encode()))
            (name,) = answer["returnFilesDict"].values()
            result = (work / name).read_bytes()
            remove(work / name)
        if not is_whole(result):
            wrong[what + " that is no whole upload"] += 1
    return wrong


class Clients:
    """Processes, each with its own connection."""

    def __init__(self, service: servicerun.Service):
        self.service = service
        self.results = multiprocessing.Queue()
        self.processes = []

    def add(self, action, *arguments) -> None:
        self.processes.append(multiprocessing.Process(
            target=self._run, args=(action, arguments), daemon=True))
        self.processes[-1].start()

    def _run(self, action, arguments) -> None:
        try:
            with Connection(self.service.address, PATIENCE) as connection:
                self.results.put(action(connection, *arguments))
        except Exception as error:  # pylint: disable=broad-exception-caught
            self.results.put(collections.Counter({f"a client that failed: {error!r}": 1}))

    def take(self, count: int) -> collections.Counter:
        return sum((self.results.get() for _ in range(count)), collections.Counter())

    def join(self) -> None:
        for process in self.processes:
            process.join()


@contextlib.contextmanager
def serving(options, tool_ms: str):
    service = servicerun.Service(options.service, options.tool,
                                 environment={"BUSYTOOL_MS": tool_ms})
    service.work = service.folder / "tmp/work"
    service.work.mkdir()
    (service.folder / "tmp/given").mkdir()
    (service.folder / "config/meridane/vondServer.conf").write_text(
        f"[General]\nTempFolder={service.work}\n", encoding="utf-8")
    with service:
        yield service, Clients(service)


def share(tries: int, clients: int, client: int) -> int:
    return tries // clients + (1 if client < tries % clients else 0)


def several(options, action, tries: int, clients: int, tool_ms: str) -> collections.Counter:
    with serving(options, tool_ms) as (service, processes):
        for client in range(clients):
            processes.add(action, service.work, client, share(tries, clients, client))
        wrong = processes.take(clients)
        processes.join()
    return wrong


def all_uploads(options) -> collections.Counter:
    with serving(options, QUICK_TOOL) as (_, processes):
        barrier = multiprocessing.Barrier(UPLOADERS)
        for client in range(UPLOADERS):
            processes.add(upload, client, options.rounds, barrier)
        wrong = processes.take(UPLOADERS)
        processes.join()
    return wrong


def all_readings(options) -> collections.Counter:
    with serving(options, QUICK_TOOL) as (service, processes):
        rawhttp.post(service.address, "/upload/" + NAME, marked(b""))
        over = multiprocessing.Event()
        readers = 2
        for client in range(2):
            processes.add(replace, client, over)
        for client in range(readers):
            processes.add(read, service.work, share(options.readings, readers, client))
        wrong = processes.take(readers)
        over.set()
        wrong += processes.take(2)
        processes.join()
    return wrong


def parts(options):
    """Yields a part, what it does, how often, and the function."""
    for clients in options.clients:
        yield ("inline", f"inline conversions, {clients} clients", options.tries,
               lambda clients=clients: several(options, inline, options.tries, clients,
                                               QUICK_TOOL))
    yield ("command", f"commands, {COMMAND_CLIENTS} clients", options.tries,
           lambda: several(options, command, options.tries, COMMAND_CLIENTS, QUICK_TOOL))
    yield ("command", f"commands of {SLOW_TOOL} ms, {COMMAND_CLIENTS} clients",
           options.slow_tries,
           lambda: several(options, command, options.slow_tries, COMMAND_CLIENTS, SLOW_TOOL))
    yield ("uploads", f"rounds of {UPLOADERS} uploads", options.rounds,
           lambda: all_uploads(options))
    yield ("readings", "readings", options.readings, lambda: all_readings(options))


def main() -> int:
    parser = argparse.ArgumentParser(description=__doc__,
                                     formatter_class=argparse.RawDescriptionHelpFormatter)
    parser.add_argument("service")
    parser.add_argument("tool")
    parser.add_argument("--tries", type=int, default=100000)
    parser.add_argument("--slow-tries", type=int, default=5000)
    parser.add_argument("--rounds", type=int, default=1000)
    parser.add_argument("--readings", type=int, default=10000)
    parser.add_argument("--clients", type=int, nargs="+", default=[4, 16, 64])
    parser.add_argument("--only", nargs="+", choices=["inline", "command", "uploads", "readings"])
    options = parser.parse_args()
    failed = False
    for part, what, times, act in parts(options):
        if options.only and part not in options.only:
            continue
        start = time.monotonic()
        wrong = act()
        print(f"{what}: {times}, wrong {sum(wrong.values())}, "
              f"{time.monotonic() - start:.0f} s", flush=True)
        for reason, count in wrong.most_common(5):
            print(f"FAIL {reason}: {count}")
        failed = failed or bool(wrong)
    return 1 if failed else 0


if __name__ == "__main__":
    sys.exit(main())
