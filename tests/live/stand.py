"""What the live tests in Python share: programs on free loopback ports, in a temporary folder, that end
with the block that started them; requests to them; and tests that run in the order in which they are
written."""

import argparse
import base64
import contextlib
import copy
import json
import os
import pathlib
import re
import shutil
import signal
import socket
import ssl
import subprocess
import sys
import tempfile
import threading
import time
import unittest
import urllib.error
import urllib.request

ROOT = pathlib.Path(__file__).resolve().parents[2]
PATIENCE = 30.0  # seconds to wait for what should happen at once
TARGETS = ["vondServer", "vond-sample", "faketool"]

os.environ["LC_ALL"] = "C.UTF-8"  # same sorting, file names and messages on every machine
os.environ["PATH"] += ":/usr/sbin:/sbin"


def parser(description: str, build: bool = True) -> argparse.ArgumentParser:
    """The command line that the live tests share; with build, it has the option for build()."""
    result = argparse.ArgumentParser(description=description, allow_abbrev=False,
                                     formatter_class=argparse.RawDescriptionHelpFormatter)
    if build:
        result.add_argument("--build-folder", type=pathlib.Path, metavar="DIR",
                            help="use the programs in this build folder instead of building them")
    return result


def build(folder, preset: str = "release", targets: list = ("vondServer", "vond-sample")) -> pathlib.Path:
    """The folder with the programs: the given one, or the preset's, which is then built."""
    if folder:
        return folder.resolve()
    shell(f"build_preset {preset} --target {' '.join(targets)}")
    return ROOT / "build" / preset


def build_folder(description: str, arguments=None) -> tuple:
    """The folder with the programs, which are built unless --build-folder names one, and the other arguments."""
    known, rest = parser(description).parse_known_args(arguments)
    return build(known.build_folder, targets=TARGETS), rest


def shell(commands: str) -> None:
    """Runs shell commands in the project's root folder, with the functions of lib.sh."""
    subprocess.run(["bash", "-c", f"set -e; source tests/live/lib.sh; {commands}"], cwd=ROOT, check=True,
                   stdin=subprocess.DEVNULL)


def install(*sets: str) -> None:
    """Installs what is missing from these sets of packages."""
    subprocess.run([ROOT / "scripts/install-dependencies", *sets], check=True)


class InOrder(unittest.TestLoader):
    """Loads the tests of a class in the order in which they are written, those of its bases first."""

    def getTestCaseNames(self, testCaseClass):  # noqa: N802, N803
        written = [name for kind in reversed(testCaseClass.__mro__) for name in vars(kind)]
        return sorted(super().getTestCaseNames(testCaseClass), key=written.index)


def run_tests(words: list) -> None:
    """Runs the program's tests, or those that the words name, and exits with the outcome. Gives what was
    built through sudo to the owner of the sources."""
    try:
        unittest.main(argv=[sys.argv[0], *words], testLoader=InOrder(), verbosity=2)
    finally:
        shell("give_build_folder_back")


def free_port(address: str = "127.0.0.1") -> int:
    with socket.socket() as probe:
        probe.bind((address, 0))
        return probe.getsockname()[1]


def until(what: str, condition, seconds: float = PATIENCE, every: float = 0.02):
    """Waits until the condition returns something true, and returns that; fails on timeout."""
    deadline = time.monotonic() + seconds
    while True:
        result = condition()
        if result:
            return result
        if time.monotonic() > deadline:
            raise AssertionError(f"{what}: not within {seconds:g} seconds")
        time.sleep(every)


class Answer:
    def __init__(self, status: int, headers, body: bytes):
        self.status = status
        self.headers = headers
        self.body = body
        self.text = body.decode("utf-8", "replace")


def ask(url: str, data: bytes = None, headers: dict = None, timeout: float = 60.0,
        certificate=None) -> Answer:
    """GET, or POST if there is data. Any status is a response; without a response, raises OSError."""
    request = urllib.request.Request(url, data=data, headers=headers or {})
    opener = urllib.request.build_opener(
        urllib.request.ProxyHandler({}), urllib.request.HTTPSHandler(
            context=ssl.create_default_context(cafile=certificate)))
    try:
        with opener.open(request, timeout=timeout) as response:
            return Answer(response.status, response.headers, response.read())
    except urllib.error.HTTPError as error:
        return Answer(error.code, error.headers, error.read())


class Sent:
    """A request on its way."""

    def __init__(self, command: list, data: bytes):
        self._body, self._words = tempfile.TemporaryFile(), tempfile.TemporaryFile()
        with tempfile.TemporaryFile() as sent:
            sent.write(data or b"")
            sent.seek(0)
            self._process = subprocess.Popen(command, stdin=sent, stdout=self._body, stderr=self._words)

    def is_underway(self) -> bool:
        return self._process.poll() is None

    def answer(self) -> Answer:
        """Waits for the response. Header names are in lower case; without a response, the status is 0."""
        self._process.wait()
        texts = []
        for file in (self._body, self._words):
            with file:
                file.seek(0)
                texts.append(file.read())
        seen = json.loads(texts[1])
        headers = {name.lower(): ", ".join(values) for name, values in seen["headers"].items()}
        return Answer(int(seen["status"]), headers, texts[0])


class Curl:
    """A client: curl with options. It speaks HTTP/2 if a proxy offers it, leaves paths as they are, and
    retries a request by itself if the connection that it reused has been closed."""

    REPORT = '%{stderr}{"status": "%{http_code}", "headers": %{header_json}}'

    def __init__(self, base: str, *options):
        self.base = base
        self.options = [str(word) for word in options]

    def but(self, *options) -> "Curl":
        """The same client with more options."""
        other = copy.copy(self)
        other.options = [*self.options, *(str(word) for word in options)]
        return other

    def send(self, path: str, data=None, *options, after: str = None) -> Sent:
        """GET, or POST if there is data. `after` is a path to request first, on the same connection."""
        common = ["--silent", "--noproxy", "*", "--path-as-is", *self.options]
        command = ["curl", "-q", *common]
        if after:
            command += ["--output", os.devnull, self.base + after, "--next", *common]
        if data is not None:
            command += ["--data-binary", "@-"]
        data = data.encode() if isinstance(data, str) else data
        return Sent([*command, *(str(word) for word in options), "--write-out", self.REPORT, self.base + path], data)

    def ask(self, path: str, data=None, *options, after: str = None) -> Answer:
        return self.send(path, data, *options, after=after).answer()

    def status(self, path: str, data=None, *options) -> int:
        return self.ask(path, data, *options).status


def answers(url: str):
    """For until(): the response, or None as long as nothing listens."""
    try:
        return ask(url, timeout=5.0)
    except OSError:
        return None


def configuration(text: str, *changes) -> str:
    """A shipped file with paths and ports replaced. It must contain each text that is replaced."""
    for old, new in changes:
        if old not in text:
            raise AssertionError(f"the shipped file lacks: {old}")
        text = text.replace(old, new)
    return text


def basic(user: str, password: str) -> dict:
    return {"Authorization": "Basic " + base64.b64encode(f"{user}:{password}".encode()).decode()}


# While it works it watches the stop file, as the sample tool does.
SLOW_TOOL = """#!/bin/bash
for word in "$@"; do
    [[ $word != --stopfile=* ]] || stop=${{word#*=}}
    [[ $before == -o || $word != */* || $word == -* ]] || name=${{word##*/}}
    before=$word
done
[[ -z $name ]] || echo "${{VOND_INSTANCE-vond}} $name" >>"{runs}"
case $name in
    silent*) echo "Error: no" >&2; exit 1 ;;
{tenths}
esac
if [[ -n ${{tenths-}} ]]; then
    echo "Progress: 1% of $name"
    for ((; tenths > 0; tenths -= 2)); do
        [[ ! -e $stop ]] || break
        sleep 0.2
    done
fi
exec "{sample_tool}" "$@"
"""


class Stand:
    """A temporary folder and the programs that run in it. Ends them in reverse order."""

    def __init__(self, name: str):
        self.folder = pathlib.Path(tempfile.mkdtemp(prefix=f"vond-{name}."))
        self.folder.chmod(0o755)  # nginx and HAProxy run their workers as another user
        self._running = []
        self._lock = threading.Lock()

    def __enter__(self):
        return self

    def __exit__(self, *_):
        with self._lock:
            running, self._running = self._running, []
        for process in reversed(running):
            self._end(process)
        shutil.rmtree(self.folder, ignore_errors=True)

    def path(self, *names) -> pathlib.Path:
        return self.folder.joinpath(*names)

    def make(self, *names) -> pathlib.Path:
        folder = self.path(*names)
        folder.mkdir(parents=True, exist_ok=True)
        return folder

    def start(self, name: str, command: list, environment: dict = None) -> subprocess.Popen:
        """Starts a program in a separate process group; its output goes to NAME.output."""
        with open(self.path(f"{name}.output"), "ab") as output:
            process = subprocess.Popen([str(word) for word in command], stdin=subprocess.DEVNULL,
                                       stdout=output, stderr=subprocess.STDOUT,
                                       start_new_session=True, env=environment)
        with self._lock:
            self._running.append(process)
        return process

    def stop(self, process: subprocess.Popen) -> None:
        with self._lock:
            if process in self._running:
                self._running.remove(process)
        self._end(process)

    @staticmethod
    def _end(process: subprocess.Popen) -> None:
        with contextlib.suppress(ProcessLookupError):
            os.killpg(process.pid, signal.SIGTERM)
        try:
            process.wait(PATIENCE)
        except subprocess.TimeoutExpired:
            with contextlib.suppress(ProcessLookupError):
                os.killpg(process.pid, signal.SIGKILL)
            process.wait()

    def output(self, name: str) -> str:
        with contextlib.suppress(FileNotFoundError):
            return self.path(f"{name}.output").read_text(encoding="utf-8", errors="replace")
        return ""

    def start_service(self, name: str, program, environment: dict = None, before: list = (),
                      url: str = None, words: list = ()) -> subprocess.Popen:
        """Starts vondServer, with system-wide settings in NAME/etc, and waits until it responds. `before`
        precedes the command; `words` are its arguments."""
        own = {key: value for key, value in os.environ.items() if not key.startswith(("QT_", "XDG_"))}
        own.update(LC_ALL="C.UTF-8", QT_FORCE_STDERR_LOGGING="1",
                   XDG_CONFIG_HOME=str(self.make(name, "config")),
                   XDG_CONFIG_DIRS=str(self.make(name, "etc")))
        own.update(environment or {})
        process = self.start(name, [*before, program, *words], own)
        until(f"{name} answers", lambda: self.is_alive(process, name) and answers(url))
        return process

    def is_alive(self, process: subprocess.Popen, name: str) -> bool:
        if process.poll() is not None:
            raise AssertionError(f"{name} has ended: {self.output(name)[-2000:]}")
        return True

    def kill(self, process: subprocess.Popen) -> None:
        """Kills it at once, with everything that it has started."""
        with contextlib.suppress(ProcessLookupError):
            os.killpg(process.pid, signal.SIGKILL)
        self.stop(process)

    def make_certificate(self, name: str, other_names: str = "") -> None:
        """Makes a certificate for this host: cert.pem and key.pem, and both in both.pem."""
        names = ",".join([f"DNS:{name}", *other_names.split()])
        subprocess.run(["openssl", "req", "-x509", "-newkey", "rsa:2048", "-nodes", "-days", "2", "-subj", f"/CN={name}",
                        "-addext", f"subjectAltName={names}", "-keyout", self.path("key.pem"),
                        "-out", self.path("cert.pem")], check=True, stderr=subprocess.DEVNULL)
        self.path("both.pem").write_bytes(self.path("cert.pem").read_bytes() + self.path("key.pem").read_bytes())
        self.path("both.pem").chmod(0o644)

    def write_tool(self, sample_tool: pathlib.Path, seconds: dict) -> pathlib.Path:
        """Makes a tool that adds its instance and the picture's name to the file "runs", works for some
        seconds if the name matches a pattern, and then becomes the sample tool. For silent* it fails
        without a word on standard output."""
        tool = self.path("tool")
        tool.write_text(SLOW_TOOL.format(
            runs=self.path("runs"), sample_tool=sample_tool, tenths="\n".join(
                f"    {pattern}) tenths={round(10 * duration)} ;;" for pattern, duration in seconds.items())),
            encoding="utf-8")
        tool.chmod(0o755)
        self.path("runs").touch()
        return tool

    def runs(self, name: str = None) -> list:
        """The instances that ran the tool, in order: for one picture, or for all."""
        lines = self.path("runs").read_text(encoding="utf-8").splitlines()
        return [line.split(" ", 1)[0] for line in lines if name is None or line.split(" ", 1)[1] == name]

    def settings(self, name: str, **values) -> None:
        folder = self.make(name, "etc", "meridane")
        lines = "".join(f"{key}={value}\n" for key, value in values.items())
        (folder / "vondServer.conf").write_text("[General]\n" + lines, encoding="utf-8")

    def start_nginx(self, port: int, *changes, encrypted: bool = False) -> subprocess.Popen:
        """Starts nginx with deploy/nginx.conf; the password of "client" is "secret". If encrypted, it uses the
        files of make_certificate(), and this does not wait for it."""
        home = self.make("nginx")
        hashed = subprocess.run(["openssl", "passwd", "-apr1", "secret"], capture_output=True,
                                check=True, text=True).stdout
        (home / "htpasswd").write_text(f"client:{hashed}", encoding="ascii")
        site = (ROOT / "deploy/nginx.conf").read_text(encoding="utf-8")
        if encrypted:
            listen = [("listen 443 ssl", f"listen 127.0.0.1:{port} ssl"),
                      ("/etc/ssl/certs/vond.pem", str(self.path("cert.pem"))),
                      ("/etc/ssl/private/vond.key", str(self.path("key.pem")))]
        else:
            site = re.sub(r"^ *ssl_.*\n", "", site, flags=re.M)
            listen = [("listen 443 ssl http2", f"listen 127.0.0.1:{port}")]
        (home / "site.conf").write_text(configuration(
            site, *listen, ("/etc/nginx/vond.htpasswd", str(home / "htpasswd")),
            ("/var/log/nginx/vond.log", str(home / "vond.log")), *changes), encoding="utf-8")
        temporary = "".join(f"    {kind}_temp_path {home}/{kind};\n" for kind in
                            ("client_body", "proxy", "fastcgi", "uwsgi", "scgi"))
        (home / "nginx.conf").write_text(
            f"daemon off;\npid {home}/pid;\nerror_log {home}/error.log;\n"
            + ("user root;\n" if os.geteuid() == 0 else "")
            + "events { worker_connections 2048; }\nhttp {\n    access_log off;\n"
            + temporary + f"    include {home}/site.conf;\n}}\n", encoding="utf-8")
        command = [program("nginx"), "-e", home / "error.log", "-c", home / "nginx.conf"]
        subprocess.run([*command, "-q", "-t"], check=True)
        process = self.start("nginx", command)
        if not encrypted:
            until("nginx answers", lambda: self.is_alive(process, "nginx")
                  and answers(f"http://127.0.0.1:{port}/"))
        return process


def program(name: str) -> str:
    found = shutil.which(name)
    if not found:
        raise SystemExit(f"{name} is not installed")
    return found


def convert_body(name: str, job: str, configuration_name: str, cancel: str = None) -> bytes:
    return json.dumps({"fileName": name, "reqestID": job, "configuration": configuration_name,
                       "cancelID": cancel or f"stop-{job}"}).encode()
