"""The built service as a separate process, with its own settings store and folders."""

import os
import pathlib
import resource
import shutil
import signal
import socket
import subprocess
import tempfile
import time

import rawhttp

READY = 60.0  # seconds; wine is slow to start


class Service:
    """Serves on a free port of 127.0.0.1 while the block lasts. The words are the command line
    after the port; `limits` are (resource, soft and hard) pairs; `user` is a numeric id.

    A program for Windows runs under wine, in the prefix that the environment names, and so does its
    tool. Its settings are the prefix's; what needs /proc does not work with it. `settings` are the
    program's own commands for them, with their values."""

    def __init__(self, program: str, tool: str, environment: dict = None, limits: list = (),
                 user: int = None, work_folder: str = None, errors_to=None, settings: dict = None):
        self.folder = pathlib.Path(tempfile.mkdtemp(prefix="vond-hostile-"))
        self.program = program
        self.tool = tool
        self.limits = limits
        self.user = user
        self.errors_to = errors_to  # a file object instead of one that errors() reads
        self.is_for_windows = program.endswith(".exe")
        self.settings = settings or {}
        for name in ("config/meridane", "systemconfig", "tmp"):
            (self.folder / name).mkdir(parents=True)
        self.work = pathlib.Path(work_folder) if work_folder else self.folder / "tmp"
        self.environment = {
            name: value for name, value in os.environ.items() if not name.startswith("QT_")}
        self.environment.update(
            XDG_CONFIG_HOME=str(self.folder / "config"),
            XDG_CONFIG_DIRS=str(self.folder / "systemconfig"),
            TMPDIR=str(self.folder / "tmp"), LC_ALL="C.UTF-8", QT_FORCE_STDERR_LOGGING="1")
        if self.is_for_windows:
            del self.environment["TMPDIR"]  # wine's own files would lie among the service's
        self.environment.update(environment or {})
        if work_folder:
            (self.folder / "config/meridane/vondServer.conf").write_text(
                f"[General]\nTempFolder={work_folder}\n", encoding="utf-8")
        self.process = None
        self.port = 0
        self.free_port = 0  # to be listened on, where it cannot be asked for

    @property
    def address(self) -> tuple:
        return ("127.0.0.1", self.port)

    @property
    def pid(self) -> int:
        return self.process.pid

    def __enter__(self):
        self.start()
        return self

    def __exit__(self, *_):
        self.stop()
        shutil.rmtree(self.folder, ignore_errors=True)

    def start(self) -> None:
        def prepare():
            for kind, value in self.limits:
                resource.setrlimit(kind, (value, value))

        own = {}
        if self.user is not None:
            for path in [self.folder, *self.folder.rglob("*")]:
                os.chown(path, self.user, self.user)
            own = {"user": self.user, "group": self.user, "extra_groups": []}
        with open(self.folder / "output", "ab") as output, \
                open(self.folder / "error", "ab") as error:
            self.process = subprocess.Popen(
                self._command(), stdin=subprocess.DEVNULL, stdout=output,
                stderr=self.errors_to or error, env=self.environment, preexec_fn=prepare, **own)
        deadline = time.monotonic() + READY
        self.port = 0
        while not self.port:
            if self.process.poll() is not None or time.monotonic() > deadline:
                raise RuntimeError("the service does not listen: " + self.errors())
            time.sleep(0.005)
            self.port = self._listening_port()

    def _command(self) -> list:
        if not self.is_for_windows:
            return [self.program, "127.0.0.1", "0", self.tool]
        for word, value in {"setTempFolder": f"Z:{self.work}", "setLogFolder": f"Z:{self.work}",
                            "setLogging": "0", **self.settings}.items():
            self.run(word, value)
        with socket.create_server(("127.0.0.1", 0)) as taken:
            self.free_port = taken.getsockname()[1]
        return ["wine", self.program, "127.0.0.1", str(self.free_port), f"Z:{self.tool}"]

    def run(self, *words) -> tuple:
        """The Windows program with these words: its exit status and what it printed. Into files: what
        wine leaves running would hold a pipe open."""
        with tempfile.TemporaryFile() as output:
            status = subprocess.run(["wine", self.program, *words], stdin=subprocess.DEVNULL, stdout=output,
                                    stderr=subprocess.DEVNULL, env=self.environment, check=False,
                                    timeout=READY).returncode
            output.seek(0)
            return status, output.read()

    def stop(self) -> None:
        if self.process and self.process.poll() is None:
            self.process.terminate()
            self.process.wait(READY)

    def kill(self) -> None:
        self.process.send_signal(signal.SIGKILL)
        self.process.wait(READY)

    def alive(self) -> bool:
        return self.process.poll() is None

    def errors(self) -> str:
        return (self.folder / "error").read_text(encoding="utf-8", errors="replace")

    def _listening_port(self) -> int:
        if self.is_for_windows:
            try:
                socket.create_connection(("127.0.0.1", self.free_port), timeout=READY).close()
                return self.free_port
            except ConnectionRefusedError:
                return 0
        sockets = set()
        try:
            for name in os.listdir(f"/proc/{self.pid}/fd"):
                target = os.readlink(f"/proc/{self.pid}/fd/{name}")
                if target.startswith("socket:["):
                    sockets.add(target[8:-1])
            with open(f"/proc/{self.pid}/net/tcp", encoding="ascii") as table:
                for line in table.read().splitlines()[1:]:
                    fields = line.split()
                    if fields[3] == "0A" and fields[9] in sockets:
                        return int(fields[1].split(":")[1], 16)
        except FileNotFoundError:
            pass  # a descriptor, or the process, that went meanwhile
        return 0

    # What it uses.

    def descriptors(self) -> int:
        return len(os.listdir(f"/proc/{self.pid}/fd"))

    def lowest_free_descriptor(self) -> int:
        taken = {int(name) for name in os.listdir(f"/proc/{self.pid}/fd")}
        return next(number for number in range(len(taken) + 1) if number not in taken)

    def threads(self) -> int:
        return len(os.listdir(f"/proc/{self.pid}/task"))

    def connection_threads(self) -> int:
        """Those of connections; a thread sanitizer has one of its own, too."""
        found = 0
        for task in os.listdir(f"/proc/{self.pid}/task"):
            try:
                with open(f"/proc/{self.pid}/task/{task}/comm", encoding="ascii") as file:
                    found += file.read().startswith("VondRequest")
            except OSError:
                pass  # has just ended
        return found

    def children(self) -> list:
        """The process ids of the tools that are running or have not been reaped."""
        found = []
        for task in os.listdir(f"/proc/{self.pid}/task"):
            try:
                with open(f"/proc/{self.pid}/task/{task}/children", encoding="ascii") as file:
                    found += [int(word) for word in file.read().split()]
            except FileNotFoundError:
                pass
        return found

    def processor_seconds(self) -> float:
        with open(f"/proc/{self.pid}/stat", encoding="ascii") as file:
            fields = file.read().rsplit(")", 1)[1].split()
        return (int(fields[11]) + int(fields[12])) / os.sysconf("SC_CLK_TCK")

    def memory(self) -> int:
        """Bytes of address space."""
        with open(f"/proc/{self.pid}/statm", encoding="ascii") as file:
            return int(file.read().split()[0]) * os.sysconf("SC_PAGE_SIZE")

    def limit(self, kind: int, value: int) -> tuple:
        """Sets the soft limit while it runs; returns the previous one."""
        old = resource.prlimit(self.pid, kind)
        resource.prlimit(self.pid, kind, (value, old[1]))
        return old

    def serves(self) -> bool:
        """Whether a new client gets a response."""
        try:
            answer = rawhttp.get(self.address, "/")
        except (ConnectionError, TimeoutError):
            return False
        return answer is not None and answer.status == 200


def eventually(condition, seconds: float = READY) -> bool:
    """Whether the condition becomes true in time. Checks repeatedly."""
    deadline = time.monotonic() + seconds
    while not condition():
        if time.monotonic() > deadline:
            return False
        time.sleep(0.01)
    return True
