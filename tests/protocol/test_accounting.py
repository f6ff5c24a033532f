"""What each command asks of the disk, counted call by call: a table of what its steps demand.

Every file is read as often as a step has to see it and never more, and what is opened is closed.
docs/performance.md has the numbers.
"""

from collections import Counter

import pytest

from payload import FILES_BYTES, MANIFEST_BYTES, REQUIRED, SIZES, below_data
from platforms import REPOSITORY
from sandbox import (BUNDLE, OBS_DATA, OBS_DATA_PARENT, OBS_DLL, OBS_DLL_PARENT, PLUGIN,
                     PLUGINS)

pytestmark = pytest.mark.only("host", "the calls are counted by a preloaded library")

FILES = len(REQUIRED)  # without the manifest
FOLDERS = 5            # of a bundle: itself, bin, bin/64bit, data, data/locale
DATA_FOLDERS = 2       # of its data: itself, locale
ENTRIES = FILES + 1 + FOLDERS - 1  # below a bundle, with the manifest
DATA_BYTES = FILES_BYTES - SIZES[0]


def step(**counts):
    return Counter(counts)


def times(number, counts):
    return Counter({kind: number * count for kind, count in counts.items()})


# "ask": a question about an entry. "open": a file or a folder. "list": the entries of a folder.
# "read" and "write": bytes.

def walk(folders):
    return step(open=folders, list=folders)


# One pass over a file's content; what was opened is asked what it is.
HASH = step(open=1, ask=1)
# The tree is walked, each entry asked whether it is a link; the folder itself is asked three times
# what it is (is it there, is it a folder, may it be walked) and once whether it is a link.
INSPECT_TREE = step(ask=1 + 1 + ENTRIES) + walk(FOLDERS)
# Each required file: is it a file, is it a link, its size. Then the manifest is read, each required
# file hashed, and the manifest's size asked for.
CHECK_BUNDLE = (step(ask=2 + 3 * FILES + 1, read=FILES_BYTES + MANIFEST_BYTES) + INSPECT_TREE
                + times(FILES + 1, HASH))
# Each pair: the copy's file is a file and no link, both are hashed, the copy's size.
COMPARE = times(FILES, step(ask=3) + HASH + HASH) + step(read=2 * FILES_BYTES)
WRITE_MANIFEST = (INSPECT_TREE + times(FILES, step(ask=2) + HASH) + step(read=FILES_BYTES)
                  + step(open=1, ask=1, write=MANIFEST_BYTES))

FLUSH = step(open=1, flush=1)
# The folder of the new name, and a file at or below it.
FLUSH_RENAME = FLUSH + FLUSH
# The source and the copy are asked about before both are opened.
COPY = step(ask=2, open=2)


def stage(files, folders, copied):
    """A staging copy: the folder made, the source walked, each folder made, each file copied.

    A folder's type is asked once, that of its copy and the copy's parent once each before it is
    made; a file's type twice and its parent's once. All is flushed.
    """
    return (step(make=folders, ask=3 * (folders - 1), read=copied, write=copied) + walk(folders)
            + times(files, step(ask=3) + COPY) + times(files + folders, FLUSH))


def remove_tree(files, folders):
    """A guarded removal: what it is and whether it is a link; then from its parent's handle.

    Each folder is tried as a file first, then opened, listed, emptied and removed.
    """
    return (step(ask=2, open=1 + folders, list=folders, remove=files + 2 * folders))


RESOLVE = step(ask=2)  # its final path, and what is there
MOVE = step(move=1)
PARENT_IS_THERE = step(ask=2)  # a folder, and no link

STATUS_STANDARD = step(ask=1) + CHECK_BUNDLE + CHECK_BUNDLE + COMPARE
INSTALL_STANDARD = (
    CHECK_BUNDLE + PARENT_IS_THERE + RESOLVE + RESOLVE
    + step(ask=2)  # the old copy is there and is no link
    + step(ask=2)  # both private names are free
    + stage(FILES + 1, FOLDERS, FILES_BYTES + MANIFEST_BYTES) + CHECK_BUNDLE
    + step(ask=1) + MOVE + MOVE  # the old copy is there: aside, and the new one in
    + CHECK_BUNDLE + FLUSH_RENAME + remove_tree(FILES + 1, FOLDERS))
REMOVE_STANDARD = (
    step(ask=3)    # the parent: is it there, is it a folder, is it a link
    + step(ask=2)  # the plugin: is it there, is it a folder
    + INSPECT_TREE + step(ask=1) + MOVE + FLUSH_RENAME
    + remove_tree(FILES + 1, FOLDERS))

# Three folders, each no link; the executable: a file, no link, its size; the first two markers are
# not there, the third is a file and no link.
PORTABLE_ROOT = step(ask=3 * 2 + 3 + 2 + 2)
PORTABLE_PARENTS = step(ask=4 * 3)  # each: is it there, is it a folder, is it a link
# The library: is it there, is it a file, is it a link. The data: is it there, and its inspection.
DATA_ENTRIES = DATA_FOLDERS - 1 + FILES - 1
PORTABLE_TARGETS = step(ask=3 + 1 + 2 + DATA_ENTRIES) + walk(DATA_FOLDERS)
# The command itself validates the root, and so does each operation.
VALIDATE = PORTABLE_ROOT + PORTABLE_PARENTS + PORTABLE_TARGETS

STATUS_PORTABLE = VALIDATE + VALIDATE + CHECK_BUNDLE + step(ask=2) + COMPARE
INSTALL_PORTABLE = (
    VALIDATE + CHECK_BUNDLE + VALIDATE
    + PORTABLE_PARENTS + step(ask=4)  # each parent is asked once more before it would be made
    + PORTABLE_TARGETS + RESOLVE + RESOLVE
    + step(ask=4)  # the private names are free
    + COPY + FLUSH + step(read=SIZES[0], write=SIZES[0])
    + stage(FILES - 1, DATA_FOLDERS, DATA_BYTES) + COMPARE
    + step(ask=2) + times(4, MOVE) + COMPARE + FLUSH_RENAME + FLUSH_RENAME
    # The library's backup: what it is, whether it is a link, and its removal from the folder.
    + step(ask=2, open=1, remove=1) + remove_tree(FILES - 1, DATA_FOLDERS))
REMOVE_PORTABLE = (
    VALIDATE + VALIDATE + PORTABLE_TARGETS + step(ask=2) + MOVE + MOVE
    + FLUSH_RENAME + FLUSH_RENAME
    + step(ask=2, open=1, remove=1) + remove_tree(FILES - 1, DATA_FOLDERS))

COMMANDS = {
    "--status-bundled": CHECK_BUNDLE,
    "--write-bundled-manifest": WRITE_MANIFEST,
    "--status-standard": STATUS_STANDARD,
    "--install-standard": INSTALL_STANDARD,
    "--remove-standard": REMOVE_STANDARD,
    "--status-portable": STATUS_PORTABLE,
    "--install-portable": INSTALL_PORTABLE,
    "--remove-portable": REMOVE_PORTABLE,
}


@pytest.fixture
def calls(sandbox, programs, work):
    """Gives a function that runs a command and tells its calls.

    A status is asked of the bundle's own copy, so that its comparison goes to the end; all else
    runs over a complete older one.
    """
    log = work / "calls"
    sandbox.write_bundle("N")
    sandbox.write_obs()

    def count(command):
        log.unlink(missing_ok=True)
        fill = "N" if command.startswith("--status") else "O"
        sandbox.write_plugin(fill)
        sandbox.write_portable_plugin(fill)
        counting = {**programs.preloaded("count_calls.c"), "K7K_COUNT_LOG": str(log),
                    "K7K_COUNT_ROOT": f"{sandbox.root}/"}
        arguments = (command, str(sandbox.obs)) if command.endswith("portable") else (command,)
        assert sandbox.run(*arguments, env=counting).code == 0
        lines = [line.split(" ", 2) for line in log.read_text().splitlines()]
        return [(kind, int(size), path.removeprefix(f"{sandbox.root}/").removesuffix(" (deleted)"))
                for kind, size, path in lines]

    return count


def totals(calls):
    counts = Counter()
    for kind, size, _ in calls:
        counts[kind] += size if kind in ("read", "write") else 1
    return counts


@pytest.mark.parametrize("command", COMMANDS)
def test_command_makes_the_calls_that_its_steps_demand_and_no_more(calls, command):
    counted = totals(calls(command))
    assert counted.pop("close") == counted["open"]
    assert counted == COMMANDS[command]


# The columns of the document's table.
KINDS = ("ask", "open", "list", "make", "move", "remove", "flush", "read", "write")


@pytest.mark.parametrize("command", COMMANDS)
def test_document_has_these_numbers(command):
    row = [f"`{command}`", *(str(COMMANDS[command][kind]) for kind in KINDS)]
    document = (REPOSITORY / "docs" / "performance.md").read_text(encoding="utf-8")
    assert f"| {' | '.join(row)} |\n" in document


# How often each place's library is read: by its checks, by comparisons and by the copy.
PASSES = {
    "--status-bundled": {BUNDLE: 1},
    "--write-bundled-manifest": {BUNDLE: 1},
    "--status-standard": {BUNDLE: 2, PLUGIN: 2},
    "--install-standard": {BUNDLE: 2, PLUGIN: 1, "staging": 1},
    "--remove-standard": {},
    "--status-portable": {BUNDLE: 2, "obs": 1},
    "--install-portable": {BUNDLE: 4, "obs": 1, "staging": 1},
    "--remove-portable": {},
}


def place_of(path):
    if path.startswith(BUNDLE):
        return BUNDLE
    if "staging" in path:
        return "staging"
    return PLUGIN if path.startswith(PLUGIN) else "obs"


@pytest.mark.parametrize("command", PASSES)
def test_library_is_read_as_often_as_its_steps_say(calls, command):
    library = Counter()
    for kind, size, path in calls(command):
        if kind == "read" and (path.endswith(".dll") or "dll-staging" in path):
            library[place_of(path)] += size
    assert library == {place: passes * SIZES[0] for place, passes in PASSES[command].items()}


def test_flushed_is_what_was_written_and_what_holds_it(calls):
    flushed = [path for kind, _, path in calls("--install-standard") if kind == "flush"]
    staging = flushed[0][:flushed[0].index("/", len(PLUGINS) + 1)]
    assert staging.startswith(f"{PLUGINS}/.k7k-obs-audio.staging.")
    folders = [staging] + [f"{staging}/{name}" for name in ("bin", "bin/64bit", "data",
                                                            "data/locale")]
    files = [f"{staging}/{name}" for name in (*REQUIRED, "manifest.sha256")]
    assert sorted(flushed[:FILES + 1]) == sorted(files)
    assert sorted(flushed[FILES + 1:-2]) == sorted(folders)
    assert flushed[-2:] == [PLUGINS, f"{PLUGIN}/{REQUIRED[0]}"]


def test_flushed_portably_is_each_parent_with_a_file_after_all_else(calls):
    flushed = [path for kind, _, path in calls("--install-portable") if kind == "flush"]
    assert flushed[-4:] == [OBS_DLL_PARENT, OBS_DLL, OBS_DATA_PARENT,
                            f"{OBS_DATA}/{below_data(REQUIRED[1])}"]
    assert len(flushed) == 1 + FILES - 1 + DATA_FOLDERS + 4
