"""Kills on the host: the preloaded library ends the program before one call after another."""

import collections
import signal

import kill_rules
from kill_rules import INSTALLED, NOT_INSTALLED, REMOVED
from campaign_sandbox import Answer
from payload import REQUIRED, below_data

# refuse: what the library makes fail, so that the run rolls back; wanted: how a run that is not
# killed ends when there is an older copy.
Scenario = collections.namedtuple("Scenario", "title target installs refuse wanted")
Point = collections.namedtuple("Point", "number is_move text")


def scenarios(standard, portable):
    def undone(code, text):
        return Answer(code, "", f"state=install-failed\ndetail={text}\n")

    standard_undone = undone(26, "Plugin replacement failed and was rolled back")
    portable_undone = undone(46, "Portable OBS plugin verification failed and was rolled back")
    return (
        Scenario("--install-standard", standard, True, None, INSTALLED),
        Scenario("--remove-standard", standard, False, None, REMOVED),
        Scenario("--install-portable", portable, True, None, INSTALLED),
        Scenario("--remove-portable", portable, False, None, REMOVED),
        Scenario("--install-standard,swap-refused", standard, True, ".k7k-obs-audio.staging.",
                 standard_undone),
        Scenario("--install-standard,unverifiable", standard, True,
                 "plugins/k7k-obs-audio/manifest.sha256", standard_undone),
        Scenario("--install-portable,library-refused", portable, True, ".portable-dll-staging.",
                 undone(45, "Portable OBS plugin replacement failed and was rolled back")),
        Scenario("--install-portable,data-refused", portable, True, ".portable-data-staging.",
                 portable_undone),
        Scenario("--install-portable,unverifiable", portable, True,
                 f"data/obs-plugins/k7k-obs-audio/{below_data(REQUIRED[-1])}", portable_undone),
    )


# Between copying and swapping, between the renames, in the middle of a deletion.
STATES_TO_HIT = {
    "--install-standard": (
        "k7k-obs-audio old, staging broken",
        "k7k-obs-audio absent, backup old, staging new",
        "k7k-obs-audio new, backup broken"),
    "--remove-standard": (
        "k7k-obs-audio absent, remove-backup old",
        "k7k-obs-audio absent, remove-backup broken"),
    "--install-portable": (
        "k7k-obs-audio.dll old, portable-dll-staging broken; k7k-obs-audio old",
        "k7k-obs-audio.dll absent, portable-dll-backup old, portable-dll-staging new; "
        "k7k-obs-audio absent, portable-data-backup old, portable-data-staging new",
        "k7k-obs-audio.dll new, portable-dll-backup old; "
        "k7k-obs-audio absent, portable-data-backup old, portable-data-staging new",
        "k7k-obs-audio.dll new; k7k-obs-audio new, portable-data-backup broken"),
    "--remove-portable": (
        "k7k-obs-audio.dll absent, portable-remove-dll old; k7k-obs-audio old",
        "k7k-obs-audio.dll absent; k7k-obs-audio absent, portable-remove-data broken"),
}


class HostKills:
    """All kill points of one scenario over one previous state."""

    def __init__(self, sandbox, shim, scenario, old_files):
        self.sandbox, self.scenario, self.old = sandbox, scenario, old_files
        self.target = scenario.target
        self.arguments = self.target.install if scenario.installs else self.target.remove
        self.environment = {"LD_PRELOAD": str(shim)}
        if scenario.refuse:
            self.environment["KILL_SHIM_REFUSE"] = scenario.refuse
        self.violations = []
        self.shapes = collections.Counter()
        self.reset()
        self.before = sandbox.outside(self.target)

    def reset(self):
        # Without an older copy there is nothing of OBS either.
        self.target.reset(self.old, with_parents=self.old is not None)

    def points(self):
        """Lets a run end, checks how, and returns every point that it came by."""
        log = self.sandbox.work / "points"
        log.write_bytes(b"")
        answer = self.sandbox.installer.run(self.arguments, KILL_SHIM_LOG=str(log),
                                            **self.environment)
        self.check_finished(answer)
        lines = log.read_text().splitlines()
        return [Point(number, " rename" in line, line) for number, line in enumerate(lines, 1)]

    def check_finished(self, answer):
        wanted = self.scenario.wanted
        if self.old is None and not self.scenario.installs:
            wanted = NOT_INSTALLED
        files = self.old
        if wanted in (INSTALLED, REMOVED):
            files = self.sandbox.bundle if wanted == INSTALLED else None
        if answer != wanted:
            self.violations.append(f"a run without a kill: {answer}")
        if self.target.found() != self.target.wanted(files):
            self.violations.append("a run without a kill left another state than it should")
        if any(piece.privates() for piece in self.target.pieces):
            self.violations.append("a run without a kill left a private name")

    def check_shapes(self):
        """The kills must have come at the steps that this campaign is about."""
        if self.old is not None:
            self.violations += [f"no kill left this state: {shape}"
                                for shape in STATES_TO_HIT.get(self.scenario.title, ())
                                if not self.shapes[shape]]

    def kill_at(self, point, removal_first):
        self.reset()
        answer = self.sandbox.installer.run(self.arguments, KILL_SHIM_AT=str(point.number),
                                            **self.environment)
        wrong = []
        if answer.code != -signal.SIGKILL:
            wrong.append(f"the run was not killed: {answer}")
        after = kill_rules.Aftermath(self.target, self.old, self.sandbox.bundle)
        self.shapes[after.shape()] += 1
        installer = self.sandbox.installer
        if self.scenario.installs:
            wrong += kill_rules.judge_install(after, installer.process, bool(self.scenario.refuse))
        else:
            wrong += kill_rules.judge_removal(after, installer.process)
        wrong += self.sandbox.changes_outside(self.target, self.before)
        wrong += kill_rules.mend(self.target, installer, self.sandbox.bundle, after,
                                 removal_first=removal_first)
        wrong += self.sandbox.changes_outside(self.target, self.before)
        self.violations += [f"KILL_SHIM_AT={point.number} ({point.text}): {line} [{after.shape()}]"
                            for line in wrong]
