#!/usr/bin/python3
"""Measures which lines and branches of src/ the tests execute, with gcov.

usage: coverage.py host | windows

Runs the tests of the preset host-coverage or windows-coverage, which is built, and holds what was
not executed against tests/uncovered.txt: lines `file:text of the source line|reason`. The *_win
files are measured under Wine, all others on the host. An unlisted line or branch, a listed one that
is executed after all, and less than the least share fail the run. Ends with a line of figures.
"""

import json
import os
import pathlib
import re
import subprocess
import sys

ROOT = pathlib.Path(__file__).resolve().parent.parent.parent
LIST = ROOT / "tests" / "uncovered.txt"
WINDOWS_FILE = re.compile(r"_win\.(cpp|h)$")

# The tests that are run: arguments of CTest, then of pytest. On the host what is executed when
# processes meet differs from run to run, and one test limits the size of the files that the program
# writes, which gcov's own files exceed. Under Wine the black-box tests execute no line of a *_win
# file that the unit tests do not, but for the entry point.
TESTS = {
    "host": (["-E", r"\.(fleet|race|swap)$"], "-k 'not disk_full_for_every_manifest'"),
    "windows": (["-R", r"\.(unit|wrong_engine|protocol)"], "-k 'test_line_ends or two_lines'"),
}
GCOV = {"host": "gcov", "windows": "x86_64-w64-mingw32-gcov-posix"}
# Percent of the lines and of the branches.
LEAST = {"host": (100, 95), "windows": (98, 85)}


def run(*command, **environment):
    done = subprocess.run(command, cwd=ROOT, env={**os.environ, **environment}, check=False)
    if done.returncode != 0:
        sys.exit(f"failed: {' '.join(map(str, command))}")


def listed(where):
    entries = {}
    for line in LIST.read_text(encoding="utf-8").splitlines():
        if line.strip() and not line.startswith("#"):
            place, reason = line.rsplit("|", 1)
            if is_measured(place.split(":", 1)[0], where):
                entries[place.strip()] = reason.strip()
    return entries


def is_measured(file, where):
    return bool(WINDOWS_FILE.search(file)) == (where == "windows")


def measure(where, build):
    report = build / "coverage.json"
    run("gcovr", "--root", ROOT, "--filter", "src/", "--json", report, "--exclude-throw-branches",
        "--exclude-unreachable-branches", "--gcov-ignore-parse-errors", "--gcov-executable",
        GCOV[where], build)
    files = json.loads(report.read_text(encoding="utf-8"))["files"]
    return [file for file in files if is_measured(file["file"], where)]


def main():
    where = sys.argv[1]
    build = ROOT / "build" / f"{where}-coverage"
    for old in build.rglob("*.gcda"):
        old.unlink()
    ctest, pytest = TESTS[where]
    run("ctest", "--test-dir", build, "--output-on-failure", "-j2", *ctest, PYTEST_ADDOPTS=pytest)

    reasons, missed = listed(where), {}
    lines = lines_hit = branches = branches_hit = 0
    for file in measure(where, build):
        source = (ROOT / file["file"]).read_text(encoding="utf-8").splitlines()
        for line in file["lines"]:
            if line.get("gcovr/noncode"):
                continue
            hits = [branch["count"] > 0 for branch in line["branches"]]
            lines += 1
            lines_hit += line["count"] > 0
            branches += len(hits)
            branches_hit += sum(hits)
            if line["count"] == 0 or not all(hits):
                place = f'{file["file"]}:{source[line["line_number"] - 1].strip()}'
                missed.setdefault(place, line["line_number"])
    if not lines or not branches:
        sys.exit(f"coverage: nothing was measured of {where}")

    unlisted = sorted(place for place in missed if place not in reasons)
    stale = sorted(place for place in reasons if place not in missed)
    for place in unlisted:
        print(f"not executed whole and not listed: line {missed[place]} of {place}")
    for place in stale:
        print(f"listed but executed: {place}")
    too_few = (100 * lines_hit < LEAST[where][0] * lines or
               100 * branches_hit < LEAST[where][1] * branches)
    if too_few:
        print("less than {} % of the lines or {} % of the branches".format(*LEAST[where]))
    print(f"coverage: of={where} lines={lines_hit}/{lines} branches={branches_hit}/{branches} "
          f"listed={len(reasons)} unlisted={len(unlisted)} stale={len(stale)}")
    return 1 if unlisted or stale or too_few else 0


if __name__ == "__main__":
    sys.exit(main())
