"""docs/recovery.md: its names are those of the sources, its states get the answers that it tells
and are mended as it says, and its commands work."""

import re
import subprocess

import pytest

from payload import LIBRARY, LOCALES, below_data, payload, write_copy, write_files
from platforms import REPOSITORY
from sandbox import (INSTALLED, NOT_INSTALLED, OBS_DATA, OBS_DATA_PARENT, OBS_DLL,
                     OBS_DLL_PARENT, PLUGIN, PLUGINS, REMOVED)
from trees import below

PAGE = (REPOSITORY / "docs" / "recovery.md").read_text(encoding="utf-8")
NEW, OLD = "A", "B"
RUN = "4312.91234567"  # the run whose leftovers the page's commands name


def section(title):
    found = re.search(rf"^##+ {re.escape(title)}\n(.*?)(?=^##|\Z)", PAGE, re.MULTILINE | re.DOTALL)
    return found[1]


def rows(title):
    """The cells of a section's table, without its head."""
    lines = [line for line in section(title).splitlines() if line.startswith("|")]
    return [[cell.strip() for cell in line.strip("|").split("|")] for line in lines[2:]]


def words(cell):
    return re.findall(r"`([^`]+)`", cell)


def commands(title, language):
    return re.findall(rf"```{language}\n(.*?)```", section(title), re.DOTALL)


def private(parent, tag):
    return f"{parent}/.k7k-obs-audio.{tag}.{RUN}"


def write_standard(box, at, beside):
    """A target in the state that the page's word tells, and leftovers."""
    if at in ("old", "new", "incomplete"):
        box.write_plugin(NEW if at == "new" else OLD)
    if at == "incomplete":
        (box.plugin / LOCALES[3]).unlink()
    for tag in beside:
        write_copy(box.root / private(PLUGINS, tag), NEW if tag == "staging" else OLD)


def write_pieces(box, dll, data, fill):
    """Library and data folder at these places, None for not at all."""
    for path, content in payload(fill).items():
        if path == LIBRARY and dll:
            write_files(box.root, {dll: content})
        elif path != LIBRARY and data:
            write_files(box.root / data, {below_data(path): content})


def leftovers(box):
    return {name: kind for name, kind in box.tree().items() if "/.k7k-obs-audio." in name}


def state_of(answer):
    return answer.out.splitlines()[0].removeprefix("state=")


def test_names_are_those_of_the_sources():
    sources = "".join(path.read_text(encoding="utf-8")
                      for path in (REPOSITORY / "src" / "txn").glob("*.cpp"))
    tags = re.findall(r'TransactionPath\(\w+(?:\.\w+\(\))?, L"([a-z-]+)"\)', sources)
    assert len(tags) == sources.count("TransactionPath(") == 9
    assert sorted(words(row[0])[0] for row in rows("Private names")) == sorted(tags)


@pytest.mark.parametrize("at, beside, state, way", rows("Standard install"))
def test_interrupted_standard_install_is_mended(sandbox, at, beside, state, way):
    assert "nstall again" in way or at == "new"
    sandbox.write_bundle(NEW)
    write_standard(sandbox, at, words(beside))
    assert state_of(sandbox.run("--status-standard")) == words(state)[0]
    left = leftovers(sandbox)
    assert sandbox.run("--install-standard") == INSTALLED
    assert state_of(sandbox.run("--status-standard")) == "installed-valid"
    assert leftovers(sandbox) == left


@pytest.mark.parametrize("at, beside, state, way", rows("Standard removal"))
def test_interrupted_standard_removal_is_mended(sandbox, at, beside, state, way):
    assert way.startswith("Removed") == (at == "nothing")
    sandbox.write_bundle(NEW)
    write_standard(sandbox, at, words(beside))
    assert state_of(sandbox.run("--status-standard")) == words(state)[0]
    assert sandbox.run("--remove-standard") == (NOT_INSTALLED if at == "nothing" else REMOVED)
    assert sandbox.run("--install-standard") == INSTALLED


@pytest.mark.parametrize("dll", ["old", "absent", "new"])
@pytest.mark.parametrize("data", ["old", "absent", "new", "incomplete"])
def test_interrupted_portable_install_is_mended(sandbox, dll, data):
    sandbox.write_bundle(NEW)
    sandbox.write_obs()
    for at, place in ((dll, (OBS_DLL, None)), (data, (None, OBS_DATA))):
        if at != "absent":
            write_pieces(sandbox, *place, NEW if at == "new" else OLD)
    if data == "incomplete":
        (sandbox.root / OBS_DATA / below_data(LOCALES[3])).unlink()
    write_pieces(sandbox, private(OBS_DLL_PARENT, "portable-dll-staging"),
                 private(OBS_DATA_PARENT, "portable-data-staging"), NEW)
    write_pieces(sandbox, private(OBS_DLL_PARENT, "portable-dll-backup"),
                 private(OBS_DATA_PARENT, "portable-data-backup"), OLD)
    expected = {("new", "new"): "installed-valid", ("absent", "absent"): "not-installed"}
    assert state_of(sandbox.portable("--status-portable")) == expected.get(
        (dll, data), "installed-invalid")
    left = leftovers(sandbox)
    assert sandbox.portable("--install-portable") == INSTALLED
    assert state_of(sandbox.portable("--status-portable")) == "installed-valid"
    assert leftovers(sandbox) == left


@pytest.mark.parametrize("at, beside, state, way", rows("Portable removal"))
def test_interrupted_portable_removal_is_mended(sandbox, at, beside, state, way):
    both = at == "both absent"
    assert both or at == "absent, there"
    assert way.startswith("Removed") == both
    sandbox.write_bundle(NEW)
    sandbox.write_obs()
    write_pieces(sandbox, None, None if both else OBS_DATA, OLD)
    parents = {"portable-remove-dll": OBS_DLL_PARENT, "portable-remove-data": OBS_DATA_PARENT}
    for tag in words(beside):
        place = private(parents[tag], tag)
        write_pieces(sandbox, *((place, None) if "dll" in tag else (None, place)), OLD)
    assert state_of(sandbox.portable("--status-portable")) == words(state)[0]
    assert sandbox.portable("--remove-portable") == (NOT_INSTALLED if both else REMOVED)
    assert sandbox.portable("--install-portable") == INSTALLED


def run_shell(text, folder):
    return subprocess.run(["bash", "-e", "-o", "pipefail", "-c", text], cwd=folder, check=False,
                          stdout=subprocess.PIPE, stderr=subprocess.STDOUT, text=True)


@pytest.mark.parametrize("damaged", [None, LIBRARY, LOCALES[4]])
def test_digests_of_a_standard_leftover(sandbox, damaged):
    write_standard(sandbox, "nothing", ["backup"])
    if damaged:
        (sandbox.root / private(PLUGINS, "backup") / damaged).write_bytes(b"cut")
    text, _ = commands("Is a leftover whole?", "sh")
    assert run_shell(text, sandbox.plugins).returncode == (1 if damaged else 0)


@pytest.mark.parametrize("damaged", [None, "dll", "data"])
def test_digests_of_portable_leftovers(sandbox, damaged):
    sandbox.write_bundle(OLD)
    dll = private(OBS_DLL_PARENT, "portable-dll-backup")
    data = private(OBS_DATA_PARENT, "portable-data-backup")
    write_pieces(sandbox, dll, data, OLD)
    if damaged == "dll":
        (sandbox.root / dll).write_bytes(b"cut")
    elif damaged == "data":
        (sandbox.root / data / below_data(LOCALES[0])).write_bytes(b"cut")
    _, text = commands("Is a leftover whole?", "sh")
    text = text.replace("/c/packages/1.0.3.0/plugin/k7k-obs-audio", str(sandbox.bundle))
    assert text.count("'/d/OBS/") == 2
    done = run_shell(text.replace("'/d/OBS/", f"'{sandbox.obs}/"), sandbox.root)
    assert done.returncode == (1 if damaged else 0), done.stdout


def run_batch(box, text):
    """Runs a block of the page in a command prompt, with its drive D as the sandbox."""
    batch = box.root / "page.bat"
    text = text.replace("D:\\OBS", box.platform.native(box.obs))
    batch.write_bytes(f"@echo off\n{text}".replace("\n", "\r\n").encode())
    done = subprocess.run([*box.platform.start_command("cmd"), "/c", box.platform.native(batch)],
                          env=box.platform.environment(box.data), cwd=box.folder, check=False,
                          stdin=subprocess.DEVNULL, stdout=subprocess.PIPE,
                          stderr=subprocess.STDOUT, timeout=120)
    batch.unlink()
    assert done.returncode == 0, done.stdout
    return done.stdout.decode()


only_windows = pytest.mark.only("wine", "the host has no command prompt")


@only_windows
def test_commands_list_the_leftovers(sandbox):
    write_standard(sandbox, "old", ["backup", "staging"])
    (sandbox.plugins / "another-plugin").mkdir()
    text, = commands("Private names", "bat")
    shown = run_batch(sandbox, text)
    assert shown.count(".k7k-obs-audio.") == 2
    assert "another-plugin" not in shown


@only_windows
@pytest.mark.parametrize("at", ["nothing", "incomplete"])
def test_commands_put_a_standard_copy_back(sandbox, at):
    sandbox.write_bundle(OLD)
    write_standard(sandbox, at, ["backup"])
    before = below(sandbox.tree(), private(PLUGINS, "backup"))
    text, _ = commands("Putting an old copy back", "bat")
    run_batch(sandbox, text)
    assert state_of(sandbox.run("--status-standard")) == "installed-valid"
    assert len(below(sandbox.tree(), PLUGIN)) == len(before)
    assert (sandbox.plugins / "k7k-obs-audio.damaged").exists() == (at == "incomplete")


@only_windows
@pytest.mark.parametrize("new", [True, False])
def test_commands_put_a_portable_copy_back(sandbox, new):
    sandbox.write_bundle(OLD)
    sandbox.write_obs()
    write_pieces(sandbox, private(OBS_DLL_PARENT, "portable-dll-backup"),
                 private(OBS_DATA_PARENT, "portable-data-backup"), OLD)
    if new:
        write_pieces(sandbox, OBS_DLL, OBS_DATA, NEW)
    _, text = commands("Putting an old copy back", "bat")
    run_batch(sandbox, text)
    assert state_of(sandbox.portable("--status-portable")) == "installed-valid"
    assert leftovers(sandbox) == {}


@only_windows
def test_commands_delete_leftovers(sandbox):
    sandbox.write_bundle(NEW)
    sandbox.write_obs()
    write_standard(sandbox, "new", ["backup"])
    write_pieces(sandbox, private(OBS_DLL_PARENT, "portable-dll-backup"), None, OLD)
    text, = commands("When a leftover may be deleted", "bat")
    run_batch(sandbox, text)
    assert leftovers(sandbox) == {}
    assert state_of(sandbox.run("--status-standard")) == "installed-valid"


def test_every_block_of_commands_is_run_or_says_that_it_is_not():
    assert len(re.findall("```(?:sh|bat)\n", PAGE)) == 7
    assert "certutil" in commands("Is a leftover whole?", "bat")[0]
