"""What two runs at once may answer, and what can be said of the target afterwards.

The program takes no lock. Two transactions see each other's moves, and the rollback of one removes
what is at its place, also when the other has just put it there and reported success. So "the last
success is in place" does not hold for every pair. What does hold, and is checked:

 1. Each run ends by itself with one of the answers listed here, word for word.
 2. A run that answers that it could not start its first move has changed nothing. So when all other
    runs answer that, one success is exactly in place (and after a removal nothing is); when all
    runs do, everything is as before.
 3. Two installs that both succeed leave exactly one of the two copies, never a mixed pair: all
    moves of a run come before its own verification, and nobody moves after the later one.
 4. What is at its place is a whole piece of the old or of a new copy, or nothing; never a part of
    one. It is moved there by one rename, and only a rollback deletes at that place, and it deletes
    all. Not claimed for two installs that both failed (the one may put back as its backup what the
    other's rollback was deleting), and on Windows not when a run was rolled back: a file that the
    other run is verifying cannot be deleted there, so the rollback leaves it.
 5. No staging stays behind: nobody but its owner knows its name.
 6. An install among readers: on the host readers hold nothing up, so it succeeds. On Windows they
    may, and then the old copy is whole at its place or under its backup name. A reader of the
    files at their place sees whole files of the old or the new copy only.
 7. A last install on its own succeeds and its status is installed-valid. Nothing outside the target
    has changed.
"""

from kill_rules import INSTALLED, NOT_INSTALLED, REMOVED
from campaign_sandbox import Answer

# What an answer says about the run: it did all of its work; nothing at all at the target's places;
# or it moved something and took it back as far as it could.
DONE, UNTOUCHED, UNDONE = "done", "untouched", "undone"

UNSAFE_PIECES = ("The portable OBS plugin DLL path is unsafe",
                 "The portable OBS plugin data path is unsafe")


def _failed(code, state, *details):
    return [Answer(code, "", f"state={state}\ndetail={detail}\n") for detail in details]


# command: meaning: answers, on both platforms.
EVERYWHERE = {
    "install-standard": {
        DONE: [INSTALLED],
        UNTOUCHED: _failed(25, "install-failed",
                           "Could not back up the existing plugin; OBS may be running"),
        UNDONE: _failed(26, "install-failed", "Plugin replacement failed and was rolled back"),
    },
    "remove-standard": {
        DONE: [REMOVED],
        UNTOUCHED: [NOT_INSTALLED,
                    *_failed(34, "remove-failed", "Installed plugin path is unsafe"),
                    *_failed(35, "remove-failed",
                             "Could not isolate the plugin; OBS may be running")],
    },
    "install-portable": {
        DONE: [INSTALLED],
        UNTOUCHED: [*_failed(40, "target-invalid", *UNSAFE_PIECES),
                    *_failed(44, "install-failed", *UNSAFE_PIECES),
                    *_failed(45, "install-failed", "Could not back up the portable OBS plugin DLL; "
                                                   "OBS may be running")],
        UNDONE: [*_failed(45, "install-failed", "Could not back up portable OBS plugin data"),
                 *_failed(46, "install-failed",
                          "Portable OBS plugin verification failed and was rolled back")],
    },
    "remove-portable": {
        DONE: [REMOVED],
        UNTOUCHED: [NOT_INSTALLED,
                    *_failed(40, "target-invalid", *UNSAFE_PIECES),
                    *_failed(54, "remove-failed", *UNSAFE_PIECES),
                    *_failed(55, "remove-failed", "Could not isolate the portable plugin DLL; "
                                                  "OBS may be running")],
        UNDONE: _failed(55, "remove-failed", "Could not isolate portable plugin data"),
    },
}

# More under Wine: a status query may fail while another process deletes the entry, and what another
# process reads can neither be deleted nor, when it is a file, be replaced.
ON_WINDOWS = {
    "install-standard": {
        UNTOUCHED: _failed(25, "install-failed", "Could not inspect the existing plugin"),
    },
    "remove-standard": {
        UNTOUCHED: _failed(35, "remove-failed", "Could not inspect the installed plugin"),
        UNDONE: _failed(35, "remove-failed", "Plugin removal failed and was rolled back",
                        "Plugin removal failed and its backup could not be restored"),
    },
    "install-portable": {
        UNTOUCHED: [*_failed(40, "target-invalid", ""), *_failed(44, "install-failed", ""),
                    *_failed(45, "install-failed", "Could not inspect portable OBS targets")],
        UNDONE: _failed(45, "install-failed",
                        "Portable OBS plugin replacement failed and was rolled back"),
    },
    "remove-portable": {
        UNTOUCHED: [*_failed(40, "target-invalid", ""), *_failed(54, "remove-failed", ""),
                    *_failed(55, "remove-failed", "")],
        UNDONE: _failed(55, "remove-failed",
                        "Portable plugin was detached, but a private backup remains"),
    },
}

STATUS_DETAILS = {
    "standard": ("Could not inspect the installed bundle", "Path does not exist",
                 "Bundle is missing a required plugin file", "A required plugin file is empty",
                 "Bundle integrity manifest is missing", "Bundle file hash does not match manifest",
                 "Installed OBS plugin files differ from the bundled connector"),
    "portable": (*UNSAFE_PIECES,
                 "Portable OBS plugin files are incomplete or differ from the bundled connector"),
}


def meaning(platform, command, answer):
    """DONE, UNTOUCHED or UNDONE; None for an answer that no race explains."""
    tables = (EVERYWHERE,) if platform == "host" else (EVERYWHERE, ON_WINDOWS)
    for table in tables:
        for word, answers in table[command].items():
            if answer in answers:
                return word
    return None


def is_status_answer(target, answer):
    """Whether a status in the middle of an install may answer this."""
    if answer in _failed(40, "target-invalid", *UNSAFE_PIECES, "") and target.word == "portable":
        return True
    words = {f"state={word}\nobsRunning={number}\n": word for number in (0, 1)
             for word in ("not-installed", "installed-valid", "installed-invalid")}
    if answer.code != 0 or answer.out not in words:
        return False
    if answer.err == "" or words[answer.out] == "installed-valid":
        return answer.err == ""
    return answer.err in [f"detail={text}\n" for text in STATUS_DETAILS[target.word]]


class Contestant:
    """One of the runs: its command, what it wants to see in place (nothing after a removal)."""

    def __init__(self, command, wanted, answer, platform):
        self.command, self.wanted, self.answer = command, wanted, answer
        self.meaning = meaning(platform, command, answer)


def judge(platform, target, old, contestants):
    """Lines for what is wrong after all runs have ended. old: the trees that were in place."""
    wrong = [f"{run.command} answered {run.answer}" for run in contestants if not run.meaning]
    found = target.found()
    done = [run for run in contestants if run.meaning == DONE]
    undone = [run for run in contestants if run.meaning == UNDONE]
    if not undone and not wrong:
        if not done and found != old:
            wrong.append("no run changed anything, and something has changed")
        if len(done) == 1 and found != done[0].wanted:
            wrong.append("the only success is not what is in place")
        all_installs = all(run.command.startswith("install") for run in contestants)
        if all_installs and len(done) > 1 and found not in [run.wanted for run in done]:
            wrong.append("two installs succeeded and neither copy is whole in place")
    if _pieces_are_whole(platform, contestants, done, undone):
        for piece, at_place, *whole in zip(target.pieces, found, old,
                                           *(run.wanted for run in contestants)):
            if at_place is not None and at_place not in whole:
                wrong.append(f"{piece.place.name} is in place and not whole")
    wrong += [f"the staging of {piece.place.name} stayed behind" for piece in target.pieces
              if any(tag == piece.staging for tag, _ in piece.privates())]
    return wrong


def is_mixed(target, contestants):
    """Whether an install and a removal both succeeded and left one of two pieces: the removal took
    the one before it was replaced and the other after the install was verified. Each answer was
    true when it was given, so this is counted and not held against them."""
    commands = sorted(run.command.split("-")[0] for run in contestants)
    return (commands == ["install", "remove"] and
            all(run.meaning == DONE for run in contestants) and
            target.found() not in [run.wanted for run in contestants])


def _pieces_are_whole(platform, contestants, done, undone):
    if platform != "host":
        return not undone
    two_installs = len(contestants) == 2 and all(run.command.startswith("install")
                                                 for run in contestants)
    return not two_installs or bool(done)


def judge_with_readers(platform, target, old, install):
    """Lines for what is wrong after an install among readers."""
    wrong = judge(platform, target, old, [install])
    if install.meaning != DONE:
        if platform == "host":
            wrong.append(f"readers held the install up: {install.answer}")
        for piece, before in zip(target.pieces, old):
            kept = [piece.tree(), *(tree for (tag, _), tree in piece.privates().items()
                                    if tag == piece.backup)]
            if before not in (None, *kept):
                wrong.append(f"the old {piece.place.name} is lost")
    return wrong
