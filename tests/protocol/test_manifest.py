"""The integrity manifest: what the reader accepts and refuses, and what the writer writes."""

import subprocess

import pytest

from payload import (EXTRA_LOCALE, FILES_BYTES, HEADER, LIBRARY, LOCALES, MANIFEST, MANIFEST_BYTES,
                     REQUIRED, SIZES, manifest_lines, manifest_of, payload, with_other_end,
                     write_files)
from sandbox import VALID_BUNDLE, Answer, bundle_status, failure, unverified_bundle

MISSING = "Bundle integrity manifest is missing"
INVALID = "Bundle integrity manifest is invalid"
ENTRY = "Bundle integrity manifest entry is invalid"
MISMATCH = "Bundle file hash does not match manifest"

LINES = manifest_lines(payload("A"))
DIGEST = LINES[4][:64]
WRITTEN = Answer(0, "state=manifest-written\n")


def text(lines):
    return "".join(line + "\n" for line in lines).encode()


def changed(number, line):
    """The manifest with one of its lines (counted from 1) replaced."""
    return text([*LINES[: number - 1], line, *LINES[number:]])


def entry(digest, path, gap="  "):
    return f"{digest}{gap}{path}"


ACCEPTED = {
    "as_written": text(LINES),
    "crlf": text(LINES).replace(b"\n", b"\r\n"),
    "crlf_in_some_lines": changed(3, LINES[2] + "\r"),
    "no_final_line_feed": text(LINES)[:-1],
    "carriage_return_for_the_final_line_feed": text(LINES)[:-1] + b"\r",
    "entries_reversed": text([*LINES[:4], *reversed(LINES[4:])]),
    "entries_rotated": text([*LINES[:4], *LINES[6:], *LINES[4:6]]),
}

REFUSED = {
    "empty_file": (b"", INVALID),
    "one_line_feed": (b"\n", INVALID),
    "header_alone": (text(LINES[:4]), INVALID),
    "a_line_less": (text(LINES[:-1]), INVALID),
    "an_empty_line_at_the_end": (text(LINES) + b"\n", INVALID),
    "an_entry_more": (text([*LINES, entry(DIGEST, EXTRA_LOCALE)]), INVALID),
    "an_empty_line_in_the_middle": (text([*LINES[:4], "", *LINES[4:]]), INVALID),
    "an_empty_line_first": (text(["", *LINES]), INVALID),
    "byte_order_mark": (b"\xef\xbb\xbf" + text(LINES), INVALID),
    "utf16": (text(LINES).decode().encode("utf-16"), INVALID),
    "carriage_returns_alone": (text(LINES).replace(b"\n", b"\r"), INVALID),
    "two_carriage_returns": (text(LINES).replace(b"\n", b"\r\r\n"), INVALID),
    "zero_bytes": (bytes(MANIFEST_BYTES), INVALID),
    "other_magic": (changed(1, with_other_end(HEADER[0])), INVALID),
    "magic_in_lower_case": (changed(1, LINES[0].lower()), INVALID),
    "later_connector_version": (changed(2, with_other_end(HEADER[1])), INVALID),
    "short_connector_version": (changed(2, HEADER[1].rpartition(".")[0]), INVALID),
    "other_protocol_version": (changed(3, with_other_end(HEADER[2])), INVALID),
    "wider_obs_range": (changed(4, with_other_end(HEADER[3])), INVALID),
    "narrower_obs_range": (changed(4, with_other_end(HEADER[3], -1)), INVALID),
    "space_after_a_header_line": (changed(2, HEADER[1] + " "), INVALID),
    "space_before_a_header_line": (changed(2, " " + HEADER[1]), INVALID),
    "zero_after_a_header_line": (changed(2, HEADER[1] + "\0"), INVALID),
    "header_lines_swapped": (text([LINES[0], LINES[2], LINES[1], *LINES[3:]]), INVALID),
    "bad_header_and_bad_entry": (text([*LINES[:3], "x", "x", *LINES[5:]]), INVALID),
    "one_endless_line": (b"K" * (1 << 20), INVALID),
    "empty_entry": (changed(5, ""), ENTRY),
    "digest_of_63": (changed(5, entry(DIGEST[:63], LIBRARY)), ENTRY),
    "digest_of_65": (changed(5, entry(DIGEST + "0", LIBRARY)), ENTRY),
    "one_space": (changed(5, entry(DIGEST, LIBRARY, " ")), ENTRY),
    "tab": (changed(5, entry(DIGEST, LIBRARY, "\t")), ENTRY),
    "space_and_star": (changed(5, entry(DIGEST, LIBRARY, " *")), ENTRY),
    "no_path": (changed(5, entry(DIGEST, "")), ENTRY),
    "no_path_and_one_space": (changed(5, DIGEST + " "), ENTRY),
    "digest_alone": (changed(5, DIGEST), ENTRY),
    "one_character": (changed(5, "x"), ENTRY),
    "two_spaces_alone": (changed(5, "  "), ENTRY),
    "two_spaces_inside_the_digest": (changed(5, "  " + DIGEST[2:] + "  " + LIBRARY), ENTRY),
    "path_first": (changed(5, entry(LIBRARY, DIGEST)), ENTRY),
    "repeated_entry": (changed(7, LINES[5]), ENTRY),
    "repeated_path_with_another_digest": (changed(7, entry(DIGEST, LOCALES[0])), ENTRY),
    "bad_last_entry_after_a_wrong_digest": (
        text([*LINES[:4], entry("0" * 64, LIBRARY), *LINES[5:-1], "x"]), ENTRY),
    "upper_case_digest": (changed(5, entry(DIGEST.upper(), LIBRARY)), MISMATCH),
    "digest_that_is_not_hexadecimal": (changed(5, entry("z" * 64, LIBRARY)), MISMATCH),
    "wrong_digest": (changed(len(LINES), entry("0" * 64, LOCALES[-1])), MISMATCH),
    "digests_swapped": (text([*LINES[:4], entry(LINES[5][:64], LIBRARY),
                              entry(DIGEST, LOCALES[0]), *LINES[6:]]), MISMATCH),
    "three_spaces": (changed(5, entry(DIGEST, LIBRARY, "   ")), MISMATCH),
    "backslashes": (changed(5, entry(DIGEST, LIBRARY.replace("/", "\\"))), MISMATCH),
    "path_in_capitals": (changed(5, entry(DIGEST, LIBRARY.upper())), MISMATCH),
    "path_from_dot": (changed(5, entry(DIGEST, "./" + LIBRARY)), MISMATCH),
    "path_with_a_space_after_it": (changed(5, entry(DIGEST, LIBRARY + " ")), MISMATCH),
    "path_with_a_zero_after_it": (changed(5, entry(DIGEST, LIBRARY + "\0")), MISMATCH),
    "path_out_of_the_bundle": (changed(5, entry(DIGEST, "../../" + LIBRARY)), MISMATCH),
    "the_manifest_itself": (changed(5, entry(DIGEST, MANIFEST)), MISMATCH),
    "another_file": (changed(len(LINES), entry(LINES[-1][:64], EXTRA_LOCALE)), MISMATCH),
    "endless_path": (changed(len(LINES), entry(DIGEST, "p" * (1 << 20))), MISMATCH),
    "two_carriage_returns_after_an_entry": (changed(5, LINES[4] + "\r\r"), MISMATCH),
}


@pytest.mark.parametrize("name", ACCEPTED)
def test_reader_accepts(sandbox, name):
    write_files(sandbox.bundle, {**payload("A"), MANIFEST: ACCEPTED[name]})
    size = FILES_BYTES + len(ACCEPTED[name])
    with sandbox.unchanged():
        assert sandbox.run("--status-bundled") == bundle_status("installed-valid", size, 0)


@pytest.mark.parametrize("name", REFUSED)
def test_reader_refuses(sandbox, name):
    content, detail = REFUSED[name]
    write_files(sandbox.bundle, {**payload("A"), MANIFEST: content})
    with sandbox.unchanged():
        assert sandbox.run("--status-bundled") == unverified_bundle(detail)
        assert sandbox.run("--install-standard") == failure("install-failed", 23, detail)


@pytest.mark.parametrize("kind", ["absent", "folder"])
def test_reader_without_a_manifest_file_says_missing(sandbox, kind):
    write_files(sandbox.bundle, payload("A"))
    if kind == "folder":
        (sandbox.bundle / MANIFEST).mkdir()
    with sandbox.unchanged():
        assert sandbox.run("--status-bundled") == unverified_bundle(MISSING)
        assert sandbox.run("--install-standard") == failure("install-failed", 23, MISSING)


def test_writer_writes_the_lines_and_nothing_else(sandbox):
    write_files(sandbox.bundle, payload("A"))
    before = sandbox.tree()
    assert sandbox.run("--write-bundled-manifest") == WRITTEN
    written = (sandbox.bundle / MANIFEST).read_bytes()
    assert written == manifest_of(payload("A"))
    assert len(written) == MANIFEST_BYTES
    after = sandbox.tree()
    assert after.pop(f"plugin/k7k-obs-audio/{MANIFEST}")
    assert after == before
    assert sandbox.run("--status-bundled") == VALID_BUNDLE


def test_writer_entries_verify_with_sha256sum(sandbox):
    sandbox.write_bundle("B")
    (sandbox.bundle / MANIFEST).unlink()
    assert sandbox.run("--write-bundled-manifest") == WRITTEN
    check = subprocess.run(f"tail -n +5 {MANIFEST} | sha256sum --strict -c", shell=True,
                           cwd=sandbox.bundle, capture_output=True, text=True, check=False)
    assert (check.returncode, check.stderr) == (0, "")
    assert check.stdout == "".join(f"{path}: OK\n" for path in REQUIRED)


@pytest.mark.parametrize("old", [b"", b"short", b"long" * 1000, manifest_of(payload("B"))],
                         ids=["empty", "short", "long", "of_another_bundle"])
def test_writer_replaces_an_existing_manifest_completely(sandbox, old):
    write_files(sandbox.bundle, {**payload("A"), MANIFEST: old})
    assert sandbox.run("--write-bundled-manifest") == WRITTEN
    assert (sandbox.bundle / MANIFEST).read_bytes() == manifest_of(payload("A"))


@pytest.mark.parametrize("kind", ["missing", "folder"])
@pytest.mark.parametrize("index", range(len(REQUIRED)))
def test_writer_incomplete_bundle_is_refused_and_the_old_manifest_stays(sandbox, index, kind):
    sandbox.write_bundle()
    (sandbox.bundle / REQUIRED[index]).unlink()
    if kind == "folder":
        (sandbox.bundle / REQUIRED[index]).mkdir()
    with sandbox.unchanged():
        assert sandbox.run("--write-bundled-manifest") == failure(
            "manifest-failed", 2, "Cannot manifest an incomplete bundle")


def test_writer_without_a_bundle_says_the_path_does_not_exist(sandbox):
    with sandbox.unchanged():
        assert sandbox.run("--write-bundled-manifest") == failure(
            "manifest-failed", 2, "Path does not exist")


def test_writer_bundle_that_is_a_file_is_incomplete(sandbox):
    """A file passes the inspection as a tree without entries; it holds no required file."""
    write_files(sandbox.bundle.parent, {"k7k-obs-audio": b"a file"})
    with sandbox.unchanged():
        assert sandbox.run("--write-bundled-manifest") == failure(
            "manifest-failed", 2, "Cannot manifest an incomplete bundle")


def test_writer_manifest_that_is_a_folder_cannot_be_created(sandbox):
    write_files(sandbox.bundle, payload("A"))
    (sandbox.bundle / MANIFEST).mkdir()
    with sandbox.unchanged():
        assert sandbox.run("--write-bundled-manifest") == failure(
            "manifest-failed", 2, "Could not create the integrity manifest")


@pytest.mark.only("host", "only the host lets a test put a library before the C runtime")
@pytest.mark.parametrize("refusal", ["no_look_at_written_files.c", "no_emptying.c"])
def test_writer_manifest_that_cannot_be_looked_at_or_emptied_keeps_its_content(sandbox, programs,
                                                                               refusal):
    sandbox.write_bundle()
    with sandbox.unchanged():
        assert sandbox.run("--write-bundled-manifest", env=programs.preloaded(refusal)) == failure(
            "manifest-failed", 2, "Could not create the integrity manifest")


def test_writer_empty_file_is_listed_and_then_fails_the_check(sandbox):
    files = {**payload("A"), LOCALES[3]: b""}
    write_files(sandbox.bundle, files)
    assert sandbox.run("--write-bundled-manifest") == WRITTEN
    assert (sandbox.bundle / MANIFEST).read_bytes() == manifest_of(files)
    with sandbox.unchanged():
        assert sandbox.run("--status-bundled") == bundle_status(
            "installed-invalid", sum(SIZES[:4]), 2, "A required plugin file is empty")


@pytest.mark.only("host", "Wine shows a link to a file as the file")
def test_writer_does_not_write_through_a_link(sandbox):
    sandbox.write_bundle()
    (sandbox.bundle / MANIFEST).unlink()
    (sandbox.root / "precious").write_bytes(b"precious")
    (sandbox.bundle / MANIFEST).symlink_to(sandbox.root / "precious")
    with sandbox.unchanged():
        assert sandbox.run("--write-bundled-manifest") == failure(
            "manifest-failed", 2, "Bundle contains a reparse point")
