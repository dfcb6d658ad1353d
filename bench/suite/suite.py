"""The benchmark suite: compares the service with other programs. Run by scripts/bench."""

import argparse
import contextlib
import pathlib
import shutil
import subprocess
import sys
import tempfile

import plot
import questions
import report
import results
from programs import Failed, Programs
from servers import HELLO, Lighttpd, Nginx, Webhook

ROOT = pathlib.Path(__file__).resolve().parents[2]
RECORDED = ROOT / "bench/recorded.json"
RAW = ROOT / "docs/performance-raw.md"
PICTURE = ROOT / "docs/performance.svg"
MICRO = "micro"


def arguments() -> argparse.Namespace:
    parser = argparse.ArgumentParser(prog="scripts/bench", description=__doc__)
    parser.add_argument("questions", nargs="*", metavar="QUESTION",
                        help=f"only these: {', '.join([*questions.ALL, MICRO])}")
    parser.add_argument("--quick", action="store_true", help="smaller, in under two minutes")
    parser.add_argument("--check", action="store_true",
                        help="compare with the recorded ratios and record nothing; fail if one "
                             "became worse by more than its spread")
    parser.add_argument("--record", action="store_true",
                        help="record the ratios even of a quick run or of some questions")
    parser.add_argument("--build", type=pathlib.Path, default=ROOT / "build/release",
                        help=argparse.SUPPRESS)
    chosen = parser.parse_args()
    unknown = set(chosen.questions) - {*questions.ALL, MICRO}
    if unknown:
        parser.error(f"there is no question {', '.join(sorted(unknown))}")
    return chosen


def place_for_files(needed: int) -> pathlib.Path:
    """In memory if there is room: a disk's fluctuations would drown out the rest."""
    memory = pathlib.Path("/dev/shm")
    if memory.is_dir() and shutil.disk_usage(memory).free > needed:
        return memory
    return ROOT / "build"


def ask(bench: questions.Bench, names: list) -> tuple:
    cases, failed = [], []
    for name in names:
        question = questions.ALL[name]
        print(f"== {question.__doc__}", flush=True)
        try:
            for case in question(bench):
                cases.append(case)
                print("  " + report.terminal_lines([case])[1], flush=True)
        except Failed as failure:
            failed.append(name)
            print(f"  failed: {failure}", file=sys.stderr, flush=True)
    return cases, failed


def micro_benchmarks(programs: Programs, quick: bool) -> str:
    """Each runs for a minimum time and, at full scale, five times."""
    print("== Micro benchmarks", flush=True)
    words = [programs.client("bench_micro"), f"--benchmark_min_time={0.02 if quick else 0.2}"]
    if not quick:
        words += ["--benchmark_repetitions=5", "--benchmark_report_aggregates_only=true"]
    run = subprocess.run(words, stdout=subprocess.PIPE, stderr=subprocess.DEVNULL, text=True,
                         check=True)
    print(run.stdout, flush=True)
    return run.stdout


def configuration_texts(bench: questions.Bench) -> dict:
    texts = {kind.name: bench.server(kind).configuration() for kind in (Nginx, Lighttpd, Webhook)}
    for name, text in texts.items():
        texts[name] = (text.replace(str(bench.folder), "FOLDER").replace(str(bench.files), "FILES")
                       .replace(str(bench.programs.build), "BUILD"))
    texts["cpp-httplib"] = (ROOT / "bench/peers/httplibserver.cpp").read_text(encoding="utf-8")
    texts["Qt 6's HTTP server"] = (ROOT / "bench/peers/qt6server.cpp").read_text(encoding="utf-8")
    return texts


def compare(scale: str, cases: list) -> int:
    """Prints what moved; returns the number of cases that became worse."""
    worse = 0
    for case, before, became_worse in results.moves(RECORDED, scale, cases):
        worse += became_worse
        print(f"{'WORSE' if became_worse else 'better'}: {case.key}: {case.median_text()}, was "
              f"{results.number_text(before)}")
    new = results.unknown(RECORDED, scale, cases)
    for case in new:
        print(f"not recorded at the {scale} scale: {case.key}")
    print(f"{len(cases)} cases compared, {worse} worse, {len(new)} not recorded")
    return worse


def main() -> int:
    chosen = arguments()
    scale = questions.QUICK if chosen.quick else questions.FULL
    names = [name for name in questions.ALL if not chosen.questions or name in chosen.questions]
    with contextlib.ExitStack() as stack:
        folder = pathlib.Path(stack.enter_context(tempfile.TemporaryDirectory(prefix="vond-bench-")))
        files = pathlib.Path(stack.enter_context(tempfile.TemporaryDirectory(
            prefix="vond-bench-", dir=place_for_files(6 * scale.transfer))))
        bench = questions.Bench(Programs(chosen.build), scale, folder, files)
        load = report.machine()
        texts = configuration_texts(bench)
        print(f"{load}\n{report.versions()}\nfiles are in {files.parent}; every server answers "
              f'"{HELLO}" to "/"\n\n{report.configurations(texts)}', flush=True)
        cases, failed = ask(bench, names)
        micro = ""
        if not chosen.questions or MICRO in chosen.questions:
            micro = micro_benchmarks(bench.programs, chosen.quick)
    print("\n".join(["", *report.terminal_lines(cases), ""]))
    whole_run = not chosen.questions and not chosen.quick and not failed
    worse = 0
    if chosen.check:
        worse = compare(scale.name, cases)
    elif chosen.record or whole_run:
        results.record(RECORDED, scale.name, cases)
    if whole_run and not chosen.check:
        RAW.write_text(report.document(cases, scale.name, scale.rounds, load, texts, micro),
                       encoding="utf-8")
        PICTURE.write_text(plot.svg(cases), encoding="utf-8")
    if failed:
        print(f"could not be measured: {', '.join(failed)}", file=sys.stderr)
    return 1 if failed or worse else 0


if __name__ == "__main__":
    sys.exit(main())
