"""Files and folders that the program may not read, write or replace: real refusals by the system.

The superuser is refused nothing, so the program is started without the rights that override
permission bits. Moves held up by other programs are in test_held_open.py.
"""

import ctypes
import os
import resource
import signal

import pytest

from payload import MANIFEST, REQUIRED, write_files
from sandbox import (OBS_DATA, OBS_DATA_PARENT, OBS_DLL, OBS_DLL_PARENT, PLUGINS, VALID_BUNDLE,
                     Answer, failure, installed_tree, status, unverified_bundle)
from trees import below, without

only_host = pytest.mark.only("host", "Wine opens files through its server, which keeps every right")

LIBC = ctypes.CDLL(None, use_errno=True)
PR_CAPBSET_DROP = 24
OVERRIDES = (1, 2, 3)  # CAP_DAC_OVERRIDE, CAP_DAC_READ_SEARCH, CAP_FOWNER


def give_up_overrides():
    if os.geteuid() == 0:
        for capability in OVERRIDES:
            if LIBC.prctl(PR_CAPBSET_DROP, capability, 0, 0, 0) != 0:
                os._exit(99)


def run(box, *arguments):
    return box.run(*arguments, preexec_fn=give_up_overrides)


def run_portable(box, command):
    return box.portable(command, preexec_fn=give_up_overrides)


@pytest.fixture
def box(sandbox):
    sandbox.write_bundle("A")
    sandbox.write_obs()
    return sandbox


@pytest.fixture
def deny():
    """Takes rights from paths and gives them back, so that the trees can be compared."""
    taken = []

    def change(path, mode):
        taken.append((path, path.stat().st_mode))
        path.chmod(mode)

    def restore():
        while taken:
            path, mode = taken.pop()
            if path.exists():
                path.chmod(mode)

    change.restore = restore
    yield change
    restore()


@only_host
@pytest.mark.parametrize("path", REQUIRED)
def test_manifest_required_file_unreadable_cannot_be_hashed(box, deny, path):
    before = box.tree()
    deny(box.bundle / path, 0)
    assert run(box, "--write-bundled-manifest") == failure(
        "manifest-failed", 2, "Could not hash a required plugin file")
    assert run(box, "--status-bundled") == unverified_bundle(
        "Bundle file hash does not match manifest")
    deny.restore()
    assert box.tree() == before


@only_host
def test_manifest_not_writable_cannot_be_created(box, deny):
    (box.bundle / MANIFEST).write_bytes(b"old")
    before = box.tree()
    deny(box.bundle / MANIFEST, 0o400)
    assert run(box, "--write-bundled-manifest") == failure(
        "manifest-failed", 2, "Could not create the integrity manifest")
    deny.restore()
    assert box.tree() == before


@only_host
def test_manifest_unreadable_is_missing(box, deny):
    deny(box.bundle / MANIFEST, 0)
    assert run(box, "--status-bundled") == unverified_bundle("Bundle integrity manifest is missing")


def test_bundle_below_a_closed_folder_cannot_be_inspected(box, deny):
    deny(box.root / "plugin", 0)
    assert run(box, "--status-bundled") == Answer(
        1, "state=not-installed\nbytes=0\n", "detail=Could not inspect the bundle\n")
    assert run(box, "--install-standard") == failure("install-failed", 23,
                                                     "Could not inspect the bundle")


def test_bundle_folder_that_cannot_be_listed_ends_the_inspection_well(box, deny):
    (box.bundle / "extra").mkdir()
    deny(box.bundle / "extra", 0o300)
    assert run(box, "--status-bundled") == VALID_BUNDLE


def test_status_plugins_root_closed_cannot_be_inspected(box, deny):
    box.write_plugin()
    deny(box.plugins, 0)
    assert run(box, "--status-standard") == status(
        "not-installed", detail="Could not inspect the installed bundle")


@only_host
def test_install_parent_that_cannot_be_made_is_refused(box, deny):
    before = box.tree()
    deny(box.data, 0o500)
    assert run(box, "--install-standard") == failure(
        "install-failed", 24, "Plugin parent is unavailable or unsafe")
    deny.restore()
    assert box.tree() == before


@only_host
def test_install_plugins_root_not_writable_cannot_be_staged_into(box, deny):
    box.write_plugin("B")
    before = box.tree()
    deny(box.plugins, 0o500)
    assert run(box, "--install-standard") == failure(
        "install-failed", 26, "Could not create the staging directory")
    deny.restore()
    assert box.tree() == before


@only_host
def test_install_extra_file_unreadable_cannot_be_copied(box, deny):
    box.write_plugin("B")
    write_files(box.bundle, {"data/extra.txt": b"x"})
    before = box.tree()
    deny(box.bundle / "data/extra.txt", 0)
    assert run(box, "--install-standard") == failure(
        "install-failed", 26, "Could not copy the complete payload")
    assert run_portable(box, "--install-portable") == failure(
        "install-failed", 46, "Could not stage and verify the portable OBS plugin")
    deny.restore()
    assert without(box.tree(), "obs") == without(before, "obs")


def limit_file_size():
    # The limit shows as an error of the write only where its signal is ignored.
    signal.signal(signal.SIGXFSZ, signal.SIG_IGN)
    resource.setrlimit(resource.RLIMIT_FSIZE, (4096, 4096))


def test_install_file_that_cannot_be_written_whole_cannot_be_copied(box):
    """A size limit stands in for a full disk."""
    box.write_plugin("B")
    box.write_portable_plugin("B")
    write_files(box.bundle, {"data/extra.bin": bytes(1 << 20)})
    options = {"preexec_fn": limit_file_size, "restore_signals": False}
    with box.unchanged():
        assert box.run("--install-standard", **options) == failure(
            "install-failed", 26, "Could not copy the complete payload")
        assert box.portable("--install-portable", **options) == failure(
            "install-failed", 46, "Could not stage and verify the portable OBS plugin")


@only_host
def test_install_old_copy_that_cannot_be_deleted_counts_and_leaves_its_backup(box, deny):
    box.write_plugin("B", {"locked/keep.txt": b"x"})
    before = box.tree()
    deny(box.plugin / "locked", 0o500)
    assert run(box, "--install-standard") == Answer(0, "state=installed\n", "")
    assert run(box, "--status-standard") == status("installed-valid")
    after = box.tree()
    left = [name for name in after if name not in before]
    assert {name.split("/")[3].rsplit(".", 2)[0] for name in left} == {".k7k-obs-audio.backup"}
    assert any(name.endswith("/locked/keep.txt") for name in left)
    assert without(after, *left) == installed_tree(before)


@only_host
def test_remove_plugins_root_not_writable_cannot_isolate_the_plugin(box, deny):
    box.write_plugin()
    before = box.tree()
    deny(box.plugins, 0o500)
    assert run(box, "--remove-standard") == failure(
        "remove-failed", 35, "Could not isolate the plugin; OBS may be running")
    deny.restore()
    assert box.tree() == before


@only_host
def test_remove_plugin_that_cannot_be_deleted_is_put_back(box, deny):
    """What the failed deletion had already removed stays removed."""
    box.write_plugin(extra={"locked/keep.txt": b"x"})
    before = box.tree()
    deny(box.plugin / "locked", 0o500)
    assert run(box, "--remove-standard") == failure(
        "remove-failed", 35, "Plugin removal failed and was rolled back")
    after = box.tree()
    assert set(after) <= set(before)
    assert f"{PLUGINS}/k7k-obs-audio/locked/keep.txt" in after
    assert without(after, PLUGINS) == without(before, PLUGINS)


@only_host
def test_portable_parent_that_cannot_be_made_is_refused_by_the_install(box, deny):
    before = box.tree()
    deny(box.obs, 0o500)
    assert run_portable(box, "--install-portable") == failure(
        "install-failed", 44, "A portable OBS plugin parent is unavailable or unsafe")
    deny.restore()
    assert box.tree() == before


@only_host
@pytest.mark.parametrize("parent", [OBS_DLL_PARENT, OBS_DATA_PARENT])
def test_portable_parent_not_writable_cannot_be_staged_into(box, deny, parent):
    box.write_portable_plugin("B")
    before = box.tree()
    deny(box.root / parent, 0o500)
    assert run_portable(box, "--install-portable") == failure(
        "install-failed", 46, "Could not stage and verify the portable OBS plugin")
    deny.restore()
    assert box.tree() == before


@only_host
def test_portable_removal_dll_parent_not_writable_cannot_isolate_the_dll(box, deny):
    box.write_portable_plugin()
    before = box.tree()
    deny(box.root / OBS_DLL_PARENT, 0o500)
    assert run_portable(box, "--remove-portable") == failure(
        "remove-failed", 55, "Could not isolate the portable plugin DLL; OBS may be running")
    deny.restore()
    assert box.tree() == before


@only_host
def test_portable_removal_data_parent_not_writable_puts_the_dll_back(box, deny):
    box.write_portable_plugin()
    before = box.tree()
    deny(box.root / OBS_DATA_PARENT, 0o500)
    assert run_portable(box, "--remove-portable") == failure(
        "remove-failed", 55, "Could not isolate portable plugin data")
    deny.restore()
    assert box.tree() == before


@only_host
def test_portable_removal_data_that_cannot_be_deleted_is_detached(box, deny):
    """Nothing is moved back: OBS no longer sees the plugin."""
    box.write_portable_plugin()
    write_files(box.root / OBS_DATA, {"locked/keep.txt": b"x"})
    before = box.tree()
    deny(box.root / OBS_DATA / "locked", 0o500)
    assert run_portable(box, "--remove-portable") == failure(
        "remove-failed", 55, "Portable plugin was detached, but a private backup remains")
    after = box.tree()
    left = [name for name in after if name not in before]
    assert without(after, *left) == without(before, OBS_DLL, OBS_DATA)
    assert left and all(name.startswith(f"{OBS_DATA_PARENT}/.k7k-obs-audio.portable-remove-data.")
                        for name in left)
    assert any(name.endswith("/locked/keep.txt") for name in below(after, OBS_DATA_PARENT))
    assert run_portable(box, "--status-portable") == status("not-installed")


def test_portable_executable_folder_in_a_closed_one_is_unsafe(box, deny):
    deny(box.obs / "bin", 0o600)
    assert run_portable(box, "--status-portable") == failure(
        "target-invalid", 40, "The portable OBS executable path is unsafe")


def test_portable_parent_in_a_closed_folder_cannot_be_inspected(box, deny):
    box.write_portable_plugin()
    deny(box.obs / "obs-plugins", 0o600)
    assert run_portable(box, "--status-portable") == failure(
        "target-invalid", 40, "Could not inspect a portable OBS parent")


def test_portable_data_in_a_closed_folder_is_refused_without_a_message(box, deny):
    box.write_portable_plugin()
    deny(box.root / OBS_DATA_PARENT, 0o600)
    assert run_portable(box, "--remove-portable") == failure("target-invalid", 40, "")


def test_portable_dll_in_a_closed_folder_counts_as_absent(box, deny):
    """Its status error is passed over: the data goes, the DLL stays."""
    box.write_portable_plugin()
    before = box.tree()
    deny(box.root / OBS_DLL_PARENT, 0o600)
    assert run_portable(box, "--status-portable") == status(
        "installed-invalid",
        detail="Portable OBS plugin files are incomplete or differ from the bundled connector")
    assert run_portable(box, "--remove-portable") == Answer(0, "state=removed\n")
    deny.restore()
    assert box.tree() == without(before, OBS_DATA)
