"""demotest.py BUILD_FOLDER: scripts/demo with the programs of that build folder, and with some that fail."""

import contextlib
import os
import pathlib
import shutil
import signal
import socket
import subprocess
import sys
import tempfile
import time
import unittest

import scriptrun
from scriptrun import ROOT

sys.dont_write_bytecode = True
sys.path.insert(0, str(ROOT / "scripts/lib"))
import demo  # noqa: E402

BUILT = pathlib.Path(sys.argv.pop(1)).resolve()
SERVICE, TOOL = "app/vondServer", "sampletool/vond-sample"
PATIENCE = 120.0  # seconds until the demo should have called the tool


def header_of(picture: pathlib.Path, name: str) -> str:
    """One property of a picture, by its vips name."""
    return scriptrun.run("vipsheader", "-f", name, picture).stdout.rstrip("\n")


class Demo(unittest.TestCase):
    @classmethod
    def setUpClass(cls):
        cls.place = pathlib.Path(cls.enterClassContext(tempfile.TemporaryDirectory(prefix="vond-demo-test.")))
        cls.results = cls.place / "results"
        # A picture that converts quickly, but is large enough that the tool reports progress more than once.
        cls.picture = cls.place / "picture.jpg"
        subprocess.run(["vips", "resize", ROOT / "examples/images/demo.jpg", cls.picture, "0.25"], check=True)
        # The settings of the person who runs the demo.
        cls.home = cls.place / "home"
        (cls.home / ".config/meridane").mkdir(parents=True)
        (cls.home / ".config/meridane/vondServer.conf").write_text(
            "[General]\nTempFolder=/the/folder/of/the/caller\nServerLogging=true\n", encoding="utf-8")
        # Every process that the demo starts inherits the mark, whatever its name.
        cls.mark = f"VOND_DEMO_TEST={cls.place}".encode()
        cls.environment = {name: value for name, value in os.environ.items() if name != "XDG_CONFIG_HOME"}
        cls.environment.update(HOME=str(cls.home), TERM="dumb", VOND_DEMO_TEST=str(cls.place), BUILT=str(BUILT))

    def setUp(self):
        shutil.rmtree(self.results, ignore_errors=True)

    def tearDown(self):
        for process in self.left_processes():  # after a failure
            with contextlib.suppress(ProcessLookupError):
                os.kill(int(process), signal.SIGKILL)

    def command(self, programs: pathlib.Path, picture: pathlib.Path) -> list:
        # Started in the background, it would ignore Ctrl-C.
        return ["env", "--default-signal=INT", ROOT / "scripts/demo", "--build-folder", programs,
                "--output", self.results, picture]

    def run_demo(self, programs: pathlib.Path, picture: pathlib.Path, **environment: str) -> tuple:
        """Its exit status and what it prints."""
        done = scriptrun.run(*self.command(programs, picture), env={**self.environment, **environment})
        return done.returncode, done.stdout

    def replace(self, folder: str, program: str, text: str) -> pathlib.Path:
        """The built programs with one of them replaced."""
        for name in (SERVICE, TOOL):
            path = self.place / folder / name
            path.parent.mkdir(parents=True)
            if name == program:
                scriptrun.write_program(path, text)
            else:
                path.symlink_to(BUILT / name)
        return self.place / folder

    def state_of_home(self) -> dict:
        return {path: path.read_bytes() if path.is_file() else None for path in self.home.rglob("*")}

    def left_processes(self) -> list:
        left = []
        for process in pathlib.Path("/proc").glob("[0-9]*"):
            with contextlib.suppress(OSError):  # it has just ended, or is another user's
                if self.mark in (process / "environ").read_bytes().split(b"\0"):
                    left.append(process.name)
        return left

    def assert_cmyk(self, picture: pathlib.Path) -> None:
        self.assertEqual(header_of(picture, "interpretation"), "((VipsInterpretation) VIPS_INTERPRETATION_CMYK)")

    def assert_nothing_left(self) -> None:
        self.assertEqual(self.left_processes(), [], "processes that still run")
        self.assertEqual([path for path in self.results.rglob("*") if path.is_dir()], [], "folders of the run")

    def test_two_runs_in_a_row_give_a_cmyk_picture(self):
        home = self.state_of_home()
        for time_of_it in ("first", "second"):
            with self.subTest(time_of_it):
                shutil.rmtree(self.results, ignore_errors=True)
                status, output = self.run_demo(BUILT, self.picture)
                self.assertEqual(status, 0, output)
                self.assertIn(f"The result is {self.results}/picture_PressCMYK.jpg", output)
                self.assertIn('1500 x 1000 pixels, CMYK, profile "Chemical proof"', output)
                self.assert_cmyk(self.results / "picture_PressCMYK.jpg")
                self.assertEqual(header_of(self.results / "picture_PressCMYK.jpg", "width"), "1500")
                self.assertEqual(sorted(os.listdir(self.results)), ["picture_PressCMYK.jpg", "service.log"])
                self.assert_nothing_left()
        self.assertEqual(self.state_of_home(), home)

    def test_a_conversion_is_cancelled_through_its_stop_file(self):
        # The second conversion waits for its stop file; what it does then is the sample tool's business.
        programs = self.replace("patient", TOOL, '''\
if mkdir "${0%/*}/called" 2>/dev/null || [[ $1 != --progress ]]; then
    exec "$BUILT/sampletool/vond-sample" "$@"
fi
echo "Progress: 12%"
while [[ ! -e ${2#--stopfile=} ]]; do sleep 0.02; done
exec "$BUILT/sampletool/vond-sample" "$@"''')
        status, output = self.run_demo(programs, self.picture)
        self.assertEqual(status, 0, output)
        self.assertIn("   12 %", output)
        self.assertIn("and gave up", output)
        folder = output.partition("temporary folder:")[2]
        self.assertIn("\n     picture.jpg\n     picture_PressCMYK.jpg\n     stop-", folder)
        self.assertNotIn("_1.jpg", folder, "the cancelled conversion left a file")
        self.assert_nothing_left()

    def test_a_png_gives_a_tiff(self):
        drawing = self.place / "drawing.png"
        subprocess.run(["vips", "copy", self.picture, drawing], check=True)
        status, output = self.run_demo(BUILT, drawing)
        self.assertEqual(status, 0, output)
        self.assertIn(f"The result is {self.results}/drawing_PressCMYK.tif", output)
        self.assertIn("The tool keeps it as .tif: .png cannot hold these colours.", output)
        self.assert_cmyk(self.results / "drawing_PressCMYK.tif")
        self.assert_nothing_left()

    def test_a_redirected_build_shows_its_progress(self):
        self.assertEqual(
            list(demo.every_ten_percent(["[  4%] a", "[  9%] b", "[ 10%] c", "d.cpp:1: error: e", "[ 57%] f",
                                         "[ 58%] g", "[100%] h", "ninja: no work to do."])),
            ["   4 % built", "   10 % built", "d.cpp:1: error: e", "   57 % built", "   100 % built"])

    def test_a_name_with_quotes_blanks_and_letters_of_other_languages_is_sent_whole(self):
        name = "it's \"Größe\" 50% b\\c #1 & co"
        picture = shutil.copy(self.picture, self.place / f"{name}.jpg")
        status, output = self.run_demo(BUILT, picture)
        self.assertEqual(status, 0, output)
        self.assert_cmyk(self.results / f"{name}_PressCMYK.jpg")
        self.assert_nothing_left()

    def test_a_name_that_json_cannot_carry_is_replaced(self):
        picture = shutil.copy(self.picture, self.place / "two\nlines.jpg")
        status, output = self.run_demo(BUILT, picture)
        self.assertEqual(status, 0, output)
        self.assert_cmyk(self.results / "image_PressCMYK.jpg")

    def test_what_is_no_readable_picture_is_rejected(self):
        text = self.place / "text.jpg"
        text.write_text("This is a text.\n", encoding="utf-8")
        for picture, expected, words in (
                (self.place / "nowhere.jpg", 2, f"there is no file {self.place}/nowhere.jpg"),
                (self.place, 2, "is no file that can be read"),
                (text, 1, f"{text} is no image")):
            with self.subTest(words):
                status, output = self.run_demo(BUILT, picture)
                self.assertEqual(status, expected, output)
                self.assertIn(words, output)
        self.assert_nothing_left()

    def test_missing_programs_are_reported(self):
        status, output = self.run_demo(self.home, self.picture)
        self.assertEqual(status, 1, output)
        self.assertIn(f"There is no program {self.home}/app/vondServer.", output)

    def test_a_port_that_is_taken_leads_to_another_port(self):
        # The first attempt to serve finds its port taken.
        programs = self.replace("taken", SERVICE, '''\
[[ $1 == setTempFolder ]] || ! mkdir "${0%/*}/tried" 2>/dev/null \\
    || exec "$BUILT/app/vondServer" "$1" "$TAKEN" "$3"
exec "$BUILT/app/vondServer" "$@"''')
        with socket.create_server(("127.0.0.1", 0)) as taken:
            status, output = self.run_demo(programs, self.picture, TAKEN=str(taken.getsockname()[1]))
        self.assertEqual(status, 0, output)
        self.assertTrue((programs / "app/tried").is_dir(), "the port was never taken")
        self.assertIn(f"The result is {self.results}/picture_PressCMYK.jpg", output)
        self.assert_nothing_left()

    def test_a_service_that_does_not_start_is_reported(self):
        programs = self.replace("broken", SERVICE, '[[ $1 == setTempFolder ]] || { echo "no such luck" >&2; exit 3; }')
        status, output = self.run_demo(programs, self.picture)
        self.assertEqual(status, 1, output)
        self.assertIn("The service did not start", output)
        self.assertIn("no such luck", output)
        self.assert_nothing_left()

    def test_a_service_that_dies_during_a_conversion_is_reported(self):
        programs = self.replace("deadly", TOOL, "kill -KILL $PPID")
        status, output = self.run_demo(programs, self.picture)
        self.assertEqual(status, 1, output)
        self.assertIn("The service ended unexpectedly. Its last words:", output)
        self.assertIn("convert reqestID:", output)
        self.assert_nothing_left()

    def test_a_failed_conversion_shows_the_words_of_the_tool(self):
        programs = self.replace("refusing", TOOL, 'echo "We are out of magenta."; echo "Error: magenta" >&2')
        status, output = self.run_demo(programs, self.picture)
        self.assertEqual(status, 1, output)
        self.assertIn("There is no result. What the tool said: We are out of magenta.", output)
        self.assert_nothing_left()

    def test_stopped_in_the_middle_it_leaves_nothing(self):
        for ending in (signal.SIGTERM, signal.SIGINT):
            with self.subTest(ending.name):
                # The signal comes while it waits for a tool that never ends.
                programs = self.replace(ending.name, TOOL,
                                        'echo "Progress: 5%"; touch "${0%/*}/called"; exec sleep 1000')
                talk = self.place / f"talk of {ending.name}"
                with talk.open("wb") as output:
                    process = subprocess.Popen(self.command(programs, self.picture), env=self.environment,
                                               stdin=subprocess.DEVNULL, stdout=output, stderr=output)
                deadline = time.monotonic() + PATIENCE
                while not (programs / "sampletool/called").exists():
                    if process.poll() is not None or time.monotonic() > deadline:
                        self.fail(f"the tool was never called: {talk.read_text(encoding='utf-8')}")
                    time.sleep(0.05)
                process.send_signal(ending)
                self.assertEqual(process.wait(), 128 + ending)
                self.assert_nothing_left()


if __name__ == "__main__":
    scriptrun.need("curl", "vips", "vipsheader", named="demo")
    unittest.main(verbosity=2)
