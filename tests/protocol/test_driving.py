"""What docs/driving.md promises, by a driver that is written from that page alone."""

import contextlib
import functools
import re
import shutil
import time

import pytest

from driver import PAGE, TABLE, TRIES, Answer, Driver
from payload import LIBRARY, MANIFEST, VERSION, manifest_of, payload, write_files
from sandbox import OBS_DLL
from situations import denied, unreadable
from test_denied import give_up_overrides

OTHER_VERSION = "Bundle integrity manifest is invalid"
DIFFERENT = "Installed OBS plugin files differ from the bundled connector"
INCOMPLETE = "Portable OBS plugin files are incomplete or differ from the bundled connector"


@pytest.fixture
def box(sandbox):
    sandbox.write_bundle()
    sandbox.write_obs()
    sandbox.start = functools.partial(sandbox.start, preexec_fn=give_up_overrides)
    with sandbox.obs_gate.no_obs():
        yield sandbox


def driver_of(box, target, pause=lambda: None):
    root = [box.platform.native(box.obs)] if target == "portable" else []
    return Driver(box.start, pause, target, *root)


def nothing(box):
    pass


def older(box):
    files = payload("B")
    old = manifest_of(files).replace(VERSION.encode(), b"0.9.0.0")
    write_files(box.plugin, {**files, MANIFEST: old})
    box.write_portable_plugin("B")


def other_files(box):
    box.write_plugin("B")
    box.write_portable_plugin("B")


def damaged(box):
    other_files(box)
    (box.plugin / LIBRARY).write_bytes(b"damaged")
    (box.root / OBS_DLL).write_bytes(b"damaged")


def half(box):
    other_files(box)
    (box.plugin / LIBRARY).unlink()
    (box.root / OBS_DLL).unlink()


def whole(box):
    box.write_plugin()
    box.write_portable_plugin()


def left_by_an_ended_run(box):
    """The old copy is under its private name, a new one half made."""
    other_files(box)
    box.plugin.rename(box.plugins / ".k7k-obs-audio.backup.1.1")
    write_files(box.plugins / ".k7k-obs-audio.staging.1.1", {LIBRARY: b"half"})
    (box.root / OBS_DLL).rename(box.root / OBS_DLL.replace(
        "k7k-obs-audio.dll", ".k7k-obs-audio.portable-dll-backup.1.1"))


STATES = (nothing, older, other_files, damaged, half, whole, left_by_an_ended_run)


@pytest.mark.parametrize("target", ["standard", "portable"])
@pytest.mark.parametrize("state", STATES)
def test_any_state_leads_to_installed_and_to_absent(box, state, target):
    state(box)
    driver = driver_of(box, target)
    assert driver.install()
    assert driver.of_target("status").state == "installed-valid"
    assert driver.commands.count(f"--install-{target}") == (0 if state is whole else 1)
    assert driver.remove()
    status = driver.of_target("status")
    assert (status.state, status.detail) == ("not-installed", None)
    assert driver.remove()


@pytest.mark.parametrize("target", ["standard", "portable"])
@pytest.mark.parametrize("state", STATES)
def test_any_state_leads_to_absent(box, state, target):
    state(box)
    driver = driver_of(box, target)
    assert driver.remove()
    assert driver.of_target("status").state == "not-installed"


@pytest.mark.parametrize("target", ["standard", "portable"])
def test_damaged_bundle_and_missing_target_stop_the_driver(box, target):
    (box.bundle / LIBRARY).write_bytes(b"damaged")
    driver = driver_of(box, target)
    assert not driver.install()
    assert driver.commands == ["--status-bundled"]
    box.write_bundle()
    shutil.rmtree(box.obs)
    shutil.rmtree(box.data)
    box.data = box.data if box.platform.name == "wine" else ""
    assert not driver.install()
    assert driver.of_target("status").outcome == "refused"


@pytest.mark.parametrize("target", ["standard", "portable"])
def test_running_obs_is_busy_until_it_ends(sandbox, programs, target):
    sandbox.write_bundle()
    sandbox.write_obs()
    driver = driver_of(sandbox, target)
    with sandbox.obs_gate.obs(), programs.process_named("obs64.exe", sandbox.root / "process"):
        assert not driver.install()
        assert driver.of_target("install").outcome == "busy"
        assert driver.of_target("remove").outcome == "busy"
        assert driver.of_target("status").out["obsRunning"] == "1"
    with sandbox.obs_gate.no_obs():
        assert driver.install()
        assert driver.of_target("status").out["obsRunning"] == "0"


@pytest.mark.parametrize("target", ["standard", "portable"])
def test_failure_that_lasts_is_given_up_and_one_that_passes_is_mended(box, programs, target):
    other_files(box)
    write_files(box.bundle, {"data/extra.txt": b"x"})
    with contextlib.ExitStack() as held:
        held.enter_context(unreadable(box.bundle / "data/extra.txt", programs))
        driver = driver_of(box, target)
        assert not driver.install()
        assert driver.commands.count(f"--install-{target}") == TRIES
        assert driver.of_target("install").outcome == "failed"
        driver = driver_of(box, target, pause=held.close)
        assert driver.install()
        assert driver.commands.count(f"--install-{target}") == 2


@pytest.mark.parametrize("state, standard, portable", [
    (older, OTHER_VERSION, INCOMPLETE), (other_files, DIFFERENT, INCOMPLETE)])
def test_other_copies_are_invalid_with_the_details_of_the_page(box, state, standard, portable):
    state(box)
    for target, detail in (("standard", standard), ("portable", portable)):
        status = driver_of(box, target).of_target("status")
        assert (status.code, status.state, status.detail) == (0, "installed-invalid", detail)
        assert detail in " ".join(PAGE.split())


def test_good_copies_beside_a_damaged_bundle_are_called_as_the_page_says(box):
    whole(box)
    (box.bundle / LIBRARY).write_bytes(b"damaged")
    assert driver_of(box, "standard").of_target("status").state == "installed-invalid"
    assert driver_of(box, "portable").of_target("status").state == "not-installed"
    assert driver_of(box, "portable").remove()


def raw(box, *arguments):
    process = box.start(*arguments)
    out, err = process.communicate(timeout=60)
    return process.returncode, out, err


def test_streams_line_ends_and_an_empty_detail_are_as_the_page_says(box):
    end = b"\r\n" if box.platform.name == "wine" else b"\n"
    other_files(box)
    code, out, err = raw(box, "--status-standard")
    shown = PAGE.split("```")[1].split("--status-standard\n")[1]
    assert code == 0
    assert out + err == shown.encode("ascii").replace(b"\n", end)
    shutil.rmtree(box.bundle)
    assert raw(box, "--install-standard") == (
        23, b"", b"state=install-failed" + end + b"detail=" + end)
    assert Answer("--install-standard", *raw(box, "--install-standard")).detail == ""


@pytest.mark.parametrize("words", [(), ("--STATUS-BUNDLED",), ("--status-bundled", "x"),
                                   ("x", "--status-bundled"), ("--status-portable",),
                                   ("--status-standard", "--status-bundled")])
def test_any_other_command_line_is_usage_and_does_nothing(box, words):
    with box.unchanged():
        code, out, err = raw(box, *words)
    assert (code, out) == (64, b"")
    assert Answer(words[0] if words else "", code, out, err).outcome == "usage"


@pytest.mark.parametrize("name", ["My OBS", "OBS \u00e9\u4e2d\u6587"], ids=ascii)
def test_root_of_any_letters_is_one_argument(box, name):
    root = box.platform.native(box.write_obs(name))
    driver = Driver(box.start, lambda: None, "portable", root)
    assert driver.install() and driver.remove()


@pytest.mark.only("wine", "only Windows programs take their command line apart themselves")
@pytest.mark.parametrize("end, code", [("", 0), ("\\\\", 0), ("\\", 40)],
                         ids=["no", "two", "one"])
def test_root_in_quotes_must_not_end_in_a_single_backslash(box, end, code):
    root = box.write_obs("My OBS")
    program, argument = box.platform.native(box.program), box.platform.native(root) + end
    batch = box.root / "run.bat"
    batch.write_text(f'@{program} --status-portable "{argument}"\r\n@exit %errorlevel%\r\n')
    box.program = "cmd"
    assert raw(box, "/c", box.platform.native(batch))[0] == code


def test_status_tells_by_its_code_for_the_bundle_alone(box):
    with box.unchanged():
        assert raw(box, "--status-bundled")[0] == 0
        assert raw(box, "--status-standard")[0] == 0
        assert driver_of(box, "portable").of_target("status").code == 0
    (box.bundle / LIBRARY).unlink()
    assert raw(box, "--status-bundled")[0] == 2
    shutil.rmtree(box.bundle)
    assert raw(box, "--status-bundled")[0] == 1
    assert raw(box, "--status-standard")[0] == 0
    assert driver_of(box, "portable").of_target("status").code == 0


@pytest.mark.only("host", "only the host lets a test put a library before the C runtime")
@pytest.mark.parametrize("command, pattern", [
    ("--install-standard", "k7k-obs-audio"), ("--remove-standard", "k7k-obs-audio"),
    ("--install-portable", "k7k-obs-audio"),
    ("--remove-portable", ".k7k-obs-audio.portable-remove-data.*")])
def test_longest_wait_is_that_of_the_page(box, programs, tmp_path, command, pattern):
    """Every move takes all its attempts, and where one fails, the moves that undo others do."""
    whole(box)
    write_files(box.plugin, {"kept/file": b"x"})
    attempts = tmp_path / "attempts"
    environment = {**programs.preloaded("blocked_moves.c"), "BLOCKED_MOVES": pattern,
                   "MOVE_ATTEMPTS": str(attempts)}
    root = [box.platform.native(box.obs)] if "portable" in command else []
    with denied(box.plugin / "kept", mode=0o500):
        start = time.monotonic()
        assert box.start(command, *root, env=environment).wait(timeout=60) != 0
        waited = time.monotonic() - start
    moves, rest = divmod(attempts.stat().st_size, 20)
    shown = re.search(rf"^\| `{command}.*\| (.*) ms \|$", PAGE, re.MULTILINE)[1]
    assert rest == 0
    assert int(shown) == moves * 19 * 25
    assert waited >= int(shown) / 1000


def test_table_of_the_page_has_every_command_and_self_test_number():
    words = {command for command, _ in TABLE}
    assert len(words) == 9
    assert {code for command, code in TABLE if command == "--self-test"} == set(range(26))


def test_private_name_of_an_ended_run_stays_and_harms_nothing(box):
    left_by_an_ended_run(box)
    before = {name: kind for name, kind in box.tree().items() if ".k7k-obs-audio." in name}
    assert before
    assert driver_of(box, "standard").install() and driver_of(box, "portable").install()
    assert before.items() <= box.tree().items()
