#!/usr/bin/python3 -B
"""Runs of the program that get in each other's way.

Two installs of two bundles, an install and a removal, and an install among readers (a loop of
status commands, and a reader that keeps opening the files), started together or shortly after one
another, for many rounds over changing previous states. On the host a preloaded library makes most
of the runs pause at some of the calls to the disk. race_rules.py says what is held of them, and why
not more.
"""

import collections
import random
import sys
import threading
import time

import campaign_run
import kill_rules
import campaign_sandbox as sandboxes
import campaign_trees as trees
from race_rules import Contestant, is_mixed, is_status_answer, judge, judge_with_readers

KINDS = ("two-installs", "install-removal", "install-readers")


class Reader:
    """Keeps reading every file at a target's places, and remembers what is no whole file."""

    def __init__(self, target, *whole):
        wanted = collections.defaultdict(set)
        for piece in target.pieces:
            for files in whole:
                for name, content in piece.content(files).items():
                    place = piece.place / name if name else piece.place
                    wanted[place].add(trees.digest_of(content))
        self.files = wanted.items()
        self.stopping = threading.Event()
        self.reads, self.torn = 0, []
        self.thread = threading.Thread(target=self._read)
        self.thread.start()

    def _read(self):
        while not self.stopping.is_set():
            for path, wanted in self.files:
                try:
                    found = trees.digest_of(path.read_bytes())
                except OSError:
                    continue  # it is not there at the moment
                self.reads += 1
                if found not in wanted:
                    self.torn.append(f"a reader saw a torn {path.name}")
            time.sleep(0.0005)  # leaves the program a share of the processor

    def stop(self):
        self.stopping.set()
        self.thread.join()


class Races:
    """Rounds of one kind of race at one target."""

    def __init__(self, sandbox, target, kind, second, shim):
        self.sandbox, self.target, self.kind, self.shim = sandbox, target, kind, shim
        self.second, self.second_files = second
        self.rounds = self.reads = self.statuses = 0
        self.outcomes = collections.Counter()
        self.violations = []
        old = sandboxes.plugin_copy("old")
        self.states = (("older", old), ("nothing", None), ("damaged", sandboxes.damaged(old)))
        for other in sandbox.targets:
            other.reset(None)
        sandbox.installer.run(target.install)
        self.seconds = sandbox.installer.seconds

    def round(self):
        chance = random.Random(self.rounds)
        state, old = self.states[self.rounds % len(self.states)]
        race = {"two-installs": self._two, "install-removal": self._two,
                "install-readers": self._among_readers}[self.kind]
        while True:
            # Without an older copy every other round finds nothing of OBS either.
            self.target.reset(old, with_parents=old is not None or self.rounds % 2 == 0)
            before = self.sandbox.outside(self.target)
            wrong, answers = race(old, chance)
            if not any(map(sandboxes.saw_obs, answers)):
                break
            time.sleep(0.1)  # some other test runs a process named obs64.exe
        self.rounds += 1
        wrong += self.sandbox.changes_outside(self.target, before)
        wrong += self._last_install()
        self.violations += [f"round {self.rounds} over {state}: {line} {answers}"
                            for line in wrong]

    def _environment(self, chance):
        if not self.shim or self.rounds % 4 == 0:
            return {}
        return {"LD_PRELOAD": str(self.shim), "KILL_SHIM_JITTER": str(chance.randrange(1 << 30))}

    def _two(self, old, chance):
        rival = (self.second, "install", self.second_files)
        if self.kind == "install-removal":
            rival = (self.sandbox.installer, "remove", None)
        entries = [(self.sandbox.installer, "install", self.sandbox.bundle), rival]
        chance.shuffle(entries)
        runs = []
        for installer, command, _ in entries:
            if runs and chance.random() < 0.5:
                time.sleep(chance.random() * self.seconds / 4)
            runs.append(installer.start(getattr(self.target, command),
                                        **self._environment(chance)))
        answers = [run.finish() for run in runs]
        if any(map(sandboxes.saw_obs, answers)):
            return [], answers
        contestants = [Contestant(f"{command}-{self.target.word}", self.target.wanted(files),
                                  answer, self.sandbox.platform.name)
                       for (_, command, files), answer in zip(entries, answers)]
        words = sorted(f"{run.command.split('-')[0]}:{run.meaning}" for run in contestants)
        if is_mixed(self.target, contestants):
            words.append("mixed")
        self.outcomes["+".join(words)] += 1
        return judge(self.sandbox.platform.name, self.target, self.target.wanted(old),
                     contestants), answers

    def _among_readers(self, old, chance):
        reader = Reader(self.target, *(files for files in (old, self.sandbox.bundle) if files))
        try:
            statuses, answer = self._with_statuses(chance)
        finally:
            reader.stop()
        if sandboxes.saw_obs(answer):
            return [], [answer]
        install = Contestant(f"install-{self.target.word}",
                             self.target.wanted(self.sandbox.bundle), answer,
                             self.sandbox.platform.name)
        self.outcomes[f"install:{install.meaning}"] += 1
        self.statuses += len(statuses)
        self.reads += reader.reads
        wrong = [f"a status answered {status}" for status in statuses
                 if not is_status_answer(self.target, status)]
        wrong += reader.torn + judge_with_readers(self.sandbox.platform.name, self.target,
                                                  self.target.wanted(old), install)
        return wrong, [answer]

    def _with_statuses(self, chance):
        """An install with status commands running all the while."""
        statuses = []
        first = self.sandbox.installer.start(self.target.status)
        time.sleep(chance.random() * self.seconds / 2)
        install = self.sandbox.installer.start(self.target.install, **self._environment(chance))
        statuses.append(first.finish())
        while install.process.poll() is None:
            statuses.append(self.sandbox.installer.run(self.target.status))
        return statuses, install.finish()

    def _last_install(self):
        wrong = []
        answer = self.sandbox.installer.run(self.target.install)
        if answer != kill_rules.INSTALLED:
            wrong.append(f"the last install: {answer}")
        answer = self.sandbox.installer.run(self.target.status)
        if answer.code != 0 or answer.err or not answer.out.startswith("state=installed-valid\n"):
            wrong.append(f"the last status: {answer}")
        if self.target.found() != self.target.wanted(self.sandbox.bundle):
            wrong.append("the last install is not whole in place")
        return wrong


def campaign(sandbox, options, figures):
    rounds = campaign_run.rounds_of({"host": 200, "wine": 100}[options.platform], options.share)
    other = sandboxes.plugin_copy("second", 200_000)
    second = sandbox.second_installer(other), other
    for target in sandbox.targets:
        for kind in KINDS:
            races = Races(sandbox, target, kind, second, options.shim)
            for _ in range(rounds):
                races.round()
            if kind == "install-readers" and not races.reads:
                races.violations.append("the reader has read nothing")
            figures.add(f"{kind} {target.word}", {"rounds": races.rounds}, races.violations,
                        reads=races.reads, statuses=races.statuses, **races.outcomes)


if __name__ == "__main__":
    sys.exit(campaign_run.run("races", "rounds", __doc__,
                              {"host": 200_000, "wine": 200_000}, campaign))
