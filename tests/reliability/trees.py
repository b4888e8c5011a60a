"""Whole folders as values: read from disk, written back, compared."""

from __future__ import annotations

import os
import re
import shutil
import stat
from dataclasses import dataclass
from pathlib import Path
from typing import Callable, Iterator

UUID = re.compile(r"[0-9A-F]{8}-[0-9A-F]{4}-[0-9A-F]{4}-[0-9A-F]{4}-[0-9A-F]{12}")


@dataclass(frozen=True)
class Entry:
    """One item. `content` holds a file's bytes or a link's target; dates matter for files only."""

    kind: str
    mode: int
    content: bytes = b""
    modified: int = 0

    def undated(self) -> "Entry":
        return Entry(self.kind, self.mode, self.content)


class Tree(dict[str, Entry]):
    """Each path below a folder with the item there. Links are not followed."""

    @staticmethod
    def read(folder: Path) -> "Tree":
        tree = Tree()
        _read_into(tree, str(folder), "")
        return tree

    def write(self, folder: Path) -> None:
        """Makes the folder hold exactly this tree."""
        shutil.rmtree(folder, ignore_errors=True)
        os.makedirs(folder)
        for path, entry in sorted(self.items()):
            _write_entry(os.path.join(folder, path), entry)

    def where(self, condition: Callable[[str], bool]) -> "Tree":
        return Tree((path, entry) for path, entry in self.items() if condition(path))

    def below(self, folder: str) -> "Tree":
        return Tree((path[len(folder) + 1:], entry) for path, entry in self.items() if path.startswith(folder + "/"))

    def undated(self) -> "Tree":
        return Tree((path, entry.undated()) for path, entry in self.items())

    def unnamed(self) -> "Tree":
        """With every UUID in a path written as "UUID"."""
        return Tree((UUID.sub("UUID", path), entry) for path, entry in self.items())

    def contents(self) -> set[bytes]:
        return {entry.content for entry in self.values() if entry.kind == "file"}

    def difference(self, other: "Tree") -> Iterator[str]:
        for path in sorted(self.keys() | other.keys()):
            if path not in other:
                yield f"missing: {path}"
            elif path not in self:
                yield f"unexpected: {path}"
            elif self[path] != other[path]:
                yield f"changed: {path} ({_describe(self[path])} -> {_describe(other[path])})"


def _describe(entry: Entry) -> str:
    return f"{entry.kind} {entry.mode:o} {len(entry.content)} bytes {entry.content[:24]!r} {entry.modified}"


def _read_into(tree: Tree, folder: str, prefix: str) -> None:
    with os.scandir(folder) as items:
        for item in items:
            status = item.stat(follow_symlinks=False)
            mode = stat.S_IMODE(status.st_mode)
            path = prefix + item.name
            if item.is_symlink():
                tree[path] = Entry("link", 0, os.fsencode(os.readlink(item.path)))
            elif item.is_dir():
                tree[path] = Entry("folder", mode)
                _read_into(tree, item.path, path + "/")
            elif item.is_file():
                with open(item.path, "rb") as file:
                    tree[path] = Entry("file", mode, file.read(), status.st_mtime_ns)
            else:
                tree[path] = Entry("special", mode)


def _write_entry(path: str, entry: Entry) -> None:
    if entry.kind == "folder":
        os.mkdir(path)
        os.chmod(path, entry.mode)
    elif entry.kind == "link":
        os.symlink(os.fsdecode(entry.content), path)
    else:
        with open(path, "wb") as file:
            file.write(entry.content)
        os.chmod(path, entry.mode)
        os.utime(path, ns=(entry.modified, entry.modified))


def copy_folder(source: str, target: str) -> None:
    """Makes the target the same folder for all that a program can see but inode numbers and dates of reading: also
    hard links, extended attributes, and the order in which a file system in memory lists what was made last first."""
    shutil.rmtree(target, ignore_errors=True)
    _copy_items(source, target, {})


def _copy_items(source: str, target: str, linked: dict[int, str]) -> None:
    os.mkdir(target)
    with os.scandir(source) as items:
        for item in reversed(list(items)):
            status = item.stat(follow_symlinks=False)
            copied = os.path.join(target, item.name)
            if stat.S_ISDIR(status.st_mode):
                _copy_items(item.path, copied, linked)
            elif status.st_ino in linked:
                os.link(linked[status.st_ino], copied, follow_symlinks=False)
            elif stat.S_ISLNK(status.st_mode):
                os.symlink(os.readlink(item.path), copied)
                shutil.copystat(item.path, copied, follow_symlinks=False)
            else:
                shutil.copy2(item.path, copied)
            if status.st_nlink > 1:
                linked.setdefault(status.st_ino, copied)
    shutil.copystat(source, target)
