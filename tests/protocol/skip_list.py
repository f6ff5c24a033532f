"""Holds the skips of a run against the checked-in list.

A line of the list names the tests' folder (protocol:), and there a whole file (test_file.py), a
test with all its cases (test_file.py::test_name), or one case (test_file.py::test_name[case]). A
skip that is not listed fails the run; so does a listed test that ran and did not skip.
"""

import pytest


def listed_skips(path, platform, prefix):
    skips = {}
    for line in path.read_text(encoding="utf-8").splitlines():
        if line.strip() and not line.startswith("#"):
            where, name, reason = line.split(None, 2)
            if where == platform and name.startswith(prefix):
                skips[name[len(prefix):]] = reason.strip()
    return skips


class SkipHold:
    def __init__(self, path, platform, folder):
        self._platform = platform
        self._listed = listed_skips(path, platform, f"{folder}:")
        self._ran = set()
        self._skipped = set()

    def pytest_runtest_logreport(self, report):
        # The folder before the file's name depends on where pytest was started.
        file, separator, test = report.nodeid.partition("::")
        case = file.rsplit("/", 1)[-1] + separator + test
        if report.skipped:
            self._skipped.add(case)
        elif report.when == "call":
            self._ran.add(case)

    def pytest_sessionfinish(self, session):
        if list(self._problems()) and session.exitstatus == pytest.ExitCode.OK:
            session.exitstatus = pytest.ExitCode.TESTS_FAILED

    def pytest_terminal_summary(self, terminalreporter):
        for name in sorted({self._listing_of(case) for case in self._skipped} - {None}):
            terminalreporter.write_line(f"skipped, as listed: {name}: {self._listed[name]}")
        for problem in self._problems():
            terminalreporter.write_line("FAILED: " + problem)

    def _listing_of(self, case):
        test = case.split("[", 1)[0]
        names = (case, test, test.split("::", 1)[0])
        return next((name for name in names if name in self._listed), None)

    def _problems(self):
        for case in sorted(self._skipped):
            if not self._listing_of(case):
                yield f"{case} skipped and is not on the skip list for {self._platform}"
        for case in sorted(self._ran):
            if self._listing_of(case):
                yield f"{case} is on the skip list for {self._platform} and did not skip"
