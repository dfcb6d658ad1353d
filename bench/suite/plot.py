"""Draws every case that has an aim: on which side of it the rounds are, and how far from it."""

import math
from xml.sax.saxutils import escape

from results import AT_LEAST

LEFT, RIGHT, TOP, ROW = 470, 330, 60, 18
DECADES = (-1.5, 1.5)  # of value over aim, or aim over value
GOOD, BAD, FAINT = "#2a7f4f", "#b5362b", "#999999"


def merit(case, value: float) -> float:
    """1 is the aim itself; more is better. Under an upper bound, zero or less is as good as it gets."""
    if case.bound == AT_LEAST:
        return value / case.aim
    return case.aim / value if value > 0 else math.inf


def across(value: float) -> float:
    low, high = DECADES
    exponent = high if value == math.inf else math.log10(max(value, 1e-9))
    return LEFT + RIGHT * (min(max(exponent, low), high) - low) / (high - low)


def text(x: float, y: float, content: str, anchor: str = "start", colour: str = "black") -> str:
    return (f'<text x="{x:.1f}" y="{y:.1f}" text-anchor="{anchor}" fill="{colour}">'
            f"{escape(content)}</text>")


def row(case, y: float) -> list:
    colour = GOOD if case.is_met else BAD
    ends = sorted(across(merit(case, value)) for value in (min(case.values), max(case.values)))
    middle = across(merit(case, case.median))
    return [text(LEFT - 12, y + 4, f"{case.question}: {case.name}"
                 + (f" / {case.peer}" if case.peer else ""), "end"),
            f'<line x1="{ends[0]:.1f}" y1="{y}" x2="{ends[1]:.1f}" y2="{y}" stroke="{colour}" '
            f'stroke-width="3" stroke-opacity="0.45"/>',
            f'<circle cx="{middle:.1f}" cy="{y}" r="4" fill="{colour}"/>',
            text(LEFT + RIGHT + 10, y + 4, f"{case.median_text()} ({case.aim_text()})",
                 colour=colour)]


def svg(cases: list) -> str:
    shown = [case for case in cases if case.bound and case.aim > 0]
    height = TOP + ROW * len(shown) + 20
    parts = [text(LEFT, 20, "worse than the aim", colour=FAINT),
             text(LEFT + RIGHT, 20, "better than the aim", "end", FAINT)]
    for factor in (0.1, 0.5, 1, 2, 10):
        x = across(factor)
        width = 1.5 if factor == 1 else 0.5
        parts.append(f'<line x1="{x:.1f}" y1="{TOP - 18}" x2="{x:.1f}" y2="{height - 14}" '
                     f'stroke="{FAINT}" stroke-width="{width}"/>')
        label = "aim" if factor == 1 else f"{factor:g} x" if factor > 1 else f"1/{1 / factor:g}"
        parts.append(text(x, TOP - 22, label, "middle", FAINT))
    for index, case in enumerate(shown):
        parts += row(case, TOP + ROW * index)
    body = "\n".join(parts)
    return (f'<svg xmlns="http://www.w3.org/2000/svg" width="{LEFT + RIGHT + 200}" '
            f'height="{height}" font-family="sans-serif" font-size="11">\n'
            f'<rect width="100%" height="100%" fill="white"/>\n{body}\n</svg>\n')
