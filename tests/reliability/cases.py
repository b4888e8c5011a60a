"""Every way in which the harness makes a run go wrong, and what must hold afterwards."""

from __future__ import annotations

import hashlib
import re
from collections import Counter
from dataclasses import dataclass, field
from itertools import chain
from typing import Callable, Iterator, Sequence

import checks
from durability import audit, lose_unsynced_data
from fixtures import Scenario
from tracing import CHANGING, STARTING, Call, Injection, Run
from world import State, World

_UNDONE = re.compile(r"(Une installation précédente avait été interrompue : [^\n]*« /[^\n]* »\.\n\n)?"
                     r"Sélection de transitions invalide\.\n")
ERRORS = ("ENOSPC", "EIO", "EACCES", "EINTR")
READ_ERRORS = ("EIO", "EACCES")
KINDS = {
    "fault": "one call fails",
    "read": "a call fails by which the program learns what there is",
    "double": "the run fails late, then one call of the recovery fails",
    "kill": "killed at a call, then run again",
    "power": "the same with unsynced data lost, and with a run between that only undoes",
    "kill twice": "killed, killed again while undoing, then run again",
    "power twice": "the same with unsynced data lost both times, and with a run between that only undoes",
    "fault after kill": "killed, then one call of the undoing fails, then run again",
}


@dataclass(frozen=True)
class Cut:
    """A first run killed at a call, and the calls of the run after it that undo it."""

    kill: Injection
    loses_data: bool
    undoing: tuple[Call, ...]


@dataclass(frozen=True)
class LateFailure:
    """A way to make a run fail when nearly everything is done, and the calls of the recovery then."""

    tool: str
    injection: tuple[Injection, ...]
    recovery: tuple[Call, ...]


@dataclass(frozen=True)
class Baseline:
    """What a scenario does when nothing goes wrong."""

    scenario: Scenario
    before: State
    clean: State
    calls: tuple[Call, ...]
    reads: tuple[Injection, ...]
    late: tuple[LateFailure, ...]
    cuts: tuple[Cut, ...]


@dataclass(frozen=True)
class Case:
    scenario: int
    kind: str
    injections: tuple[Injection, ...]  # in the order of the runs that they hit
    tool: str = ""
    loses_data: bool = False
    target: str = field(default="", compare=False)  # the call that is hit last, for the report

    @property
    def name(self) -> str:
        hits = ", ".join(f"{one.name}#{one.ordinal} {one.effect}{one.path and ' of ' + one.path}" for one in self.injections)
        return f"{self.kind}: {self.tool + ' fails, ' if self.tool else ''}{hits}"

    @property
    def place_in_sample(self) -> str:
        """Spreads a sample over all cases, the same way each time."""
        return hashlib.sha256(f"{self.scenario} {self.name}".encode()).hexdigest()


def measure(world: World, scenario: Scenario, cut_count: int) -> tuple[Baseline, list[str]]:
    """Runs a scenario without a fault, and looks what its recovery and its undoing do."""
    world.prepare(scenario)
    before = world.state()
    run = world.run(scenario)
    clean = world.state()
    problems = [*checks.says_success(run), *checks.loses_nothing(clean, before), *checks.leaves_no_leftover(clean),
                *checks.keeps_older_backups(clean, before), *audit(run.calls, world.support)]
    calls = tuple(run.changing())
    late = tuple(_late_failures(world, scenario, run)) if not problems else ()
    cuts = tuple(_cuts(world, scenario, calls, cut_count)) if not problems else ()
    return Baseline(scenario, before, clean, calls, tuple(_reads(world, scenario)), late, cuts), problems


def _reads(world: World, scenario: Scenario) -> Iterator[Injection]:
    """Each way of reading each item of the home and of the product: the first time, and the second if there is one.
    Without its resource folder the program stops before it does anything, abnormally."""
    world.prepare(scenario)
    counts: Counter[tuple[str, str]] = Counter()
    for call in world.observe(scenario):
        path = next((path for path in (*call.paths(), call.descriptor()[1]) if path.startswith("/")), "")
        portable = world.portable(path)
        if portable not in ("", "product:/Resources") and not (call.name in CHANGING and call.changes):
            counts[call.name, portable] += 1
    for (name, path), count in counts.items():
        for ordinal in range(1, min(count, 2) + 1):
            for error in READ_ERRORS:
                yield Injection(name, ordinal, "error=" + error, path)


def _late_failures(world: World, scenario: Scenario, clean: Run) -> Iterator[LateFailure]:
    world.prepare(scenario)
    failed = world.run(scenario, failing_tool=scenario.tool_fails_late)
    last_start = max(index for index, call in enumerate(failed.calls) if call.name in STARTING)
    yield LateFailure(scenario.tool_fails_late, (),
                      tuple(call for call in failed.calls[last_start + 1:] if call.changes))
    # The last sync before the journal goes is as late as a failure can be.
    journal = next(index for index, call in enumerate(clean.calls) if _ends_journal(call))
    sync = [call for call in clean.calls[:journal] if call.name in ("fsync", "syncfs")][-1]
    injection = Injection.error(sync, "EIO")
    world.prepare(scenario)
    failed = world.run(scenario, [injection])
    failure = next(index for index, call in enumerate(failed.calls) if call.injected)
    yield LateFailure("", (injection,), tuple(call for call in failed.calls[failure + 1:]
                                              if call.changes and call.name != sync.name))


def _ends_journal(call: Call) -> bool:
    return call.name in ("unlink", "unlinkat") and call.paths()[-1].endswith("/journal.jsonl") and call.succeeded


def _cuts(world: World, scenario: Scenario, calls: Sequence[Call], count: int) -> Iterator[Cut]:
    end = next(index for index, call in enumerate(calls) if _ends_journal(call))
    begin = next(index for index, call in enumerate(calls)
                 if call.name == "renameat2" and call.paths()[-1].endswith("/journal.jsonl")) + 1
    # From the latest point back: the later a run was cut, the more there is to undo.
    points = [end - round(step * (end - begin) / count) for step in range(count)]
    for point in points:
        kill = Injection.kill(calls[point])
        for loses_data in (False, True):
            world.prepare(scenario)
            cut = world.run(scenario, [kill])
            if loses_data:
                lose_unsynced_data(cut.calls)
            second = world.run(scenario).calls
            undone = next((index for index, call in enumerate(second) if _ends_journal(call)), 0)
            yield Cut(kill, loses_data, tuple(call for call in second[:undone + 2] if call.changes))


def cases(index: int, baseline: Baseline) -> Iterator[Case]:
    for call in baseline.calls:
        for number in ERRORS:
            yield Case(index, "fault", (Injection.error(call, number),), target=str(call))
        yield Case(index, "kill", (Injection.kill(call),), target=str(call))
        yield Case(index, "power", (Injection.kill(call),), loses_data=True, target=str(call))
    for injection in baseline.reads:
        yield Case(index, "read", (injection,), target=injection.path)
    for late in baseline.late:
        for call in late.recovery:
            for number in ERRORS:
                yield Case(index, "double", (*late.injection, Injection.error(call, number)), late.tool,
                           target=str(call))
    for cut in baseline.cuts:
        for call in cut.undoing:
            kind = "power twice" if cut.loses_data else "kill twice"
            yield Case(index, kind, (cut.kill, Injection.kill(call)), loses_data=cut.loses_data, target=str(call))
            for number in ERRORS if not cut.loses_data else ():
                yield Case(index, "fault after kill", (cut.kill, Injection.error(call, number)), target=str(call))


@dataclass(frozen=True)
class Outcome:
    case: Case
    violations: tuple[str, ...]
    runs: int


def try_case(world: World, baseline: Baseline, case: Case) -> Outcome:
    runs = world.runs
    world.prepare(baseline.scenario)
    violations = tuple(_TRIALS[case.kind](world, baseline, case))
    return Outcome(case, violations, world.runs - runs)


def _retries(injection: Injection) -> bool:
    """A call that a signal interrupted is made again; starting a process is never interrupted."""
    return injection.effect == "error=EINTR" and injection.name not in STARTING


def _try_fault(world: World, baseline: Baseline, case: Case) -> Iterator[str]:
    run = world.run(baseline.scenario, case.injections)
    state = world.state()
    yield from _was_hit(run, 1)
    yield from _is_done_or_unchanged(run, state, baseline, case, _retries(case.injections[0]))
    if run.status == 0:
        yield from checks.backup_is_as_in(state, baseline.clean, baseline.before)


def _try_read(world: World, baseline: Baseline, case: Case) -> Iterator[str]:
    """What could not be read may have been needed or not, and a thread may have read it at another time."""
    run = world.run(baseline.scenario, case.injections)
    yield from _is_done_or_unchanged(run, world.state(), baseline, case)


def _is_done_or_unchanged(run: Run, state: State, baseline: Baseline, case: Case,
                          must_succeed: bool = False) -> Iterator[str]:
    yield from _always(state, baseline)
    yield from checks.leaves_no_leftover(state, may_keep_staging="Staging-" in case.target)
    if run.status == 0 or must_succeed:
        yield from checks.says_success(run)
        yield from checks.is_done(state, baseline.clean)
    else:
        yield from checks.says_restored(run, state, baseline.before)
        yield from checks.is_unchanged(state, baseline.before)


def _try_double(world: World, baseline: Baseline, case: Case) -> Iterator[str]:
    run = world.run(baseline.scenario, case.injections, case.tool)
    state = world.state()
    yield from _was_hit(run, len(case.injections))
    yield from _always(state, baseline)
    yield from checks.names_what_is_missing(run, state, baseline.before, str(world.home))
    if _retries(case.injections[-1]):
        yield from checks.says_restored(run, state, baseline.before)
    if "journal.jsonl" not in case.target:
        yield from (line for line in checks.leaves_no_leftover(state) if "journal.jsonl" in line)


def _try_kill(world: World, baseline: Baseline, case: Case) -> Iterator[str]:
    for injection in case.injections:
        yield from _cut(world, baseline, injection, case.loses_data)
    if case.loses_data:
        yield from _only_undoes(world, baseline)
    yield from _completes(world, baseline)


def _try_fault_after_kill(world: World, baseline: Baseline, case: Case) -> Iterator[str]:
    kill, error = case.injections
    yield from _cut(world, baseline, kill, case.loses_data)
    cut = world.state()
    run = world.run(baseline.scenario, [error])
    state = world.state()
    yield from _was_hit(run, 1)
    yield from _always(state, baseline)
    if run.status == 0 or _retries(error):
        yield from checks.says_success(run)
        yield from checks.is_done(state, baseline.clean)
    elif error.name == "flock":  # without the journal the run cannot know what there is to undo
        yield from checks.changes_nothing(run, state, cut)
    else:
        yield from checks.names_what_is_missing(run, state, baseline.before, str(world.home))
    yield from _completes(world, baseline)


def _cut(world: World, baseline: Baseline, injection: Injection, loses_data: bool) -> Iterator[str]:
    run = world.run(baseline.scenario, [injection])
    if run.status != -9:
        yield f"not killed: status {run.status}, {run.message!r}"
    if loses_data:
        lose_unsynced_data(run.calls)
    yield from checks.loses_nothing(world.state(), baseline.before)


def _only_undoes(world: World, baseline: Baseline) -> Iterator[str]:
    """A request that is refused still undoes what was cut short, and nothing more."""
    run = world.run(baseline.scenario, refused=True)
    state = world.state()
    if run.status != 1 or not _UNDONE.fullmatch(run.message):
        yield f"not undone: status {run.status}, {run.message!r}"
    yield from _always(state, baseline)
    yield from checks.leaves_no_leftover(state)
    # A run that was cut after its last change is done, and there is nothing to undo.
    if any(checks.is_done(state, baseline.clean)):
        yield from checks.is_unchanged(state, baseline.before)


def _completes(world: World, baseline: Baseline) -> Iterator[str]:
    run = world.run(baseline.scenario)
    state = world.state()
    yield from _always(state, baseline)
    yield from checks.says_success(run)
    yield from checks.is_done(state, baseline.clean)
    yield from checks.leaves_no_leftover(state)


def _always(state: State, baseline: Baseline) -> Iterator[str]:
    return chain(checks.loses_nothing(state, baseline.before), checks.keeps_older_backups(state, baseline.before))


def _was_hit(run: Run, count: int) -> Iterator[str]:
    if len(run.injected()) != count:
        yield f"the harness missed its call: {len(run.injected())} of {count} were hit"


_TRIALS: dict[str, Callable[[World, Baseline, Case], Iterator[str]]] = {
    "fault": _try_fault,
    "read": _try_read,
    "double": _try_double,
    "kill": _try_kill,
    "power": _try_kill,
    "kill twice": _try_kill,
    "power twice": _try_kill,
    "fault after kill": _try_fault_after_kill,
}
