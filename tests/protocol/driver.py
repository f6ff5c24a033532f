"""A program that drives the installer, as a reader of docs/driving.md would write it.

It rests on that page alone: it takes the codes and their outcomes from the page's table.
"""

import re

from platforms import REPOSITORY

PAGE = (REPOSITORY / "docs" / "driving.md").read_text(encoding="utf-8")
RETRIES = 3


def outcomes_of_page():
    """The outcome of each command and exit code; of several answers with one code the first."""
    outcomes = {}
    for line in PAGE.splitlines():
        cells = [cell.strip() for cell in line.split("|")[1:-1]]
        if len(cells) == 6 and re.fullmatch(r"`--[a-z-]+`", cells[0]):
            first, _, last = cells[1].partition(" to ")
            for code in range(int(first), int(last or first) + 1):
                outcomes.setdefault((cells[0].strip("`"), code), cells[4])
    return outcomes


OUTCOMES = outcomes_of_page()


class Answer:
    def __init__(self, command, code, out, err):
        self.outcome = "usage" if code == 64 else OUTCOMES.get((command, code), "failed")
        self.code = code
        self.out, self.err = self._values(out), self._values(err)
        self.state = {**self.out, **self.err}.get("state")
        self.detail = self.err.get("detail")

    @staticmethod
    def _values(stream):
        lines = stream.decode("ascii").splitlines()
        return dict(line.split("=", 1) for line in lines if "=" in line)


class Driver:
    def __init__(self, start, pause, target, *root):
        """start runs the program with arguments; target is standard, or portable with its root.

        pause is called before each retry.
        """
        self._start = start
        self._pause = pause
        self._target = target
        self._root = root
        self.commands = []  # that were run

    def run(self, command, *arguments):
        self.commands.append(command)
        process = self._start(command, *arguments)
        out, err = process.communicate(timeout=60)  # reads both at the same time
        return Answer(command, process.returncode, out, err)

    def of_target(self, verb):
        return self.run(f"--{verb}-{self._target}", *self._root)

    def install(self):
        """Whether the plugin is installed at the end."""
        if self.run("--status-bundled").code != 0:
            return False
        while True:
            status = self.of_target("status")
            if status.code != 0 or status.state == "installed-valid":
                return status.code == 0
            if not self._insist("install"):
                return False

    def remove(self):
        return self._insist("remove")

    def _insist(self, verb):
        for _ in range(RETRIES):
            if self.of_target(verb).code == 0:
                return True
            self._pause()
        return self.of_target(verb).code == 0
