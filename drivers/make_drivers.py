#!/usr/bin/python3 -B
"""Writes into each driver what it must know of protocol/protocol.json.

    make_drivers.py            writes it, between the two marks in each file
    make_drivers.py --check    names the files that differ, and ends with 1 when one does
"""

import sys
from pathlib import Path

import emit_batch
import emit_cpp
import emit_csharp
import emit_node
import emit_python

FOLDER = Path(__file__).resolve().parent
MADE = "made by drivers/make_drivers.py from protocol/protocol.json"
END = "end of what is made"

# Each file and what gives the lines between its marks.
EMITTERS = {
    "python/k7k_obs_connector/__init__.py": emit_python.lines,
    "node/k7k-obs-connector.mjs": emit_node.lines,
    "node/k7k-obs-connector.d.mts": emit_node.type_lines,
    "cpp/k7k_obs_connector.h": emit_cpp.lines,
    "batch/k7k-obs-connector.cmd": emit_batch.lines,
    "csharp/K7kObsConnector.cs": emit_csharp.lines,
}


def made_anew(path, lines):
    """The file's text with other lines between its marks, which are comments of its language."""
    old = path.read_text(encoding="utf-8").splitlines()
    marks = [[number for number, line in enumerate(old) if line.strip("/* #:") == mark]
             for mark in (MADE, END)]
    if [len(numbers) for numbers in marks] != [1, 1]:
        sys.exit(f"drivers/{path.relative_to(FOLDER)} has not both marks of its made part")
    [[begin], [end]] = marks
    return "\n".join([*old[:begin + 1], *lines, *old[end:]]) + "\n"


def main():
    check = "--check" in sys.argv[1:]
    stale = []
    for name, emit in EMITTERS.items():
        path = FOLDER / name
        text = made_anew(path, emit())
        if path.read_text(encoding="utf-8") != text:
            stale.append(f"drivers/{name}")
            if not check:
                path.write_text(text, encoding="utf-8", newline="\n")
    if stale and check:
        sys.exit(f"stale: {', '.join(stale)}; run drivers/make_drivers.py")


if __name__ == "__main__":
    main()
