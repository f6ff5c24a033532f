#!/usr/bin/python3
"""Applies small defects to the engine, one at a time, and demands that the unit tests catch each.

usage: scripts/mutation [--windows] [--jobs N] [NAME...]

Works on copies of the tree below build/mutation, with the host preset's compiler; with --windows,
which is about the *_win files, with that of the preset windows, under Wine. A defect is a
replacement of one text that stands exactly once in its file; the lists are defects.txt and
defects_win.txt in tests/support. A defect that no unit test can catch is listed with the reason.
The tests of the defect's room are run first, and the others when those pass. Ends with a line of
figures; exits with 1 when an unlisted defect survives or a listed one is caught.
"""

import argparse
import concurrent.futures
import os
import pathlib
import queue
import re
import shutil
import subprocess
import sys
import threading

ROOT = pathlib.Path(__file__).resolve().parent.parent.parent
WORK = ROOT / "build" / "mutation"


class Mode:
    """What is built and run for the defects of one list."""

    def __init__(self, windows):
        preset, program = ("windows", "unit_test.exe") if windows else ("host", "unit_test")
        self.list = ROOT / "tests" / "support" / ("defects_win.txt" if windows else "defects.txt")
        # Without optimisation the host's compiler is faster; the other one's linker is not, because
        # of what it writes for debuggers.
        # A defect may leave a variable unused.
        self.configure = ["cmake", "--preset", preset, "-DCMAKE_COMPILE_WARNING_AS_ERROR=OFF"]
        self.configure += [] if windows else ["-DCMAKE_BUILD_TYPE=Debug"]
        self.build = ["cmake", "--build", f"build/{preset}", "--target", "unit_test", "-j1"]
        self.test = ["scripts/wine"] if windows else []
        self.test += [f"build/{preset}/bin/{program}", "--gtest_brief=1", "--gtest_fail_fast"]
        self.drive = "Z:" if windows else ""


def read_defects(mode):
    """Blocks of `# name`, `file`, `- old line`s, `+ new line`s and, for one that no unit test can
    catch, `! reason`, separated by empty lines."""
    defects = []
    for block in mode.list.read_text(encoding="utf-8").split("\n\n"):
        lines = [line for line in block.splitlines() if line and not line.startswith("//")]
        if not lines:
            continue
        name, file = lines[0].removeprefix("# "), lines[1]
        old, new, reason = ("\n".join(line[2:] for line in lines[2:] if line.startswith(mark))
                            for mark in ("- ", "+ ", "! "))
        defects.append((name, file, old, new, reason))
    return defects


def room_filter(file):
    """GoogleTest's filter for the suites of a source's room."""
    suites = set()
    for test in (ROOT / "tests" / "unit" / pathlib.Path(file).parts[1]).glob("*_test.cpp"):
        suites |= set(re.findall(r"^TEST(?:_[FP])?\((\w+),", test.read_text(encoding="utf-8"),
                                 re.MULTILINE))
    return "--gtest_filter=" + ":".join(f"{suite}.*:*/{suite}.*" for suite in sorted(suites))


def run(command, folder, mode, timeout=300):
    env = dict(os.environ, K7K_TEST_TMP=f"{mode.drive}{folder / 'tmp'}")
    try:
        return subprocess.run(command, cwd=folder, env=env, capture_output=True, text=True,
                              timeout=timeout, check=False)
    except subprocess.TimeoutExpired:
        return None


def prepare(number, mode):
    folder = WORK / f"tree{number}"
    shutil.rmtree(folder, ignore_errors=True)
    folder.mkdir(parents=True)
    for name in ("CMakeLists.txt", "CMakePresets.json", "cmake", "scripts", "src",
                 "tests"):
        source = ROOT / name
        if source.is_dir():
            shutil.copytree(source, folder / name)
        else:
            shutil.copy(source, folder / name)
    for command in (mode.configure, mode.build):
        done = run(command, folder, mode, 1200)
        if done is None or done.returncode != 0:
            sys.exit(f"the unchanged tree does not build:\n{done and done.stdout + done.stderr}")
    tested = run(mode.test, folder, mode, 600)
    if tested is None or tested.returncode != 0:
        sys.exit(f"the unchanged tree fails its tests:\n{tested and tested.stdout[-3000:]}")
    return folder


# The tests share what a system has once: its processes, one of which may be OBS; Wine's folders.
ONE_AT_A_TIME = threading.Lock()


def judge(folder, mode, file):
    """What the tests say of the tree as it is: the room's, then all of them."""
    for which in ([room_filter(file)], []):
        tested = run(mode.test + which, folder, mode)
        if tested is None:
            return "NOT JUDGED: the tests did not end in time"
        if tested.returncode != 0:
            failed = [line for line in tested.stdout.splitlines() if "FAILED" in line]
            return "caught by " + (failed[0].split("]")[-1].split("(")[0].strip() if failed else
                                   f"exit code {tested.returncode}")
    return "SURVIVED"


def try_defect(folder, mode, defect):
    name, file, old, new, reason = defect
    path = folder / file
    text = path.read_text(encoding="utf-8")
    if text.count(old) != 1:
        return name, f"NOT APPLIED: the text stands {text.count(old)} times in {file}"
    path.write_text(text.replace(old, new), encoding="utf-8")
    try:
        built = run(mode.build, folder, mode)
        if built is None or built.returncode != 0:
            return name, "NOT BUILT: " + (built.stdout[-600:] if built else "timeout")
        with ONE_AT_A_TIME:
            result = judge(folder, mode, file)
        if not reason:
            return name, result
        return name, f"listed: {reason}" if result == "SURVIVED" else f"LISTED, BUT {result}"
    finally:
        path.write_text(text, encoding="utf-8")


def main():
    parser = argparse.ArgumentParser()
    parser.add_argument("--windows", action="store_true")
    parser.add_argument("--jobs", type=int, default=os.cpu_count())
    parser.add_argument("names", nargs="*")
    options = parser.parse_args()
    mode = Mode(options.windows)
    defects = [d for d in read_defects(mode) if not options.names or d[0] in options.names]
    folders = queue.Queue()
    for number in range(options.jobs):
        folders.put(prepare(number, mode))

    def task(defect):
        folder = folders.get()
        try:
            return try_defect(folder, mode, defect)
        finally:
            folders.put(folder)

    caught = listed = 0
    with concurrent.futures.ThreadPoolExecutor(options.jobs) as pool:
        for name, result in pool.map(task, defects):
            print(f"{name}: {result}", flush=True)
            caught += result.startswith("caught")
            listed += result.startswith("listed")
    shutil.rmtree(WORK, ignore_errors=True)
    wrong = len(defects) - caught - listed
    print(f"mutation: of={'windows' if options.windows else 'host'} defects={len(defects)} "
          f"caught={caught} listed={listed} wrong={wrong}")
    return 0 if defects and not wrong else 1


if __name__ == "__main__":
    sys.exit(main())
