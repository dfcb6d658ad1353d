"""tests/live/stand.py: what the live tries start programs and send requests with."""

import http.server
import pathlib
import socket
import sys
import threading
import time
import unittest

sys.path.insert(0, str(pathlib.Path(__file__).resolve().parents[1] / "live"))
import stand  # noqa: E402

LISTEN = ("import socket, sys, time; s = socket.create_server(('127.0.0.1', int(sys.argv[1])));"
          "print('listening', flush=True); time.sleep(60)")


def somebody_listens(port: int) -> bool:
    with socket.socket() as connection:
        return connection.connect_ex(("127.0.0.1", port)) == 0


class Echo(http.server.BaseHTTPRequestHandler):
    """Says what it was asked, and how many connections there were."""

    protocol_version = "HTTP/1.1"
    connections: set = set()
    paths: list = []

    def do_GET(self):  # noqa: N802
        self.connections.add(self.client_address)
        self.paths.append(self.path)
        body = self.rfile.read(int(self.headers.get("Content-Length", 0)))
        path = self.requestline.split()[1]  # the server itself would make one slash of two
        answer = f"{self.command} {path} {len(self.connections)} ".encode() + body
        self.send_response(404 if self.path.startswith("/none") else 200)
        self.send_header("Content-Length", str(len(answer)))
        self.send_header("X-Twice", "a")
        self.send_header("X-Twice", "b")
        self.end_headers()
        self.wfile.write(answer)

    do_POST = do_PUT = do_GET  # noqa: N815

    def log_message(self, *_):
        pass


class Programs(unittest.TestCase):
    def test_nobody_listens_on_a_free_port(self):
        self.assertFalse(somebody_listens(stand.free_port()))

    def test_a_program_ends_with_the_block_and_so_does_what_it_started(self):
        port = stand.free_port()
        with stand.Stand("standtest") as place:
            process = place.start("listener", ["sh", "-c", '"$@" & wait', "sh", sys.executable, "-c", LISTEN, port])
            stand.until("it listens", lambda: somebody_listens(port))
            self.assertEqual(place.output("listener"), "listening\n")
            self.assertTrue(place.folder.is_dir())
        self.assertIsNotNone(process.returncode)
        self.assertFalse(place.folder.exists())
        stand.until("the port is free again", lambda: not somebody_listens(port))

    def test_a_killed_program_is_gone_at_once(self):
        with stand.Stand("standtest") as place:
            process = place.start("stubborn", ["sh", "-c", "trap '' TERM; echo ready; while :; do sleep 1; done"])
            stand.until("it is ready", lambda: place.output("stubborn"))
            begun = time.monotonic()
            place.kill(process)
            self.assertEqual(process.returncode, -9)
            self.assertLess(time.monotonic() - begun, stand.PATIENCE / 2)

    def test_a_service_that_ends_is_not_waited_for(self):
        with stand.Stand("standtest") as place, self.assertRaisesRegex(AssertionError, "has ended: no settings"):
            place.start_service("service", "sh", url="http://127.0.0.1:1/", words=["-c", "echo no settings; exit 1"])

    def test_what_does_not_come_is_complained_about(self):
        with self.assertRaisesRegex(AssertionError, "rain: not within 0.1 seconds"):
            stand.until("rain", lambda: False, 0.1)
        self.assertEqual(stand.until("sunshine", lambda: "sun", 0.1), "sun")

    def test_a_shipped_file_must_have_what_is_replaced(self):
        self.assertEqual(stand.configuration("port 1; host a", ("1", "2"), ("host a", "host b")), "port 2; host b")
        with self.assertRaisesRegex(AssertionError, "lacks: 3"):
            stand.configuration("port 1", ("3", "4"))

    def test_the_tool_says_who_ran_what_and_fails_in_silence(self):
        with stand.Stand("standtest") as place:
            tool = place.write_tool(pathlib.Path("/bin/echo"), {"slow*": 0.2})
            for name in ("a.jpg", "slow b.jpg", "a.jpg"):
                place.start("tool", [tool, f"/in/{name}", "-o", "/out/other.tif"]).wait()
            self.assertNotEqual(place.start("silent", [tool, "/in/silent.jpg"]).wait(), 0)
            self.assertEqual(place.runs("a.jpg"), ["vond", "vond"])
            self.assertEqual(place.runs("slow b.jpg"), ["vond"])
            self.assertEqual(len(place.runs()), 4)
            self.assertEqual(place.output("tool").splitlines(), [
                "/in/a.jpg -o /out/other.tif", "Progress: 1% of slow b.jpg", "/in/slow b.jpg -o /out/other.tif",
                "/in/a.jpg -o /out/other.tif"])


class Requests(unittest.TestCase):
    @classmethod
    def setUpClass(cls):
        cls.server = http.server.ThreadingHTTPServer(("127.0.0.1", 0), Echo)
        cls.server.daemon_threads = True
        thread = threading.Thread(target=cls.server.serve_forever)
        thread.start()
        cls.addClassCleanup(cls.server.server_close)
        cls.addClassCleanup(thread.join)
        cls.addClassCleanup(cls.server.shutdown)
        cls.client = stand.Curl(f"http://127.0.0.1:{cls.server.server_port}")

    def setUp(self):
        Echo.connections.clear()
        Echo.paths.clear()

    def test_an_answer_has_status_headers_and_body(self):
        answer = self.client.ask("/none/here")
        self.assertEqual((answer.status, answer.text, answer.headers["x-twice"]), (404, "GET /none/here 1 ", "a, b"))

    def test_no_answer_has_no_status(self):
        self.assertEqual(stand.Curl(f"http://127.0.0.1:{stand.free_port()}").status("/"), 0)

    def test_a_path_stays_as_it_is(self):
        for path in ("/a/../b", "/./a", "//a", "/%2e%2E/..%5cx", "/..\\x"):
            self.assertEqual(self.client.ask(path).text, f"GET {path} 1 ")
            Echo.connections.clear()

    def test_bytes_are_sent_as_they_are(self):
        data = bytes(range(256)) * 1000 + b"\r\n"
        self.assertEqual(self.client.ask("/a", data).body, b"POST /a 1 " + data)
        self.assertEqual(self.client.ask("/a", "", "--request", "PUT").text, "PUT /a 2 ")

    def test_a_second_request_takes_the_same_connection(self):
        answer = self.client.ask("/second", "x", after="/first")
        self.assertEqual(answer.text, "POST /second 1 x")
        self.assertEqual(Echo.paths, ["/first", "/second"])

    def test_more_options_are_another_clients(self):
        other = self.client.but("--request", "PUT")
        self.assertEqual(other.ask("/a").text, "PUT /a 1 ")
        self.assertEqual(self.client.ask("/a").text, "GET /a 2 ")

    def test_answers_waits_for_whoever_listens(self):
        self.assertIsNone(stand.answers(f"http://127.0.0.1:{stand.free_port()}/"))
        self.assertEqual(stand.answers(self.client.base + "/none").status, 404)


class Order(unittest.TestCase):
    def test_tests_run_as_they_are_written_and_those_of_the_base_first(self):
        class Base:
            def test_z(self):
                pass

            def test_b(self):
                pass

        class Derived(Base, unittest.TestCase):
            def test_y(self):
                pass

            def test_b(self):
                pass

            def test_a(self):
                pass

        self.assertEqual(stand.InOrder().getTestCaseNames(Derived), ["test_z", "test_b", "test_y", "test_a"])


if __name__ == "__main__":
    unittest.main()
