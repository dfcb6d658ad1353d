"""Every question of the suite. In each, the service and its peers take turns, round by round, and
each round begins with a different one."""

import base64
import contextlib
import dataclasses
import json
import os
import pathlib
import statistics
import subprocess
import time
import urllib.parse
import urllib.request

from programs import Failed, Line, Programs, requests_per_second, seconds_of
from results import AT_LEAST, AT_MOST, Case
from servers import Httplib, Lighttpd, Nginx, Qt6, Server, Service, Threads, Webhook

KIB, MIB = 1024, 1024 * 1024


@dataclasses.dataclass(frozen=True)
class Scale:
    """The size of everything."""

    name: str
    rounds: int
    seconds: int  # of one run of wrk
    burst: int
    idle: int
    runs: int  # of the tool in a row
    young: int  # finished connections
    old: int
    finished: int  # connections, for what each leaves behind
    converted: int  # the same, each with a conversion
    answers: int  # conversions for each pause of the tool and number of clients
    crowd: int  # conversions at the same time
    crowd_seconds: int  # for each of them
    transfer: int  # bytes
    image: int  # bytes
    polling: float  # seconds
    starts: int


FULL = Scale("full", 5, 3, 1000, 5000, 200, 20000, 100000, 50000, 4000, 1334, 1000, 6, 1024 * MIB,
             64 * MIB, 5.0, 10)
QUICK = Scale("quick", 3, 1, 1000, 1000, 100, 2000, 10000, 5000, 1000, 32, 200, 1, 128 * MIB,
              16 * MIB, 1.5, 3)


@dataclasses.dataclass
class Bench:
    """What a question needs."""

    programs: Programs
    scale: Scale
    folder: pathlib.Path  # of the servers' own files
    files: pathlib.Path  # what is uploaded, fetched and converted

    def server(self, kind, **more) -> Server:
        return kind(self.programs, self.folder, self.files, **more)

    def in_turns(self, measures: dict) -> dict:
        """Calls each function once per round; returns the values of all rounds under its name."""
        names = list(measures)
        values = {name: [] for name in names}
        for turn in range(self.scale.rounds):
            for place in range(len(names)):
                name = names[(turn + place) % len(names)]
                values[name].append(measures[name]())
        return values


def ratios(ours: list, theirs: list) -> list:
    return [one / other for one, other in zip(ours, theirs)]


def per_second(values: list) -> str:
    return f"{statistics.median(values):.0f}/s"


def microseconds(values: list) -> str:
    median = statistics.median(values)
    return f"{median / 1000:.2f} ms" if median >= 1000 else f"{median:.0f} µs"


def mib(size: float) -> str:
    return f"{size / MIB:.0f} MiB"


def compare(values: dict, aims: dict, question: str, name: str, bound: str, text) -> list:
    """One case for each peer in aims; without an aim it is only reported."""
    ours = values[Service.name]
    return [Case(question, name, peer, ratios(ours, values[peer]), bound if aim else "", aim or 0,
                 ours=text(ours), theirs=text(values[peer]))
            for peer, aim in aims.items()]


def keepalive(bench: Bench):
    """GET "/" on kept connections"""
    with contextlib.ExitStack() as stack:
        servers = [stack.enter_context(bench.server(kind)) for kind in (Service, Qt6, Nginx, Threads)]
        for clients in (1, 16, 256):
            values = bench.in_turns({
                server.name: lambda server=server: requests_per_second(
                    server.url(), clients, bench.scale.seconds)
                for server in servers})
            yield from compare(values, {Qt6.name: 1.5, Nginx.name: 0.8, Threads.name: None},
                               "kept alive", f"{clients} client" + "s" * (clients > 1), AT_LEAST,
                               per_second)


def new_connections(bench: Bench):
    """GET "/" on new connections"""
    with contextlib.ExitStack() as stack:
        servers = [stack.enter_context(bench.server(kind))
                   for kind in (Service, Nginx, Httplib, Threads)]
        values = bench.in_turns({
            server.name: lambda server=server: requests_per_second(
                server.url(), 16, bench.scale.seconds, new_connections=True)
            for server in servers})
        yield from compare(values, {Nginx.name: 0.7, Httplib.name: 1.0, Threads.name: 0.85},
                           "new connections", "16 clients", AT_LEAST, per_second)


def burst(bench: Bench):
    """Clients that all connect at once"""
    with bench.server(Service) as service, bench.server(Nginx) as nginx:
        retried = []

        def once(server: Server) -> float:
            line = bench.programs.run("bench_burst", server.port, "/",
                                      bench.scale.burst).without_failures()
            if server is service:
                retried.append(line.number("retried"))
            return line.percentile99

        values = bench.in_turns({server.name: lambda server=server: once(server)
                                 for server in (service, nginx)})
        clients = f"{bench.scale.burst} clients"
        yield Case("burst", f"{clients}, connections that had to retry", "", retried, AT_MOST, 0)
        yield from compare(values, {Nginx.name: 3.0}, "burst", f"{clients}, 99th percentile",
                           AT_MOST, microseconds)


@contextlib.contextmanager
def idle_clients(bench: Bench, server: Server, *path: str):
    holder = bench.programs.begin("bench_idle", server.port, bench.scale.idle, *path)
    try:
        if "are idle" not in holder.stdout.readline():
            raise Failed("the idle clients did not get their connections")
        yield
    finally:
        holder.stdin.close()
        holder.wait()


def settled(server: Server) -> int:
    """Resident bytes once they have stopped changing."""
    last = -1
    while (now := server.memory("VmRSS")) != last:
        last = now
        time.sleep(0.2)
    return last


def idle(bench: Bench):
    """Idle connections"""
    scale = bench.scale

    def one_more(server: Server) -> float:
        return bench.programs.run("bench_requests", server.port, "/", 1,
                                  scale.runs * 10).without_failures().median

    def bytes_each(*path: str) -> list:
        sizes = []
        for _ in range(scale.rounds):
            with bench.server(Service) as service:
                before = settled(service)
                with idle_clients(bench, service, *path):
                    sizes.append((settled(service) - before) / scale.idle / KIB)
        return sizes

    name = f"{scale.idle} connections"
    yield Case("idle", f"{name} that were served once, resident each", "", bytes_each("/"),
               AT_MOST, 64, "KiB")
    yield Case("idle", f"{name} that never sent anything, resident each", "", bytes_each(),
               AT_MOST, 64, "KiB")
    with bench.server(Service) as busy, bench.server(Service) as alone:
        with idle_clients(bench, busy, "/"):
            values = bench.in_turns({"with": lambda: one_more(busy),
                                     "without": lambda: one_more(alone)})
    yield Case("idle", f'"/" on one more, {name}', "the service without them",
               ratios(values["with"], values["without"]), AT_MOST, 1.2,
               ours=microseconds(values["with"]), theirs=microseconds(values["without"]))


def tool_runs(bench: Bench):
    """"/version" with a trivial tool"""
    paths = {Service: "/version", Lighttpd: "/version.cgi", Webhook: "/hooks/version"}
    with contextlib.ExitStack() as stack:
        servers = {stack.enter_context(bench.server(kind)): path for kind, path in paths.items()}
        for clients, beside_webhook in ((1, 1.1), (4, 1.15), (16, 1.15)):
            values = bench.in_turns({
                server.name: lambda server=server, path=path: requests_per_second(
                    server.url(path), clients, bench.scale.seconds)
                for server, path in servers.items()})
            yield from compare(values, {Lighttpd.name: 1.1, Webhook.name: beside_webhook},
                               "tool runs", f"{clients} client" + "s" * (clients > 1), AT_LEAST,
                               per_second)


def finish_connections(bench: Bench, server: Server, count: int) -> None:
    bench.programs.run("bench_requests", server.port, "/", 4, count,
                       "--new-connections").without_failures()


def upload(bench: Bench, server: Server, name: str) -> float:
    """Seconds."""
    method = "POST" if isinstance(server, Service) else "PUT"
    line = bench.programs.run("bench_transfer", server.port, method, f"/upload/{name}",
                              bench.scale.transfer)
    return line.median / 1e6


def conversion_request(bench: Bench) -> pathlib.Path:
    request = bench.folder / "convert.json"
    request.write_text(json.dumps({"fileName": "picture.tif", "reqestID": "job",
                                   "configuration": "Press", "cancelID": "stop"}),
                       encoding="utf-8")
    return request


def conversion_arguments(bench: Bench, configuration: str, picture: str) -> list:
    """What the service passes to the tool."""
    return ["--progress", f"--stopfile={bench.files}/stop.txt", "--translateerror",
            "--overwriteoutput=increment", "-c", configuration, f"{bench.files}/{picture}.tif",
            "-o", f"{bench.files}/{picture}_{configuration}.tif"]


@contextlib.contextmanager
def pending_upload(bench: Bench, server: Server):
    """Keeps all but the last byte of a body in the server's memory while the block lasts."""
    size = bench.scale.transfer
    holder = bench.programs.begin("bench_pending", server.port, "/upload/pending", size)
    try:
        if "is pending" not in holder.stdout.readline() or settled(server) < size:
            raise Failed("the body is not in memory")
        yield
    finally:
        holder.stdin.close()
        holder.wait()


def convert(bench: Bench):
    """"/convert" with a trivial tool, by a service of every age"""
    scale = bench.scale
    request = conversion_request(bench)
    arguments = conversion_arguments(bench, "Press", "picture")

    def median_of(server: Server) -> float:
        return bench.programs.run("bench_requests", server.port, "/convert", 1, scale.runs,
                                  request).without_failures().median

    def bare() -> float:
        return bench.programs.run("bench_barerun", scale.runs, bench.programs.trivial_tool,
                                  *arguments).median

    with contextlib.ExitStack() as stack:
        fresh, young, old, filled, holding = (stack.enter_context(bench.server(Service))
                                              for _ in range(5))
        finish_connections(bench, young, scale.young)
        finish_connections(bench, old, scale.old)
        upload(bench, filled, "large")
        stack.enter_context(pending_upload(bench, holding))
        size = mib(scale.transfer)
        ages = {f"after {scale.young} connections": (young, 1.05),
                f"after {scale.old} connections": (old, 1.05),
                f"after an upload of {size}": (filled, 1.3),
                f"while another client's upload of {size} is in memory": (holding, 1.1)}
        values = bench.in_turns({"bare": bare, "fresh": lambda: median_of(fresh),
                                 **{age: lambda server=server: median_of(server)
                                    for age, (server, _) in ages.items()}})
    ours, theirs = values["fresh"], values["bare"]
    yield Case("convert", "fresh, more than the run itself", "the bare tool",
               [(one - other) / 1000 for one, other in zip(ours, theirs)], AT_MOST, 0.45, "ms",
               microseconds(ours), microseconds(theirs))
    for age, (_, aim) in ages.items():
        yield Case("convert", age, "the fresh service", ratios(values[age], ours), AT_MOST, aim,
                   ours=microseconds(values[age]), theirs=microseconds(ours))


def answers(bench: Bench):
    """"/convert" with a tool that names its output shortly after its last progress"""
    with bench.server(Service, tool=bench.programs.speaking_tool) as service:
        for gap in (0, 50, 200, 1000, 5000):
            shares = []
            for _ in range(bench.scale.rounds):
                wrong = count = 0
                for clients in (1, 16, 256):
                    line = bench.programs.run(
                        "bench_conversions", service.port, clients,
                        max(clients, bench.scale.answers), 3, gap,
                        may_find_fault=True).without_failures()
                    wrong += line.number("wrong")
                    count += line.number("count")
                shares.append(100 * wrong / count)
            yield Case("answers", f"wrong, {gap / 1000:g} ms between progress and output's name", "",
                       shares, AT_MOST, 0, "%")


def crowd(bench: Bench):
    """Many conversions at once, of some seconds each"""
    scale = bench.scale
    wrong, polls, new_polls = [], [], []
    pause = scale.crowd_seconds * 1000000
    arguments = conversion_arguments(bench, f"1-{pause}", "picture-{}")

    def asked() -> float:
        with bench.server(Service, tool=bench.programs.speaking_tool) as service:
            line = bench.programs.run("bench_conversions", service.port, scale.crowd, scale.crowd,
                                      1, pause, "--polls", may_find_fault=True).without_failures()
        if line.number("lost polls"):
            raise Failed(line.text)
        wrong.append(line.number("wrong"))
        polls.append(line.number("slowest poll") / 1e6)
        new_polls.append(line.number("slowest poll on a new connection") / 1e6)
        return line.number("seconds")

    def by_hand() -> float:
        return seconds_of(["sh", "-c", 'count=$1; shift; seq "$count" | xargs -P "$count" -I{} "$@"',
                           "sh", str(scale.crowd), bench.programs.speaking_tool, *arguments])

    values = bench.in_turns({"asked": asked, "by hand": by_hand})
    ours, theirs = values["asked"], values["by hand"]
    name = f"{scale.crowd} conversions of {scale.crowd_seconds} s"
    yield Case("crowd", f"{name}, wrong answers", "", wrong, AT_MOST, 0)
    yield Case("crowd", f"{name}, slowest poll meanwhile", "", polls, AT_MOST, 0.1, "s")
    yield Case("crowd", f"{name}, slowest poll on a new connection", "", new_polls, AT_MOST, 0.1, "s")
    yield Case("crowd", f"{name}, all of them", "", ours, AT_MOST, scale.crowd_seconds + 2, "s")
    yield Case("crowd", f"{name}, all of them", "the bare tools by xargs", ratios(ours, theirs),
               ours=f"{statistics.median(ours):.2f} s", theirs=f"{statistics.median(theirs):.2f} s")


def leftover(bench: Bench):
    """What a finished connection leaves behind"""
    scale = bench.scale
    request = conversion_request(bench)

    def left(count: int, *what) -> Line:
        return bench.programs.run("bench_leftover", count, *what, environment={"QT_NO_GLIB": "1"})

    heap, resident, converted = [], [], []
    for _ in range(scale.rounds):
        line = left(scale.finished, "/", bench.programs.trivial_tool)
        heap.append(line.number("heap") / KIB)
        resident.append(line.number("resident") / KIB)
        line = left(scale.converted, "/convert", bench.programs.trivial_tool, request)
        converted.append(line.number("resident") / KIB)
    name = f"each of {scale.finished} connections"
    yield Case("left behind", f"{name}, heap", "", heap, AT_MOST, 4, "KiB")
    yield Case("left behind", f"{name}, resident", "", resident, AT_MOST, 4, "KiB")
    yield Case("left behind", f"each of {scale.converted} connections with a conversion, resident",
               "", converted, AT_MOST, 2.4, "KiB")


def transfer(bench: Bench):
    """One large body, in and out"""
    size = bench.scale.transfer
    stored = bench.files / "fetched"
    with open(stored, "wb") as file:
        block = os.urandom(MIB)
        for _ in range(size // MIB):
            file.write(block)
    over, kept = [], []

    def watched(measure, server: Server) -> float:
        """MiB per second. A new service each time, so that its peak memory is due to this body."""
        if not isinstance(server, Service):
            return size / MIB / measure(server)
        with bench.server(Service) as fresh:
            rate = size / MIB / measure(fresh)
            over.append((fresh.memory("VmHWM") - size) / MIB)
            kept.append(settled(fresh) / MIB)
            return rate

    def uploaded(server: Server) -> float:
        name = f"uploaded-{type(server).__name__}"
        try:
            return upload(bench, server, name)
        finally:
            (bench.files / name).unlink(missing_ok=True)

    def fetched(server: Server) -> float:
        path = "/getConversionResult/fetched" if isinstance(server, Service) else "/files/fetched"
        return bench.programs.run("bench_transfer", server.port, "GET", path, size).median / 1e6

    def rate_text(values: list) -> str:
        return f"{statistics.median(values):.0f} MiB/s"

    with contextlib.ExitStack() as stack:
        servers = [stack.enter_context(bench.server(kind)) for kind in (Service, Nginx, Httplib)]
        for name, measure in (("upload", uploaded), ("fetch", fetched)):
            over.clear()
            kept.clear()
            values = bench.in_turns({
                server.name: lambda server=server: watched(measure, server)
                for server in servers})
            name = f"{name} of {mib(size)}"
            yield from compare(values, {Nginx.name: 0.5, Httplib.name: 1.0}, "transfer", name,
                               AT_LEAST, rate_text)
            yield Case("transfer", f"{name}, resident peak above the body", "", over.copy(),
                       AT_MOST, 64, "MiB")
            yield Case("transfer", f"{name}, resident afterwards", "", kept.copy(), unit="MiB")
    stored.unlink()


def local_data(bench: Bench):
    """"/convertWithLocalData" with a large image"""
    size = bench.scale.image
    text = base64.b64encode(os.urandom(size)).decode("ascii")
    request, encoded = bench.folder / "inline.json", bench.folder / "inline.base64"
    request.write_text(json.dumps({"fileName": "inline.tif", "imgData": text,
                                   "configuration": "Press"}), encoding="ascii")
    encoded.write_text(text, encoding="ascii")
    target = bench.files / "inline.tif"
    peaks, grown = [], []

    def asked() -> float:
        with bench.server(Service) as service:
            before = settled(service)
            line = bench.programs.run("bench_requests", service.port, "/convertWithLocalData", 1, 1,
                                      request).without_failures()
            peaks.append(service.memory("VmHWM") / size)
            grown.append((settled(service) - before) / MIB)
        target.unlink()
        return line.median

    def by_hand() -> float:
        seconds = seconds_of(["sh", "-c", 'base64 --decode "$1" >"$2" && "$3" --translateerror '
                              '--overwriteoutput=increment -c Press "$2" -o "$2.out"', "sh",
                              str(encoded), str(target), bench.programs.trivial_tool])
        target.unlink()
        return seconds * 1e6

    values = bench.in_turns({"asked": asked, "by hand": by_hand})
    name = f"image of {mib(size)}"
    yield Case("inline conversion", name, "base64 --decode, then the tool",
               ratios(values["asked"], values["by hand"]), AT_MOST, 1.5,
               ours=microseconds(values["asked"]), theirs=microseconds(values["by hand"]))
    yield Case("inline conversion", f"{name}, resident peak", "the image's size", peaks, AT_MOST, 6)
    yield Case("inline conversion", f"{name}, resident growth afterwards", "", grown, AT_MOST, 16,
               "MiB")
    request.unlink()
    encoded.unlink()


@contextlib.contextmanager
def conversions(bench: Bench, server: Server, picture: str, count: int):
    """Keeps this many running while the block lasts: each client converts again and again."""
    clients = []
    try:
        for number in range(count):
            request = bench.folder / f"polled-{number}.json"
            request.write_text(json.dumps({
                "fileName": picture, "reqestID": f"polled-{number}",
                "configuration": "PressCMYK", "cancelID": f"never-{number}"}), encoding="utf-8")
            clients.append(bench.programs.begin("bench_requests", server.port, "/convert", 1,
                                                1000000, request))
        time.sleep(0.3)  # until all have begun
        yield
    finally:
        for client in clients:
            client.terminate()
            client.wait()


def polling(bench: Bench):
    """"/progressInfo/<arg>" polled while conversions run"""
    picture = pathlib.Path(__file__).resolve().parents[2] / "examples/images/demo.jpg"
    (bench.files / "polled.jpg").write_bytes(picture.read_bytes())
    lost = []

    def polls(server: Server, job: str) -> float:
        line = bench.programs.run("bench_polling", server.port, f"/progressInfo/{job}", 50, 10,
                                  int(bench.scale.polling * 1000))
        lost.append(line.number("lost"))
        return line.percentile99

    def while_idle(server: Server, job: str) -> float:
        return polls(server, job)

    def while_busy(server: Server, job: str) -> float:
        with conversions(bench, server, "polled.jpg", 4):
            value = polls(server, job)
        wait_until_quiet(server)
        return value

    with bench.server(Service, tool=bench.programs.sample_tool) as service:
        with urllib.request.urlopen(service.url("/progressTest")) as answer:
            job = urllib.parse.quote(answer.read().decode("ascii"))
        values = bench.in_turns({"busy": lambda: while_busy(service, job),
                                 "idle": lambda: while_idle(service, job)})
    yield Case("polling", "50 clients every 10 ms during 4 conversions, 99th percentile",
               "the same while idle", ratios(values["busy"], values["idle"]),
               ours=microseconds(values["busy"]), theirs=microseconds(values["idle"]))
    yield Case("polling", "polls without an answer", "", lost, AT_MOST, 0)
    for file in bench.files.glob("polled*"):
        file.unlink()


def wait_until_quiet(server: Server) -> None:
    """Waits for the tools, which may outlive their clients."""
    def children() -> str:
        text = ""
        for task in pathlib.Path(f"/proc/{server.process.pid}/task").iterdir():
            with contextlib.suppress(FileNotFoundError):
                text += (task / "children").read_text(encoding="ascii")
        return text

    while children().strip():
        time.sleep(0.05)


def start_up(bench: Bench):
    """From start to first response"""
    def milliseconds(kind) -> float:
        server = bench.server(kind)
        return bench.programs.run("bench_startup", server.port, "/", bench.scale.starts,
                                  *server.words(), environment=server.environment()).median

    values = bench.in_turns({kind.name: lambda kind=kind: milliseconds(kind)
                             for kind in (Service, Nginx)})
    yield from compare(values, {Nginx.name: None}, "start", "to the first answer", "", microseconds)


ALL = {
    "keepalive": keepalive,
    "newconnections": new_connections,
    "burst": burst,
    "idle": idle,
    "toolruns": tool_runs,
    "convert": convert,
    "answers": answers,
    "crowd": crowd,
    "leftover": leftover,
    "transfer": transfer,
    "localdata": local_data,
    "polling": polling,
    "startup": start_up,
}
