"""The report: a section of the page, with the figures as Markdown and the cost of small packs as a picture."""

import math
import os
import platform
import re
import shlex
import statistics
import subprocess
import sys
from collections import defaultdict
from html import escape

from contestants import ALL, Dpkg, Baseline, Installer, OPERATIONS, Rsync, SynchronizedBaseline

OTHERS = (Baseline, SynchronizedBaseline, Rsync, Dpkg)
COLOURS = dict(zip((contestant.name for contestant in ALL), ("#d6336c", "#1c7ed6", "#74b0e8", "#37a169", "#8d6e50")))

GROWTH = [
    "",
    "Fresh install of small transitions (6 kB in three files each), both axes logarithmic: a straight line that rises as",
    "steeply as the grey ones is a linear cost.",
    "",
    "![Wall time of a fresh install against the number of transitions](pictures/cost.svg)",
]

MEMORY_BOUND = 96_000_000  # the most that the installer may take, with up to 10,000 transitions of any size


def machine():
    names = (line.split(":")[1].strip() for line in open("/proc/cpuinfo") if line.startswith("model name"))
    model = next(names, platform.machine())  # not every processor says its name there
    memory = os.sysconf("SC_PAGE_SIZE") * os.sysconf("SC_PHYS_PAGES") / 2**30
    openssl = subprocess.run(["openssl", "version"], capture_output=True, text=True).stdout.split(" (")[0].strip()
    kernel = platform.release().split("-")[0]
    return f"{os.cpu_count()} processors ({model}), {memory:.0f} GiB of memory, Linux {kernel}, {openssl}"


def file_system(folder):
    return subprocess.run(["findmnt", "-no", "FSTYPE", "--target", folder], capture_output=True, text=True).stdout.strip()


def write(samples, machine_text, file_system_name, rounds, page, of_all):
    """Puts the section of this run into the page, instead of an earlier one under the same heading, or instead of all
    earlier ones when it is of all packs. The headings of runs, and no others, have a colon."""
    costs = medians(samples)
    heading = f"## {file_system_name}: {', '.join(subjects(costs))}"
    command = shlex.join(["script/bench", *own_arguments()])
    how_often = "one round" if rounds == 1 else f"the medians of {rounds} rounds"
    section = [heading, "", f"`{command}`: {how_often}. {machine_text}, {file_system_name}.", "", *table(costs)]
    if any(cost["kind"].startswith("small") for cost in costs.values()):
        picture = page.parent / "pictures/cost.svg"
        picture.parent.mkdir(parents=True, exist_ok=True)
        picture.write_text(plot(costs))
        section += GROWTH
    sections = re.split(r"\n(?=## )", page.read_text().rstrip("\n")) if page.exists() else []
    headings = (other.splitlines()[0] for other in sections)
    kept = [other.rstrip("\n") for title, other in zip(headings, sections)
            if title != heading and not (of_all and ": " in title)]
    page.write_text("\n\n".join([*kept, "\n".join(section)]) + "\n")


def own_arguments():
    """The arguments as one gives them to script/bench, which adds the build folder."""
    arguments = sys.argv[1:]
    at = arguments.index("--build")
    return arguments[:at] + arguments[at + 2:]


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


def table(costs):
    """A line for each operation, with the wall time of each contestant and the installer's as a multiple of it."""
    yield "| pack | operation | installer | " + " | ".join(other.name for other in OTHERS) + " | memory | to disk |"
    yield "|---|---|" + "---:|" * (len(OTHERS) + 3)
    for pack in dict.fromkeys(pack for pack, _, _ in costs):
        for operation in OPERATIONS:
            own = costs[pack, operation, Installer.name]
            others = [beside(own, costs.get((pack, operation, other.name))) for other in OTHERS]
            cells = [pack, operation, duration(own["wall"]), *others, amount(own["memory"]), amount(own["disk"])]
            yield f"| {' | '.join(cells)} |"


def beside(own, other):
    if other is None:
        return "–"
    return f"{duration(other['wall'])}: {ratio(own['wall'] / other['wall'], aim(other))}"


def aim(cost):
    """The most that the installer's time should be of this one's; nothing where there is no aim."""
    if cost["contestant"] == Dpkg.name:
        return 0.5
    if cost["contestant"] == Baseline.name:
        return 1.5 if cost["kind"] == "sample" else None if cost["kind"].startswith("small") else 1.1
    return None


def ratio(value, most):
    return f"**{value:.2f}**" if most and value > most + 0.005 else f"{value:.2f}"


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
    samples = [sample for line in lines.values() for sample in line] or [(10, 0.01), (100, 0.1)]
    across, up = axis(sample[0] for sample in samples), axis(sample[1] for sample in samples)

    def point(count, seconds):
        return (LEFT + (math.log10(count) - across[0]) / (across[-1] - across[0]) * (WIDTH - LEFT - RIGHT),
                HEIGHT - BOTTOM - (math.log10(seconds) - up[0]) / (up[-1] - up[0]) * (HEIGHT - TOP - BOTTOM))

    parts = [f'<svg xmlns="http://www.w3.org/2000/svg" viewBox="0 0 {WIDTH} {HEIGHT}" '
             'font-family="sans-serif" font-size="13">', f'<rect width="{WIDTH}" height="{HEIGHT}" fill="white"/>']
    for power in across:
        x = point(10**power, 10**up[0])[0]
        parts.append(segment((x, TOP), (x, HEIGHT - BOTTOM), "#ddd"))
        parts.append(label((x, HEIGHT - BOTTOM + 18), f"{10**power:,}", "middle"))
    for power in up:
        y = point(10**across[0], 10**power)[1]
        parts.append(segment((LEFT, y), (WIDTH - RIGHT, y), "#ddd"))
        parts.append(label((LEFT - 8, y + 4), f"{10**power:g} s", "end"))
    for power in range(up[0] - len(across), up[-1] + 1):  # what is exactly linear
        ends = [(count, 10**power * count / 10**across[0]) for count in (10**across[0], 10**across[-1])]
        parts.append(segment(*(point(*end) for end in ends), "#eee", ' clip-path="url(#area)"'))
    parts.append(f'<clipPath id="area"><rect x="{LEFT}" y="{TOP}" width="{WIDTH - LEFT - RIGHT}" '
                 f'height="{HEIGHT - TOP - BOTTOM}"/></clipPath>')
    parts.append(label(((LEFT + WIDTH - RIGHT) / 2, HEIGHT - 10), "transitions", "middle"))
    for row, (name, line) in enumerate(lines.items()):
        corners = " ".join("{:.1f},{:.1f}".format(*point(*sample)) for sample in line)
        parts.append(f'<polyline points="{corners}" fill="none" stroke="{COLOURS[name]}" stroke-width="2"/>')
        parts += [f'<circle cx="{x:.1f}" cy="{y:.1f}" r="3.5" fill="{COLOURS[name]}"/>'
                  for x, y in (point(*sample) for sample in line)]
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


def label(at, text, anchor):
    return '<text x="{:.1f}" y="{:.1f}" text-anchor="{}" fill="#333">{}</text>'.format(*at, anchor, escape(text))
