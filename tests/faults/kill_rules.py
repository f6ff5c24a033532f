"""What a run that was killed may leave behind, and what the runs after it must do.

A kill may come between any two calls, so only the order in which a transaction moves and deletes
can keep a copy whole:
- an install deletes nothing of the old copy before the new one is at its place and verified, and
  puts a new piece at its place whole, by one rename;
- a removal deletes nothing before every piece has been moved to a private name;
- what is at its place is therefore the whole old piece, the whole new one, or nothing. The one
  exception is the rollback after a failed verification: it deletes what it has just put there, and
  a kill then leaves a remainder of the new piece, with the old one whole under its backup name.

A killed run's private names stay: no later run uses them or cleans them up. With two pieces the
old half and the new half of a pair may be at their places together; each piece is judged alone.
"""

import campaign_trees as trees
from campaign_sandbox import Answer

INSTALLED = Answer(0, "state=installed\n", "")
REMOVED = Answer(0, "state=removed\n", "")
NOT_INSTALLED = Answer(0, "state=not-installed\n", "")


class Aftermath:
    """What one killed run has left of one target."""

    def __init__(self, target, old_files, new_files):
        self.pieces = target.pieces
        self.old, self.new = target.wanted(old_files), target.wanted(new_files)
        self.at_place = target.found()
        self.privates = [piece.privates() for piece in target.pieces]

    def shape(self):
        """The state in words: two kills with the same words came at the same step."""
        return "; ".join(self._piece_shape(*state) for state in zip(
            self.pieces, self.old, self.new, self.at_place, self.privates))

    def _piece_shape(self, piece, old, new, at_place, privates):
        words = [f"{piece.place.name} {_name(at_place, old, new)}"]
        words += [f"{tag} {_name(tree, old, new)}" for (tag, _), tree in sorted(privates.items())]
        return ", ".join(words)

    def private(self, piece, tag):
        """The tree under a private name of a piece, None when there is none."""
        found = [tree for (name, _), tree in self.privates[piece].items() if name == tag]
        return found[0] if found else None

    def unexpected_names(self, tags_of, process):
        """Private names that the command never makes, or that are not this process's."""
        return [f"unexpected private name with tag {tag}, process {owner}"
                for piece, privates in zip(self.pieces, self.privates)
                for tag, owner in privates
                if tag not in tags_of(piece) or process not in (None, owner)]


def _name(tree, old, new):
    if tree is None:
        return "absent"
    if tree == new:
        return "new"
    if tree == old:
        return "old"
    return "broken"


def judge_install(after, process, rolls_back):
    """Lines for what is wrong after a killed install. rolls_back: its verification is made to fail,
    so that it deletes what it has put in place."""
    wrong = after.unexpected_names(lambda piece: (piece.staging, piece.backup), process)
    all_new = after.at_place == after.new
    for i, piece in enumerate(after.pieces):
        old, new, at_place = after.old[i], after.new[i], after.at_place[i]
        backup = after.private(i, piece.backup)
        whole = at_place in (None, old, new)
        if not whole and not (rolls_back and trees.is_remainder(at_place, new)):
            wrong.append(f"{piece.place.name} is neither old nor new nor gone")
        if not trees.has_names_of(after.private(i, piece.staging), new):
            wrong.append(f"the staging of {piece.place.name} holds what the bundle does not")
        if not trees.is_remainder(backup, old):
            wrong.append(f"the backup of {piece.place.name} holds what the old copy did not")
        if old is not None and old not in (at_place, backup) and not all_new:
            wrong.append(f"the old {piece.place.name} is gone and the new copy is not in place")
    return wrong


def judge_removal(after, process):
    """Lines for what is wrong after a killed removal."""
    wrong = after.unexpected_names(lambda piece: (piece.removal,), process)
    detached = all(tree is None for tree in after.at_place)
    for i, piece in enumerate(after.pieces):
        old, at_place = after.old[i], after.at_place[i]
        backup = after.private(i, piece.removal)
        if at_place not in (None, old):
            wrong.append(f"{piece.place.name} is neither whole nor gone")
        if not trees.is_remainder(backup, old):
            wrong.append(f"the backup of {piece.place.name} holds what the old copy did not")
        if old not in (at_place, backup) and not detached:
            wrong.append(f"{piece.place.name} was deleted before everything was moved aside")
    return wrong


def mend(target, installer, new_files, after, removal_first):
    """Runs the next install, the next status and the next removal, or a removal before all of them.
    Lines for what is wrong."""
    wrong = []
    if removal_first:
        wrong += _remove(target, installer,
                         NOT_INSTALLED if after.at_place == target.wanted(None) else REMOVED)
    answer = installer.run(target.install)
    if answer != INSTALLED:
        wrong.append(f"the next install: {answer}")
    if target.found() != target.wanted(new_files):
        wrong.append("the next install did not put the whole new copy in place")
    answer = installer.run(target.status)
    if answer.code != 0 or answer.err or not answer.out.startswith("state=installed-valid\n"):
        wrong.append(f"the next status: {answer}")
    wrong += _remove(target, installer, REMOVED)
    if [piece.privates() for piece in target.pieces] != after.privates:
        wrong.append("a later run touched the killed run's private names, or left its own")
    return wrong


def _remove(target, installer, wanted):
    wrong = []
    answer = installer.run(target.remove)
    if answer != wanted:
        wrong.append(f"the next removal: {answer}")
    if target.found() != target.wanted(None):
        wrong.append("the next removal left something of the plugin in place")
    return wrong
