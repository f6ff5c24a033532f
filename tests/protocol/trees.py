"""Whole-tree snapshots: what lies in a folder, told exactly enough that any change shows.

A tree is a dictionary from each entry's path below the folder, with "/" separators, to what the
entry is: FOLDER, a file's SHA-256 digest, or a link with its text. Links are never followed.
"""

import hashlib
import os
import shutil
import stat

FOLDER = "folder"


def digest_of(content):
    return "sha256:" + hashlib.sha256(content).hexdigest()


def kind_of(path, mode):
    if stat.S_ISLNK(mode):
        return "link to " + os.readlink(path)
    if stat.S_ISDIR(mode):
        return FOLDER
    if not stat.S_ISREG(mode):
        return f"special {stat.S_IFMT(mode):o}"
    sha = hashlib.sha256()
    if not mode & stat.S_IRUSR:  # a copy that was cut off has not got its rights yet
        os.chmod(path, stat.S_IMODE(mode) | stat.S_IRUSR)
    with open(path, "rb") as file:
        while block := file.read(1 << 20):
            sha.update(block)
    return "sha256:" + sha.hexdigest()


def take_tree(root):
    tree = {}
    pending = [""]
    while pending:
        folder = pending.pop()
        for name in os.listdir(os.path.join(root, folder)):
            relative = f"{folder}/{name}" if folder else name
            path = os.path.join(root, relative)
            tree[relative] = kind_of(path, os.lstat(path).st_mode)
            if tree[relative] == FOLDER:
                pending.append(relative)
    return tree


def folders_to(path):
    """The entries of a folder and of every folder above it."""
    parts = path.split("/")
    return {"/".join(parts[: count + 1]): FOLDER for count in range(len(parts))}


def below(tree, path):
    """The entry at the path and everything below it."""
    return {name: kind for name, kind in tree.items() if (name + "/").startswith(path + "/")}


def without(tree, *paths):
    gone = {name for path in paths for name in below(tree, path)}
    return {name: kind for name, kind in tree.items() if name not in gone}


def moved(tree, source, target):
    """What lies at source, as it would look at target."""
    return {target + name[len(source):]: kind for name, kind in below(tree, source).items()}


def remove_tree(path):
    """Removes a test's folder, whatever rights the test took from the folders in it."""
    for folder, folders, _ in os.walk(path):
        for name in folders:
            child = os.path.join(folder, name)
            if not os.path.islink(child):
                os.chmod(child, 0o700)
    shutil.rmtree(path)
