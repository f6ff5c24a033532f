"""Bundles written from the format alone, without the program's help."""

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

# No two sums of some of these sizes are equal, so a byte count tells which files were counted.
SIZES = (1000, 1, 2, 4, 8, 16)
SUM_OF_SIX = 1031
VALID_BYTES = 1662  # the six files and a manifest of 631 bytes

HEADER = (
    "K7K_OBS_CONNECTOR_MANIFEST_V1",
    "connector-version=1.0.3.0",
    "protocol-version=1",
    "obs-major-range=29-32",
)


def payload(fill):
    """The six required files of a copy, told apart from other copies by their fill character."""
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
    """A complete copy: the six files, their manifest and any extra files."""
    files = payload(fill)
    write_files(folder, {**files, MANIFEST: manifest_of(files), **(extra or {})})
