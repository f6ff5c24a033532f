"""--remove-standard: what it takes away, what it refuses, and what it leaves alone."""

import pytest

from payload import LIBRARY, MANIFEST, write_copy, write_files
from sandbox import NOT_INSTALLED, PLUGIN, PLUGINS, REMOVED, Answer, failure
from trees import without

PARENT = "Plugin parent is unavailable or unsafe"
UNSAFE = "Installed plugin path is unsafe"


def expect_removed(box):
    before = box.tree()
    assert box.run("--remove-standard") == REMOVED
    assert box.tree() == without(before, PLUGIN)


def expect_unchanged(box, answer):
    with box.unchanged():
        assert box.run("--remove-standard") == answer


def test_remove_installed_copy_prints_one_line_and_keeps_the_plugins_root(sandbox):
    sandbox.write_plugin()
    before = sandbox.tree()
    assert sandbox.run("--remove-standard") == Answer(0, "state=removed\n", "")
    assert sandbox.tree() == without(before, PLUGIN)


def test_remove_twice_says_not_installed_the_second_time(sandbox):
    sandbox.write_bundle()
    assert sandbox.run("--install-standard") == Answer(0, "state=installed\n")
    expect_removed(sandbox)
    expect_unchanged(sandbox, Answer(0, "state=not-installed\n", ""))


@pytest.mark.parametrize("place", ["program-data", "program-data/obs-studio", PLUGINS])
def test_remove_nothing_installed_makes_nothing(sandbox, place):
    sandbox.data.rmdir()
    (sandbox.root / place).mkdir(parents=True)
    expect_unchanged(sandbox, NOT_INSTALLED)


@pytest.mark.only("host", "Windows has no program data folder where the folder does not exist")
def test_remove_program_data_folder_missing_is_not_installed(sandbox):
    sandbox.data.rmdir()
    expect_unchanged(sandbox, NOT_INSTALLED)


@pytest.mark.parametrize("state", ["empty", "half", "no_manifest", "foreign", "read_only"])
def test_remove_takes_whatever_the_plugin_folder_holds(sandbox, state):
    """A removal asks neither the bundle nor the copy's manifest."""
    sandbox.write_plugin(extra={"a/b/c/d.txt": b"x"})
    if state == "empty":
        sandbox.plugin.rename(sandbox.root / "moved")
        sandbox.plugin.mkdir()
    elif state == "half":
        (sandbox.plugin / LIBRARY).unlink()
    elif state == "no_manifest":
        (sandbox.plugin / MANIFEST).unlink()
    elif state == "foreign":
        write_files(sandbox.plugin, {LIBRARY: b"foreign", "a b \u00e9": b"x", "n" * 240: b""})
    else:
        for path in sandbox.plugin.rglob("*"):
            if path.is_file():
                path.chmod(0o444)
    expect_removed(sandbox)


def test_remove_neighbours_and_earlier_leftovers_stay(sandbox):
    sandbox.write_bundle()
    sandbox.write_plugin()
    write_files(sandbox.plugins, {"other/bin/other.dll": b"x", "k7k-obs-audio.txt": b"x",
                                  ".k7k-obs-audio.remove-backup.1.1/half": b"x"})
    expect_removed(sandbox)


def test_remove_plugins_root_that_is_a_file_is_refused(sandbox):
    write_files(sandbox.data, {"obs-studio/plugins": b"a file"})
    expect_unchanged(sandbox, failure("remove-failed", 34, PARENT))


def test_remove_plugins_root_below_a_file_is_not_installed(sandbox):
    write_files(sandbox.data, {"obs-studio": b"a file"})
    expect_unchanged(sandbox, NOT_INSTALLED)


def test_remove_plugins_root_that_is_a_link_is_refused(sandbox):
    write_copy(sandbox.root / "elsewhere" / "k7k-obs-audio")
    (sandbox.data / "obs-studio").mkdir()
    sandbox.plugins.symlink_to(sandbox.root / "elsewhere")
    expect_unchanged(sandbox, failure("remove-failed", 34, PARENT))


def test_remove_plugins_root_that_is_a_dangling_link_is_not_installed(sandbox):
    (sandbox.data / "obs-studio").mkdir()
    sandbox.plugins.symlink_to("nowhere")
    expect_unchanged(sandbox, NOT_INSTALLED)


def test_remove_plugins_root_that_is_a_link_loop_cannot_be_inspected(sandbox):
    (sandbox.data / "obs-studio").mkdir()
    sandbox.plugins.symlink_to("plugins")
    expect_unchanged(sandbox, failure("remove-failed", 35, "Could not inspect the plugin parent"))


def test_remove_link_above_the_plugins_root_is_accepted(sandbox):
    write_copy(sandbox.root / "elsewhere" / "plugins" / "k7k-obs-audio")
    (sandbox.data / "obs-studio").symlink_to(sandbox.root / "elsewhere")
    before = sandbox.tree()
    assert sandbox.run("--remove-standard") == REMOVED
    assert sandbox.tree() == without(before, "elsewhere/plugins/k7k-obs-audio")


def test_remove_plugin_folder_that_is_a_file_is_refused(sandbox):
    write_files(sandbox.plugins, {"k7k-obs-audio": b"a file"})
    expect_unchanged(sandbox, failure("remove-failed", 34, UNSAFE))


def test_remove_plugin_folder_that_is_a_link_is_refused(sandbox):
    write_copy(sandbox.root / "elsewhere")
    sandbox.plugins.mkdir(parents=True)
    sandbox.plugin.symlink_to(sandbox.root / "elsewhere")
    expect_unchanged(sandbox, failure("remove-failed", 34, UNSAFE))


def test_remove_plugin_folder_that_is_a_dangling_link_is_not_installed(sandbox):
    sandbox.plugins.mkdir(parents=True)
    sandbox.plugin.symlink_to("nowhere")
    expect_unchanged(sandbox, NOT_INSTALLED)


def test_remove_plugin_folder_that_is_a_link_loop_cannot_be_inspected(sandbox):
    sandbox.plugins.mkdir(parents=True)
    sandbox.plugin.symlink_to("k7k-obs-audio")
    expect_unchanged(sandbox, failure("remove-failed", 35,
                                      "Could not inspect the installed plugin"))


@pytest.mark.parametrize("folder", ["link", "data/link", "a/b/c/link"])
def test_remove_folder_link_inside_is_refused_at_every_depth(sandbox, folder):
    sandbox.write_plugin()
    write_files(sandbox.root / "precious", {"keep/me.txt": b"precious"})
    link = sandbox.plugin / folder
    link.parent.mkdir(parents=True, exist_ok=True)
    link.symlink_to(sandbox.root / "precious")
    expect_unchanged(sandbox, failure("remove-failed", 34, UNSAFE))


@pytest.mark.only("host", "Wine shows a link to a file as the file")
def test_remove_file_link_inside_is_refused(sandbox):
    sandbox.write_plugin()
    (sandbox.plugin / LIBRARY).rename(sandbox.root / "moved")
    (sandbox.plugin / LIBRARY).symlink_to(sandbox.root / "moved")
    expect_unchanged(sandbox, failure("remove-failed", 34, UNSAFE))


@pytest.mark.only("host", "Wine does not list a link without a target")
def test_remove_dangling_link_inside_is_refused(sandbox):
    sandbox.write_plugin()
    (sandbox.plugin / "data" / "link").symlink_to("nowhere")
    expect_unchanged(sandbox, failure("remove-failed", 34, UNSAFE))
