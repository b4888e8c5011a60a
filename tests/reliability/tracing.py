"""Runs the program under strace and reads what it did."""

from __future__ import annotations

import codecs
import os
import re
import signal
import subprocess
import threading
from dataclasses import dataclass
from pathlib import Path
from typing import Callable, Iterable, Mapping, Optional, Sequence

# The calls that change the file system, start a process or lock a file.
CHANGING = (
    "openat open creat write pwrite64 writev rename renameat renameat2 link linkat symlink symlinkat unlink unlinkat "
    "rmdir mkdir mkdirat copy_file_range sendfile splice ioctl chmod fchmod fchmodat chown fchown fchownat lchown "
    "utimensat fsync fdatasync syncfs sync sync_file_range truncate ftruncate fallocate setxattr lsetxattr fsetxattr "
    "removexattr lremovexattr fremovexattr mknod mknodat clone clone3 fork vfork flock").split()
# The calls by which it learns what there is.
READING = ("openat open read pread64 newfstatat stat lstat fstat statx getdents64 readlink readlinkat "
           "flistxattr fgetxattr").split()
STARTING = {"clone", "clone3", "fork", "vfork"}
RENAMING = {"rename", "renameat", "renameat2"}
COPYING = {"copy_file_range", "sendfile", "splice"}
SYNCHRONIZING = {"fsync", "fdatasync", "syncfs", "sync_file_range"}
TIMEOUT = 60

_LINE = re.compile(r"^(\w+)\((.*)\) += (-?\d+|\?)(.*)$")
_UNFINISHED = re.compile(r"^(\w+)\((.*?)\)? +(?:= \?|<unfinished \.\.\.>)$")
_PROCESS = re.compile(r"^\d+ +")
_STOPPED = "--- stopped by SIGSTOP ---"
_STRING = re.compile(r'"((?:[^"\\]|\\.)*)"')


class HarnessError(Exception):
    """The harness itself cannot go on."""


class MissedCall(HarnessError):
    """The run did not make the call that something was to happen to: a thread read first, or a clock had moved on."""


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
    """What happens to one call, or to all of its name from that one on: an error in its place, a result of nothing,
    the end of the program, or a stop after it. With a path the calls that work with this item are counted, in every
    thread and child process for itself."""

    name: str
    ordinal: int
    effect: str  # "error=ENOSPC", "retval=0", "signal=KILL" or "signal=STOP"
    path: str = ""
    lasts: bool = False

    @staticmethod
    def error(call: Call, number: str, lasts: bool = False) -> "Injection":
        return Injection(call.name, call.ordinal, "error=" + number, lasts=lasts)

    @staticmethod
    def kill(call: Call) -> "Injection":
        return Injection(call.name, call.ordinal, "signal=KILL")

    @staticmethod
    def stop(call: Call) -> "Injection":
        return Injection(call.name, call.ordinal, "signal=STOP")

    @property
    def option(self) -> str:
        return f"inject={self.name}:{self.effect}:when={self.ordinal}{'+' if self.lasts else ''}"

    def __str__(self) -> str:
        return (f"{self.name}#{self.ordinal}{' and later' if self.lasts else ''} {self.effect}"
                f"{self.path and ' of ' + self.path}")


# Every call that changes something stops the program after it, except those that a signal interrupts: they would begin
# anew each time.
EVERY_STOP = Injection(",".join("?" + name for name in CHANGING if name not in STARTING | COPYING), 1, "signal=STOP",
                       lasts=True)


@dataclass(frozen=True)
class Run:
    status: int  # negative for a signal
    output: str
    message: str
    calls: list[Call]

    @property
    def text(self) -> str:
        return self.output + self.message

    def changing(self) -> list[Call]:
        return [call for call in self.calls if call.changes]

    def injected(self) -> list[Call]:
        return [call for call in self.calls if call.injected]


class _Log:
    """What strace writes, read line by line."""

    def __init__(self) -> None:
        self.calls: list[Call] = []
        self._seen: dict[str, int] = {}

    def read(self, line: str) -> None:
        line = _PROCESS.sub("", line)
        match = _LINE.match(line) or _UNFINISHED.match(line)
        if not match:
            return
        name, arguments = match[1], match[2]
        self._seen[name] = self._seen.get(name, 0) + 1
        known = match.re is _LINE and match[3] != "?"
        self.calls.append(Call(name, self._seen[name], arguments, int(match[3]) if known else None,
                               match.re is _LINE and "(INJECTED)" in match[4]))


def _parse(log: str) -> list[Call]:
    parsed = _Log()
    for line in log.splitlines():
        parsed.read(line)
    return parsed.calls


def run(program: Path, arguments: Sequence[str], log: Path, injections: Sequence[Injection] = ()) -> Run:
    """Runs the program to its end. Its child processes and the threads that help it read are not traced, unless an
    injection asks for an item by its path."""
    return _traced(program, arguments, log, *_tracing(injections))


def run_with_stops(program: Path, arguments: Sequence[str], injections: Sequence[Injection],
                   act: Callable[[Call], None]) -> Run:
    """The same; whenever an injection has stopped the program, `act` is called with its last call, and then the program
    goes on."""
    names, options = _tracing(injections)
    reading, writing = os.pipe()
    # With -D the program itself, not strace, is the child of this process.
    command = _command(["strace", "-D", "-o", f"/dev/fd/{writing}"], names, "STOP", options, program, arguments)
    process = subprocess.Popen(command, stdin=subprocess.DEVNULL, stdout=subprocess.PIPE, stderr=subprocess.PIPE,
                               env=_environment(), cwd="/", pass_fds=[writing])
    os.close(writing)
    log = _Log()
    late_state: list[str] = []

    def end() -> None:
        late_state.append(Path(f"/proc/{process.pid}/stat").read_text().rpartition(")")[2].split()[0])
        process.kill()

    guard = threading.Timer(TIMEOUT, end)
    guard.start()
    try:
        with open(reading, encoding="latin-1", errors="replace") as lines:
            for line in lines:
                log.read(line.rstrip("\n"))
                if _STOPPED in line:
                    act(log.calls[-1])
                    os.kill(process.pid, signal.SIGCONT)
        output, message = process.communicate()
    finally:
        guard.cancel()
        if process.poll() is None:
            process.kill()
            process.wait()
    if late_state and late_state[0] in "tT":
        raise MissedCall(f"strace did not let the program go on in {TIMEOUT} seconds: {command}")
    if late_state:
        raise HarnessError(f"the program did not end in {TIMEOUT} seconds: {command}")
    return Run(process.returncode, output.decode(), _without_remarks(message.decode()), log.calls)


def run_untraced(program: Path, arguments: Sequence[str], environment: Mapping[str, str] = {}) -> Run:
    ended = _ended([str(program), *arguments], environment)
    return Run(ended.returncode, ended.stdout.decode(), ended.stderr.decode(), [])


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


def _tracing(injections: Sequence[Injection]) -> tuple[Iterable[str], list[str]]:
    """The names of the calls to trace, and the options that inject."""
    paths = [injection.path for injection in injections if injection.path]
    options = ["-f", *(f"--trace-path={path}" for path in paths)] if paths else []
    names = [injection.name for injection in injections] if paths else CHANGING
    for injection in injections:
        options += ["-e", injection.option]
    return names, options


def _command(strace: list[str], names: Iterable[str], signals: str, options: list[str], program: Path,
             arguments: Sequence[str]) -> list[str]:
    return [*strace, "-y", "-e", "trace=" + ",".join("?" + name for name in names), "-e", "signal=" + signals,
            *options, str(program), *arguments]


def _traced(program: Path, arguments: Sequence[str], log: Path, names: Iterable[str], options: list[str]) -> Run:
    ended = _ended(_command(["strace", "-o", str(log)], names, "none", options, program, arguments))
    return Run(ended.returncode, ended.stdout.decode(), _without_remarks(ended.stderr.decode()),
               _parse(log.read_text(encoding="latin-1")))


def _ended(command: list[str], environment: Mapping[str, str] = {}) -> "subprocess.CompletedProcess[bytes]":
    try:
        return subprocess.run(command, capture_output=True, stdin=subprocess.DEVNULL, timeout=TIMEOUT,
                              env={**_environment(), **environment}, cwd="/")
    except subprocess.TimeoutExpired as error:
        raise HarnessError(f"the program did not end in {TIMEOUT} seconds: {command}") from error


def _environment() -> dict[str, str]:
    return {"PATH": os.environ["PATH"], "HOME": "/nonexistent", "LC_ALL": "C"}


def _without_remarks(message: str) -> str:
    """What the program said, without what strace says."""
    return "".join(line for line in message.splitlines(keepends=True)
                   if not line.startswith("strace: Requested path "))
