"""One worker's place to run in: a home, Movies on this file system or another, and the program beside them."""

from __future__ import annotations

import os
import time
from dataclasses import dataclass, replace
from pathlib import Path
from typing import Sequence

from fixtures import FAILING_CODESIGN, FAILING_PLUGINKIT, SUPPORT, Scenario, build_product
from tracing import Call, HarnessError, Injection, Run, observe, run
from trees import Entry, Tree

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

    def own_compared(self) -> Tree:
        return self.own().where(lambda path: not SUPPORT.startswith(path + "/"))


class World:
    def __init__(self, folder: Path, elsewhere: Path, program: Path) -> None:
        self.home = folder / "home"
        self.movies_elsewhere = elsewhere / "Movies"
        self.log = folder / "log"
        self.runs = 0
        self.program = build_product(folder / "product", program)
        self.failing = {
            "codesign": build_product(folder / "failing-codesign", program, codesign=FAILING_CODESIGN),
            "pluginkit": build_product(folder / "failing-pluginkit", program, pluginkit=FAILING_PLUGINKIT),
        }

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

    def run(self, scenario: Scenario, injections: Sequence[Injection] = (), failing_tool: str = "",
            refused: bool = False) -> Run:
        program = self.failing[failing_tool] if failing_tool else self.program
        arguments = self.arguments(scenario)
        if refused:
            arguments = ["--only", "no such transition", *arguments]
        for _ in range(20):
            self.runs += 1
            result = run(program, arguments, self.log, [self._here(injection) for injection in injections])
            # Another user of the machine may be running an editor, or a test that stands in for one.
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
        for name, place in self._places().items():
            if path == place or path.startswith(place + "/"):
                below = path[len(place):]
                return "" if "/Staging-" in below or "/Backups/" in below else name + below
        return ""

    def _places(self) -> dict[str, str]:
        return {"home:": str(self.home), "Movies:": str(self.movies_elsewhere), "product:": str(self.program.parent)}

    def _here(self, injection: Injection) -> Injection:
        name, separator, below = injection.path.partition(":")
        return replace(injection, path=self._places()[name + ":"] + below) if separator else injection

    def state(self) -> State:
        tree = Tree.read(self.home)
        movies = self.home / "Movies"
        if movies.is_symlink():
            tree["Movies"] = Entry("link", 0)  # it leads to another place for each worker
            tree.update((f"Movies/{path}", entry) for path, entry in Tree.read(Path(os.readlink(movies))).items())
        return State(tree)
