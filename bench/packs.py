"""The packs that are measured, generated into a folder."""

import json
import os
import random
import shutil
import subprocess
from dataclasses import dataclass
from pathlib import Path

APPLICATION = "Orvo Transitions.app"
KILOBYTE, MEGABYTE = 1000, 1_000_000
PIECE = 4 * MEGABYTE


@dataclass(frozen=True)
class Kind:
    """A pack to generate: so many transitions with a template and two pictures of these sizes."""

    name: str
    title: str
    transitions: int
    template: int = 4 * KILOBYTE
    picture: int = 1 * KILOBYTE


LARGE = [
    Kind("thousand", "1,000 transitions of 1 MB", 1000, MEGABYTE - 40 * KILOBYTE, 20 * KILOBYTE),
    Kind("huge", "11 transitions of 500 MB", 11, 500 * MEGABYTE - 40 * KILOBYTE, 20 * KILOBYTE),
]


def small(count):
    return Kind(f"small-{count}", f"{count:,} small transitions", count)


SMALL = [small(count) for count in (10, 100, 1000, 10_000)]


def kind(name):
    """The kind of that name, where "small-N" is one for every number N."""
    known = {kind.name: kind for kind in LARGE}
    return known[name] if name in known else small(int(name.removeprefix("small-")))


@dataclass(frozen=True)
class Pack:
    """A pack on the disk. The installer reads `payload`; everybody else is given the items of `tree`, the same
    transition folders with the companion application beside them."""

    title: str
    payload: Path
    tree: Path
    transitions: tuple

    @property
    def items(self):
        return [*self.transitions, APPLICATION]

    @property
    def subset(self):
        """Every fourth transition."""
        return list(self.transitions[::4])

    @property
    def templates(self):
        """The size of every file of the transitions, by path."""
        return sizes(self.tree, self.transitions)


def sizes(folder, transitions):
    return {f"{name}/{file.name}": file.stat().st_size
            for name in transitions if (folder / name).is_dir()
            for file in os.scandir(folder / name)}


def sample(product, folder):
    """The sample pack as it is built."""
    source = product / "Resources/Payload"
    catalog = json.loads((source / "catalog.json").read_text())
    names = [entry["name"] for entry in catalog if not entry.get("retired")]
    copy_tree(source / "MotionTemplates", folder / "tree")
    return assembled(f"The sample, {len(names)} transitions", folder, product, names, catalog)


def generate(kind, product, folder):
    names = [f"{number:05} Transition" for number in range(1, kind.transitions + 1)]
    for name in names:
        (folder / "tree" / name).mkdir(parents=True)
        for file, size in ((f"{name}.motr", kind.template), ("small.png", kind.picture), ("large.png", kind.picture)):
            write_noise(folder / "tree" / name / file, size)
    return assembled(kind.title, folder, product, names, [{"name": name} for name in names])


def write_noise(path, size):
    """Contents that nothing can compress, the same at every run."""
    noise = random.Random(path.parent.name + path.name)
    with open(path, "wb") as file:
        for start in range(0, size, PIECE):
            file.write(noise.randbytes(min(PIECE, size - start)))


def assembled(title, folder, product, transitions, catalog):
    application = product / "Resources/Payload" / APPLICATION
    payload = folder / "product/Resources/Payload"
    payload.mkdir(parents=True)
    copy_tree(application, folder / "tree" / APPLICATION)
    copy_tree(application, payload / APPLICATION)
    (payload / "MotionTemplates").symlink_to(folder / "tree")
    (payload / "catalog.json").write_text(json.dumps(catalog))
    shutil.copy2(product / "orvo-installer", folder / "product")
    (folder / "product/SystemTools").symlink_to(product / "SystemTools")
    return Pack(title, payload, folder / "tree", tuple(transitions))


def copy_tree(source, target):
    target.parent.mkdir(parents=True, exist_ok=True)
    subprocess.run(["cp", "-a", source, target], check=True)
