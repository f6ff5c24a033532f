"""Whole trees as values: what is at a path, compared by names, kinds and digests.

A tree is a dictionary from the relative name ("" is the path itself) to what the entry is, as
kind_of tells it. None stands for a path where nothing is.
"""

import os
import pathlib
import shutil
import stat
import sys

# What the protocol tests have for the same purpose is used here as well.
sys.path.append(str(pathlib.Path(__file__).resolve().parents[1] / "protocol"))
from trees import FOLDER, digest_of, kind_of  # after the line above, by which it is found


def tree_of(path, leave_out=lambda path: False):
    """The tree at a path, links noted and not followed, without what leave_out says."""
    try:
        mode = os.lstat(path).st_mode
    except (FileNotFoundError, NotADirectoryError):
        return None
    tree = {"": kind_of(path, mode)}
    waiting = [(os.fspath(path), "")] if stat.S_ISDIR(mode) else []
    while waiting:
        folder, prefix = waiting.pop()
        for entry in os.scandir(folder):
            if leave_out(entry.path):
                continue
            name = prefix + entry.name
            tree[name] = kind_of(entry.path, entry.stat(follow_symlinks=False).st_mode)
            if tree[name] == FOLDER:
                waiting.append((entry.path, name + "/"))
    return tree


def tree_from(files):
    """The tree that write_files makes of the same files."""
    tree = {name: digest_of(content) for name, content in files.items()}
    if "" not in tree:
        tree[""] = FOLDER
        for name in files:
            for folder in list(pathlib.PurePosixPath(name).parents)[:-1]:
                tree[str(folder)] = FOLDER
    return tree


def write_files(path, files):
    """Makes a folder with these files below it; or, for the one name "", that file."""
    for name, content in files.items():
        file = pathlib.Path(path, name) if name else pathlib.Path(path)
        file.parent.mkdir(parents=True, exist_ok=True)
        file.write_bytes(content)


def remove(path):
    path = pathlib.Path(path)
    if path.is_dir() and not path.is_symlink():
        shutil.rmtree(path)
    else:
        path.unlink(missing_ok=True)


def is_remainder(tree, whole):
    """Whether a tree is the whole one with entries missing: one that is being deleted, or gone."""
    return tree is None or whole is not None and tree.items() <= whole.items()


def has_names_of(tree, whole):
    """Whether a tree has no entry that the whole one lacks: one that is being copied."""
    return tree is None or tree.keys() <= whole.keys()


def differences(before, after):
    """One line for each entry that is not as it was."""
    before, after = before or {}, after or {}
    return [f"{name or '.'}: {before.get(name, 'nothing')} became {after.get(name, 'nothing')}"
            for name in sorted(before.keys() | after.keys()) if before.get(name) != after.get(name)]
