"""The installer and what one would use instead of it. Each has a folder of its own to install into, and goes
through the operations in their order: every one starts from what the one before left."""

import subprocess

import packs

OPERATIONS = ("fresh install", "re-install", "subset", "uninstall")
PACKAGE = "orvo-pack"


class Installer:
    name = "installer"

    def __init__(self, pack, folder):
        self.pack = pack
        self.home = folder
        self.transitions = folder / "Movies/Motion Templates.localized/Transitions.localized/Orvo Transitions"

    def prepare(self):
        self.home.mkdir()

    def command(self, operation):
        command = [self.pack.payload.parents[1] / "orvo-installer",
                   "--uninstall" if operation == "uninstall" else "--install",
                   "--root", self.home, "--no-register"]
        return command + (["--only", ",".join(self.pack.subset)] if operation == "subset" else [])


# The least that a verified copy can do that keeps what it replaces. $1 is the folder to copy from, $2 the folder to install
# into, $3 a fresh folder for what is replaced; the rest are the items.
INSTALL = r"""
set -e
source=$1 target=$2 backup=$3; shift 3
digests() { (cd "$1" && shift && find "$@" -type f -print0 | sort -z | xargs -0 openssl dgst -sha256); }
mkdir -p "$target" "$backup"
digests "$source" "$@" >"$backup/.before"
if [ -e "$target/$1" ]; then
    digests "$target" "$@" >"$backup/.replaced"
    cmp "$backup/.before" "$backup/.replaced"
    (cd "$target" && mv -t "$backup" -- "$@")
fi
(cd "$source" && cp -a -t "$target" -- "$@")
digests "$target" "$@" >"$backup/.after"
cmp "$backup/.before" "$backup/.after"
"""

UNINSTALL = r"""
set -e
target=$2 backup=$3; shift 3
mkdir -p "$backup"
(cd "$target" && find "$@" -type f -print0 | sort -z | xargs -0 openssl dgst -sha256) >"$backup/.before"
(cd "$target" && mv -t "$backup" -- "$@")
"""


class Baseline:
    name = "baseline"
    last = ""

    def __init__(self, pack, folder):
        self.pack = pack
        self.folder = folder
        self.transitions = folder / "target"

    def prepare(self):
        self.folder.mkdir()

    def command(self, operation):
        script = (UNINSTALL if operation == "uninstall" else INSTALL) + self.last
        items = [*self.pack.subset, packs.APPLICATION] if operation == "subset" else self.pack.items
        return ["sh", "-c", script, "sh", self.pack.tree, self.transitions, self.folder / operation, *items]


class SynchronizedBaseline(Baseline):
    name = "baseline, then sync"
    last = 'sync -f "$target"\n'


class Rsync:
    name = "rsync"

    def __init__(self, pack, folder):
        self.pack = pack
        self.folder = folder
        self.transitions = folder / "target"

    def prepare(self):
        self.folder.mkdir()
        (self.folder / "nothing").mkdir()

    def command(self, operation):
        command = ["rsync", "-a", "--checksum", "--backup", f"--backup-dir={self.folder / operation}"]
        sources = {
            "subset": [self.pack.tree / item for item in [*self.pack.subset, packs.APPLICATION]],
            "uninstall": ["--delete", f"{self.folder / 'nothing'}/"],
        }.get(operation, [f"{self.pack.tree}/"])
        return [*command, *sources, f"{self.transitions}/"]


class Dpkg:
    """The tree as one package, not compressed: unpacking it costs dpkg no more than it must."""

    name = "dpkg"

    def __init__(self, pack, folder):
        self.folder = folder
        self.transitions = folder / "root/opt/orvo"
        self.package = pack.tree.parent / f"{PACKAGE}.deb"
        if not self.package.exists():
            build_package(pack, self.package)

    def prepare(self):
        for part in ("root/opt", "database/info", "database/updates"):
            (self.folder / part).mkdir(parents=True)
        (self.folder / "database/status").touch()

    def command(self, operation):
        command = ["dpkg", f"--instdir={self.folder / 'root'}", f"--admindir={self.folder / 'database'}",
                   "--force-not-root", "--force-bad-path", f"--log={self.folder / 'log'}"]
        if operation == "subset":
            return None  # a package is installed whole
        return command + (["-r", PACKAGE] if operation == "uninstall" else ["-i", self.package])


def build_package(pack, package):
    tree = package.parent / "package"
    (tree / "DEBIAN").mkdir(parents=True)
    (tree / "DEBIAN/control").write_text(
        f"Package: {PACKAGE}\nVersion: 2.3\nArchitecture: all\nMaintainer: Orvo <orvo@localhost>\nDescription: pack\n")
    (tree / "opt").mkdir()
    pack.tree.rename(tree / "opt/orvo")
    try:
        subprocess.run(["dpkg-deb", "--root-owner-group", "-Znone", "--build", tree, package], check=True,
                       stdout=subprocess.DEVNULL)
    finally:
        (tree / "opt/orvo").rename(pack.tree)


ALL = (Installer, Baseline, SynchronizedBaseline, Rsync, Dpkg)
