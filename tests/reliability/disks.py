"""Real file systems in image files: made, mounted, filled up, and copied while a run stands still."""

from __future__ import annotations

import ctypes
import os
import shutil
import subprocess
from dataclasses import dataclass
from pathlib import Path
from typing import Optional

from tracing import HarnessError

_MIB = 1 << 20
Image = tuple[tuple[int, bytes], ...]  # what an image file holds: position and bytes of each part that is not a hole


@dataclass(frozen=True)
class FileSystem:
    name: str
    size: int
    make: tuple[str, ...]
    options: str = "loop"


# Without commits of their own accord, so that a disk holds what was synced and nothing else.
FILE_SYSTEMS = {one.name: one for one in (
    FileSystem("ext4", 16 * _MIB, ("mkfs.ext4", "-q", "-F", "-m", "0", "-b", "1024"), "loop,commit=600"),
    FileSystem("ext4 with fast commits", 16 * _MIB,
               ("mkfs.ext4", "-q", "-F", "-m", "0", "-b", "1024", "-O", "fast_commit"), "loop,commit=600"),
    FileSystem("btrfs", 128 * _MIB, ("mkfs.btrfs", "-q", "-m", "single"), "loop,commit=600"),
    FileSystem("xfs", 300 * _MIB, ("mkfs.xfs", "-q", "-f"), "loop,nouuid"),
)}


class Disk:
    """A file system in an image file of its own."""

    def __init__(self, folder: Path, kind: FileSystem) -> None:
        self.kind = kind
        self.image = folder.with_name(folder.name + ".image")
        self.mount_point = folder
        self.mount_point.mkdir(exist_ok=True)
        self._seen: Optional[tuple[str, Image]] = None  # what was on the disk last, and the traffic until then

    def make(self) -> None:
        self.unmount()
        self.image.unlink(missing_ok=True)
        with open(self.image, "wb") as file:
            file.truncate(self.kind.size)
        _command(*self.kind.make, str(self.image))
        self.write(_read(self.image))  # with holes where there is nothing yet
        self.mount()

    def mount(self) -> None:
        self._seen = None
        _command("mount", "-o", self.kind.options, str(self.image), str(self.mount_point))

    def unmount(self) -> None:
        while os.path.ismount(self.mount_point):
            _command("umount", str(self.mount_point))
        if self.kind.name == "btrfs":  # which otherwise takes an older copy of the image for the same disk
            subprocess.run(["btrfs", "device", "scan", "--forget"], capture_output=True)

    def settle(self) -> None:
        """Everything is on the disk now."""
        folder = os.open(self.mount_point, os.O_RDONLY)
        try:
            if ctypes.CDLL(None).syncfs(folder) != 0:
                raise HarnessError(f"cannot sync {self.mount_point}")
        finally:
            os.close(folder)

    def read(self) -> Image:
        """What is on the disk at this moment, while nobody writes to it."""
        traffic = self._traffic()
        while not self._seen or self._seen[0] != traffic:
            self._seen = traffic, _read(self.image)
            traffic = self._traffic()
        return self._seen[1]

    def write(self, image: Image) -> None:
        self.image.unlink(missing_ok=True)
        with open(self.image, "wb") as file:
            for position, data in image:
                file.seek(position)
                file.write(data)
            file.truncate(self.kind.size)

    def fill(self, blocks: Optional[int] = None, items: Optional[int] = None) -> None:
        """Leaves room for no more than so many blocks, or so many items."""
        filler = self.mount_point / "filler"
        filler.mkdir()
        if items is not None:
            for number in range(os.statvfs(self.mount_point).f_favail - items):
                (filler / str(number)).touch()
        if blocks is not None:
            with open(filler / "blocks", "wb") as file:
                size = 0
                while (free := os.statvfs(self.mount_point).f_bavail) != blocks:
                    size += (free - blocks) * 1024
                    if free > blocks:
                        os.posix_fallocate(file.fileno(), 0, size)
                    else:
                        file.truncate(size)

    def clear(self) -> None:
        shutil.rmtree(self.mount_point / "filler")

    def _traffic(self) -> str:
        """Changes with everything that reaches the device; waits while something is on its way."""
        folder = Path("/sys/class/block", _device_of(self.mount_point).name)
        while (folder / "inflight").read_text().split() != ["0", "0"]:
            pass
        return (folder / "stat").read_text()


def _device_of(mount_point: Path) -> Path:
    for line in Path("/proc/self/mounts").read_text().splitlines():
        device, point = line.split()[:2]
        if point == str(mount_point):
            return Path(device)
    raise HarnessError(f"nothing is mounted at {mount_point}")


def _read(file: Path) -> Image:
    parts = []
    descriptor = os.open(file, os.O_RDONLY)
    try:
        end, position = os.fstat(descriptor).st_size, 0
        while position < end:
            try:
                start = os.lseek(descriptor, position, os.SEEK_DATA)
            except OSError:  # only holes are left
                break
            position = os.lseek(descriptor, start, os.SEEK_HOLE)
            for block in range(start, position, _MIB):
                data = os.pread(descriptor, min(_MIB, position - block), block)
                if data.count(0) != len(data):
                    parts.append((block, data))
    finally:
        os.close(descriptor)
    return tuple(parts)


def _command(*words: str) -> None:
    ended = subprocess.run(words, capture_output=True, text=True)
    if ended.returncode != 0:
        raise HarnessError(f"{' '.join(words)}: {ended.stderr.strip()}")


def unmount_below(folder: Path) -> None:
    for line in Path("/proc/self/mounts").read_text().splitlines():
        point = line.split()[1]
        if point == str(folder) or point.startswith(f"{folder}/"):
            subprocess.run(["umount", "-l", point], capture_output=True)


def usable(folder: Path) -> list[str]:
    """The file systems that this machine makes and mounts."""
    names = []
    for kind in FILE_SYSTEMS.values():
        if os.geteuid() != 0 or not shutil.which(kind.make[0]):
            continue
        disk = Disk(folder / "disk", kind)
        try:
            disk.make()
            names.append(kind.name)
        except HarnessError:
            pass
        finally:
            disk.unmount()
            disk.image.unlink(missing_ok=True)
    return names
