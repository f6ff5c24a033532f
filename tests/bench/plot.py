"""Draws times over the size of the library as SVG: a row of panels for each command, a column for
each place, both axes logarithmic."""

import math

from cases import MIB

COMMANDS = ("--status-standard", "--install-standard", "--remove-standard")
COLOURS = {"program": "#0060c0", "floor": "#808080", "shell": "#c07000",
           "NSIS": "#a02020", "NSIS stored": "#e07070"}
SIZES = {1 << 15: "32 KiB", MIB: "1 MiB", 64 * MIB: "64 MiB", 512 * MIB: "512 MiB"}
TIMES = {1: "1 ms", 10: "10 ms", 100: "100 ms", 1000: "1 s", 10000: "10 s", 100000: "100 s"}
WIDTH, HEIGHT = 360, 240  # of a panel's axes
LEFT, TOP = 60, 40  # the room beside and above them
STEP_X, STEP_Y = WIDTH + LEFT + 20, HEIGHT + TOP + 30


def share(value, scale):
    """How far along an axis a value lies, from 0 to 1."""
    first, last = math.log(min(scale)), math.log(max(scale))
    return (math.log(value) - first) / (last - first)


def text(x, y, content, anchor="middle", colour="#000000"):
    return f'<text x="{x:.1f}" y="{y:.1f}" text-anchor="{anchor}" fill="{colour}">{content}</text>'


class Panel:
    def __init__(self, column, row):
        self.left, self.top = LEFT + column * STEP_X, TOP + row * STEP_Y

    def x(self, size):
        return self.left + WIDTH * share(size, SIZES)

    def y(self, milliseconds):
        return self.top + HEIGHT * (1 - share(milliseconds, TIMES))

    def axes(self, title):
        yield text(self.left + WIDTH / 2, self.top - 10, title)
        right, bottom = self.left + WIDTH, self.top + HEIGHT
        lines = [f"M{self.x(size):.1f} {self.top}V{bottom}" for size in SIZES]
        lines += [f"M{self.left} {self.y(time):.1f}H{right}" for time in TIMES]
        yield f'<path d="{"".join(lines)}" stroke="#d0d0d0"/>'
        yield from (text(self.x(size), bottom + 16, label) for size, label in SIZES.items())
        yield from (text(self.left - 6, self.y(time) + 4, label, "end")
                    for time, label in TIMES.items())

    def line(self, number, name, points):
        """A contestant's line through its points, and its name in the panel's corner."""
        colour = COLOURS[name]
        places = [(self.x(size), self.y(time)) for size, time in points]
        way = " ".join(f"{x:.1f},{y:.1f}" for x, y in places)
        yield f'<polyline points="{way}" fill="none" stroke="{colour}" stroke-width="2"/>'
        yield from (f'<circle cx="{x:.1f}" cy="{y:.1f}" r="3" fill="{colour}"/>' for x, y in places)
        yield text(self.left + 10, self.top + 20 + 16 * number, name, "start", colour)


def draw(figures, path):
    parts = [f'<svg xmlns="http://www.w3.org/2000/svg" width="{2 * STEP_X + 20}" '
             f'height="{len(COMMANDS) * STEP_Y + TOP}" font-family="sans-serif" font-size="12">',
             '<rect width="100%" height="100%" fill="#ffffff"/>']
    for row, command in enumerate(COMMANDS):
        for column, place in enumerate(("host", "Wine")):
            panel = Panel(column, row)
            parts += panel.axes(f"{command}, {place}")
            series = figures.of(place, command)
            for number, name in enumerate(series[0].contestants):
                points = [(one.case.library, 1000 * one.seconds(name)) for one in series
                          if name in one.contestants]
                parts += panel.line(number, name, points)
    path.write_text("\n".join([*parts, "</svg>", ""]), encoding="ascii")
