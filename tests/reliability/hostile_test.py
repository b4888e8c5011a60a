"""What the installer does in a home that somebody prepared against it.

Usage: python3 tests/reliability/hostile_test.py PROGRAM
"""

from __future__ import annotations

import json
import os
import resource
import shutil
import socket
import subprocess
import sys
import tempfile
import threading
import time
import unittest
from dataclasses import dataclass
from pathlib import Path
from typing import Callable

sys.path.insert(0, str(Path(__file__).parent))

import fixtures
from fixtures import APPLICATION, CATEGORY, LEGACY, SUPPORT, TRANSITIONS, Scenario
from tracing import Injection, run as traced_run
from trees import Tree

PROGRAM = Path()
SECONDS = 120  # a run that takes longer waits for something; machines may be busy
FRENCH = ("Impossible d", "Lien symbolique refusé, conservé : ", "Fichier modifié ou non reconnu, conservé : ",
          "Application non reconnue, conservée : ", "Chemins du manifeste invalides.", "Manifeste inconnu : ",
          "La catégorie historique contient une transition inconnue : ", "Une installation précédente a été interrompue")


@dataclass(frozen=True)
class Ended:
    status: int
    output: str
    message: str
    kilobytes: int
    seconds: float  # of processor time


def processor_time() -> float:
    """What all processes that were started here and have ended took of the processor."""
    usage = resource.getrusage(resource.RUSAGE_CHILDREN)
    return usage.ru_utime + usage.ru_stime


def run(program: Path, *arguments: str) -> Ended:
    began = processor_time()
    process = subprocess.Popen([str(program), *arguments], stdin=subprocess.DEVNULL, stdout=subprocess.PIPE,
                               stderr=subprocess.PIPE, cwd="/")
    peak = PeakMemory(process.pid)
    try:
        output, message = process.communicate(timeout=SECONDS)
    except subprocess.TimeoutExpired:
        process.kill()
        output, message = process.communicate()
        message += f"did not end in {SECONDS} seconds".encode()
    return Ended(process.returncode, output.decode(), message.decode(), peak.kilobytes, processor_time() - began)


class PeakMemory(threading.Thread):
    """Looks at the peak that the kernel keeps of a process until the process is gone."""

    def __init__(self, process: int) -> None:
        super().__init__(daemon=True)
        self.status = Path(f"/proc/{process}/status")
        self.kilobytes = 0
        self.start()

    def run(self) -> None:
        while True:
            try:
                lines = self.status.read_text().splitlines()
            except OSError:
                return
            peak = next((line for line in lines if line.startswith("VmHWM:")), None)
            if peak is None:
                return
            self.kilobytes = int(peak.split()[1])
            time.sleep(0.002)


class HostileHome(unittest.TestCase):
    def setUp(self) -> None:
        folder = tempfile.TemporaryDirectory(prefix="orvo-hostile-", dir="/dev/shm" if os.path.isdir("/dev/shm") else None)
        self.addCleanup(folder.cleanup)
        self.folder = Path(folder.name).resolve()
        self.home = self.folder / "home"
        self.outside = self.folder / "outside"
        self.movies = self.home / "Movies"
        self.program = fixtures.build_product(self.folder / "product", PROGRAM)

    def prepare(self, name: str) -> Scenario:
        """A home as in the scenario, and a copy of all of it outside for links to lead to."""
        scenario = next(one for one in fixtures.scenarios() if one.name == name)
        scenario.home.write(self.home)
        scenario.movies.write(self.movies)
        shutil.rmtree(self.outside, ignore_errors=True)
        shutil.copytree(self.home, self.outside, symlinks=True)
        return scenario

    def install(self, *arguments: str) -> Ended:
        return run(self.program, "--root", str(self.home), "--no-register", "--install", *arguments)

    def uninstall(self) -> Ended:
        return run(self.program, "--root", str(self.home), "--no-register", "--uninstall")

    def replace(self, place: Path, make: Callable[[Path], None]) -> None:
        if place.is_dir() and not place.is_symlink():
            shutil.rmtree(place)
        else:
            place.unlink(missing_ok=True)
        place.parent.mkdir(parents=True, exist_ok=True)
        make(place)

    def check_refused(self, ended: Ended, before: Tree) -> None:
        self.assertEqual(ended.status, 1, ended)
        self.assertTrue(ended.message.startswith(FRENCH), ended.message)
        self.assertEqual(list(before.difference(Tree.read(self.home))), [])


# Where links are planted, below the home.
LINKED = {
    "category": "Movies/" + CATEGORY,
    "transition": "Movies/" + CATEGORY + "/01 Fade",
    "template": "Movies/" + CATEGORY + "/01 Fade/01 Fade.motr",
    "thumbnail": "Movies/" + CATEGORY + "/10 Box Turn/small.png",
    "manifest": "Movies/" + CATEGORY + "/.orvo-transitions.json",
    "older category": "Movies/" + LEGACY,
    "older transition": "Movies/" + LEGACY + "/11 Box Turn",
    "older template": "Movies/" + LEGACY + "/11 Box Turn/11 Box Turn.motr",
    "older manifest": "Movies/" + LEGACY + "/.orvo-lumopack01.json",
    "hidden list": "Movies/" + TRANSITIONS + "/.hidden",
    "applications": "Applications",
    "application": APPLICATION,
    "application's contents": APPLICATION + "/Contents",
    "library": "Library",
    "support folder": SUPPORT,
    "backups": SUPPORT + "/Backups",
    "journal": SUPPORT + "/journal.jsonl",
}


class PlantedLinks(HostileHome):
    """A link never makes a run change anything outside the home."""

    def try_links(self, scenario: str, act: Callable[[], Ended], target: Callable[[str], Path]) -> None:
        for name, place in LINKED.items():
            with self.subTest(place=name):
                self.prepare(scenario)
                destination = target(place)
                self.replace(self.home / place, lambda link: link.symlink_to(destination))
                outside, before = Tree.read(self.outside), Tree.read(self.home)
                ended = act()
                self.assertEqual(list(outside.difference(Tree.read(self.outside))), [], ended)
                self.assertIn(ended.status, (0, 1), ended)
                if ended.status == 1 and "Sauvegarde : " not in ended.message:
                    self.check_refused(ended, before)
                elif ended.status == 1:
                    self.assertTrue(ended.message.endswith("État précédent restauré.\n"), ended)
                links = [entry for entry in Tree.read(self.home).values() if entry.kind == "link"]
                self.assertIn(os.fsencode(destination), [link.content for link in links], "the link is gone")

    def counterpart(self, place: str) -> Path:
        return self.outside / place

    def nowhere(self, place: str) -> Path:
        return self.outside / "nothing" / place

    def test_install_through_links_to_the_same_outside(self) -> None:
        self.try_links("upgrade", self.install, self.counterpart)

    def test_install_through_dangling_links(self) -> None:
        self.try_links("upgrade", self.install, self.nowhere)

    def test_uninstall_through_links_to_the_same_outside(self) -> None:
        self.try_links("uninstall", self.uninstall, self.counterpart)

    def test_uninstall_through_dangling_links(self) -> None:
        self.try_links("uninstall", self.uninstall, self.nowhere)

    def test_first_install_through_links_to_an_empty_folder(self) -> None:
        for place in ("Movies/" + CATEGORY, "Movies/" + CATEGORY + "/01 Fade", "Applications", SUPPORT):
            with self.subTest(place=place):
                self.prepare("fresh")
                empty = self.outside / "empty"
                empty.mkdir()
                self.replace(self.home / place, lambda link: link.symlink_to(empty))
                before = Tree.read(self.home)
                self.check_refused(self.install(), before)
                self.assertEqual(os.listdir(empty), [])


class LinksInAnInterruptedRun(HostileHome):
    """Links that are planted while the traces of a run that was cut short lie in the home."""

    def cut(self, name: str) -> Path:
        """Cuts a run off when all but the end is done and returns its backup folder."""
        scenario = self.prepare(name)
        log = self.folder / "log"
        arguments = ["--root", str(self.home), "--no-register", *scenario.arguments]
        calls = traced_run(self.program, arguments, log).changing()
        end = next(call for call in reversed(calls)
                   if call.name == "unlink" and call.paths()[0].endswith("/journal.jsonl"))
        self.prepare(name)
        before = set(os.listdir(self.home / SUPPORT / "Backups"))
        self.assertEqual(traced_run(self.program, arguments, log, [Injection.kill(end)]).status, -9)
        return next(self.home / SUPPORT / "Backups" / one
                    for one in os.listdir(self.home / SUPPORT / "Backups") if one not in before)

    def check_next_run_keeps_to_the_home(self, act: Callable[[], Ended]) -> Ended:
        outside = Tree.read(self.outside)
        ended = act()
        self.assertEqual(list(outside.difference(Tree.read(self.outside))), [], ended)
        self.assertIn(ended.status, (0, 1), ended)
        return ended

    def test_backup_that_became_a_link(self) -> None:
        for part in ("", "Templates", "Templates/01 Fade", "Legacy/11 Box Turn"):
            for name, act in (("upgrade", self.install), ("uninstall", self.uninstall)):
                with self.subTest(part=part, name=name):
                    backup = self.cut(name)
                    moved = self.outside / "moved"
                    (backup / part).rename(moved)
                    (backup / part).symlink_to(moved)
                    ended = self.check_next_run_keeps_to_the_home(act)
                    self.assertEqual(ended.status, 1, ended)
                    self.assertTrue((self.home / SUPPORT / "journal.jsonl").exists(), "the journal is gone")

    def test_places_that_became_links(self) -> None:
        for place in (CATEGORY, CATEGORY + "/01 Fade", LEGACY, LEGACY + "/11 Box Turn"):
            with self.subTest(place=place):
                self.cut("upgrade")
                self.replace(self.movies / place, lambda link: link.symlink_to(self.outside / "Movies" / place))
                self.check_next_run_keeps_to_the_home(self.install)

    def test_applications_that_became_a_link(self) -> None:
        self.cut("upgrade")
        self.replace(self.home / "Applications", lambda link: link.symlink_to(self.outside / "Applications"))
        self.check_next_run_keeps_to_the_home(self.install)

    def test_journal_that_names_the_outside(self) -> None:
        self.prepare("upgrade")
        journal = self.home / SUPPORT / "journal.jsonl"
        head = {"backup": "B", "staging": "Staging-A", "legacyHidden": False, "unregisters": False}
        for place, saved in (("../outside/Library/Preferences/user.plist", "x"), ("x", "../../../../../outside"),
                             (str(self.outside / "x"), "x")):
            journal.write_text(json.dumps(head) + "\n" +
                               json.dumps({"place": place, "saved": saved, "existed": False}) + "\n")
            before = Tree.read(self.home)
            self.check_refused(self.check_next_run_keeps_to_the_home(self.install), before)


def make_folder(place: Path) -> None:
    (place / "inside").mkdir(parents=True)
    (place / "inside/file").write_text("kept by the user")


def make_socket(place: Path) -> None:
    with socket.socket(socket.AF_UNIX) as made:
        there = os.getcwd()
        os.chdir(place.parent)  # a socket's address is short
        made.bind(place.name)
        os.chdir(there)


SPECIALS: dict[str, Callable[[Path], None]] = {"folder": make_folder, "FIFO": os.mkfifo, "socket": make_socket}


class SpecialItems(HostileHome):
    """Folders, FIFOs and sockets where files are expected: no run waits for them, changes or loses them."""

    PLACES = {name: place for name, place in LINKED.items()
              if name not in ("library",)} | {"ownership list": APPLICATION + "/Contents/Resources/orvo-owned.plist"}

    def try_items(self, scenario: str, act: Callable[[], Ended]) -> None:
        for kind, make in SPECIALS.items():
            for name, place in self.PLACES.items():
                with self.subTest(kind=kind, place=name):
                    self.prepare(scenario)
                    self.replace(self.home / place, make)
                    before = Tree.read(self.home)
                    ended = act()
                    self.assertIn(ended.status, (0, 1), ended)
                    if ended.status == 1 and ("Sauvegarde : " not in ended.message or name == "journal"):
                        self.check_refused(ended, before)
                    elif ended.status == 1:
                        self.assertTrue(ended.message.endswith("État précédent restauré.\n"), ended)
                    kinds = [entry.kind for entry in Tree.read(self.home).values()]
                    after = Tree.read(self.home)
                    if kind == "folder":
                        self.assertIn(b"kept by the user", after.contents(), ended)
                    else:
                        self.assertIn("special", kinds, ended)

    def test_install(self) -> None:
        self.try_items("upgrade", self.install)

    def test_uninstall(self) -> None:
        self.try_items("uninstall", self.uninstall)

    def test_foreign_special_items_in_the_category_stay(self) -> None:
        self.prepare("uninstall")
        os.mkfifo(self.movies / CATEGORY / "01 Fade/pipe")
        make_socket(self.movies / CATEGORY / "01 Fade/socket")
        self.assertEqual(self.uninstall().status, 0)
        self.assertEqual(sorted(os.listdir(self.movies / CATEGORY / "01 Fade")), ["notes.txt", "pipe", "socket"])

    def test_special_items_in_the_payload(self) -> None:
        payload = self.program.parent / "Resources/Payload"
        for kind, make in SPECIALS.items():
            for place in ("catalog.json", "MotionTemplates/01 Fade/01 Fade.motr", "Orvo Transitions.app/pipe"):
                if kind == "folder" and place.endswith("pipe"):
                    continue
                with self.subTest(kind=kind, place=place):
                    self.program = fixtures.build_product(self.folder / "product", PROGRAM)
                    self.prepare("fresh")
                    self.replace(payload / place, make)
                    ended = self.install()
                    self.assertEqual(ended.status, 1, ended)
                    self.assertTrue(ended.message.startswith("Impossible d"), ended)
                    self.assertFalse((self.movies / CATEGORY).exists())


class SimultaneousRuns(HostileHome):
    """Several runs at once in one home: one after the other does its work, or says that another does."""

    OTHERS = ("Une autre installation est en cours, réessayez quand elle sera terminée.\n",
              "Une autre installation vient de se terminer, réessayez.\n")

    def start(self, direction: str) -> subprocess.Popen[bytes]:
        return subprocess.Popen([str(self.program), "--root", str(self.home), "--no-register", direction], cwd="/",
                                stdin=subprocess.DEVNULL, stdout=subprocess.PIPE, stderr=subprocess.PIPE)

    def check_end(self, process: subprocess.Popen[bytes]) -> bool:
        with process:
            _, message = (text.decode() for text in process.communicate(timeout=SECONDS))
        if process.returncode != 0:
            self.assertIn(message, self.OTHERS)
        return process.returncode == 0

    def test_installs_at_once(self) -> None:
        for _ in range(10):
            self.prepare("upgrade")
            results = [self.check_end(process) for process in [self.start("--install") for _ in range(5)]]
            self.assertTrue(any(results))
            self.assertEqual(self.install().status, 0)
            left = [name for name in os.listdir(self.home / SUPPORT) if name != "Backups"]
            self.assertEqual(left, [])

    def test_a_run_beside_one_that_is_held_up_changes_nothing(self) -> None:
        self.prepare("upgrade")
        tool = self.program.parent / "SystemTools/usr/bin/codesign"
        gate = self.folder / "gate"
        os.mkfifo(gate)
        tool.write_text(f'#!/bin/sh\ncase "$4" in */Applications/*) read line < "{gate}";; esac\n')
        first = self.start("--install")
        with open(gate, "w") as held:  # opens when the first run waits in its last check
            before = Tree.read(self.home)
            second = run(self.program, "--root", str(self.home), "--no-register", "--install")
            self.assertEqual((second.status, second.message), (1, self.OTHERS[0]))
            self.assertEqual(list(before.difference(Tree.read(self.home))), [])
            held.write("\n")
        self.assertTrue(self.check_end(first))


class Quantities(HostileHome):
    """Names and amounts that nobody expects."""

    def give_payload(self, names: list[str], with_files: bool = True) -> Path:
        payload = self.program.parent / "Resources/Payload"
        (payload / "catalog.json").write_text(json.dumps([{"name": name} for name in names]))
        if with_files:
            for name in names:
                for path, data in fixtures.transition(name, "2.3").items():
                    target = payload / "MotionTemplates" / path
                    target.parent.mkdir(parents=True, exist_ok=True)
                    target.write_bytes(data)
        return payload

    def test_names_with_newlines(self) -> None:
        self.prepare("fresh")
        names = ["Two\nlines", "\n", " blank ", 'quote " and \\ and é', "-rf", "*"]
        self.give_payload(names)
        ended = self.install()
        self.assertEqual(ended.status, 0, ended)
        self.assertTrue(ended.output.startswith(f"{len(names)} transitions installées."), ended)
        self.assertEqual(sorted(os.listdir(self.movies / CATEGORY)), sorted([*names, ".orvo-transitions.json"]))
        (self.movies / CATEGORY / "Two\nlines/small.png").write_text("changed")
        ended = self.uninstall()
        self.assertEqual(ended.message, "Fichier modifié ou non reconnu, conservé : "
                         f"{self.movies / CATEGORY}/Two\nlines/small.png\n")
        shutil.copy2(self.program.parent / "Resources/Payload/MotionTemplates/Two\nlines/small.png",
                     self.movies / CATEGORY / "Two\nlines/small.png")
        self.assertEqual(self.uninstall().status, 0)
        self.assertEqual(os.listdir(self.movies / CATEGORY), [])

    def test_names_that_are_no_folder_names(self) -> None:
        for name in ("", ".", "..", "a/b", "/", "a\0b"):
            with self.subTest(name=name):
                self.prepare("fresh")
                self.give_payload([name], with_files=False)
                before = Tree.read(self.home)
                ended = self.install()
                self.assertEqual(ended.status, 1, ended)
                self.assertTrue(ended.message.startswith("Le catalogue contient un nom de transition invalide"), ended)
                self.assertEqual(list(before.difference(Tree.read(self.home))), [])

    def test_manifest_of_100000_foreign_entries_is_refused(self) -> None:
        self.prepare("fresh")
        self.write_manifest({f"{index:06}/small.png": b"" for index in range(100_000)})
        ended = self.uninstall()
        self.assertEqual((ended.status, ended.message), (1, "Chemins du manifeste invalides.\n"))
        self.assertLess(ended.seconds, 10)

    def test_manifest_of_100000_own_entries(self) -> None:
        self.prepare("fresh")
        names = [f"{index:06}" for index in range(33_334)]
        self.give_payload(names, with_files=False)
        self.write_manifest({f"{name}/{file}": b"" for name in names for file in (f"{name}.motr", "small.png",
                                                                                "large.png")})
        ended = self.uninstall()
        self.assertEqual(ended.status, 0, ended)
        self.assertLess(ended.seconds, 20)
        self.assertFalse((self.movies / CATEGORY / ".orvo-transitions.json").exists())
        print(f"a manifest of 100,002 entries: {ended.seconds:.1f} s, {ended.kilobytes / 1024:.0f} MB", file=sys.stderr)

    def write_manifest(self, files: dict[str, bytes]) -> None:
        (self.movies / CATEGORY).mkdir(parents=True)
        (self.movies / CATEGORY / ".orvo-transitions.json").write_bytes(fixtures.manifest(files))

    def test_template_of_200_megabytes(self) -> None:
        self.prepare("fresh")
        template = self.program.parent / "Resources/Payload/MotionTemplates/01 Fade/01 Fade.motr"
        with open(template, "ab") as file:
            file.truncate(200 << 20)
        ended = self.install()
        self.assertEqual(ended.status, 0, ended)
        self.assertLess(ended.kilobytes, 64 << 10)
        self.assertEqual((self.movies / CATEGORY / "01 Fade/01 Fade.motr").stat().st_size, 200 << 20)
        print(f"a template of 200 MB: {ended.kilobytes / 1024:.0f} MB of memory", file=sys.stderr)

    def test_100000_foreign_files_in_the_category(self) -> None:
        self.prepare("uninstall")
        for part in range(100):
            folder = self.movies / CATEGORY / f"foreign {part}"
            folder.mkdir()
            for index in range(1000):
                (folder / str(index)).touch()
        ended = self.uninstall()
        self.assertEqual(ended.status, 0, ended)
        self.assertLess(ended.seconds, 10)
        self.assertEqual(sum(len(files) for _, _, files in os.walk(self.movies / CATEGORY)), 100_001)
        print(f"100,000 foreign files: {ended.seconds:.1f} s, {ended.kilobytes / 1024:.0f} MB", file=sys.stderr)


if __name__ == "__main__":
    PROGRAM = Path(sys.argv.pop(1)).resolve()
    unittest.main()
