"""Arguments and files made to confuse: each gets its documented answer and changes nothing."""

import pytest

from payload import (HEADER, LIBRARY, LOCALES_BYTES, MANIFEST, MANIFEST_BYTES, REQUIRED, payload,
                     write_files)
from sandbox import (INSTALLED, Answer, bundle_status, failure, installed_tree, status,
                     unverified_bundle)

UNAVAILABLE = "Portable OBS root is unavailable or unsafe"
ABSOLUTE = "Portable OBS root must be an absolute path"
LINES = len(HEADER) + len(REQUIRED)  # of a manifest


@pytest.fixture
def box(sandbox):
    sandbox.write_bundle()
    sandbox.write_obs()
    return sandbox


@pytest.mark.parametrize("tail", [
    "%s%n%x%p", "{}{0}", "$(touch x)", "`touch x`", "a\nb", "a\tb", "a\rb", "'", "a;b", "a&&b",
    "*", "?", "[a-z]", "<x", "x>", "|x", "\x01\x02", "\x7f", "\u202egnp.exe", "\ufeff",
    "..\u2215..",
    "x" * 255, "x" * 256, "x" * 300, "/".join(["y" * 200] * 50)], ids=lambda tail: ascii(tail)[:20])
def test_root_with_a_hostile_name_is_unavailable(box, tail):
    separator = "\\" if box.platform.name == "wine" else "/"
    root = box.platform.native(box.root) + separator + tail
    with box.unchanged():
        for command in ("--status-portable", "--install-portable", "--remove-portable"):
            assert box.run(command, root) == failure("target-invalid", 40, UNAVAILABLE)


def test_root_of_30000_characters_is_unavailable(box):
    root = box.platform.native(box.root) + "/x" * 15000
    with box.unchanged():
        assert box.run("--install-portable", root) == failure("target-invalid", 40, UNAVAILABLE)


def test_relative_root_of_30000_characters_is_not_absolute(box):
    with box.unchanged():
        assert box.run("--install-portable", "x" * 30000) == failure("target-invalid", 40, ABSOLUTE)


def test_command_word_of_30000_characters_is_no_command(box):
    with box.unchanged():
        assert box.run("--status-bundled" * 1875).code == 64


def test_a_thousand_arguments_are_no_command(box):
    with box.unchanged():
        assert box.run(*["--status-bundled"] * 1000).code == 64


@pytest.mark.parametrize("root", ["NUL", "CON", "COM1", "AUX:", "PRN", "nul.txt"])
def test_root_named_like_a_device_is_refused(box, root):
    with box.unchanged():
        assert box.run("--install-portable", root) == failure("target-invalid", 40, ABSOLUTE)


@pytest.mark.only("host", "devices are files there")
@pytest.mark.parametrize("root", ["/dev/null", "/dev/zero", "/proc/self/fd/0", "/proc/self/mem"])
def test_root_that_is_a_device_is_refused(box, root):
    assert box.run("--install-portable", root) == failure("target-invalid", 40, UNAVAILABLE)


def test_root_that_climbs_out_and_back_is_the_same_folder(box):
    root = box.obs / ".." / "obs" / "bin" / ".." / ".." / "obs"
    assert box.portable("--install-portable", root) == INSTALLED
    assert box.portable("--status-portable") == status("installed-valid")


def test_bundle_library_of_any_bytes_is_installed_as_it_is(sandbox):
    files = {**payload("A"), LIBRARY: bytes(range(256)) * 300 + b"\r\n\x1a\0"}
    write_files(sandbox.bundle, files)
    assert sandbox.run("--write-bundled-manifest") == Answer(0, "state=manifest-written\n")
    before = sandbox.tree()
    assert sandbox.run("--install-standard") == INSTALLED
    assert sandbox.tree() == installed_tree(before)


@pytest.mark.parametrize("size", [65535, 65536, 65537, 131072])
def test_library_around_the_read_size_is_hashed_whole(sandbox, size):
    """The manifest comes from another program; a changed last byte shows."""
    files = {**payload("A"), LIBRARY: b"L" * size}
    write_files(sandbox.bundle, files)
    assert sandbox.run("--write-bundled-manifest") == Answer(0, "state=manifest-written\n")
    assert sandbox.run("--status-bundled") == bundle_status(
        "installed-valid", size + LOCALES_BYTES + MANIFEST_BYTES, 0)
    (sandbox.bundle / LIBRARY).write_bytes(b"L" * (size - 1) + b"M")
    assert sandbox.run("--status-bundled") == bundle_status(
        "installed-invalid", size + LOCALES_BYTES, 2, "Bundle file hash does not match manifest")


def test_bundle_of_300_extra_files_and_200_levels_is_installed_whole(sandbox):
    extra = {f"many/{number}.txt": b"x" for number in range(300)}
    sandbox.write_bundle(extra={**extra, "deep/" + "l/" * 200 + "end": b"y"})
    before = sandbox.tree()
    assert sandbox.run("--install-standard") == INSTALLED
    assert sandbox.tree() == installed_tree(before)
    assert sandbox.run("--remove-standard") == Answer(0, "state=removed\n")


@pytest.mark.parametrize("content", [b"\n" * 100000, b"\n" * LINES, b"\r\n" * LINES,
                                     b"\0\n" * LINES, b"  \n" * LINES, bytes(range(256)) * 100,
                                     b"K7K" * 500000],
                         ids=["line_feeds", "empty_lines", "empty_crlf_lines", "lines_of_zeros",
                              "lines_of_spaces", "all_bytes", "long_line"])
def test_manifest_of_junk_is_invalid(box, content):
    (box.bundle / MANIFEST).write_bytes(content)
    with box.unchanged():
        assert box.run("--status-bundled") == unverified_bundle(
            "Bundle integrity manifest is invalid")
