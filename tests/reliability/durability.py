"""What of a run is on the disk, read from its calls: the model behind power cuts and the audit of a finished run.

The data of a file is on the disk once the file was synced. Names are taken to reach the disk in the order in which
they were made, as on a file system with a journal; the audit asks more, that each was synced with its folder.
"""

from __future__ import annotations

import os
from pathlib import Path
from typing import Iterable, Iterator

from tracing import SYNCHRONIZING, Call

WRITING = {"write", "pwrite64", "writev", "ftruncate", "fallocate"}
COPYING = {"copy_file_range": 1, "sendfile": 0, "ioctl": 0, "splice": 1}  # which descriptor is written
DESCRIBING = {"fchmod", "fsetxattr", "fremovexattr", "fchown"}
MAKING = {"mkdir", "mkdirat", "symlink", "symlinkat", "link", "linkat"}
REMOVING = {"unlink", "unlinkat", "rmdir"}


def _real(path: str) -> str:
    """The path with the links above its last part resolved."""
    return os.path.join(os.path.realpath(os.path.dirname(path)), os.path.basename(path))


def _device(path: str) -> int:
    """The file system of an item, or of the folder where it stood."""
    while not os.path.lexists(path):
        path = os.path.dirname(path)
    return os.lstat(path).st_dev


class Disk:
    """What a power cut could take: data of files, properties of items, names in folders."""

    def __init__(self) -> None:
        self.data: set[str] = set()
        self.properties: set[str] = set()
        self.names: set[str] = set()

    def apply(self, call: Call) -> None:
        if not call.succeeded or not call.changes:
            return
        name = call.name
        if name == "openat" and "O_CREAT" in call.arguments:
            path = _real(call.paths()[0])
            self.data.add(path)
            self.names.add(path)
        elif name in WRITING:
            self.data.add(call.descriptor()[1])
        elif name in COPYING:
            self.data.add(call.descriptor(COPYING[name])[1])
        elif name in DESCRIBING:
            self.properties.add(call.descriptor()[1])
        elif name in ("utimensat", "chmod", "fchmodat"):
            self.properties.add(_real(call.paths()[0]) if call.paths() else call.descriptor()[1])
        elif name in ("fsync", "fdatasync"):
            self._synced(call.descriptor()[1])
        elif name == "syncfs":
            self._synced_file_system(_device(call.descriptor()[1]))
        elif name in ("rename", "renameat", "renameat2"):
            self._renamed(*map(_real, call.paths()[:2]))
        elif name in MAKING:
            self.names.add(_real(call.paths()[-1]))
        elif name in REMOVING:
            path = _real(os.path.join(call.descriptor()[1], call.paths()[0]))
            self.data.discard(path)
            self.properties.discard(path)
            self.names.add(path)

    def _synced(self, path: str) -> None:
        self.data.discard(path)
        self.properties.discard(path)
        self.names = {name for name in self.names if os.path.dirname(name) != path}

    def _synced_file_system(self, device: int) -> None:
        for items in (self.data, self.properties, self.names):
            items -= {path for path in items if _device(path) == device}

    def _renamed(self, old: str, new: str) -> None:
        for items in (self.data, self.properties, self.names):
            moved = {path for path in items if path == old or path.startswith(old + "/")}
            items -= moved
            items |= {new + path[len(old):] for path in moved}
        self.names |= {old, new}


def lose_unsynced_data(calls: Iterable[Call]) -> None:
    """Does to the files what a power cut after these calls may do."""
    disk = Disk()
    for call in calls:
        disk.apply(call)
    for path in disk.data:
        if os.path.isfile(path) and not os.path.islink(path) and os.path.getsize(path) > 0:
            os.truncate(path, 0)


def audit(calls: list[Call], support: Path) -> Iterator[str]:
    """What a run that reported success had not made durable when it had to be, a line each."""
    disk = Disk()
    has_changed = False
    for call in calls:
        if not has_changed and call.succeeded and _changes_outside(call, str(support)):
            has_changed = True
            yield from _audit_journal(disk, support / "journal.jsonl", call)
        disk.apply(call)
    if not has_changed:
        yield "the run changed nothing outside the support folder"
    for path in sorted(disk.data | disk.properties):
        if os.path.lexists(path) and not os.path.islink(path):
            yield f"not synced when the run ended: {path}"
    for path in sorted(disk.names):
        # A folder of the backup that was made for nothing may come back.
        is_gone_from_backup = path.startswith(f"{support}/Backups/") and not os.path.lexists(path)
        if os.path.isdir(os.path.dirname(path)) and not is_gone_from_backup:
            yield f"name not synced when the run ended: {path}"


def _changes_outside(call: Call, support: str) -> bool:
    if not call.changes or call.name in {"flock", *SYNCHRONIZING}:
        return False
    return any(not path.startswith(support) and not support.startswith(path) for path in call.paths()
               if path.startswith("/") and path != "/dev/null")


def _audit_journal(disk: Disk, journal: Path, call: Call) -> Iterator[str]:
    if not os.path.realpath(journal.parent) == str(journal.parent):
        yield f"the support folder is not where it should be: {journal.parent}"
    if str(journal) in disk.data | disk.properties:
        yield f"the journal was not synced before {call}"
    for item in (journal, *journal.parents):
        if str(item) in disk.names:
            yield f"the name {item}, which leads to the journal, was not synced before {call}"
