"""Kills under Wine: the real program's process is ended at moments spread over its run.

Half of the moments are shares of the measured duration of the run. The other half are aimed: the
folders that hold the target are watched, and the process is ended right after the Nth thing that
happened in them, or a little later. That is how a kill hits the instant between two renames.
"""

import collections
import ctypes
import os
import select
import signal
import time

import kill_rules
from kill_rules import INSTALLED, REMOVED
from campaign_sandbox import PATIENCE, saw_obs

Moment = collections.namedtuple("Moment", "event seconds")  # seconds after the start or the event

# From <sys/inotify.h>.
CREATED, DELETED, MOVED_TO = 0x100, 0x200, 0x80


class FolderWatch:
    """Counts what appears in some folders, new or moved, and what is deleted there."""

    def __init__(self, folders):
        libc = ctypes.CDLL(None, use_errno=True)
        self.queue = libc.inotify_init1(os.O_NONBLOCK | os.O_CLOEXEC)
        for folder in folders:
            mask = CREATED | DELETED | MOVED_TO
            if libc.inotify_add_watch(self.queue, os.fsencode(folder), mask) < 0:
                raise OSError(ctypes.get_errno(), f"could not watch {folder}")
        self.count = 0

    def wait(self, seconds):
        """Waits for something to happen; whether it did."""
        if not select.select([self.queue], [], [], seconds)[0]:
            return False
        events = os.read(self.queue, 65536)
        at = 0
        while at < len(events):
            at += 16 + int.from_bytes(events[at + 12:at + 16], "little")
            self.count += 1
        return True

    def close(self):
        os.close(self.queue)


def kill_at(run, watch, moment):
    """Ends a run at a moment; not when it has ended by itself before."""
    deadline = time.monotonic() + PATIENCE
    while watch.count < moment.event and run.process.poll() is None:
        if time.monotonic() > deadline:
            break
        watch.wait(0.02)
    since = time.monotonic() if moment.event else run.started
    time.sleep(max(0, since + moment.seconds - time.monotonic()))
    run.process.send_signal(signal.SIGKILL)  # to this one process; does nothing when it has ended


class WineKills:
    """The kills of one command over one previous state."""

    TIMED = AIMED = 20

    def __init__(self, sandbox, target, installs, old_files, mender):
        self.sandbox, self.target, self.installs, self.old = sandbox, target, installs, old_files
        self.mender, self.mended_files = mender
        self.arguments = target.install if installs else target.remove
        self.wanted = INSTALLED if installs else REMOVED
        self.kills = 0
        self.violations = []
        self.shapes = collections.Counter()
        self._measure()

    def _measure(self):
        """Lets a run end and checks how; its duration and the number of events."""
        self._reset()
        self.before = self.sandbox.outside(self.target)
        watch = self._watch()
        answer = self.sandbox.installer.run(self.arguments)
        self.seconds = self.sandbox.installer.seconds
        watch.wait(0)
        watch.close()
        self.events = watch.count
        files = self.sandbox.bundle if self.installs else None
        if answer != self.wanted or self.target.found() != self.target.wanted(files):
            self.violations.append(f"a run without a kill: {answer}")
        if not self.events:
            self.violations.append("a run without a kill: nothing was seen in the target's folders")

    def _reset(self):
        for target in self.sandbox.targets:
            target.reset(self.old if target is self.target else None)

    def _watch(self):
        return FolderWatch([piece.place.parent for piece in self.target.pieces])

    def moments(self):
        """All moments: those that the clock gives, then those that events give."""
        timed = [Moment(0, (i + 1) / (self.TIMED + 1) * self.seconds) for i in range(self.TIMED)]
        events = max(1, self.events)
        # Each event in turn, the first one last: the copying after it is hit by the clock. Then
        # again, ever later after the event.
        return timed + [Moment(1 + (1 + i) % events, 0.0005 * (i // events))
                        for i in range(self.AIMED)]

    def kill(self, moment):
        self._reset()
        watch = self._watch()
        run = self.sandbox.installer.start(self.arguments)
        kill_at(run, watch, moment)
        answer = run.finish()
        watch.close()
        if saw_obs(answer):
            time.sleep(0.1)
            self.kill(moment)
            return
        if answer.code != -signal.SIGKILL:  # it has ended before
            if answer != self.wanted:
                self.violations.append(f"not killed at {moment}: {answer}")
            return
        self.kills += 1
        self._settle()
        after = kill_rules.Aftermath(self.target, self.old, self.sandbox.bundle)
        self.shapes[after.shape()] += 1
        # Its name holds the process id that Wine gave it, which is not the one known here.
        if self.installs:
            wrong = kill_rules.judge_install(after, None, rolls_back=False)
        else:
            wrong = kill_rules.judge_removal(after, None)
        wrong += self.sandbox.changes_outside(self.target, self.before)
        wrong += kill_rules.mend(self.target, self.mender, self.mended_files, after,
                                 removal_first=self.kills % 2 == 1)
        wrong += self.sandbox.changes_outside(self.target, self.before)
        self.violations += [f"killed at {moment}: {line} [{after.shape()}]" for line in wrong]

    def _settle(self):
        """Waits until Wine's server has closed what the killed process had open."""
        seen = None
        while seen != (now := [sorted(os.walk(piece.place.parent)) for piece in
                               self.target.pieces]):
            seen = now
            time.sleep(0.03)
