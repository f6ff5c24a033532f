#!/usr/bin/python3 -B
"""Makes corpus/manifest anew from what a bundle must hold, as tests/protocol/payload.py says it.

    make_corpus.py            writes the folder
    make_corpus.py --check    names what differs from it, and ends with 1 when something does

The inputs of the other targets depend on nothing there and are written by hand.
"""

import pathlib
import shutil
import sys

FUZZ = pathlib.Path(__file__).resolve().parent
FOLDER = FUZZ / "corpus" / "manifest"
sys.path.append(str(FUZZ.parent / "protocol"))
from payload import EXTRA_LOCALE, HEADER, MANIFEST, REQUIRED, manifest_lines, with_other_end

# The bundle of fuzz_manifest.cpp: its files hold 32 times "A", "B" and so on.
LINES = manifest_lines({path: bytes([ord("A") + place]) * 32
                        for place, path in enumerate(REQUIRED)})
ENTRIES = LINES[len(HEADER):]
PATH_AT = 66  # in an entry, after the digest and two spaces


def text(lines, end="\n"):
    return "".join(line + end for line in lines).encode()


def changed(place, change):
    """The manifest with the entry at a place changed."""
    entries = list(ENTRIES)
    entries[place] = change(entries[place])
    return text([*HEADER, *entries])


INPUTS = {
    "backslashes": changed(0, lambda line: line.replace("/", "\\")),
    "byte-order-mark": b"\xef\xbb\xbf" + text(LINES),
    "carriage-returns": text(LINES, "\r\n"),
    "digest-of-63": changed(1, lambda line: line[1:]),
    "digest-of-65": changed(1, lambda line: "0" + line),
    "double-carriage-return": changed(-1, lambda line: line + "\r\r"),
    "empty": b"",
    "end-of-text-byte": changed(-1, lambda line: line + "\x1a"),
    "header-alone": text(HEADER),
    "line-less": text(LINES[:-1]),
    "line-more": text([*LINES, ""]),
    "names-itself": changed(-1, lambda line: line[:PATH_AT] + MANIFEST),
    "no-last-line-feed": text(LINES)[:-1],
    "no-path": changed(-1, lambda line: line[:PATH_AT]),
    "one-space": changed(-1, lambda line: line.replace("  ", " ")),
    "other-locale": changed(-1, lambda line: line[:PATH_AT] + EXTRA_LOCALE),
    "other-version": text([HEADER[0], with_other_end(HEADER[1]), *LINES[2:]]),
    "reversed": text([*HEADER, *reversed(ENTRIES)]),
    "right": text(LINES),
    "three-spaces": changed(0, lambda line: line.replace("  ", "   ")),
    "two-for-one-path": changed(2, lambda line: ENTRIES[1]),
    "upper-case-digest": changed(3, lambda line: line[:64].upper() + line[64:]),
    "wrong-digest": changed(4, lambda line: ENTRIES[3][:64] + line[64:]),
    "zero-bytes": bytes(32),
}


def write():
    shutil.rmtree(FOLDER, ignore_errors=True)
    FOLDER.mkdir()
    for name, content in INPUTS.items():
        (FOLDER / name).write_bytes(content)


def stale():
    """The names whose file is missing, differs or is not made here."""
    found = {path.name: path.read_bytes() for path in FOLDER.iterdir()}
    return sorted(name for name in INPUTS.keys() | found.keys()
                  if INPUTS.get(name) != found.get(name))


def main():
    if sys.argv[1:] not in ([], ["--check"]):
        sys.exit(__doc__)
    if not sys.argv[1:]:
        write()
    wrong = stale()
    for name in wrong:
        print(f"{FOLDER / name} is not what {pathlib.Path(__file__).name} makes; run it")
    return 1 if wrong else 0


if __name__ == "__main__":
    sys.exit(main())
