"""The service and its peers, each as a separate process on a free port of 127.0.0.1."""

import json
import os
import pathlib
import shutil
import socket
import subprocess
import time

from programs import Failed, Programs

READY = 30.0  # seconds
HELLO = "vondServer: Hello world"  # every peer's response to "/", too


def free_port() -> int:
    with socket.socket() as probe:
        probe.bind(("127.0.0.1", 0))
        return probe.getsockname()[1]


class Server:
    """Serves while the block lasts. `folder` is its own; `files` is shared by all."""

    name = ""

    def __init__(self, programs: Programs, folder: pathlib.Path, files: pathlib.Path):
        self.programs = programs
        self.files = files
        self.port = free_port()
        self.folder = folder / f"{type(self).__name__.lower()}-{self.port}"
        self.folder.mkdir(parents=True)
        self.process = None

    def words(self) -> list:
        raise NotImplementedError

    def environment(self) -> dict:
        return {}

    def write(self, name: str, text: str) -> str:
        path = self.folder / name
        path.write_text(text, encoding="utf-8")
        return str(path)

    def url(self, path: str = "/") -> str:
        return f"http://127.0.0.1:{self.port}{path}"

    def __enter__(self):
        with open(self.folder / "complaints", "wb") as complaints:
            self.process = subprocess.Popen(
                self.words(), stdin=subprocess.DEVNULL, stdout=subprocess.DEVNULL,
                stderr=subprocess.DEVNULL if self.is_talkative() else complaints,
                env={**os.environ, **self.environment()})
        deadline = time.monotonic() + READY
        while not self._listens():
            if self.process.poll() is not None or time.monotonic() > deadline:
                self.__exit__()
                raise Failed(f"{self.name} does not listen")
            time.sleep(0.01)
        return self

    def __exit__(self, *_):
        if self.process.poll() is None:
            self.process.terminate()
            try:
                self.process.wait(READY)
            except subprocess.TimeoutExpired:
                self.process.kill()
                self.process.wait()
        shutil.rmtree(self.folder, ignore_errors=True)

    def is_talkative(self) -> bool:
        return False

    def _listens(self) -> bool:
        with socket.socket() as probe:
            return probe.connect_ex(("127.0.0.1", self.port)) == 0

    def memory(self, label: str) -> int:
        """Bytes: "VmRSS" is what is resident now, "VmHWM" the peak."""
        with open(f"/proc/{self.process.pid}/status", encoding="ascii") as status:
            for line in status:
                if line.startswith(label + ":"):
                    return int(line.split()[1]) * 1024
        raise Failed(f"no {label}")


class Service(Server):
    """What is measured; logging to a file is off, as by default."""

    name = "the service"

    def __init__(self, programs, folder, files, tool: str = None, preload: dict = None):
        super().__init__(programs, folder, files)
        self.tool = tool or programs.trivial_tool
        self.preload = preload or {}

    def words(self) -> list:
        return [self.programs.service, "127.0.0.1", str(self.port), self.tool]

    def environment(self) -> dict:
        config = self.folder / "config/meridane"
        config.mkdir(parents=True, exist_ok=True)
        (config / "vondServer.conf").write_text(f"[General]\nTempFolder={self.files}\n",
                                                encoding="utf-8")
        return {"XDG_CONFIG_HOME": str(self.folder / "config"),
                "XDG_CONFIG_DIRS": str(self.folder / "none"),
                "QT_FORCE_STDERR_LOGGING": "1", **self.preload}

    def is_talkative(self) -> bool:
        return True  # a line or two for every connection


class Nginx(Server):
    name = "nginx"

    def words(self) -> list:
        path = self.write("nginx.conf", self.configuration())
        return ["nginx", "-p", str(self.folder), "-c", path, "-e", str(self.folder / "error.log")]

    def configuration(self) -> str:
        user = "user root;\n" if os.geteuid() == 0 else ""
        temporary = "".join(f"    {kind}_temp_path {self.folder}/{kind};\n"
                            for kind in ("proxy", "fastcgi", "uwsgi", "scgi"))
        return f"""{user}daemon off;
worker_processes 2;
worker_rlimit_nofile 16384;
pid {self.folder}/pid;
error_log {self.folder}/error.log crit;
events {{ worker_connections 8192; }}
http {{
    access_log off;
    sendfile on;
    tcp_nopush on;
    keepalive_requests 1000000000;
    client_max_body_size 0;
    client_body_temp_path {self.files}/nginx-body;
{temporary}    server {{
        listen 127.0.0.1:{self.port} backlog=4096;
        location = / {{ default_type text/plain; return 200 "{HELLO}"; }}
        location /files/ {{ alias {self.files}/; }}
        location /upload/ {{ alias {self.files}/; dav_methods PUT; }}
    }}
}}
"""


class Lighttpd(Server):
    name = "lighttpd mod_cgi"

    def words(self) -> list:
        path = self.write("lighttpd.conf", self.configuration())
        program = shutil.which("lighttpd") or "/usr/sbin/lighttpd"
        return [program, "-D", "-f", path]

    def configuration(self) -> str:
        script = self.folder / "version.cgi"
        if not script.is_symlink():
            script.symlink_to(self.programs.trivial_tool)
        return f"""server.modules = ("mod_cgi")
server.document-root = "{self.folder}"
server.bind = "127.0.0.1"
server.port = {self.port}
server.max-fds = 16384
server.max-keep-alive-requests = 1000000
cgi.assign = (".cgi" => "")
"""


class Webhook(Server):
    name = "webhook"

    def words(self) -> list:
        path = self.write("hooks.json", self.configuration())
        return ["webhook", "-hooks", path, "-ip", "127.0.0.1", "-port", str(self.port)]

    def configuration(self) -> str:
        return json.dumps([{
            "id": "version",
            "execute-command": self.programs.trivial_tool,
            "pass-arguments-to-command": [{"source": "string", "name": "version"}],
            "include-command-output-in-response": True,
        }], indent=2) + "\n"


class Httplib(Server):
    name = "cpp-httplib"

    def words(self) -> list:
        return [self.programs.peer("peer_httplib"), str(self.port), str(self.files)]


class Qt6(Server):
    name = "Qt 6's HTTP server"

    def words(self) -> list:
        return [self.programs.peer("peer_qt6"), str(self.port)]


class Threads(Server):
    """Not a peer to beat but a limit: a thread for each connection, and nothing else."""

    name = "a bare thread each"

    def words(self) -> list:
        return [self.programs.peer("peer_threads"), str(self.port)]
