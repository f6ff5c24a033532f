"""Situations that make the program say what protocol.json lists, by the test's own hand.

Each starts from a box in which all is well (good_box) and breaks one thing. Its rows say, for each
text, which commands must come with it, by the names of protocol_data.answers_by_row.
"""

import contextlib
import os
import shutil
from dataclasses import dataclass
from typing import Callable

import payload
from payload import LIBRARY, LOCALES, MANIFEST, write_files
from portable_checks import replaced_by_link
from sandbox import BUNDLE, OBS_DATA, OBS_DATA_PARENT, OBS_DLL, OBS_DLL_PARENT
from test_places import DEEP, padded

NOTHING = contextlib.nullcontext()
BY_RIGHTS = ("host", "Wine opens files through its server, which keeps every right")
BY_HOLDING = ("wine", "an open file holds up neither moves nor deletions there")


@dataclass(frozen=True)
class Situation:
    prepare: Callable  # changes the box's files
    rows: dict  # of each text to its rows
    during: Callable = lambda box, programs: NOTHING  # what is so while the commands run
    only: tuple = ()  # the one platform, and why
    place: str = "."  # of the box


SITUATIONS = {}


def situation(rows, **options):
    def add(prepare):
        SITUATIONS[prepare.__name__] = Situation(prepare, rows, **options)
        return prepare
    return add


def good_box(box):
    box.write_bundle()
    box.write_plugin()
    box.write_obs()
    box.write_portable_plugin()
    box.argument = None  # the OBS root as the command line gives it, when it is not box.obs


def each_portable(text):
    return {text: ["--status-portable 40", "--install-portable 40", "--remove-portable 40"]}


def each_bundle_check(text, code=2):
    """The rows of a bundle that is refused, with good copies installed."""
    return {text: [f"--status-bundled {code}", "--install-standard 23", "--install-portable 43",
                   "--status-standard 0 installed-invalid", "--status-portable 0 not-installed"]}


@contextlib.contextmanager
def denied(*paths, mode):
    """Takes rights from the paths, which the run may move away."""
    before = [path.stat().st_mode for path in paths]
    for path in paths:
        path.chmod(mode)
    yield
    for path, old in zip(paths, before):
        if path.exists():
            path.chmod(old)


def unreadable(path, programs):
    if programs.on_wine:
        return programs.held_open(path, "none")
    return denied(path, mode=0)


# All is well, or nothing is there.

@situation({"": ["--status-bundled 0", "--write-bundled-manifest 0", "--status-standard 0 "
                 "installed-valid", "--status-portable 0 installed-valid", "--install-standard 0",
                 "--install-portable 0", "--remove-standard 0 removed",
                 "--remove-portable 0 removed"]})
def all_is_well(box):
    pass


@situation({"": ["--status-standard 0 not-installed", "--status-portable 0 not-installed",
                 "--remove-standard 0 not-installed", "--remove-portable 0 not-installed"]})
def nothing_is_installed(box):
    shutil.rmtree(box.plugin)
    shutil.rmtree(box.obs / "obs-plugins")
    shutil.rmtree(box.obs / "data")


@situation({"Installed OBS plugin files differ from the bundled connector":
            ["--status-standard 0 installed-invalid"],
            "Portable OBS plugin files are incomplete or differ from the bundled connector":
            ["--status-portable 0 installed-invalid"]})
def other_copies_are_installed(box):
    box.write_plugin("B")
    box.write_portable_plugin("B")


def obs_runs_during(box, programs):
    stack = contextlib.ExitStack()
    stack.enter_context(box.obs_gate.obs())
    stack.enter_context(programs.process_named("obs64.exe", box.platform.sandboxes / "running"))
    return stack


@situation({"": ["--install-standard 21", "--remove-standard 21", "--install-portable 41",
                 "--remove-portable 41", "--status-standard 0 installed-valid",
                 "--status-portable 0 installed-valid"]}, during=obs_runs_during)
def obs_runs(box):
    pass


@situation({"": ["--status-standard 20", "--install-standard 20", "--remove-standard 20"]})
def no_program_data_folder(box):
    shutil.rmtree(box.data)
    if box.platform.name == "host":
        box.data = ""


# The bundle.

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


# Copying it.

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


# The standard target.

@situation({"Plugin parent is unavailable or unsafe": ["--install-standard 24",
                                                       "--remove-standard 34"]})
def plugins_root_is_a_link(box):
    replaced_by_link(box.plugins, box.root / "moved")


@situation({"Plugin parent is unavailable or unsafe": ["--install-standard 24"],
            "Could not inspect the plugin parent": ["--remove-standard 35"]})
def plugins_root_is_a_link_to_itself(box):
    shutil.rmtree(box.plugins)
    box.plugins.symlink_to(box.plugins.name)


@situation({"Could not resolve the payload root": ["--install-standard 24"]}, place=DEEP,
           only=("wine", "the host resolves every path that exists"))
def bundle_is_too_deep_to_resolve(box):
    box.data = box.folder / "program-data"
    box.data.mkdir()


@situation({"Payload and plugin destination must be separate trees": ["--install-standard 24"],
            "Payload and portable OBS destination must be separate trees":
            ["--install-portable 44"]})
def targets_lie_in_the_bundle(box):
    box.data = box.bundle / "program-data"
    box.data.mkdir()
    box.obs = box.write_obs(f"{BUNDLE}/obs")


@situation({"": ["--status-standard 0 installed-invalid"],
            "Installed plugin path is unsafe": ["--remove-standard 34"]})
def plugin_is_a_file(box):
    shutil.rmtree(box.plugin)
    box.plugin.write_bytes(b"a file")


@situation({"Existing plugin path is unsafe": ["--install-standard 24"],
            "Reparse-point roots are not accepted": ["--status-standard 0 installed-invalid"],
            "Installed plugin path is unsafe": ["--remove-standard 34"]})
def plugin_is_a_link(box):
    replaced_by_link(box.plugin, box.root / "moved")


@situation({"Could not inspect the installed bundle": ["--status-standard 0 not-installed"],
            "Could not inspect the existing plugin": ["--install-standard 25"],
            "Could not inspect the installed plugin": ["--remove-standard 35"]})
def plugin_is_a_link_to_itself(box):
    shutil.rmtree(box.plugin)
    box.plugin.symlink_to(box.plugin.name)


@situation({"Plugin replacement failed and was rolled back": ["--install-standard 26"]})
def plugin_is_a_link_to_nothing(box):
    shutil.rmtree(box.plugin)
    box.plugin.symlink_to("nowhere")


@situation({"Could not create the staging directory": ["--install-standard 26"],
            "Could not isolate the plugin; OBS may be running": ["--remove-standard 35"]},
           during=lambda box, _: denied(box.plugins, mode=0o500), only=BY_RIGHTS)
def plugins_root_cannot_be_written(box):
    pass


@situation({"Could not back up the existing plugin; OBS may be running": ["--install-standard 25"],
            "Could not isolate the plugin; OBS may be running": ["--remove-standard 35"]},
           during=lambda box, programs: programs.held_open(box.plugin, "read"), only=BY_HOLDING)
def plugin_is_held_open(box):
    pass


def undeletable(folder, programs):
    """Keeps the one file of a folder, which the run may move away, from being deleted."""
    if programs.on_wine:
        return programs.held_open(folder / "file", "read")
    return denied(folder, mode=0o500)


@situation({"Plugin removal failed and was rolled back": ["--remove-standard 35"]},
           during=lambda box, programs: undeletable(box.plugin / "kept", programs))
def plugin_cannot_be_deleted(box):
    write_files(box.plugin, {"kept/file": b"x"})


@situation({"Portable plugin was detached, but a private backup remains":
            ["--remove-portable 55"]},
           during=lambda box, programs: undeletable(box.root / OBS_DATA / "kept", programs))
def data_cannot_be_deleted(box):
    write_files(box.root / OBS_DATA, {"kept/file": b"x"})


@situation({"Could not reserve transaction paths": ["--install-standard 25"],
            "Could not reserve the removal backup path": ["--remove-standard 35"],
            "Could not reserve portable OBS transaction paths": ["--install-portable 45"]},
           only=("host", "Windows paths may be 32767 characters long, more than the disk takes"))
def private_names_are_too_long(box):
    box.data = padded(box.data, "obs-studio/plugins", "k7k-obs-audio")
    os.makedirs(f"{box.data}/obs-studio/plugins/k7k-obs-audio")
    folder = padded(box.obs, "obs-plugins/64bit", "k7k-obs-audio.dll")
    box.obs = box.write_obs(str(folder.relative_to(box.root)))


# The portable target.

@situation(each_portable("Portable OBS root must be an absolute path"))
def root_is_relative(box):
    box.argument = "obs"


@situation(each_portable("Portable OBS root is unavailable or unsafe"))
def root_is_a_link(box):
    replaced_by_link(box.obs, box.root / "moved")


@situation(each_portable("The portable OBS executable path is unsafe"))
def root_lacks_bin(box):
    shutil.rmtree(box.obs / "bin")


@situation(each_portable("The selected folder does not contain bin\\64bit\\obs64.exe"))
def root_lacks_the_executable(box):
    (box.obs / "bin/64bit/obs64.exe").unlink()


@situation(each_portable("The selected OBS folder is not marked for portable mode"))
def root_lacks_a_marker(box):
    (box.obs / "portable_mode.txt").unlink()


@situation(each_portable("A portable OBS plugin parent is unavailable or unsafe"))
def portable_parent_is_a_link(box):
    replaced_by_link(box.obs / "data", box.root / "moved")


@situation({"A portable OBS plugin parent is unavailable or unsafe": ["--install-portable 44"]})
def portable_parent_is_a_link_to_nothing(box):
    shutil.rmtree(box.root / OBS_DATA_PARENT)
    (box.root / OBS_DATA_PARENT).symlink_to("nowhere")


@situation(each_portable("Could not inspect a portable OBS parent"))
def portable_parent_is_a_link_to_itself(box):
    shutil.rmtree(box.obs / "data")
    (box.obs / "data").symlink_to("data")


@situation(each_portable("The portable OBS plugin DLL path is unsafe"))
def library_is_a_folder(box):
    (box.root / OBS_DLL).unlink()
    (box.root / OBS_DLL).mkdir()


@situation(each_portable("The portable OBS plugin data path is unsafe"))
def data_holds_a_link(box):
    (box.root / OBS_DATA / "link").symlink_to(box.root / "bin")


@situation(each_portable(""))
def data_is_a_link_to_itself(box):
    shutil.rmtree(box.root / OBS_DATA)
    (box.root / OBS_DATA).symlink_to("k7k-obs-audio")


@situation({"Portable OBS plugin verification failed and was rolled back":
            ["--install-portable 46"]})
def data_is_a_link_to_nothing(box):
    shutil.rmtree(box.root / OBS_DATA)
    (box.root / OBS_DATA).symlink_to("nowhere")


@situation({"Could not isolate the portable plugin DLL; OBS may be running":
            ["--remove-portable 55"]},
           during=lambda box, _: denied(box.root / OBS_DLL_PARENT, mode=0o500), only=BY_RIGHTS)
def library_parent_cannot_be_written(box):
    pass


@situation({"Could not isolate portable plugin data": ["--remove-portable 55"]},
           during=lambda box, _: denied(box.root / OBS_DATA_PARENT, mode=0o500), only=BY_RIGHTS)
def data_parent_cannot_be_written(box):
    pass


@situation({"Could not back up the portable OBS plugin DLL; OBS may be running":
            ["--install-portable 45"],
            "Could not isolate the portable plugin DLL; OBS may be running":
            ["--remove-portable 55"]},
           during=lambda box, programs: programs.held_open(box.root / OBS_DLL, "read"),
           only=BY_HOLDING)
def library_is_held_open(box):
    pass


@situation({"Could not back up portable OBS plugin data": ["--install-portable 45"],
            "Could not isolate portable plugin data": ["--remove-portable 55"]},
           during=lambda box, programs: programs.held_open(box.root / OBS_DATA, "read"),
           only=BY_HOLDING)
def data_is_held_open(box):
    pass
