"""The figures of the harness, as text and as a page of the documentation."""

from __future__ import annotations

from collections import Counter
from dataclasses import dataclass, field

from cases import KINDS, Baseline, Outcome
from fixtures import Scenario
from tracing import CHANGING


@dataclass
class Row:
    title: str
    calls: int
    done: Counter[str] = field(default_factory=Counter)
    violations: int = 0


@dataclass
class Figures:
    rows: dict[str, Row] = field(default_factory=dict)
    planned: int = 0
    cases: int = 0
    runs: int = 0
    violations: int = 0

    def measured(self, baseline: Baseline, problems: list[str]) -> None:
        row = self.rows[baseline.scenario.name] = Row(baseline.scenario.title, len(baseline.calls))
        row.violations += len(problems)
        self.violations += len(problems)

    def tried(self, scenario: Scenario, outcome: Outcome) -> None:
        row = self.rows[scenario.name]
        row.done[outcome.case.kind] += 1
        row.violations += bool(outcome.violations)
        self.cases += 1
        self.runs += outcome.runs
        self.violations += bool(outcome.violations)

    def summary(self, seconds: float) -> str:
        return (f"{len(self.rows)} scenarios, {sum(row.calls for row in self.rows.values())} calls, "
                f"{self.cases} of {self.planned} cases, {self.runs} runs of the program, "
                f"{self.violations} violations, {seconds:.0f} s")


def table(figures: Figures) -> str:
    lines = ["| scenario | calls | " + " | ".join(KINDS) + " | violations |",
             "|---|---:|" + "---:|" * (len(KINDS) + 1)]
    for row in figures.rows.values():
        counts = " | ".join(str(row.done[kind]) for kind in KINDS)
        lines.append(f"| {row.title} | {row.calls} | {counts} | {row.violations} |")
    return "\n".join(lines)


def markdown(figures: Figures, seconds: float) -> str:
    meanings = "\n".join(f"- **{kind}**: {meaning}" for kind, meaning in KINDS.items())
    return f"""# Reliability

placeholder

{table(figures)}

{figures.summary(seconds)}

{meanings}
"""
