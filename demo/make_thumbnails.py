#!/usr/bin/env python3
"""Draws the thumbnails of the sample pack's transitions: each half-way between two pictures.

    make_thumbnails.py [--small]           writes Payload/MotionTemplates/NAME/small.png and large.png
    make_thumbnails.py --check [--small]   compares them with what stands there; exits 1 on a difference

With --small only the small ones are drawn, in seconds; of the large ones --check then only decodes the size. Needs nothing but Python's standard library.
"""

import math
import multiprocessing
import random
import struct
import sys
import zlib
from pathlib import Path

HERE = Path(__file__).resolve().parent
SIZES = {"small.png": (150, 84, 3), "large.png": (480, 270, 2)}
"""Width, height, and how many samples a side each pixel is the average of."""

ASPECT = 16 / 9
HALF_WIDTH = ASPECT / 2
"""Pictures reach from -HALF_WIDTH to HALF_WIDTH and, downwards, from -0.5 to 0.5."""


# Colours are triples of red, green and blue from 0 to 1.


def mix(first, second, part):
    rest = 1 - part
    return (first[0] * rest + second[0] * part, first[1] * rest + second[1] * part, first[2] * rest + second[2] * part)


def shade(colour, light):
    return (colour[0] * light, colour[1] * light, colour[2] * light)


def glow(colour, light, strength):
    return (colour[0] + light[0] * strength, colour[1] + light[1] * strength, colour[2] + light[2] * strength)


def average(colours):
    count = len(colours)
    return (sum(c[0] for c in colours) / count, sum(c[1] for c in colours) / count, sum(c[2] for c in colours) / count)


def clamp(value, low=0.0, high=1.0):
    return low if value < low else high if value > high else value


def smooth(low, high, value):
    part = clamp((value - low) / (high - low))
    return part * part * (3 - 2 * part)


def hexadecimal(text):
    return tuple(int(text[index:index + 2], 16) / 255 for index in (0, 2, 4))


class Picture:
    """A landscape: a sky, a sun or moon, and ridges one before the other."""

    STEPS = 1024
    EDGE = 0.0025

    def __init__(self, sky, disc, ridges):
        self.sky = [self._sky_colour(sky, step / self.STEPS) for step in range(self.STEPS + 1)]
        self.disc_x, self.disc_y, self.radius, self.disc_colour, self.halo = disc
        self.ridges = [([self._height(base, waves, step / self.STEPS * ASPECT - HALF_WIDTH) for step in range(self.STEPS + 1)],
                        hexadecimal(top), hexadecimal(bottom)) for base, waves, top, bottom in ridges]

    @staticmethod
    def _sky_colour(stops, place):
        for (low, first), (high, second) in zip(stops, stops[1:]):
            if place <= high:
                return mix(hexadecimal(first), hexadecimal(second), (place - low) / (high - low))
        return hexadecimal(stops[-1][1])

    @staticmethod
    def _height(base, waves, x):
        return base - sum(size * math.sin(frequency * x + phase) for size, frequency, phase in waves)

    def at(self, x, y):
        column = int(clamp((x + HALF_WIDTH) / ASPECT) * self.STEPS)
        colour = self.sky[int(clamp(y + 0.5) * self.STEPS)]
        distance = math.hypot(x - self.disc_x, y - self.disc_y)
        colour = glow(colour, self.disc_colour, self.halo * math.exp(-distance * 5))
        colour = mix(colour, self.disc_colour, 1 - smooth(self.radius - self.EDGE, self.radius + self.EDGE, distance))
        for heights, top, bottom in self.ridges:
            depth = y - heights[column]
            if depth > -self.EDGE:
                colour = mix(colour, mix(top, bottom, clamp(depth * 3)), smooth(-self.EDGE, self.EDGE, depth))
        return colour


EVENING = Picture(
    [(0.0, "2b1b54"), (0.35, "8b2f77"), (0.6, "f0684f"), (0.8, "ffc26b"), (1.0, "ffe3a3")],
    (0.28, 0.02, 0.11, hexadecimal("fff1c4"), 0.45),
    [(0.16, [(0.07, 4.1, 0.4), (0.03, 9.3, 1.0), (0.008, 31, 0)], "7a2f6b", "b8506a"),
     (0.27, [(0.05, 3.2, 2.2), (0.025, 7.7, 0.2), (0.006, 37, 1)], "46204f", "6d2c5c"),
     (0.38, [(0.04, 5.0, 4.4), (0.012, 17, 0.8)], "221133", "120a20")])
MORNING = Picture(
    [(0.0, "0b5fa5"), (0.4, "27a3c9"), (0.7, "9fe3dd"), (1.0, "f3fbe6")],
    (-0.38, -0.2, 0.075, hexadecimal("ffffff"), 0.25),
    [(0.12, [(0.06, 3.6, 1.2), (0.035, 8.1, 2.0), (0.009, 29, 0)], "5fb7b5", "a6dccb"),
     (0.22, [(0.05, 4.4, 3.9), (0.02, 10.1, 0.7), (0.005, 41, 2)], "1f8a83", "4fb58f"),
     (0.35, [(0.045, 3.1, 0.1), (0.014, 13, 1.9)], "0a4a55", "06303c")])

first = EVENING.at
second = MORNING.at


# Each of these gives the colour at a place of the picture half-way through the transition.


def silk_fade(x, y):
    fold = math.sin(5.2 * x + 2.4 * y + 1.1 * math.sin(4 * y + 2 * x))
    part = smooth(-0.75, 0.75, 0.9 * x + 0.42 * fold)
    soft = average([mix(first(x + dx, y + dy), second(x + dx, y + dy), part)
                    for dx, dy in ((-0.012, -0.006), (0.012, 0.006), (-0.006, 0.012), (0.006, -0.012))])
    return glow(soft, (1.0, 0.96, 0.92), 0.16 * max(0.0, math.cos(5.2 * x + 2.4 * y + 1.1 * math.sin(4 * y + 2 * x))) ** 3)


def light_curtain(x, y):
    edge = x + 0.28 * y
    colour = second(x, y) if edge < 0 else shade(first(x, y), 0.8 + 0.2 * smooth(0, 0.4, edge))
    colour = glow(colour, (1.0, 0.83, 0.5), 0.95 * math.exp(-abs(edge) * 11))
    rays = 0.5 + 0.5 * math.sin(40 * y + 9 * math.sin(7 * y))
    colour = glow(colour, (1.0, 0.9, 0.7), 0.22 * rays * math.exp(-abs(edge) * 4))
    return glow(colour, (1.0, 1.0, 1.0), 0.9 * math.exp(-abs(edge) * 70))


def side_drift(x, y):
    seam = 0.02
    samples = []
    for step in range(7):
        moved = x + (step - 3) * 0.018
        samples.append(first(moved + HALF_WIDTH - seam, y) if moved < seam else second(moved - HALF_WIDTH - seam, y))
    streak = 0.06 * math.sin(85 * y + 4 * math.sin(19 * y)) * math.exp(-abs(x - seam) * 3)
    colour = glow(average(samples), (1, 1, 1), max(0.0, streak))
    return shade(colour, 1 - 0.35 * math.exp(-abs(x - seam) * 26) * (x < seam))


def round_iris(x, y):
    radius, distance = 0.33, math.hypot(x + 0.02, y)
    if distance < radius:
        colour = second(x * 0.92, y * 0.92)
        return mix(colour, (1, 1, 1), smooth(radius - 0.014, radius - 0.011, distance))
    colour = mix(first(x, y), (0.05, 0.02, 0.1), 0.6 * math.exp(-(distance - radius) * 13))
    return glow(colour, (1, 1, 1), 0.35 * math.exp(-(distance - radius) * 60))


def flash_zoom(x, y):
    distance = math.hypot(x, y)
    part = 1 - smooth(0.05, 0.42, distance)
    samples = []
    for step in range(10):
        scale = 0.5 + 0.05 * step
        samples.append(mix(first(x * scale + 0.1, y * scale), second(x * (1.9 - scale), y * (1.9 - scale)), part))
    angle = math.atan2(y, x)
    ray = max(0.0, math.sin(23 * angle + 3 * math.sin(5 * angle))) ** 2
    colour = glow(average(samples), (1.0, 0.97, 0.9), 0.34 * ray * smooth(0.12, 0.8, distance))
    return glow(colour, (1, 1, 1), 0.95 * math.exp(-(distance / 0.17) ** 2))


def cross_blinds(x, y):
    count = 9
    slat = clamp((x + HALF_WIDTH) / ASPECT * count, 0, count - 0.001)
    index, across = int(slat), slat % 1
    reach = clamp(0.86 - 0.075 * index) + 0.05
    from_top = index % 2 == 0
    ahead = (y + 0.5 if from_top else 0.5 - y) - reach
    if ahead < 0:
        move = (1 - reach) if from_top else reach - 1
        colour = shade(second(x, y + move * 0.35), 0.9 + 0.16 * math.sin(math.pi * across))
        return glow(colour, (1, 1, 1), 0.5 * smooth(-0.012, 0.0, ahead))
    return shade(first(x, y), (1 - 0.55 * math.exp(-ahead * 18)) * (0.92 + 0.08 * smooth(0, 0.1, min(across, 1 - across))))


def mosaic_flip(x, y):
    columns, rows = 5, 3
    column, row = int(clamp((x + HALF_WIDTH) / ASPECT) * 4.999), int(clamp(y + 0.5) * 2.999)
    width, height = ASPECT / columns, 1 / rows
    centre_x, centre_y = -HALF_WIDTH + (column + 0.5) * width, -0.5 + (row + 0.5) * height
    turn = math.pi * smooth(0, 1, clamp(1.12 - 0.17 * (column + row) + 0.02 * row))
    cosine, sine = math.cos(turn), math.sin(turn)
    # A ray through the pixel meets the plane of the turned tile.
    local_x, local_y, camera = x - centre_x, y - centre_y, 1.1
    denominator = cosine * camera - local_x * sine
    if abs(denominator) > 1e-6:
        across = local_x * camera / denominator
        away = camera / (camera - across * sine) if camera != across * sine else 1
        down = local_y / away
        margin = 0.006
        if abs(across) < width / 2 - margin and abs(down) < height / 2 - margin:
            light = 0.45 + 0.55 * abs(cosine) + 0.12 * sine
            if cosine >= 0:
                return shade(first(centre_x + across, centre_y + down), light)
            return shade(second(centre_x - across, centre_y + down), light)
    return mix((0.05, 0.04, 0.09), (0.11, 0.09, 0.16), y + 0.5)


def ripple_wave(x, y):
    centre_x, centre_y = -0.05, 0.03
    dx, dy = x - centre_x, (y - centre_y) * 1.25
    distance = math.hypot(dx, dy) + 1e-6
    envelope = math.exp(-((distance - 0.33) / 0.24) ** 2)
    phase = 34 * (distance - 0.33)
    push = 0.045 * envelope * math.sin(phase) / distance
    x, y = x + dx * push, y + dy * push
    colour = mix(second(x, y), first(x, y), smooth(0.24, 0.42, distance))
    crest = math.cos(phase) * envelope
    return glow(shade(colour, 1 + 0.3 * crest), (0.9, 0.97, 1.0), 0.35 * max(0.0, crest) ** 4 * (0.6 + 0.4 * dx / distance))


DROPS = [(-0.06, 0.0, 0.27, 0.4), (-0.38, 0.13, 0.17, 2.0), (0.3, -0.13, 0.21, 4.1), (-0.25, -0.27, 0.12, 1.1),
         (0.24, 0.25, 0.15, 5.2), (-0.68, -0.2, 0.09, 3.0), (0.66, 0.13, 0.1, 0.9)]
"""Where dye fell: the place, the radius and a turn of its petals."""


def dye_bloom(x, y):
    x_wave = x + 0.03 * math.sin(11 * y + 3 * math.sin(6 * x)) + 0.012 * math.sin(31 * y + 9 * x)
    y_wave = y + 0.03 * math.sin(10 * x + 2 * math.sin(7 * y)) + 0.012 * math.sin(29 * x - 8 * y)
    field = 0.0
    for drop_x, drop_y, radius, phase in DROPS:
        dx, dy = x_wave - drop_x, y_wave - drop_y
        angle = math.atan2(dy, dx)
        petal = radius * (1 + 0.1 * math.sin(5 * angle + phase) + 0.05 * math.sin(9 * angle - phase))
        field += math.exp(-(dx * dx + dy * dy) / (petal * petal) * 1.4)
    inside = smooth(0.50, 0.58, field)
    dye = mix((0.93, 0.16, 0.48), (0.36, 0.15, 0.75), smooth(-0.6, 0.6, x + 0.6 * math.sin(4 * y)))
    outside = mix(first(x, y), dye, 0.88 * smooth(0.14, 0.5, field))
    within = mix(dye, second(x, y), smooth(0.56, 0.95, field))
    return mix(outside, within, inside)


def box_turn(x, y):
    angle = math.radians(42)
    camera, lens = 2.55, 1.42
    direction = (x, y, -lens)
    best, colour = 0.0, None
    # The front side turns to the left, the right-hand side takes its place.
    for normal_angle, picture in ((-angle, first), (math.pi / 2 - angle, second)):
        normal_x, normal_z = math.sin(normal_angle), math.cos(normal_angle)
        along = direction[0] * normal_x + direction[2] * normal_z
        if abs(along) < 1e-9:
            continue
        distance = (HALF_WIDTH - camera * normal_z) / along
        hit_x, hit_y, hit_z = distance * direction[0], distance * direction[1], camera + distance * direction[2]
        across = hit_x * normal_z - hit_z * normal_x
        if distance > 0 and along < 0 and abs(across) < HALF_WIDTH and abs(hit_y) < 0.5 and (colour is None or distance < best):
            best = distance
            rim = smooth(0, 0.012, min(HALF_WIDTH - abs(across), 0.5 - abs(hit_y)))
            light = (0.55 + 0.5 * max(0.0, normal_z * 0.85 + normal_x * 0.35)) * (0.8 + 0.2 * rim)
            colour = shade(picture(across, hit_y), light)
    if colour is not None:
        return colour
    floor = smooth(0.1, 0.5, y)
    backdrop = mix((0.05, 0.05, 0.1), (0.16, 0.14, 0.24), math.exp(-(x * x * 1.4 + y * y * 3)))
    return shade(backdrop, 1 - 0.45 * floor * math.exp(-(x / 0.6) ** 2))


class Pane:
    """A piece of the first picture, thrown outwards and turned."""

    def __init__(self, corners, chance):
        self.corners = corners
        self.centre = (sum(x for x, _ in corners) / len(corners), sum(y for _, y in corners) / len(corners))
        reach = math.hypot(*self.centre)
        push = 0.22 + 0.42 * reach + chance.uniform(-0.04, 0.08)
        self.moved = (self.centre[0] * (1 + push), self.centre[1] * (1 + push * 0.9) + 0.02)
        turn = chance.uniform(-0.5, 0.5) * (0.4 + reach)
        self.cosine, self.sine = math.cos(turn), math.sin(turn)
        self.narrow = chance.uniform(0.6, 0.95)
        self.light = chance.uniform(0.8, 1.12)
        self.radius = max(math.hypot(x - self.centre[0], y - self.centre[1]) for x, y in corners)

    def depth(self, x, y):
        """How far inside the pane the place lies, and where in the first picture it came from."""
        dx, dy = x - self.moved[0], y - self.moved[1]
        if abs(dx) > self.radius or abs(dy) > self.radius:
            return -1.0, 0.0, 0.0
        local_x = (dx * self.cosine + dy * self.sine) / self.narrow + self.centre[0]
        local_y = -dx * self.sine + dy * self.cosine + self.centre[1]
        inside = 1.0
        for (ax, ay), (bx, by) in zip(self.corners, self.corners[1:] + self.corners[:1]):
            inside = min(inside, ((bx - ax) * (local_y - ay) - (by - ay) * (local_x - ax)) / math.hypot(bx - ax, by - ay))
        return inside, local_x, local_y


def _panes():
    chance = random.Random(23)
    columns, rows = 6, 4
    points = [[(-HALF_WIDTH + ASPECT * column / columns + chance.uniform(-0.09, 0.09) * (0 < column < columns),
                -0.5 + row / rows + chance.uniform(-0.08, 0.08) * (0 < row < rows))
               for column in range(columns + 1)] for row in range(rows + 1)]
    panes = []
    for row in range(rows):
        for column in range(columns):
            quad = [points[row][column], points[row][column + 1], points[row + 1][column + 1], points[row + 1][column]]
            halves = ((0, 1, 2), (0, 2, 3)) if (row + column) % 2 else ((0, 1, 3), (1, 2, 3))
            panes += [Pane([quad[index] for index in half], chance) for half in halves]
    return panes


PANES = _panes()


def pane_burst(x, y):
    shadow = 0.0
    for pane in PANES:
        inside, from_x, from_y = pane.depth(x, y)
        if inside > 0:
            colour = shade(first(from_x, from_y), pane.light)
            return glow(colour, (0.85, 0.95, 1.0), 0.55 * (1 - smooth(0.0, 0.007, inside)) + 0.05)
        shadow = max(shadow, smooth(-0.004, 0.03, pane.depth(x - 0.016, y - 0.022)[0]))
    burst = 0.5 * math.exp(-(x * x + y * y) / 0.035)
    return glow(shade(second(x, y), 1 - 0.5 * shadow), (1, 1, 1), burst)


DRAWINGS = {
    "01 Silk Fade": silk_fade, "02 Light Curtain": light_curtain, "03 Side Drift": side_drift, "04 Round Iris": round_iris,
    "05 Flash Zoom": flash_zoom, "06 Cross Blinds": cross_blinds, "07 Mosaic Flip": mosaic_flip, "08 Ripple Wave": ripple_wave,
    "09 Dye Bloom": dye_bloom, "10 Box Turn": box_turn, "11 Pane Burst": pane_burst,
}


# PNG: three bytes a pixel, each row after the number of its filter.


def draw(drawing, width, height, samples):
    """The rows of the picture, three bytes a pixel."""
    rows = []
    share = 1 / (samples * samples)
    for row in range(height):
        pixels = bytearray()
        for column in range(width):
            red = green = blue = 0.0
            for down in range(samples):
                y = (row + (down + 0.5) / samples) / height - 0.5
                for across in range(samples):
                    x = ((column + (across + 0.5) / samples) / width - 0.5) * ASPECT
                    r, g, b = drawing(x, y)
                    red += clamp(r)
                    green += clamp(g)
                    blue += clamp(b)
            pixels += bytes((round(red * share * 255), round(green * share * 255), round(blue * share * 255)))
        rows.append(bytes(pixels))
    return rows


def png(rows):
    def chunk(kind, data):
        return struct.pack(">I", len(data)) + kind + data + struct.pack(">I", zlib.crc32(kind + data))

    header = struct.pack(">IIBBBBB", len(rows[0]) // 3, len(rows), 8, 2, 0, 0, 0)
    filtered, above = b"", bytes(len(rows[0]))
    for row in rows:  # filter 2 stores the difference to the row above, which is small in a landscape
        filtered += b"\x02" + bytes((value - up) & 255 for value, up in zip(row, above))
        above = row
    return b"\x89PNG\r\n\x1a\n" + chunk(b"IHDR", header) + chunk(b"sRGB", b"\0") + chunk(b"IDAT", zlib.compress(filtered, 9)) + chunk(b"IEND", b"")


def read_rows(data):
    """The rows of a PNG that `png` wrote."""
    position, packed, width = 8, b"", 0
    while position < len(data):
        length, kind = struct.unpack(">I4s", data[position:position + 8])
        body = data[position + 8:position + 8 + length]
        if kind == b"IHDR":
            width = struct.unpack(">I", body[:4])[0]
        elif kind == b"IDAT":
            packed += body
        position += length + 12
    filtered, rows, above = zlib.decompress(packed), [], bytes(width * 3)
    for start in range(0, len(filtered), width * 3 + 1):
        row = filtered[start + 1:start + 1 + width * 3]
        above = bytes((value + up) & 255 for value, up in zip(row, above))
        rows.append(above)
    return rows


def is_same(file, rows):
    """Mathematical libraries differ in the last digit, so that a value may be off by one."""
    if not file.is_file():
        return False
    found = read_rows(file.read_bytes())
    return len(found) == len(rows) and all(
        len(a) == len(b) and all(abs(left - right) <= 1 for left, right in zip(a, b)) for a, b in zip(found, rows))


def has_size(file, width, height):
    if not file.is_file():
        return False
    rows = read_rows(file.read_bytes())
    return len(rows) == height and all(len(row) == width * 3 for row in rows)


def thumbnail(name, file_name):
    return HERE / "Payload" / "MotionTemplates" / name / file_name


def make(task):
    """Writes one thumbnail, or compares it; returns the file when it differs."""
    name, file_name, check = task
    file = thumbnail(name, file_name)
    rows = draw(DRAWINGS[name], *SIZES[file_name])
    if check:
        return None if is_same(file, rows) else str(file)
    file.parent.mkdir(parents=True, exist_ok=True)
    file.write_bytes(png(rows))
    return None


def main(arguments):
    if not set(arguments) <= {"--check", "--small"}:
        print(__doc__, file=sys.stderr)
        return 2
    sizes = ["small.png"] if "--small" in arguments else list(SIZES)
    check = "--check" in arguments
    tasks = [(name, size, check) for name in DRAWINGS for size in sizes]
    with multiprocessing.Pool() as pool:
        different = [file for file in pool.map(make, tasks, chunksize=1) if file]
    if check and "--small" in arguments:
        large = [thumbnail(name, "large.png") for name in DRAWINGS]
        different += [str(file) for file in large if not has_size(file, *SIZES["large.png"][:2])]
    for file in different:
        print(f"differs from what make_thumbnails.py draws: {file}", file=sys.stderr)
    return 1 if different else 0


if __name__ == "__main__":
    sys.exit(main(sys.argv[1:]))
