"""The figures of the harness, as text and in a page of the documentation."""

from __future__ import annotations

import re
from collections import Counter
from dataclasses import dataclass, field
from pathlib import Path

from baseline import Baseline
from cases import KINDS
from fixtures import Scenario
from trials import Outcome


@dataclass
class Row:
    title: str
    calls: int
    done: Counter[str] = field(default_factory=Counter)
    bad: Counter[str] = field(default_factory=Counter)
    problems: int = 0  # of the run with nothing failing


@dataclass
class Figures:
    rows: dict[str, Row] = field(default_factory=dict)
    planned: int = 0
    cases: int = 0
    runs: int = 0
    violations: int = 0

    def measured(self, baseline: Baseline, problems: list[str]) -> None:
        self.rows[baseline.scenario.name] = Row(baseline.scenario.title, len(baseline.calls), problems=len(problems))
        self.violations += len(problems)

    def tried(self, scenario: Scenario, outcome: Outcome) -> None:
        row = self.rows[scenario.name]
        row.done[outcome.case.kind] += outcome.trials
        row.bad[outcome.case.kind] += bool(outcome.violations)
        self.cases += 1
        self.runs += outcome.runs
        self.violations += bool(outcome.violations)

    def summary(self, seconds: float) -> str:
        return (f"{len(self.rows)} scenarios, {sum(row.calls for row in self.rows.values())} calls, "
                f"{self.cases} of {self.planned} cases, {self.runs} runs of the program, "
                f"{self.violations} violations, {seconds:.0f} s")


def table(figures: Figures) -> str:
    """A line for each kind of case, a column for each scenario: the trials, and in brackets those with violations."""
    rows = figures.rows.values()
    lines = ["| | " + " | ".join(row.title for row in rows) + " |", "|---|" + "---:|" * len(rows)]
    lines.append("| calls | " + " | ".join(str(row.calls) for row in rows) + " |")
    for kind in (kind for kind in KINDS if any(row.done[kind] for row in rows)):
        lines.append(f"| {kind} | " + " | ".join(_count(row.done[kind], row.bad[kind]) for row in rows) + " |")
    lines.append("| with violations | " + " | ".join(str(sum(row.bad.values()) + row.problems) for row in rows) + " |")
    return "\n".join(lines)


def _count(done: int, bad: int) -> str:
    return f"{done} ({bad})" if bad else str(done)


def write_page(page: Path, figures: Figures, seconds: float) -> None:
    """Puts the figures between the two marks of the page."""
    text = page.read_text(encoding="utf-8")
    result = f"<!-- result -->\n{table(figures)}\n\n{figures.summary(seconds)}.\n<!-- end of result -->"
    page.write_text(re.sub("<!-- result -->.*<!-- end of result -->", lambda _: result, text, flags=re.DOTALL),
                    encoding="utf-8")
