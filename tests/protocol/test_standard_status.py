"""--status-standard: the state of the installed copy against the bundle."""

import pytest

from payload import (EXTRA_LOCALE, LIBRARY, LOCALES, MANIFEST, REQUIRED, manifest_of, payload,
                     write_copy, write_files)
from sandbox import Answer, status

DIFFERS = "Installed OBS plugin files differ from the bundled connector"
MISSING = "Bundle is missing a required plugin file"
LINK_ROOT = "Reparse-point roots are not accepted"
LINK_INSIDE = "Bundle contains a reparse point"


def expect(box, answer):
    with box.unchanged():
        assert box.run("--status-standard") == answer


def test_status_nothing_below_program_data_is_not_installed(sandbox):
    sandbox.write_bundle()
    expect(sandbox, Answer(0, "state=not-installed\nobsRunning=0\n", ""))


def test_status_no_plugin_folder_below_the_plugins_root_is_not_installed(sandbox):
    sandbox.write_bundle()
    sandbox.plugins.mkdir(parents=True)
    expect(sandbox, status("not-installed"))


@pytest.mark.only("host", "Windows has no program data folder where the folder does not exist")
def test_status_program_data_folder_missing_is_not_installed(sandbox):
    sandbox.data.rmdir()
    expect(sandbox, status("not-installed"))


def test_status_nothing_installed_does_not_look_at_the_bundle(sandbox):
    sandbox.write_bundle()
    (sandbox.bundle / MANIFEST).unlink()
    expect(sandbox, status("not-installed"))


def test_status_same_copy_is_valid(sandbox):
    sandbox.write_bundle()
    sandbox.write_plugin()
    expect(sandbox, Answer(0, "state=installed-valid\nobsRunning=0\n", ""))


def test_status_extra_files_in_the_copy_are_allowed(sandbox):
    sandbox.write_bundle()
    sandbox.write_plugin(extra={EXTRA_LOCALE: b"x", "settings.json": b""})
    expect(sandbox, status("installed-valid"))


def test_status_manifest_of_the_copy_is_not_compared(sandbox):
    """Both manifests verify; they are written differently."""
    sandbox.write_bundle()
    files = payload("A")
    write_files(sandbox.plugin, {**files, MANIFEST: manifest_of(files).replace(b"\n", b"\r\n")})
    expect(sandbox, status("installed-valid"))


def test_status_other_copy_with_its_own_manifest_differs(sandbox):
    sandbox.write_bundle("A")
    sandbox.write_plugin("B")
    expect(sandbox, Answer(0, "state=installed-invalid\nobsRunning=0\n",
                           "detail=Installed OBS plugin files differ from the bundled connector\n"))


@pytest.mark.parametrize("path", REQUIRED)
def test_status_one_file_changed_with_its_manifest_differs(sandbox, path):
    sandbox.write_bundle()
    files = {**payload("A"), path: b"changed"}
    write_files(sandbox.plugin, {**files, MANIFEST: manifest_of(files)})
    expect(sandbox, status("installed-invalid", detail=DIFFERS))


@pytest.mark.parametrize("path", REQUIRED)
def test_status_one_file_changed_without_its_manifest_does_not_match_it(sandbox, path):
    sandbox.write_bundle()
    sandbox.write_plugin()
    (sandbox.plugin / path).write_bytes(b"changed")
    expect(sandbox, status("installed-invalid", detail="Bundle file hash does not match manifest"))


@pytest.mark.parametrize("path", REQUIRED)
def test_status_one_file_missing_is_invalid(sandbox, path):
    sandbox.write_bundle()
    sandbox.write_plugin()
    (sandbox.plugin / path).unlink()
    expect(sandbox, status("installed-invalid", detail=MISSING))


def test_status_one_file_empty_is_invalid(sandbox):
    sandbox.write_bundle()
    sandbox.write_plugin()
    (sandbox.plugin / LOCALES[2]).write_bytes(b"")
    expect(sandbox, status("installed-invalid", detail="A required plugin file is empty"))


def test_status_empty_plugin_folder_is_invalid(sandbox):
    sandbox.write_bundle()
    sandbox.plugin.mkdir(parents=True)
    expect(sandbox, status("installed-invalid", detail=MISSING))


def test_status_copy_without_its_manifest_is_invalid(sandbox):
    sandbox.write_bundle()
    sandbox.write_plugin()
    (sandbox.plugin / MANIFEST).unlink()
    expect(sandbox, status("installed-invalid", detail="Bundle integrity manifest is missing"))


def test_status_copy_with_a_bad_manifest_is_invalid(sandbox):
    sandbox.write_bundle()
    sandbox.write_plugin()
    (sandbox.plugin / MANIFEST).write_bytes(manifest_of(payload("A")) + b"\n")
    expect(sandbox, status("installed-invalid", detail="Bundle integrity manifest is invalid"))


def test_status_copy_with_a_bad_entry_is_invalid(sandbox):
    sandbox.write_bundle()
    sandbox.write_plugin()
    (sandbox.plugin / MANIFEST).write_bytes(manifest_of(payload("A")).replace(b"  ", b" "))
    expect(sandbox, status("installed-invalid",
                           detail="Bundle integrity manifest entry is invalid"))


def test_status_plugin_folder_that_is_a_file_is_invalid_without_a_message(sandbox):
    sandbox.write_bundle()
    write_files(sandbox.plugins, {"k7k-obs-audio": b"a file"})
    expect(sandbox, status("installed-invalid"))


def test_status_plugins_root_that_is_a_file_is_not_installed(sandbox):
    sandbox.write_bundle()
    write_files(sandbox.data, {"obs-studio/plugins": b"a file"})
    expect(sandbox, status("not-installed"))


def test_status_broken_bundle_makes_a_good_copy_invalid(sandbox):
    sandbox.write_bundle()
    sandbox.write_plugin()
    (sandbox.bundle / LIBRARY).write_bytes(b"")
    expect(sandbox, status("installed-invalid", detail="A required plugin file is empty"))


def test_status_missing_bundle_makes_a_good_copy_invalid_without_a_message(sandbox):
    sandbox.write_plugin()
    expect(sandbox, status("installed-invalid"))


def test_status_broken_copy_is_reported_before_a_broken_bundle(sandbox):
    sandbox.write_bundle()
    sandbox.write_plugin()
    (sandbox.bundle / LIBRARY).write_bytes(b"")
    (sandbox.plugin / LIBRARY).unlink()
    expect(sandbox, status("installed-invalid", detail=MISSING))


def test_status_plugin_folder_that_is_a_link_is_invalid(sandbox):
    sandbox.write_bundle()
    write_copy(sandbox.root / "elsewhere")
    sandbox.plugins.mkdir(parents=True)
    sandbox.plugin.symlink_to(sandbox.root / "elsewhere")
    expect(sandbox, status("installed-invalid", detail=LINK_ROOT))


def test_status_plugins_root_that_is_a_link_is_followed(sandbox):
    """A question may go through a link; only a change may not."""
    sandbox.write_bundle()
    write_copy(sandbox.root / "elsewhere" / "k7k-obs-audio")
    (sandbox.data / "obs-studio").mkdir()
    sandbox.plugins.symlink_to(sandbox.root / "elsewhere")
    expect(sandbox, status("installed-valid"))


@pytest.mark.parametrize("folder", ["bin", "bin/64bit", "data", "data/locale", "extra"])
def test_status_folder_link_inside_the_copy_is_invalid(sandbox, folder):
    sandbox.write_bundle()
    sandbox.write_plugin()
    link = sandbox.plugin / folder
    if link.exists():
        link.rename(sandbox.root / "moved")
    link.symlink_to(sandbox.root / "moved" if folder != "extra" else sandbox.root)
    expect(sandbox, status("installed-invalid", detail=LINK_INSIDE))


@pytest.mark.only("host", "Wine shows a link to a file as the file")
@pytest.mark.parametrize("path", REQUIRED)
def test_status_file_link_inside_the_copy_is_invalid(sandbox, path):
    sandbox.write_bundle()
    sandbox.write_plugin()
    (sandbox.plugin / path).unlink()
    (sandbox.plugin / path).symlink_to(sandbox.bundle / path)
    expect(sandbox, status("installed-invalid", detail=LINK_INSIDE))


def test_status_dangling_link_for_the_plugin_folder_is_not_installed(sandbox):
    sandbox.write_bundle()
    sandbox.plugins.mkdir(parents=True)
    sandbox.plugin.symlink_to("nowhere")
    expect(sandbox, status("not-installed"))


def test_status_plugin_folder_that_is_a_link_loop_cannot_be_inspected(sandbox):
    sandbox.write_bundle()
    sandbox.plugins.mkdir(parents=True)
    sandbox.plugin.symlink_to("k7k-obs-audio")
    expect(sandbox, status("not-installed", detail="Could not inspect the installed bundle"))
