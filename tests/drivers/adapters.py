"""The drivers as the tests see them: small programs that make calls of one driver each.

An adapter is asked on its standard input, one field a line: its name, a space, and its value in
percent encoding. An empty line ends the request; the end of the input ends the adapter.

    command      once for each element of the driver's command
    call         status, install, remove, ensureInstalled or ensureRemoved
    target       the OBS root of a portable target; not there for the standard one
    timeoutMs, attempts, pauseMs
    parallel     how often it makes the call, all at the same time; each time a target gets one "/"
                 more, and is the same folder

For each of these calls it writes the result's fields in the same way, and then an empty line. A
field without a value is left out.

    outcome      a word of docs/driving.md, or unavailable
    reason, oldCopy    words of drivers/README.md
    state, exitCode, detail, stdout, stderr
    obsRunning, retryable     true or false
"""

import contextlib
import subprocess
import sys
import threading
from dataclasses import dataclass
from pathlib import Path
from urllib.parse import quote, unquote

from platforms import REPOSITORY

FOLDER = Path(__file__).resolve().parent / "adapters"

# What starts each adapter; {bin} is the folder of the program under test.
ADAPTERS = {
    "python": [sys.executable, "-B", f"{FOLDER}/adapter.py"],
    "node": ["node", f"{FOLDER}/adapter.mjs"],
    "cpp": ["{bin}/driver_adapter"],
    "csharp": ["mono", "{bin}/driver_adapter_cs.exe"],
}
# And those that run under Wine themselves, with what they start.
INSIDE = {"cpp inside": [f"{REPOSITORY}/scripts/wine", "{bin}/driver_adapter_inside.exe"]}


@dataclass(frozen=True)
class Result:
    outcome: str
    reason: str = None
    state: str = ""
    exitCode: int = None
    detail: str = None
    oldCopy: str = None
    obsRunning: bool = None
    retryable: bool = False


KINDS = {"exitCode": int, "obsRunning": "true".__eq__, "retryable": "true".__eq__}


class Adapter:
    """A running adapter."""

    def __init__(self, command, **options):
        self._process = subprocess.Popen(command, stdin=subprocess.PIPE, stdout=subprocess.PIPE,
                                         stderr=subprocess.STDOUT, encoding="utf-8", **options)

    def ask(self, command, call, target=None, *, timeout_ms=60_000, attempts=3, pause_ms=10,
            parallel=1):
        """The results of the calls, each with its two streams."""
        fields = [*(("command", element) for element in command), ("call", call),
                  *([] if target is None else [("target", target)]), ("timeoutMs", timeout_ms),
                  ("attempts", attempts), ("pauseMs", pause_ms), ("parallel", parallel)]
        lines = [f"{key} {quote(str(value))}\n" for key, value in fields]
        self._process.stdin.write("".join(lines) + "\n")
        self._process.stdin.flush()
        # No driver ever waits for longer than its timeout.
        limit = threading.Timer(timeout_ms / 1000 + 30, self._process.kill)
        limit.start()
        try:
            return [self._result() for _ in range(parallel)]
        finally:
            limit.cancel()

    def _result(self):
        fields = {}
        for line in iter(self._process.stdout.readline, "\n"):
            key, space, value = line.rstrip("\n").partition(" ")
            assert space, f"the adapter ended, or says: {line}{self._rest()}"
            fields[key] = KINDS.get(key, str)(unquote(value))
        streams = fields.pop("stdout"), fields.pop("stderr")
        return Result(**fields), streams

    def _rest(self):
        self._process.kill()
        return self._process.stdout.read()

    def is_running(self):
        return self._process.poll() is None

    def close(self):
        with contextlib.suppress(subprocess.TimeoutExpired):
            self._process.communicate(timeout=30)
        self._process.kill()
        self._process.wait()
