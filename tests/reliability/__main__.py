"""Makes each call of the installer that changes something fail, or be the last one, and makes each way in which it
reads an item fail the first time and the second."""

from __future__ import annotations

import argparse
import multiprocessing
import os
import shutil
import signal
import sys
import tempfile
import time
from dataclasses import dataclass
from pathlib import Path
from typing import Optional

from cases import KINDS, Baseline, Case, Outcome, cases, measure, try_case
from fixtures import scenarios
from report import Figures, markdown, table
from tracing import HarnessError
from world import World

MEMORY = Path("/dev/shm")  # a file system in memory, where syncing costs nothing
_worker: Optional[tuple[World, list[Baseline]]] = None  # what a worker process works with


@dataclass
class Places:
    """The folders of the workers, on two file systems."""

    here: Path
    elsewhere: Path

    def world(self, name: str, program: Path) -> World:
        folder, elsewhere = self.here / name, self.elsewhere / name
        folder.mkdir()
        elsewhere.mkdir()
        return World(folder, elsewhere, program)


def make_places() -> Places:
    elsewhere = Path(tempfile.mkdtemp(prefix="orvo-reliability-")).resolve()
    if not MEMORY.is_dir() or MEMORY.stat().st_dev == elsewhere.stat().st_dev:
        raise HarnessError("two file systems are needed, /dev/shm and the one of temporary files")
    return Places(Path(tempfile.mkdtemp(prefix="orvo-reliability-", dir=MEMORY)).resolve(), elsewhere)


def start_worker(places: Places, program: Path, baselines: list[Baseline]) -> None:
    global _worker
    signal.signal(signal.SIGTERM, signal.SIG_DFL)
    _worker = places.world(f"worker-{os.getpid()}", program), baselines


def work(case: Case) -> Outcome:
    assert _worker
    world, baselines = _worker
    try:
        return try_case(world, baselines[case.scenario], case)
    except HarnessError as error:
        return Outcome(case, (str(error),), 1)


def parse_arguments() -> argparse.Namespace:
    parser = argparse.ArgumentParser(prog="tests/reliability", description=__doc__)
    parser.add_argument("program", type=Path, help="the built installer")
    parser.add_argument("--sample", type=float, metavar="SECONDS", help="stop after this time; the cases that are "
                        "run are spread evenly and are the same each time")
    parser.add_argument("--scenario", action="append", choices=[one.name for one in scenarios()])
    parser.add_argument("--kind", action="append", choices=list(KINDS))
    parser.add_argument("--cuts", type=int, help="how many first cuts are cut again (default 4, in a sample 2)")
    parser.add_argument("--jobs", type=int, default=2)
    parser.add_argument("--report", type=Path, help="write the figures of a whole run into this file")
    parser.add_argument("--show", type=int, default=10, help="how many violations to show (default 10)")
    return parser.parse_args()


def show(outcome: Outcome, name: str) -> None:
    print(f"VIOLATION in {name}, {outcome.case.name}\n  at {outcome.case.target}")
    for line in outcome.violations[:6]:
        print("  " + line[:1500])


def run_cases(arguments: argparse.Namespace, places: Places, figures: Figures, deadline: float) -> None:
    chosen = [one for one in scenarios() if not arguments.scenario or one.name in arguments.scenario]
    cuts = arguments.cuts or (2 if arguments.sample else 4)
    world = places.world("baseline", arguments.program)
    baselines, pending = [], []
    for index, scenario in enumerate(chosen):
        baseline, problems = measure(world, scenario, cuts)
        baselines.append(baseline)
        figures.measured(baseline, problems)
        for problem in problems:
            print(f"VIOLATION in {scenario.name}, nothing failing\n  {problem[:1500]}")
        pending += [case for case in cases(index, baseline) if not arguments.kind or case.kind in arguments.kind]
    figures.runs += world.runs
    if arguments.sample:
        pending.sort(key=lambda case: case.place_in_sample)
    figures.planned = len(pending)
    with multiprocessing.Pool(arguments.jobs, start_worker, (places, arguments.program, baselines)) as pool:
        for outcome in pool.imap_unordered(work, pending, chunksize=4):
            figures.tried(baselines[outcome.case.scenario].scenario, outcome)
            if outcome.violations and figures.violations <= arguments.show:
                show(outcome, baselines[outcome.case.scenario].scenario.name)
            if figures.cases % 500 == 0 and not arguments.sample:
                print(f"{figures.cases} of {figures.planned} cases", file=sys.stderr, flush=True)
            if time.monotonic() > deadline:
                pool.terminate()
                break


def main() -> int:
    arguments = parse_arguments()
    arguments.program = arguments.program.resolve()
    if not shutil.which("strace"):
        print("strace is needed", file=sys.stderr)
        return 77
    signal.signal(signal.SIGTERM, lambda *_: sys.exit(1))  # so that the folders go
    began = time.monotonic()
    deadline = began + arguments.sample if arguments.sample else float("inf")
    figures = Figures()
    places = make_places()
    try:
        run_cases(arguments, places, figures, deadline)
    finally:
        for folder in (places.here, places.elsewhere):
            shutil.rmtree(folder, ignore_errors=True)
    seconds = time.monotonic() - began
    print(table(figures))
    print(figures.summary(seconds))
    if arguments.report:
        arguments.report.write_text(markdown(figures, seconds), encoding="utf-8")
    return 1 if figures.violations or not figures.cases else 0


if __name__ == "__main__":
    sys.exit(main())
