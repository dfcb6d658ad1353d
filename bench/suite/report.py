"""The results as a table on the terminal and as a page."""

import os
import platform
import re
import subprocess


def terminal_lines(cases: list) -> list:
    rows = [("question", "case", "beside", "aim", "median", "spread", "")]
    rows += [(case.question, case.name, case.peer, case.aim_text(), case.median_text(),
              case.spread_text(), case.verdict) for case in cases]
    widths = [max(len(row[column]) for row in rows) for column in range(len(rows[0]))]
    return ["  ".join(text.ljust(width) for text, width in zip(row, widths)).rstrip()
            for row in rows]


def markdown_table(cases: list) -> str:
    lines = ["| Question | Case | Beside | Aim | Median | Lowest to highest round | Service, peer "
             "| |", "|---|---|---|---|---|---|---|---|"]
    for case in cases:
        absolute = ", ".join(text for text in (case.ours, case.theirs) if text)
        median = case.median_text() if case.is_met else f"**{case.median_text()}**"
        lines.append(f"| {case.question} | {case.name} | {case.peer} | {case.aim_text()} | {median} "
                     f"| {case.spread_text()} | {absolute} | {case.verdict} |")
    return "\n".join(lines)


def machine() -> str:
    with open("/proc/cpuinfo", encoding="utf-8") as file:
        found = re.search(r"model name\s*:\s*(.*)", file.read())
    model = found.group(1) if found else platform.machine()
    load = " ".join(f"{number:.1f}" for number in os.getloadavg())
    return (f"{os.cpu_count()} cores ({model}), Linux {platform.release()}; load when it began: "
            f"{load}")


def versions() -> str:
    """The installed packages of peers, load generator and libraries, with versions."""
    names = ["nginx-light", "nginx", "lighttpd", "webhook", "libcpp-httplib-dev",
             "qt6-httpserver-dev", "libqt5network5", "wrk", "libbenchmark-dev"]
    run = subprocess.run(["dpkg-query", "--show", "--showformat=${Package} ${Version} ${Status}\n",
                          *names], stdout=subprocess.PIPE, stderr=subprocess.DEVNULL, text=True,
                         check=False)
    installed = [line.split()[:2] for line in run.stdout.splitlines() if line.endswith("installed")]
    return ", ".join(f"{name} {version}" for name, version in installed)


def configurations(texts: dict) -> str:
    """Each text under its peer's name."""
    return "\n".join(f"{name}:\n\n```\n{text.strip()}\n```\n" for name, text in texts.items())


def document(cases: list, scale: str, rounds: int, load: str, texts: dict, micro: str) -> str:
    """The whole page of one run."""
    return f"""# Figures of one run

Written by `scripts/bench`: {scale} scale, {rounds} rounds. What they mean:
[performance.md](performance.md).

Machine: {load}.
Packages: {versions()}.

A value is the median of the rounds; where a case has a peer and no unit, it is the ratio of the
service to the peer, taken round by round.

{markdown_table(cases)}

![Medians and rounds of every case that has an aim, as a share of the aim](performance.svg)

## Micro benchmarks

```
{micro.strip()}
```

## How the peers were set up

{configurations(texts)}"""
