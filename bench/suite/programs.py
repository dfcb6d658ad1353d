"""Runs the load generators and reads what they print."""

import os
import pathlib
import re
import subprocess
import time

PATIENCE = 900.0  # seconds; far more than any single measurement takes


class Failed(Exception):
    """A measurement that failed."""


class Programs:
    """The programs of one build folder."""

    def __init__(self, build: pathlib.Path):
        self.build = build

    @property
    def service(self) -> str:
        return str(self.build / "app/vondServer")

    @property
    def sample_tool(self) -> str:
        return str(self.build / "sampletool/vond-sample")

    @property
    def trivial_tool(self) -> str:
        return str(self.build / "bench/peers/bench_trivialtool")

    @property
    def speaking_tool(self) -> str:
        return str(self.build / "bench/peers/bench_speakingtool")

    def peer(self, name: str) -> str:
        return str(self.build / "bench/peers" / name)

    def client(self, name: str) -> str:
        return str(self.build / "bench" / name)

    def run(self, name: str, *words, environment: dict = None, may_find_fault=False) -> "Line":
        """Runs one of our own clients to its end. Some exit with 1 if they have found a fault."""
        return Line(_output([self.client(name), *map(str, words)], environment,
                            (0, 1) if may_find_fault else (0,)))

    def begin(self, name: str, *words) -> subprocess.Popen:
        """Starts one of our own clients; it ends when its standard input is closed."""
        return subprocess.Popen([self.client(name), *map(str, words)], stdin=subprocess.PIPE,
                                stdout=subprocess.PIPE, stderr=subprocess.DEVNULL, text=True)


class Line:
    """The line in which a client reports its case: "name: count 12, median 3.4 us, ..."."""

    def __init__(self, text: str):
        self.text = text.strip()

    def number(self, label: str) -> float:
        found = re.search(rf"\b{re.escape(label)} (-?[0-9.]+)", self.text)
        if not found:
            raise Failed(f"no {label} in: {self.text}")
        return float(found.group(1))

    def without_failures(self) -> "Line":
        if self.number("failed"):
            raise Failed(self.text)
        return self

    @property
    def median(self) -> float:
        """Microseconds."""
        return self.number("median")

    @property
    def percentile99(self) -> float:
        return self.number("99th percentile")


def requests_per_second(url: str, clients: int, seconds: int, new_connections: bool = False) -> float:
    """The rate that wrk achieves with a server. Any unsuccessful response is a failure."""
    words = ["wrk", f"-t{min(clients, 2)}", f"-c{clients}", f"-d{seconds}s", "--timeout", "30s"]
    if new_connections:
        words += ["-H", "Connection: close"]
    text = _output([*words, url])
    if "Non-2xx" in text or "Socket errors" in text:
        raise Failed(text)
    rate = float(re.search(r"Requests/sec:\s+([0-9.]+)", text).group(1))
    if rate == 0:
        raise Failed(text)
    return rate


def seconds_of(words: list, environment: dict = None) -> float:
    """How long a command takes. It must succeed."""
    start = time.perf_counter()
    _output(words, environment)
    return time.perf_counter() - start


def _output(words: list, environment: dict = None, good: tuple = (0,)) -> str:
    run = subprocess.run(words, stdin=subprocess.DEVNULL, stdout=subprocess.PIPE,
                         stderr=subprocess.PIPE, text=True, timeout=PATIENCE, check=False,
                         env={**os.environ, **(environment or {})})
    if run.returncode not in good:
        raise Failed(f"{' '.join(map(str, words))}: {run.stderr.strip() or run.returncode}")
    return run.stdout
