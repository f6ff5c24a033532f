"""Odd places: spaces, letters of other alphabets, long names, deep paths, no program folder."""

import os

import pytest

from payload import LIBRARY, below_data, payload, write_files
from sandbox import (INSTALLED, REMOVED, VALID_BUNDLE, Answer, Sandbox, failure, installed_tree,
                     portable_installed_tree, status)
from trees import folders_to, take_tree

ODD_NAMES = {
    "spaces": "a folder  with spaces",
    "accents": "\u00e9\u00e8\u00fc \u00df\u00f8",
    "chinese": "\u97f3\u8a0a\u5916\u639b \u30d7\u30e9\u30b0\u30a4\u30f3 \ud55c\uad6d\uc5b4",
    "beyond_the_basic_plane": "\U0001f50a\U00020000",
    "combining": "e\u0301a\u0308",
    "punctuation": "a&b;c'd,e=f%TEMP%$HOME`g`(h)[i]{j}^!#@~+",
    "leading_dash": "--status-bundled",
    "long": "n" * 210,
    "long_in_other_letters": "\u97f3" * 80,
}

# Deeper than the 260 characters that older Windows programs accept.
DEEP = "/".join(["d" * 100] * 4)

NO_FINAL_PATH = "Wine's final-path query ends at about 260 characters"


def expect_whole_life(box):
    """Manifest, install, status and removal, of both targets, with exact trees."""
    box.write_bundle()
    obs = box.write_obs()
    assert box.run("--write-bundled-manifest") == Answer(0, "state=manifest-written\n")
    before = box.tree()
    assert box.run("--install-standard") == INSTALLED
    assert box.tree() == installed_tree(before)
    assert box.run("--status-standard") == status("installed-valid")
    before = box.tree()
    assert box.portable("--install-portable", obs) == INSTALLED
    assert box.tree() == portable_installed_tree(before)
    assert box.portable("--status-portable", obs) == status("installed-valid")
    assert box.portable("--remove-portable", obs) == REMOVED
    assert box.run("--remove-standard") == REMOVED
    assert box.portable("--remove-portable", obs) == Answer(0, "state=not-installed\n")
    left = [name for name in box.tree() if ".k7k-obs-audio." in name]
    assert not left


@pytest.mark.parametrize("name", ODD_NAMES)
def test_whole_life_in_a_folder_with_an_odd_name(make_sandbox, name):
    expect_whole_life(make_sandbox(ODD_NAMES[name]))


@pytest.mark.only("host", NO_FINAL_PATH)
def test_whole_life_in_a_deep_folder(make_sandbox):
    expect_whole_life(make_sandbox(DEEP))


@pytest.mark.parametrize("name", ODD_NAMES)
def test_portable_root_with_an_odd_name(sandbox, name):
    sandbox.write_bundle()
    root = sandbox.write_obs("obs/" + ODD_NAMES[name])
    assert sandbox.portable("--install-portable", root) == INSTALLED
    with sandbox.unchanged():
        assert sandbox.portable("--status-portable", root) == status("installed-valid")


@pytest.mark.only("host", NO_FINAL_PATH)
def test_portable_root_deep_below_the_program(sandbox):
    sandbox.write_bundle()
    root = sandbox.write_obs(DEEP)
    assert sandbox.portable("--install-portable", root) == INSTALLED
    assert sandbox.portable("--status-portable", root) == status("installed-valid")
    assert sandbox.portable("--remove-portable", root) == REMOVED


DEEP_AND_UNRESOLVED = pytest.mark.only("wine", "the host resolves every path that exists")


@DEEP_AND_UNRESOLVED
def test_install_standard_from_a_deep_bundle_cannot_resolve_it(make_sandbox):
    box = make_sandbox(DEEP)
    box.write_bundle()
    box.data = box.folder / "program-data"
    box.data.mkdir()
    assert box.run("--status-bundled") == VALID_BUNDLE
    assert box.run("--install-standard") == failure(
        "install-failed", 24, "Could not resolve the payload root")
    assert take_tree(box.data) == folders_to("obs-studio/plugins")


def test_install_portable_from_a_deep_bundle_needs_no_resolved_bundle(make_sandbox):
    """Under Wine its path cannot be resolved: nobody asks for that, and the copy is made."""
    box = make_sandbox(DEEP)
    box.write_bundle()
    root = box.write_obs("../../../../obs")
    assert box.portable("--install-portable", root.resolve()) == INSTALLED
    assert box.portable("--status-portable", root.resolve()) == status("installed-valid")


@DEEP_AND_UNRESOLVED
def test_deep_portable_root_is_judged_and_cleared_but_not_installed_into(sandbox):
    sandbox.write_bundle()
    root = sandbox.write_obs(DEEP)
    write_copy_of_pieces(root)
    with sandbox.unchanged():
        assert sandbox.portable("--status-portable", root) == status("installed-valid")
        assert sandbox.portable("--install-portable", root) == failure(
            "install-failed", 44, "Payload and portable OBS destination must be separate trees")
    assert sandbox.portable("--remove-portable", root) == REMOVED


def write_copy_of_pieces(root):
    for path, content in payload("A").items():
        if path == LIBRARY:
            write_files(root, {"obs-plugins/64bit/k7k-obs-audio.dll": content})
        else:
            write_files(root, {"data/obs-plugins/k7k-obs-audio/" + below_data(path): content})


def test_bundle_with_a_deep_tree_is_installed_whole(sandbox):
    sandbox.write_bundle(extra={"data/" + DEEP + "/file.txt": b"deep"})
    before = sandbox.tree()
    assert sandbox.run("--install-standard") == INSTALLED
    assert sandbox.tree() == installed_tree(before)
    assert sandbox.run("--remove-standard") == REMOVED


@pytest.mark.only("host", "Wine hands the program only text that it could decode")
def test_portable_root_that_is_not_utf8_reaches_the_disk_unaltered(sandbox):
    sandbox.write_bundle()
    sandbox.write_obs(os.fsdecode(b"obs \xff\xfe\xc3(\x80"))
    sandbox.write_obs("obs \ufffd\ufffd\ufffd(\ufffd")  # as a lossy conversion would name it
    root = os.fsencode(sandbox.root) + b"/obs \xff\xfe\xc3(\x80"
    before = sandbox.tree()
    assert sandbox.run("--install-portable", root) == INSTALLED
    after = sandbox.tree()
    made = {name for name in after if name not in before}
    assert made and all(os.fsencode(name).startswith(b"obs \xff\xfe\xc3(\x80/") for name in made)
    assert sandbox.run("--status-portable", root) == status("installed-valid")
    assert sandbox.run("--remove-portable", root) == REMOVED


def test_portable_root_that_is_not_utf8_and_not_there_is_refused(sandbox):
    sandbox.write_bundle()
    root = os.fsencode(sandbox.platform.native(sandbox.root / "obs")) + b"\xff\xfe"
    with sandbox.unchanged():
        assert sandbox.run("--install-portable", root) == failure(
            "target-invalid", 40, "Portable OBS root is unavailable or unsafe")


def test_program_in_a_folder_that_is_not_utf8_finds_its_bundle(make_sandbox):
    expect_whole_life(make_sandbox(os.fsdecode(b"box \xff\xfe")))


def test_current_folder_and_program_name_do_not_matter(sandbox):
    """The bundle lies beside the program's folder, wherever the program is started from."""
    sandbox.write_bundle()
    write_files(sandbox.root, {"other/plugin/k7k-obs-audio/bin": b"not a bundle"})
    renamed = sandbox.program.with_name("Renamed Program" + sandbox.platform.suffix)
    sandbox.program.rename(renamed)
    sandbox.program = renamed
    for folder in ("other", "bin", "plugin/k7k-obs-audio"):
        assert sandbox.run("--status-bundled", cwd=sandbox.root / folder) == VALID_BUNDLE


@pytest.mark.only("host", "Windows tells the link's place, not the file's")
def test_program_started_through_a_link_finds_the_bundle_beside_itself(sandbox):
    sandbox.write_bundle()
    link = sandbox.root / "elsewhere" / "bin" / sandbox.program.name
    link.parent.mkdir(parents=True)
    link.symlink_to(sandbox.program)
    sandbox.program = link
    assert sandbox.run("--status-bundled") == VALID_BUNDLE


@pytest.fixture
def lost(sandbox, programs):
    """A sandbox whose program cannot learn where it lies."""
    environment = programs.preloaded("no_program_path.c")
    run = sandbox.run

    def run_lost(*arguments, **options):
        return run(*arguments, env=environment, **options)

    sandbox.run = run_lost
    return sandbox


@pytest.mark.only("host", "Windows always tells a program where it lies")
def test_program_folder_unknown_the_bundle_is_sought_in_the_current_folder(lost):
    lost.write_bundle()
    with lost.unchanged():
        assert lost.run("--status-bundled") == VALID_BUNDLE
        assert lost.run("--status-bundled", cwd=lost.root / "bin") == Answer(
            1, "state=not-installed\nbytes=0\n")
    before = lost.tree()
    assert lost.run("--install-standard") == INSTALLED
    assert lost.tree() == installed_tree(before)
    assert lost.run("--status-standard") == status("installed-valid")
    assert lost.run("--write-bundled-manifest") == Answer(0, "state=manifest-written\n")


@pytest.mark.only("host", "Windows always tells a program where it lies")
def test_program_folder_unknown_and_no_bundle_reports_what_is_found(lost):
    (lost.root / "away").mkdir()
    options = {"cwd": lost.root / "away"}
    with lost.unchanged():
        assert lost.run("--status-bundled", **options) == Answer(
            1, "state=not-installed\nbytes=0\n")
        assert lost.run("--write-bundled-manifest", **options) == failure(
            "manifest-failed", 2, "Path does not exist")
        assert lost.run("--install-standard", **options) == failure("install-failed", 23, "")


@pytest.mark.only("host", "Windows always tells a program where it lies")
def test_program_folder_unknown_overlap_is_still_seen(lost):
    lost.write_bundle()
    root = lost.write_obs("plugin")
    assert isinstance(lost, Sandbox)
    assert lost.portable("--install-portable", root) == failure(
        "install-failed", 44, "Payload and portable OBS destination must be separate trees")


# The longest path that Linux accepts is 4095 bytes. A plugins root just below that limit leaves
# room for the plugin folder's name and none for the longer private names beside it.
LONGEST_PATH = 4095


def padded(folder, below, name):
    """A folder below the given one, so long that below/name in it has the longest path."""
    missing = LONGEST_PATH - len(os.fsencode(folder)) - len("/" + below + "/" + name)
    parts = []
    while missing > 0:
        size = min(missing - 1, 200)
        if missing - size - 1 == 1:
            size -= 1
        parts.append("p" * size)
        missing -= size + 1
    return folder.joinpath(*parts)


@pytest.mark.only("host", "Windows paths may be 32767 characters long, more than the disk takes")
def test_standard_target_without_room_for_private_names(sandbox):
    sandbox.write_bundle()
    sandbox.data = padded(sandbox.data, "obs-studio/plugins", "k7k-obs-audio")
    before = sandbox.tree()
    made = folders_to(str(sandbox.data.relative_to(sandbox.root)) + "/obs-studio/plugins")
    assert sandbox.run("--install-standard") == failure(
        "install-failed", 25, "Could not reserve transaction paths")
    assert sandbox.tree() == {**before, **made}
    os.mkdir(f"{sandbox.data}/obs-studio/plugins/k7k-obs-audio")
    with sandbox.unchanged():
        assert sandbox.run("--remove-standard") == failure(
            "remove-failed", 35, "Could not reserve the removal backup path")


@pytest.mark.only("host", "Windows paths may be 32767 characters long, more than the disk takes")
def test_portable_target_without_room_for_private_names(sandbox):
    sandbox.write_bundle()
    folder = padded(sandbox.obs, "obs-plugins/64bit", "k7k-obs-audio.dll")
    sandbox.obs = sandbox.write_obs(str(folder.relative_to(sandbox.root)))
    before = sandbox.tree()
    inside = str(folder.relative_to(sandbox.root))
    assert sandbox.portable("--install-portable") == failure(
        "install-failed", 45, "Could not reserve portable OBS transaction paths")
    assert sandbox.tree() == {**before, **folders_to(inside + "/obs-plugins/64bit"),
                              **folders_to(inside + "/data/obs-plugins")}
