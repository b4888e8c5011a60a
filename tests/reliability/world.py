"""Where one worker runs the program: a home, Movies on this file system or another, and the program beside them."""

from __future__ import annotations

import copy
import os
import re
import time
from dataclasses import dataclass, replace
from pathlib import Path
from typing import Callable, Hashable, Iterator, Optional, Sequence

import disks
from disks import Disk, Image
from fixtures import (FAILING_CODESIGN, FAILING_PLUGINKIT, REFUSING_CODESIGN, SUPPORT, Refusal, Scenario, build_product,
                      compiled_tool)
from tracing import Call, HarnessError, Injection, Run, Traced, observe, run, run_untraced, run_with_stops
from trees import Entry, Tree, copy_folder

_NEW = re.compile(r"/Staging-|/Backups/|/\.orvo-(?!transitions\.json$|lumopack01\.json$)")
EDITOR_RUNS = "Fermez Final Cut Pro et Motion"


@dataclass(frozen=True)
class State:
    """Everything below the home, with Movies under that name wherever it lies."""

    tree: Tree

    def own(self) -> Tree:
        """What is the user's: all but the support folder and the folders that lead to it."""
        return self.tree.where(lambda path: path != SUPPORT and not path.startswith(SUPPORT + "/"))

    def support(self) -> Tree:
        return self.tree.below(SUPPORT)

    def undated(self) -> "State":
        return State(self.tree.undated())

    def own_compared(self) -> Tree:
        return self.own().where(lambda path: not SUPPORT.startswith(path + "/"))


class World:
    def __init__(self, folder: Path, elsewhere: Path, program: Path, allocator: Optional[Path] = None) -> None:
        self.folder = folder
        self.home = folder / "home"
        self.movies_elsewhere = elsewhere / "Movies"
        self.log = folder / "log"
        self.runs = 0
        self.traced = Traced.QUICKLY  # unless all calls are wanted
        self.kept: dict[Hashable, tuple[str, ...]] = {}
        self.allocator = allocator
        self.program = self._product(folder / "product", program)
        self.failing = {
            "codesign": self._product(folder / "failing-codesign", program, codesign=FAILING_CODESIGN),
            "pluginkit": self._product(folder / "failing-pluginkit", program, pluginkit=FAILING_PLUGINKIT),
            "": self.program,
        }
        self.refusing = self._product(folder / "refusing-codesign", program, codesign=REFUSING_CODESIGN)

    @staticmethod
    def _product(folder: Path, program: Path, **refusals: Refusal) -> Path:
        tools = {name: compiled_tool(refusals.get(name)) for name in ("codesign", "pluginkit", "lsregister")}
        return build_product(folder, program, **tools)

    @property
    def support(self) -> Path:
        return self.home / SUPPORT

    def prepare(self, scenario: Scenario) -> None:
        scenario.home.write(self.home)
        movies = self.home / "Movies"
        if scenario.elsewhere:
            scenario.movies.write(self.movies_elsewhere)
            movies.symlink_to(self.movies_elsewhere)
        else:
            scenario.movies.write(movies)

    def keep(self, scenario: Scenario, name: Hashable, findings: tuple[str, ...]) -> None:
        """Copies the home as it is now, so that `restore` makes it so again."""
        for folder, copied in self._folders_and_copies(scenario, len(self.kept)):
            copy_folder(folder, copied)
        self.kept[name] = findings

    def restore(self, scenario: Scenario, name: Hashable) -> tuple[str, ...]:
        """Returns what was found when this home was kept."""
        for folder, copied in self._folders_and_copies(scenario, list(self.kept).index(name)):
            copy_folder(copied, folder)
        return self.kept[name]

    def _folders_and_copies(self, scenario: Scenario, number: int) -> Iterator[tuple[str, str]]:
        for folder in [self.home] + ([self.movies_elsewhere] if scenario.elsewhere else []):
            yield str(folder), str(folder.with_name(f"{folder.name} kept {number}"))

    def run(self, scenario: Scenario, injections: Sequence[Injection] = (), failing_tool: str = "",
            act: Optional[Callable[[Call], None]] = None) -> Run:
        """Traced to its end; with `act`, which is called at each stop that the injections make. Only the calls of their
        names are recorded."""
        return self._run(scenario, injections, failing_tool, act, self.traced)

    def run_recorded(self, scenario: Scenario, injections: Sequence[Injection] = (), failing_tool: str = "",
                     act: Optional[Callable[[Call], None]] = None) -> Run:
        """The same, and every call that changes something is recorded."""
        return self._run(scenario, injections, failing_tool, act, Traced.ALL)

    def _run(self, scenario: Scenario, injections: Sequence[Injection], failing_tool: str,
             act: Optional[Callable[[Call], None]], traced: Traced) -> Run:
        program, arguments = self.failing[failing_tool], self.arguments(scenario)
        here = [self._here(injection) for injection in injections]
        if act:
            return self._repeated(lambda: run_with_stops(program, arguments, here, traced, act))
        return self._repeated(lambda: run(program, arguments, self.log, here, traced))

    def run_untraced(self, scenario: Scenario) -> Run:
        return self._repeated(lambda: run_untraced(self.program, self.arguments(scenario)))

    def run_with_allocator(self, scenario: Scenario, settings: dict[str, str]) -> Run:
        preloaded = {"LD_PRELOAD": str(self.allocator), **settings}
        return self._repeated(lambda: run_untraced(self.program, self.arguments(scenario), preloaded))

    def run_refused(self) -> Run:
        """An install that is refused when what an earlier run left was undone, and that changes nothing itself."""
        return self._repeated(lambda: run_untraced(self.refusing, ["--root", str(self.home), "--install"]))

    def _repeated(self, once: Callable[[], Run]) -> Run:
        """Another user of the machine may be running an editor, or a test that has one for itself."""
        for _ in range(20):
            self.runs += 1
            result = once()
            if EDITOR_RUNS not in result.message:
                return result
            time.sleep(0.5)
        raise HarnessError("an editor is running on this machine")

    def observe(self, scenario: Scenario) -> list[Call]:
        """The calls by which the program reads in a run without a fault."""
        self.runs += 1
        return observe(self.program, self.arguments(scenario), self.log)

    def arguments(self, scenario: Scenario) -> list[str]:
        return ["--root", str(self.home), *scenario.arguments]

    def portable(self, path: str) -> str:
        """The path as it is the same in every world; empty for one that is not this world's or new in each run."""
        for name, folder in self._folders().items():
            if path == folder or path.startswith(folder + "/"):
                below = path[len(folder):]
                return "" if _NEW.search(below) else name + below
        return ""

    def in_home(self, path: str) -> str:
        """The path relative to the home; empty for one that is not below it."""
        for folder, name in ((self.home, ""), (self.movies_elsewhere, "Movies/")):
            if path.startswith(f"{folder}/"):
                return name + path[len(str(folder)) + 1:]
        return ""

    def _folders(self) -> dict[str, str]:
        return {"home:": str(self.home), "Movies:": str(self.movies_elsewhere), "product:": str(self.program.parent)}

    def _here(self, injection: Injection) -> Injection:
        name, separator, below = injection.path.partition(":")
        return replace(injection, path=self._folders()[name + ":"] + below) if separator else injection

    def state(self) -> State:
        tree = Tree.read(self.home)
        movies = self.home / "Movies"
        if movies.is_symlink():
            tree["Movies"] = Entry("link", 0)  # it leads to another folder for each worker
            tree.update((f"Movies/{path}", entry) for path, entry in Tree.read(Path(os.readlink(movies))).items())
        return State(tree)


class WorldOnDisks:
    """A world whose home, and Movies if it lies elsewhere, are on disks of their own. Its program is the other world's."""

    def __init__(self, world: World, scenario: Scenario, file_system: str) -> None:
        self.disks = [Disk(world.folder / name, disks.FILE_SYSTEMS[file_system])
                      for name in (("home-disk", "movies-disk") if scenario.elsewhere else ("home-disk",))]
        self.world = copy.copy(world)
        self.world.home = self.disks[0].mount_point / "home"
        self.world.movies_elsewhere = self.disks[-1].mount_point / "Movies"
        self.world.runs = 0
        self.trials = 0

    def __enter__(self) -> "WorldOnDisks":
        for disk in self.disks:
            disk.make()
        return self

    def replace(self, images: Sequence[Image]) -> None:
        """Turns the disks off, and on again with these contents."""
        for disk in self.disks:
            disk.unmount()
        for disk, image in zip(self.disks, images):
            disk.write(image)
            disk.mount()

    def __exit__(self, *_: object) -> None:
        for disk in self.disks:
            disk.unmount()
            disk.image.unlink(missing_ok=True)
