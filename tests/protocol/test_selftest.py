"""--self-test: its verdict line, its exit code, and a temporary folder left as it was."""

import resource
import signal

import pytest

import trees
from sandbox import Answer

PASSED = Answer(0, "K7K OBS connector installer self-test: passed (0)\n", "")


def failed(number):
    return Answer(number, f"K7K OBS connector installer self-test: failed ({number})\n", "")


@pytest.fixture
def box(sandbox):
    """A sandbox with a temporary folder of its own."""
    sandbox.temporary = sandbox.root / "temporary"
    sandbox.temporary.mkdir()
    return sandbox


def self_test(box, folder, **options):
    if box.platform.name == "wine":
        box.platform.redirect(box.platform.temporary, folder)
        return box.run("--self-test", **options)
    return box.run("--self-test", env={"TMPDIR": str(folder)}, **options)


def test_self_test_passes_and_leaves_the_temporary_folder_as_it_was(box):
    (box.temporary / "other.txt").write_bytes(b"x")
    with box.unchanged():
        assert self_test(box, box.temporary) == PASSED
        assert self_test(box, box.temporary) == PASSED


def test_self_test_uses_the_temporary_folder(box):
    """A folder that was there is no older than what the test made and removed in it."""
    before = box.temporary.stat().st_mtime_ns
    assert self_test(box, box.temporary) == PASSED
    assert box.temporary.stat().st_mtime_ns > before


def test_self_test_touches_neither_bundle_nor_targets(box):
    box.write_bundle()
    box.write_plugin("B")
    box.write_obs()
    box.write_portable_plugin("B")
    with box.unchanged():
        assert self_test(box, box.temporary) == PASSED


def test_self_test_needs_no_bundle_and_no_program_data(box):
    box.data.rmdir()
    with box.unchanged():
        assert self_test(box, box.temporary) == PASSED


def test_self_test_passes_while_obs_runs(box, programs):
    with box.obs_gate.obs(), programs.process_named("obs64.exe", box.root / "process"):
        assert self_test(box, box.temporary) == PASSED


@pytest.mark.parametrize("name", ["with spaces and \u00e9\u4e2d\u6587", "n" * 150],
                         ids=["odd_letters", "long"])
def test_self_test_passes_in_a_temporary_folder_with_an_odd_name(box, name):
    folder = box.temporary / name
    folder.mkdir()
    with box.unchanged():
        assert self_test(box, folder) == PASSED


def test_self_test_temporary_folder_that_is_a_file_fails_with_2(box):
    file = box.root / "file"
    file.write_bytes(b"a file")
    with box.unchanged():
        assert self_test(box, file) == failed(2)


@pytest.mark.only("host", "Windows itself looks for another folder when this one is missing")
def test_self_test_temporary_folder_missing_is_made(box):
    assert self_test(box, box.temporary / "new" / "folder") == PASSED
    assert trees.take_tree(box.temporary) == trees.folders_to("new/folder")


@pytest.mark.parametrize("setting", [None, "", "relative"])
def test_self_test_without_a_usable_setting_takes_the_systems_temporary_folder(box, setting):
    if box.platform.name == "wine":
        pytest.skip("Windows always has a temporary folder of the user's")
    with box.unchanged():
        assert box.run("--self-test", env={"TMPDIR": setting}, cwd=box.root) == PASSED


def no_manifest_can_be_written():
    signal.signal(signal.SIGXFSZ, signal.SIG_IGN)
    resource.setrlimit(resource.RLIMIT_FSIZE, (100, 100))


def test_self_test_disk_full_for_every_manifest_fails_the_first_install(box):
    """A manifest cut short shows only when it is read; the fixtures stay to be looked at."""
    assert self_test(box, box.temporary, preexec_fn=no_manifest_can_be_written,
                     restore_signals=False) == failed(3)
    left = list(box.temporary.iterdir())
    assert len(left) == 1 and left[0].name.startswith("K7KObsConnectorSelfTest.")
    assert {path.name for path in left[0].iterdir()} >= {
        "payload-a", "payload-b", "payload-tampered", "payload-invalid", "portable-obs",
        "not-portable-obs"}
