"""Situations that make the program say what protocol.json lists, by the test's own hand.

Each starts from a box in which all is well (good_box) and breaks one thing. Its rows say, for each
text, which commands must come with it, by the names of protocol_data.answers_by_row. Those of the
bundle and of the targets stand in files of their own.
"""

import contextlib
import shutil
from dataclasses import dataclass
from typing import Callable

NOTHING = contextlib.nullcontext()
BY_RIGHTS = ("host", "Wine opens files through its server, which keeps every right")
BY_PRELOADING = ("host", "only the host lets a test put a library before the C runtime")
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
    box.environment = {}  # what the program's gets in addition


@contextlib.contextmanager
def denied(path, mode):
    """Takes rights from a path, which the run may move away."""
    before = path.stat().st_mode
    path.chmod(mode)
    try:
        yield
    finally:
        if path.exists():
            path.chmod(before)


def unreadable(path, programs):
    if programs.on_wine:
        return programs.held_open(path, "none")
    return denied(path, mode=0)


@contextlib.contextmanager
def blocked_moves(box, programs, pattern):
    """No move to a name of the pattern succeeds, and every other at its last attempt."""
    box.environment = {**programs.preloaded("blocked_moves.c"), "BLOCKED_MOVES": pattern}
    yield
    box.environment = {}


def undeletable(folder, programs):
    """Keeps the one file of a folder, which the run may move away, from being deleted."""
    if programs.on_wine:
        return programs.held_open(folder / "file", "read")
    return denied(folder, mode=0o500)


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


@contextlib.contextmanager
def running_obs(box, programs):
    folder = box.platform.sandboxes / "running"
    with box.obs_gate.obs(), programs.process_named("obs64.exe", folder):
        yield


@situation({"": ["--install-standard 21", "--remove-standard 21", "--install-portable 41",
                 "--remove-portable 41", "--status-standard 0 installed-valid",
                 "--status-portable 0 installed-valid"]}, during=running_obs)
def obs_runs(box):
    pass


@situation({"": ["--status-standard 20", "--install-standard 20", "--remove-standard 20"]})
def no_program_data_folder(box):
    shutil.rmtree(box.data)
    if box.platform.name == "host":
        box.data = ""
