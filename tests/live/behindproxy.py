"""Tests that both proxies must pass: nginx with deploy/nginx.conf and HAProxy with deploy/haproxy.cfg."""

import pathlib
import subprocess
import sys

import stand

DEMO = stand.ROOT / "examples/images/demo.jpg"
SANDBOXED = {"content-security-policy": "default-src 'none'; sandbox", "x-content-type-options": "nosniff"}


def conversion(name: str, job: str = None) -> bytes:
    """The body of a request to convert NAME.jpg."""
    return stand.convert_body(f"{name}.jpg", job or f"job-{name}", "PressCMYK", f"stop-{name}")


class BehindProxy:
    """Tests to mix into a unittest.TestCase, which sets these class attributes."""

    machine: stand.Stand
    sample_tool: pathlib.Path
    stranger: stand.Curl  # a client without the password, and one with it
    client: stand.Curl
    folders: list  # where uploads may be
    tls_port: int
    end_of_refusal = ""  # what follows the text of a rejection
    closed_pages: list = []  # pages that also ask for the password

    def run_program(self, *command) -> None:
        """Runs another test program and shows its output."""
        done = subprocess.run([sys.executable, "-B", *command], cwd=stand.ROOT, text=True, check=False,
                              stdin=subprocess.DEVNULL, stdout=subprocess.PIPE)
        print("", *done.stdout.splitlines(), sep="\n   ", file=sys.stderr)
        self.assertEqual(done.returncode, 0)

    def upload(self, name: str, client: stand.Curl = None) -> str:
        return (client or self.client).ask(f"/upload/{name}.jpg", DEMO.read_bytes()).text

    def convert(self, name: str, client: stand.Curl = None) -> str:
        return (client or self.client).ask("/convert", conversion(name)).text

    def assert_nothing_was_written(self, name: str) -> None:
        for folder in self.folders:
            self.assertEqual(list(folder.rglob(name)), [])

    def assert_has(self, answer: stand.Answer, headers: dict) -> None:
        self.assertEqual({name: answer.headers.get(name) for name in headers}, headers)

    def assert_refusal(self, client: stand.Curl, status: int, path: str, data: str = None) -> None:
        with self.subTest(status=status, path=path):
            answer = client.ask(path, data)
            self.assertEqual((answer.status, answer.text, answer.headers.get("content-type")),
                             (status, f"refused: {status}{self.end_of_refusal}", "text/plain"))

    def test_requests_without_the_password_are_rejected(self):
        for path in ("/vondServerVersion", "/convert", "/upload/x.jpg", "/progressInfo/x", "/cancelConversion/x",
                     "/getConversionResult/demo_PressCMYK.jpg", "/convertWithLocalData", "/version"):
            with self.subTest(path=path):
                self.assertEqual(self.stranger.status(path, "x"), 401)
        for path in self.closed_pages:
            with self.subTest(path=path):
                self.assertEqual(self.stranger.status(path), 401)
        self.assertEqual(self.stranger.but("--user", "client:guess").status("/vondServerVersion"), 401)
        self.assert_nothing_was_written("x.jpg")

    def test_routes_for_operators_are_closed(self):
        for path in ("/", "/vond", "/getLogFile", "/memtest", "/text", "/sleep2secs", "/sleep10secs", "/sleep20secs",
                     "/sleep90secs", "/progressTest", "/progressInf/x", "/%76ond", "/getLogFil%65", "/nothing"):
            with self.subTest(path=path):
                self.assertEqual(self.client.status(path, "[]"), 403)
                self.assertEqual(self.stranger.status(path), 403)

    def test_only_a_post_starts_work(self):
        self.assertEqual(self.client.status("/convert"), 403)
        self.assertEqual(self.client.status("/upload/put.jpg", "x", "--request", "PUT"), 403)
        self.assert_nothing_was_written("put.jpg")

    def test_paths_out_of_the_folder_are_rejected(self):
        for path in ("/upload/..", "/upload/../x", "/upload/..%2fx", "/upload/%2e%2e/x", "/upload/..%5cx",
                     "/upload/..\\x", "/getConversionResult/..%2F..%2Fetc%2Fpasswd", "/progressInfo/../getLogFile",
                     "/progressInfo/x/%2e%2e/%2e%2e/vond", "//getLogFile", "/progressInfo//getLogFile",
                     "/upload/x%00y", "/./vond", "/upload/%2e"):
            with self.subTest(path=path):
                self.assertEqual(self.client.status(path, "x"), 400)
        self.assertEqual(self.client.status("/upload/a..b", "x"), 200)

    def upload_file(self, megabytes: int) -> stand.Answer:
        """Uploads a large sparse file."""
        large = self.machine.path("large")
        large.touch()
        with large.open("r+b") as file:
            file.truncate(megabytes << 20)
        return self.client.ask("/upload/large.jpg", None, "--upload-file", large, "--request", "POST")

    def test_a_body_over_the_limit_is_rejected(self):
        self.assertEqual(self.upload_file(257).status, 413)
        self.assert_nothing_was_written("large.jpg")
        self.assertEqual(self.upload_file(200).text, '{"ok": true}')
        found = [path for folder in self.folders for path in folder.rglob("large.jpg")]
        self.assertEqual([path.stat().st_size for path in found], [200 << 20])
        found[0].unlink()

    @staticmethod
    def padded_conversion(blanks: int) -> str:
        return '{"fileName": "demo.jpg", "configuration": "PressCMYK", "cancelID": "small", "x": "' \
            + " " * (blanks - 1) + 'x"}'

    def test_a_conversion_must_have_a_small_body(self, client: stand.Curl = None):
        client = client or self.client
        self.upload("demo", client)
        self.assertIn("demo_PressCMYK", client.ask("/convert", self.padded_conversion(60000)).text)
        too_large = self.padded_conversion(66000)
        self.assertEqual(client.status("/convert", too_large), 413)
        self.assertEqual(client.status("/convertWithLocalData", too_large), 200)
        self.assertEqual(client.status("/upload/text", too_large), 200)

    def test_every_response_is_sandboxed_in_a_browser(self, client: stand.Curl = None, more: list = ()):
        client = client or self.client
        self.upload("demo", client)
        for path in ("/getConversionResult/demo.jpg", "/getConversionResult/none", "/progressInfo/x",
                     "/cancelConversion/page", "/configDetails/PressCMYK", "/version", "/listconfigurations",
                     "/vondServerVersion", *more):
            with self.subTest(path=path):
                self.assert_has(client.ask(path), SANDBOXED)
        for path in ("/convert", "/convertWithLocalData", "/upload/x"):
            with self.subTest(path=path):
                self.assert_has(client.ask(path, '{"reqestID": "x"}'), SANDBOXED)

    def test_a_rejection_is_a_line_of_text(self):
        self.assert_refusal(self.client, 400, "/getConversionResult/The%20input%20%27%2Ftmp%2Fa.jpg%27")
        self.assert_refusal(self.stranger, 401, "/version")
        self.assert_refusal(self.client, 403, "/getLogFile")
        self.assert_refusal(self.client, 413, "/convert", "0" * 70000)
        self.assertEqual(self.stranger.ask("/version").headers["www-authenticate"].lower(), 'basic realm="vond"')

    def test_uploads_do_not_run_in_a_browser(self):
        shown = self.machine.path("shown.png")
        subprocess.run([self.sample_tool, "-c", "sRGB", DEMO, "-o", shown], check=True, stdout=subprocess.DEVNULL)
        self.run_program("tests/service/browsertest.py", "--url", self.client.base, "--user", "client:secret", DEMO, shown)

    def test_hidden_requests_are_not_executed(self):
        self.run_program("tests/service/smugglingtest.py", "--server", f"127.0.0.1:{self.tls_port}", "--user", "client:secret",
                         "--ca", self.machine.path("cert.pem"), "--folder", *self.folders)

    def assert_a_flood_is_held_back(self, client: stand.Curl, requests: int) -> None:
        """Requests, 20 at a time: more than one address may send."""
        words = ["curl", "-q", "--silent", "--noproxy", "*", *client.options, "--no-progress-meter", "--parallel",
                 "--parallel-max", "20", "--parallel-immediate", "--output", "/dev/null", "--write-out", "%{http_code}\n",
                 f"{client.base}/vondServerVersion?[1-{requests}]"]
        statuses = subprocess.run(words, stdout=subprocess.PIPE, text=True, check=False).stdout.split()
        self.assertEqual(len(statuses), requests)
        self.assertEqual(set(statuses), {"200", "429"})
