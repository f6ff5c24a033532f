"""A program that drives the installer, as a reader of docs/driving.md would write it.

It rests on that page alone: it takes the codes and their outcomes from the page's table.
"""

import re

from platforms import REPOSITORY

PAGE = (REPOSITORY / "docs" / "driving.md").read_text(encoding="utf-8")
TRIES = 3


def table_of_page():
    """The answers of each command and exit code: states, outcome, whether trying again helps."""
    answers = {}
    for line in PAGE.splitlines():
        cells = [cell.strip() for cell in line.split("|")[1:-1]]
        if len(cells) == 6 and re.fullmatch(r"`--[a-z-]+`", cells[0]):
            first, _, last = cells[1].partition(" to ")
            for code in range(int(first), int(last or first) + 1):
                states = re.findall(r"`state=([a-z-]+)`", cells[2])
                answers.setdefault((cells[0].strip("`"), code), []).append(
                    (states, cells[4], cells[5]))
    return answers


TABLE = table_of_page()


class Answer:
    def __init__(self, command, code, out, err):
        self.code = code
        self.out, self.err = self._values(out), self._values(err)
        self.state = {**self.out, **self.err}.get("state")
        self.detail = self.err.get("detail")
        self.outcome, self.retry = self._meaning(command)

    def _meaning(self, command):
        if self.code == 64:
            return "usage", "no"
        for states, outcome, retry in TABLE.get((command, self.code), []):
            if self.state in (states or [None]):
                return outcome, retry
        return "failed", "may help"  # a crash

    @staticmethod
    def _values(stream):
        lines = stream.decode("ascii").splitlines()
        return dict(line.split("=", 1) for line in lines if "=" in line)


class Driver:
    def __init__(self, start, pause, target, *root):
        """start runs the program with arguments; target is standard, or portable with its root.

        pause is called before each try but the first.
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
        for tries_left in reversed(range(TRIES + 1)):
            status = self.of_target("status")
            if status.code != 0 or status.state == "installed-valid":
                return status.code == 0
            if tries_left == 0 or not self._try_worked_or_may("install", tries_left):
                return False
        return False

    def remove(self):
        """Whether the plugin is absent at the end."""
        for tries_left in reversed(range(TRIES)):
            answer = self.of_target("remove")
            if answer.code == 0:
                if self.of_target("status").state == "not-installed":
                    return True
            elif answer.retry != "may help":
                return False
            if tries_left:
                self._pause()
        return False

    def _try_worked_or_may(self, verb, tries_left):
        answer = self.of_target(verb)
        if answer.code == 0:
            return True
        if answer.retry != "may help" or tries_left == 1:
            return False
        self._pause()
        return True
