"""Runs the program under strace and reads what it did."""

from __future__ import annotations

import codecs
import os
import re
import signal
import subprocess
import threading
import time
from dataclasses import dataclass
from enum import Enum
from pathlib import Path
from typing import Callable, Mapping, Optional, Sequence

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
_NAME = re.compile(r"^(\w+)\(")
_UNFINISHED = " <unfinished ...>"
_RESUMED = re.compile(r"^<\.\.\. \w+ resumed>(.*)$")
_PROCESS = re.compile(r"^(\d+) +")
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
    process: str = ""  # or thread, where others than the program's first are traced too

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
        self._seen: dict[tuple[str, str], int] = {}
        self._unfinished: dict[str, tuple[int, str]] = {}  # of each process: where its call is, and what was read

    def read(self, line: str) -> None:
        prefix = _PROCESS.match(line)
        process = prefix[1] if prefix else ""
        line = line[prefix.end():] if prefix else line
        resumed = _RESUMED.match(line)
        if resumed and process in self._unfinished:
            position, begun = self._unfinished.pop(process)
            self.calls[position] = self._call(begun + resumed[1], process, self.calls[position].ordinal)
        elif name := _NAME.match(line):
            self._seen[process, name[1]] = self._seen.get((process, name[1]), 0) + 1
            if line.endswith(_UNFINISHED):
                self._unfinished[process] = len(self.calls), line.removesuffix(_UNFINISHED)
            self.calls.append(self._call(line, process, self._seen[process, name[1]]))

    @staticmethod
    def _call(line: str, process: str, ordinal: int) -> Call:
        """Without a result where the process was killed in the call, or has not yet left it."""
        if match := _LINE.match(line):
            result = int(match[3]) if match[3] != "?" else None
            return Call(match[1], ordinal, match[2], result, "(INJECTED)" in match[4], process)
        name, _, arguments = line.removesuffix(_UNFINISHED).removesuffix(" = ?").rstrip().partition("(")
        return Call(name, ordinal, arguments.removesuffix(")"), None, process=process)


def _parse(log: str) -> list[Call]:
    parsed = _Log()
    for line in log.splitlines():
        parsed.read(line)
    return parsed.calls


class Traced(Enum):
    """What of a run is traced."""

    ALL = "every call of the program itself that changes something, with the paths of descriptors"
    OWN = "calls of the injected names that the program itself makes"
    QUICKLY = ("the same, where nothing but an error is injected without a stop at every other call. This takes tracing "
               "threads and child processes too: where one of them could have met the injection, MissedCall is raised")


def run(program: Path, arguments: Sequence[str], log: Path, injections: Sequence[Injection] = (),
        traced: Traced = Traced.ALL) -> Run:
    """Runs the program to its end. Only the program itself meets an injection, not its child processes and the threads
    that help it read, unless it asks for an item by its path."""
    ended = _ended([*_strace(injections, traced, str(log), "none"), str(program), *arguments])
    calls = _checked(_parse(log.read_text(encoding="latin-1")), injections)
    return Run(ended.returncode, ended.stdout.decode(), _without_remarks(ended.stderr.decode()), calls)


def run_with_stops(program: Path, arguments: Sequence[str], injections: Sequence[Injection], traced: Traced,
                   act: Callable[[Call], None]) -> Run:
    """The same; whenever the last injection has stopped the program, `act` is called with its last call, and then the
    program goes on: without strace, where that was all."""
    reading, writing = os.pipe()
    # With -D the program itself, not strace, is the child of this process.
    command = [*_strace(injections, traced, f"/dev/fd/{writing}", "STOP"), "-D", str(program), *arguments]
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
                    if not injections[-1].lasts:
                        _leave_alone(process.pid)
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
    return Run(process.returncode, output.decode(), _without_remarks(message.decode()),
               _checked(log.calls, injections))


def _leave_alone(process: int) -> None:
    """Ends strace, and with it the tracing of a program that stands still."""
    status = Path(f"/proc/{process}/status")
    if tracer := int(status.read_text().partition("TracerPid:")[2].split()[0]):
        os.kill(tracer, signal.SIGKILL)
    while int(status.read_text().partition("TracerPid:")[2].split()[0]):
        time.sleep(0.0001)


def run_untraced(program: Path, arguments: Sequence[str], environment: Mapping[str, str] = {}) -> Run:
    ended = _ended([str(program), *arguments], environment)
    return Run(ended.returncode, ended.stdout.decode(), ended.stderr.decode(), [])


def observe(program: Path, arguments: Sequence[str], log: Path) -> list[Call]:
    """Runs the program to its end; returns every call by which its own process, not a tool, reads."""
    names = ",".join("?" + name for name in {*CHANGING, *READING})
    _ended(["strace", "-f", "-y", "-o", str(log), "-e", "trace=" + names, "-e", "signal=none", str(program), *arguments])
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


def _strace(injections: Sequence[Injection], traced: Traced, log: str, signals: str) -> list[str]:
    """The command, up to the program."""
    paths = [injection.path for injection in injections if injection.path]
    # The program's own call of "execve" is the first that it makes.
    names = CHANGING if traced is Traced.ALL else ["execve", *dict.fromkeys(one.name for one in injections)]
    command = ["strace", "-o", log, "-e", "trace=" + ",".join("?" + name for name in names), "-e", "signal=" + signals]
    if traced is Traced.ALL:
        command.append("-y")
    # Where the kernel stops only at the calls that are asked for, strace sends no signals.
    is_quick = traced is Traced.QUICKLY and not any(one.effect.startswith("signal=") for one in injections)
    if paths or is_quick:
        command.append("-f")
    if is_quick:
        command.append("--seccomp-bpf")
    for path in paths:
        command.append(f"--trace-path={path}")
    for injection in injections:
        command += ["-e", injection.option]
    return command


def _checked(calls: list[Call], injections: Sequence[Injection]) -> list[Call]:
    """The calls of the program itself, or with paths those of its threads and child processes too."""
    if any(injection.path for injection in injections):
        return calls
    own = [call for call in calls if call.process == calls[0].process]
    for call in calls:
        if call.process != calls[0].process:
            if any(call.name == one.name and call.ordinal >= one.ordinal for one in injections):
                raise MissedCall(f"a thread or a child process met it: {call}")
    return own


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
