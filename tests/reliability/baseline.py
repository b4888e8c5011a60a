"""What a scenario does when nothing goes wrong, and what its recovery and its undoing do: where faults can be put."""

from __future__ import annotations

import os
from collections import Counter
from dataclasses import dataclass
from typing import Iterator, Optional, Sequence

import checks
from durability import audit, lose_unsynced_data
from fixtures import CATEGORY, LEGACY, Scenario
from tracing import CHANGING, RENAMING, STARTING, Call, Injection, Run
from world import State, World, WorldOnDisks


@dataclass(frozen=True)
class Cut:
    """A first run killed at a call, and the calls of the run after it that undo it, or finish it if it was committed."""

    kill: Injection
    is_committed: bool
    loses_data: bool
    undoing: tuple[Call, ...]


@dataclass(frozen=True)
class LateFailure:
    """A way to make a run fail when nearly everything is done, and the calls of the recovery then."""

    tool: str
    injection: tuple[Injection, ...]
    recovery: tuple[Call, ...]


@dataclass(frozen=True)
class Read:
    """A call that reads an item: the how manieth of its name for this item."""

    name: str
    ordinal: int
    path: str

    def injection(self, effect: str) -> Injection:
        return Injection(self.name, self.ordinal, effect, self.path)


@dataclass(frozen=True)
class Room:
    """What a run takes of a disk."""

    disk: int
    blocks: int
    items: int


@dataclass(frozen=True)
class Baseline:
    scenario: Scenario
    before: State
    clean: State
    calls: tuple[Call, ...]
    commit: Optional[Call]
    reads: tuple[Read, ...]
    late: tuple[LateFailure, ...]
    cuts: tuple[Cut, ...]
    allocations: int
    room: tuple[Room, ...]
    templates: dict[tuple[Call, ...], list[set[str]]]  # for each of such calls, those that the run was at

    def is_committed_at(self, kill: Optional[Injection]) -> bool:
        return any(cut.kill == kill and cut.is_committed for cut in self.cuts)


def measure(world: World, scenario: Scenario, cut_count: int, file_systems: Sequence[str]
            ) -> tuple[Baseline, list[str]]:
    world.prepare(scenario)
    before = world.state()
    run = world.run_recorded(scenario)
    clean = world.state()
    problems = [*checks.says_success(run), *checks.loses_nothing(clean, before), *checks.leaves_no_leftover(clean),
                *checks.keeps_older_backups(clean, before), *audit(run.calls, world.support)]
    calls = tuple(run.changing())
    commit = _last_undone(world, scenario, calls, clean, before) if not problems else 0
    late = tuple(_late_failures(world, scenario, run, calls[commit])) if not problems else ()
    cuts = tuple(_cuts(world, scenario, calls, commit, cut_count)) if not problems else ()
    templates = {each: list(_templates_at(world, each))
                 for each in (calls, *(one.recovery for one in late), *(cut.undoing for cut in cuts))}
    return Baseline(scenario, before, clean, calls, calls[commit] if calls else None, tuple(_reads(world, scenario)), late,
                    cuts, _allocations(world, scenario),
                    tuple(_room(world, scenario)) if "ext4" in file_systems else (), templates), problems


def _last_undone(world: World, scenario: Scenario, calls: Sequence[Call], clean: State, before: State) -> int:
    """The call that commits: a run that is cut at it is undone by the next one, and later it is not."""
    first, end = 0, len(calls)  # it is among those from the first on, before the end
    while end - first > 1:
        middle = (first + end) // 2
        world.prepare(scenario)
        world.run(scenario, [Injection.kill(calls[middle])])
        world.run_refused()
        if any(checks.is_unchanged(world.state(), before)):
            end = middle
        else:
            first = middle
    return first


def _reads(world: World, scenario: Scenario) -> Iterator[Read]:
    """Each way of reading each item of the home and of the product, up to four times. Without its resource folder the
    program stops before it does anything, abnormally."""
    world.prepare(scenario)
    counts: Counter[tuple[str, str]] = Counter()
    for call in world.observe(scenario):
        path = next((path for path in (*call.paths(), call.descriptor()[1]) if path.startswith("/")), "")
        portable = world.portable(path)
        if portable not in ("", "product:/Resources") and not (call.name in CHANGING and call.changes):
            counts[call.name, portable] += 1
    for (name, path), count in counts.items():
        for ordinal in range(1, min(count, 4) + 1):
            yield Read(name, ordinal, path)


def _late_failures(world: World, scenario: Scenario, clean: Run, commit: Call) -> Iterator[LateFailure]:
    if scenario.tool_fails_late:
        world.prepare(scenario)
        failed = world.run_recorded(scenario, failing_tool=scenario.tool_fails_late)
        last_start = max(index for index, call in enumerate(failed.calls) if call.name in STARTING)
        yield LateFailure(scenario.tool_fails_late, (),
                          tuple(call for call in failed.calls[last_start + 1:] if call.changes))
    # The last sync before the commit is as late as a failure can be.
    sync = [call for call in clean.calls[:clean.calls.index(commit)] if call.name in ("fsync", "syncfs")][-1]
    injection = Injection.error(sync, "EIO")
    world.prepare(scenario)
    failed = world.run_recorded(scenario, [injection])
    failure = next(index for index, call in enumerate(failed.calls) if call.injected)
    yield LateFailure("", (injection,), tuple(call for call in failed.calls[failure + 1:]
                                              if call.changes and call.name != sync.name))


def begins_journal(call: Call) -> bool:
    return call.name == "renameat2" and call.paths()[-1].endswith("/journal.jsonl") and call.succeeded


def ends_journal(call: Call) -> bool:
    return (call.name in {"unlink", "unlinkat", *RENAMING} and call.succeeded
            and call.paths()[0].endswith("/journal.jsonl"))


def points_to_cut(calls: Sequence[Call], commit: int, count: int) -> list[int]:
    """From the commit back: the later a run was cut, the more there is to undo."""
    begin = next(index for index, call in enumerate(calls) if begins_journal(call)) + 1
    return [commit - round(step * (commit - begin) / count) for step in range(count)]


def _cuts(world: World, scenario: Scenario, calls: Sequence[Call], commit: int, count: int) -> Iterator[Cut]:
    # After the commit there is nothing to undo, but something to finish.
    for point in [*points_to_cut(calls, commit, count), *range(commit + 1, min(commit + 2, len(calls)))]:
        kill = Injection.kill(calls[point])
        for loses_data in (False, True):
            world.prepare(scenario)
            cut = world.run_recorded(scenario, [kill])
            if loses_data:
                lose_unsynced_data(cut.calls)
            second = world.run_recorded(scenario).calls
            yield Cut(kill, point > commit, loses_data, tuple(call for call in second[:_end_of_undoing(second)] if call.changes))


def _end_of_undoing(calls: Sequence[Call]) -> int:
    """A run's own journal comes after the undoing, which ends with the journal of the run that was cut."""
    return next((index + 2 if ends_journal(call) else index for index, call in enumerate(calls)
                 if ends_journal(call) or begins_journal(call)), 0)


def _allocations(world: World, scenario: Scenario) -> int:
    """How often the program asks for memory."""
    if not world.allocator:
        return 0
    world.prepare(scenario)
    count = world.folder / "allocations"
    world.run_with_allocator(scenario, {"ALLOCATION_COUNT": str(count)})
    return int(count.read_text())


def _room(world: World, scenario: Scenario) -> Iterator[Room]:
    with WorldOnDisks(world, scenario, "ext4") as on_disks:
        on_disks.world.prepare(scenario)
        before = [os.statvfs(disk.mount_point) for disk in on_disks.disks]
        on_disks.world.run_untraced(scenario)
        for index, disk in enumerate(on_disks.disks):
            after = os.statvfs(disk.mount_point)
            yield Room(index, before[index].f_bavail - after.f_bavail, before[index].f_favail - after.f_favail)


def _templates_at(world: World, calls: Sequence[Call]) -> Iterator[set[str]]:
    """For each call the template that the run worked with last, and the one that it works with next, relative to the
    home."""
    touched = [next((path for path in map(world.in_home, call.paths()) if _is_template(path)), "") for call in calls]
    for index in range(len(calls)):
        last = next((path for path in reversed(touched[:index + 1]) if path), "")
        following = next((path for path in touched[index + 1:] if path), "")
        yield {last, following} - {""}


def _is_template(path: str) -> bool:
    folder, name = os.path.split(path)
    return os.path.dirname(folder) in ("Movies/" + CATEGORY, "Movies/" + LEGACY) and not name.startswith(".")
