"""What a bundle must hold, written by hand and without the program's help.

The one copy of it in the Python tests, from which their other expectations follow. (The C++ tests'
is support/bundle_facts.h.)
"""

import hashlib

LIBRARY = "bin/64bit/k7k-obs-audio.dll"
LOCALES = (
    "data/locale/en-US.ini",
    "data/locale/zh-TW.ini",
    "data/locale/zh-CN.ini",
    "data/locale/ja-JP.ini",
    "data/locale/ko-KR.ini",
)
REQUIRED = (LIBRARY, *LOCALES)
MANIFEST = "manifest.sha256"

VERSION = "1.0.3.0"
HEADER = (
    "K7K_OBS_CONNECTOR_MANIFEST_V1",
    f"connector-version={VERSION}",
    "protocol-version=1",
    "obs-major-range=29-32",
)

# A locale file of no language, so that it is never required.
EXTRA_LOCALE = "data/locale/xx-XX.ini"

# No two sums of some of these sizes are equal, so a byte count tells which files were counted.
SIZES = (1000, *(1 << place for place in range(len(LOCALES))))
LOCALES_BYTES = sum(SIZES[1:])
FILES_BYTES = sum(SIZES)
MANIFEST_BYTES = sum(len(line) + 1 for line in HEADER) + sum(64 + 2 + len(path) + 1
                                                             for path in REQUIRED)
VALID_BYTES = FILES_BYTES + MANIFEST_BYTES
# The same numbers counted by hand, so that a slip above does not carry all the tests with it.
assert (len(REQUIRED), FILES_BYTES, MANIFEST_BYTES, VALID_BYTES) == (6, 1031, 631, 1662)


def below_data(path):
    """The name below the bundle's "data" folder of a file there."""
    return path.removeprefix("data/")


def with_other_end(line, step=1):
    """A header line with another digit in its last place."""
    return line[:-1] + str((int(line[-1]) + step) % 10)


def payload(fill):
    """The required files of a copy, told apart from other copies by their fill character."""
    return {path: fill.encode() * size for path, size in zip(REQUIRED, SIZES)}


def manifest_lines(files):
    entries = [f"{hashlib.sha256(files[path]).hexdigest()}  {path}" for path in REQUIRED]
    return [*HEADER, *entries]


def manifest_of(files):
    return "".join(line + "\n" for line in manifest_lines(files)).encode()


def write_files(folder, files):
    for relative, content in files.items():
        path = folder / relative
        path.parent.mkdir(parents=True, exist_ok=True)
        path.write_bytes(content)


def write_copy(folder, fill="A", extra=None):
    """A complete copy: the required files, their manifest and any extra files."""
    files = payload(fill)
    write_files(folder, {**files, MANIFEST: manifest_of(files), **(extra or {})})
