#!/usr/bin/python3
"""Measures which lines and branches of src/ the host's tests execute, with gcov.

Runs the tests of the preset host-coverage, which is built, and holds what was not executed against
tests/uncovered.txt: lines `file:text of the source line|reason`. An unlisted line or branch, and a
listed one that is executed after all, fail the run. Ends with a line of figures.
"""

import json
import os
import pathlib
import subprocess
import sys

ROOT = pathlib.Path(__file__).resolve().parent.parent.parent
BUILD = ROOT / "build" / "host-coverage"
LIST = ROOT / "tests" / "uncovered.txt"


# It limits the size of the files that the program writes, which gcov's own files exceed.
NOT_RUN = "disk_full_for_every_manifest"


def run(*command):
    env = dict(os.environ, PYTEST_ADDOPTS=f"-k 'not {NOT_RUN}'")
    done = subprocess.run(command, cwd=ROOT, env=env, check=False)
    if done.returncode != 0:
        sys.exit(f"failed: {' '.join(map(str, command))}")


def listed():
    entries = {}
    for line in LIST.read_text(encoding="utf-8").splitlines():
        if line.strip() and not line.startswith("#"):
            place, reason = line.rsplit("|", 1)
            entries[place.strip()] = reason.strip()
    return entries


def measure():
    report = BUILD / "coverage.json"
    run("gcovr", "--root", ROOT, "--filter", "src/", "--json", report, "--exclude-throw-branches",
        "--exclude-unreachable-branches", "--gcov-ignore-parse-errors", BUILD)
    return json.loads(report.read_text(encoding="utf-8"))["files"]


def main():
    for old in BUILD.rglob("*.gcda"):
        old.unlink()
    # What is executed when processes meet differs from run to run.
    run("ctest", "--test-dir", BUILD, "--output-on-failure", "-j2", "-E", r"\.(race|swap)$")

    reasons, missed = listed(), {}
    lines = lines_hit = branches = branches_hit = 0
    for file in measure():
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

    unlisted = sorted(place for place in missed if place not in reasons)
    stale = sorted(place for place in reasons if place not in missed)
    for place in unlisted:
        print(f"not executed whole and not listed: line {missed[place]} of {place}")
    for place in stale:
        print(f"listed but executed: {place}")
    if not lines:
        sys.exit("coverage: nothing was measured")
    print(f"coverage: lines={lines_hit}/{lines} branches={branches_hit}/{branches} "
          f"listed={len(reasons)} unlisted={len(unlisted)} stale={len(stale)}")
    return 1 if unlisted or stale else 0


if __name__ == "__main__":
    sys.exit(main())
