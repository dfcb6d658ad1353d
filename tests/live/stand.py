"""What the live tests in Python share: programs on free loopback ports, in a folder of their own,
that end with the block that started them."""

import argparse
import base64
import contextlib
import json
import os
import pathlib
import re
import shutil
import signal
import socket
import ssl
import subprocess
import tempfile
import threading
import time
import urllib.error
import urllib.request

ROOT = pathlib.Path(__file__).resolve().parents[2]
PATIENCE = 30.0  # seconds for what should be there at once
TARGETS = ["vondServer", "vond-sample", "faketool"]


def build_folder(description: str, arguments=None) -> tuple:
    """The folder with the built programs, made unless --build-folder names one; and the other words."""
    parser = argparse.ArgumentParser(description=description)
    parser.add_argument("--build-folder", type=pathlib.Path, metavar="DIR",
                        help="use the programs in this build folder, and build nothing")
    known, rest = parser.parse_known_args(arguments)
    if known.build_folder:
        return known.build_folder.resolve(), rest
    if not (ROOT / "build/release/CMakeCache.txt").exists():
        environment = dict(os.environ)
        if shutil.which("ccache"):
            environment.setdefault("CMAKE_CXX_COMPILER_LAUNCHER", "ccache")
        subprocess.run(["cmake", "--preset", "release"], cwd=ROOT, env=environment, check=True,
                       stdout=subprocess.DEVNULL)
    subprocess.run(["cmake", "--build", "--preset", "release", "--target", *TARGETS], cwd=ROOT,
                   check=True)
    return ROOT / "build/release", rest


def free_port(address: str = "127.0.0.1") -> int:
    with socket.socket() as probe:
        probe.bind((address, 0))
        return probe.getsockname()[1]


def until(what: str, condition, seconds: float = PATIENCE, every: float = 0.02):
    """Waits until the condition returns something, and returns that; fails on timeout."""
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


def answers(url: str):
    """For until(): the response, or nothing as long as nothing listens."""
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


class Stand:
    """A folder, and the programs that run in it. Ends them in reverse order."""

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
        """In a process group of its own; what it prints goes to NAME.output."""
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
                      url: str = None) -> subprocess.Popen:
        """vondServer with settings for all users in NAME/etc; waits until it answers. `before` is
        put before the command."""
        own = {key: value for key, value in os.environ.items() if not key.startswith(("QT_", "XDG_"))}
        own.update(LC_ALL="C.UTF-8", QT_FORCE_STDERR_LOGGING="1",
                   XDG_CONFIG_HOME=str(self.make(name, "config")),
                   XDG_CONFIG_DIRS=str(self.make(name, "etc")))
        own.update(environment or {})
        process = self.start(name, [*before, program], own)
        until(f"{name} answers", lambda: self._alive(process, name) and answers(url))
        return process

    def _alive(self, process: subprocess.Popen, name: str) -> bool:
        if process.poll() is not None:
            raise AssertionError(f"{name} has ended: {self.output(name)[-2000:]}")
        return True

    def settings(self, name: str, **values) -> None:
        folder = self.make(name, "etc", "meridane")
        lines = "".join(f"{key}={value}\n" for key, value in values.items())
        (folder / "vondServer.conf").write_text("[General]\n" + lines, encoding="utf-8")

    def start_nginx(self, port: int, *changes) -> subprocess.Popen:
        """With deploy/nginx.conf, without encryption; the password of "client" is "secret"."""
        home = self.make("nginx")
        hashed = subprocess.run(["openssl", "passwd", "-apr1", "secret"], capture_output=True,
                                check=True, text=True).stdout
        (home / "htpasswd").write_text(f"client:{hashed}", encoding="ascii")
        site = (ROOT / "deploy/nginx.conf").read_text(encoding="utf-8")
        site = re.sub(r"^ *ssl_.*\n", "", site, flags=re.M)
        site = configuration(
            site, ("listen 443 ssl http2", f"listen 127.0.0.1:{port}"),
            ("/etc/nginx/vond.htpasswd", str(home / "htpasswd")),
            ("/var/log/nginx/vond.log", str(home / "vond.log")), *changes)
        (home / "site.conf").write_text(site, encoding="utf-8")
        temporary = "".join(f"    {kind}_temp_path {home}/{kind};\n" for kind in
                            ("client_body", "proxy", "fastcgi", "uwsgi", "scgi"))
        (home / "nginx.conf").write_text(
            f"daemon off;\npid {home}/pid;\nerror_log {home}/error.log;\n"
            + ("user root;\n" if os.geteuid() == 0 else "")
            + "events { worker_connections 2048; }\nhttp {\n    access_log off;\n"
            + temporary + f"    include {home}/site.conf;\n}}\n", encoding="utf-8")
        process = self.start("nginx", [program("nginx"), "-e", home / "error.log",
                                       "-c", home / "nginx.conf"])
        until("nginx answers", lambda: self._alive(process, "nginx")
              and answers(f"http://127.0.0.1:{port}/"))
        return process


def program(name: str) -> str:
    found = shutil.which(name, path=os.environ["PATH"] + ":/usr/sbin:/sbin")
    if not found:
        raise SystemExit(f"{name} is not installed")
    return found


def convert_body(name: str, job: str, configuration_name: str, cancel: str = None) -> bytes:
    return json.dumps({"fileName": name, "reqestID": job, "configuration": configuration_name,
                       "cancelID": cancel or f"stop-{job}"}).encode()
