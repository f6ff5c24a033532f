"""A running process named obs64.exe stops installs and removals, and every status tells of it."""

import contextlib

import pytest

from sandbox import VALID_BUNDLE, Answer, failure, status

# Every name is a real process of its own.
OBS_NAMES = ("obs64.exe", "OBS64.exe", "Obs64.EXE")
OTHER_NAMES = ("obs64.exe2", "obs64", "xobs64.exe", "obs32.exe", "obs64 .exe", "obs64.exe.exe")


@contextlib.contextmanager
def running(box, programs, name):
    with box.obs_gate.obs(), programs.process_named(name, box.root / "process"):
        yield


@pytest.mark.parametrize("name", OBS_NAMES)
def test_standard_commands_obs_running_refuse_and_touch_nothing(sandbox, programs, name):
    sandbox.write_bundle()
    with running(sandbox, programs, name), sandbox.unchanged():
        refused = Answer(21, "", "state=obs-running\n")
        assert sandbox.run("--install-standard") == refused
        assert sandbox.run("--remove-standard") == refused
        assert sandbox.run("--status-standard") == Answer(
            0, "state=not-installed\nobsRunning=1\n", "")
    assert sandbox.run("--status-standard") == status("not-installed")


@pytest.mark.parametrize("name", OBS_NAMES)
def test_portable_commands_obs_running_refuse_and_touch_nothing(sandbox, programs, name):
    sandbox.write_bundle()
    sandbox.write_obs()
    sandbox.write_portable_plugin()
    with running(sandbox, programs, name), sandbox.unchanged():
        refused = Answer(41, "", "state=obs-running\n")
        assert sandbox.portable("--install-portable") == refused
        assert sandbox.portable("--remove-portable") == refused
        assert sandbox.portable("--status-portable") == Answer(
            0, "state=installed-valid\nobsRunning=1\n", "")


def test_status_obs_running_is_told_with_every_state(sandbox, programs):
    sandbox.write_bundle()
    with running(sandbox, programs, "obs64.exe"):
        sandbox.write_plugin()
        assert sandbox.run("--status-standard") == status("installed-valid", 1)
        (sandbox.plugin / "bin/64bit/k7k-obs-audio.dll").unlink()
        assert sandbox.run("--status-standard") == status(
            "installed-invalid", 1, "Bundle is missing a required plugin file")
        sandbox.write_obs()
        assert sandbox.portable("--status-portable") == status("not-installed", 1)
        sandbox.write_portable_plugin(data=False)
        assert sandbox.portable("--status-portable") == status(
            "installed-invalid", 1,
            "Portable OBS plugin files are incomplete or differ from the bundled connector")


def test_refusals_before_the_look_for_obs_come_first(sandbox, programs):
    sandbox.write_bundle()
    with running(sandbox, programs, "obs64.exe"):
        sandbox.data.rmdir()
        assert sandbox.portable("--install-portable") == failure(
            "target-invalid", 40, "Portable OBS root is unavailable or unsafe")
        env = {"ProgramData": None}
        assert sandbox.run("--install-standard", env=env) == Answer(
            20, "", "state=target-unavailable\n")


def test_refusals_after_the_look_for_obs_come_later(sandbox, programs):
    """No bundle: OBS is reported all the same."""
    sandbox.write_obs()
    with running(sandbox, programs, "obs64.exe"):
        assert sandbox.run("--install-standard") == Answer(21, "", "state=obs-running\n")
        assert sandbox.portable("--install-portable") == Answer(41, "", "state=obs-running\n")


def test_commands_that_do_not_touch_obs_do_not_look_for_it(sandbox, programs):
    sandbox.write_bundle()
    with running(sandbox, programs, "obs64.exe"):
        assert sandbox.run("--write-bundled-manifest") == Answer(0, "state=manifest-written\n")
        assert sandbox.run("--status-bundled") == VALID_BUNDLE


@pytest.mark.parametrize("name", OTHER_NAMES)
def test_process_with_a_name_that_only_resembles_does_not_count(sandbox, programs, name):
    sandbox.write_bundle()
    with running(sandbox, programs, name):
        assert sandbox.run("--status-standard") == status("not-installed")
        assert sandbox.run("--install-standard") == Answer(0, "state=installed\n")
        assert sandbox.run("--remove-standard") == Answer(0, "state=removed\n")


def test_folder_named_like_the_program_does_not_count(sandbox, programs):
    """Only the executable's own name is compared."""
    (sandbox.root / "obs64.exe").mkdir()
    with sandbox.obs_gate.obs(), programs.process_named("other.exe", sandbox.root / "obs64.exe/x"):
        assert sandbox.run("--status-standard") == status("not-installed")
