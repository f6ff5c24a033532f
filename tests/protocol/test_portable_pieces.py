"""Portable commands: the folders on the way to the plugin's two pieces, and the pieces' kinds."""

import pytest

from payload import write_files
from portable_checks import expect_accepted, expect_refused, replaced_by_link
from sandbox import failure, status

PARENTS = ("obs-plugins", "obs-plugins/64bit", "data", "data/obs-plugins")

PARENT = "A portable OBS plugin parent is unavailable or unsafe"
DLL_UNSAFE = "The portable OBS plugin DLL path is unsafe"
DATA_UNSAFE = "The portable OBS plugin data path is unsafe"


@pytest.fixture
def box(sandbox):
    sandbox.write_bundle()
    sandbox.write_obs()
    return sandbox


@pytest.mark.parametrize("parent", PARENTS)
@pytest.mark.parametrize("kind", ["file", "link"])
def test_parent_that_is_not_a_plain_folder_is_unsafe(box, parent, kind):
    box.write_portable_plugin()
    folder = box.obs / parent
    replaced_by_link(folder, box.root / "moved")
    if kind == "file":
        folder.unlink()
        folder.write_bytes(b"a file")
    expect_refused(box, PARENT)


@pytest.mark.parametrize("parent", PARENTS)
def test_parent_that_is_a_link_loop_cannot_be_inspected(box, parent):
    folder = box.obs / parent
    folder.parent.mkdir(parents=True, exist_ok=True)
    folder.symlink_to(folder.name)
    expect_refused(box, "Could not inspect a portable OBS parent")


@pytest.mark.parametrize("parent", PARENTS)
def test_parent_missing_is_accepted(box, parent):
    box.write_portable_plugin()
    (box.obs / parent).rename(box.root / "moved")
    with box.unchanged():
        assert box.portable("--status-portable") == status(
            "installed-invalid", detail="Portable OBS plugin files are incomplete or differ from "
                                        "the bundled connector")


@pytest.mark.parametrize("parent", PARENTS)
def test_parent_that_is_a_dangling_link_is_refused_by_the_install_alone(box, parent):
    """It counts as missing until the install has to make it; what it made before that stays."""
    folder = box.obs / parent
    folder.parent.mkdir(parents=True, exist_ok=True)
    folder.symlink_to("nowhere")
    expect_accepted(box)
    made = PARENTS[: PARENTS.index(parent)]
    expected = {**box.tree(), **{f"obs/{name}": "folder" for name in made}}
    assert box.portable("--install-portable") == failure("install-failed", 44, PARENT)
    assert box.tree() == expected


@pytest.mark.parametrize("kind", ["folder", "link_to_a_folder"])
def test_dll_that_is_not_a_plain_file_is_unsafe(box, kind):
    dll = box.obs / "obs-plugins/64bit/k7k-obs-audio.dll"
    dll.parent.mkdir(parents=True)
    if kind == "folder":
        dll.mkdir()
    else:
        dll.symlink_to(box.root / "bin")
    expect_refused(box, DLL_UNSAFE)


@pytest.mark.only("host", "Wine shows a link to a file as the file")
def test_dll_that_is_a_link_to_a_file_is_unsafe(box):
    box.write_portable_plugin()
    replaced_by_link(box.obs / "obs-plugins/64bit/k7k-obs-audio.dll", box.root / "moved")
    expect_refused(box, DLL_UNSAFE)


@pytest.mark.parametrize("kind", ["file", "link", "link_inside", "link_deep_inside"])
def test_data_that_is_not_a_plain_tree_is_unsafe(box, kind):
    box.write_portable_plugin()
    data = box.obs / "data/obs-plugins/k7k-obs-audio"
    if kind == "file":
        data.rename(box.root / "moved")
        data.write_bytes(b"a file")
    elif kind == "link":
        replaced_by_link(data, box.root / "moved")
    elif kind == "link_inside":
        (data / "link").symlink_to(box.root / "bin")
    else:
        (data / "a/b/c").mkdir(parents=True)
        (data / "a/b/c/link").symlink_to(box.root / "bin")
    expect_refused(box, DATA_UNSAFE)


@pytest.mark.only("host", "Wine shows a link to a file as the file")
def test_data_with_a_file_link_inside_is_unsafe(box):
    box.write_portable_plugin()
    replaced_by_link(box.obs / "data/obs-plugins/k7k-obs-audio/locale/en-US.ini",
                     box.root / "moved")
    expect_refused(box, DATA_UNSAFE)


def test_data_whose_status_fails_is_refused_without_a_message(box):
    box.write_portable_plugin(data=False)
    data = box.obs / "data/obs-plugins/k7k-obs-audio"
    data.parent.mkdir(parents=True)
    data.symlink_to("k7k-obs-audio")
    expect_refused(box, "")


def test_dll_is_judged_before_data_and_after_the_parents(box):
    (box.obs / "obs-plugins/64bit/k7k-obs-audio.dll").mkdir(parents=True)
    write_files(box.obs, {"data/obs-plugins/k7k-obs-audio": b"a file"})
    expect_refused(box, DLL_UNSAFE)
    (box.obs / "data/obs-plugins").rename(box.root / "moved")
    (box.obs / "data/obs-plugins").symlink_to(box.root / "moved")
    expect_refused(box, PARENT)
