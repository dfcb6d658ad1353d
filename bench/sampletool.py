#!/usr/bin/env python3
"""The sample tool compared with two programs that convert colours, on one picture.

Usage: bench/sampletool.py [--build-folder DIR] [--runs N] [IMAGE]

Each converts IMAGE (examples/images/demo.jpg) to the sample tool's press CMYK and writes it as JPEG
with quality 90 and as TIFF with LZW. The programs take turns, N times (7); no two run at once. Printed is the
median, with the smallest and the largest, of the time by the clock; then the median of processor
time and of the largest memory. DIR is build/release. Fails when a result is no CMYK of IMAGE's size,
or differs from the sample tool's by more than two levels on the average.

Needs libvips-tools and imagemagick (scripts/install-dependencies bench).
"""

import argparse
import base64
import os
import pathlib
import statistics
import subprocess
import sys
import tempfile
import time

ROOT = pathlib.Path(__file__).resolve().parent.parent


def commands(tool: pathlib.Path, image: pathlib.Path, place: pathlib.Path, kind: str) -> dict:
    """The same conversion, by name. The profiles are those built into libvips."""
    quality = {"jpg": "[Q=90]", "tif": "[compression=lzw,predictor=horizontal]"}[kind]
    written = {"jpg": ["-quality", "90"], "tif": ["-compress", "lzw"]}[kind]
    return {
        "vond-sample": [tool, "-c", "PressCMYK", image, "-o", place / f"vond-sample.{kind}"],
        "vips icc_transform": ["vips", "icc_transform", image, f"{place}/vips icc_transform.{kind}{quality}", "cmyk",
                               "--input-profile", "srgb", "--intent", "relative"],
        "ImageMagick": ["convert-im6.q16", image, "-profile", place / "srgb.icc", "-intent", "relative",
                        "-profile", place / "cmyk.icc", *written, place / f"ImageMagick.{kind}"],
    }


def profile_of(tool: pathlib.Path, image: pathlib.Path, configuration: str, target: pathlib.Path) -> None:
    converted = target.with_suffix(".tif")
    subprocess.run([tool, "-c", configuration, image, "-o", converted], check=True, capture_output=True)
    target.write_bytes(header(converted, "icc-profile-data", raw=True))


def header(image: pathlib.Path, field: str, raw: bool = False):
    got = subprocess.run(["vipsheader", "-f", field, image], check=True, capture_output=True).stdout
    return base64.b64decode(got) if raw else got.decode().strip()


def measure(command: list) -> tuple:
    """Wall-clock seconds, processor seconds, bytes of memory."""
    begin = time.monotonic()
    process = subprocess.Popen(command, stdout=subprocess.DEVNULL)
    _, status, used = os.wait4(process.pid, 0)
    took = time.monotonic() - begin
    process.returncode = status
    if status != 0:
        sys.exit(f"{command[0]} failed")
    return took, used.ru_utime + used.ru_stime, used.ru_maxrss * 1024


def difference(one: pathlib.Path, other: pathlib.Path, place: pathlib.Path) -> float:
    """Levels of 255, averaged over all values."""
    apart, absolute = place / "apart.v", place / "absolute.v"
    subprocess.run(["vips", "subtract", one, other, apart], check=True)
    subprocess.run(["vips", "abs", apart, absolute], check=True)
    return float(subprocess.run(["vips", "avg", absolute], check=True, capture_output=True, text=True).stdout)


def compare(tool: pathlib.Path, image: pathlib.Path, place: pathlib.Path, kind: str, runs: int) -> None:
    means = commands(tool, image, place, kind)
    measured = {name: [] for name in means}
    for _ in range(runs):
        for name, command in means.items():
            measured[name].append(measure(command))
    sizes = {header(path, "width") for path in (image, *(place / f"{name}.{kind}" for name in means))}
    if len(sizes) != 1:
        sys.exit(f"the results differ in size: {sizes}")
    print(f"| {kind.upper()} | time | processors | memory | apart |\n|---|---|---|---|---|")
    for name, each in measured.items():
        result = place / f"{name}.{kind}"
        if "CMYK" not in header(result, "interpretation"):
            sys.exit(f"{name} made no CMYK")
        apart = difference(place / f"vond-sample.{kind}", result, place)
        if apart > 2:
            sys.exit(f"{name} made other colours: {apart} apart")
        clock = [one[0] for one in each]
        print(f"| {name} | {statistics.median(clock):.2f} s ({min(clock):.2f} to {max(clock):.2f}) "
              f"| {statistics.median(one[1] for one in each):.2f} s "
              f"| {statistics.median(one[2] for one in each) / 1e6:.0f} MB | {apart:.2f} |")
    print()


def main() -> None:
    parser = argparse.ArgumentParser(description=__doc__, formatter_class=argparse.RawDescriptionHelpFormatter)
    parser.add_argument("--build-folder", type=pathlib.Path, default=ROOT / "build/release")
    parser.add_argument("--runs", type=int, default=7)
    parser.add_argument("image", type=pathlib.Path, nargs="?", default=ROOT / "examples/images/demo.jpg")
    options = parser.parse_args()
    sys.stdout.reconfigure(line_buffering=True)
    tool = options.build_folder / "sampletool/vond-sample"
    with tempfile.TemporaryDirectory() as folder:
        place = pathlib.Path(folder)
        profile_of(tool, options.image, "sRGB", place / "srgb.icc")
        profile_of(tool, options.image, "PressCMYK", place / "cmyk.icc")
        for kind in ("jpg", "tif"):
            compare(tool, options.image, place, kind, options.runs)


if __name__ == "__main__":
    main()
