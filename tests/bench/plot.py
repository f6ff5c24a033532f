"""Draws times over the size of the library, by gnuplot: a row for each command, a column for each
place, both axes logarithmic."""

import subprocess

from cases import FEW

COLOURS = {"program": "#0060c0", "floor": "#808080", "shell": "#c07000",
           "NSIS": "#a02020", "NSIS stored": "#e07070"}

HEAD = """
set terminal svg size 900,960 background "white" font "sans-serif,12"
set output "{output}"
set multiplot layout 3,2
set logscale xy
set xrange [20000:900000000]
set xtics ("32 KiB" 2**15, "1 MiB" 2**20, "64 MiB" 2**26, "512 MiB" 2**29)
set ylabel "ms"
set grid
set key top left
"""


def panel(figures, place, command):
    """One plot: its lines, then the points of each line."""
    series = figures.of(place, command)
    lines = [f"'-' with linespoints pointtype 7 pointsize 0.5 linewidth 2 linecolor '{colour}'"
             f" title '{name}'"
             for name, colour in COLOURS.items() if name in series[0].contestants]
    points = ["".join(f"{one.case.library} {1000 * one.seconds(name)}\n" for one in series) + "e\n"
              for name in COLOURS if name in series[0].contestants]
    return f"set title '{command}, {place}'\nplot {', '.join(lines)}\n{''.join(points)}"


def draw(figures, path):
    panels = [panel(figures, place, command) for command in FEW for place in ("host", "Wine")]
    subprocess.run(["gnuplot"], input=HEAD.format(output=path) + "".join(panels), text=True,
                   check=True)
