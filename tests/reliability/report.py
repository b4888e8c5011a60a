"""The figures of the harness, as text and as a page of the documentation."""

from __future__ import annotations

from collections import Counter
from dataclasses import dataclass, field

from cases import ERRORS, KINDS, READ_ERRORS, Baseline, Outcome
from fixtures import Scenario

PAGE = """# Reliability

A run is all or nothing, and no file of the user's is ever lost. This page says what that means, how it is checked
and with what result. The command `script/reliability` measures the result again and writes this page.

## What is promised

- Whatever system call fails in a run, the run either does all that it was asked, or the home is as before but for
  the support folder, and the message ends with the backup folder's path and "État précédent restauré.". A run that
  fails before its first change says why, names no backup and leaves the support folder as it was too.
- When the recovery meets a failure too, the message names each place that was not restored, and what stood there
  is in the backup folder.
- When the program or the power is cut off anywhere, the next run undoes the first before it begins, so that the home
  is exactly as before the cut, and then does its own work. If something cannot be undone, the run stops, names the
  places and the backup folder, and the run after it tries again.
- After a cut no file of the user's is gone, and nothing stays behind but backup folders.
- What a run reports as installed is on the disk: each file, and each folder with a new name in it. The journal was
  on the disk before the first change, and what was saved is there before the run ends.

## How it is checked

The harness in `tests/reliability` takes the built program and, for each scenario, a small pack and a prepared home
with files of the user's in it. It counts with strace the calls of the program that change the file system (opening
for writing, writing, copying, cloning, renaming, linking, removing, making folders, permissions, dates, attributes,
syncing), hold a file or start a process; those of the tools that the program starts do not count. Then it repeats
the run, each time with one of these calls failing (with {errors} in turn) or the program killed before it, and
compares whole trees: kinds, permissions, contents, link targets, and modification dates where files should be as
before. The calls by which it learns what there is (looking at an item, opening it for reading, reading, listing a
folder) fail in runs of their own, with {read_errors}: each of them for each item of the home and of the product, the
first time and the second.

{meanings}

In a double fault the run fails late in two ways: the last tool that it starts fails, and the last sync before the
journal goes fails. The cuts that are cut again are four for each scenario, from the last moment back. After EINTR
the call must be made again and the run succeed; only the start of a process may fail.

Lost data is simulated on the tree after a kill: a file that the program wrote and had not synced since is emptied,
the journal and the saved copies included. Names (entries of folders, renames) are taken to reach the disk in the
order in which they were made, as journalling file systems keep them; loss in another order is not simulated. For
runs that complete, the harness also reads from the calls that every file, folder and name was synced after its last
change, and that the journal was before the first change outside the support folder.

## Result

{table}

{summary}.

The columns count cases; a case is one to four runs of the program. A violation is a case after which anything of
the above did not hold. Six scenarios with one or two transitions keep the number of calls small: every kind of step
is there, and a larger pack only repeats them.

## That the harness can fail

Each of these changes was made to the engine on purpose and taken back, when the commit named was recorded. They are
not made again with the rest: the numbers of cases are those of that time.

| change | commit | violations |
|---|---|---|
| the journal does not list the manifest (re-install of a subset, kill and power) | 6017279 | 132 of 336 cases |
| what was installed is not synced (fresh install) | 6017279 | 45 files and names |
| the journal is not synced before it counts (uninstall, power) | 6017279 | 85 of 94 cases, and the audit of the calls |
| an item that cannot be looked at counts as absent (read) | 5826991 | 31 of 2666 cases |
"""


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
    meanings = "\n".join(f"- **{kind}**: {meaning}." for kind, meaning in KINDS.items())
    return PAGE.format(table=table(figures), summary=figures.summary(seconds), meanings=meanings,
                       errors=", ".join(ERRORS), read_errors=" and ".join(READ_ERRORS))
