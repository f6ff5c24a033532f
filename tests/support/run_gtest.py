#!/usr/bin/python3
"""Runs one GoogleTest binary and holds its skips against the skip list.

usage: run_gtest.py PLATFORM SKIP_LIST WORK_FOLDER COMMAND...

PLATFORM is "host", "wine", or "windows" for Windows itself. WORK_FOLDER is made for the run and
removed after it. A test that skips without standing on the list, or stands on it and does not skip,
fails the run.
"""

import json
import os
import shutil
import subprocess
import sys


def listed_skips(path, platform, prefix):
    skips = {}
    with open(path, encoding="utf-8") as lines:
        for line in lines:
            if line.strip() and not line.startswith("#"):
                where, name, reason = line.split(None, 2)
                if where == platform and name.startswith(prefix):
                    skips[name[len(prefix):]] = reason.strip()
    return skips


def main():
    platform, skip_list, work, *command = sys.argv[1:]
    shutil.rmtree(work, ignore_errors=True)
    os.makedirs(work)
    report = os.path.join(work, "report.json")
    env = dict(os.environ)
    env["K7K_TEST_TMP"] = ("Z:" if platform == "wine" else "") + os.path.join(work, "tmp")
    env["GTEST_OUTPUT"] = "json:" + ("Z:" if platform == "wine" else "") + report
    code = subprocess.run(command, env=env, check=False).returncode
    if not os.path.exists(report):
        print(f"no report was written; the program ended with {code}")
        return 1
    with open(report, encoding="utf-8") as file:
        suites = json.load(file)["testsuites"]
    ran, skipped = set(), set()
    for suite in suites:
        for case in suite["testsuite"]:
            if case["status"] == "RUN":
                ran.add(f'{suite["name"]}.{case["name"]}')
                if case["result"] == "SKIPPED":
                    skipped.add(f'{suite["name"]}.{case["name"]}')
    shutil.rmtree(work, ignore_errors=True)

    listed = listed_skips(skip_list, platform, "unit:")
    for name in sorted(skipped & listed.keys()):
        print(f"skipped, as listed: {name}: {listed[name]}")
    unlisted = sorted(skipped - listed.keys())
    stale = sorted((listed.keys() & ran) - skipped)
    for name in unlisted:
        print(f"FAILED: {name} skipped and is not on the skip list for {platform}")
    for name in stale:
        print(f"FAILED: {name} is on the skip list for {platform} and did not skip")
    if not ran:
        print("FAILED: no test ran")
    return 1 if code != 0 or unlisted or stale or not ran else 0


if __name__ == "__main__":
    sys.exit(main())
