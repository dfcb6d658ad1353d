"""examplestest.py SERVICE SAMPLE_TOOL QT_EXAMPLE: the client examples against the service."""

import filecmp
import http.server
import os
import pathlib
import re
import shutil
import signal
import subprocess
import sys
import tempfile
import threading
import unittest

import scriptrun
from scriptrun import ROOT

sys.path.insert(0, str(ROOT / "tests/service"))
import servicerun  # noqa: E402

SERVICE, SAMPLE_TOOL, QT_EXAMPLE = sys.argv[1:4]
del sys.argv[1:4]
EXAMPLES = ROOT / "examples"
CLIENTS = ("convert.sh", "convert.py", "convert.ts", "convert-qt")
CHOOSE_A_NAME = CLIENTS[:3]  # where none is given

# The sample tool; with the configuration "Held" it begins when the stop file exists, or the test is over.
TOOL = '''\
if [[ "$*" == *" -c Held "* ]]; then
    echo "Progress: 10%"
    touch "$PLACE/held"
    until [[ -e ${2#--stopfile=} || ! -d $PLACE ]]; do sleep 0.05; done
    set -- "${@/Held/PressCMYK}"
    touch "$PLACE/stopped"
fi
exec "$SAMPLE_TOOL" "$@"'''


class Proxy(http.server.ThreadingHTTPServer):
    """Accepts everything; `answer` is what a conversion returns, and what begins with `refused` gets a page with
    `status`. Remembers paths and cookies."""

    def __init__(self):
        super().__init__(("127.0.0.1", 0), self.Handler)
        self.address = f"http://127.0.0.1:{self.server_port}"
        self.answer, self.refused, self.status = "", "/", 404
        self.asked = []

    def handle_error(self, *_):
        pass  # a client may disconnect before the page's end

    class Handler(http.server.BaseHTTPRequestHandler):
        def do_GET(self):  # noqa: N802
            self.rfile.read(int(self.headers.get("Content-Length", 0)))
            self.server.asked.append((self.path, self.headers.get("Cookie", "none")))
            refuses = self.path.startswith(self.server.refused)
            self.send_response(self.server.status if refuses else 200)
            if self.path.startswith("/upload/"):
                self.send_header("Set-Cookie", "VONDINSTANCE=vond-1; path=/; HttpOnly")
            self.end_headers()
            answer = self.server.answer.encode() if self.path == "/convert" else b""
            self.wfile.write(b"<html>A page</html>" if refuses else answer)

        do_POST = do_GET  # noqa: N815

        def log_message(self, *_):
            pass


def catches(process: subprocess.Popen, number: int) -> bool:
    """Whether the process has a handler for this signal."""
    status = pathlib.Path(f"/proc/{process.pid}/status").read_text(encoding="utf-8")
    return bool(int(re.search(r"^SigCgt:\s*(\w+)$", status, re.M)[1], 16) >> (number - 1) & 1)


class Examples(unittest.TestCase):
    @classmethod
    def setUpClass(cls):
        cls.place = pathlib.Path(cls.enterClassContext(tempfile.TemporaryDirectory(prefix="vond-examples-test.")))
        cls.picture = cls.place / "a picture.v1.jpg"
        shutil.copy(EXAMPLES / "images/demo.jpg", cls.picture)
        cls.text = cls.place / "text.jpg"
        cls.text.write_text("no picture\n", encoding="utf-8")
        subprocess.run([SAMPLE_TOOL, "-c", "PressCMYK", cls.picture, "-o", cls.place / "expected.jpg"], check=True,
                       stdout=subprocess.DEVNULL)
        # As a Node.js without TypeScript support reads it.
        subprocess.run(["esbuild", EXAMPLES / "convert.ts", "--platform=node", "--format=cjs",
                        f"--outfile={cls.place}/convert.cjs", "--log-level=warning"], check=True)
        scriptrun.write_program(cls.place / "tool", TOOL)
        cls.service = cls.enterClassContext(servicerun.Service(
            SERVICE, str(cls.place / "tool"), environment={"PLACE": str(cls.place), "SAMPLE_TOOL": SAMPLE_TOOL}))
        cls.address = f"http://127.0.0.1:{cls.service.port}"
        cls.proxy = Proxy()
        thread = threading.Thread(target=cls.proxy.serve_forever)
        thread.start()
        cls.addClassCleanup(cls.proxy.server_close)
        cls.addClassCleanup(thread.join)
        cls.addClassCleanup(cls.proxy.shutdown)

    def setUp(self):
        self.none = self.place / "none.jpg"  # what is given as a result where there should be none
        self.none.unlink(missing_ok=True)

    def program(self, name: str) -> list:
        if name == "convert.ts":
            return ["node", self.place / "convert.cjs"]
        return [QT_EXAMPLE if name == "convert-qt" else EXAMPLES / name]

    def command(self, name: str, configuration: str, *words, address: str = None) -> list:
        """The words are the image and its result, which only the compiled example needs."""
        options = [address or self.address, configuration]
        if name != "convert-qt":
            options = ["-s", options[0], "-c", options[1]]
        return ["env", "--default-signal=INT", "PYTHONDONTWRITEBYTECODE=1", *self.program(name), *options, *words]

    def client(self, *words, **options) -> tuple:
        """The example's exit status and what it prints. It has a process group of its own, as at a terminal."""
        done = scriptrun.run(*self.command(*words, **options), start_new_session=True)
        return done.returncode, done.stdout

    def through_proxy(self, name: str, answer: str, refused: str, status: int) -> tuple:
        self.proxy.answer, self.proxy.refused, self.proxy.status = answer, refused, status
        self.proxy.asked = []
        return self.client(name, "PressCMYK", self.text, self.none, address=self.proxy.address)

    def test_each_example_converts_an_image(self):
        for name in CLIENTS:
            with self.subTest(name):
                result = self.place / f"{name}.jpg"
                status, said = self.client(name, "PressCMYK", self.picture, result)
                self.assertEqual(status, 0, said)
                self.assertIn(str(result), said)
                self.assertTrue(filecmp.cmp(result, self.place / "expected.jpg", shallow=False), "another picture")

    def test_each_example_tells_why_a_conversion_failed(self):
        for name in CLIENTS:
            with self.subTest(name):
                status, said = self.client(name, "PressCMYK", self.text, self.none)
                self.assertEqual(status, 1, said)
                self.assertIn("cannot be read as a TIFF, JPEG or PNG picture", said)
                status, said = self.client(name, "NoSuchThing", self.picture, self.none)
                self.assertEqual(status, 1, said)
                self.assertIn("NoSuchThing", said)
                self.assertFalse(self.none.exists(), "it left a result")

    def test_each_example_cancels_when_it_is_interrupted(self):
        for name in CLIENTS:
            with self.subTest(name):
                for trace in ("held", "stopped"):
                    (self.place / trace).unlink(missing_ok=True)
                process = subprocess.Popen(self.command(name, "Held", self.picture, self.none), start_new_session=True,
                                           stdin=subprocess.DEVNULL, stdout=subprocess.PIPE, stderr=subprocess.STDOUT)
                try:
                    begins = servicerun.eventually(lambda: process.poll() is not None or (
                        (self.place / "held").exists() and catches(process, signal.SIGINT)))
                    if begins and process.poll() is None:
                        os.killpg(process.pid, signal.SIGINT)  # Ctrl-C reaches the whole group
                    said = process.communicate(timeout=servicerun.READY)[0].decode()
                finally:
                    if process.poll() is None:  # an example that does not cancel would wait forever
                        os.killpg(process.pid, signal.SIGKILL)
                        process.communicate()
                self.assertTrue((self.place / "held").exists(), f"it did not begin: {said}")
                self.assertEqual(process.returncode, 130, said)
                self.assertIn("cancelled", said)
                self.assertTrue((self.place / "stopped").exists(), "it did not reach the tool")
                self.assertFalse(self.none.exists(), "it left a result")

    def test_each_example_tells_that_nobody_is_there(self):
        for name in CLIENTS:
            with self.subTest(name):
                status, said = self.client(name, "PressCMYK", self.picture, self.none,
                                           address="http://127.0.0.1:9")  # nothing listens there
                self.assertEqual(status, 1, said)
                self.assertNotEqual(said, "")

    def test_each_example_names_its_result_after_what_came(self):
        picture, result = self.place / "a picture.png", self.place / "a picture_PressCMYK.tif"
        subprocess.run(["vips", "resize", self.picture, picture, "0.05"], check=True)
        for name in CHOOSE_A_NAME:
            with self.subTest(name):
                result.unlink(missing_ok=True)
                status, said = self.client(name, "PressCMYK", picture)
                self.assertEqual(status, 0, said)
                self.assertIn(str(result), said)
                self.assertEqual(scriptrun.run("vipsheader", "-f", "vips-loader", result).stdout, "tiffload\n")

    def test_no_example_takes_a_proxys_page_for_a_result(self):
        for name in CLIENTS:
            with self.subTest(name):
                for refusal in (401, 503):
                    status, said = self.through_proxy(name, "result.jpg", "/getConversionResult/", refusal)
                    self.assertEqual(status, 1, said)
                    self.assertIn(str(refusal), said)
                for refusal in (400, 404):  # there is no such name, so it was an explanation
                    status, said = self.through_proxy(name, "No ink left.", "/getConversionResult/", refusal)
                    self.assertEqual(status, 1, said)
                    self.assertIn("No ink left.", said)
                status, said = self.through_proxy(name, "result.jpg", "/upload/", 413)
                self.assertEqual(status, 1, said)
                self.assertEqual([path for path, _ in self.proxy.asked if "convert" in path], [])
                self.assertFalse(self.none.exists(), "it left a result")

    def test_no_example_asks_for_what_cannot_be_a_name(self):
        for name in CLIENTS:
            for words in ("The input '/tmp/a.jpg' is not a file.", "Two lines\nof words", "C:\\a.jpg", "7".zfill(300)):
                with self.subTest(f"{name}: {words}"):
                    status, said = self.through_proxy(name, words, "/getConversionResult/", 400)
                    self.assertEqual(status, 1, said)
                    self.assertIn(words, said)
                    self.assertEqual([path for path, _ in self.proxy.asked if "/getConversionResult/" in path], [])

    def test_each_example_sends_the_proxys_cookie_along(self):
        for name in CLIENTS:
            self.through_proxy(name, "result.jpg", "/getConversionResult/", 503)
            for route, cookie in (("upload", "none"), ("convert", "VONDINSTANCE=vond-1"),
                                  ("getConversionResult", "VONDINSTANCE=vond-1")):
                with self.subTest(f"{name}: {route}"):
                    sent = {cookies for path, cookies in self.proxy.asked if path.split("/")[1] == route}
                    self.assertEqual(sent, {cookie})

    def test_a_wrong_call_ends_with_two(self):
        for name in CHOOSE_A_NAME:
            with self.subTest(name):
                program = self.program(name)
                for words in ([], ["--nonsense", self.picture], [self.place / "nowhere.jpg"]):
                    self.assertEqual(scriptrun.run(*program, *words).returncode, 2, words)
                done = scriptrun.run(*program, "-h")
                self.assertEqual(done.returncode, 0)
                usage = " ".join(done.stdout.split())
                self.assertIn("Exit status: 0 done; 1 failed, or nobody answers; 2 wrong usage, or", usage)
                self.assertIn("130 cancelled", usage)
        self.assertEqual(scriptrun.run(QT_EXAMPLE).returncode, 2, "without arguments")
        self.assertEqual(scriptrun.run(QT_EXAMPLE, self.address, "PressCMYK", self.place / "nowhere.jpg",
                                       self.none).returncode, 2, "without that image")


if __name__ == "__main__":
    scriptrun.need("curl", "python3", "node", "esbuild", "vips", "vipsheader")
    unittest.main(verbosity=2)
