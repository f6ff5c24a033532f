#!/usr/bin/python3
"""Applies small defects to the engine, one at a time, and demands that the unit tests catch each.

usage: scripts/mutation [--jobs N] [NAME...]

Works on copies of the tree below build/mutation, with the host preset's compiler. A defect is a
replacement of one text that stands exactly once in its file; the list is tests/support/defects.txt.
Ends with a line of figures; exits with 1 when a defect survives.
"""

import argparse
import concurrent.futures
import os
import pathlib
import queue
import shutil
import subprocess
import sys

ROOT = pathlib.Path(__file__).resolve().parent.parent.parent
LIST = ROOT / "tests" / "support" / "defects.txt"
WORK = ROOT / "build" / "mutation"


def read_defects():
    """Blocks of `# name`, `file`, `- old line`s, `+ new line`s, separated by empty lines."""
    defects = []
    for block in LIST.read_text(encoding="utf-8").split("\n\n"):
        lines = [line for line in block.splitlines() if line and not line.startswith("//")]
        if not lines:
            continue
        name, file = lines[0].removeprefix("# "), lines[1]
        old = "\n".join(line[2:] for line in lines[2:] if line.startswith("- "))
        new = "\n".join(line[2:] for line in lines[2:] if line.startswith("+ "))
        defects.append((name, file, old, new))
    return defects


def run(command, folder, timeout=300):
    env = dict(os.environ, K7K_TEST_TMP=str(folder / "tmp"))
    try:
        return subprocess.run(command, cwd=folder, env=env, capture_output=True, text=True,
                              timeout=timeout, check=False)
    except subprocess.TimeoutExpired:
        return None


def prepare(number):
    folder = WORK / f"tree{number}"
    shutil.rmtree(folder, ignore_errors=True)
    folder.mkdir(parents=True)
    for name in ("CMakeLists.txt", "CMakePresets.json", "cmake", "src", "tests"):
        source = ROOT / name
        if source.is_dir():
            shutil.copytree(source, folder / name)
        else:
            shutil.copy(source, folder / name)
    for command in (["cmake", "--preset", "host", "-DCMAKE_BUILD_TYPE=Debug"], BUILD):
        done = run(command, folder, 1200)
        if done is None or done.returncode != 0:
            sys.exit(f"the unchanged tree does not build:\n{done and done.stdout + done.stderr}")
    tested = run(TEST, folder)
    if tested is None or tested.returncode != 0:
        sys.exit(f"the unchanged tree fails its tests:\n{tested and tested.stdout[-3000:]}")
    return folder


BUILD = ["cmake", "--build", "build/host", "--target", "unit_test", "-j1"]
TEST = ["build/host/bin/unit_test", "--gtest_brief=1", "--gtest_fail_fast"]


def try_defect(folder, defect):
    name, file, old, new = defect
    path = folder / file
    text = path.read_text(encoding="utf-8")
    if text.count(old) != 1:
        return name, f"NOT APPLIED: the text stands {text.count(old)} times in {file}"
    path.write_text(text.replace(old, new), encoding="utf-8")
    try:
        built = run(BUILD, folder)
        if built is None or built.returncode != 0:
            return name, "NOT BUILT: " + (built.stdout[-600:] if built else "timeout")
        tested = run(TEST, folder)
        if tested is None:
            return name, "NOT JUDGED: the tests did not end in time"
        if tested.returncode == 0:
            return name, "SURVIVED"
        failed = [line for line in tested.stdout.splitlines() if "FAILED" in line]
        return name, "caught by " + (failed[0].split("]")[-1].split("(")[0].strip() if failed else
                                     f"exit code {tested.returncode}")
    finally:
        path.write_text(text, encoding="utf-8")


def main():
    parser = argparse.ArgumentParser()
    parser.add_argument("--jobs", type=int, default=os.cpu_count())
    parser.add_argument("names", nargs="*")
    options = parser.parse_args()
    defects = [d for d in read_defects() if not options.names or d[0] in options.names]
    folders = queue.Queue()
    for number in range(options.jobs):
        folders.put(prepare(number))

    def task(defect):
        folder = folders.get()
        try:
            return try_defect(folder, defect)
        finally:
            folders.put(folder)

    caught = 0
    with concurrent.futures.ThreadPoolExecutor(options.jobs) as pool:
        for name, result in pool.map(task, defects):
            print(f"{name}: {result}", flush=True)
            caught += result.startswith("caught")
    shutil.rmtree(WORK, ignore_errors=True)
    print(f"mutation: defects={len(defects)} caught={caught} not caught={len(defects) - caught}")
    return 0 if caught == len(defects) and defects else 1


if __name__ == "__main__":
    sys.exit(main())
