#!/usr/bin/python3 -B
"""Status checks, removals and installs while a link comes and goes in the place of a folder.

A process of its own exchanges a folder of the installed plugin with a link to the same folder of a
bystander, atomically, as fast as it can and with short pauses. It holds the folder around it open,
so it goes on when the program moves the plugin aside. The bystander has the same names below it:
whatever the program did through the link would show. Nothing outside the target may ever change,
and each answer must be one that the command is documented to give.

The link takes the place of the plugin itself, of a folder below it, or of the library; not of the
folder that holds the plugin: a plugin is installed to where its parent's path leads.

This is for the host. Wine deletes an opened file by its whole Unix path when the handle is closed,
and moves what is behind a Unix link instead of the link: a link that a Unix process swaps in can
win there whatever a program does, so a violation would say nothing about the program.
"""

import ctypes
import errno
import mmap
import os
import random
import re
import signal
import sys
import time

import campaign_run
import campaign_sandbox as sandboxes
import campaign_trees as trees

EXCHANGE = 2  # RENAME_EXCHANGE of <linux/fs.h>

# The codes with which each command can end there, and the line that goes with the code.
STATUS = r"state=(not-installed|installed-valid|installed-invalid)\nobsRunning=[01]\n"
REMOVED = r"state=(removed|not-installed)\n"
REFUSED = {40: "target-invalid"}
ANSWERS = {
    "status-standard": (STATUS, {}),
    "install-standard": (r"state=installed\n", dict.fromkeys((24, 25, 26), "install-failed")),
    "remove-standard": (REMOVED, dict.fromkeys((34, 35), "remove-failed")),
    "status-portable": (STATUS, REFUSED),
    "install-portable": (r"state=installed\n",
                         REFUSED | dict.fromkeys((44, 45, 46), "install-failed")),
    "remove-portable": (REMOVED, REFUSED | dict.fromkeys((54, 55), "remove-failed")),
}
DETAIL = r"detail=[^\n]*\n"


class Swapper:
    """Exchanges what is at a path with a link, in a child process, until stopped."""

    def __init__(self, path, spare, seed):
        """spare: where the link waits, on the same file system."""
        folder = os.open(path.parent, os.O_RDONLY | os.O_DIRECTORY)
        spare_folder = os.open(spare.parent, os.O_RDONLY | os.O_DIRECTORY)
        self.count = mmap.mmap(-1, 8)
        self.parent = os.getpid()
        self.child = os.fork()
        if self.child == 0:
            try:
                self._swap(folder, os.fsencode(path.name), spare_folder,
                           os.fsencode(spare.name), random.Random(seed))
            finally:
                os._exit(1)
        os.close(folder)
        os.close(spare_folder)

    def _swap(self, folder, name, spare_folder, spare, chance):
        exchange = ctypes.CDLL(None, use_errno=True).renameat2
        swaps = 0
        while os.getppid() == self.parent:
            if exchange(folder, name, spare_folder, spare, EXCHANGE) == 0:
                swaps += 1
                self.count[:8] = swaps.to_bytes(8, "little")
            elif ctypes.get_errno() == errno.ENOENT:
                time.sleep(0.0001)  # it is being moved, or gone
            if chance.random() < 0.3:
                time.sleep(chance.random() * 0.0005)

    def stop(self):
        """The number of swaps."""
        os.kill(self.child, signal.SIGKILL)
        os.waitpid(self.child, 0)
        return int.from_bytes(self.count[:8], "little")


def places(target):
    """What is exchanged: paths of the target, each with the bystander's name for the same."""
    return [(piece.place / name, os.path.join(piece.origin, name).strip("/"))
            for piece in target.pieces for name, entry in sorted(piece.tree().items())
            if name == "" or entry == trees.FOLDER]


def is_documented(command, answer):
    success, failures = ANSWERS[command]
    if answer.code == 0:
        # What is wrong with an installed copy, or what an install could not delete.
        return bool(re.fullmatch(success, answer.out) and
                    re.fullmatch(f"({DETAIL})?", answer.err))
    if answer.code not in failures or answer.out:
        return False
    return bool(re.fullmatch(f"state={failures[answer.code]}\n{DETAIL}", answer.err))


class SwapRounds:
    """Rounds of one command of one target while links are swapped in."""

    def __init__(self, sandbox, target, command, old_files, shim):
        self.sandbox, self.target, self.command, self.old = sandbox, target, command, old_files
        self.shim = shim
        self.rounds = self.swaps = self.failures = 0
        self.violations = []
        self.spare = sandbox.work / "spare" / "link"
        self.bystander = sandbox.box / "outside"
        for other in sandbox.targets:
            other.reset(old_files if other is target else None)
        self.before = sandbox.outside(target)
        self.places = places(target)

    def round(self):
        path, name = self.places[self.rounds % len(self.places)]
        self.target.reset(self.old)
        trees.remove(self.spare.parent)
        self.spare.parent.mkdir()
        self.spare.symlink_to(self.bystander / name if name else self.bystander)
        # Pauses between the calls, so that more of the swaps come between a check and its use.
        pauses = {"LD_PRELOAD": str(self.shim), "KILL_SHIM_JITTER": str(self.rounds * 7919 + 1)}
        swapper = Swapper(path, self.spare, self.rounds)
        try:
            answer = self.sandbox.installer.run(getattr(self.target, self.command), **pauses)
        finally:
            swaps = swapper.stop()
        self.rounds += 1
        self.swaps += swaps
        self.failures += answer.code != 0
        wrong = self.sandbox.changes_outside(self.target, self.before)
        if not is_documented(f"{self.command}-{self.target.word}", answer):
            wrong.append("the answer")
        if self.command == "status":
            wrong += self._changes_of_status(path)
        if wrong:
            self.violations += [f"round {self.rounds}, {path.name} swapped {swaps} times: {line} "
                                f"[{answer}]" for line in wrong]
            self._mend_bystander()

    def _changes_of_status(self, path):
        """Nothing may have changed at the target either, once the folder is put back."""
        if path.is_symlink():
            path.unlink()
            os.rename(self.spare, path)
        if self.target.found() != self.target.wanted(self.old):
            return ["a status changed the target"]
        return []

    def _mend_bystander(self):
        """So that the next round finds its own violations only."""
        trees.remove(self.bystander)
        self.sandbox.make_bystander()


def campaign(sandbox, options, figures):
    rounds = campaign_run.rounds_of(200, options.share)
    old = sandboxes.plugin_copy("old", extra_files=sandboxes.BYSTANDER_FILES)
    for target in sandbox.targets:
        for command in ("status", "remove", "install"):
            swapped = SwapRounds(sandbox, target, command, old, options.shim)
            for _ in range(rounds):
                swapped.round()
            if not swapped.swaps:
                swapped.violations.append("nothing was swapped")
            figures.add(f"{target.word} {command}",
                        {"swaps": swapped.swaps, "rounds": swapped.rounds}, swapped.violations,
                        refused_or_rolled_back=swapped.failures)


if __name__ == "__main__":
    sys.exit(campaign_run.run("swaps", "swaps", __doc__, {"host": 200_000}, campaign))
