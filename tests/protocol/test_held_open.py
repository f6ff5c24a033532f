"""Files and folders that another process really holds open, so that moves and deletions fail."""

import time

import pytest

from payload import LIBRARY, write_files
from sandbox import (INSTALLED, OBS_DATA, OBS_DATA_PARENT, OBS_DLL, OBS_DLL_PARENT, PLUGIN, PLUGINS,
                     REMOVED, VALID_BUNDLE, failure, installed_tree, portable_installed_tree,
                     status, unverified_bundle)
from trees import folders_to, without

pytestmark = pytest.mark.only("wine", "an open file holds up neither moves nor deletions there")

ALL_PAUSES = 19 * 0.025  # seconds: 20 attempts, a pause of 25 ms after each but the last


@pytest.fixture
def box(sandbox):
    sandbox.write_bundle("A")
    sandbox.write_obs()
    sandbox.write_plugin("B")
    sandbox.write_portable_plugin("B")
    return sandbox


def expect_given_up(box, programs, held, answer, *arguments):
    """Every attempt fails: the documented message after the whole time, and nothing changed."""
    with programs.held_open(held, "read"), box.unchanged():
        start = time.monotonic()
        assert box.run(*arguments) == answer
        assert time.monotonic() - start >= ALL_PAUSES


def expect_success_after_release(box, programs, held, answer, *arguments):
    """The program waits while the file is held, and goes on when it is let go."""
    before = box.tree()
    with box.obs_gate.no_obs(), programs.held_open(held, "read") as let_go:
        process = box.start(*arguments)
        if arguments[0].startswith("--install"):
            wait_for_staging(box)
            time.sleep(0.1)
        else:
            time.sleep(0.2)  # a removal shows nothing before its first move succeeds
        assert process.poll() is None
        assert held.exists()
        let_go()
        assert box.answer(process) == answer
    return before


def wait_for_staging(box):
    end = time.monotonic() + 30
    while not any("/.k7k-obs-audio." in name for name in box.tree()):
        assert time.monotonic() < end
        time.sleep(0.005)


def root_of(box):
    return box.platform.native(box.obs)


def test_install_plugin_folder_held_open_keeps_the_old_copy(box, programs):
    expect_given_up(box, programs, box.plugin, failure(
        "install-failed", 25, "Could not back up the existing plugin; OBS may be running"),
        "--install-standard")


def test_install_plugin_folder_let_go_after_100_ms_succeeds(box, programs):
    before = expect_success_after_release(box, programs, box.plugin, INSTALLED,
                                          "--install-standard")
    assert box.tree() == installed_tree(before)


def test_install_plugin_file_held_open_counts_and_leaves_its_backup(box, programs):
    """Under Wine a folder can be moved while a file in it is open; the file cannot be deleted."""
    before = box.tree()
    with programs.held_open(box.plugin / LIBRARY, "read"):
        assert box.run("--install-standard") == INSTALLED
    after = box.tree()
    left = [name for name in after if name.startswith(PLUGINS + "/.k7k-obs-audio.")]
    assert without(after, *left) == installed_tree(before)
    assert all(name.startswith(PLUGINS + "/.k7k-obs-audio.backup.") for name in left)
    assert any(name.endswith("/" + LIBRARY) for name in left)


def test_remove_plugin_folder_held_open_keeps_it(box, programs):
    expect_given_up(box, programs, box.plugin, failure(
        "remove-failed", 35, "Could not isolate the plugin; OBS may be running"),
        "--remove-standard")


def test_remove_plugin_folder_let_go_after_100_ms_succeeds(box, programs):
    before = expect_success_after_release(box, programs, box.plugin, REMOVED, "--remove-standard")
    assert box.tree() == without(before, PLUGIN)


def test_remove_plugin_file_held_open_is_rolled_back(box, programs):
    """What the failed deletion had already removed stays removed; the held file is back."""
    before = box.tree()
    with programs.held_open(box.plugin / LIBRARY, "read"):
        assert box.run("--remove-standard") == failure(
            "remove-failed", 35, "Plugin removal failed and was rolled back")
    after = box.tree()
    assert set(after.items()) <= set(before.items())
    assert f"{PLUGIN}/{LIBRARY}" in after
    assert without(after, PLUGIN) == without(before, PLUGIN)


@pytest.mark.parametrize("sharing", ["read", "none"])
def test_portable_install_dll_held_open_keeps_both_pieces(box, programs, sharing):
    with programs.held_open(box.root / OBS_DLL, sharing), box.unchanged():
        start = time.monotonic()
        assert box.portable("--install-portable") == failure(
            "install-failed", 45,
            "Could not back up the portable OBS plugin DLL; OBS may be running")
        assert time.monotonic() - start >= ALL_PAUSES


def test_portable_install_dll_let_go_after_100_ms_succeeds(box, programs):
    before = expect_success_after_release(box, programs, box.root / OBS_DLL, INSTALLED,
                                          "--install-portable", root_of(box))
    assert box.tree() == portable_installed_tree(before)
    assert box.portable("--status-portable") == status("installed-valid")


def test_portable_install_data_folder_held_open_puts_the_dll_back(box, programs):
    expect_given_up(box, programs, box.root / OBS_DATA, failure(
        "install-failed", 45, "Could not back up portable OBS plugin data"),
        "--install-portable", root_of(box))


def test_portable_install_data_folder_let_go_after_100_ms_succeeds(box, programs):
    before = expect_success_after_release(box, programs, box.root / OBS_DATA, INSTALLED,
                                          "--install-portable", root_of(box))
    assert box.tree() == portable_installed_tree(before)


def test_portable_install_data_file_held_open_counts_and_leaves_its_backup(box, programs):
    before = box.tree()
    with programs.held_open(box.root / OBS_DATA / "locale/en-US.ini", "read"):
        assert box.portable("--install-portable") == INSTALLED
    after = box.tree()
    left = [name for name in after if "/.k7k-obs-audio." in name]
    assert without(after, *left) == portable_installed_tree(before)
    assert all(name.startswith(OBS_DATA_PARENT + "/.k7k-obs-audio.portable-data-backup.")
               for name in left)
    assert any(name.endswith("/locale/en-US.ini") for name in left)


def test_portable_removal_dll_held_open_keeps_both_pieces(box, programs):
    expect_given_up(box, programs, box.root / OBS_DLL, failure(
        "remove-failed", 55, "Could not isolate the portable plugin DLL; OBS may be running"),
        "--remove-portable", root_of(box))


def test_portable_removal_dll_let_go_after_100_ms_succeeds(box, programs):
    before = expect_success_after_release(box, programs, box.root / OBS_DLL, REMOVED,
                                          "--remove-portable", root_of(box))
    assert box.tree() == without(before, OBS_DLL, OBS_DATA)


def test_portable_removal_data_folder_held_open_puts_the_dll_back(box, programs):
    expect_given_up(box, programs, box.root / OBS_DATA, failure(
        "remove-failed", 55, "Could not isolate portable plugin data"),
        "--remove-portable", root_of(box))


def test_portable_removal_data_file_held_open_is_detached(box, programs):
    """Nothing is moved back: OBS no longer sees the plugin."""
    before = box.tree()
    with programs.held_open(box.root / OBS_DATA / "locale/en-US.ini", "read"):
        assert box.portable("--remove-portable") == failure(
            "remove-failed", 55, "Portable plugin was detached, but a private backup remains")
    after = box.tree()
    left = [name for name in after if "/.k7k-obs-audio." in name]
    assert without(after, *left) == without(before, OBS_DLL, OBS_DATA)
    assert all(name.startswith(OBS_DATA_PARENT + "/.k7k-obs-audio.portable-remove-data.")
               for name in left)
    assert any(name.endswith("/locale/en-US.ini") for name in left)
    assert box.portable("--status-portable") == status("not-installed")


def test_manifest_required_file_held_open_cannot_be_hashed(box, programs):
    with programs.held_open(box.bundle / LIBRARY, "none"), box.unchanged():
        assert box.run("--write-bundled-manifest") == failure(
            "manifest-failed", 2, "Could not hash a required plugin file")
        assert box.run("--status-bundled") == unverified_bundle(
            "Bundle file hash does not match manifest")


def test_manifest_held_open_cannot_be_created(box, programs):
    manifest = box.bundle / "manifest.sha256"
    with programs.held_open(manifest, "read"), box.unchanged():
        assert box.run("--write-bundled-manifest") == failure(
            "manifest-failed", 2, "Could not create the integrity manifest")
    with programs.held_open(manifest, "none"), box.unchanged():
        assert box.run("--status-bundled") == unverified_bundle(
            "Bundle integrity manifest is missing")


def test_install_extra_file_held_open_cannot_be_copied(box, programs):
    write_files(box.bundle, {"data/extra.txt": b"x"})
    with programs.held_open(box.bundle / "data/extra.txt", "none"), box.unchanged():
        assert box.run("--install-standard") == failure(
            "install-failed", 26, "Could not copy the complete payload")
        assert box.portable("--install-portable") == failure(
            "install-failed", 46, "Could not stage and verify the portable OBS plugin")


def test_install_first_copy_does_not_wait_for_files_held_in_the_bundle_for_reading(box, programs):
    """A reader that shares reading disturbs nothing."""
    box.plugin.rename(box.root / "moved")
    before = box.tree()
    with programs.held_open(box.bundle / LIBRARY, "read"):
        assert box.run("--install-standard") == INSTALLED
    assert box.tree() == {**installed_tree(before), **folders_to(PLUGINS)}
    assert (box.root / OBS_DLL_PARENT).is_dir()


def test_bundle_held_open_by_a_scanner_that_shares_all_is_valid_and_installed(box, programs):
    before = box.tree()
    with programs.held_open(box.bundle / LIBRARY, "all"), \
            programs.held_open(box.bundle / "manifest.sha256", "all"):
        assert box.run("--status-bundled") == VALID_BUNDLE
        assert box.run("--install-standard") == INSTALLED
        assert box.portable("--install-portable") == INSTALLED
    assert box.tree() == portable_installed_tree(installed_tree(before))


def test_installed_copies_held_open_by_a_scanner_that_shares_all_are_valid(box, programs):
    box.run("--install-standard")
    box.portable("--install-portable")
    with programs.held_open(box.plugin / LIBRARY, "all"), \
            programs.held_open(box.root / OBS_DLL, "all"), box.unchanged():
        assert box.run("--status-standard") == status("installed-valid")
        assert box.portable("--status-portable") == status("installed-valid")
