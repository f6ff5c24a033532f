"""--install-portable and --status-portable: both pieces as one, over whatever was there."""

import os

import pytest

from payload import EXTRA_LOCALE, LIBRARY, LOCALES, MANIFEST, below_data, payload, write_files
from sandbox import (BUNDLE, INSTALLED, OBS_DATA, OBS_DATA_PARENT, OBS_DLL, OBS_DLL_PARENT, Answer,
                     failure, portable_installed_tree, status)
from trees import folders_to, without

SEPARATE = "Payload and portable OBS destination must be separate trees"
STAGING = "Could not stage and verify the portable OBS plugin"
INCOMPLETE = "Portable OBS plugin files are incomplete or differ from the bundled connector"

INVALID = status("installed-invalid", detail=INCOMPLETE)
VALID = status("installed-valid")
ABSENT = status("not-installed")


@pytest.fixture
def box(sandbox):
    sandbox.write_bundle("A")
    sandbox.write_obs()
    return sandbox


def leave(box, state):
    """The pieces that an earlier install, or a part of one, left behind."""
    if state == "none":
        return
    dll, data, older = box.root / OBS_DLL, box.root / OBS_DATA, state.startswith("older")
    box.write_portable_plugin("B" if older else "A", dll="data_only" not in state,
                              data="dll_only" not in state)
    if state == "damaged_dll":
        dll.write_bytes(b"damaged")
    elif state == "empty_dll":
        dll.write_bytes(b"")
    elif state == "damaged_data":
        (data / "locale/ja-JP.ini").write_bytes(b"damaged")
    elif state == "missing_locale":
        (data / below_data(LOCALES[-1])).unlink()
    elif state == "empty_data":
        for name in LOCALES:
            (data / below_data(name)).unlink()
    elif state == "extra_file":
        write_files(data, {below_data(EXTRA_LOCALE): b"x", "a/b/c.txt": b"y"})
    elif state == "read_only":
        for path in (dll, *(data / below_data(name) for name in LOCALES)):
            path.chmod(0o444)


STATES = {
    "none": ABSENT,
    "dll_only": INVALID,
    "data_only": INVALID,
    "both": VALID,
    "older": INVALID,
    "older_dll_only": INVALID,
    "older_data_only": INVALID,
    "damaged_dll": INVALID,
    "empty_dll": INVALID,
    "damaged_data": INVALID,
    "missing_locale": INVALID,
    "empty_data": INVALID,
    "extra_file": VALID,
    "read_only": VALID,
}


@pytest.mark.parametrize("state", STATES)
def test_install_over_each_state_leaves_exactly_the_bundles_pieces(box, state):
    leave(box, state)
    with box.unchanged():
        assert box.portable("--status-portable") == STATES[state]
    before = box.tree()
    assert box.portable("--install-portable") == INSTALLED
    assert box.tree() == portable_installed_tree(before)
    with box.unchanged():
        assert box.portable("--status-portable") == VALID


@pytest.mark.parametrize("state", STATES)
def test_remove_from_each_state_leaves_neither_piece(box, state):
    leave(box, state)
    before = box.tree()
    answer = "not-installed" if state == "none" else "removed"
    assert box.portable("--remove-portable") == Answer(0, f"state={answer}\n", "")
    assert box.tree() == without(before, OBS_DLL, OBS_DATA)
    with box.unchanged():
        assert box.portable("--remove-portable") == Answer(0, "state=not-installed\n", "")


def test_install_into_a_bare_root_makes_the_four_parents_and_prints_one_line(box):
    before = box.tree()
    assert box.portable("--install-portable") == Answer(0, "state=installed\n", "")
    assert box.tree() == portable_installed_tree(before)
    assert box.portable("--status-portable") == Answer(
        0, "state=installed-valid\nobsRunning=0\n", "")


def test_install_twice_leaves_one_copy(box):
    for _ in range(2):
        before = box.tree()
        assert box.portable("--install-portable") == INSTALLED
        assert box.tree() == portable_installed_tree(before)


def test_install_takes_the_data_folder_whole_and_nothing_else(box):
    write_files(box.bundle, {EXTRA_LOCALE: b"x", "data/a b/\u00e9\u4e2d.txt": b"y",
                             "data/" + "n" * 240: b"z", "bin/64bit/other.dll": b"no",
                             "readme.txt": b"no"})
    (box.bundle / "data" / "empty folder").mkdir()
    before = box.tree()
    assert box.portable("--install-portable") == INSTALLED
    assert box.tree() == portable_installed_tree(before)


def test_install_read_only_bundle_twice_then_removal_leaves_nothing(box):
    for name in (LIBRARY, *LOCALES, MANIFEST):
        (box.bundle / name).chmod(0o444)
    before = box.tree()
    assert box.portable("--install-portable") == INSTALLED
    assert box.portable("--install-portable") == INSTALLED
    assert box.tree() == portable_installed_tree(before)
    assert box.portable("--remove-portable") == Answer(0, "state=removed\n")
    assert box.tree() == {**before, **folders_to(OBS_DLL_PARENT), **folders_to(OBS_DATA_PARENT)}


def test_install_and_removal_leave_neighbours_and_earlier_leftovers(box):
    write_files(box.root, {
        OBS_DLL_PARENT + "/other.dll": b"x", OBS_DATA_PARENT + "/other/locale/en-US.ini": b"x",
        OBS_DLL_PARENT + "/.k7k-obs-audio.portable-dll-staging.1.1": b"x",
        OBS_DATA_PARENT + "/.k7k-obs-audio.portable-data-backup.1.1/x": b"x"})
    before = box.tree()
    assert box.portable("--install-portable") == INSTALLED
    assert box.tree() == portable_installed_tree(before)
    assert box.portable("--remove-portable") == Answer(0, "state=removed\n")
    assert box.tree() == before


@pytest.mark.parametrize("defect", ["no_bundle", "bundle_is_a_file", "changed_after_the_manifest"])
def test_status_and_install_with_a_bad_bundle(box, defect):
    """The status calls it not installed, whatever is there; the install is refused."""
    box.write_portable_plugin()
    detail = ""
    if defect == "changed_after_the_manifest":
        (box.bundle / "data/locale/en-US.ini").write_bytes(b"changed")
        detail = "Bundle file hash does not match manifest"
    else:
        box.bundle.rename(box.root / "moved")
    if defect == "bundle_is_a_file":
        box.bundle.write_bytes(b"a file")
    with box.unchanged():
        assert box.portable("--status-portable") == status("not-installed", detail=detail or None)
        assert box.portable("--install-portable") == failure("install-failed", 43, detail)


def test_remove_asks_no_bundle(box):
    box.write_portable_plugin("B")
    box.bundle.rename(box.root / "moved")
    assert box.portable("--remove-portable") == Answer(0, "state=removed\n")


def test_install_bundle_is_judged_after_the_root(box):
    (box.bundle / MANIFEST).unlink()
    (box.obs / "portable_mode.txt").unlink()
    with box.unchanged():
        assert box.portable("--install-portable") == failure(
            "target-invalid", 40, "The selected OBS folder is not marked for portable mode")


def parents_in(root):
    return {**folders_to(root + "obs-plugins/64bit"), **folders_to(root + "data/obs-plugins")}


def expect_overlap(box, folder):
    """Refused after the plugin parents were made; those stay."""
    root = box.write_obs(folder)
    before = box.tree()
    assert box.portable("--status-portable", root) == ABSENT
    assert box.portable("--install-portable", root) == failure("install-failed", 44, SEPARATE)
    assert box.tree() == {**before, **parents_in(folder + "/" if folder else "")}


@pytest.mark.parametrize("name", ["inner obs", "..obs", "data/obs"])
def test_install_root_inside_the_bundle_is_refused(box, name):
    expect_overlap(box, f"{BUNDLE}/{name}")


def test_install_bundle_inside_the_root_is_refused(box):
    expect_overlap(box, "")


def test_install_root_that_is_the_bundle_is_refused(box):
    expect_overlap(box, BUNDLE)


def test_install_bundle_reached_through_a_link_inside_the_root_is_refused(box):
    """Only the resolved paths show that one lies within the other."""
    (box.root / "plugin").rename(box.obs / "plugin")
    (box.root / "plugin").symlink_to(box.obs / "plugin")
    before = box.tree()
    assert box.portable("--install-portable") == failure("install-failed", 44, SEPARATE)
    assert box.tree() == {**before, **parents_in("obs/")}


def test_install_root_with_a_name_like_the_bundles_is_accepted(box):
    root = box.write_obs(BUNDLE + "-2")
    assert box.portable("--install-portable", root) == INSTALLED
    assert box.portable("--status-portable", root) == VALID


def expect_not_staged(box):
    """The install fails at staging; the old pieces and all else stay, with the parents made."""
    box.write_portable_plugin("B")
    with box.unchanged():
        assert box.portable("--install-portable") == failure("install-failed", 46, STAGING)


def test_install_entry_below_data_named_with_two_dots_in_front_fails_at_staging(box):
    write_files(box.bundle, {"data/..x": b"x"})
    expect_not_staged(box)


def test_install_entry_beside_data_named_with_two_dots_in_front_is_not_looked_at(box):
    write_files(box.bundle, {"..x": b"x", "data/locale/..y": b"y"})
    assert box.portable("--install-portable") == INSTALLED


def test_install_pipe_below_data_fails_at_staging(box):
    os.mkfifo(box.bundle / "data" / "pipe")
    expect_not_staged(box)


def test_install_data_target_that_is_a_dangling_link_is_rolled_back(box):
    """It counts as absent; the staged folder cannot be moved onto it, which shows as a mismatch."""
    box.write_portable_plugin("B", data=False)
    data = box.root / OBS_DATA
    data.parent.mkdir(parents=True)
    data.symlink_to("nowhere")
    with box.unchanged():
        assert box.portable("--install-portable") == failure(
            "install-failed", 46, "Portable OBS plugin verification failed and was rolled back")


def test_removal_dll_whose_status_fails_counts_as_absent(box):
    box.write_portable_plugin(dll=False)
    dll = box.root / OBS_DLL
    dll.parent.mkdir(parents=True)
    dll.symlink_to("k7k-obs-audio.dll")
    assert box.portable("--status-portable") == INVALID
    before = box.tree()
    assert box.portable("--remove-portable") == Answer(0, "state=removed\n")
    assert box.tree() == without(before, OBS_DATA)
    with box.unchanged():
        assert box.portable("--remove-portable") == Answer(0, "state=not-installed\n")


def test_status_portable_compares_no_manifest_and_only_the_required_files(box):
    box.write_portable_plugin()
    write_files(box.root / OBS_DATA, {"manifest.sha256": b"anything"})
    assert payload("A")[LIBRARY] == (box.root / OBS_DLL).read_bytes()
    with box.unchanged():
        assert box.portable("--status-portable") == VALID
