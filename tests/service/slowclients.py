#!/usr/bin/env python3
"""Thousands of slow and greedy clients, and others that must be served meanwhile.

    slowclients.py SERVICE TOOL [CONNECTIONS [SECONDS]]

Runs slowhttptest in its four modes against the built service on loopback, one after the other.
Meanwhile a client gets a page, uploads, runs the tool and fetches, on a new connection each time.
Fails if a response is late, missing or wrong, when slowhttptest says that the service was not
available, or when threads and descriptors do not return to what they were.
"""

import pathlib
import re
import subprocess
import sys
import tempfile
import time

import rawhttp
import servicerun

LONGEST_ANSWER = 5.0  # seconds, on a machine that is also busy with other work
RESULT_SIZE = 512 * 1024  # enough to fill what the system buffers for a client that hardly reads

# Name, whether its connections stay open (those with ranges get their response and close), options.
MODES = [
    ("slow headers", True, ["-H", "-i", "5", "-u", "http://{address}/"]),
    ("slow body", True, ["-B", "-i", "5", "-s", "65536", "-t", "POST", "-u",
                         "http://{address}/text"]),
    ("overlapping ranges", False, ["-R", "-a", "10", "-b", "3000", "-u",
                                   "http://{address}/getConversionResult/result.bin"]),
    ("slow reading", True, ["-X", "-w", "10", "-y", "20", "-n", "5", "-z", "32", "-u",
                            "http://{address}/getConversionResult/result.bin"]),
]


class Others:
    """The well-behaved clients."""

    def __init__(self, service: servicerun.Service):
        self.service = service
        self.count = 0
        self.worst = 0.0
        self.failures = []

    def one(self) -> None:
        address = self.service.address
        name = f"/upload/other{self.count % 10}.txt"
        data = b"abc" * 1000
        asked = [
            (b"vondServer: Hello world", lambda: rawhttp.get(address, "/")),
            (b'{"ok": true}', lambda: rawhttp.post(address, name, data)),
            (b"other\n", lambda: rawhttp.get(address, "/version")),
            (data, lambda: rawhttp.get(address, name.replace("upload", "getConversionResult"))),
        ]
        for wanted, ask in asked:
            start = time.monotonic()
            try:
                answer = ask()
            except OSError as error:
                self.failures.append(f"{error}")
                continue
            took = time.monotonic() - start
            self.worst = max(self.worst, took)
            self.count += 1
            if answer is None or answer.body != wanted:
                self.failures.append("no answer, or a wrong one")
            elif took > LONGEST_ANSWER:
                self.failures.append(f"an answer after {took:.1f} s")


def run_mode(service: servicerun.Service, options: list, connections: int, seconds: int) -> tuple:
    """What the others experienced, the most threads and descriptors, and what slowhttptest says."""
    others = Others(service)
    threads, descriptors = 0, 0
    words = [word.format(address=f"127.0.0.1:{service.port}") for word in options]
    attack = ["slowhttptest", "-c", str(connections), "-r", "500", "-l", str(seconds), "-p", "5",
              *words]
    with tempfile.TemporaryFile() as output:
        attacker = subprocess.Popen(attack, stdin=subprocess.DEVNULL, stdout=output,
                                    stderr=subprocess.STDOUT)
        deadline = time.monotonic() + seconds + 60
        while attacker.poll() is None and time.monotonic() < deadline and service.alive():
            others.one()
            threads = max(threads, service.threads())
            descriptors = max(descriptors, service.descriptors())
            time.sleep(0.05)
        if attacker.poll() is None:
            attacker.kill()
        attacker.wait()
        output.seek(0)
        text = re.sub(r"\x1b\[[0-9;]*m", "", output.read().decode(errors="replace"))
    return others, threads, descriptors, text


def main() -> int:
    if len(sys.argv) not in (3, 4, 5) or sys.argv[1].startswith("-"):
        print(__doc__)
        return 2
    connections = int(sys.argv[3]) if len(sys.argv) > 3 else 2000
    seconds = int(sys.argv[4]) if len(sys.argv) > 4 else 20
    broken = 0
    with tempfile.TemporaryDirectory(prefix="vond-tool-") as folder:
        tool = pathlib.Path(folder) / "tool"
        tool.write_text("#!/bin/sh\necho other\n", encoding="utf-8")
        tool.chmod(0o755)
        with servicerun.Service(sys.argv[1], str(tool)) as service:
            (service.work / "result.bin").write_bytes(b"\xff" * RESULT_SIZE)
            Others(service).one()
            servicerun.eventually(lambda: service.threads() == 1)
            before = (service.threads(), service.descriptors())
            for name, stay, options in MODES:
                others, threads, descriptors, text = run_mode(service, options, connections,
                                                              seconds)
                back = servicerun.eventually(
                    lambda: (service.threads(), service.descriptors()) == before, 90)
                available = re.findall(r"service available:\s+(\w+)", text)
                wrong = list(dict.fromkeys(others.failures))
                if not service.alive():
                    wrong.append("the service has ended: " + service.errors()[-300:])
                if not available:
                    wrong.append("slowhttptest did not run: " + text[-300:])
                elif "NO" in available:
                    wrong.append("slowhttptest found the service unavailable")
                if stay and threads < connections // 2:
                    wrong.append("so few connections prove nothing")
                if not back and service.alive():
                    wrong.append(f"{before} threads and descriptors before, "
                                 f"{(service.threads(), service.descriptors())} after")
                broken += bool(wrong)
                print(f"{'FAIL' if wrong else 'ok  '} {name}: {connections} connections, at most "
                      f"{threads} threads and {descriptors} descriptors; {others.count} answers to "
                      f"others, the slowest after {others.worst:.2f} s"
                      + "".join(f"; {text}" for text in wrong), flush=True)
                if not service.alive():
                    break
    return 1 if broken else 0


if __name__ == "__main__":
    sys.exit(main())
