"""The bundle beside the program: its verdict, its byte count and each defect's message."""

import os

import pytest

from payload import (EXTRA_LOCALE, FILES_BYTES, LIBRARY, LOCALES, MANIFEST, MANIFEST_BYTES,
                     REQUIRED, SIZES, manifest_of, payload, write_copy, write_files)
from sandbox import VALID_BUNDLE, Answer, bundle_status, failure

LINK_ROOT = "Reparse-point roots are not accepted"
LINK_INSIDE = "Bundle contains a reparse point"
MISSING = "Bundle is missing a required plugin file"
EMPTY = "A required plugin file is empty"


def expect_refused_everywhere(box, count, detail):
    """The status says why the bundle is invalid; both installs refuse it for the same reason."""
    obs = box.write_obs()
    with box.unchanged():
        assert box.run("--status-bundled") == bundle_status("installed-invalid", count, 2, detail)
        assert box.run("--install-standard") == failure("install-failed", 23, detail or "")
        assert box.portable("--install-portable", obs) == failure("install-failed", 43,
                                                                  detail or "")
        assert box.portable("--status-portable", obs) == Answer(
            0, "state=not-installed\nobsRunning=0\n", f"detail={detail}\n" if detail else "")


def test_status_valid_bundle_counts_the_required_files_and_the_manifest(sandbox):
    sandbox.write_bundle()
    with sandbox.unchanged():
        assert sandbox.run("--status-bundled") == VALID_BUNDLE


def test_status_bundle_of_files_of_32_bytes_counts_them_and_the_manifest(sandbox):
    files = {path: b"A" * 32 for path in REQUIRED}
    write_files(sandbox.bundle, {**files, MANIFEST: manifest_of(files)})
    assert sandbox.run("--status-bundled") == bundle_status(
        "installed-valid", 32 * len(REQUIRED) + MANIFEST_BYTES, 0)


def test_status_no_bundle_is_not_installed_without_a_message(sandbox):
    obs = sandbox.write_obs()
    for _ in ("no plugin folder", "a plugin folder without the bundle"):
        with sandbox.unchanged():
            assert sandbox.run("--status-bundled") == bundle_status("not-installed", 0, 1)
            assert sandbox.run("--install-standard") == failure("install-failed", 23, "")
            assert sandbox.portable("--install-portable", obs) == failure("install-failed", 43, "")
        sandbox.bundle.parent.mkdir(exist_ok=True)


def test_status_bundle_that_is_a_file_is_invalid_without_a_message(sandbox):
    write_files(sandbox.bundle.parent, {"k7k-obs-audio": b"a file"})
    expect_refused_everywhere(sandbox, 0, None)


def test_status_bundle_below_a_file_is_absent(sandbox):
    (sandbox.root / "plugin").write_bytes(b"a file")
    with sandbox.unchanged():
        assert sandbox.run("--status-bundled") == bundle_status("not-installed", 0, 1)


@pytest.mark.parametrize("index", range(len(REQUIRED)))
def test_status_required_file_missing_reports_bytes_of_files_before_it(sandbox, index):
    sandbox.write_bundle()
    (sandbox.bundle / REQUIRED[index]).unlink()
    expect_refused_everywhere(sandbox, sum(SIZES[:index]), MISSING)


@pytest.mark.parametrize("index", range(len(REQUIRED)))
def test_status_required_file_that_is_a_folder_is_missing(sandbox, index):
    sandbox.write_bundle()
    (sandbox.bundle / REQUIRED[index]).unlink()
    write_files(sandbox.bundle / REQUIRED[index], {"inside": b"x"})
    expect_refused_everywhere(sandbox, sum(SIZES[:index]), MISSING)


@pytest.mark.parametrize("index", range(len(REQUIRED)))
def test_status_required_file_empty_reports_bytes_of_files_before_it(sandbox, index):
    """The manifest is made for the empty file, so that its emptiness alone is wrong."""
    files = {**payload("A"), REQUIRED[index]: b""}
    write_files(sandbox.bundle, {**files, MANIFEST: manifest_of(files)})
    expect_refused_everywhere(sandbox, sum(SIZES[:index]), EMPTY)


@pytest.mark.parametrize("index", range(len(REQUIRED)))
def test_status_required_file_changed_by_one_byte_differs_from_the_manifest(sandbox, index):
    sandbox.write_bundle()
    path = sandbox.bundle / REQUIRED[index]
    path.write_bytes(path.read_bytes()[:-1] + b"B")
    expect_refused_everywhere(sandbox, FILES_BYTES, "Bundle file hash does not match manifest")


def test_status_two_defects_report_the_earlier_file(sandbox):
    sandbox.write_bundle()
    (sandbox.bundle / REQUIRED[2]).write_bytes(b"")
    (sandbox.bundle / REQUIRED[3]).unlink()
    assert sandbox.run("--status-bundled") == bundle_status(
        "installed-invalid", sum(SIZES[:2]), 2, EMPTY)
    (sandbox.bundle / REQUIRED[1]).unlink()
    assert sandbox.run("--status-bundled") == bundle_status(
        "installed-invalid", SIZES[0], 2, MISSING)


def test_status_bad_file_is_reported_before_a_bad_manifest(sandbox):
    sandbox.write_bundle()
    (sandbox.bundle / MANIFEST).unlink()
    (sandbox.bundle / REQUIRED[-1]).unlink()
    assert sandbox.run("--status-bundled") == bundle_status(
        "installed-invalid", sum(SIZES[:-1]), 2, MISSING)


def test_status_extra_entries_are_neither_checked_nor_counted(sandbox):
    sandbox.write_bundle(extra={EXTRA_LOCALE: b"extra", "empty.txt": b"",
                                "notes/deep/er/readme \u00e9\u4e2d.txt": b"x", "n" * 240: b"y"})
    (sandbox.bundle / "empty folder").mkdir()
    with sandbox.unchanged():
        assert sandbox.run("--status-bundled") == VALID_BUNDLE


def test_status_link_to_the_bundle_is_refused(sandbox):
    write_copy(sandbox.root / "elsewhere")
    sandbox.bundle.parent.mkdir()
    sandbox.bundle.symlink_to(sandbox.root / "elsewhere")
    expect_refused_everywhere(sandbox, 0, LINK_ROOT)
    with sandbox.unchanged():
        assert sandbox.run("--write-bundled-manifest") == failure("manifest-failed", 2, LINK_ROOT)


def test_status_link_above_the_bundle_is_accepted(sandbox):
    write_copy(sandbox.root / "elsewhere" / "k7k-obs-audio")
    (sandbox.root / "plugin").symlink_to("elsewhere")
    with sandbox.unchanged():
        assert sandbox.run("--status-bundled") == VALID_BUNDLE


def test_status_dangling_link_to_the_bundle_is_absent(sandbox):
    sandbox.bundle.parent.mkdir()
    sandbox.bundle.symlink_to("nowhere")
    with sandbox.unchanged():
        assert sandbox.run("--status-bundled") == bundle_status("not-installed", 0, 1)


def test_status_bundle_that_is_a_link_loop_cannot_be_inspected(sandbox):
    sandbox.bundle.parent.mkdir()
    sandbox.bundle.symlink_to("k7k-obs-audio")
    detail = "Could not inspect the bundle"
    with sandbox.unchanged():
        assert sandbox.run("--status-bundled") == bundle_status("not-installed", 0, 1, detail)
        assert sandbox.run("--install-standard") == failure("install-failed", 23, detail)
        assert sandbox.run("--write-bundled-manifest") == failure("manifest-failed", 2,
                                                                  "Path does not exist")


@pytest.mark.parametrize("folder", ["bin", "bin/64bit", "data", "data/locale", "extra",
                                    "data/one/two/three", "extra.", "extra /three. ./link"])
def test_status_folder_link_inside_is_refused_at_every_depth(sandbox, folder):
    """The link leads to a true copy of the folder, so that only its being a link is wrong."""
    sandbox.write_bundle()
    link = sandbox.bundle / folder
    moved = sandbox.root / "moved"
    if link.exists():
        link.rename(moved)
    else:
        moved.mkdir()
        link.parent.mkdir(parents=True, exist_ok=True)
    link.symlink_to(moved)
    expect_refused_everywhere(sandbox, 0, LINK_INSIDE)
    with sandbox.unchanged():
        assert sandbox.run("--write-bundled-manifest") == failure("manifest-failed", 2, LINK_INSIDE)


@pytest.mark.only("host", "Wine shows a link to a file as the file")
@pytest.mark.parametrize("file", [LIBRARY, *LOCALES, MANIFEST, "extra.txt"])
def test_status_file_link_inside_is_refused(sandbox, file):
    sandbox.write_bundle(extra={"extra.txt": b"x"})
    link = sandbox.bundle / file
    link.rename(sandbox.root / "moved")
    link.symlink_to(sandbox.root / "moved")
    expect_refused_everywhere(sandbox, 0, LINK_INSIDE)


@pytest.mark.only("host", "Wine does not list a link without a target")
@pytest.mark.parametrize("target", ["nowhere", "link"], ids=["dangling", "loop"])
def test_status_link_that_leads_nowhere_is_refused(sandbox, target):
    sandbox.write_bundle()
    (sandbox.bundle / "data" / "link").symlink_to(target)
    expect_refused_everywhere(sandbox, 0, LINK_INSIDE)


def test_status_link_is_reported_before_a_missing_file(sandbox):
    sandbox.write_bundle()
    (sandbox.bundle / LIBRARY).unlink()
    (sandbox.bundle / "link").symlink_to(sandbox.root)
    assert sandbox.run("--status-bundled") == bundle_status("installed-invalid", 0, 2, LINK_INSIDE)


def test_status_pipe_beside_the_required_files_is_accepted(sandbox):
    sandbox.write_bundle()
    os.mkfifo(sandbox.bundle / "pipe")
    assert sandbox.run("--status-bundled") == VALID_BUNDLE


def test_status_required_file_that_is_a_pipe_is_missing(sandbox):
    sandbox.write_bundle()
    (sandbox.bundle / REQUIRED[1]).unlink()
    os.mkfifo(sandbox.bundle / REQUIRED[1])
    expect_refused_everywhere(sandbox, SIZES[0], MISSING)


@pytest.mark.only("host", "letter case tells files apart only here")
def test_status_required_file_in_other_letter_case_is_missing(sandbox):
    sandbox.write_bundle()
    (sandbox.bundle / LOCALES[0]).rename(sandbox.bundle / "data/locale/EN-us.ini")
    expect_refused_everywhere(sandbox, SIZES[0], MISSING)
