"""Makes each call of the installer that changes something fail, or be the last one, each way in which it reads an item
fail, its memory and its disks run short, and a user work beside it."""

from __future__ import annotations

import argparse
import multiprocessing
import os
import shutil
import signal
import subprocess
import sys
import tempfile
import time
from dataclasses import dataclass
from pathlib import Path
from typing import Optional, Sequence

import disks
from baseline import Baseline, measure
from cases import KINDS, Case, cases, sample
from fixtures import Scenario, scenarios
from isolation import isolate, mount_memory
from report import Figures, table, write_page
from tracing import HarnessError
from trials import ON_DISKS, Outcome, try_case
from world import World

MEMORY = Path("/dev/shm")  # a file system in memory, where syncing costs nothing
_worker: Optional[tuple[World, list[Baseline], float]] = None  # what a worker process works with, and until when


@dataclass
class Folders:
    """Those of the workers, on two file systems."""

    here: Path
    elsewhere: Path

    @property
    def allocator(self) -> Path:
        return self.here / "failing-memory.so"

    def world(self, name: str, arguments: argparse.Namespace) -> World:
        folder, elsewhere = self.here / name, self.elsewhere / name
        folder.mkdir()
        elsewhere.mkdir()
        return World(folder, elsewhere, arguments.program, self.allocator if self.allocator.exists() else None)

    def remove(self) -> None:
        for folder in (self.here, self.elsewhere):
            disks.unmount_below(folder)
            shutil.rmtree(folder, ignore_errors=True)


def make_folders(is_isolated: bool) -> Folders:
    elsewhere = Path(tempfile.mkdtemp(prefix="orvo-reliability-")).resolve()
    if is_isolated:
        mount_memory(elsewhere)
    if not MEMORY.is_dir() or MEMORY.stat().st_dev == elsewhere.stat().st_dev:
        raise HarnessError("two file systems are needed, /dev/shm and the one of temporary files")
    return Folders(Path(tempfile.mkdtemp(prefix="orvo-reliability-", dir=MEMORY)).resolve(), elsewhere)


def start_worker(folders: Folders, arguments: argparse.Namespace, baselines: list[Baseline], deadline: float) -> None:
    global _worker
    signal.signal(signal.SIGTERM, signal.SIG_DFL)
    _worker = folders.world(f"worker-{os.getpid()}", arguments), baselines, deadline


def work_out(scenario: Scenario, cuts: int, file_systems: Sequence[str]) -> tuple[Baseline, list[str], int]:
    """What there is to try of a scenario, its problems, and how many runs that took."""
    assert _worker
    world = _worker[0]
    runs = world.runs
    return *measure(world, scenario, cuts, file_systems), world.runs - runs


def work(case: Case) -> Optional[Outcome]:
    """Nothing when the time is over."""
    assert _worker
    world, baselines, deadline = _worker
    if time.monotonic() > deadline:
        return None
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
    parser.add_argument("--kind", action="append", choices=KINDS)
    parser.add_argument("--case", default="", metavar="TEXT", help="only cases with this in their name")
    parser.add_argument("--file-system", action="append", choices=list(disks.FILE_SYSTEMS))
    parser.add_argument("--cuts", type=int, help="how many first cuts are cut again (default 4, in a sample 2)")
    parser.add_argument("--jobs", type=int, default=(os.cpu_count() or 1) + 1, help="one more than there are processors, "
                        "by default, as a run waits for its tools and its tracer")
    parser.add_argument("--report", type=Path, help="write the figures of a whole run into this page")
    parser.add_argument("--show", type=int, default=10, help="how many violations to show (default 10)")
    return parser.parse_args()


def show(outcome: Outcome, name: str) -> None:
    print(f"VIOLATION in {name}, {outcome.case.name}\n  at {outcome.case.target}")
    for line in outcome.violations[:6]:
        print("  " + line[:1500])


def usable_file_systems(arguments: argparse.Namespace, folders: Folders) -> Sequence[str]:
    usable = disks.usable(folders.here) if arguments.is_isolated else ()
    for name in disks.FILE_SYSTEMS:
        if name not in usable:
            print(f"left out, it takes root of a whole system, loop devices and mkfs: disks with {name}")
    return [name for name in usable if not arguments.file_system or name in arguments.file_system]


def build_allocator(library: Path) -> None:
    """The library that makes allocations of the program fail, which takes a compiler and glibc."""
    source = Path(__file__).with_name("failing_memory.c")
    try:
        subprocess.run(["cc", "-O1", "-Wall", "-Wextra", "-shared", "-fPIC", "-o", library, source], check=True)
    except (OSError, subprocess.CalledProcessError) as error:
        print(f"left out: memory ({error})")


def run_cases(arguments: argparse.Namespace, folders: Folders, figures: Figures, deadline: float) -> None:
    chosen = [one for one in scenarios() if not arguments.scenario or one.name in arguments.scenario]
    cuts = arguments.cuts or (2 if arguments.sample else 4)
    file_systems = usable_file_systems(arguments, folders)
    build_allocator(folders.allocator)
    with multiprocessing.Pool(arguments.jobs, start_worker, (folders, arguments, [], deadline)) as pool:
        measured = pool.starmap(work_out, [(scenario, cuts, file_systems) for scenario in chosen], chunksize=1)
    baselines, pending = [baseline for baseline, *_ in measured], []
    for index, (baseline, problems, runs) in enumerate(measured):
        figures.measured(baseline, problems)
        figures.runs += runs
        for problem in problems:
            print(f"VIOLATION in {baseline.scenario.name}, nothing failing\n  {problem[:1500]}")
        pending += [case for case in cases(index, baseline, file_systems)
                    if (not arguments.kind or case.kind in arguments.kind) and arguments.case in case.name]
    if arguments.sample:
        pending = sample(pending)
    else:
        pending.sort(key=lambda case: case.kind not in ON_DISKS)  # the longest first, so that all end together
    figures.planned = len(pending)
    with multiprocessing.Pool(arguments.jobs, start_worker, (folders, arguments, baselines, deadline)) as pool:
        for outcome in filter(None, pool.imap_unordered(work, pending, chunksize=2)):
            figures.tried(baselines[outcome.case.scenario].scenario, outcome)
            if outcome.violations and figures.violations <= arguments.show:
                show(outcome, baselines[outcome.case.scenario].scenario.name)
            if figures.cases % 500 == 0 and not arguments.sample:
                print(f"{figures.cases} of {figures.planned} cases, {figures.violations} violations", file=sys.stderr,
                      flush=True)


def main() -> int:
    arguments = parse_arguments()
    arguments.program = arguments.program.resolve()
    for tool in ("strace", "cc"):
        if not shutil.which(tool):
            print(f"{tool} is needed", file=sys.stderr)
            return 77
    arguments.is_isolated = isolate()
    signal.signal(signal.SIGTERM, lambda *_: sys.exit(1))  # so that the folders go
    began = time.monotonic()
    deadline = began + arguments.sample if arguments.sample else float("inf")
    figures = Figures()
    folders = make_folders(arguments.is_isolated)
    try:
        run_cases(arguments, folders, figures, deadline)
    finally:
        folders.remove()
    seconds = time.monotonic() - began
    print(table(figures))
    print(figures.summary(seconds))
    if arguments.report:
        write_page(arguments.report, figures, seconds)
    return 1 if figures.violations or not figures.cases else 0


if __name__ == "__main__":
    sys.exit(main())
