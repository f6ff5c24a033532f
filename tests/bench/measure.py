#!/usr/bin/python3
"""Measures what each command costs; scripts/bench runs it.

usage: measure.py ROUNDS

Writes build/bench/figures.json: the times of every round in seconds, peak memory in KiB.
"""

import json
import os
import shutil
import statistics
import subprocess
import sys
import time

from cases import CASES, PLACES, WORK, contestants, lay_out, pieces
from machine import describe_machine


def run(place, command_line):
    """Seconds from the start of a program to its end."""
    start = time.perf_counter()
    done = subprocess.run(command_line, env=place.environment, stdin=subprocess.DEVNULL,
                          stdout=subprocess.DEVNULL, stderr=subprocess.DEVNULL, check=False)
    seconds = time.perf_counter() - start
    if done.returncode != 0:
        sys.exit(f"code {done.returncode} of {' '.join(map(str, command_line))}")
    return seconds


def run_for_memory(place, command_line):
    """The most memory that a program had at one time, in KiB.

    Through a small program: what a child of this one has used begins with what this one uses.
    """
    output = WORK / "peak"
    run(place, ["/usr/bin/time", "-f", "%M", "-o", output, *command_line])
    return int(output.read_text(encoding="ascii"))


def put_in_place(targets):
    """Lays out the copy that the command finds, and has all that is written on the disk."""
    for target, origin in targets.items():
        target.parent.mkdir(parents=True, exist_ok=True)
        if not target.exists():
            (shutil.copytree if origin.is_dir() else shutil.copy)(origin, target)
    os.sync()


def check(targets, command):
    """Whether the command has done its work: the targets are there or not, and nothing else."""
    for target in targets:
        wanted = [] if "remove" in command else [target.name]
        found = os.listdir(target.parent)
        if found != wanted:
            sys.exit(f"{command} left {found} in {target.parent}")


def measure(place, case, command, rounds):
    lines = contestants(place, case, command)
    targets = pieces(place, case, command)
    times = {name: [] for name in lines}
    memory = {}
    # The first round is for the memory, and brings everything into the system's caches.
    for number in range(rounds + 1):
        for name, line in lines.items():
            put_in_place(targets)
            if number == 0:
                memory[name] = run_for_memory(place, line)
            else:
                times[name].append(run(place, line))
            check(targets, command)
    print(f"{place.name:5}{case.name:13}{command:26}",
          ", ".join(f"{name} {1000 * statistics.median(times[name]):.1f} ms" for name in lines),
          flush=True)
    return {"place": place.name, "case": case.name, "command": command, "times": times,
            "memory": memory}


def main():
    rounds = int(sys.argv[1])
    series = []
    for case in CASES:
        lay_out(case)
        for place in PLACES:
            shutil.rmtree(place.plugins, ignore_errors=True)
            series += [measure(place, case, command, rounds) for command in case.commands]
            for root in ("obs-plugins", "data"):
                shutil.rmtree(case.obs / root, ignore_errors=True)
        shutil.rmtree(case.folder)
    figures = {"machine": describe_machine(WORK), "rounds": rounds, "series": series}
    (WORK / "figures.json").write_text(json.dumps(figures, indent=1), encoding="ascii")


if __name__ == "__main__":
    main()
