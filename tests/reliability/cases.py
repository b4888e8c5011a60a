"""Every way in which the harness makes a run go wrong."""

from __future__ import annotations

import hashlib
from dataclasses import dataclass, field
from itertools import chain
from typing import Iterator, Optional, Sequence

from baseline import Baseline, LateFailure
from tracing import COPYING, RENAMING, STARTING, Call, Injection

ERRORS = ("ENOSPC", "EIO", "EACCES", "EINTR")
LASTING_ERRORS = ("ENOSPC", "EDQUOT", "EACCES", "EIO")
READ_ERRORS = ("EIO", "EACCES")
# The calls that need room on the disk.
FILLING = {"write", "pwrite64", "writev", "copy_file_range", "sendfile", "mkdir", "mkdirat", "symlink", "symlinkat",
           "link", "linkat", "fallocate", "fsetxattr"}
ACTS = ("saves", "replaces", "deletes")
# docs/reliability.md says of each what it means.
KINDS = ("fault", "read", "short", "exdev", "lasting", "bad disk", "full disk", "memory", "user", "double", "kill",
         "power", "kill twice", "power twice", "fault after kill", "disk cut", "disk cut twice")


@dataclass(frozen=True)
class Case:
    scenario: int
    kind: str
    injections: tuple[Injection, ...] = ()  # in the order of the runs that they hit
    tool: str = ""
    loses_data: bool = False
    act: str = ""  # of the user, with `path`
    path: str = ""
    setting: str = ""  # of the allocator, or of the disks
    number: int = 0
    written: str = ""  # the disk, of two, on which everything is that was written to it
    target: str = field(default="", compare=False)  # the call that is hit last, for the report

    @property
    def name(self) -> str:
        words = [self.tool and self.tool + " fails", *map(str, self.injections),
                 self.act and f"user {self.act} {self.path}", self.setting and f"{self.setting} {self.number}",
                 self.written and f"written: {self.written}"]
        return f"{self.kind}: {', '.join(word for word in words if word)}"

    @property
    def first_cut(self) -> Optional[Injection]:
        """That of a run which another run follows to which something happens too."""
        return self.injections[0] if len(self.injections) > 1 and self.injections[0].effect == "signal=KILL" else None

    @property
    def digest(self) -> str:
        return hashlib.sha256(f"{self.scenario} {self.name}".encode()).hexdigest()


def sample(cases: Sequence[Case]) -> list[Case]:
    """All cases, in an order in which every beginning is a fair sample: each kind has its turn, and a kind's cases are
    spread over all of its own, the same way each time."""
    turns: dict[str, int] = {}
    ordered = []
    for case in sorted(cases, key=lambda case: case.digest):
        turns[case.kind] = turns.get(case.kind, 0) + 1
        ordered.append((turns[case.kind], KINDS.index(case.kind), case))
    return [case for *_, case in sorted(ordered, key=lambda one: one[:2])]


def cases(index: int, baseline: Baseline, file_systems: Sequence[str]) -> Iterator[Case]:
    return chain(_faults(index, baseline), _reads(index, baseline), _lasting(index, baseline),
                 _full_disks(index, baseline), _memory(index, baseline), _user(index, baseline),
                 _doubles(index, baseline), _cuts(index, baseline), _disk_cuts(index, baseline, file_systems))


def _faults(index: int, baseline: Baseline) -> Iterator[Case]:
    for call in baseline.calls:
        for number in ERRORS:
            yield Case(index, "fault", (Injection.error(call, number),), target=str(call))
        if call.name in RENAMING:
            yield Case(index, "exdev", (Injection.error(call, "EXDEV"),), target=str(call))
        if call.name in COPYING:
            for lasts in (False, True):
                yield Case(index, "short", (Injection(call.name, call.ordinal, "retval=0", lasts=lasts),),
                           target=str(call))
        yield Case(index, "kill", (Injection.kill(call),), target=str(call))
        yield Case(index, "power", (Injection.kill(call),), loses_data=True, target=str(call))


def _reads(index: int, baseline: Baseline) -> Iterator[Case]:
    for read in baseline.reads:
        if read.ordinal <= 2:
            for number in READ_ERRORS:
                yield Case(index, "read", (read.injection("error=" + number),), target=read.path)
        if read.name in ("read", "pread64"):
            yield Case(index, "short", (read.injection("retval=0"),), target=read.path)
    # Where the kernel does not copy files, the program reads and writes them.
    for path in dict.fromkeys(read.path for read in baseline.reads if read.name in ("read", "pread64")):
        without = tuple(Injection(name, 1, "error=EOPNOTSUPP", path, lasts=True)
                        for name in ("copy_file_range", "sendfile"))
        for ordinal in range(1, 7):
            yield Case(index, "short", (*without, Injection("read", ordinal, "retval=0", path)), target=path)


def _lasting(index: int, baseline: Baseline) -> Iterator[Case]:
    for position, call in enumerate(baseline.calls):
        for number in LASTING_ERRORS:
            yield Case(index, "lasting", (Injection.error(call, number, lasts=True),), target=str(call))
        if call.name in RENAMING:
            yield Case(index, "lasting", (Injection.error(call, "EXDEV", lasts=True),), target=str(call))
        rest = _first_of_each_name(baseline.calls[position:])
        full = tuple(Injection.error(one, "ENOSPC", lasts=True) for one in rest if one.name in FILLING)
        if full:
            yield Case(index, "bad disk", full, target=str(call))
        bad = tuple(Injection.error(one, "EIO", lasts=True) for one in rest if one.name not in STARTING)
        yield Case(index, "bad disk", bad, target=str(call))


def _first_of_each_name(calls: Sequence[Call]) -> list[Call]:
    first: dict[str, Call] = {}
    for call in calls:
        first.setdefault(call.name, call)
    return list(first.values())


def _full_disks(index: int, baseline: Baseline) -> Iterator[Case]:
    for room in baseline.room:
        for what, most in (("blocks", room.blocks), ("items", room.items)):
            for number in range(most + 3):
                yield Case(index, "full disk", setting=f"{room.disk} {what}", number=number)


def _memory(index: int, baseline: Baseline) -> Iterator[Case]:
    most = 400  # the same steps come again with every file
    step = max(1, baseline.allocations // most)
    around_commit = range(max(1, baseline.allocations - 300), baseline.allocations + 1)
    for number in sorted({*range(1, baseline.allocations + 1, step), *around_commit}):
        yield Case(index, "memory", setting="allocation", number=number)
        yield Case(index, "memory", setting="allocations from", number=number)


def _user(index: int, baseline: Baseline) -> Iterator[Case]:
    yield from _acts(index, baseline, baseline.calls)
    templates = set().union(*baseline.templates[baseline.calls])
    for read in baseline.reads:
        path = read.path.replace("home:/", "").replace("Movies:/", "Movies/")
        for act in ACTS if path in templates else ():
            yield Case(index, "user", (read.injection("signal=STOP"),), act=act, path=path, target=read.path)
    for late in baseline.late:
        yield from _acts(index, baseline, late.recovery, late.injection, late.tool)
    for cut in baseline.cuts:
        if not cut.loses_data and not cut.is_committed:
            yield from _acts(index, baseline, cut.undoing, (cut.kill,))


def _acts(index: int, baseline: Baseline, calls: tuple[Call, ...], earlier: tuple[Injection, ...] = (), tool: str = ""
          ) -> Iterator[Case]:
    for call, templates in zip(calls, baseline.templates[calls]):
        for path in sorted(templates):
            for act in ACTS:
                yield Case(index, "user", (*earlier, Injection.stop(call)), tool, act=act, path=path, target=str(call))


def _doubles(index: int, baseline: Baseline) -> Iterator[Case]:
    for late in baseline.late:
        for call in late.recovery:
            for number in ERRORS:
                yield _double(index, late, Injection.error(call, number), call)
            if call.name in RENAMING:
                yield _double(index, late, Injection.error(call, "EXDEV"), call)
            for number in ("ENOSPC", "EIO"):
                yield _double(index, late, Injection.error(call, number, lasts=True), call)


def _double(index: int, late: LateFailure, injection: Injection, call: Call) -> Case:
    return Case(index, "double", (*late.injection, injection), late.tool, target=str(call))


def _cuts(index: int, baseline: Baseline) -> Iterator[Case]:
    for cut in baseline.cuts:
        for call in cut.undoing:
            kind = "power twice" if cut.loses_data else "kill twice"
            yield Case(index, kind, (cut.kill, Injection.kill(call)), loses_data=cut.loses_data, target=str(call))
            errors = ERRORS + (("EXDEV",) if call.name in RENAMING else ())
            for number in errors if not cut.loses_data else ():
                yield Case(index, "fault after kill", (cut.kill, Injection.error(call, number)), target=str(call))


PARTS = 6  # the cuts of a run on real disks are tried in so many cases


def _disk_cuts(index: int, baseline: Baseline, file_systems: Sequence[str]) -> Iterator[Case]:
    for name in file_systems:
        for written in ("none", "home", "Movies") if baseline.scenario.elsewhere else ("none",):
            for number in range(PARTS):
                for kind in ("disk cut", "disk cut twice"):
                    yield Case(index, kind, setting=name, written=written, number=number)
