"""The pack, the product around it and the homes that the harness runs it in: small, to keep runs short."""

from __future__ import annotations

import functools
import hashlib
import json
import os
import plistlib
import shutil
import subprocess
import tempfile
from dataclasses import dataclass
from pathlib import Path
from typing import Optional

from trees import Entry, Tree

TRANSITIONS = "Motion Templates.localized/Transitions.localized"
CATEGORY = TRANSITIONS + "/Orvo Transitions"
LEGACY = TRANSITIONS + "/Orvo Transitions — Lumo Pack 01"
LEGACY_NAME = "Orvo Transitions — Lumo Pack 01"
APPLICATION = "Applications/Orvo Transitions.app"
SUPPORT = "Library/Application Support/OrvoTransitions"
OLD_BACKUP = SUPPORT + "/Backups/00000000-AAAA-4AAA-8AAA-AAAAAAAAAAAA"
OWNER = "orvo.lumopack01"

LSREGISTER = ("System/Library/Frameworks/CoreServices.framework/Frameworks/LaunchServices.framework/"
              "Support/lsregister")
PASSING_TOOL = b"#!/bin/sh\nexit 0\n"

CURRENT = ["01 Fade", "10 Box Turn"]
CATALOG = [{"name": "01 Fade"}, {"name": "02 Old Wipe", "retired": True}, {"name": "10 Box Turn"}]

_DATE = 1_600_000_000_000_000_000


def _template(text: str, flags: str = "") -> bytes:
    mark = f"<template><flags>{flags}</flags></template>" if flags else ""
    return (f'<?xml version="1.0" encoding="UTF-8"?>\n<!DOCTYPE ozxmlscene>\n<ozml version="5.1">{mark}'
            f"<build>1</build><scene>{text}</scene></ozml>\n").encode()


def transition(name: str, edition: str, flags: str = "") -> dict[str, bytes]:
    return {
        f"{name}/{name}.motr": _template(f"{name} {edition}", flags),
        f"{name}/small.png": f"small thumbnail of {name}, {edition}".encode(),
        f"{name}/large.png": f"large thumbnail of {name}, {edition}".encode() * 200,
    }


def pack() -> dict[str, bytes]:
    return {path: data for name in CURRENT for path, data in transition(name, "2.3").items()}


def manifest(files: dict[str, bytes]) -> bytes:
    digests = {path: hashlib.sha256(data).hexdigest() for path, data in files.items()}
    return json.dumps({"owner": OWNER, "files": digests}).encode()


class TreeBuilder:
    def __init__(self) -> None:
        self.tree = Tree()

    def folder(self, path: str, mode: int = 0o755) -> None:
        if not path:
            return
        self.folder(os.path.dirname(path))
        self.tree.setdefault(path, Entry("folder", mode))

    def file(self, path: str, data: bytes, mode: int = 0o644) -> None:
        self.folder(os.path.dirname(path))
        self.tree[path] = Entry("file", mode, data, _DATE + len(self.tree))

    def link(self, path: str, target: str) -> None:
        self.folder(os.path.dirname(path))
        self.tree[path] = Entry("link", 0, target.encode())

    def files(self, folder: str, files: dict[str, bytes]) -> None:
        for path, data in files.items():
            self.file(f"{folder}/{path}", data)

    def application(self, path: str, edition: str) -> None:
        contents = path + "/Contents"
        self.file(contents + "/Info.plist", plistlib.dumps({"CFBundleIdentifier": "orvo.app", "Edition": edition}))
        self.file(contents + "/MacOS/orvo", f"#!/bin/sh\n# {edition}\n".encode(), 0o755)
        self.file(contents + "/Resources/orvo-owned.plist", plistlib.dumps({"owner": OWNER, "edition": edition}))
        self.file(contents + "/PlugIns/OrvoTransitions.pluginkit/Contents/Info.plist",
                  plistlib.dumps({"Edition": edition}))
        self.link(contents + "/Current", "MacOS/orvo")


@dataclass(frozen=True)
class Refusal:
    """What a tool refuses: an argument that holds a text."""

    argument: int
    holds: str
    says: str


# The two last tools that a run starts: each makes the run fail when everything else is done.
FAILING_CODESIGN = Refusal(4, "/Applications/", "codesign : signature refusée")
FAILING_PLUGINKIT = Refusal(1, "-r", "pluginkit : extension refusée")
# The first: the run fails when it has only undone what another left.
REFUSING_CODESIGN = Refusal(0, "codesign", "codesign : signature refusée")


@functools.lru_cache(maxsize=None)
def compiled_tool(refusal: Optional[Refusal] = None) -> bytes:
    defined = refusal and {"REFUSED_ARGUMENT": refusal.argument, "REFUSED": json.dumps(refusal.holds),
                           "REFUSAL": json.dumps(refusal.says + "\n", ensure_ascii=False)}
    with tempfile.NamedTemporaryFile(prefix="orvo-tool-") as tool:
        subprocess.run(["cc", "-O1", "-Wall", "-Wextra", "-static", "-o", tool.name,
                        *(f"-D{name}={value}" for name, value in (defined or {}).items()),
                        Path(__file__).with_name("system_tool.c")], check=True)
        return Path(tool.name).read_bytes()


def build_product(folder: Path, program: Path, codesign: bytes = PASSING_TOOL, pluginkit: bytes = PASSING_TOOL,
                  lsregister: bytes = PASSING_TOOL) -> Path:
    """Puts the program into a folder of its own with a small pack and stand-ins for the system's tools."""
    pack_builder = TreeBuilder()
    payload = "Resources/Payload"
    pack_builder.file(payload + "/catalog.json", json.dumps(CATALOG).encode())
    pack_builder.files(payload + "/MotionTemplates", pack())
    pack_builder.application(payload + "/Orvo Transitions.app", "2.3")
    for tool, content in (("usr/bin/codesign", codesign), ("usr/bin/pluginkit", pluginkit), (LSREGISTER, lsregister)):
        pack_builder.file("SystemTools/" + tool, content, 0o755)
    pack_builder.tree.write(folder)
    copy = folder / program.name
    shutil.copy2(program, copy)
    return copy


@dataclass(frozen=True)
class Scenario:
    """A prepared home and a request. The trees are those of the home and of Movies."""

    name: str
    title: str
    arguments: tuple[str, ...]
    home: Tree
    movies: Tree
    elsewhere: bool = False  # Movies is a link to another file system
    tool_fails_late: str = "codesign"  # the last tool that the run starts, if it starts one


def _home(with_support: bool = True) -> TreeBuilder:
    home = TreeBuilder()
    home.file("Library/Preferences/user.plist", b"preferences of the user")
    home.folder("Private", 0o700)
    if with_support:
        home.folder("Library/Application Support", 0o700)
        home.file(OLD_BACKUP + "/manifest.json", b"saved by an earlier run")
        home.file("Applications/Other.app/Contents/Info.plist", b"another application")
    return home


def _movies() -> TreeBuilder:
    movies = TreeBuilder()
    movies.file("holiday.mov", b"a film of the user")
    return movies


def _movies_with_pack(edition: str) -> TreeBuilder:
    movies = _movies()
    current = {path: data for name in CURRENT for path, data in transition(name, edition).items()}
    retired = transition("02 Old Wipe", edition)
    movies.folder(CATEGORY + "/02 Old Wipe", 0o750)  # goes with its files and comes back with them
    movies.files(CATEGORY, current | retired)
    movies.file(CATEGORY + "/.orvo-transitions.json", manifest(current | retired))
    movies.file(CATEGORY + "/01 Fade/notes.txt", b"notes that the user keeps beside a template")
    return movies


def _fresh() -> tuple[Tree, Tree]:
    return _home(with_support=False).tree, _movies().tree


def _upgrade() -> tuple[Tree, Tree]:
    home, movies = _home(), _movies_with_pack("2.1")
    home.application(APPLICATION, "2.1")
    movies.file(CATEGORY + "/Mine/Mine.motr", b"a template that the user made")
    older = transition("11 Box Turn", "1.0") | transition("12 Pane Burst", "1.0", flags="2")
    movies.files(LEGACY, older)
    movies.file(LEGACY + "/.orvo-lumopack01.json", manifest(older))
    movies.file(TRANSITIONS + "/.hidden", f"Other\n{LEGACY_NAME}\nThird\n".encode(), 0o600)
    return home.tree, movies.tree


def _reinstall() -> tuple[Tree, Tree]:
    home, movies = _home(), _movies_with_pack("2.3")
    home.application(APPLICATION, "2.3")
    return home.tree, movies.tree


def _uninstall() -> tuple[Tree, Tree]:
    home, movies = _home(), _movies_with_pack("2.3")
    home.application(APPLICATION, "2.3")
    older = transition("11 Box Turn", "1.0")
    movies.files(LEGACY, older)
    movies.file(LEGACY + "/.orvo-lumopack01.json", manifest(older))
    movies.file(TRANSITIONS + "/.hidden", f"{LEGACY_NAME}\n".encode())
    return home.tree, movies.tree


def _uninstall_beside_foreign() -> tuple[Tree, Tree]:
    home, movies = _home(), _movies_with_pack("2.3")
    home.application(APPLICATION, "2.3")
    movies.file(CATEGORY + "/Mine/Below/Mine.motr", b"a template that the user made, which needs the application")
    return home.tree, movies.tree


def scenarios() -> list[Scenario]:
    install, uninstall = ("--install",), ("--uninstall",)
    return [
        Scenario("fresh", "Fresh install", install, *_fresh()),
        Scenario("upgrade", "Upgrade, hidden older category to mark", install, *_upgrade()),
        Scenario("subset", "Re-install of a subset", ("--install", "--only", "10 Box Turn"), *_reinstall()),
        Scenario("uninstall", "Full uninstall, older category too", uninstall, *_uninstall(),
                 tool_fails_late="pluginkit"),
        Scenario("uninstall-foreign", "Full uninstall beside a foreign template", uninstall,
                 *_uninstall_beside_foreign(), tool_fails_late=""),
        Scenario("upgrade-elsewhere", "Upgrade, Movies on another file system", install, *_upgrade(),
                 elsewhere=True),
        Scenario("uninstall-elsewhere", "Full uninstall, Movies on another file system", uninstall, *_uninstall(),
                 elsewhere=True, tool_fails_late="pluginkit"),
    ]
