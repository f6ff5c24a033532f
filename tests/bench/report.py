#!/usr/bin/python3
"""Writes the figures into docs/performance.md, draws docs/performance.svg; scripts/bench runs it.

Figures of fewer than 11 rounds are a trial: both files are made in build/bench instead.
"""

import re

import plot
from cases import PORTABLE, REPOSITORY, STANDARD, WORK
from figures import Figures
from targets import target_rows

ENOUGH_ROUNDS = 11


def table(titles, rows):
    lines = [titles, ["---"] + ["--:"] * (len(titles) - 1), *rows]
    return "\n".join("| " + " | ".join(line) + " |" for line in lines)


def milliseconds(seconds):
    return f"{1000 * seconds:,.{0 if seconds >= 0.1 else 1}f}"


def size_table(figures, place, others):
    """A row for each command and size: times, and how many times the others' the program's is."""
    rows = []
    for command in STANDARD + PORTABLE:
        for one in figures.of(place, command):
            compared = [f"{milliseconds(one.seconds(name))} ({one.ratio(name):.2f})"
                        if name in one.contestants else "" for name in others]
            rows.append([f"`{command}`", one.case.name, milliseconds(one.seconds()), *compared,
                         f"{one.memory():.1f}"])
    return table(["Command", "Library", "Program", *others, "Memory"], rows)


def files_table(figures):
    rows = []
    for place in ("host", "Wine"):
        few, many = (figures.with_files(place, count) for count in (1000, 10000))
        for command in few:
            row = [f"`{command}`, {place}"]
            for name in ("program", "floor"):
                seconds = few[command].seconds(name), many[command].seconds(name)
                row += [*map(milliseconds, seconds), f"{seconds[1] / seconds[0]:.1f}"]
            rows.append(row)
    return table(["Command", "1,000", "10,000", "ratio", "floor: 1,000", "10,000", "ratio"], rows)


def report(figures):
    machine = [[title, text] for title, text in figures.machine.items()]
    machine.append(["Rounds", f"{figures.rounds}, in {figures.minutes:.0f} min"])
    return "\n\n".join([
        table(["Machine", ""], machine),
        "What the program is held to, and the worst that was measured:",
        table(["", "At most", "Host", "Wine"], target_rows(figures)),
        "![Time of a run over the size of the library](performance.svg)",
        "On the host, times in ms:",
        size_table(figures, "host", ["floor", "shell"]),
        "Under Wine, times in ms:",
        size_table(figures, "Wine", ["floor", "NSIS", "NSIS stored"]),
        "With files that a bundle does not need, 100 to a folder, times in ms:",
        files_table(figures)])


def main():
    figures = Figures()
    document = REPOSITORY / "docs" / "performance.md"
    text = re.sub(r"(?s)(<!-- figures -->\n).*(<!-- end of figures -->)",
                  lambda marks: f"{marks[1]}\n{report(figures)}\n\n{marks[2]}",
                  document.read_text(encoding="utf-8"))
    folder = document.parent if figures.rounds >= ENOUGH_ROUNDS else WORK
    (folder / document.name).write_text(text, encoding="utf-8")
    plot.draw(figures, folder / "performance.svg")
    print(f"wrote performance.md and performance.svg in {folder}")


if __name__ == "__main__":
    main()
