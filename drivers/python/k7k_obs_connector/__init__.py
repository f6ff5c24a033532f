"""Runs K7KObsConnectorInstaller.exe and tells what its answers mean. README.md has an example."""

from __future__ import annotations

import contextlib
import dataclasses
import enum
import itertools
import os
import queue
import re
import signal
import subprocess
import sys
import threading
import time
from typing import IO, Dict, NamedTuple, Optional, Sequence, Tuple, Union

__all__ = ["STANDARD", "Driver", "OldCopy", "Outcome", "Reason", "Result", "Target", "portable"]

_LIMIT = 64 * 1024  # bytes of a stream
_GRACE = 1.0  # seconds for a run to vanish that was ended, and its streams
_LONGEST = 2.0 ** 31 / 1000  # seconds; the systems' clocks bear no more


@dataclasses.dataclass(frozen=True)
class Target:
    """Where the plugin belongs: STANDARD, or what portable() gives."""

    kind: str
    arguments: Tuple[str, ...] = ()


STANDARD = Target("standard")


def portable(obs_root: Union[str, os.PathLike[str]]) -> Target:
    """The portable OBS in a folder; the program takes only an absolute path."""
    return Target("portable", (os.fspath(obs_root),))


@dataclasses.dataclass(frozen=True)
class Result:
    outcome: Outcome
    reason: Optional[Reason] = None  # why it is UNAVAILABLE
    state: str = ""  # what happened, or what was found
    exit_code: Optional[int] = None  # 128 and the signal's number where a signal ended the run
    detail: Optional[str] = None  # an English sentence, or nothing, for a log and for people
    old_copy: Optional[OldCopy] = None  # where it may be, if it is FAILED and the answer tells
    obs_running: Optional[bool] = None
    retryable: bool = False  # whether trying again can help although nobody has done anything
    stdout: str = ""
    stderr: str = ""


class Driver:
    """Runs one command at a time: in one process other calls wait their turn."""

    def __init__(self, command: Sequence[str], timeout: float = 600.0) -> None:
        """command is the program, behind what starts it; timeout is in seconds for each run."""
        self._command = list(command)
        self._timeout = min(timeout, _LONGEST)

    def status(self, target: Target) -> Result:
        with _lock:
            return self._run("status", target)

    def install(self, target: Target) -> Result:
        with _lock:
            return self._run("install", target)

    def remove(self, target: Target) -> Result:
        with _lock:
            return self._run("remove", target)

    def ensure_installed(self, target: Target, attempts: int = 3, pause: float = 1.0) -> Result:
        """Installs unless it is installed already; pause is in seconds."""
        with _lock:
            return self._ensure("install", _VALID, target, attempts, pause)

    def ensure_removed(self, target: Target, attempts: int = 3, pause: float = 1.0) -> Result:
        """Removes unless it is gone already; pause is in seconds."""
        with _lock:
            return self._ensure("remove", _ABSENT, target, attempts, pause)

    def _ensure(self, verb: str, wanted: str, target: Target, attempts: int,
                pause: float) -> Result:
        for attempt in itertools.count(1):
            # What an earlier attempt has done is not nothing.
            nothing = Outcome.NOTHING_TO_DO if attempt == 1 else Outcome.DONE
            before = self._run("status", target) if verb == "install" else None
            if before and before.state == wanted:
                return dataclasses.replace(before, outcome=nothing)
            if before and before.outcome is not Outcome.DONE:
                result = before
            else:
                result = self._run(verb, target)
            if verb == "remove" and result.outcome is Outcome.BUSY and target == STANDARD:
                # A removal looks for OBS before it looks for the plugin.
                found = self._run("status", target)
                if found.state == wanted and found.detail is None:
                    return dataclasses.replace(found, outcome=nothing)
            if result.outcome is Outcome.NOTHING_TO_DO:
                return dataclasses.replace(result, outcome=nothing)
            if result.outcome is Outcome.DONE:
                result = self._run("status", target)
                if result.state == wanted:
                    return result
                if result.outcome is Outcome.DONE:
                    result = dataclasses.replace(result, outcome=Outcome.FAILED, retryable=True)
            if not result.retryable or attempt >= attempts:
                return result
            time.sleep(pause)
        raise AssertionError  # count has no end

    def _run(self, verb: str, target: Target) -> Result:
        command = _COMMANDS[verb, target.kind]
        run = _run_program([*self._command, command.word, *target.arguments], self._timeout)
        return run if run.reason else _read(command, run)


_lock = threading.Lock()  # one for all targets: the same folder can be spelled in many ways


def _run_program(arguments: Sequence[str], timeout: float) -> Result:
    """Has a reason unless the program ended by itself; its answer is not read yet."""
    end = time.monotonic() + timeout
    try:
        process = subprocess.Popen(
            arguments, stdin=subprocess.DEVNULL, stdout=subprocess.PIPE, stderr=subprocess.PIPE,
            bufsize=0, start_new_session=True, creationflags=_NO_WINDOW)
    except (OSError, ValueError):  # a path with a zero byte is no value
        return Result(Outcome.UNAVAILABLE, Reason.NOT_STARTED)
    assert process.stdout and process.stderr
    finished: queue.SimpleQueue[_Reader] = queue.SimpleQueue()
    reason = None
    try:
        readers = [_Reader(stream, finished) for stream in (process.stdout, process.stderr)]
        for _ in readers:
            if len(finished.get(timeout=max(0.0, end - time.monotonic())).data) > _LIMIT:
                reason = Reason.TOO_MUCH
                break
        else:
            process.wait(max(0.0, end - time.monotonic()))
    except (queue.Empty, subprocess.TimeoutExpired):
        reason = Reason.TIMEOUT
    except BaseException:  # such as an interrupt from the keyboard
        _end(process)
        raise
    if reason is None and _children_are_ignored():
        return Result(Outcome.UNAVAILABLE, Reason.CRASHED)  # nobody is told the exit code
    if reason:
        _end(process)
    for reader in readers:
        reader.join(_GRACE)  # longer reads only what has left the run's process group
    out, err = (bytes(reader.data[:_LIMIT]).decode("utf-8", "replace") for reader in readers)
    code = None if reason else process.returncode
    if code is not None and code < 0:
        code = 128 - code
    return Result(Outcome.UNAVAILABLE, reason, exit_code=code, stdout=out, stderr=err)


class _Reader(threading.Thread):
    """Reads a stream to its end or beyond the limit, and then puts itself in a queue."""

    def __init__(self, stream: IO[bytes], finished: queue.SimpleQueue[_Reader]) -> None:
        super().__init__(daemon=True)
        self.data = bytearray()
        self._stream = stream
        self._finished = finished
        self.start()

    def run(self) -> None:
        with self._stream, contextlib.suppress(OSError):
            while len(self.data) <= _LIMIT:
                block = self._stream.read(_LIMIT)
                if not block:
                    break
                self.data += block
        self._finished.put(self)


if sys.platform == "win32":
    _NO_WINDOW = subprocess.CREATE_NO_WINDOW

    def _end_tree(process: subprocess.Popen[bytes]) -> None:
        system = os.environ.get("SystemRoot", r"C:\Windows")
        taskkill = os.path.join(system, "System32", "taskkill.exe")
        subprocess.run([taskkill, "/T", "/F", "/PID", str(process.pid)], check=False,
                       creationflags=_NO_WINDOW, stdin=subprocess.DEVNULL,
                       stdout=subprocess.DEVNULL, stderr=subprocess.DEVNULL, timeout=_GRACE)

    def _children_are_ignored() -> bool:
        return False
else:
    _NO_WINDOW = 0

    def _end_tree(process: subprocess.Popen[bytes]) -> None:
        os.killpg(process.pid, signal.SIGKILL)

    def _children_are_ignored() -> bool:
        return signal.getsignal(signal.SIGCHLD) is signal.SIG_IGN


def _end(process: subprocess.Popen[bytes]) -> None:
    # It may not be ours to end, or the system holds on to it.
    with contextlib.suppress(OSError, subprocess.TimeoutExpired):
        _end_tree(process)
    with contextlib.suppress(OSError, subprocess.TimeoutExpired):
        process.kill()
        process.wait(_GRACE)


def _read(command: _Command, run: Result) -> Result:
    out, err = (stream.replace("\r\n", "\n") for stream in (run.stdout, run.stderr))
    if run.exit_code == _USAGE_CODE and not out and err.startswith(_USAGE_BEGINS):
        return dataclasses.replace(run, outcome=Outcome.REFUSED)
    code = run.exit_code
    assert code is not None
    for name in command.answers.get(code, ()):
        answer = _ANSWERS[name]
        values = _matched(answer, out, err)
        if values is not None:
            detail, obs_running = values.get("detail"), values.get("obsRunning")
            advice = _DETAILS.get(detail or "", _Detail((), ()))
            outcome = Outcome.FAILED_RESTORED if code in advice.restored else answer.outcome
            return dataclasses.replace(
                run, state=answer.state, detail=detail, outcome=outcome,
                old_copy=advice.old_copy if outcome is Outcome.FAILED else None,
                obs_running=None if obs_running is None else obs_running == "1",
                retryable=answer.retry == "yes" or code in advice.retry)
    known = code in command.answers or code == _USAGE_CODE
    return dataclasses.replace(run, reason=Reason.GARBLED if known else Reason.CRASHED)


def _matched(answer: _Answer, out: str, err: str) -> Optional[Dict[str, Optional[str]]]:
    """The values of the answer's lines, or None if the streams hold anything else."""
    values = {"state": answer.state, **{key: _VALUES[key] for key in answer.keys}}
    report = "".join(f"{key}=(?P<{key}>{value})\n" for key, value in values.items())
    detail = f"detail=(?P<detail>{_VALUES['detail']})\n"
    detail = {"never": "", "if-any": f"({detail})?", "always": detail}[answer.detail]
    in_out, in_err = (report, detail) if answer.stream == "stdout" else ("", report + detail)
    out_match, err_match = re.fullmatch(in_out, out), re.fullmatch(in_err, err)
    if not out_match or not err_match:
        return None
    return {**out_match.groupdict(), **err_match.groupdict()}


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


class OldCopy(enum.Enum):
    """Where the old copy may be."""

    # Both pieces are in their places, unless the library could not be moved back: then it is under
    # its private name.
    PIECE_MOVED = "piece-moved"
    # The new files were taken away and the old ones moved back. Whether that succeeded is not told:
    # when the plugin is missing or damaged now, the old files are under a private `backup` name.
    ROLLED_BACK = "rolled-back"
    # What could not be deleted is back in its place; files may be missing from it.
    PARTLY_REMOVED = "partly-removed"
    # Nothing is in the plugin's place. What could not be deleted is under a private `remove-backup`
    # name.
    MOVED_AWAY = "moved-away"
    # OBS no longer sees the plugin. What could not be deleted is under a private
    # `portable-remove-dll` or `portable-remove-data` name.
    DETACHED = "detached"


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
    old_copy: Optional[OldCopy] = None  # with all other exit codes of FAILED


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
    "Could not back up portable OBS plugin data": _Detail((45,), (), OldCopy.PIECE_MOVED),
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
    "Could not isolate portable plugin data": _Detail((55,), (), OldCopy.PIECE_MOVED),
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
    "Plugin removal failed and its backup could not be restored": _Detail(
        (), (), OldCopy.MOVED_AWAY),
    "Plugin removal failed and was rolled back": _Detail((35,), (), OldCopy.PARTLY_REMOVED),
    "Plugin replacement failed and was rolled back": _Detail((26,), (), OldCopy.ROLLED_BACK),
    "Portable OBS plugin replacement failed and was rolled back": _Detail(
        (45,), (), OldCopy.ROLLED_BACK),
    "Portable OBS plugin verification failed and was rolled back": _Detail(
        (46,), (), OldCopy.ROLLED_BACK),
    "Portable OBS root is unavailable or unsafe": _Detail((44, 54), ()),
    "Portable plugin was detached, but a private backup remains": _Detail((), (), OldCopy.DETACHED),
    "Reparse-point roots are not accepted": _Detail((26,), (26,)),
    "The portable OBS executable path is unsafe": _Detail((44, 54), ()),
    "The portable OBS plugin DLL path is unsafe": _Detail((44, 54), ()),
    "The portable OBS plugin data path is unsafe": _Detail((44, 54), ()),
    "The selected OBS folder is not marked for portable mode": _Detail((44, 54), ()),
    "The selected folder does not contain bin\\64bit\\obs64.exe": _Detail((44, 54), ()),
}
# end of what is made
