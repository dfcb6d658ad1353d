"""What scripts/test says of tests that could not run."""

import importlib.machinery
import importlib.util
import pathlib
import subprocess
import tempfile
import unittest

ROOT = pathlib.Path(__file__).resolve().parents[2]
loader = importlib.machinery.SourceFileLoader("scriptstest", str(ROOT / "scripts/test"))
scriptstest = importlib.util.module_from_spec(importlib.util.spec_from_loader("scriptstest", loader))
loader.exec_module(scriptstest)

PROJECT = """
cmake_minimum_required(VERSION 3.25)
project(small NONE)
enable_testing()
foreach(name words shell qt python)
    add_test(NAME ${name} COMMAND cat "${CMAKE_SOURCE_DIR}/${name}")
endforeach()
add_test(NAME whole COMMAND sh -c "echo 'SKIP there is no browser'; exit 77")
add_test(NAME silent COMMAND sh -c "exit 77")
set_tests_properties(whole silent PROPERTIES SKIP_RETURN_CODE 77)
"""

QT = """PASS   : Test::first()
SKIP   : Test::second() not for root
   Loc: [test.cpp(24)]
"""

PYTHON = """unittest.case.FunctionTestCase (limits) ... skipped 'only root'
test_rights (__main__.Install.test_rights) ... skipped 'only as root'
"""


class SkippedTest(unittest.TestCase):
    def test_each_skipped_test_and_part_is_named_with_its_reason(self):
        with tempfile.TemporaryDirectory() as folder:
            place = pathlib.Path(folder)
            (place / "CMakeLists.txt").write_text(PROJECT, encoding="utf-8")
            (place / "words").write_text("nothing to SKIP here\n" * 1000, encoding="utf-8")
            (place / "shell").write_text("PASS one\n" * 1000 + "SKIP mandoc is not installed\n", encoding="utf-8")
            (place / "qt").write_text(QT, encoding="utf-8")
            (place / "python").write_text(PYTHON, encoding="utf-8")
            subprocess.run(["cmake", "-S", place, "-B", place / "build"], check=True, capture_output=True)
            subprocess.run(["ctest", "--test-dir", place / "build", *scriptstest.results_to(place / "results.xml")],
                           check=True, capture_output=True)
            self.assertEqual(scriptstest.skipped_in(place / "results.xml"), [
                "shell: mandoc is not installed",
                "qt: Test::second() not for root",
                "python: limits: 'only root'",
                "python: test_rights: 'only as root'",
                "whole: there is no browser",
                "silent: says no reason"])


if __name__ == "__main__":
    unittest.main()
