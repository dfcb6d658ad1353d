#!/usr/bin/env python3
"""Kills the built service at random moments, restarts it and checks what clients were promised.

    crashsafetytest.py SERVICE TOOL [TIMES [SEED]]

Four clients upload, convert, fetch, cancel and run the tool without pause. The service is killed
with SIGKILL after a random time, TIMES (20) times, and restarted on the same folders. Then:

- a client that was told of its upload finds the file complete, byte for byte
- one that was not finds it complete or not at all, and, of a name uploaded before, the old or the
  new file
- a client that was told the name of a result fetches it, and fetches the same bytes as before
- a client that was told of a stop file finds it
- whoever got half an answer, or none, may be told nothing that is wrong
- the service serves

What an acknowledgement does not promise is that the bytes survive a failure of the machine: nothing
here, and nothing in the service, forces them onto the disk.
"""

import json
import os
import pathlib
import random
import signal
import sys
import tempfile
import threading
import time

import rawhttp
import servicerun

# Writes under another name first, as a tool that may be killed should: a reported name is complete.
TOOL = r"""#!/bin/sh
[ "$*" = version ] && { echo "crash 1.0"; exit; }
for word; do
    [ "$previous" = -o ] && output=$word
    [ "$word" = -o ] && input=$previous
    previous=$word
done
echo "Progress: 50%"
{ echo converted; cat "$input"; } >"$output.part" && mv "$output.part" "$output"
echo "Output file: $output"
"""
CLIENTS = 4
LONGEST_LIFE = 0.4  # seconds until the kill


class Client(threading.Thread):
    """Works until the service is gone; remembers complete responses."""

    def __init__(self, address: tuple, name: str, seed: int):
        super().__init__()
        self.address = address
        self.label = name
        self.random = random.Random(seed)
        self.uploads = {}  # name -> bytes, acknowledged
        self.sending = None  # name and bytes of an unacknowledged upload
        self.results = {}  # name -> bytes that it must have
        self.stops = []
        self.wrong = []
        self.broken_off = 0

    def ask(self, target: str, body: bytes):
        answer = rawhttp.post(self.address, target, body)
        if answer is None:
            raise ConnectionResetError
        return answer.body

    def run(self) -> None:
        try:
            for number in range(1000000):
                self.cycle(f"{self.label}-{number}")
        except (OSError, TimeoutError):
            self.broken_off += 1

    def cycle(self, name: str) -> None:
        data = self.random.randbytes(self.random.choice([10, 5000, 300000, 3000000]))
        self.upload(f"{name}.bin", data)
        self.upload(f"{self.label}.bin", data)
        request = json.dumps({"fileName": f"{name}.bin", "reqestID": name, "configuration": "X",
                              "cancelID": name})
        result = self.ask("/convert", request.encode())
        self.told(result, f"{name}_X.bin".encode())
        self.results[result.decode()] = b"converted\n" + data
        self.told(self.ask(f"/getConversionResult/{result.decode()}", b""), b"converted\n" + data)
        self.told(self.ask(f"/cancelConversion/{name}", b""), name.encode())
        self.stops.append(f"{name}.txt")
        self.told(self.ask("/version", b""), b"crash 1.0\n")

    def upload(self, name: str, data: bytes) -> None:
        self.sending = (name, data)
        self.told(self.ask(f"/upload/{name}", data), b'{"ok": true}')
        self.sending = None
        self.uploads[name] = data

    def told(self, got: bytes, wanted: bytes) -> None:
        if got != wanted:
            self.wrong.append(f"{self.label} was told {got[:80]!r}, not {wanted[:80]!r}")


class Run:
    def __init__(self, program: str, folder: pathlib.Path, seed: int):
        self.random = random.Random(seed)
        tool = folder / "tool"
        tool.write_text(TOOL, encoding="utf-8")
        tool.chmod(0o755)
        self.work = folder / "work"
        self.work.mkdir()
        self.service = servicerun.Service(program, str(tool), work_folder=str(self.work))
        self.told = {"uploads": 0, "results": 0, "stop files": 0, "broken off": 0,
                     "helpers' files": 0}
        self.wrong = []

    def life(self, number: int) -> None:
        self.service.start()
        clients = [Client(self.service.address, f"{number}-{i}", self.random.getrandbits(32))
                   for i in range(CLIENTS)]
        for client in clients:
            client.start()
        time.sleep(self.random.uniform(0.02, LONGEST_LIFE))
        children = self.service.children()
        self.service.kill()
        for client in clients:
            client.join()
        for child in children:  # a tool outlives the service; it must not write meanwhile
            servicerun.eventually(lambda child=child: not os.path.exists(f"/proc/{child}"))
        self.service.start()
        for client in clients:
            self.look_back(client)
        if not self.service.serves():
            self.wrong.append(f"life {number}: the service does not serve after it")
        self.service.process.send_signal(signal.SIGKILL)
        self.service.process.wait()
        for path in self.work.iterdir():
            self.told["helpers' files"] += path.name.startswith(".vond-")
            path.unlink()

    def look_back(self, client: Client) -> None:
        self.wrong += client.wrong
        sent, sending = client.sending or (None, None)
        for name, data in client.uploads.items():
            if (self.work / name).read_bytes() not in (data, sending if name == sent else data):
                self.wrong.append(f"the acknowledged upload {name} is not complete")
        if sent and sent not in client.uploads and (self.work / sent).exists():
            if (self.work / sent).read_bytes() != sending:
                self.wrong.append(f"a part of the upload {sent} is there")
        for name, data in client.results.items():
            answer = rawhttp.get(self.service.address, "/getConversionResult/" + name)
            if answer is None or answer.body != data:
                self.wrong.append(f"the result {name} is another one than before")
        for name in client.stops:
            if (self.work / name).read_bytes() != b"This is a stop file.":
                self.wrong.append(f"the stop file {name} is not whole")
        self.told["uploads"] += len(client.uploads)
        self.told["results"] += len(client.results)
        self.told["stop files"] += len(client.stops)
        self.told["broken off"] += client.broken_off


def main() -> int:
    if len(sys.argv) not in (3, 4, 5) or sys.argv[1].startswith("-"):
        print(__doc__)
        return 2
    times = int(sys.argv[3]) if len(sys.argv) > 3 else 20
    seed = int(sys.argv[4]) if len(sys.argv) > 4 else random.SystemRandom().getrandbits(32)
    print(f"seed {seed}", flush=True)
    with tempfile.TemporaryDirectory(prefix="vond-crash-") as folder:
        run = Run(sys.argv[1], pathlib.Path(folder), seed)
        for number in range(times):
            run.life(number)
    run.service.__exit__()
    for text in run.wrong:
        print("FAIL " + text)
    print(f"killed {times} times: " + ", ".join(f"{count} {what}"
                                                for what, count in run.told.items())
          + f"; {len(run.wrong)} wrong")
    if min(run.told["uploads"], run.told["results"], run.told["broken off"]) == 0:
        print("FAIL too little was going on to prove anything")
        return 1
    return 1 if run.wrong else 0


if __name__ == "__main__":
    sys.exit(main())
