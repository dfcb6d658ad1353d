"""What was measured: one case is one ratio, or one quantity, with its values from every round."""

import dataclasses
import json
import pathlib
import statistics

AT_LEAST, AT_MOST = "at least", "at most"


@dataclasses.dataclass
class Case:
    """`values` has one entry for each round: a ratio of the service to its peer, or what `unit`
    says. The two texts are the medians in absolute terms, for orientation only."""

    question: str
    name: str
    peer: str
    values: list
    bound: str = ""  # AT_LEAST, AT_MOST, or none: reported only
    aim: float = 0.0
    unit: str = ""  # none: a ratio
    ours: str = ""
    theirs: str = ""

    @property
    def key(self) -> str:
        return ": ".join(part for part in (self.question, self.name, self.peer) if part)

    @property
    def median(self) -> float:
        return statistics.median(self.values)

    @property
    def spread(self) -> float:
        return max(self.values) - min(self.values)

    @property
    def is_met(self) -> bool:
        return (not self.bound or (self.median >= self.aim if self.bound == AT_LEAST
                                   else self.median <= self.aim))

    @property
    def verdict(self) -> str:
        if not self.bound:
            return "reported"
        return "met" if self.is_met else "NOT MET"

    def aim_text(self) -> str:
        return f"{self.bound} {self.aim:g}{self._unit()}" if self.bound else ""

    def median_text(self) -> str:
        return number_text(self.median) + self._unit()

    def spread_text(self) -> str:
        return f"{number_text(min(self.values))} to {number_text(max(self.values))}"

    def _unit(self) -> str:
        return f" {self.unit}" if self.unit else ""


def number_text(value: float) -> str:
    if value == 0 or abs(value) >= 100:
        return f"{value:.0f}"
    return f"{value:.2f}" if abs(value) >= 0.1 else f"{value:.3f}"


def recorded(path: pathlib.Path) -> dict:
    return json.loads(path.read_text(encoding="utf-8")) if path.exists() else {}


def record(path: pathlib.Path, scale: str, cases: list) -> None:
    """Records the cases. Other scales, and cases that were not run this time, stay as they are."""
    all_scales = recorded(path)
    of_scale = all_scales.setdefault(scale, {})
    for case in cases:
        of_scale[case.key] = {"median": round(case.median, 4), "spread": round(case.spread, 4)}
    path.write_text(json.dumps(all_scales, indent=2, sort_keys=True) + "\n", encoding="utf-8")


def moves(path: pathlib.Path, scale: str, cases: list) -> list:
    """(case, recorded median, whether it became worse) for each case whose median has moved by
    more than the spread of either run."""
    before = recorded(path).get(scale, {})
    found = []
    for case in cases:
        old = before.get(case.key)
        if old and abs(case.median - old["median"]) > max(case.spread, old["spread"]):
            more_is_better = case.bound == AT_LEAST
            found.append((case, old["median"], (case.median < old["median"]) == more_is_better))
    return found


def unknown(path: pathlib.Path, scale: str, cases: list) -> list:
    before = recorded(path).get(scale, {})
    return [case for case in cases if case.key not in before]
