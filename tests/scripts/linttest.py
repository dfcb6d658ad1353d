"""scripts/lint on a project with two small files: no change may hide behind an earlier result."""

import pathlib
import shutil
import tempfile
import unittest

import scriptrun

PROJECT = """
cmake_minimum_required(VERSION 3.25)
project(small LANGUAGES CXX)
set(CMAKE_EXPORT_COMPILE_COMMANDS ON)
add_library(small STATIC first.cpp second.cpp)
"""

CLEAN = {
    "first.h": "int *nowhere();\n",
    "first.cpp": '#include "first.h"\nint *nowhere() { return nullptr; }\n',
    "second.cpp": "int one() { return 1; }\n",
    ".clang-tidy": """Checks: "-*,modernize-use-nullptr"
WarningsAsErrors: "*"
HeaderFilterRegex: ".*"
""",
}


class Lint(unittest.TestCase):
    """Each test begins with the clean project, which lint has found clean before."""

    @classmethod
    def setUpClass(cls):
        cls.place = pathlib.Path(cls.enterClassContext(tempfile.TemporaryDirectory()))
        (cls.place / "scripts").mkdir()
        shutil.copy(scriptrun.ROOT / "scripts/lint", cls.place / "scripts")
        (cls.place / "CMakeLists.txt").write_text(PROJECT, encoding="utf-8")
        cls.write(CLEAN)
        configured = scriptrun.run("cmake", "-S", cls.place, "-B", cls.place / "build", "-G", "Ninja")
        if configured.returncode != 0:
            raise AssertionError(configured.stdout)
        cls.first_run = cls.lint()

    def setUp(self):
        self.write(CLEAN)

    @classmethod
    def write(cls, texts: dict) -> None:
        for name, text in texts.items():
            (cls.place / name).write_text(text, encoding="utf-8")

    @classmethod
    def lint(cls, **sources: str) -> tuple:
        """With these sources changed: the exit status, what is printed, and its last line, the count."""
        cls.write({f"{name}.cpp": text for name, text in sources.items()})
        built = scriptrun.run("cmake", "--build", cls.place / "build")
        if built.returncode != 0:
            raise AssertionError(f"the project does not build:\n{built.stdout}")
        done = scriptrun.run(cls.place / "scripts/lint", cls.place / "build")
        return done.returncode, done.stdout, done.stdout.rstrip("\n").rpartition("\n")[2]

    def change_checks(self, old: str, new: str) -> None:
        self.assertIn(old, CLEAN[".clang-tidy"])
        self.write({".clang-tidy": CLEAN[".clang-tidy"].replace(old, new)})

    def test_a_clean_project_passes(self):
        status, output, count = self.first_run
        self.assertEqual(status, 0, output)
        self.assertIn("2 sources of .: ", output)  # both as one text
        self.assertEqual(count, "2 sources looked at, 0 unchanged since they were clean, 0 with complaints")

    def test_what_was_clean_is_not_looked_at_again(self):
        status, output, _ = self.lint()
        self.assertEqual(status, 0, output)
        self.assertEqual(output, "0 sources looked at, 2 unchanged since they were clean, 0 with complaints\n")

    def test_a_complaint_in_a_source_fails_every_time(self):
        for time in ("first", "second"):
            with self.subTest(time):
                status, output, _ = self.lint(first='#include "first.h"\nint *nowhere() { return 0; }\n')
                self.assertEqual(status, 1, output)
                self.assertIn("modernize-use-nullptr", output)
                self.assertIn("1 sources looked at, 1 unchanged since they were clean, 1 with complaints", output)

    def test_a_complaint_in_an_included_header_fails(self):
        self.write({"first.h": "int *nowhere(); inline int *none() { return 0; }\n"})
        status, output, _ = self.lint()
        self.assertEqual(status, 1, output)
        self.assertIn("first.h", output)

    def test_a_complaint_in_a_header_of_two_concerns_both(self):
        self.write({"first.h": "#pragma once\nint *nowhere(); inline int *none() { return 0; }\n"})
        status, output, _ = self.lint(second='#include "first.h"\nint one() { return 1; }\n')
        self.assertEqual(status, 1, output)
        self.assertIn("2 sources of ., 2 alone: ", output)
        self.assertIn("first.h", output)

    def test_a_complaint_in_one_of_two_is_about_that_one(self):
        status, output, count = self.lint(first="int *none() { return 0; }\n", second="int two() { return 2; }\n")
        self.assertEqual(status, 1, output)
        self.assertIn("2 sources of ., 1 alone: ", output)
        self.assertIn(f"{self.place}/first.cpp:1:", output)
        self.assertEqual(count, "2 sources looked at, 0 unchanged since they were clean, 1 with complaints")
        self.write(CLEAN)
        status, output, _ = self.lint()
        self.assertEqual(status, 0, output)

    def test_a_repeated_include_is_seen_and_a_shared_one_is_none(self):
        self.change_checks("-*,", "-*,readability-duplicate-include,")
        status, output, _ = self.lint(second='#include "first.h"\nint two() { return 2; }\n')
        self.assertEqual(status, 0, output)
        self.assertIn("2 sources of .: ", output)  # both as one text
        status, output, count = self.lint(first='#include "first.h"\nint one() { return 1; }\n',
                                          second='#include "first.h"\n#include "first.h"\nint two() { return 2; }\n')
        self.assertEqual(status, 1, output)
        self.assertIn("duplicate include", output)
        self.assertIn("1 with complaints", count)

    def test_sources_that_do_not_go_together_are_looked_at_alone(self):
        status, output, _ = self.lint(
            first="#define same 1\nnamespace { int other() { return same; } }\nint one() { return other(); }\n",
            second='#include "first.h"\nnamespace { int other() { return 0; } }\nint two() { return other(); }\n')
        self.assertEqual(status, 0, output)
        self.assertIn(", 2 alone: ", output)
        status, output, _ = self.lint(first="static int same() { return 1; }\nint one() { return same(); }\n",
                                      second="static int same() { return 2; }\nint two() { return same(); }\n")
        self.assertEqual(status, 0, output)
        self.assertIn("[2/2]", output)  # the names show it before

    def test_other_checks_look_at_everything_again(self):
        self.change_checks("use-nullptr", "use-nullptr,modernize-use-trailing-return-type")
        status, output, _ = self.lint()
        self.assertEqual(status, 1, output)
        self.assertIn("2 sources looked at, 0 unchanged since they were clean, 2 with complaints", output)


if __name__ == "__main__":
    scriptrun.need("clang-tidy", named="test")
    unittest.main(verbosity=2)
