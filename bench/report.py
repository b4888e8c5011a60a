"""The report: figures and ratios as Markdown, and the cost against the number of transitions as a picture."""

import math
import os
import platform
import shlex
import statistics
import subprocess
import sys
from collections import defaultdict
from html import escape

from contestants import ALL, Dpkg, Floor, Installer, OPERATIONS, Rsync, SynchronizedFloor

OTHERS = (Floor, SynchronizedFloor, Rsync, Dpkg)
COLOURS = dict(zip((contestant.name for contestant in ALL), ("#d6336c", "#1c7ed6", "#74b0e8", "#37a169", "#8d6e50")))

MEMORY_BOUND = 32_000_000  # the most that the installer may take, whatever the pack

INTRODUCTION = """\
# Performance on {file_system}: {subjects}

What a run of the installer costs, beside what one would use instead of it. Written by `{command}`.
{rounds}.

Machine: {machine}, {file_system}.

## What is measured

Whole processes, from start to exit, with every process that they start and wait for. In each round one contestant
after the other goes through all operations, beginning with a fresh target; another one comes first in each round.
Before its first operation the whole pack is read, so that it is in the page cache. Before each operation the disk is
made quiet (`sync`) and enough memory is written to once: a virtual machine may have to fetch it from its host, which
takes longer than to copy a file into it.

| | |
|---|---|
| the installer | the product as it is shipped, with its real tools, `--no-register`. A run that has ended is on the disk: templates, manifests and folders are synced before it reports success |
| the floor | the least that a verified copy can do: `openssl dgst -sha256` of what is copied, `cp -a`, `openssl dgst -sha256` of the copies; what is replaced is digested first and moved into a backup folder. Nothing waits for the disk |
| the floor, then sync | the same, followed by `sync -f` of the target, which is what the installer promises |
| rsync | `rsync -a --checksum --backup --backup-dir`; identical files are left in place, and copies are not read again |
| dpkg | `dpkg -i` and `dpkg -r` of the same tree as one package, not compressed. It has no subsets and keeps no backup |

| operation | |
|---|---|
| fresh install | the whole pack into an empty home |
| re-install | the whole pack over identical files |
| subset | every fourth transition over identical files |
| uninstall | all of it |

Processor time is user and system time. Memory is the peak of the largest process. "Read" and "written" are the
bytes that went through read, write and copy calls (`rchar` and `wchar` of `/proc/PID/io`), from the page cache or
not; "to disk" is what the processes made the kernel write there (`write_bytes`), by a later flush too.
"""


def machine():
    names = (line.split(":")[1].strip() for line in open("/proc/cpuinfo") if line.startswith("model name"))
    model = next(names, platform.machine())  # not every processor says its name there
    memory = os.sysconf("SC_PAGE_SIZE") * os.sysconf("SC_PHYS_PAGES") / 2**30
    openssl = subprocess.run(["openssl", "version"], capture_output=True, text=True).stdout.split(" (")[0].strip()
    kernel = platform.release().split("-")[0]
    return f"{os.cpu_count()} processors ({model}), {memory:.0f} GiB of memory, Linux {kernel}, {openssl}"


def file_system(folder):
    return subprocess.run(["findmnt", "-no", "FSTYPE", "--target", folder], capture_output=True, text=True).stdout.strip()


def write(samples, machine_text, file_system_name, rounds, file):
    costs = medians(samples)
    text = [INTRODUCTION.format(command=shlex.join(["script/bench", *own_arguments()]), machine=machine_text,
                                rounds="One round" if rounds == 1 else f"{rounds} rounds; the figures are medians",
                                file_system=file_system_name, subjects=", ".join(subjects(costs))), *ratios(costs)]
    if any(cost["kind"].startswith("small") for cost in costs.values()):
        picture = file.parent / "pictures/cost.svg"
        picture.parent.mkdir(parents=True, exist_ok=True)
        picture.write_text(plot(costs))
        text += growth()
    for pack in packs_of(costs):
        text += table(costs, pack)
    file.write_text("\n".join(text) + "\n")


def own_arguments():
    """The arguments as one gives them to script/bench, which adds the build folder."""
    arguments = sys.argv[1:]
    place = arguments.index("--build")
    return arguments[:place] + arguments[place + 2:]


def medians(samples):
    """The median of every figure, by pack, operation and contestant."""
    groups = defaultdict(list)
    for sample in samples:
        groups[sample["pack"], sample["operation"], sample["contestant"]].append(sample)
    return {key: {figure: statistics.median(sample[figure] for sample in group) if isinstance(value, (int, float))
                  else value for figure, value in group[0].items()}
            for key, group in groups.items()}


def subjects(costs):
    """What was measured, in the few words of a title."""
    names = {cost["kind"]: cost["pack"] for cost in costs.values()}
    return dict.fromkeys("the sample" if kind == "sample" else "small packs" if kind.startswith("small") else title
                         for kind, title in names.items())


def packs_of(costs):
    return list(dict.fromkeys(pack for pack, _, _ in costs))


def ratios(costs):
    yield "## The installer's wall time as a multiple of the others'\n"
    yield "The aims: at most 1.5 times the floor on the sample and 1.1 times on the large packs, and half of dpkg. **Bold**"
    yield f"figures miss theirs. The installer's memory has to stay below {MEMORY_BOUND / 1e6:.0f} MB, whatever the pack.\n"
    yield "| pack | operation | " + " | ".join(other.name for other in OTHERS) + " |"
    yield "|---|---|" + "---:|" * len(OTHERS)
    for pack in packs_of(costs):
        for operation in OPERATIONS:
            own = costs[pack, operation, Installer.name]["wall"]
            cells = [ratio(own / costs[pack, operation, other.name]["wall"], aim(costs[pack, operation, other.name]))
                     if (pack, operation, other.name) in costs else "–" for other in OTHERS]
            yield f"| {pack} | {operation} | " + " | ".join(cells) + " |"
    yield ""


def aim(cost):
    """The most that the installer's time should be of this one's; nothing where there is no aim."""
    if cost["contestant"] == Dpkg.name:
        return 0.5
    if cost["contestant"] == Floor.name:
        return 1.5 if cost["kind"] == "sample" else None if cost["kind"].startswith("small") else 1.1
    return None


def ratio(value, most):
    return f"**{value:.2f}**" if most and value > most + 0.005 else f"{value:.2f}"


def growth():
    yield "## Cost against the number of transitions\n"
    yield "Fresh install of small transitions (6 kB in three files each), both axes logarithmic: a straight line that"
    yield "rises as steeply as the grey ones is a linear cost.\n"
    yield "![Wall time of a fresh install against the number of transitions](pictures/cost.svg)\n"


def table(costs, pack):
    size = next(cost["size"] for key, cost in costs.items() if key[0] == pack)
    yield f"## {pack}\n"
    yield f"{amount(size)} of templates and pictures.\n"
    yield "| operation | | wall | processor | memory | read | written | to disk |"
    yield "|---|---|---:|---:|---:|---:|---:|---:|"
    for operation in OPERATIONS:
        for contestant in ALL:
            if (pack, operation, contestant.name) in costs:
                cost = costs[pack, operation, contestant.name]
                cells = [duration(cost["wall"]), duration(cost["processor"]),
                         *(amount(cost[figure]) for figure in ("memory", "read", "written", "disk"))]
                yield f"| {operation} | {contestant.name} | " + " | ".join(cells) + " |"
    yield ""


def duration(seconds):
    return f"{seconds * 1000:.0f} ms" if seconds < 1 else f"{seconds:.2f} s"


def amount(size):
    for unit, step in (("GB", 1e9), ("MB", 1e6), ("kB", 1e3)):
        if size >= step:
            return f"{size / step:.1f} {unit}"
    return f"{size:.0f} B"


WIDTH, HEIGHT, LEFT, RIGHT, TOP, BOTTOM = 720, 440, 70, 180, 20, 50


def plot(costs):
    """Wall time of a fresh install of the small packs, logarithmic on both axes."""
    lines = {name: sorted((cost["transitions"], cost["wall"]) for (_, operation, contestant), cost in costs.items()
                          if contestant == name and operation == OPERATIONS[0] and cost["kind"].startswith("small"))
             for name in COLOURS}
    points = [point for line in lines.values() for point in line] or [(10, 0.01), (100, 0.1)]
    across, up = axis(point[0] for point in points), axis(point[1] for point in points)

    def place(count, seconds):
        return (LEFT + (math.log10(count) - across[0]) / (across[-1] - across[0]) * (WIDTH - LEFT - RIGHT),
                HEIGHT - BOTTOM - (math.log10(seconds) - up[0]) / (up[-1] - up[0]) * (HEIGHT - TOP - BOTTOM))

    parts = [f'<svg xmlns="http://www.w3.org/2000/svg" viewBox="0 0 {WIDTH} {HEIGHT}" '
             'font-family="sans-serif" font-size="13">', f'<rect width="{WIDTH}" height="{HEIGHT}" fill="white"/>']
    for power in across:
        x = place(10**power, 10**up[0])[0]
        parts.append(segment((x, TOP), (x, HEIGHT - BOTTOM), "#ddd"))
        parts.append(label((x, HEIGHT - BOTTOM + 18), f"{10**power:,}", "middle"))
    for power in up:
        y = place(10**across[0], 10**power)[1]
        parts.append(segment((LEFT, y), (WIDTH - RIGHT, y), "#ddd"))
        parts.append(label((LEFT - 8, y + 4), f"{10**power:g} s", "end"))
    for power in range(up[0] - len(across), up[-1] + 1):  # what is exactly linear
        ends = [(count, 10**power * count / 10**across[0]) for count in (10**across[0], 10**across[-1])]
        parts.append(segment(*(place(*end) for end in ends), "#eee", ' clip-path="url(#area)"'))
    parts.append(f'<clipPath id="area"><rect x="{LEFT}" y="{TOP}" width="{WIDTH - LEFT - RIGHT}" '
                 f'height="{HEIGHT - TOP - BOTTOM}"/></clipPath>')
    parts.append(label(((LEFT + WIDTH - RIGHT) / 2, HEIGHT - 10), "transitions", "middle"))
    for row, (name, line) in enumerate(lines.items()):
        corners = " ".join("{:.1f},{:.1f}".format(*place(*point)) for point in line)
        parts.append(f'<polyline points="{corners}" fill="none" stroke="{COLOURS[name]}" stroke-width="2"/>')
        parts += [f'<circle cx="{x:.1f}" cy="{y:.1f}" r="3.5" fill="{COLOURS[name]}"/>'
                  for x, y in (place(*point) for point in line)]
        y = TOP + 20 + 22 * row
        parts.append(f'<circle cx="{WIDTH - RIGHT + 20}" cy="{y}" r="5" fill="{COLOURS[name]}"/>')
        parts.append(label((WIDTH - RIGHT + 32, y + 4), name, "start"))
    return "\n".join([*parts, "</svg>"]) + "\n"


def axis(values):
    """The powers of ten from below the least value to above the greatest, two at least."""
    powers = [math.log10(value) for value in values]
    first = math.floor(min(powers))
    return range(first, max(math.ceil(max(powers)), first + 1) + 1)


def segment(start, end, colour, more=""):
    return '<line x1="{:.1f}" y1="{:.1f}" x2="{:.1f}" y2="{:.1f}" stroke="{}"{}/>'.format(*start, *end, colour, more)


def label(place, text, anchor):
    return '<text x="{:.1f}" y="{:.1f}" text-anchor="{}" fill="#333">{}</text>'.format(*place, anchor, escape(text))
