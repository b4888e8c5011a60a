"""What must hold after a run. Every check yields a line for each thing that does not."""

from __future__ import annotations

import re
from typing import Iterator

from fixtures import SUPPORT
from tracing import Run
from trees import Tree
from world import State

RESTORED = "État précédent restauré."
_SAVED_IN = re.compile(r"^Sauvegarde : (/.*)$", re.MULTILINE)
_FRENCH = ("Impossible de ", "Impossible d’", "Une autre installation ", "Une installation précédente ", "codesign : ",
           "pluginkit : ", "Fichier modifié ou non reconnu", "Vérification du template échouée",
           "Application non reconnue, conservée : ")
_LEFTOVER = re.compile(r"\.orvo-partial$")


def is_done(state: State, clean: State) -> Iterator[str]:
    """The home is what a run without a fault makes of it."""
    for line in state.own_compared().undated().difference(clean.own_compared().undated()):
        yield "not done as asked: " + line


def is_unchanged(state: State, before: State) -> Iterator[str]:
    for line in before.own_compared().difference(state.own_compared()):
        yield "not as before: " + line


def loses_nothing(state: State, before: State) -> Iterator[str]:
    """Every content that a file of the home had stands somewhere in it."""
    for content in before.tree.contents() - state.tree.contents():
        yield f"lost: a file that began with {content[:60]!r}"


def keeps_older_backups(state: State, before: State) -> Iterator[str]:
    after = state.support()
    for path, entry in before.support().items():
        if after.get(path) != entry:
            yield f"changed in an older backup: {path}"


def leaves_no_leftover(state: State, may_keep_staging: bool = False) -> Iterator[str]:
    for path in state.tree:
        in_staging = path.startswith(SUPPORT + "/Staging-")
        if _LEFTOVER.search(path) or path == SUPPORT + "/journal.jsonl" or (in_staging and not may_keep_staging):
            yield f"left behind: {path}"


def backup_is_as_in(state: State, clean: State, before: State) -> Iterator[str]:
    """The one new backup holds what that of a clean run holds."""
    new, expected = (_new_backups(one, before) for one in (state, clean))
    for line in new.unnamed().undated().difference(expected.unnamed().undated()):
        yield "backup not as after a clean run: " + line


def _new_backups(state: State, before: State) -> Tree:
    return state.support().where(lambda path: path not in before.support() and not path.startswith("Staging-"))


def says_success(run: Run) -> Iterator[str]:
    if run.status != 0 or run.message or "Sauvegarde : " not in run.output:
        yield f"no success: status {run.status}, {run.output!r}, {run.message!r}"


def says_restored(run: Run, state: State, before: State) -> Iterator[str]:
    """The message of a failed run that put everything back, or of one that failed before any change."""
    yield from _says_in_french(run)
    if "Sauvegarde" in run.message:
        if not run.message.endswith(f"\n{RESTORED}\n") or not _SAVED_IN.search(run.message):
            yield f"does not say that the state before is restored: {run.message!r}"
    elif state.tree != before.tree:
        yield from (f"changed without a word: {line}" for line in before.tree.difference(state.tree))


def changes_nothing(run: Run, state: State, before: State) -> Iterator[str]:
    yield from _says_in_french(run)
    yield from (f"changed by a run that stopped: {line}" for line in before.tree.difference(state.tree))


def _says_in_french(run: Run) -> Iterator[str]:
    if run.status != 1:
        yield f"ended with status {run.status}: {run.message!r}"
    if not run.message.startswith(_FRENCH) or run.output:
        yield f"unexpected message: {run.output!r}, {run.message!r}"


def names_what_is_missing(run: Run, state: State, before: State, home: str) -> Iterator[str]:
    """Whatever a failed recovery left changed is named, and what stood there is in the backup folder."""
    yield from _says_in_french(run)
    saved = _SAVED_IN.search(run.message)
    if not saved:
        yield f"does not name the backup folder: {run.message!r}"
        return
    backup = saved[1][len(home) + 1:]
    kept = state.tree.below(backup).contents()
    now, then = state.own_compared(), before.own_compared()
    wrong = [path for path in now.keys() | then.keys() if now.get(path) != then.get(path)]
    if wrong and RESTORED in run.message:
        yield from (f"said to be restored, but changed: {line}" for line in then.difference(now))
        return
    for path in wrong:
        if not _is_named(path, run.message, home):
            yield f"not restored and not named: {path} in {run.message!r}"
        entry = then.get(path)
        if entry and entry.kind == "file" and path not in now and entry.content not in kept:
            yield f"not restored and not in the backup: {path}"


def _is_named(path: str, message: str, home: str) -> bool:
    """A place is named by itself, by an item in it or by a folder that holds it."""
    parts = path.split("/")
    holders = ("/".join(parts[:length]) for length in range(1, len(parts) + 1))
    return f"« {home}/{path}/" in message or any(f"« {home}/{holder} »" in message for holder in holders)
