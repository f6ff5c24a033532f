"""Situations of the bundle, with good copies installed."""

import os
import shutil

import payload
from payload import LIBRARY, LOCALES, MANIFEST, write_files
from portable_checks import replaced_by_link
from situations import BY_RIGHTS, denied, situation, unreadable


def each_bundle_check(text, code=2):
    """The rows of a bundle that is refused, with good copies installed."""
    return {text: [f"--status-bundled {code}", "--install-standard 23", "--install-portable 43",
                   "--status-standard 0 installed-invalid", "--status-portable 0 not-installed"]}


@situation({**each_bundle_check("", 1), "Path does not exist": ["--write-bundled-manifest 2"]})
def no_bundle(box):
    shutil.rmtree(box.bundle)


@situation({**each_bundle_check(""),
            "Cannot manifest an incomplete bundle": ["--write-bundled-manifest 2"]})
def bundle_is_a_file(box):
    shutil.rmtree(box.bundle)
    box.bundle.write_bytes(b"a file")


@situation(each_bundle_check("Could not inspect the bundle", 1))
def bundle_is_a_link_to_itself(box):
    shutil.rmtree(box.bundle)
    box.bundle.symlink_to(box.bundle.name)


def with_manifest(rows):
    [text] = rows
    return {text: [*rows[text], "--write-bundled-manifest 2"]}


@situation(with_manifest(each_bundle_check("Reparse-point roots are not accepted")))
def bundle_is_a_link(box):
    replaced_by_link(box.bundle, box.root / "moved")


@situation(with_manifest(each_bundle_check("Bundle contains a reparse point")))
def bundle_holds_a_link(box):
    (box.bundle / "link").symlink_to(box.root / "bin")


@situation({**each_bundle_check("Bundle is missing a required plugin file"),
            "Cannot manifest an incomplete bundle": ["--write-bundled-manifest 2"]})
def bundle_lacks_a_file(box):
    (box.bundle / LIBRARY).unlink()


@situation(each_bundle_check("A required plugin file is empty"))
def bundle_holds_an_empty_file(box):
    (box.bundle / LIBRARY).write_bytes(b"")


@situation(each_bundle_check("Bundle integrity manifest is missing"))
def bundle_lacks_its_manifest(box):
    (box.bundle / MANIFEST).unlink()


@situation(each_bundle_check("Bundle integrity manifest is invalid"))
def manifest_is_of_another_version(box):
    manifest = box.bundle / MANIFEST
    manifest.write_bytes(manifest.read_bytes().replace(payload.VERSION.encode(), b"0.9"))


@situation(each_bundle_check("Bundle integrity manifest entry is invalid"))
def manifest_has_a_bad_entry(box):
    manifest = box.bundle / MANIFEST
    manifest.write_bytes(manifest.read_bytes().replace(b"  ", b" "))


@situation(each_bundle_check("Bundle file hash does not match manifest"))
def bundle_holds_a_changed_file(box):
    (box.bundle / LOCALES[-1]).write_bytes(b"changed")


@situation({"Could not hash a required plugin file": ["--write-bundled-manifest 2"]},
           during=lambda box, programs: unreadable(box.bundle / LIBRARY, programs))
def bundle_file_cannot_be_read(box):
    pass


@situation({"Could not create the integrity manifest": ["--write-bundled-manifest 2"]})
def manifest_is_a_folder(box):
    (box.bundle / MANIFEST).unlink()
    (box.bundle / MANIFEST).mkdir()


@situation({"Bundle is missing a required plugin file": ["--install-standard 26"],
            "Could not stage and verify the portable OBS plugin": ["--install-portable 46"]},
           during=lambda box, _: denied(box.bundle / "data/locale", mode=0o300), only=BY_RIGHTS)
def bundle_folder_cannot_be_listed(box):
    pass


@situation({"Could not copy the complete payload": ["--install-standard 26"],
            "Could not stage and verify the portable OBS plugin": ["--install-portable 46"]},
           during=lambda box, programs: unreadable(box.bundle / "data/extra.txt", programs))
def bundle_extra_file_cannot_be_read(box):
    write_files(box.bundle, {"data/extra.txt": b"x"})


@situation({"Payload entry escaped its root": ["--install-standard 26"]})
def bundle_entry_begins_with_two_dots(box):
    write_files(box.bundle, {"..x": b"x"})


@situation({"Payload contains an unsupported entry": ["--install-standard 26"]},
           only=("host", "Wine takes a pipe for a file that cannot be copied"))
def bundle_holds_a_pipe(box):
    os.mkfifo(box.bundle / "pipe")
