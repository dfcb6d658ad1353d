"""Every source of the service compiles for Windows: windowssourcestest.py WORK_FOLDER BOOST QT_FOLDER...

With MinGW and the headers of Qt for Windows, where deploy/windows/build has left them; otherwise with
the ones of this machine's Qt, which ask the compiler for the system. Ends with 77, after saying why,
where the compiler is not installed."""

import concurrent.futures
import os
import pathlib
import shutil
import subprocess
import sys

ROOT = pathlib.Path(__file__).resolve().parents[2]
COMPILER = "x86_64-w64-mingw32-g++-posix"
CACHE = pathlib.Path(os.environ.get("XDG_CACHE_HOME") or pathlib.Path.home() / ".cache")
FLAGS = ["-std=c++17", "-Wall", "-Wextra", "-Wshadow", "-Wconversion", "-Wsign-conversion", "-Wold-style-cast",
         "-Werror", "-DQT_NO_KEYWORDS", "-DQT_NO_CAST_FROM_ASCII", "-DQT_NO_CAST_TO_ASCII"]
ELSEWHERE = ("_linux.cpp", "_unix.cpp")  # ends of names that CMake chooses for other systems


def qt_folders(given: list) -> list:
    windows = CACHE / "vondserver/qt-windows/current/include"
    return [windows, windows / "QtCore", windows / "QtNetwork"] if windows.is_dir() else given


def compiled(words: list) -> str:
    """What the compiler says, if it fails."""
    run = subprocess.run([COMPILER, *FLAGS, *words], cwd=ROOT, check=False, stdout=subprocess.PIPE,
                         stderr=subprocess.STDOUT, text=True)
    return run.stdout if run.returncode else ""


def main(words: list) -> int:
    work, boost, *qt = words
    if not shutil.which(COMPILER):
        print(f"SKIP {COMPILER} is not installed (scripts/install-dependencies windows)")
        return 77
    work = pathlib.Path(work)
    (work / "boost").mkdir(parents=True, exist_ok=True)
    link = work / "boost/boost"  # alone: beside it lie headers of this machine's C library
    if not link.exists():
        link.symlink_to(pathlib.Path(boost) / "boost")
    folders = ["-Isrc", f"-isystem{work / 'boost'}", *(f"-isystem{folder}" for folder in qt_folders(qt))]
    sources = [path for path in sorted((ROOT / "src").rglob("*.cpp")) if not path.name.endswith(ELSEWHERE)]
    # Most of the time would go into these, again for each source.
    often = work / "often.h"
    often.write_text("#include <QObject>\n#include <QString>\n#include <QTcpSocket>\n", encoding="utf-8")
    if said := compiled([*folders, "-x", "c++-header", often, "-o", f"{often}.gch"]):
        print(said)
        return 1
    with concurrent.futures.ThreadPoolExecutor(len(os.sched_getaffinity(0))) as pool:
        complaints = [text for text in pool.map(
            lambda path: compiled([*folders, "-include", often, "-fsyntax-only", path]), sources) if text]
    print(*complaints, f"{len(sources) - len(complaints)} of {len(sources)} sources compile", sep="\n")
    return 1 if complaints or not any(path.name.endswith("_windows.cpp") for path in sources) else 0


if __name__ == "__main__":
    sys.exit(main(sys.argv[1:]))
