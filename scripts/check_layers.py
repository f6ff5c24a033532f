#!/usr/bin/python3
"""Holds the sources against the rules of the house.

- An include goes from a room to itself or to a room below it, never up.
- Platform headers stand in *_win.* and *_posix.* files alone; there are no platform conditionals.
- std::filesystem's disk functions stand in the files of the host's disk alone.
- A unit test stands in the room of its source; its file and its suites begin with the source's
  name, or with the room's when it is about several sources.
"""

import pathlib
import re
import sys

ROOMS_BELOW = {
    "fs": {"fs"},
    "bundle": {"bundle", "fs"},
    "targets": {"targets", "bundle", "fs"},
    "txn": {"txn", "targets", "bundle", "fs"},
    "selftest": {"selftest", "txn", "targets", "bundle", "fs"},
    "app": {"app", "selftest", "txn", "targets", "bundle", "fs"},
}
WINDOWS_HEADER = re.compile(r"#\s*include\s*<(windows|winternl|bcrypt|shlobj|objbase|tlhelp32)\.h>")
POSIX_HEADER = re.compile(r"#\s*include\s*<(unistd|fcntl|dirent|sys/.*|strings|time)\.h>")
CONDITIONAL = re.compile(r"_WIN32|__MINGW|_MSC_VER|__linux__")
DISK_FUNCTION = re.compile(
    r"std::filesystem::(status|symlink_status|exists|is_\w+|canonical|weakly_canonical|copy\w*|"
    r"rename|remove\w*|create_\w+|file_size|absolute|\w*directory_iterator|last_write_time|"
    r"permissions|current_path|temp_directory_path)\b")
DISK_FILES = {"src/fs/disk_posix.cpp", "src/targets/obs_process_posix.cpp"}


def problems(path, text):
    room = path.parts[1]
    is_windows = re.search(r"_win\.(cpp|h)$", path.name)
    is_posix = re.search(r"_posix\.(cpp|h)$", path.name)
    for number, line in enumerate(text.splitlines(), 1):
        where = f"{path}:{number}"
        include = re.match(r'#include "(\w+)/', line)
        if include and include[1] not in ROOMS_BELOW[room]:
            yield f"{where}: {room} must not include {include[1]}"
        if not is_windows and WINDOWS_HEADER.search(line):
            yield f"{where}: a Windows header outside *_win files"
        if not is_posix and POSIX_HEADER.search(line):
            yield f"{where}: a POSIX header outside *_posix files"
        if CONDITIONAL.search(line):
            yield f"{where}: a platform conditional"
        if str(path) not in DISK_FILES and DISK_FUNCTION.search(line):
            yield f"{where}: std::filesystem asked about the disk outside the seam"


def test_problems(path, text):
    room = path.parent.name
    sources = {re.sub("_(win|posix)$", "", source.stem)
               for source in (pathlib.Path("src") / room).glob("*.*")}
    name = path.stem.removesuffix("_test")
    named = [source for source in sources | {room}
             if name == source or name.startswith(source + "_")]
    if not named:
        yield f"{path}: src/{room} has no source of this name"
        return
    begins = tuple("".join(word.capitalize() for word in source.split("_")) for source in named)
    for suite in sorted(set(re.findall(r"^TEST(?:_[FP])?\((\w+),", text, re.MULTILINE))):
        if not suite.startswith(begins):
            yield f"{path}: the suite {suite} does not begin with {' or '.join(begins)}"


def main():
    sources = [path for path in sorted(pathlib.Path("src").rglob("*"))
               if path.suffix in (".cpp", ".h")]
    tests = sorted(pathlib.Path("tests/unit").rglob("*.cpp"))
    if not sources or not tests:
        sys.exit("check_layers: found no sources or no unit tests")
    found = []
    for path in sources:
        found += problems(path, path.read_text(encoding="utf-8"))
    for path in tests:
        found += test_problems(path, path.read_text(encoding="utf-8"))
    print("\n".join(found), end="\n" if found else "")
    return 1 if found else 0


if __name__ == "__main__":
    sys.exit(main())
