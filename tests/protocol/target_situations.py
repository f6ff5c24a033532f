"""Situations of the two targets, with a good bundle."""

import contextlib
import os
import shutil

from payload import write_files
from portable_checks import replaced_by_link
from sandbox import BUNDLE, OBS_DATA, OBS_DATA_PARENT, OBS_DLL, OBS_DLL_PARENT
from situations import (BY_HOLDING, BY_PRELOADING, BY_RIGHTS, blocked_moves, denied, situation,
                        undeletable)
from test_places import DEEP, padded


def each_portable(text):
    return {text: ["--status-portable 40", "--install-portable 40", "--remove-portable 40"]}


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


@situation({"Plugin removal failed and was rolled back": ["--remove-standard 35"]},
           during=lambda box, programs: undeletable(box.plugin / "kept", programs))
def plugin_cannot_be_deleted(box):
    write_files(box.plugin, {"kept/file": b"x"})


@situation({"Could not reserve transaction paths": ["--install-standard 25"],
            "Could not reserve the removal backup path": ["--remove-standard 35"],
            "Could not reserve portable OBS transaction paths": ["--install-portable 45"]},
           only=("host", "Windows paths may be 32767 characters long, more than the disk takes"))
def private_names_are_too_long(box):
    box.data = padded(box.data, "obs-studio/plugins", "k7k-obs-audio")
    os.makedirs(f"{box.data}/obs-studio/plugins/k7k-obs-audio")
    folder = padded(box.obs, "obs-plugins/64bit", "k7k-obs-audio.dll")
    box.obs = box.write_obs(str(folder.relative_to(box.root)))


@contextlib.contextmanager
def neither_deleted_nor_restored(box, programs):
    with undeletable(box.plugin / "kept", programs), blocked_moves(box, programs, "k7k-obs-audio"):
        yield


@situation({"Plugin removal failed and its backup could not be restored": ["--remove-standard 35"]},
           during=neither_deleted_nor_restored, only=BY_PRELOADING)
def plugin_can_neither_be_deleted_nor_restored(box):
    write_files(box.plugin, {"kept/file": b"x"})


@situation({"Portable plugin was detached, but a private backup remains":
            ["--remove-portable 55"]},
           during=lambda box, programs: undeletable(box.root / OBS_DATA / "kept", programs))
def data_cannot_be_deleted(box):
    write_files(box.root / OBS_DATA, {"kept/file": b"x"})


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


@situation({"Portable OBS plugin replacement failed and was rolled back":
            ["--install-portable 45"]},
           during=lambda box, programs: blocked_moves(box, programs, "k7k-obs-audio.dll"),
           only=BY_PRELOADING)
def library_cannot_be_moved_in(box):
    pass


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
