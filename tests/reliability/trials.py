"""Tries a case, and says what did not hold afterwards."""

from __future__ import annotations

import os
from dataclasses import dataclass
from itertools import chain
from typing import Callable, Iterator

import checks
from baseline import Baseline, ends_journal, points_to_cut
from cases import PARTS, Case
from disks import Image
from durability import lose_unsynced_data
from fixtures import Scenario
from tracing import EVERY_STOP, STARTING, Call, Injection, MissedCall, Run, Traced
from world import State, World, WorldOnDisks

_ATTEMPTS = 4  # to hit a call that a run does not make each time
SAVED = b"what the user saved while the run stood still"


@dataclass(frozen=True)
class Outcome:
    case: Case
    violations: tuple[str, ...]
    runs: int
    trials: int = 1


def try_case(world: World, baseline: Baseline, case: Case) -> Outcome:
    runs = world.runs
    for attempt in range(_ATTEMPTS):
        world.traced = Traced.OWN if attempt else Traced.QUICKLY
        try:
            violations, trials = _try_once(world, baseline, case)
            break
        except MissedCall as missed:
            violations, trials = (f"the harness missed its call in {_ATTEMPTS} attempts: {missed}",), 1
    return Outcome(case, violations, world.runs - runs, trials)


def _try_once(world: World, baseline: Baseline, case: Case) -> tuple[tuple[str, ...], int]:
    """The violations, and how many trials it were."""
    if case.kind not in ON_DISKS:
        if not case.first_cut:
            world.prepare(baseline.scenario)
        return tuple(_TRIALS[case.kind](world, baseline, case)), 1
    kind = "ext4" if case.kind == "full disk" else case.setting
    with WorldOnDisks(world, baseline.scenario, kind) as on_disks:
        violations = tuple(ON_DISKS[case.kind](on_disks, baseline, case))
        world.runs += on_disks.world.runs
        return violations, max(1, on_disks.trials)


def _retries(injection: Injection) -> bool:
    """A call that a signal interrupted is made again; starting a process is never interrupted."""
    return injection.effect == "error=EINTR" and injection.name not in STARTING


def _try_fault(world: World, baseline: Baseline, case: Case) -> Iterator[str]:
    run = world.run(baseline.scenario, case.injections)
    state = world.state()
    _must_be_hit(run, 1)
    yield from _is_done_or_unchanged(run, state, baseline, case, _retries(case.injections[0]))
    if run.status == 0:
        yield from checks.backup_is_as_in(state, baseline.clean, baseline.before)


def _try_read(world: World, baseline: Baseline, case: Case) -> Iterator[str]:
    """What could not be read may have been needed or not, and a thread may have read it at another time. Calls are counted
    for each thread: one that fails in a thread of the run and again in the recovery is a bad disk."""
    run = world.run(baseline.scenario, case.injections)
    state = world.state()
    if len(run.injected()) > 1 and run.status != 0:
        yield from _always(state, baseline)
        yield from checks.tells_what_is(run, state, baseline.before, str(world.home))
        yield from _completes(world, baseline)
        return
    yield from _is_done_or_unchanged(run, state, baseline, case)
    if run.status == 0:
        yield from checks.backup_is_as_in(state, baseline.clean, baseline.before)


def _try_short(world: World, baseline: Baseline, case: Case) -> Iterator[str]:
    """A call may end early for every thread, and for the recovery too."""
    run = world.run(baseline.scenario, case.injections)
    yield from _tells_the_truth(run, world, baseline)
    if run.status == 0:
        yield from checks.backup_is_as_in(world.state(), baseline.clean, baseline.before)
    else:
        yield from _completes(world, baseline)


def _is_done_or_unchanged(run: Run, state: State, baseline: Baseline, case: Case,
                          must_succeed: bool = False) -> Iterator[str]:
    yield from _always(state, baseline)
    yield from checks.leaves_no_leftover(state, may_keep_staging="Staging-" in case.target)
    if checks.says_unconfirmed(run):
        yield from checks.is_done(state, baseline.clean)
    elif run.status == 0 or must_succeed:
        yield from checks.says_success(run)
        yield from checks.is_done(state, baseline.clean)
    else:
        yield from checks.says_restored(run, state, baseline.before)
        yield from checks.is_unchanged(state, baseline.before)


def _try_lasting(world: World, baseline: Baseline, case: Case) -> Iterator[str]:
    run = world.run(baseline.scenario, case.injections)
    _must_be_hit(run, 1)
    if _is_silenced(case):
        yield from _always(world.state(), baseline)
    else:
        yield from _tells_the_truth(run, world, baseline)
    # A staging folder that could not be removed harms nobody.
    removals = ("rmdir", "unlink", "unlinkat")
    may_keep_staging = any(injection.name in removals for injection in case.injections)
    yield from _completes(world, baseline, may_keep_staging)


def _is_silenced(case: Case) -> bool:
    """The messages of the program are writes too."""
    return any(injection.name == "write" and injection.lasts for injection in case.injections)


def _tells_the_truth(run: Run, world: World, baseline: Baseline) -> Iterator[str]:
    """After a run that may have been unable to undo what it did."""
    state = world.state()
    yield from _always(state, baseline)
    if checks.says_unconfirmed(run):
        yield from checks.is_done(state, baseline.clean)
    elif run.status == 0:
        yield from checks.says_success(run)
        yield from checks.is_done(state, baseline.clean)
    else:
        yield from checks.tells_what_is(run, state, baseline.before, str(world.home))


def _try_memory(world: World, baseline: Baseline, case: Case) -> Iterator[str]:
    forever = "+" if case.setting.endswith("from") else ""
    run = world.run_with_allocator(baseline.scenario, {"FAILING_ALLOCATION": f"{case.number}{forever}"})
    if forever and checks.says_only_that_memory_is_gone(run):
        yield from _always(world.state(), baseline)
    else:
        yield from _tells_the_truth(run, world, baseline)
    # Memory may end where the staging folder goes, at the end of all; empty, it harms nobody.
    yield from _completes(world, baseline, may_keep_staging=checks.has_empty_staging(world.state()))


def _try_full_disk(on_disks: WorldOnDisks, baseline: Baseline, case: Case) -> Iterator[str]:
    world = on_disks.world
    world.prepare(baseline.scenario)
    number, what = case.setting.split()
    disk = on_disks.disks[int(number)]
    disk.fill(**{what: case.number})
    for _ in range(2):
        run = world.run_untraced(baseline.scenario)
        if run.status == 0:
            break
        yield from _tells_the_truth(run, world, baseline)
    disk.clear()
    yield from _completes(world, baseline)


def _try_user(world: World, baseline: Baseline, case: Case) -> Iterator[str]:
    *earlier, stop = case.injections
    if case.first_cut:
        yield from _first_cut(world, baseline, case)
        del earlier[0]
    has_acted = False

    def act(_: Call) -> None:
        nonlocal has_acted
        if not has_acted:
            has_acted = True
            _act(case.act, os.path.join(world.home, case.path))

    run = world.run(baseline.scenario, [*earlier, stop], case.tool, act)
    if not has_acted and stop.path:
        return  # a thread reads it at another time
    if not has_acted:
        raise MissedCall(str(stop))
    yield from checks.keeps_what_the_user_did(run, world.state(), baseline.before, baseline.clean, str(world.home),
                                              case.path, b"" if case.act == "deletes" else SAVED)


def _act(act: str, path: str) -> None:
    if act == "deletes":
        if os.path.lexists(path):
            os.unlink(path)
        return
    os.makedirs(os.path.dirname(path), exist_ok=True)
    written = path if act == "saves" else path + " (new)"
    with open(written, "wb") as file:
        file.write(SAVED)
    os.rename(written, path)


def _try_double(world: World, baseline: Baseline, case: Case) -> Iterator[str]:
    run = world.run(baseline.scenario, case.injections, case.tool)
    state = world.state()
    _must_be_hit(run, len(case.injections))
    yield from _always(state, baseline)
    if not _is_silenced(case):
        yield from checks.tells_what_is(run, state, baseline.before, str(world.home))
    if _retries(case.injections[-1]):
        yield from checks.says_restored(run, state, baseline.before)
    yield from _completes(world, baseline)


def _try_kill(world: World, baseline: Baseline, case: Case) -> Iterator[str]:
    if case.first_cut:
        yield from _first_cut(world, baseline, case)
    yield from _cut(world, baseline, case.injections[-1], case.loses_data)
    if case.loses_data:
        yield from _only_undoes(world, baseline, is_first=not case.first_cut)
    yield from _completes(world, baseline)


def _try_fault_after_kill(world: World, baseline: Baseline, case: Case) -> Iterator[str]:
    yield from _first_cut(world, baseline, case)
    error = case.injections[-1]
    cut = world.state()
    run = world.run(baseline.scenario, [error])
    state = world.state()
    _must_be_hit(run, 1)
    yield from _always(state, baseline)
    if checks.says_unconfirmed(run):
        yield from checks.is_done(state, baseline.clean)
    elif run.status == 0 or _retries(error):
        yield from checks.says_success(run)
        yield from checks.is_done(state, baseline.clean)
    elif baseline.is_committed_at(case.first_cut):
        yield from checks.tells_what_is(run, state.undated(), baseline.clean.undated(), str(world.home))
    elif error.name == "flock":  # without the journal the run cannot know what there is to undo
        yield from checks.changes_nothing(run, state, cut)
    else:
        yield from checks.tells_what_is(run, state, baseline.before, str(world.home))
    yield from _completes(world, baseline)


def _try_disk_cut(on_disks: WorldOnDisks, baseline: Baseline, case: Case) -> Iterator[str]:
    on_disks.world.prepare(baseline.scenario)
    cuts = _cuts_of_a_run(on_disks, baseline.scenario, case.written)
    for cut in _distinct(cuts)[case.number::PARTS]:
        yield from _recovers_from(on_disks, baseline, cut)


def _try_disk_cut_twice(on_disks: WorldOnDisks, baseline: Baseline, case: Case) -> Iterator[str]:
    on_disks.world.prepare(baseline.scenario)
    cuts = _cuts_of_a_run(on_disks, baseline.scenario, case.written)
    calls = [cut.call for cut in cuts]
    commit = max(index for index, call in enumerate(calls) if _is_same_step(call, baseline.commit))
    on_disks.replace(cuts[points_to_cut(calls, commit, PARTS)[case.number]].images)
    cuts = _cuts_of_a_run(on_disks, baseline.scenario, case.written)
    undone = next((index for index, cut in enumerate(cuts) if ends_journal(cut.call)), 0)
    for cut in _distinct(cuts[:undone + 2]):
        yield from _recovers_from(on_disks, baseline, cut, is_first=False)


@dataclass(frozen=True)
class DiskCut:
    """What is on the disks after a call."""

    call: Call
    images: tuple[Image, ...]


def _cuts_of_a_run(on_disks: WorldOnDisks, scenario: Scenario, written: str) -> list[DiskCut]:
    """A cut for each call that changes something, in a run with nothing failing."""
    for disk in on_disks.disks:
        disk.settle()
    cuts: list[DiskCut] = []

    def copy(call: Call) -> None:
        if not call.changes:
            return
        for name, disk in zip(("home", "Movies"), on_disks.disks):
            if name == written:
                disk.settle()
        cuts.append(DiskCut(call, tuple(disk.read() for disk in on_disks.disks)))

    on_disks.world.run_recorded(scenario, [EVERY_STOP], act=copy)
    return cuts


def _is_same_step(call: Call, other: Call) -> bool:
    """Whether they do the same in two runs."""
    names = [os.path.basename((one.paths() or [one.descriptor()[1]])[-1]) for one in (call, other)]
    return call.name == other.name and names[0] == names[1]


def _distinct(cuts: list[DiskCut]) -> list[DiskCut]:
    return [cut for index, cut in enumerate(cuts) if index == 0 or cut.images != cuts[index - 1].images]


def _recovers_from(on_disks: WorldOnDisks, baseline: Baseline, cut: DiskCut, is_first: bool = True) -> Iterator[str]:
    on_disks.trials += 1
    on_disks.replace(cut.images)
    for line in chain(checks.loses_nothing(on_disks.world.state(), baseline.before),
                      _only_undoes(on_disks.world, baseline, is_first), _completes(on_disks.world, baseline)):
        yield f"after {cut.call}: {line}"


def _first_cut(world: World, baseline: Baseline, case: Case) -> Iterator[str]:
    """The same cut of the same home comes in many cases: it is made once in every world."""
    assert case.first_cut
    name = baseline.scenario.name, case.first_cut, case.loses_data
    if name in world.kept:
        yield from world.restore(baseline.scenario, name)
        return
    world.prepare(baseline.scenario)
    found = tuple(_cut(world, baseline, case.first_cut, case.loses_data))
    world.keep(baseline.scenario, name, found)
    yield from found


def _cut(world: World, baseline: Baseline, injection: Injection, loses_data: bool) -> Iterator[str]:
    run = (world.run_recorded if loses_data else world.run)(baseline.scenario, [injection])
    if run.status != -9:
        raise MissedCall(f"not killed at {injection}: status {run.status}, {run.message!r}")
    if loses_data:
        lose_unsynced_data(run.calls)
    yield from checks.loses_nothing(world.state(), baseline.before)


def _only_undoes(world: World, baseline: Baseline, is_first: bool) -> Iterator[str]:
    """A run that is refused after the undoing changes nothing more. If it was not the first that was cut, it may have
    been undone where there was nothing left for it to do."""
    run = world.run_refused()
    state = world.state()
    yield from checks.says_refused(run)
    yield from _always(state, baseline)
    yield from checks.leaves_no_leftover(state)
    # A run that was cut after its commit is done, and there is nothing to undo.
    if any(checks.is_done(state, baseline.clean)):
        yield from checks.is_unchanged(state, baseline.before)
    elif is_first and any(checks.is_unchanged(state, baseline.before)):
        yield from checks.says_nothing_of_an_undoing(run)


def _completes(world: World, baseline: Baseline, may_keep_staging: bool = False) -> Iterator[str]:
    run = world.run_untraced(baseline.scenario)
    state = world.state()
    yield from _always(state, baseline)
    yield from checks.says_success(run)
    yield from checks.is_done(state, baseline.clean)
    yield from checks.leaves_no_leftover(state, may_keep_staging)


def _always(state: State, baseline: Baseline) -> Iterator[str]:
    return chain(checks.loses_nothing(state, baseline.before), checks.keeps_older_backups(state, baseline.before))


def _must_be_hit(run: Run, count: int) -> None:
    if len(run.injected()) < count:
        raise MissedCall(f"{len(run.injected())} of {count} calls were hit")


_TRIALS: dict[str, Callable[[World, Baseline, Case], Iterator[str]]] = {
    "fault": _try_fault,
    "read": _try_read,
    "short": _try_short,
    "exdev": _try_fault,
    "lasting": _try_lasting,
    "bad disk": _try_lasting,
    "memory": _try_memory,
    "user": _try_user,
    "double": _try_double,
    "kill": _try_kill,
    "power": _try_kill,
    "kill twice": _try_kill,
    "power twice": _try_kill,
    "fault after kill": _try_fault_after_kill,
}
ON_DISKS: dict[str, Callable[[WorldOnDisks, Baseline, Case], Iterator[str]]] = {
    "full disk": _try_full_disk,
    "disk cut": _try_disk_cut,
    "disk cut twice": _try_disk_cut_twice,
}
