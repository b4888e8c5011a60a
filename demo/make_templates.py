#!/usr/bin/env python3
"""Writes the Motion template of each transition of the sample pack.

    make_templates.py           writes Payload/MotionTemplates/NAME/NAME.motr
    make_templates.py --check   compares them with what stands there; exits 1 on a difference

A template is a scene of two drop zones, which the editor fills with the outgoing and the incoming clip, and of what
moves, masks and filters them. All times run from 0 to 1 and are stretched over the length of the transition.
"""

import math
import random
import sys
import uuid
from dataclasses import dataclass, field
from pathlib import Path
from xml.sax.saxutils import escape, quoteattr

HERE = Path(__file__).resolve().parent
WIDTH, HEIGHT, FRAMES, RATE = 1920, 1080, 60, 30
TIME_SCALE = 120000

Keys = list[tuple[float, float]]
"""Pairs of a time from 0 to 1 and a value."""


class Xml:
    """Elements as Motion writes them: one a line, indented by tabs."""

    def __init__(self):
        self.lines = ['<?xml version="1.0" encoding="UTF-8"?>', "<!DOCTYPE ozxmlscene>"]
        self.open_elements = []

    def _tag(self, element, attributes):
        texts = (f" {name}={quoteattr(str(value))}" for name, value in attributes.items())
        return element + "".join(texts)

    def _line(self, text):
        self.lines.append("\t" * len(self.open_elements) + text)

    def leaf(self, element, text=None, **attributes):
        tag = self._tag(element, attributes)
        self._line(f"<{tag}/>" if text is None else f"<{tag}>{escape(str(text))}</{element}>")

    def block(self, element, **attributes):
        self._line(f"<{self._tag(element, attributes)}>")
        self.open_elements.append(element)
        return self

    def __enter__(self):
        return self

    def __exit__(self, *_):
        element = self.open_elements.pop()
        self._line(f"</{element}>")

    def text(self):
        return "\n".join(self.lines) + "\n"


@dataclass
class Parameter:
    """One channel or a group of them."""

    name: str
    id: int
    value: float | str | None = None
    keys: Keys = field(default_factory=list)
    children: list["Parameter"] = field(default_factory=list)


@dataclass
class Node:
    """One object of the scene: a drop zone, a shape, a filter, a camera."""

    name: str
    factory: str
    parameters: list[Parameter] = field(default_factory=list)
    children: list["Node"] = field(default_factory=list)


@dataclass
class Transition:
    name: str
    description: str
    nodes: list[Node]
    factories: list[str] = field(default_factory=list)
    published: dict[str, str] = field(default_factory=dict)


def number(value):
    return f"{value:.6g}" if isinstance(value, float) else str(value)


def clock(fraction):
    return f"{round(fraction * FRAMES * TIME_SCALE / RATE)} {TIME_SCALE} 1 0"


# The channels that every object has, under the numbers that the scene refers to them by.


def channel(name, id, keys, default=0.0):
    return Parameter(name, id, value=default, keys=keys)


def axes(name, id, x=(), y=(), z=(), default=0.0):
    named = [("X", 1, x), ("Y", 2, y), ("Z", 3, z)]
    return Parameter(name, id, children=[channel(axis, axis_id, list(keys), default) for axis, axis_id, keys in named])


def properties(position=None, rotation=None, scale=None, opacity=()):
    """The group that holds the transform and the blending of an object."""
    transform = Parameter("Transform", 100, children=[
        axes("Position", 101, **(position or {})),
        axes("Rotation", 109, **(rotation or {})),
        axes("Scale", 105, **(scale or {}), default=1.0),
    ])
    blending = Parameter("Blending", 200, children=[channel("Opacity", 202, list(opacity), 1.0)])
    return Parameter("Properties", 1, children=[transform, blending])


def drop_zone(letter, children=(), **movement):
    return Node(f"Transition {letter}", "Image", children=list(children), parameters=[
        properties(**movement),
        Parameter("Object", 2, children=[
            Parameter("Drop Zone", 315, children=[
                Parameter("Type", 321, value=0 if letter == "A" else 1),
                Parameter("Fill Opaque", 317, value=0),
                Parameter("Scale Mode", 325, value="Stretch"),
            ]),
        ]),
    ])


def filtered(name, factory, *parameters):
    return Node(name, factory, parameters=[Parameter("Properties", 1, children=list(parameters))])


def blur(keys):
    return filtered("Gaussian Blur", "Gaussian Blur", channel("Amount", 1, keys), Parameter("Horizontal", 2, value=100),
                    Parameter("Vertical", 3, value=100))


def shape(name, points, **movement):
    """A closed mask; its points are pairs around the centre of the picture."""
    vertices = [
        Parameter(f"Control Point {index}", index, children=[Parameter("X", 1, value=x), Parameter("Y", 2, value=y)])
        for index, (x, y) in enumerate(points, 1)
    ]
    return Node(name, "Shape Mask", parameters=[properties(**movement), Parameter("Shape", 2, children=vertices)])


def rectangle(x, y, width, height):
    left, top = x - width / 2, y - height / 2
    return [(left, top), (left + width, top), (left + width, top + height), (left, top + height)]


def ease(start, end, first, last, steps=4):
    """A movement that starts and ends gently."""
    keys = []
    for step in range(steps + 1):
        part = step / steps
        smooth = part * part * (3 - 2 * part)
        keys.append((round(start + (end - start) * part, 4), first + (last - first) * smooth))
    return keys


# The eleven transitions.


def silk_fade():
    softness = [(0.0, 0.0), (0.5, 18.0), (1.0, 0.0)]
    return Transition("01 Silk Fade", "The clips melt into each other through a soft blur.", [
        drop_zone("B", [blur(softness)], opacity=ease(0, 1, 0.0, 1.0, 8)),
        drop_zone("A", [blur(softness)], opacity=ease(0, 1, 1.0, 0.0, 8)),
    ], ["Gaussian Blur"], {"Softness": "Gaussian Blur/Amount"})


def light_curtain():
    travel = ease(0, 1, -1400.0, 1400.0, 8)
    glow = Node("Light", "Gradient", parameters=[
        properties(position={"x": travel}, rotation={"z": [(0.0, 0.26)]}, opacity=[(0, 0.0), (0.2, 1.0), (0.8, 1.0), (1, 0.0)]),
        Parameter("Object", 2, children=[Parameter("Width", 1, value=320), Parameter("Color Top", 2, value="#fff4d6"),
                                         Parameter("Color Edge", 3, value="#ffb347")]),
    ])
    edge = shape("Curtain", rectangle(-1920, 0, 1920 * 2, 1080 * 2), position={"x": travel}, rotation={"z": [(0.0, 0.26)]})
    return Transition("02 Light Curtain", "A slanted curtain of light uncovers the next clip.", [
        glow, drop_zone("B", [edge]), drop_zone("A"),
    ], ["Gradient", "Shape Mask"], {"Light": "Light/Opacity"})


def side_drift():
    smear = [(0.0, 0.0), (0.5, 90.0), (1.0, 0.0)]

    def directional():
        return filtered("Directional Blur", "Directional Blur", channel("Amount", 1, smear), Parameter("Angle", 2, value=0))

    return Transition("03 Side Drift", "The next clip pushes the first one out to the left.", [
        drop_zone("B", [directional()], position={"x": ease(0, 1, 1920.0, 0.0, 8)}),
        drop_zone("A", [directional()], position={"x": ease(0, 1, 0.0, -1920.0, 8)}),
    ], ["Directional Blur"], {"Smear": "Directional Blur/Amount"})


def round_iris():
    circle = [(540 * math.cos(turn * math.pi / 16), 540 * math.sin(turn * math.pi / 16)) for turn in range(32)]
    growth = ease(0, 1, 0.0, 2.1, 8)
    ring = Node("Ring", "Shape", parameters=[
        properties(scale={"x": growth, "y": growth}, opacity=[(0.0, 1.0), (0.9, 1.0), (1.0, 0.0)]),
        Parameter("Shape", 2, children=[Parameter("Outline Width", 1, value=14), Parameter("Outline Color", 2, value="#ffffff")]),
    ])
    return Transition("04 Round Iris", "A ring opens on the next clip.", [
        ring, drop_zone("B", [shape("Iris", circle, scale={"x": growth, "y": growth})]), drop_zone("A"),
    ], ["Shape", "Shape Mask"], {"Ring": "Ring/Opacity"})


def flash_zoom():
    def radial(keys):
        return filtered("Zoom Blur", "Zoom Blur", channel("Amount", 1, keys), Parameter("Look", 2, value="Smooth"))

    grow, settle = ease(0, 0.5, 1.0, 3.2, 6), ease(0.5, 1, 0.4, 1.0, 6)
    flash = Node("Flash", "Color Solid", parameters=[
        properties(opacity=[(0.0, 0.0), (0.4, 0.0), (0.5, 0.9), (0.65, 0.0), (1.0, 0.0)]),
        Parameter("Object", 2, children=[Parameter("Color", 1, value="#ffffff")]),
    ])
    return Transition("05 Flash Zoom", "The camera rushes into the first clip and lands in the next one.", [
        flash,
        drop_zone("B", [radial([(0.5, 60.0), (1.0, 0.0)])], scale={"x": settle, "y": settle},
                  opacity=[(0.0, 0.0), (0.499, 0.0), (0.5, 1.0)]),
        drop_zone("A", [radial([(0.0, 0.0), (0.5, 60.0)])], scale={"x": grow, "y": grow},
                  opacity=[(0.0, 1.0), (0.499, 1.0), (0.5, 0.0)]),
    ], ["Color Solid", "Zoom Blur"], {"Flash": "Flash/Opacity"})


def cross_blinds():
    slats = []
    for index in range(9):
        x = (index - 4) * WIDTH / 9
        delay = round(index * 0.04, 4)
        from_top = index % 2 == 0
        travel = ease(delay, delay + 0.66, -1080.0 if from_top else 1080.0, 0.0)
        slats.append(shape(f"Slat {index + 1}", rectangle(x, 0, WIDTH / 9, HEIGHT), position={"y": travel}))
    return Transition("06 Cross Blinds", "Slats fall and rise in turn and close into the next clip.",
                      [drop_zone("B", slats), drop_zone("A")], ["Shape Mask"], {"Slats": "Transition B/Opacity"})


def mosaic_flip():
    tiles = []
    for row in range(3):
        for column in range(5):
            delay = round((row + column) * 0.07, 4)
            turn = ease(delay, delay + 0.5, 0.0, math.pi, 4)
            area = rectangle((column - 2) * WIDTH / 5, (row - 1) * HEIGHT / 3, WIDTH / 5, HEIGHT / 3)
            tiles.append(shape(f"Tile {row + 1}.{column + 1}", area, rotation={"y": turn}))
    return Transition("07 Mosaic Flip", "Tiles turn over one after the other and show the next clip on their back.",
                      [drop_zone("B", tiles), drop_zone("A")], ["Shape Mask"], {"Turn": "Transition B/Rotation"})


def ripple_wave():
    def wave(keys):
        return filtered("Ripple", "Ripple", channel("Amplitude", 1, keys), channel("Radius", 2, ease(0, 1, 0.0, 1300.0, 8)),
                        Parameter("Wavelength", 3, value=140), Parameter("Repeat", 4, value=3))

    swell = [(0.0, 0.0), (0.5, 70.0), (1.0, 0.0)]
    return Transition("08 Ripple Wave", "A drop falls, and the next clip comes up in its rings.", [
        drop_zone("B", [wave(swell)], opacity=ease(0.2, 0.8, 0.0, 1.0, 8)), drop_zone("A", [wave(swell)]),
    ], ["Ripple"], {"Height of the waves": "Ripple/Amplitude"})


def dye_bloom():
    chance = random.Random(9)
    drops = []
    for index in range(7):
        x, y = chance.uniform(-800, 800), chance.uniform(-430, 430)
        ring = []
        for step in range(18):
            angle, radius = step * math.pi / 9, chance.uniform(150, 300)
            ring.append((x + radius * math.cos(angle), y + radius * math.sin(angle)))
        growth = ease(index * 0.05, 0.7 + index * 0.05, 0.0, chance.uniform(3.2, 4.6), 5)
        drops.append(shape(f"Drop {index + 1}", ring, scale={"x": growth, "y": growth}))
    tint = filtered("Colorize", "Colorize", channel("Intensity", 1, [(0.0, 0.0), (0.5, 0.8), (1.0, 0.0)]),
                    Parameter("Remap White To", 2, value="#e04a8b"))
    return Transition("09 Dye Bloom", "Dye spreads in water and carries the next clip with it.",
                      [drop_zone("B", [*drops, blur([(0.0, 30.0), (1.0, 0.0)])]), drop_zone("A", [tint])],
                      ["Colorize", "Gaussian Blur", "Shape Mask"], {"Dye": "Colorize/Intensity"})


def box_turn():
    camera = Node("Camera", "Camera", parameters=[
        properties(position={"z": [(0.0, 1870.0), (0.5, 2500.0), (1.0, 1870.0)]}),
        Parameter("Object", 2, children=[Parameter("Angle Of View", 1, value=32.2)]),
    ])
    box = Node("Box", "Group", parameters=[properties(position={"z": [(0.0, -960.0)]}, rotation={"y": ease(0, 1, 0.0, -math.pi / 2, 10)})],
               children=[
                   drop_zone("B", position={"x": [(0.0, 960.0)]}, rotation={"y": [(0.0, math.pi / 2)]}),
                   drop_zone("A", position={"z": [(0.0, 960.0)]}),
               ])
    light = Node("Key Light", "Light", parameters=[properties(position={"x": [(0.0, -600.0)], "z": [(0.0, 2200.0)]})])
    return Transition("10 Box Turn", "The two clips are sides of a box that turns.", [camera, light, box],
                      ["Camera", "Group", "Light"], {"Distance": "Camera/Position"})


def pane_burst():
    chance = random.Random(11)
    panes = []
    for row in range(3):
        for column in range(4):
            x, y = (column - 1.5) * WIDTH / 4, (row - 1) * HEIGHT / 3
            corners = [(px + chance.uniform(-40, 40), py + chance.uniform(-40, 40))
                       for px, py in rectangle(x, y, WIDTH / 4, HEIGHT / 3)]
            start = round(math.hypot(x, y) / 4000, 4)
            panes.append(shape(
                f"Pane {row * 4 + column + 1}", corners,
                position={"x": [(start, 0.0), (1.0, x * 1.6)], "y": [(start, 0.0), (1.0, y * 1.6 - 500)], "z": [(start, 0.0), (1.0, chance.uniform(400, 1600))]},
                rotation={"x": [(start, 0.0), (1.0, chance.uniform(-3, 3))], "y": [(start, 0.0), (1.0, chance.uniform(-3, 3))]},
                opacity=[(0.7, 1.0), (1.0, 0.0)]))
    return Transition("11 Pane Burst", "The first clip bursts like a pane and flies past the camera.",
                      [drop_zone("A", panes), drop_zone("B")], ["Shape Mask"], {"Speed": "Transition A/Position"})


TRANSITIONS = [make() for make in (silk_fade, light_curtain, side_drift, round_iris, flash_zoom, cross_blinds, mosaic_flip,
                                   ripple_wave, dye_bloom, box_turn, pane_burst)]


# Writing a scene.


class SceneWriter:
    def __init__(self, transition):
        self.transition = transition
        self.xml = Xml()
        self.factories = ["Channel", "Layer", "Image", "Project", *transition.factories]
        self.next_id = 10000
        self.ids = {}

    def fresh_id(self):
        self.next_id += 1
        return self.next_id

    def write(self):
        xml = self.xml
        with xml.block("ozml", version="5.13"):
            xml.leaf("displayversion", "5.6.3")
            for index, name in enumerate(self.factories, 1):
                with xml.block("factory", id=index, uuid=uuid.uuid5(uuid.NAMESPACE_DNS, f"{name}.motion.example").hex):
                    xml.leaf("description", name)
                    xml.leaf("manufacturer", "Apple")
                    xml.leaf("version", 1)
            with xml.block("viewer", subview=0):
                xml.leaf("cameraType", 0)
            xml.leaf("build", "")
            xml.leaf("description", self.transition.description)
            self.scene()
        return xml.text()

    def scene(self):
        xml = self.xml
        with xml.block("scene"):
            self.settings()
            xml.leaf("currentFrame", clock(0))
            xml.leaf("timeRange", offset="0 1 1 0", duration=clock(1))
            xml.leaf("playRange", offset="0 1 1 0", duration=clock(1))
            with xml.block("layer", name="Group", id=self.fresh_id(), factoryID=self.factory("Layer")):
                self.timing()
                for node in self.transition.nodes:
                    self.node(node)
            with xml.block("publishSettings"):
                xml.leaf("version", 2)
                for name, target in self.transition.published.items():
                    owner, _, published = target.partition("/")
                    xml.leaf("target", object=self.ids[owner], channel=published, name=name)
            with xml.block("markers"):
                xml.leaf("marker", name="Transition", type="template", time=clock(0.5))

    def settings(self):
        values = {"width": WIDTH, "height": HEIGHT, "duration": FRAMES, "frameRate": RATE, "NTSC": 1, "channelFormat": 0,
                  "pixelAspectRatio": 1, "workingGamut": 0, "viewGamut": 0, "motionBlurSamples": 8, "motionBlurDuration": 1,
                  "startTimecode": 0, "is360": 0, "presetPath": ""}
        with self.xml.block("sceneSettings"):
            for name, value in values.items():
                self.xml.leaf(name, value)
            self.xml.leaf("backgroundColor", red=0, green=0, blue=0, alpha=0)

    def timing(self):
        self.xml.leaf("timing", **{"in": clock(0), "out": clock(1), "offset": "0 1 1 0"})

    def factory(self, name):
        return self.factories.index(name) + 1

    def node(self, node):
        own_id = self.fresh_id()
        self.ids.setdefault(node.name, own_id)
        with self.xml.block("scenenode", name=node.name, id=own_id, factoryID=self.factory(node.factory), version=5):
            self.xml.leaf("flags", 8606711808)
            self.timing()
            self.xml.leaf("baseFlags", 524369)
            for parameter in node.parameters:
                self.parameter(parameter)
            for child in node.children:
                self.node(child)

    def parameter(self, parameter):
        attributes = {"name": parameter.name, "id": parameter.id, "flags": 8589934592}
        if parameter.value is not None:
            attributes["value"] = number(parameter.value)
        if not parameter.keys and not parameter.children:
            self.xml.leaf("parameter", **attributes)
            return
        with self.xml.block("parameter", **attributes):
            if parameter.keys:
                self.curve(parameter)
            for child in parameter.children:
                self.parameter(child)

    def curve(self, parameter):
        first = number(parameter.keys[0][1])
        with self.xml.block("curve", type=1, default=number(parameter.value), value=first, factoryID=self.factory("Channel")):
            self.xml.leaf("numberOfKeypoints", len(parameter.keys))
            for time, value in parameter.keys:
                with self.xml.block("keypoint", interpolation=1, flags=0):
                    self.xml.leaf("time", clock(time))
                    self.xml.leaf("value", number(value))


def main(arguments):
    if arguments not in ([], ["--check"]):
        print(__doc__, file=sys.stderr)
        return 2
    different = []
    for transition in TRANSITIONS:
        file = HERE / "Payload" / "MotionTemplates" / transition.name / f"{transition.name}.motr"
        text = SceneWriter(transition).write().encode()
        if not arguments:
            file.parent.mkdir(parents=True, exist_ok=True)
            file.write_bytes(text)
        elif not file.is_file() or file.read_bytes() != text:
            different.append(str(file))
    for file in different:
        print(f"differs from what make_templates.py writes: {file}", file=sys.stderr)
    return 1 if different else 0


if __name__ == "__main__":
    sys.exit(main(sys.argv[1:]))
