"""Each driver against a program that answers as it likes: what it makes of it, and what it runs."""

import contextlib
import dataclasses
import json
import os
import signal
import sys
import time
from pathlib import Path
from urllib.parse import quote

import pytest

from adapters import Result
from conftest import CASES

STAND_IN = [sys.executable, "-ISB", str(Path(__file__).resolve().parent / "stand_in.py")]
ACCESS_VIOLATION = 0xC0000005
OK = {"out": "state=installed\n"}


def run_of(entry):
    return CASES["answers"][entry] if isinstance(entry, str) else entry


class Play:
    """A folder with the runs of the stand-in, and what they wrote down."""

    def __init__(self, folder, runs):
        self._folder = folder
        self._log = folder / "log"
        (folder / "runs.json").write_text(json.dumps(runs), encoding="utf-8")
        self.command = [*STAND_IN, str(folder)]

    def log(self):
        if not self._log.exists():
            return []
        return [json.loads(line) for line in self._log.read_text(encoding="utf-8").splitlines()]

    def asked(self):
        return [entry["asked"] for entry in self.log() if "asked" in entry]

    def end(self):
        """What runs still, beyond a driver's reach alone, is ended."""
        for entry in self.log():
            process = entry.get("child") or entry.get("asked") and entry["process"]
            if entry.get("apart"):
                os.kill(process, signal.SIGKILL)
            elif process:
                expect_gone(process)


class PlayInside(Play):
    """Of the stand-in that is a Windows program, and reads runs that are easier to read."""

    def __init__(self, folder, runs, platform, stand_in):
        super().__init__(folder, runs)
        for number, run in enumerate(runs):
            lines = [f"{key} {quote(str(value), encoding='latin-1')}\n"
                     for key, value in run.items()]
            (folder / f"run.{number}").write_text("".join(lines), encoding="ascii")
        self._named = platform.native(folder)
        self.command = [platform.native(stand_in), self._named]

    def end(self):
        for process in Path("/proc").iterdir():
            with contextlib.suppress(OSError):
                if self._named.encode() in (process / "cmdline").read_bytes():
                    expect_gone(process.name)


@pytest.fixture
def play(tmp_path, platform, bin_folder, inside):
    """Makes a play."""
    plays = []

    def make(*runs):
        plays.append(PlayInside(tmp_path, runs, platform, bin_folder / "stand_in.exe") if inside
                     else Play(tmp_path, runs))
        return plays[-1]

    yield make
    for made in plays:
        made.end()


def expect_gone(process):
    """Not there, or only waiting to be taken note of."""
    end = time.monotonic() + 10
    while time.monotonic() < end:
        try:
            state = Path(f"/proc/{process}/stat").read_text(encoding="utf-8").rpartition(")")[2]
        except OSError:
            return
        if state.split()[0] in "ZX":
            return
        time.sleep(0.01)
    raise AssertionError(f"process {process} is still there")


def words(verb, target):
    return [f"--{verb}-standard"] if target is None else [f"--{verb}-portable", target]


def decoded(run, stream):
    """What a driver tells of the stream."""
    content = run.get(stream, "").encode("latin-1") * run.get("times", 1)
    return content.decode("utf-8", "replace")


def expected_of(case, inside):
    expected = Result(**case["expect"])
    if inside and expected.exitCode in (128 + signal.SIGSEGV, 128 + signal.SIGKILL):
        return dataclasses.replace(expected, exitCode=ACCESS_VIOLATION)
    return expected


@pytest.mark.cases("one run")
def test_one_run(ask, play, inside, case):
    run, target = run_of(case["run"]), case.get("target")
    played = play(run)
    [[result, streams]] = ask(played.command, case["call"], target,
                              timeout_ms=case.get("timeoutMs", 30_000))
    assert result == expected_of(case, inside)
    assert played.asked() == [words(case["call"], target)]
    if result.reason not in ("timeout", "too-much"):
        assert streams == (decoded(run, "out"), decoded(run, "err"))


@pytest.mark.cases("ensure")
def test_ensure(ask, play, inside, case):
    runs, target = case["runs"], case.get("target")
    played = play(*(run_of(answer) for _, answer in runs))
    [[result, _]] = ask(played.command, case["call"], target,
                        attempts=case.get("attempts", 3))
    assert result == expected_of(case, inside)
    assert played.asked() == [words(verb, target) for verb, _ in runs]


@pytest.mark.parametrize("count", [65536, 65537])
def test_stream_up_to_the_limit_is_read(ask, play, count):
    detail = "x" * (count - len("state=remove-failed\ndetail=\n"))
    lines = f"state=remove-failed\ndetail={detail}\n"
    [[result, streams]] = ask(play({"err": lines, "code": 34}).command, "remove")
    if count == 65536:
        assert result == Result("refused", None, "remove-failed", 34, detail)
    else:
        assert result == Result("unavailable", "too-much")
    assert streams == ("", lines[:65536])


def test_program_that_is_not_there_is_not_started(ask, platform, tmp_path):
    for program in (tmp_path / "missing", tmp_path):
        [[result, streams]] = ask([platform.native(program)], "ensureInstalled")
        assert (result, streams) == (Result("unavailable", "not-started"), ("", ""))


def test_root_with_a_zero_character_is_not_started(ask, play):
    played = play(OK)
    [[result, _]] = ask(played.command, "install", "/OBS\0/x")
    assert result == Result("unavailable", "not-started")
    assert played.asked() == []


@pytest.mark.parametrize("root", [
    "", " ", "-x", "--", "/My OBS", "/it's \"quoted\"", "C:\\My OBS\\", "\\\\server\\share\\\\",
    "/a\\\"b\\\\\"", "/line\nend\r\t", "/$HOME `x` %TMP% !x! ^& | ; <>(){}*?~#",
    "/\u00e9\u4e2d\u6587\U0001f50a", "/e\u0301", "/" + "long" * 2000], ids=ascii)
def test_root_arrives_as_it_is(ask, play, root):
    played = play(OK)
    [[result, _]] = ask(played.command, "install", root)
    assert result == Result("done", None, "installed", 0)
    assert played.asked() == [["--install-portable", root]]


@pytest.mark.parametrize("target", [None, "/My OBS"])
def test_calls_for_one_target_take_turns(ask, play, target):
    played = play(*([{**OK, "slowly": True}] * 4))
    results = ask(played.command, "install", target, parallel=4)
    assert [result for result, _ in results] == [Result("done", None, "installed", 0)] * 4
    assert [next(iter(entry)) for entry in played.log()] == ["asked", "ends"] * 4


def test_calls_wait_for_the_whole_of_an_ensure_call(ask, play):
    runs = [["status", "absent"], ["install", "busy"], ["status", "absent"],
            ["install", "installed"], ["status", "valid"], ["status", "valid"]]
    played = play(*(run_of(answer) for _, answer in runs))
    results = ask(played.command, "ensureInstalled", parallel=2, pause_ms=100)
    assert sorted(result.outcome for result, _ in results) == ["done", "nothing-to-do"]
    assert played.asked() == [words(verb, None) for verb, _ in runs]


def test_pause_is_kept_between_attempts(ask, play):
    played = play(*(run_of(answer) for answer in
                    ("busy", "valid", "busy", "valid", "nothing removed")))
    begin = time.monotonic()
    [[result, _]] = ask(played.command, "ensureRemoved", pause_ms=400)
    assert result.outcome == "done"
    assert time.monotonic() - begin >= 0.8
