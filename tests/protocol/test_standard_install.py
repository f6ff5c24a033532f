"""--install-standard: what it puts in place, what it refuses, and what it leaves alone."""

import os

import pytest

from payload import (EXTRA_LOCALE, LIBRARY, LOCALES, MANIFEST, REQUIRED, payload, write_copy,
                     write_files)
from sandbox import (BUNDLE, INSTALLED, PLUGIN, PLUGINS, REMOVED, Answer, failure, installed_tree,
                     status)
from trees import FOLDER, folders_to, without

PARENT = "Plugin parent is unavailable or unsafe"
SEPARATE = "Payload and plugin destination must be separate trees"
UNSAFE = "Existing plugin path is unsafe"


def expect_installed(box):
    """An install that leaves exactly the bundle's copy, and nothing else changed."""
    before = box.tree()
    assert box.run("--install-standard") == INSTALLED
    assert box.tree() == installed_tree(before)
    assert box.run("--status-standard") == status("installed-valid")


def expect_refused(box, code, detail, created=None):
    before = box.tree()
    assert box.run("--install-standard") == failure("install-failed", code, detail)
    assert box.tree() == {**before, **(created or {})}


def test_install_first_copy_makes_the_folders_and_prints_one_line(sandbox):
    sandbox.write_bundle()
    before = sandbox.tree()
    assert sandbox.run("--install-standard") == Answer(0, "state=installed\n", "")
    assert sandbox.tree() == installed_tree(before)


@pytest.mark.only("host", "Windows has no program data folder where the folder does not exist")
def test_install_program_data_folder_missing_is_made(sandbox):
    sandbox.write_bundle()
    sandbox.data.rmdir()
    before = sandbox.tree()
    assert sandbox.run("--install-standard") == INSTALLED
    assert sandbox.tree() == {**installed_tree(before), "program-data": FOLDER}


def test_install_twice_leaves_one_copy(sandbox):
    sandbox.write_bundle()
    expect_installed(sandbox)
    expect_installed(sandbox)


def test_install_bundle_is_copied_whole_with_extra_files_and_empty_folders(sandbox):
    sandbox.write_bundle(extra={EXTRA_LOCALE: b"x", "empty": b"", "a/b/c/d": b"deep",
                                "with space/\u00e9\u4e2d\u6587.txt": b"y", "n" * 240: b"long"})
    (sandbox.bundle / "empty folder" / "in it").mkdir(parents=True)
    expect_installed(sandbox)


def test_install_older_copy_is_replaced_with_its_extra_files(sandbox):
    sandbox.write_bundle("B")
    sandbox.write_plugin("A", {"old.txt": b"old", EXTRA_LOCALE: b"old"})
    expect_installed(sandbox)


@pytest.mark.parametrize("path", [*REQUIRED, MANIFEST])
def test_install_damaged_copy_is_repaired(sandbox, path):
    sandbox.write_bundle()
    sandbox.write_plugin()
    (sandbox.plugin / path).write_bytes(b"damaged")
    expect_installed(sandbox)


@pytest.mark.parametrize("state", ["half", "empty", "file", "read_only"])
def test_install_replaces_whatever_has_the_plugin_folders_name(sandbox, state):
    sandbox.write_bundle()
    if state == "half":
        sandbox.write_plugin()
        (sandbox.plugin / LIBRARY).unlink()
    elif state == "empty":
        sandbox.plugin.mkdir(parents=True)
    elif state == "file":
        write_files(sandbox.plugins, {"k7k-obs-audio": b"a file"})
    else:
        sandbox.write_plugin("B")
        for path in (*REQUIRED, MANIFEST):
            (sandbox.plugin / path).chmod(0o444)
    expect_installed(sandbox)


def test_install_read_only_bundle_twice_then_removal_leaves_nothing(sandbox):
    sandbox.write_bundle(extra={"notes/readme.txt": b"x"})
    for path in (*REQUIRED, MANIFEST, "notes/readme.txt"):
        (sandbox.bundle / path).chmod(0o444)
    before = sandbox.tree()
    expect_installed(sandbox)
    expect_installed(sandbox)
    assert sandbox.run("--remove-standard") == REMOVED
    assert sandbox.tree() == {**before, **folders_to(PLUGINS)}


def test_install_neighbours_and_earlier_leftovers_stay(sandbox):
    sandbox.write_bundle()
    write_files(sandbox.plugins, {"other/bin/other.dll": b"x", "k7k-obs-audio.txt": b"x",
                                  ".k7k-obs-audio.staging.1.1/half": b"x",
                                  ".k7k-obs-audio.backup.1.1/half": b"x"})
    expect_installed(sandbox)


def test_install_bundle_without_read_or_manifest_is_refused_first(sandbox):
    """The bundle is judged before the target: nothing is made, not even the plugins root."""
    sandbox.write_bundle()
    (sandbox.bundle / MANIFEST).unlink()
    sandbox.data.rmdir()
    sandbox.data.write_bytes(b"a file")
    expect_refused(sandbox, 23, "Bundle integrity manifest is missing")


@pytest.mark.parametrize("place", ["program-data", "program-data/obs-studio", PLUGINS])
def test_install_parent_that_is_a_file_is_refused(sandbox, place):
    sandbox.write_bundle()
    sandbox.data.rmdir()
    write_files(sandbox.root, {place: b"a file"})
    expect_refused(sandbox, 24, PARENT)


@pytest.mark.parametrize("target", ["elsewhere", "nowhere", "plugins"])
def test_install_plugins_root_that_is_a_link_is_refused(sandbox, target):
    """To a folder, to nothing, to itself."""
    sandbox.write_bundle()
    (sandbox.data / "obs-studio" / "elsewhere").mkdir(parents=True)
    sandbox.plugins.symlink_to(target)
    expect_refused(sandbox, 24, PARENT)


def test_install_link_above_the_plugins_root_is_accepted(sandbox):
    sandbox.write_bundle()
    (sandbox.root / "elsewhere").mkdir()
    (sandbox.data / "obs-studio").symlink_to(sandbox.root / "elsewhere")
    before = sandbox.tree()
    assert sandbox.run("--install-standard") == INSTALLED
    expected = {name.replace("program-data/obs-studio", "elsewhere"): kind
                for name, kind in installed_tree({**before, **folders_to("elsewhere")}).items()}
    link = {"program-data/obs-studio": before["program-data/obs-studio"]}
    assert sandbox.tree() == {**expected, **link}


def test_install_plugin_folder_that_is_a_link_is_refused(sandbox):
    sandbox.write_bundle()
    write_copy(sandbox.root / "elsewhere")
    sandbox.plugins.mkdir(parents=True)
    sandbox.plugin.symlink_to(sandbox.root / "elsewhere")
    expect_refused(sandbox, 24, UNSAFE)


@pytest.mark.only("host", "Wine shows a link to a file as the file")
def test_install_plugin_folder_that_is_a_link_to_a_file_is_refused(sandbox):
    sandbox.write_bundle()
    write_files(sandbox.root, {"elsewhere": b"a file"})
    sandbox.plugins.mkdir(parents=True)
    sandbox.plugin.symlink_to(sandbox.root / "elsewhere")
    expect_refused(sandbox, 24, UNSAFE)


def test_install_plugin_folder_that_is_a_dangling_link_is_rolled_back(sandbox):
    """The link counts as absent, so nothing is backed up; the folder cannot be moved onto it."""
    sandbox.write_bundle()
    sandbox.plugins.mkdir(parents=True)
    sandbox.plugin.symlink_to("nowhere")
    expect_refused(sandbox, 26, "Plugin replacement failed and was rolled back")


def test_install_plugin_folder_that_is_a_link_loop_cannot_be_inspected(sandbox):
    sandbox.write_bundle()
    sandbox.plugins.mkdir(parents=True)
    sandbox.plugin.symlink_to("k7k-obs-audio")
    expect_refused(sandbox, 25, "Could not inspect the existing plugin")


def test_install_link_in_the_old_copy_is_never_followed(sandbox):
    """Under Wine a link cannot be deleted: the backup that holds it stays, the install counts."""
    sandbox.write_bundle("B")
    sandbox.write_plugin("A")
    write_files(sandbox.root / "precious", {"keep/me.txt": b"precious"})
    (sandbox.plugin / "data" / "link").symlink_to(sandbox.root / "precious")
    before = sandbox.tree()
    assert sandbox.run("--install-standard") == INSTALLED
    after = sandbox.tree()
    private = sorted(name for name in after if name.startswith(f"{PLUGINS}/.k7k-obs-audio."))
    assert without(after, *private) == installed_tree(before)
    if sandbox.platform.name == "wine":
        assert private[0].startswith(f"{PLUGINS}/.k7k-obs-audio.backup.")
        assert any(name.endswith("/data/link") for name in private)
    else:
        assert not private


@pytest.mark.parametrize("name", ["inner", "..inner", "data"])
def test_install_program_data_inside_the_bundle_is_refused(sandbox, name):
    """Two dots in front of a name lead nowhere: the folder is as much inside as any other."""
    sandbox.write_bundle()
    sandbox.data.rmdir()
    sandbox.data = sandbox.bundle / name
    sandbox.data.mkdir(exist_ok=True)
    expect_refused(sandbox, 24, SEPARATE, folders_to(f"{BUNDLE}/{name}/obs-studio/plugins"))


def test_install_program_data_inside_the_bundle_through_a_link_is_refused(sandbox):
    sandbox.write_bundle()
    (sandbox.bundle / "inner").mkdir()
    (sandbox.data / "obs-studio").symlink_to(sandbox.bundle / "inner")
    expect_refused(sandbox, 24, SEPARATE, folders_to(f"{BUNDLE}/inner/plugins"))


def test_install_bundle_inside_the_plugins_root_is_refused(make_sandbox):
    box = make_sandbox("outer/obs-studio/plugins/box")
    box.write_bundle()
    box.data.rmdir()
    box.data = box.root.parents[2]
    expect_refused(box, 24, SEPARATE)


def test_install_bundle_that_is_the_installed_copy_is_refused(sandbox):
    """The folder beside the program leads to the plugins root: the bundle is the plugin itself."""
    sandbox.write_plugin()
    (sandbox.root / "plugin").symlink_to(sandbox.plugins)
    expect_refused(sandbox, 24, SEPARATE)


def test_install_plugins_root_beside_the_bundle_with_a_like_name_is_accepted(sandbox):
    """Separate trees: one name only begins like the other."""
    sandbox.write_bundle()
    sandbox.data.rmdir()
    sandbox.data = sandbox.root / (BUNDLE + "-2")
    sandbox.data.mkdir()
    assert sandbox.run("--install-standard") == INSTALLED


@pytest.mark.parametrize("name", ["..cache", "..", "..."], ids=["..cache", "..x", "..."])
def test_install_entry_named_with_two_dots_in_front_escapes(sandbox, name):
    sandbox.write_bundle()
    (sandbox.bundle / (name if name != ".." else "..x")).mkdir()
    sandbox.write_plugin("B")
    expect_refused(sandbox, 26, "Payload entry escaped its root")


def test_install_entry_with_two_dots_in_front_below_a_folder_is_copied(sandbox):
    sandbox.write_bundle(extra={"data/..x": b"x", ".y": b"y", "z..": b"z"}
                         if sandbox.platform.name == "host" else {"data/..x": b"x", ".y": b"y"})
    expect_installed(sandbox)


@pytest.mark.only("host", "Wine takes a pipe for a file that cannot be copied")
def test_install_pipe_in_the_bundle_is_unsupported(sandbox):
    sandbox.write_bundle()
    os.mkfifo(sandbox.bundle / "data" / "pipe")
    sandbox.write_plugin("B")
    expect_refused(sandbox, 26, "Payload contains an unsupported entry")


def test_install_ends_with_the_bundles_own_manifest(sandbox):
    sandbox.write_bundle()
    manifest = sandbox.bundle / MANIFEST
    manifest.write_bytes(manifest.read_bytes().replace(b"\n", b"\r\n"))
    expect_installed(sandbox)
    assert (sandbox.root / PLUGIN / LOCALES[0]).read_bytes() == payload("A")[LOCALES[0]]
