"""Usage: scripts/demo [OPTION...] [IMAGE]
       scripts/demo --console [--build-folder DIR]

Installs what is missing, builds the service and its sample tool, starts the service on a free port
of this machine, uploads IMAGE (JPEG, TIFF or PNG; if none is given, the picture in examples/images,
enlarged), converts it to CMYK while a second connection follows the progress, and fetches the
result: in IMAGE's format, or as TIFF for a PNG, which cannot hold CMYK. Then it converts once more,
and cancels that, unless a small IMAGE is done before. The result and the service's log stay in
build/demo; settings and temporary files lie there, too, until it ends.

With --console it starts the service, and nginx before it, as in deploy/nginx.conf but without
encryption and password, prints the address of the page to convert pictures in a browser, and ends
both with Ctrl-C.

The first time it builds for some minutes. Afterwards it takes half a minute with its own picture.

  --build-folder DIR  use the programs in this build folder, and build nothing
  --output DIR        leave the result and the log here instead of in build/demo
  -h, --help          this text
"""

import base64
import contextlib
import json
import locale
import os
import pathlib
import random
import re
import shutil
import signal
import subprocess
import sys
import tempfile
import time
import unicodedata
import urllib.parse
import uuid

ROOT = pathlib.Path(__file__).resolve().parents[2]
CONFIGURATION = "PressCMYK"
LIBRARY = "source tests/live/lib.sh; "


def fail(*words: str) -> None:
    for text in words:
        print(f"\n{text}", file=sys.stderr)
    raise SystemExit(1)


def refuse(text: str) -> None:
    print(f"scripts/demo: {text}\nscripts/demo --help tells more.", file=sys.stderr)
    raise SystemExit(2)


class Options:
    """What the command line asks for; paths are whole, as the caller's folder is left."""

    def __init__(self, words: list):
        self.programs = self.output = self.image = None
        self.console = False
        words = list(words)
        while words:
            word = words.pop(0)
            if word in ("--build-folder", "--output"):
                if not words:
                    refuse(f"{word} wants a folder")
                setattr(self, "output" if word == "--output" else "programs", pathlib.Path(os.path.realpath(words.pop(0))))
            elif word == "--console":
                self.console = True
            elif word in ("-h", "--help"):
                print(__doc__, end="")
                raise SystemExit(0)
            elif word == "--":
                break
            elif word.startswith("-"):
                refuse(f"there is no option {word}")
            else:
                words.insert(0, word)
                break
        if len(words) > 1:
            refuse("one image at a time, please")
        if words and self.console:
            refuse("the page takes its pictures in the browser")
        if words:
            if not os.path.exists(words[0]):
                refuse(f"there is no file {words[0]}")
            if not os.path.isfile(words[0]) or not os.access(words[0], os.R_OK):
                refuse(f"{words[0]} is no file that can be read")
            self.image = pathlib.Path(os.path.abspath(words[0]))


# --- What is printed ---------------------------------------------------------------------------

class Screen:
    def __init__(self):
        self.is_terminal = sys.stdout.isatty()
        self.bold = self.faint = self.green = self.plain = ""
        self.full, self.empty = "#", " "
        if self.is_terminal and os.environ.get("TERM", "dumb") != "dumb":
            self.bold, self.faint, self.green, self.plain = "\033[1m", "\033[2m", "\033[32m", "\033[0m"
            with contextlib.suppress(locale.Error):
                locale.setlocale(locale.LC_CTYPE, "")
            if locale.nl_langinfo(locale.CODESET) == "UTF-8":
                self.full = self.empty = "\u2501"
        self.steps = 0
        self.percent = -10

    def step(self, text: str) -> None:
        self.steps += 1
        print(f"\n{self.bold}{self.steps}. {text}{self.plain}", flush=True)

    @staticmethod
    def say(*lines: str) -> None:
        for line in lines:
            print(f"   {line}", flush=True)

    def show(self, command: str) -> None:
        """A command as a person would type it."""
        print(f"   {self.faint}$ {command}{self.plain}", flush=True)

    def draw_bar(self, percent: int) -> None:
        """On a terminal a bar that grows; elsewhere a line for every ten percent or more."""
        width = 40
        if self.is_terminal:
            done = percent * width // 100
            print(f"\r   {self.green}{self.full * done}{self.plain}{self.faint}{self.empty * (width - done)}{self.plain}"
                  f" {percent:3} %", end="", flush=True)
        elif percent >= self.percent + 10 or (percent == 100 and self.percent < 100):
            self.say(f"{percent} %")
        else:
            return
        self.percent = percent

    def end_bar(self) -> None:
        if self.is_terminal and self.percent >= 0:
            print(flush=True)
        self.percent = -10


def seconds_since(start: float) -> str:
    tenths = int(10 * (time.monotonic() - start))
    return f"{tenths // 10}.{tenths % 10} s"


def every_ten_percent(lines):
    """From ninja's lines one for every ten percent, and all that is no progress: warnings and errors."""
    due = 0
    for line in lines:
        progress = re.match(r"\[ *(\d+)%\] ", line)
        if progress is None:
            if not line.startswith("ninja: "):
                yield line
            continue
        percent = int(progress[1])
        if percent >= due:
            yield f"   {percent} % built"
            due = percent // 10 * 10 + 10


def quoted(text: str) -> str:
    return "'" + text.replace("'", "'\\''") + "'"


def as_word(text: str) -> str:
    """As a shell reads it as one word, without quotes around."""
    if not text:
        return "''"
    if any(unicodedata.category(letter) == "Cc" for letter in text):
        return "$" + repr(text)
    return re.sub(r"([^\w@%+=:,./~-])", r"\\\1", text)


def last_lines(path: pathlib.Path, count: int) -> str:
    return "\n".join(path.read_text(encoding="utf-8", errors="replace").splitlines()[-count:])


# --- What is sent ------------------------------------------------------------------------------

def url_text(text: str) -> str:
    """A text as one segment of a URL's path."""
    return urllib.parse.quote(os.fsencode(text), safe="")


def upload_name(image: pathlib.Path) -> str:
    """The name an image is uploaded under: its own, unless JSON could not carry that."""
    name = image.name
    with contextlib.suppress(UnicodeEncodeError):
        name.encode()
        if not any(unicodedata.category(letter) == "Cc" for letter in name):
            return name
    suffix = re.search(r"\.[A-Za-z]+$", name)
    return "image" + (suffix[0] if suffix else "")


def fresh_id(word: str) -> str:
    return f"{word}-{uuid.uuid4().hex[-12:]}"


def curl(*words) -> list:
    """Without the caller's own settings; an answer that is not 200 is a failure."""
    return ["curl", "-q", "--noproxy", "*", "--globoff", "--silent", "--show-error",
            "--fail", *(str(word) for word in words)]


def quietly(*command, **options) -> subprocess.CompletedProcess:
    """A command whose complaints nobody needs."""
    return subprocess.run([str(word) for word in command], check=False, stdin=subprocess.DEVNULL, stdout=subprocess.PIPE,
                          stderr=subprocess.DEVNULL, encoding="utf-8", errors="surrogateescape", **options)


# -----------------------------------------------------------------------------------------------

class Demo:
    def __init__(self, options: Options):
        self.options = options
        self.screen = Screen()
        self.output = options.output or ROOT / "build/demo"
        self.own = self.service = self.nginx = self.conversion = None
        self.address = self.name = self.job = self.cancel = ""

    # --- Building ------------------------------------------------------------------------------

    def build(self) -> pathlib.Path:
        """On a terminal the compiler's progress is one line; elsewhere it would be a hundred."""
        command = ["bash", "-c", LIBRARY + "build_preset release --target vondServer vond-sample"]
        if self.screen.is_terminal:
            status = subprocess.run(command, check=False).returncode
        else:
            self.screen.say("Building the service and its sample tool")
            with subprocess.Popen(command, stdout=subprocess.PIPE, encoding="utf-8", errors="surrogateescape",
                                  env=dict(os.environ, NINJA_STATUS="[%p] ")) as building:
                for line in every_ten_percent(line.rstrip("\n") for line in building.stdout):
                    print(line, flush=True)
            status = building.returncode
        if status != 0:
            fail("The service could not be built (see above).")
        return ROOT / "build/release"

    def prepare(self) -> None:
        screen, options = self.screen, self.options
        screen.step("Install and build what is missing")
        self.install("demo")
        if options.console and not shutil.which("nginx"):
            self.install("page")
        programs = options.programs
        if programs is None:
            self.install("build")
            programs = self.build()
        self.program, self.tool = programs / "app/vondServer", programs / "sampletool/vond-sample"
        for path in (self.program, self.tool):
            if not os.access(path, os.X_OK):
                fail(f"There is no program {path}.")
        screen.say(f"Service: {self.short(self.program)}", f"Tool:    {self.short(self.tool)} (stands in for the real vond)")
        self.output.mkdir(parents=True, exist_ok=True)
        self.own = pathlib.Path(tempfile.mkdtemp(prefix="run-", dir=self.output))
        for name in ("tmp", "config"):
            (self.own / name).mkdir()
        # A settings store of its own, also in place of what the system sets for all users; and a log that
        # nothing in the caller's surroundings can silence.
        self.settings = {name: value for name, value in os.environ.items() if name not in (
            "QT_LOGGING_RULES", "QT_LOGGING_CONF", "QT_MESSAGE_PATTERN")}
        self.settings.update(QT_ASSUME_STDERR_HAS_CONSOLE="1", XDG_CONFIG_HOME=str(self.own / "config"),
                             XDG_CONFIG_DIRS=str(self.own / "no-config"), TMPDIR=str(self.own / "tmp"))
        self.log = self.own / "service.log"
        if options.console:
            return
        self.image = options.image
        if self.image is None:
            # As it is shipped, it would be converted before one could look.
            screen.say("Picture: examples/images/demo.jpg, enlarged to the size of a poster")
            self.image = self.own / "demo.jpg"
            subprocess.run(["vips", "resize", "examples/images/demo.jpg", self.image, "2"], check=True)
        self.name = upload_name(self.image)
        self.described = self.describe(self.image)
        if self.described is None:
            fail(f"{self.image} is no image that the sample tool can read.")

    @staticmethod
    def install(name: str) -> None:
        if subprocess.run(["scripts/install-dependencies", name], check=False).returncode != 0:
            raise SystemExit(1)  # it has said why

    @staticmethod
    def short(path: pathlib.Path) -> str:
        return str(path).removeprefix(f"{ROOT}/")

    def describe(self, image: pathlib.Path):
        """Size, colours and profile of an image file, in words; nothing when it is none."""
        # Through a link: vips would take a bracket at the end of a name for an option.
        link = self.own / "described"
        link.unlink(missing_ok=True)
        link.symlink_to(image)
        header = dict(re.findall(r"^([^:]*): ?(.*)$", quietly("vipsheader", "-a", link).stdout, re.M))
        if "width" not in header:
            return None
        colours = header["interpretation"]
        colours = {"srgb": "RGB", "cmyk": "CMYK", "b-w": "grey"}.get(colours, colours)
        profile = "no profile"
        if "icc-profile-data" in header:
            file = self.own / "profile.icc"
            file.write_bytes(base64.b64decode(quietly("vipsheader", "-f", "icc-profile-data", link).stdout))
            named = re.search(r"^Profile:.*\n(.*)", quietly("transicc", "-v3", "-i", file).stdout, re.M)
            profile = f'profile "{(named[1] if named else "") or "without a name"}"'
        kilobytes = (image.stat().st_size + 999) // 1000
        return f"{header['width']} x {header['height']} pixels, {colours}, {profile}, {kilobytes} kB"

    # --- The service ---------------------------------------------------------------------------

    def stop_service(self) -> None:
        process, self.service = self.service, None
        if process is None:
            return
        # The whole group: a tool that still runs would outlive its service.
        with contextlib.suppress(ProcessLookupError):
            os.killpg(process.pid, signal.SIGTERM)
        process.wait()

    def service_is_gone(self) -> None:
        self.stop_service()
        fail("The service ended unexpectedly. Its last words:", last_lines(self.log, 15))

    def get(self, *words) -> str:
        """An answer that comes at once."""
        done = subprocess.run(curl("--max-time", "600", *words), check=False, stdout=subprocess.PIPE, encoding="utf-8",
                              errors="surrogateescape")
        if done.returncode != 0:
            self.service_is_gone()
        return done.stdout.rstrip("\n")

    def start_service(self) -> int:
        """On a port that nobody uses, until it listens there."""
        for attempt in range(1, 21):
            port = random.randrange(20000, 30000)
            with self.log.open("wb") as log:
                # With a process group of its own, so that Ctrl-C reaches this program first.
                self.service = subprocess.Popen([self.program, "127.0.0.1", str(port), self.tool], env=self.settings,
                                                stdin=subprocess.DEVNULL, stdout=log, stderr=log, start_new_session=True)
            deadline = time.monotonic() + 15
            while self.service.poll() is None and time.monotonic() < deadline:
                if f"Running on http://127.0.0.1:{port}/".encode() in self.log.read_bytes():
                    self.address = f"http://127.0.0.1:{port}"
                    return port
                time.sleep(0.02)
            self.stop_service()
            # Somebody took the port: try another one. Anything else is a failure.
            if b"unable to start the http-server" not in self.log.read_bytes():
                break
        return fail(f"The service did not start (attempt {attempt}). Its last words:", last_lines(self.log, 15))

    def serve(self) -> None:
        screen = self.screen
        screen.step("Start the service, with settings of its own")
        screen.show(f"vondServer setTempFolder {self.short(self.own)}/tmp")
        if quietly(self.program, "setTempFolder", self.own / "tmp", env=self.settings).returncode != 0:
            fail("The service could not store its settings.")
        self.port = self.start_service()
        screen.show(f"vondServer 127.0.0.1 {self.port} {self.short(self.tool)}")
        screen.say(f"It says: {self.get(f'{self.address}/vondServerVersion')}")

    # --- The page in a browser -----------------------------------------------------------------

    def gather_page(self) -> pathlib.Path:
        """The files of the page as a package has them. Without the decoder, for which npm asks the network,
        the page shows no TIFF pictures, and says so."""
        page = self.own / "page"
        shutil.copytree("console/page", page, symlinks=True)
        with (self.own / "decoder.log").open("wb") as log:
            installed = subprocess.run(["console/tools/install-modules", "--decoder"], check=False, stdout=log, stderr=log)
        if installed.returncode == 0:
            shutil.copytree("build/tiff-decoder", page / "decoder", symlinks=True)
        else:
            self.screen.say("Without npm or the network the page cannot show TIFF pictures.")
        subprocess.run(["chmod", "-R", "go+rX", page], check=True)
        return page

    def start_nginx(self, page: pathlib.Path) -> str:
        """As deploy/nginx.conf has it, without encryption and passwords: only this machine reaches it."""
        own, log = self.own, self.own / "nginx.log"
        shipped = re.sub(r"^ *(ssl|auth)_.*\n", "", pathlib.Path("deploy/nginx.conf").read_text(encoding="utf-8"), flags=re.M)
        places = "".join(f"    {kind}_temp_path {own}/nginx-{short};\n" for kind, short in (
            ("client_body", "body"), ("proxy", "proxy"), ("fastcgi", "fastcgi"), ("uwsgi", "uwsgi"), ("scgi", "scgi")))
        # What runs in a folder of root's cannot be read by the user that nginx takes for its workers.
        user = "user root;\n" if os.geteuid() == 0 else ""
        (own / "nginx.conf").write_text(f"daemon off;\npid {own}/nginx.pid;\nerror_log {log};\n{user}events {{ }}\nhttp {{\n"
                                        f"    access_log off;\n{places}    include {own}/site.conf;\n}}\n", encoding="utf-8")
        for attempt in range(1, 21):
            port, site = random.randrange(20000, 30000), shipped
            for old, new in (("listen 443 ssl http2", f"listen 127.0.0.1:{port}"), ("server 127.0.0.1:8080", f"server 127.0.0.1:{self.port}"),
                             ("/usr/share/vond-server/console/", f"{page}/"), ("access_log /var/log/nginx/vond.log vond_json", "access_log off")):
                if old not in site:
                    fail(f"deploy/nginx.conf lacks: {old}")
                site = site.replace(old, new)
            (own / "site.conf").write_text(site, encoding="utf-8")
            # In a process group of its own, so that Ctrl-C reaches this program first.
            self.nginx = subprocess.Popen(["nginx", "-e", log, "-c", own / "nginx.conf"], start_new_session=True)
            address = f"http://127.0.0.1:{port}/console/"
            while self.nginx.poll() is None:
                if quietly(*curl("--output", os.devnull, address)).returncode == 0:
                    return address
                time.sleep(0.05)
            self.nginx = None
            if "Address already in use" not in log.read_text(encoding="utf-8"):
                break
        return fail(f"nginx did not start (attempt {attempt}). Its last words:", last_lines(log, 5))

    def show_page(self) -> None:
        self.screen.step("Start nginx before it, with the page")
        address = self.start_nginx(self.gather_page())
        self.screen.step("Open this address in a browser of this machine; Ctrl-C ends it all")
        self.screen.say(f"{self.screen.bold}{address}{self.screen.plain}")
        self.service.wait()
        self.service_is_gone()

    # --- A conversion --------------------------------------------------------------------------

    def begin_conversion(self) -> None:
        """Sends the request and leaves it running."""
        self.job, self.cancel = fresh_id("job"), fresh_id("stop")
        request = json.dumps({"fileName": self.name, "reqestID": self.job, "configuration": CONFIGURATION,
                              "cancelID": self.cancel}, ensure_ascii=False)
        self.screen.show(f"curl -d {quoted(request)} {self.address}/convert")
        self.answer_file = self.own / "answer"
        self.answer_file.unlink(missing_ok=True)
        with (self.own / "complaint").open("wb") as complaint:
            self.conversion = subprocess.Popen(curl("--data-binary", request, "--output", self.answer_file, f"{self.address}/convert"),
                                               stderr=complaint)

    def percent_now(self):
        """The last percentage that the tool has told, from another connection."""
        text = quietly(*curl("--max-time", "10", f"{self.address}/progressInfo/{self.job}")).stdout
        told = re.findall(r"Progress: *(\d+)", text)
        return int(told[-1]) if told else None

    def follow_until(self, percent: int) -> None:
        """Draws the progress until it is reached or the conversion has ended."""
        while self.conversion.poll() is None:
            now = self.percent_now()
            if now is not None:
                self.screen.draw_bar(now)
                if now >= percent:
                    return
            time.sleep(0.02)

    def end_conversion(self) -> str:
        """Waits for the answer of "/convert"."""
        if self.conversion.wait() != 0:
            self.conversion = None
            self.service_is_gone()
        self.conversion = None
        with contextlib.suppress(FileNotFoundError):
            return self.answer_file.read_text(encoding="utf-8", errors="surrogateescape").replace("\0", "").rstrip("\n")
        return ""

    def fetch(self, name: str) -> bool:
        """The result's bytes; none when the service has no such result, or it cannot be a name."""
        self.result = self.own / "result"
        self.result.unlink(missing_ok=True)
        if not name or "/" in name or any(unicodedata.category(letter) == "Cc" for letter in name):
            return False
        quietly(*curl("--output", self.result, f"{self.address}/getConversionResult/{url_text(name)}"))
        return self.result.exists() and self.result.stat().st_size > 0

    def convert(self) -> pathlib.Path:
        screen, name = self.screen, self.name
        screen.step(f"Upload {name}")
        screen.say(self.described)
        screen.show(f"curl -X POST -T {as_word(name)} {self.address}/upload/{url_text(name)}")
        screen.say(self.get("--request", "POST", "--upload-file", self.image, f"{self.address}/upload/{url_text(name)}"))

        screen.step(f"Convert with the configuration {CONFIGURATION}")
        started = time.monotonic()
        self.begin_conversion()
        screen.say("meanwhile, on other connections:")
        screen.show(f"curl {self.address}/progressInfo/{self.job}")
        self.follow_until(101)
        answer = self.end_conversion()
        took = seconds_since(started)
        if answer.startswith(f"{name.split('.')[0]}_{CONFIGURATION}"):
            screen.draw_bar(100)
        screen.end_bar()
        screen.say(f"After {took} the first request is answered: {answer}")

        screen.step("Fetch the result")
        screen.show(f"curl -o {as_word(answer)} {self.address}/getConversionResult/{url_text(answer)}")
        if not self.fetch(answer):
            fail(f"There is no result. What the tool said: {answer or '(nothing)'}")
        result = self.output / answer
        self.result.rename(result)
        screen.say(self.describe(result))
        kept, had = answer.rpartition("."), name.rpartition(".")
        if kept[1] and kept[2] != had[2]:
            screen.say(f"The tool keeps it as .{kept[2]}: .{had[2]} cannot hold these colours.")
        return result

    def convert_and_cancel(self) -> None:
        screen = self.screen
        screen.step("Convert again, and cancel")
        self.begin_conversion()
        self.follow_until(10)
        screen.end_bar()
        started = time.monotonic()
        screen.show(f"curl {self.address}/cancelConversion/{self.cancel}")
        screen.say(self.get(f"{self.address}/cancelConversion/{self.cancel}"))
        answer = self.end_conversion()
        if self.fetch(answer):
            screen.say(f"The conversion was done before the tool saw the stop file: {answer}",
                       "A larger image takes long enough to be cancelled.")
            return
        screen.say(f"The tool found the stop file {self.cancel}.txt and gave up; {seconds_since(started)} later",
                   f"the request is answered: {answer or '(nothing)'}", "In the service's temporary folder:")
        screen.say(*(f"  {path.name}" for path in sorted((self.own / "tmp").iterdir())))

    def run(self) -> None:
        self.prepare()
        self.serve()
        if self.options.console:
            self.show_page()
        result = self.convert()
        self.convert_and_cancel()
        self.stop_service()
        self.screen.step("Done; the service is stopped")
        self.screen.say(f"The result is {self.screen.bold}{result}{self.screen.plain}",
                        f"What the service told its log: {self.output}/service.log")

    def clean_up(self) -> None:
        for ending in (signal.SIGINT, signal.SIGTERM, signal.SIGHUP):
            signal.signal(ending, signal.SIG_IGN)
        self.screen.end_bar()
        if self.nginx is not None:
            self.nginx.terminate()
            self.nginx.wait()
        self.stop_service()
        if self.conversion is not None:
            self.conversion.wait()
        if self.own is not None:
            if (self.own / "service.log").exists():
                shutil.move(self.own / "service.log", self.output / "service.log")
            shutil.rmtree(self.own, ignore_errors=True)
        subprocess.run(["bash", "-c", LIBRARY + "give_build_folder_back"], check=False)


def end_with(status: int):
    def handler(*_):
        raise SystemExit(status)
    return handler


def main(words: list) -> None:
    options = Options(words)
    os.chdir(ROOT)
    demo = Demo(options)
    os.environ["LC_ALL"] = "C.UTF-8"  # the same sorting, file names and messages on every machine
    os.environ["PATH"] += ":/usr/sbin"
    try:
        for ending in (signal.SIGINT, signal.SIGTERM, signal.SIGHUP):
            signal.signal(ending, end_with(128 + ending))
        demo.run()
    finally:
        demo.clean_up()


if __name__ == "__main__":
    main(sys.argv[1:])
