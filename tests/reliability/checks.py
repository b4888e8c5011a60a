"""What must hold after a run. Every check yields a line for each thing that does not."""

from __future__ import annotations

import dataclasses
import json
import os
import re
from typing import Iterator

from fixtures import SUPPORT
from tracing import Run
from trees import Tree
from world import State

RESTORED = "État précédent restauré."
UNCONFIRMED = "Tout est fait, mais le disque ne l’a pas confirmé : "
_SAVED_IN = re.compile(r"^Sauvegarde : (/.*)$", re.MULTILINE)
_FRENCH = ("Impossible de ", "Impossible d’", "Une autre installation ", "Une installation précédente ", "codesign : ",
           "pluginkit : ", "Fichier modifié ou non reconnu", "Vérification du template échouée",
           "Vérification de l’application échouée : ", "Application non reconnue, conservée : ",
           "La mémoire manque.", UNCONFIRMED)
_UNDOING = "l’état d’avant a d’abord été rétabli"
_UNDONE = (rf"Une installation précédente avait été interrompue : {_UNDOING}[^\n]*« /[^\n]* »\.\n"
           r"(?:[^\n]+\n)*\n")
_REFUSED = re.compile(f"(?:{_UNDONE})?codesign : signature refusée\\n+")
_LEFTOVER = re.compile(r"\.orvo-partial$|/\.orvo-(?!transitions\.json$|lumopack01\.json$)")


def is_done(state: State, clean: State) -> Iterator[str]:
    """The home is what a run without a fault makes of it."""
    for line in state.own_compared().undated().difference(clean.own_compared().undated()):
        yield "not done as asked: " + line


def is_unchanged(state: State, before: State) -> Iterator[str]:
    for line in before.own_compared().difference(state.own_compared()):
        yield "not as before: " + line


def loses_nothing(state: State, before: State) -> Iterator[str]:
    """Every content that a file of the home had is still somewhere in it."""
    for content in before.tree.contents() - state.tree.contents():
        yield f"lost: a file that began with {content[:60]!r}"


def keeps_older_backups(state: State, before: State) -> Iterator[str]:
    after = state.support()
    for path, entry in before.support().items():
        if after.get(path) != entry:
            yield f"changed in an older backup: {path}"


def has_empty_staging(state: State) -> bool:
    return sum(path.startswith(SUPPORT + "/Staging-") for path in state.tree) == 1


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
    """Without what only an undo needs, which a run may leave there when it cannot be removed."""
    return state.support().where(lambda path: path not in before.support() and not path.startswith("Staging-")
                                 and "/Emptied-" not in path and not path.endswith("/unregistered"))


def says_success(run: Run) -> Iterator[str]:
    if run.status != 0 or run.message or "Sauvegarde : " not in run.output:
        yield f"no success: status {run.status}, {run.output!r}, {run.message!r}"


def says_unconfirmed(run: Run) -> bool:
    """Everything was done, but the disk did not say so at the very end."""
    return run.status == 1 and not run.output and UNCONFIRMED in run.message


def says_only_that_memory_is_gone(run: Run) -> bool:
    """Without memory no path can be told."""
    return run.status == 1 and not run.output and run.message == "La mémoire manque.\n"


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


def says_refused(run: Run) -> Iterator[str]:
    """The message of a run that was refused at the signature of its application, perhaps after an undoing."""
    if run.status != 1 or run.output or not _REFUSED.fullmatch(run.message):
        yield f"not refused as asked: status {run.status}, {run.text!r}"


def says_nothing_of_an_undoing(run: Run) -> Iterator[str]:
    if _UNDOING in run.text:
        yield f"said to be undone, but it is all done: {run.text!r}"


def tells_what_is(run: Run, state: State, before: State, home: str) -> Iterator[str]:
    """Whatever a failed run left changed is named, and what existed there is in a backup folder or beside it under an
    unfinished name."""
    yield from _says_in_french(run)
    now, then = state.own_compared(), before.own_compared()
    unfinished = now.where(lambda path: bool(_LEFTOVER.search(path)))
    now = now.where(lambda path: path not in unfinished)
    wrong = [path for path in now.keys() | then.keys() if now.get(path) != then.get(path)]
    if RESTORED in run.message and unfinished:
        yield f"said to be restored, but left behind: {sorted(unfinished)}"
    if not wrong:
        return
    saved = _SAVED_IN.search(run.message)
    if not saved:
        yield f"does not name the backup folder: {run.message!r}"
    if RESTORED in run.message:
        yield from (f"said to be restored, but changed: {line}" for line in then.difference(now))
        return
    kept = state.support().contents() | unfinished.contents()
    for path in wrong:
        if not _is_named(path, run.message, home):
            yield f"not restored and not named: {path} in {run.message!r}"
        entry = then.get(path)
        if entry and entry.kind == "file" and path not in now and entry.content not in kept:
            yield f"not restored and not in the backup: {path}"


def _is_named(path: str, message: str, home: str) -> bool:
    """A path is named by itself, by an item below it or by a folder above it."""
    parts = path.split("/")
    above = ("/".join(parts[:length]) for length in range(1, len(parts) + 1))
    return f"« {home}/{path}/" in message or any(f"« {home}/{folder} »" in message for folder in above)


def _but_for_digest(tree: Tree, path: str) -> Tree:
    """Undated, and without what a manifest says of this file: a template of the older category that the user has deleted
    gets no mark, so that its digest stays as it was."""
    result = tree.undated()
    for name in ("/.orvo-transitions.json", "/.orvo-lumopack01.json"):
        manifest = os.path.dirname(os.path.dirname(path)) + name
        if manifest in result:
            document = json.loads(result[manifest].content)
            document["files"].pop(path[len(os.path.dirname(manifest)) + 1:], None)
            result[manifest] = dataclasses.replace(result[manifest], content=json.dumps(document).encode())
    return result


def keeps_what_the_user_did(run: Run, state: State, before: State, clean: State, home: str, path: str, saved: bytes
                            ) -> Iterator[str]:
    """After the user has saved this at the path while the run stood still, or removed what was there when `saved` is
    empty."""
    copies = [where for where, entry in state.tree.items() if entry.content == saved]
    if saved and not copies:
        yield f"lost what the user saved at {path}: {run.text!r}"
    elif saved and path not in copies and not any(f"{home}/{where}" in run.text for where in copies):
        yield f"does not say that what the user saved at {path} is now {copies}: {run.text!r}"
    entry = before.tree.get(path)
    for content in before.tree.contents() - state.tree.contents() - {entry.content if entry else b""}:
        yield f"lost: a file that began with {content[:60]!r}"
    yield from keeps_older_backups(state, before)
    is_other = lambda other: other != path and not path.startswith(other + "/")
    now = state.own_compared().where(is_other)
    if run.status == 0:
        if run.message or "Sauvegarde : " not in run.output:
            yield f"no success: {run.text!r}"
        expected = clean.own_compared().where(is_other)
        for line in _but_for_digest(now, path).difference(_but_for_digest(expected, path)):
            yield f"not done as asked: {line}"
        return
    yield from _says_in_french(run)
    changed = list(before.own_compared().where(is_other).difference(now))
    if RESTORED in run.message or "Sauvegarde : " not in run.message:
        yield from (f"not as before, but that is not said: {line} in {run.message!r}" for line in changed)
        yield from leaves_no_leftover(state)
