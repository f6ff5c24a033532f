# made by drivers/make_drivers.py from protocol/protocol.json


class Outcome(enum.Enum):
    """What a call came to."""

    # Done, or answered: the state tells what was found.
    DONE = "done"
    # There was nothing to remove.
    NOTHING_TO_DO = "nothing-to-do"
    # OBS runs; nothing was touched.
    BUSY = "busy"
    # Refused before anything of the plugin was touched.
    REFUSED = "refused"
    # Not done; what was there before is in its place.
    FAILED_RESTORED = "failed-restored"
    # Not done, and what was there before may not be whole in its place: ask for the status. The old
    # copy can be under a private name.
    FAILED = "failed"
    # The program gave no answer; the reason tells why.
    UNAVAILABLE = "unavailable"


class Reason(enum.Enum):
    """Why the program gave no answer."""

    # The program could not be started.
    NOT_STARTED = "not-started"
    # It was ended, with what it had started, since its time was over.
    TIMEOUT = "timeout"
    # Its exit code is none of this command's, or a signal ended it.
    CRASHED = "crashed"
    # Its exit code is one of this command's, and its lines are not those of that code.
    GARBLED = "garbled"
    # It was ended, with what it had started, since it wrote too much on one stream.
    TOO_MUCH = "too-much"


class _Answer(NamedTuple):
    state: str
    stream: str
    keys: Tuple[str, ...]  # after state
    detail: str  # never, if-any or always
    outcome: Outcome
    retry: str  # yes, no or by-detail


class _Command(NamedTuple):
    word: str
    answers: Dict[int, Tuple[str, ...]]  # of each exit code


class _Detail(NamedTuple):
    retry: Tuple[int, ...]  # exit codes with which trying again can help
    restored: Tuple[int, ...]  # exit codes with which what was there is in its place


_VALID = "installed-valid"
_ABSENT = "not-installed"
_USAGE_CODE = 64
_USAGE_BEGINS = "Usage: K7KObsConnectorInstaller "

_VALUES: Dict[str, str] = {
    "obsRunning": "[01]",
    "detail": "[ -~]*",
}

_COMMANDS: Dict[Tuple[str, str], _Command] = {
    ("status", "standard"): _Command("--status-standard", {
        0: ("copy-valid", "copy-invalid", "standard-absent"), 20: ("no-standard-target",)}),
    ("install", "standard"): _Command("--install-standard", {
        0: ("installed",), 20: ("no-standard-target",), 21: ("obs-running",),
        23: ("bundle-refused",), 24: ("install-refused",), 25: ("install-stopped",),
        26: ("install-rolled-back",)}),
    ("remove", "standard"): _Command("--remove-standard", {
        0: ("removed", "nothing-removed"), 20: ("no-standard-target",), 21: ("obs-running",),
        34: ("removal-refused",), 35: ("removal-failed",)}),
    ("status", "portable"): _Command("--status-portable", {
        0: ("copy-valid", "copy-invalid", "portable-absent"), 40: ("root-refused",)}),
    ("install", "portable"): _Command("--install-portable", {
        0: ("installed",), 40: ("root-refused",), 41: ("obs-running",), 43: ("bundle-refused",),
        44: ("install-refused",), 45: ("portable-install-stopped",), 46: ("install-rolled-back",)}),
    ("remove", "portable"): _Command("--remove-portable", {
        0: ("removed", "nothing-removed"), 40: ("root-refused",), 41: ("obs-running",),
        54: ("removal-refused",), 55: ("removal-failed",)}),
}

_ANSWERS: Dict[str, _Answer] = {
    "copy-valid": _Answer(
        "installed-valid", "stdout", ("obsRunning",), "never", Outcome.DONE, "no"),
    "copy-invalid": _Answer(
        "installed-invalid", "stdout", ("obsRunning",), "if-any", Outcome.DONE, "no"),
    "standard-absent": _Answer(
        "not-installed", "stdout", ("obsRunning",), "if-any", Outcome.DONE, "no"),
    "no-standard-target": _Answer(
        "target-unavailable", "stderr", (), "never", Outcome.REFUSED, "no"),
    "installed": _Answer("installed", "stdout", (), "never", Outcome.DONE, "no"),
    "obs-running": _Answer("obs-running", "stderr", (), "never", Outcome.BUSY, "yes"),
    "bundle-refused": _Answer(
        "install-failed", "stderr", (), "always", Outcome.REFUSED, "by-detail"),
    "install-refused": _Answer(
        "install-failed", "stderr", (), "always", Outcome.REFUSED, "by-detail"),
    "install-stopped": _Answer(
        "install-failed", "stderr", (), "always", Outcome.FAILED_RESTORED, "by-detail"),
    "install-rolled-back": _Answer(
        "install-failed", "stderr", (), "always", Outcome.FAILED, "by-detail"),
    "removed": _Answer("removed", "stdout", (), "never", Outcome.DONE, "no"),
    "nothing-removed": _Answer("not-installed", "stdout", (), "never", Outcome.NOTHING_TO_DO, "no"),
    "removal-refused": _Answer(
        "remove-failed", "stderr", (), "always", Outcome.REFUSED, "by-detail"),
    "removal-failed": _Answer("remove-failed", "stderr", (), "always", Outcome.FAILED, "by-detail"),
    "portable-absent": _Answer(
        "not-installed", "stdout", ("obsRunning",), "if-any", Outcome.DONE, "no"),
    "root-refused": _Answer("target-invalid", "stderr", (), "always", Outcome.REFUSED, "by-detail"),
    "portable-install-stopped": _Answer(
        "install-failed", "stderr", (), "always", Outcome.FAILED, "by-detail"),
}

_DETAILS: Dict[str, _Detail] = {
    "": _Detail((26, 40, 44, 54, 55), (26, 55)),
    "A portable OBS plugin parent is unavailable or unsafe": _Detail((44, 54), ()),
    "A required plugin file is empty": _Detail((26,), (26,)),
    "Bundle contains a reparse point": _Detail((26,), (26,)),
    "Bundle file hash does not match manifest": _Detail((23, 26, 43), (26,)),
    "Bundle integrity manifest entry is invalid": _Detail((26,), (26,)),
    "Bundle integrity manifest is invalid": _Detail((26,), (26,)),
    "Bundle integrity manifest is missing": _Detail((23, 26, 43), (26,)),
    "Bundle is missing a required plugin file": _Detail((), (26,)),
    "Could not back up portable OBS plugin data": _Detail((45,), ()),
    "Could not back up the existing plugin; OBS may be running": _Detail((25,), ()),
    "Could not back up the portable OBS plugin DLL; OBS may be running": _Detail((45,), (45,)),
    "Could not copy the complete payload": _Detail((26,), (26,)),
    "Could not create the staging directory": _Detail((), (26,)),
    "Could not inspect a portable OBS parent": _Detail((40, 44, 54), ()),
    "Could not inspect every bundle entry": _Detail((23, 26, 43), (26,)),
    "Could not inspect portable OBS targets": _Detail((45,), (45,)),
    "Could not inspect the bundle": _Detail((23, 26, 43), (26,)),
    "Could not inspect the existing plugin": _Detail((25,), ()),
    "Could not inspect the installed plugin": _Detail((35,), (35,)),
    "Could not inspect the plugin parent": _Detail((35,), (35,)),
    "Could not isolate portable plugin data": _Detail((55,), ()),
    "Could not isolate the plugin; OBS may be running": _Detail((35,), (35,)),
    "Could not isolate the portable plugin DLL; OBS may be running": _Detail((55,), (55,)),
    "Could not read the complete payload": _Detail((26,), (26,)),
    "Could not reserve portable OBS transaction paths": _Detail((45,), (45,)),
    "Could not reserve the removal backup path": _Detail((35,), (35,)),
    "Could not reserve transaction paths": _Detail((25,), ()),
    "Could not stage and verify the portable OBS plugin": _Detail((46,), (46,)),
    "Path does not exist": _Detail((23, 26, 43), (26,)),
    "Payload contains an unsupported entry": _Detail((), (26,)),
    "Payload entry escaped its root": _Detail((), (26,)),
    "Plugin removal failed and was rolled back": _Detail((35,), ()),
    "Plugin replacement failed and was rolled back": _Detail((26,), ()),
    "Portable OBS plugin replacement failed and was rolled back": _Detail((45,), ()),
    "Portable OBS plugin verification failed and was rolled back": _Detail((46,), ()),
    "Portable OBS root is unavailable or unsafe": _Detail((44, 54), ()),
    "Reparse-point roots are not accepted": _Detail((26,), (26,)),
    "The portable OBS executable path is unsafe": _Detail((44, 54), ()),
    "The portable OBS plugin DLL path is unsafe": _Detail((44, 54), ()),
    "The portable OBS plugin data path is unsafe": _Detail((44, 54), ()),
    "The selected OBS folder is not marked for portable mode": _Detail((44, 54), ()),
    "The selected folder does not contain bin\\64bit\\obs64.exe": _Detail((44, 54), ()),
}
# end of what is made
