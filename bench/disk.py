"""Where to measure: a folder, or a fresh file system of its own in an image file."""

import contextlib
import subprocess
import tempfile
from pathlib import Path

FILE_SYSTEMS = ("ext4", "xfs", "btrfs")
SIZE = "60G"  # the image takes only what is written


@contextlib.contextmanager
def folder(parent, file_system=None):
    """A new folder in `parent`; with a file system, the top of one that is made for it, which root may do."""
    with tempfile.TemporaryDirectory(prefix="orvo-bench-", dir=parent) as work:
        if not file_system:
            yield Path(work).resolve()
            return
        image, mount = Path(work) / "image", Path(work) / "mount"
        mount.mkdir()
        run("truncate", f"--size={SIZE}", image)
        run(f"mkfs.{file_system}", "-q", image)
        device = run("losetup", "--direct-io=on", "--find", "--show", image)
        try:
            run("mount", device, mount)
            try:
                yield mount.resolve()
            finally:
                run("umount", mount)
        finally:
            run("losetup", "--detach", device)


def run(*command):
    return subprocess.run(command, check=True, text=True, stdout=subprocess.PIPE).stdout.strip()
