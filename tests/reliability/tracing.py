"""Runs the program under strace and reads what it did."""

from __future__ import annotations

import codecs
import os
import re
import subprocess
from dataclasses import dataclass
from pathlib import Path
from typing import Iterable, Optional, Sequence

# The calls that change the file system, start a process or hold a file.
CHANGING = (
    "openat open creat write pwrite64 writev rename renameat renameat2 link linkat symlink symlinkat unlink unlinkat "
    "rmdir mkdir mkdirat copy_file_range sendfile splice ioctl chmod fchmod fchmodat chown fchown fchownat lchown "
    "utimensat fsync fdatasync syncfs sync sync_file_range truncate ftruncate fallocate setxattr lsetxattr fsetxattr "
    "removexattr lremovexattr fremovexattr mknod mknodat clone clone3 fork vfork flock").split()
# The calls by which it learns what there is.
READING = ("openat open read pread64 newfstatat stat lstat fstat statx getdents64 readlink readlinkat "
           "flistxattr fgetxattr").split()
STARTING = {"clone", "clone3", "fork", "vfork"}
SYNCHRONIZING = {"fsync", "fdatasync", "syncfs", "sync_file_range"}
TIMEOUT = 60

_LINE = re.compile(r"^(\w+)\((.*)\) += (-?\d+|\?)(.*)$")
_UNFINISHED = re.compile(r"^(\w+)\((.*?)\)? +(?:= \?|<unfinished \.\.\.>)$")
_PROCESS = re.compile(r"^\d+ +")
_STRING = re.compile(r'"((?:[^"\\]|\\.)*)"')


class HarnessError(Exception):
    """The harness itself cannot go on."""


def _unescaped(text: str) -> str:
    return codecs.escape_decode(text.encode("latin-1", "backslashreplace"))[0].decode("utf-8", "surrogateescape")


@dataclass(frozen=True)
class Call:
    """One system call of the program: which of its name it was, and its arguments as strace writes them."""

    name: str
    ordinal: int  # counted from 1 among the calls of its name
    arguments: str
    result: Optional[int]
    injected: bool = False

    @property
    def changes(self) -> bool:
        """False for calls that only read, and for the program's own messages."""
        if self.name in ("openat", "open"):
            return any(flag in self.arguments for flag in ("O_WRONLY", "O_RDWR", "O_CREAT", "O_TRUNC"))
        if self.name == "ioctl":
            return "FICLONE" in self.arguments
        if self.name in ("write", "writev"):
            return self.descriptor()[0] > 2
        return True

    @property
    def succeeded(self) -> bool:
        return self.result is not None and self.result >= 0

    def descriptor(self, position: int = 0) -> tuple[int, str]:
        """The number and the path of a descriptor among the arguments, by its position among them."""
        found = re.findall(r"(?:^|, )(-?\d+)<((?:[^<>\\]|\\.)*)>", self.arguments)
        return (int(found[position][0]), _unescaped(found[position][1])) if len(found) > position else (-1, "")

    def paths(self) -> list[str]:
        return [_unescaped(text) for text in _STRING.findall(self.arguments)]

    def __str__(self) -> str:
        return f"{self.name}#{self.ordinal}({self.arguments})"


@dataclass(frozen=True)
class Injection:
    """What happens to one call: an error in its place, or the end of the program. With a path the calls that work
    with this item are counted, in every thread and child process for itself."""

    name: str
    ordinal: int
    effect: str  # "error=ENOSPC" or "signal=KILL"
    path: str = ""

    @staticmethod
    def error(call: Call, number: str) -> "Injection":
        return Injection(call.name, call.ordinal, "error=" + number)

    @staticmethod
    def kill(call: Call) -> "Injection":
        return Injection(call.name, call.ordinal, "signal=KILL")

    @property
    def option(self) -> str:
        return f"inject={self.name}:{self.effect}:when={self.ordinal}"


@dataclass(frozen=True)
class Run:
    status: int  # negative for a signal
    output: str
    message: str
    calls: list[Call]

    def changing(self) -> list[Call]:
        return [call for call in self.calls if call.changes]

    def injected(self) -> list[Call]:
        return [call for call in self.calls if call.injected]


def _parse(log: str) -> list[Call]:
    calls: list[Call] = []
    seen: dict[str, int] = {}
    for line in log.splitlines():
        line = _PROCESS.sub("", line)
        match = _LINE.match(line) or _UNFINISHED.match(line)
        if not match:
            continue
        name, arguments = match[1], match[2]
        seen[name] = seen.get(name, 0) + 1
        known = match.re is _LINE and match[3] != "?"
        calls.append(Call(name, seen[name], arguments, int(match[3]) if known else None,
                          match.re is _LINE and "(INJECTED)" in match[4]))
    return calls


def run(program: Path, arguments: Sequence[str], log: Path, injections: Sequence[Injection] = ()) -> Run:
    """Runs the program to its end. Its child processes and the threads that help it read are not traced, unless an
    injection asks for an item by its path."""
    paths = [injection.path for injection in injections if injection.path]
    options = ["-f", *(f"--trace-path={path}" for path in paths)] if paths else []
    names = [injection.name for injection in injections] if paths else CHANGING
    for injection in injections:
        options += ["-e", injection.option]
    return _traced(program, arguments, log, names, options)


def observe(program: Path, arguments: Sequence[str], log: Path) -> list[Call]:
    """Runs the program to its end; returns every call by which its own process, not a tool, reads."""
    _traced(program, arguments, log, {*CHANGING, *READING}, ["-f"])
    lines: dict[str, list[str]] = {}
    for line in log.read_text(encoding="latin-1").splitlines():
        process, _, rest = line.partition(" ")
        lines.setdefault(process, []).append(rest.strip())
    main = _parse("\n".join(next(iter(lines.values()))))
    helpers = {str(call.result) for call in main if "CLONE_THREAD" in call.arguments}
    helping = [call for process in helpers for call in _parse("\n".join(lines.get(process, [])))]
    for call in helping:
        if call.changes and call.name in CHANGING:
            raise HarnessError(f"a thread that this harness does not trace changes something: {call}")
    return [call for call in (*main, *helping) if call.name in READING]


def _traced(program: Path, arguments: Sequence[str], log: Path, names: Iterable[str], options: list[str]) -> Run:
    command = ["strace", "-o", str(log), "-y", "-e", "trace=" + ",".join("?" + name for name in names),
               "-e", "signal=none", *options, str(program), *arguments]
    environment = {"PATH": os.environ["PATH"], "HOME": "/nonexistent", "LC_ALL": "C"}
    try:
        ended = subprocess.run(command, capture_output=True, stdin=subprocess.DEVNULL, timeout=TIMEOUT,
                               env=environment, cwd="/")
    except subprocess.TimeoutExpired as error:
        raise HarnessError(f"the program did not end in {TIMEOUT} seconds: {command}") from error
    message = "".join(line for line in ended.stderr.decode().splitlines(keepends=True)
                      if not line.startswith("strace: Requested path "))
    return Run(ended.returncode, ended.stdout.decode(), message,
               _parse(log.read_text(encoding="latin-1")))
