#!/usr/bin/env python3
"""The 20,000th inline conversion with one file name may take ten times as long as the first.

    manynamestest.py SERVICE TOOL

TOOL should do almost nothing, so that finding a name dominates. In the temporary folder and, if
there is one, in a file system in memory.
"""

import base64
import json
import pathlib
import shutil
import statistics
import sys
import tempfile
import time

import rawhttp
import servicerun

FILES = 20000
TIMES = 31
MOST = 10.0
NAME = "image.jpg"
TRIES = 3  # a machine may be disturbed during a whole comparison


def convert(client: rawhttp.RawClient) -> float:
    """Seconds."""
    body = json.dumps({"fileName": NAME, "configuration": "X",
                       "imgData": base64.b64encode(b"x" * 100).decode()}).encode()
    start = time.perf_counter()
    client.send(b"POST /convertWithLocalData HTTP/1.1\r\nHost: a\r\nContent-Length: %d\r\n\r\n"
                % len(body) + body)
    if client.response().status != 200:
        raise RuntimeError("no answer")
    return time.perf_counter() - start


def empty(folder: pathlib.Path) -> None:
    for path in folder.iterdir():
        path.unlink()


def ratio(client: rawhttp.RawClient, work: pathlib.Path) -> float:
    empty(work)
    firsts = []
    for _ in range(TIMES):
        firsts.append(convert(client))
        empty(work)
    (work / NAME).touch()
    for number in range(1, FILES):
        (work / f"image_{number}.jpg").touch()
    convert(client)  # the one that finds out
    lasts = [convert(client) for _ in range(TIMES)]
    names = {path.name for path in work.iterdir()}
    if names != {NAME} | {f"image_{number}.jpg" for number in range(1, FILES + TIMES + 1)}:
        raise RuntimeError("not the first free names were taken")
    first, last = statistics.median(firsts), statistics.median(lasts)
    print(f"{work}: the first {1000 * first:.2f} ms, the {FILES}th {1000 * last:.2f} ms, "
          f"{last / first:.1f} times", flush=True)
    return last / first


def main() -> int:
    if len(sys.argv) != 3:
        print(__doc__)
        return 2
    failed = False
    for where in [None, "/dev/shm"]:
        if where and not pathlib.Path(where).is_dir():
            continue
        work = pathlib.Path(tempfile.mkdtemp(prefix="vond-names-", dir=where))
        try:
            with servicerun.Service(sys.argv[1], sys.argv[2], work_folder=str(work)) as service, \
                    rawhttp.RawClient(service.address) as client:
                ratios = (ratio(client, work) for _ in range(TRIES))
                if not any(each <= MOST for each in ratios):
                    print(f"FAIL more than {MOST:.0f} times")
                    failed = True
        finally:
            shutil.rmtree(work)
    return 1 if failed else 0


if __name__ == "__main__":
    sys.exit(main())
