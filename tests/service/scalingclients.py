#!/usr/bin/env python3
"""Many clients of several services behind one address, each with its own address and cookies.

    scalingclients.py --url URL --user NAME:PASSWORD --ca FILE --tool TOOL [--jobs N] [--at-once N]
                      [--no-cookies]

Each uploads a unique picture, has it converted, and polls on a second connection until it reads the
progress of its own picture. Every fifth then cancels and must get the tool's explanation; the
others fetch the result, which must be what TOOL makes of that picture. TOOL, run without the
services, is the reference. The services' tool is the same, but first works for a while, says
"Progress: 1% of FILE", and heeds the stop file (scripts/try scaling has it).
"""

import argparse
import base64
import collections
import concurrent.futures
import functools
import http.client
import http.cookiejar
import json
import pathlib
import ssl
import struct
import subprocess
import sys
import tempfile
import time
import urllib.request
import zlib

PATIENCE = 120.0  # seconds; far more than ever needed
CANCELLED = 5  # every n-th job
CONFIGURATION = "DisplayP3"


def picture(number: int) -> bytes:
    """A PNG of 64 by 64 pixels: the number's bits as black and white stripes."""
    def part(kind: bytes, content: bytes) -> bytes:
        return (struct.pack(">I", len(content)) + kind + content
                + struct.pack(">I", zlib.crc32(kind + content)))

    rows = (b"\0" + b"".join(
        (b"\xff" if number >> bit & 1 else b"\0") * 12 for bit in range(16))) * 64
    return (b"\x89PNG\r\n\x1a\n" + part(b"IHDR", struct.pack(">IIBBBBB", 64, 64, 8, 2, 0, 0, 0))
            + part(b"IDAT", zlib.compress(rows)) + part(b"IEND", b""))


class WrongAnswer(Exception):
    pass


class Client:
    """Requests take a new connection each."""

    def __init__(self, options: argparse.Namespace, number: int):
        self.url = options.url
        self.headers = {
            "Authorization": "Basic " + base64.b64encode(options.user.encode()).decode()}
        self.cookies = http.cookiejar.CookieJar()
        context = ssl.create_default_context(cafile=options.ca)
        source = (f"127.0.{2 + number // 200}.{1 + number % 200}", 0)

        class Handler(urllib.request.HTTPSHandler):
            def https_open(self, request):
                return self.do_open(functools.partial(
                    http.client.HTTPSConnection, context=context, source_address=source), request)

        handlers = [urllib.request.ProxyHandler({}), Handler()]
        if not options.no_cookies:
            handlers.append(urllib.request.HTTPCookieProcessor(self.cookies))
        self.opener = urllib.request.build_opener(*handlers)

    def ask(self, path: str, body: bytes = None) -> bytes:
        request = urllib.request.Request(self.url + path, data=body, headers=self.headers)
        with self.opener.open(request, timeout=PATIENCE) as answer:
            return answer.read()

    def instance(self) -> str:
        return next((cookie.value for cookie in self.cookies), "any")


def expect(what: str, answer: bytes, expected: bytes) -> None:
    if answer != expected:
        raise WrongAnswer(f"{what}: {answer[:200]!r} instead of {expected[:200]!r}")


def find_progress(client: Client, job: str, name: str, conversion) -> int:
    """Polls until the job's own progress appears; returns the number of polls."""
    polls = 0
    deadline = time.monotonic() + PATIENCE
    while True:
        polls += 1
        told = client.ask("/progressInfo/" + job)
        if told.startswith(f"Progress: 1% of {name}".encode()):
            return polls
        if told.startswith(b"Progress: 1% of "):
            raise WrongAnswer(f"progress of {job} is another's: {told!r}")
        if conversion.done() or time.monotonic() > deadline:
            raise WrongAnswer(f"no progress of {job}: {told!r}, "
                              f"{conversion.result() if conversion.done() else 'unanswered'}")
        time.sleep(0.1)


def run_job(options: argparse.Namespace, expected: dict, number: int) -> tuple:
    """The instance, the polls, whether it was cancelled."""
    client = Client(options, number)
    cancelled = number % CANCELLED == 0
    job = f"job-{options.run}-{number}"
    name = f"{'long' if cancelled else 'short'}-{options.run}-{number}.png"
    request = {"fileName": name, "reqestID": job, "cancelID": "stop-" + job,  # spelt so
               "configuration": CONFIGURATION}
    expect("upload", client.ask("/upload/" + name, picture(number)), b'{"ok": true}')
    with concurrent.futures.ThreadPoolExecutor(1) as other:
        conversion = other.submit(client.ask, "/convert", json.dumps(request).encode())
        polls = find_progress(client, job, name, conversion)
        if cancelled:
            expect("cancelling", client.ask("/cancelConversion/stop-" + job), f"stop-{job}".encode())
            if b"cancel" not in conversion.result():
                raise WrongAnswer(f"{job} was not cancelled: {conversion.result()!r}")
    if not cancelled:
        result = name.replace(".png", f"_{CONFIGURATION}.png")
        expect("conversion", conversion.result(), result.encode())
        expect("result", client.ask("/getConversionResult/" + result), expected[number])
    expect("progress afterwards", client.ask("/progressInfo/" + job), b"")
    return client.instance(), polls, cancelled


def results_of_the_tool(tool: str, numbers: list) -> dict:
    results = {}
    with tempfile.TemporaryDirectory() as folder:
        for number in numbers:
            source, target = (pathlib.Path(folder) / f"{kind}{number}.png" for kind in ("in", "out"))
            source.write_bytes(picture(number))
            subprocess.run([tool, "-c", CONFIGURATION, source, "-o", target],
                           check=True, stdout=subprocess.DEVNULL)
            results[number] = target.read_bytes()
    return results


def main() -> int:
    parser = argparse.ArgumentParser(description=__doc__,
                                     formatter_class=argparse.RawDescriptionHelpFormatter)
    for name in ("--url", "--user", "--ca", "--tool"):
        parser.add_argument(name, required=True)
    parser.add_argument("--jobs", type=int, default=200)
    parser.add_argument("--at-once", type=int, default=24)
    parser.add_argument("--no-cookies", action="store_true")
    options = parser.parse_args()
    options.run = f"{time.time_ns():x}"

    numbers = list(range(options.jobs))
    expected = results_of_the_tool(options.tool, numbers)
    if len(set(expected.values())) != len(expected):
        print("FAIL two pictures have one result: a mix-up could not be seen")
        return 1
    instances = collections.Counter()
    polls = results = cancelled = broken = 0
    started = time.monotonic()
    with concurrent.futures.ThreadPoolExecutor(options.at_once) as clients:
        jobs = {clients.submit(run_job, options, expected, number): number for number in numbers}
        for job in concurrent.futures.as_completed(jobs):
            try:
                instance, asked, was_cancelled = job.result()
            except (WrongAnswer, OSError, http.client.HTTPException) as error:
                broken += 1
                print(f"FAIL job {jobs[job]}: {error}")
                continue
            instances[instance] += 1
            polls += asked
            cancelled += was_cancelled
            results += not was_cancelled
    print(f"{options.jobs} jobs, {options.at_once} at a time, in {time.monotonic() - started:.0f} s: "
          f"{results} right results, {cancelled} cancelled, progress of {results + cancelled} found "
          f"with {polls} polls; {dict(sorted(instances.items()))}; {broken} failed")
    return 1 if broken or results + cancelled != options.jobs else 0


if __name__ == "__main__":
    sys.exit(main())
