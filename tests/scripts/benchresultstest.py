"""What the benchmark suite makes of its figures: medians, verdicts, what moved, the picture."""

import pathlib
import subprocess
import sys
import tempfile
import unittest

ROOT = pathlib.Path(__file__).resolve().parents[2]
sys.path.insert(0, str(ROOT / "bench/suite"))
sys.dont_write_bytecode = True

import plot  # noqa: E402
import report  # noqa: E402
import results  # noqa: E402
from programs import Failed, Line  # noqa: E402
from results import AT_LEAST, AT_MOST, Case  # noqa: E402


def case(values, bound=AT_LEAST, aim=1.0, name="some"):
    return Case("question", name, "peer", values, bound, aim)


class Verdicts(unittest.TestCase):
    def test_the_median_decides_and_not_the_best_round(self):
        self.assertEqual(case([0.9, 0.95, 5.0]).verdict, "NOT MET")
        self.assertEqual(case([0.1, 1.0, 1.1]).verdict, "met")

    def test_at_most_is_the_other_way_round(self):
        self.assertEqual(case([1.1], AT_MOST).verdict, "NOT MET")
        self.assertEqual(case([1.0], AT_MOST).verdict, "met")

    def test_without_an_aim_there_is_no_verdict(self):
        self.assertEqual(case([0.1], "").verdict, "reported")


class Moves(unittest.TestCase):
    def moved(self, before, now):
        with tempfile.TemporaryDirectory() as folder:
            path = pathlib.Path(folder) / "recorded.json"
            results.record(path, "full", [before])
            return [(old, worse) for _, old, worse in results.moves(path, "full", [now])]

    def test_a_move_within_the_spread_is_none(self):
        self.assertEqual(self.moved(case([0.9, 1.0, 1.1]), case([1.15])), [])
        self.assertEqual(self.moved(case([1.0]), case([1.05, 1.15, 1.25])), [])

    def test_a_move_beyond_the_spread_is_reported_with_its_direction(self):
        self.assertEqual(self.moved(case([0.9, 1.0, 1.1]), case([0.7, 0.75])), [(1.0, True)])
        self.assertEqual(self.moved(case([0.9, 1.0, 1.1]), case([1.3])), [(1.0, False)])

    def test_more_is_worse_where_the_aim_is_an_upper_bound(self):
        self.assertEqual(self.moved(case([1.0], AT_MOST), case([1.5], AT_MOST)), [(1.0, True)])

    def test_more_is_worse_where_only_the_figure_is_reported(self):
        self.assertEqual(self.moved(case([1.0], ""), case([1.5], "")), [(1.0, True)])

    def test_an_unrecorded_case_is_not_passed_over_in_silence(self):
        with tempfile.TemporaryDirectory() as folder:
            path = pathlib.Path(folder) / "recorded.json"
            results.record(path, "full", [case([1.0], name="old")])
            new = case([1.0], name="new")
            self.assertEqual(results.unknown(path, "full", [new]), [new])
            self.assertEqual(len(results.unknown(path, "quick", [new])), 1)

    def test_recording_some_cases_keeps_the_others(self):
        with tempfile.TemporaryDirectory() as folder:
            path = pathlib.Path(folder) / "recorded.json"
            first, second = case([1.0], name="first"), case([2.0], name="second")
            results.record(path, "full", [first])
            results.record(path, "full", [second])
            self.assertEqual(results.unknown(path, "full", [first, second]), [])


class Lines(unittest.TestCase):
    def test_a_client_s_line_is_read(self):
        line = Line("/: count 3, median 12.5 us, 99th percentile 99.0 us, longest 100.0 us, "
                    "failed 1\n")
        self.assertEqual((line.median, line.percentile99), (12.5, 99.0))
        self.assertRaises(Failed, line.without_failures)
        self.assertRaises(Failed, line.number, "lost")


class Documents(unittest.TestCase):
    def test_the_page_of_a_run_holds_all_of_it(self):
        page = report.document([case([0.5], AT_LEAST, 0.8)], "quick", 3, "2 cores",
                               {"nginx": "worker_processes 2;"}, "decode 12 ns")
        for part in ("quick scale, 3 rounds", "2 cores", "| at least 0.8 | **0.50** |", "NOT MET",
                     "worker_processes 2;", "decode 12 ns"):
            self.assertIn(part, page)

    def test_what_misses_its_aim_lies_left_of_it_in_the_picture(self):
        aim = plot.across(1)
        self.assertLess(plot.across(plot.merit(case([0.5]), 0.5)), aim)
        self.assertLess(plot.across(plot.merit(case([2.0], AT_MOST), 2.0)), aim)
        self.assertGreater(plot.across(plot.merit(case([0.5], AT_MOST), 0.5)), aim)


class Command(unittest.TestCase):
    def test_an_unknown_question_is_rejected(self):
        run = subprocess.run([sys.executable, "-B", ROOT / "bench/suite/suite.py", "nonsense"],
                             capture_output=True, text=True, check=False)
        self.assertEqual(run.returncode, 2)
        self.assertIn("there is no question nonsense", run.stderr)


if __name__ == "__main__":
    unittest.main()
