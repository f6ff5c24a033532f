"""The two kinds of place that the program installs to, piece by piece."""

import os
import re

import campaign_trees as trees  # before payload, which it lets be found
from payload import LIBRARY

PRIVATE_NAME = re.compile(r"\.k7k-obs-audio\.([a-z-]+)\.(\d+)\.(\d+)")


class Piece:
    """What one move puts in its place: a folder or a file, and the private names beside it."""

    def __init__(self, place, origin, staging, backup, removal):
        """origin: the bundle's name for it. The others are the tags of its private names."""
        self.place, self.origin = place, origin
        self.staging, self.backup, self.removal = staging, backup, removal

    def content(self, files):
        """Of the files of a plugin those of this piece, by their names within it."""
        if self.origin in files:
            return {"": files[self.origin]}
        prefix = self.origin and self.origin + "/"
        return {name.removeprefix(prefix): content for name, content in files.items()
                if name.startswith(prefix)}

    def tree(self):
        return trees.tree_of(self.place)

    def privates(self):
        """The private names beside the place: (tag, process id) and tree of each."""
        found = {}
        if self.place.parent.is_dir():
            for entry in sorted(self.place.parent.iterdir()):
                name = PRIVATE_NAME.fullmatch(entry.name)
                if name:
                    found[name[1], int(name[2])] = trees.tree_of(entry)
        return found


class Target:
    """A place to install to. home is what is made anew before each run."""

    def __init__(self, word, home, pieces, parents, argument):
        self.word, self.home, self.pieces, self.parents = word, home, pieces, parents
        self.install = [f"--install-{word}", *argument]
        self.remove = [f"--remove-{word}", *argument]
        self.status = [f"--status-{word}", *argument]

    def reset(self, files, with_parents=True):
        trees.remove(self.home)
        for path, content in self.fixed_files():
            trees.write_files(path, {"": content})
        if with_parents:
            for piece in self.pieces:
                trees.write_files(piece.place.parent, {"other.dll": b"other", "other/a/b": b"b"})
        for piece in self.pieces:
            if files is not None:
                trees.write_files(piece.place, piece.content(files))

    def fixed_files(self):
        return ()

    def wanted(self, files):
        """The tree of each piece of a whole copy."""
        return [trees.tree_from(piece.content(files)) if files else None for piece in self.pieces]

    def found(self):
        return [piece.tree() for piece in self.pieces]

    def leave_out(self, path):
        folder, name = os.path.split(path)
        return any(folder == str(piece.place.parent) and
                   (name == piece.place.name or PRIVATE_NAME.fullmatch(name))
                   for piece in self.pieces)


def standard_target(program_data):
    home = program_data / "obs-studio"
    piece = Piece(home / "plugins" / "k7k-obs-audio", "", "staging", "backup", "remove-backup")
    return Target("standard", home, [piece], [home, home / "plugins"], [])


class PortableTarget(Target):
    def __init__(self, root, argument):
        dll = Piece(root / "obs-plugins" / "64bit" / "k7k-obs-audio.dll", LIBRARY,
                    "portable-dll-staging", "portable-dll-backup", "portable-remove-dll")
        data = Piece(root / "data" / "obs-plugins" / "k7k-obs-audio", "data",
                     "portable-data-staging", "portable-data-backup", "portable-remove-data")
        parents = [root / name for name in ("obs-plugins", "obs-plugins/64bit", "data",
                                            "data/obs-plugins")]
        super().__init__("portable", root, [dll, data], parents, [argument])

    def fixed_files(self):
        return ((self.home / "bin" / "64bit" / "obs64.exe", b"stands in for OBS"),
                (self.home / "portable_mode.txt", b""))
