#!/usr/bin/python3 -B
"""Shows that the rules of the campaigns can find something wrong.

They are given states and answers that no run may leave, and some that a run may; the swaps get a
removal that follows links. Needs no program.
"""

import pathlib
import sys
import tempfile
import time

import campaign_sandbox as sandboxes
import campaign_trees as trees
import race_rules
from campaign_sandbox import Answer
from kill_rules import INSTALLED, NOT_INSTALLED, REMOVED, Aftermath, judge_install, judge_removal
from swap_campaign import SwapRounds
from targets import PortableTarget, standard_target

OLD, NEW = sandboxes.plugin_copy("old", 100), sandboxes.plugin_copy("new", 100)
HALF = sandboxes.damaged(NEW)
ROLLED_BACK = Answer(26, "", "state=install-failed\n"
                             "detail=Plugin replacement failed and was rolled back\n")


class Careless:
    """In the place of the program: deletes a file of the plugin by its path until the bystander's
    is gone, so through a link as well."""

    def __init__(self, place, bystander):
        self.file, self.behind = place / "manifest.sha256", bystander / "manifest.sha256"

    def run(self, _arguments, **_environment):
        end = time.monotonic() + 30
        while self.behind.exists() and time.monotonic() < end:
            self.file.unlink(missing_ok=True)
        return REMOVED


class Idle:
    """In the place of the program: does nothing and answers as it is told."""

    def __init__(self, answer):
        self.answer = answer

    def run(self, _arguments, **_environment):
        time.sleep(0.05)
        return self.answer


class Check:
    """Makes states by hand: what is in place and what is under private names, for each piece."""

    def __init__(self, folder):
        self.standard = standard_target(folder / "program-data")
        self.portable = PortableTarget(folder / "obs", str(folder / "obs"))
        self.failures = self.checks = 0

    def make(self, target, *pieces):
        """pieces: for each the files in place, then the files by the tag of a private name."""
        target.reset(None)
        for piece, (in_place, privates) in zip(target.pieces, pieces):
            if in_place:
                trees.write_files(piece.place, piece.content(in_place))
            for tag, files in privates.items():
                trees.write_files(piece.place.parent / f".k7k-obs-audio.{tag}.1.2",
                                  piece.content(files))

    def expect(self, what, wanted, found):
        """wanted: words of one of the lines found; None when nothing may be wrong."""
        self.checks += 1
        right = not found if wanted is None else any(wanted in line for line in found)
        if not right:
            self.failures += 1
            print(f"  {what}: expected {wanted or 'nothing'}, found {found}")

    def kills(self):
        def install(what, wanted, target, *pieces, rolls_back=False, process=1):
            self.make(target, *pieces)
            self.expect(what, wanted, judge_install(Aftermath(target, OLD, NEW), process,
                                                    rolls_back))

        def removal(what, wanted, target, *pieces):
            self.make(target, *pieces)
            self.expect(what, wanted, judge_removal(Aftermath(target, OLD, NEW), 1))

        one, two = self.standard, self.portable
        install("between the moves", None, one, (None, {"backup": OLD, "staging": NEW}))
        install("old copy gone", "is gone", one, (None, {"staging": NEW}))
        install("half a copy in place", "neither old nor new", one, (HALF, {"backup": OLD}))
        install("a rollback deletes", None, one, ({"manifest.sha256": NEW["manifest.sha256"]},
                                                  {"backup": OLD}), rolls_back=True)
        install("a wrong private name", "unexpected", one, (OLD, {"remove-backup": OLD}))
        install("another run's private name", "unexpected", one, (OLD, {"staging": NEW}), process=3)
        install("a backup of something else", "did not", one, (NEW, {"backup": NEW}))
        install("old data gone too early", "old k7k-obs-audio is gone", two,
                (OLD, {}), (None, {"portable-data-staging": NEW}))
        removal("moved aside", None, one, (None, {"remove-backup": OLD}))
        removal("half deleted in place", "neither whole", one, (sandboxes.damaged(OLD), {}))
        removal("deleted before all was moved", "before everything", two, (None, {}), (OLD, {}))

    def races(self):
        def race(what, wanted, in_place, *runs, privates=()):
            self.make(self.standard, (in_place, dict(privates)))
            contestants = [race_rules.Contestant(command, self.standard.wanted(files), answer,
                                                 "host") for command, files, answer in runs]
            self.expect(what, wanted, race_rules.judge("host", self.standard,
                                                       self.standard.wanted(OLD), contestants))

        new, old = ("install-standard", NEW, INSTALLED), ("install-standard", OLD, INSTALLED)
        undone, removed = ("install-standard", OLD, ROLLED_BACK), ("remove-standard", None, REMOVED)
        race("two installs", None, NEW, new, old)
        race("success over a half copy", "neither copy", HALF, new, old)
        race("success over nothing", "neither copy", None, new, old)
        race("half a copy beside a success", "not whole", HALF, new, undone)
        race("half a copy after a removal", "not whole", HALF, new, removed)
        race("a crash", "answered", NEW, new, ("install-standard", OLD, Answer(-11, "", "")))
        race("a success without its line", "answered", NEW, ("install-standard", NEW,
                                                             Answer(0, "", "")), old)
        race("a staging left", "stayed behind", NEW, new, old, privates=(("staging", NEW),))
        install = race_rules.Contestant("install-standard", self.standard.wanted(NEW), ROLLED_BACK,
                                        "host")
        self.make(self.standard, (None, {"backup": NEW}))
        found = race_rules.judge_with_readers("host", self.standard, self.standard.wanted(OLD),
                                              install)
        self.expect("held up by readers", "held the install up", found)
        self.expect("old copy lost among readers", "is lost", found)

    def swaps(self, folder):
        files = sandboxes.plugin_copy("old", extra_files=sandboxes.BYSTANDER_FILES)
        # The program is copied and not started.
        sandbox = sandboxes.Sandbox("host", sys.executable, folder / "swaps", NEW)
        rounds = SwapRounds(sandbox, sandbox.targets[0], "remove", files, "no shim")
        careless = Careless(rounds.places[0][0], rounds.bystander)
        for what, wanted, program in (
                ("a removal through a link", "outside", careless),
                ("nothing done", None, Idle(NOT_INSTALLED)),
                ("another command's answer", "the answer", Idle(INSTALLED)),
                ("a failure without its line", "the answer", Idle(Answer(34, "", ""))),
                ("a crash", "the answer", Idle(Answer(-11, "", "")))):
            sandbox.installer = program
            rounds.rounds = 0  # the same place each time
            rounds.violations = []
            rounds.round()
            self.expect(what, wanted, rounds.violations)


def main():
    with tempfile.TemporaryDirectory() as folder:
        check = Check(pathlib.Path(folder))
        check.kills()
        check.races()
        check.swaps(pathlib.Path(folder))
    print(f"rules: checks={check.checks} failures={check.failures}")
    return 1 if check.failures else 0


if __name__ == "__main__":
    sys.exit(main())
