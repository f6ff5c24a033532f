"""Portable commands: which folders are accepted as portable OBS folders, and why others are not."""

import pytest

from payload import write_files
from portable_checks import expect_accepted, expect_refused, replaced_by_link
from sandbox import INSTALLED, Answer, portable_installed_tree, status

MARKERS = ("portable_mode", "obs_portable_mode", "portable_mode.txt", "obs_portable_mode.txt")

ABSOLUTE = "Portable OBS root must be an absolute path"
UNAVAILABLE = "Portable OBS root is unavailable or unsafe"
EXECUTABLE_PATH = "The portable OBS executable path is unsafe"
NO_EXECUTABLE = "The selected folder does not contain bin\\64bit\\obs64.exe"
NOT_MARKED = "The selected OBS folder is not marked for portable mode"


@pytest.fixture
def box(sandbox):
    sandbox.write_bundle()
    sandbox.write_obs()
    return sandbox


def test_root_refused_prints_two_lines_on_the_error_stream(box):
    root = box.platform.native(box.root / "missing")
    assert box.run("--status-portable", root) == Answer(
        40, "", "state=target-invalid\ndetail=Portable OBS root is unavailable or unsafe\n")


@pytest.mark.parametrize("root", ["", "obs", "./obs", "../obs", ".", "..", " ", "~", "obs/",
                                  "C:obs", "Z:obs", "C:", "C:..\\obs", "\\obs", "\\", "obs\\"])
def test_root_that_is_not_absolute_is_refused(box, root):
    """Even from the folder that the relative path would lead to."""
    expect_refused(box, ABSOLUTE, root, cwd=box.root)


@pytest.mark.only("wine", "a path from the root is absolute on the host")
def test_root_with_a_separator_and_no_drive_is_not_absolute(box):
    expect_refused(box, ABSOLUTE, "/obs")


@pytest.mark.only("wine", "paths with drives are relative names on the host")
@pytest.mark.parametrize("root", ["\\\\server\\share\\obs", "\\\\?\\C:\\obs", "C:\\obs", "c:/obs",
                                  "\\\\server\\share", "\\\\?\\UNC\\server\\share\\obs", "Q:\\obs",
                                  "C:\\o*s", "C:\\o?s", "C:\\o<s", "C:\\obs|x", "C:\\obs\"x"])
def test_root_absolute_on_windows_that_is_not_there_is_unavailable(box, root):
    expect_refused(box, UNAVAILABLE, root)


@pytest.mark.only("host", "paths with drives are absolute there")
@pytest.mark.parametrize("root", ["C:\\obs", "C:/obs", "\\\\server\\share\\obs"])
def test_root_spelled_for_windows_is_not_absolute_on_the_host(box, root):
    expect_refused(box, ABSOLUTE, root)


@pytest.mark.only("wine", "the host has no such prefixes")
@pytest.mark.parametrize("prefix", ["\\\\?\\", "\\\\.\\"])
def test_root_with_a_prefix_of_windows_is_accepted(box, prefix):
    root = prefix + box.platform.native(box.obs)
    before = box.tree()
    assert box.run("--install-portable", root) == INSTALLED
    assert box.tree() == portable_installed_tree(before)
    assert box.run("--status-portable", root) == status("installed-valid")


@pytest.mark.only("wine", "the host has no such prefixes")
@pytest.mark.parametrize("prefix", ["", "\\\\?\\", "\\\\.\\"])
def test_link_with_a_name_that_windows_trims_is_refused_below_every_form_of_the_root(box, prefix):
    box.write_portable_plugin()
    folder = box.obs / "data/obs-plugins/k7k-obs-audio/sub."
    folder.mkdir()
    (folder / "link.").symlink_to(box.bundle)
    expect_refused(box, "The portable OBS plugin data path is unsafe",
                   prefix + box.platform.native(box.obs))


@pytest.mark.parametrize("kind", ["missing", "file", "below_a_file", "link", "link_to_a_file",
                                  "dangling_link", "link_loop"])
def test_root_that_is_not_a_plain_folder_is_refused(box, kind):
    root = box.root / "other"
    if kind == "file":
        root.write_bytes(b"a file")
    elif kind == "below_a_file":
        root.write_bytes(b"a file")
        root = root / "obs"
    elif kind == "link":
        root.symlink_to(box.obs)
    elif kind == "link_to_a_file":
        root.symlink_to(box.program)
    elif kind == "dangling_link":
        root.symlink_to("nowhere")
    elif kind == "link_loop":
        root.symlink_to("other")
    expect_refused(box, UNAVAILABLE, root)


def expect_endings(box, endings):
    """A trailing separator changes nothing, neither for the folder nor for a link to it."""
    (box.root / "other").symlink_to(box.obs)
    for ending in endings:
        expect_refused(box, UNAVAILABLE, box.platform.native(box.root / "other") + ending)
        root = box.platform.native(box.obs) + ending
        before = box.tree()
        assert box.run("--install-portable", root) == INSTALLED
        assert box.tree() == portable_installed_tree(before)
        assert box.run("--status-portable", root) == status("installed-valid")
        assert box.run("--remove-portable", root) == Answer(0, "state=removed\n")


def test_root_with_a_trailing_separator_is_judged_like_the_one_without(box):
    expect_endings(box, ["/", "//"])


@pytest.mark.only("wine", "a backslash is an ordinary character on the host")
def test_root_with_a_trailing_backslash_is_judged_like_the_one_without(box):
    expect_endings(box, ["\\", "\\\\", "/\\"])


def test_root_reached_through_a_link_is_accepted(box):
    (box.root / "way").symlink_to(box.root)
    expect_accepted(box, box.root / "way" / "obs")


def test_root_with_dots_in_its_path_is_accepted(box):
    expect_accepted(box, box.root / "bin" / ".." / "obs")


@pytest.mark.parametrize("place", ["bin", "bin/64bit"])
@pytest.mark.parametrize("kind", ["missing", "file", "link", "dangling_link", "link_loop"])
def test_executable_folder_that_is_not_a_plain_folder_is_unsafe(box, place, kind):
    folder = box.obs / place
    replaced_by_link(folder, box.root / "moved")
    if kind != "link":
        folder.unlink()
    if kind == "file":
        folder.write_bytes(b"a file")
    elif kind == "dangling_link":
        folder.symlink_to("nowhere")
    elif kind == "link_loop":
        folder.symlink_to(folder.name)
    expect_refused(box, EXECUTABLE_PATH)


@pytest.mark.parametrize("kind", ["missing", "empty", "folder", "other_name"])
def test_executable_that_is_not_a_filled_file_is_refused(box, kind):
    executable = box.obs / "bin/64bit/obs64.exe"
    executable.rename(box.root / "moved")
    if kind == "empty":
        executable.write_bytes(b"")
    elif kind == "folder":
        write_files(executable, {"inside": b"x"})
    elif kind == "other_name":
        (box.root / "moved").rename(box.obs / "bin/64bit/obs32.exe")
    expect_refused(box, NO_EXECUTABLE)


@pytest.mark.only("host", "Wine shows a link to a file as the file")
def test_executable_that_is_a_link_is_refused(box):
    replaced_by_link(box.obs / "bin/64bit/obs64.exe", box.root / "moved")
    expect_refused(box, NO_EXECUTABLE)


def test_executable_path_is_judged_before_executable_and_marker(box):
    (box.obs / "portable_mode.txt").unlink()
    (box.obs / "bin/64bit/obs64.exe").unlink()
    expect_refused(box, NO_EXECUTABLE)
    (box.obs / "bin/64bit").rmdir()
    expect_refused(box, EXECUTABLE_PATH)


@pytest.mark.parametrize("marker", MARKERS)
def test_marker_each_alone_marks_the_folder(sandbox, marker):
    sandbox.write_bundle()
    sandbox.write_obs(marker=marker)
    expect_accepted(sandbox)
    before = sandbox.tree()
    assert sandbox.portable("--install-portable") == INSTALLED
    assert sandbox.tree() == portable_installed_tree(before)


@pytest.mark.parametrize("marker", MARKERS)
def test_marker_that_is_a_folder_does_not_count(box, marker):
    (box.obs / "portable_mode.txt").unlink()
    (box.obs / marker).mkdir()
    expect_refused(box, NOT_MARKED)


@pytest.mark.only("host", "Wine shows a link to a file as the file")
@pytest.mark.parametrize("marker", MARKERS)
def test_marker_that_is_a_link_does_not_count(box, marker):
    (box.obs / "portable_mode.txt").rename(box.root / "moved")
    (box.obs / marker).symlink_to(box.root / "moved")
    expect_refused(box, NOT_MARKED)


@pytest.mark.parametrize("wrong", MARKERS[:3])
def test_marker_that_does_not_count_is_passed_over_for_a_later_one(sandbox, wrong):
    sandbox.write_bundle()
    sandbox.write_obs(marker="obs_portable_mode.txt")
    (sandbox.obs / wrong).mkdir()
    expect_accepted(sandbox)


@pytest.mark.parametrize("name", ["portable_mode.ini", "portable", "portable_mode.txt.txt"])
def test_marker_of_another_name_does_not_count(sandbox, name):
    sandbox.write_bundle()
    sandbox.write_obs(marker=name)
    expect_refused(sandbox, NOT_MARKED)


def test_marker_missing_is_refused_even_with_the_plugin_in_place(box):
    box.write_portable_plugin()
    (box.obs / "portable_mode.txt").unlink()
    expect_refused(box, NOT_MARKED)
