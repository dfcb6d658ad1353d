"""What docs/recording/record-demo makes of a terminal's bytes, and the picture that is in the repository."""

import importlib.machinery
import importlib.util
import pathlib
import re
import sys
import unittest
import xml.etree.ElementTree

ROOT = pathlib.Path(__file__).resolve().parents[2]
PICTURE = ROOT / "docs/demo.svg"
sys.dont_write_bytecode = True

loader = importlib.machinery.SourceFileLoader("recorddemo", str(ROOT / "docs/recording/record-demo"))
spec = importlib.util.spec_from_loader("recorddemo", loader)
recorddemo = importlib.util.module_from_spec(spec)
sys.modules["recorddemo"] = recorddemo
loader.exec_module(recorddemo)


def seen(*pieces):
    screen = recorddemo.Screen()
    for piece in pieces:
        screen.write(piece)
    return screen.picture()


class Terminal(unittest.TestCase):
    def test_a_line_written_again_covers_the_first_one(self):
        self.assertEqual(seen("one two\rsix\n"), (((0, "", "six two"),), ()))

    def test_styles_become_runs_and_blanks_none(self):
        self.assertEqual(seen("\x1b[1mbold\x1b[0m  plain"), (((0, "b", "bold"), (6, "", "plain")),))

    def test_two_blanks_cut_a_run(self):
        self.assertEqual(seen("Tool:    here it is"), (((0, "", "Tool:"), (9, "", "here it is")),))

    def test_a_sequence_that_comes_in_pieces_is_one(self):
        self.assertEqual(seen("\x1b", "[3", "2mgreen"), seen("\x1b[32mgreen"))

    def test_a_long_line_goes_on_below(self):
        first, second = seen("x" * recorddemo.COLUMNS + "y")
        self.assertEqual((first[0][2], second), ("x" * recorddemo.COLUMNS, ((0, "", "y"),)))

    def test_the_oldest_line_leaves_a_full_screen(self):
        picture = seen("".join(f"{line}\n" for line in range(recorddemo.ROWS)))
        self.assertEqual((len(picture), picture[0]), (recorddemo.ROWS, ((0, "", "1"),)))

    def test_what_is_not_understood_is_reported(self):
        with self.assertRaisesRegex(ValueError, "2J"):
            seen("\x1b[2J")


class Frames(unittest.TestCase):
    pieces = [(0.0, "$ demo\r\n"), (1.0, "a"), (1.01, "b\r\n"), (2.0, "c\r\n\r\n\x1b[1m2. Next\x1b[0m\r\n")]

    def test_what_comes_at_once_is_one_screen_unless_a_step_begins(self):
        frames = recorddemo.frames_of(self.pieces)
        self.assertEqual([frame.begins for frame in frames], [0.0, 1.0, 2.0, 2.0])
        self.assertEqual(frames[1].picture, (((0, "", "$ demo"),), ((0, "", "ab"),), ()))

    def test_a_screen_can_be_read_before_the_next_step(self):
        shown = recorddemo.durations(recorddemo.frames_of(self.pieces))
        self.assertEqual(shown, [1.0, 1.0, recorddemo.READ_STEP, recorddemo.READ_LAST])


    def test_it_begins_with_the_screen_before_the_upload(self):
        steps = [(0.0, "$ demo\r\n")]
        for number in range(1, 5):  # the empty line arrives separately
            steps += [(number, "\r\n"), (number, f"\x1b[1m{number}. Step\x1b[0m\r\nwords\r\n")]
        frames = recorddemo.from_first_event(recorddemo.frames_of(steps))
        words = [" ".join(run[2] for row in frame.picture for run in row) for frame in frames]
        self.assertTrue(words[0].endswith("2. Step words"), words[0])
        self.assertTrue(words[1].endswith("3. Step words"), words[1])


class Picture(unittest.TestCase):
    def test_it_shows_its_last_screen_when_nothing_moves(self):
        frames = recorddemo.frames_of(Frames.pieces)
        self.assertIn(f".film {{ transform: translate({-1000 * (len(frames) - 1)}px)",
                      recorddemo.drawing(frames, "title"))

    def test_the_one_in_the_repository_is_small_and_tells_nothing_of_a_machine(self):
        text = PICTURE.read_text(encoding="utf-8")
        xml.etree.ElementTree.fromstring(text)
        self.assertLess(len(text.encode()), 100_000)
        self.assertEqual(re.findall(r"(?<!~)/(?:home|root|tmp|usr|srv|var)/[^<]*", text), [])

    def test_the_one_in_the_repository_is_a_run_of_this_demo(self):
        words = " ".join(re.findall(r">([^<>]+)</tspan>", PICTURE.read_text(encoding="utf-8")))
        demo = (ROOT / "scripts/lib/demo.py").read_text(encoding="utf-8")
        demo = re.sub(r"    def show_page.*?\n\n", "", demo, flags=re.DOTALL)  # which is not in the picture
        steps = re.findall(r'screen\.step\(f?"([^"{]+)', demo)
        self.assertEqual(len(steps), 7)
        for step in steps:
            self.assertIn(step.strip(), words)


if __name__ == "__main__":
    unittest.main()
