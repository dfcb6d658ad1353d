"""What the tests of the scripts share; those in shell have expect.sh."""

import pathlib
import shutil
import subprocess
import sys

ROOT = pathlib.Path(__file__).resolve().parents[2]


def need(*programs: str, named: str = "") -> None:
    """This machine lacks what the whole test program needs: CTest shows it as skipped. The packages have this name
    in scripts/install-dependencies."""
    for program in programs:
        if not shutil.which(program):
            print(f"SKIP {program} is not installed ({' '.join(['scripts/install-dependencies', *named.split()])})")
            sys.exit(77)


def run(*command, **options) -> subprocess.CompletedProcess:
    """Its stdout has what it prints on both channels."""
    return subprocess.run([str(word) for word in command], stdin=subprocess.DEVNULL, stdout=subprocess.PIPE,
                          stderr=subprocess.STDOUT, encoding="utf-8", errors="replace", check=False, **options)


def write_program(path: pathlib.Path, text: str) -> None:
    """In shell."""
    path.write_text(f"#!/bin/bash\n{text}\n", encoding="utf-8")
    path.chmod(0o755)
