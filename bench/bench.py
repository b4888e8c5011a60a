"""Measures the installer beside what one would use instead, and writes the report."""

import argparse
import json
import os
import shutil
import subprocess
import sys
import tempfile
from pathlib import Path

import contestants
import disk
import packs
import report

ALL_PACKS = ["sample", *(kind.name for kind in packs.LARGE + packs.SMALL)]


def main():
    arguments = parsed_arguments()
    with disk.folder(arguments.work, arguments.file_system) as work:
        samples = [sample for name in arguments.packs for sample in pack_samples(name, arguments, work)]
        machine, file_system = report.machine(), report.file_system(work)
    report.write(samples, machine, file_system, arguments.rounds, arguments.report, arguments.packs == ALL_PACKS)
    return 0 if memory_is_bounded(samples) else 1


def parsed_arguments():
    parser = argparse.ArgumentParser(description=__doc__)
    parser.add_argument("--build", type=Path, required=True, help="the folder of a Release build")
    parser.add_argument("--packs", nargs="+", default=ALL_PACKS,
                        help="sample, thousand, huge, or small-N for any number N of small transitions")
    parser.add_argument("--rounds", type=int, default=3)
    parser.add_argument("--work", type=Path, help="a folder on the disk to measure, with 35 GB free; kept clean")
    parser.add_argument("--file-system", choices=disk.FILE_SYSTEMS,
                        help="measure in a fresh file system of this kind, in an image file in that folder (as root)")
    parser.add_argument("--report", type=Path, default=Path(__file__).parents[1] / "docs/performance.md")
    arguments = parser.parse_args()
    arguments.work = arguments.work or arguments.build
    return arguments


def pack_samples(name, arguments, work):
    """The measurements of one pack, every round in turn through all contestants."""
    folder = work / name
    product = (arguments.build / "product").resolve()
    pack = packs.sample(product, folder) if name == "sample" else packs.generate(packs.kind(name), product, folder)
    for number in range(arguments.rounds):
        # Each goes first once: who comes after another finds other caches, and other disk blocks.
        turn = number % len(contestants.ALL)
        for contestant in contestants.ALL[turn:] + contestants.ALL[:turn]:
            print(f"{pack.title}, round {number + 1}: {contestant.name}", file=sys.stderr)
            for operation, cost in costs(contestant(pack, work / "target"), pack, arguments.build / "bench/measure"):
                yield {"pack": pack.title, "kind": name, "transitions": len(pack.transitions),
                       "size": sum(pack.templates.values()), "operation": operation,
                       "contestant": contestant.name, **cost}
            shutil.rmtree(work / "target")
    shutil.rmtree(folder)


def costs(contestant, pack, measure):
    """What each operation costs the contestant, beginning with a fresh target and all of the pack in the page cache."""
    contestant.prepare()
    warm(pack.tree.parent)
    for operation in contestants.OPERATIONS:
        command = contestant.command(operation)
        if command is None:
            continue
        os.sync()
        touch_memory(sum(pack.templates.values()))
        yield operation, measured(command, measure)
        expected = {} if operation == "uninstall" else pack.templates
        if packs.sizes(contestant.transitions, pack.transitions) != expected:
            raise RuntimeError(f"{contestant.name} did something else than a complete {operation}")


def warm(folder):
    subprocess.run(["find", folder, "-type", "f", "-exec", "cat", "{}", "+"], check=True, stdout=subprocess.DEVNULL)


def touch_memory(size):
    """A virtual machine may have to fetch the memory that it gave back from its host, which takes longer than to copy
    a file into it: each measurement begins with enough of it at hand, four times the pack's size if that is not much."""
    amount = min(4 * size + 500 * packs.MEGABYTE, 6000 * packs.MEGABYTE)
    touch = ("import mmap, sys; memory = mmap.mmap(-1, int(sys.argv[1]))\n"
             "for page in range(0, len(memory), mmap.PAGESIZE): memory[page] = 1")
    subprocess.run([sys.executable, "-c", touch, str(amount)], check=True)


def measured(command, measure):
    with tempfile.NamedTemporaryFile() as result:
        outcome = subprocess.run([measure, result.name, *command], check=False, text=True, stdin=subprocess.DEVNULL,
                                 stdout=subprocess.PIPE, stderr=subprocess.STDOUT)
        if outcome.returncode != 0:
            raise RuntimeError(f"{command[0]} failed: {outcome.stdout}")
        return json.load(result)


def memory_is_bounded(samples):
    peak = max(sample["memory"] for sample in samples if sample["contestant"] == contestants.Installer.name)
    print(f"the installer's peak memory: {peak / 1e6:.1f} MB", file=sys.stderr)
    return peak < report.MEMORY_BOUND


if __name__ == "__main__":
    sys.exit(main())
