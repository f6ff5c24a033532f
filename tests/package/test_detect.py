"""deploy/detect.cmd of the unpacked package, run by Wine's cmd.exe."""

import shutil

import pytest

from conftest import PROGRAM, unpack
from payload import LIBRARY, LOCALES


@pytest.fixture
def folder(out, tmp_path):
    return unpack(out, tmp_path / "Neuer Ordner – 音")


@pytest.fixture
def detect(folder, run_program, wine, tmp_path):
    """Runs the script from another folder; gives its exit code and its lines."""
    program = folder / PROGRAM

    def run():
        return run_program("cmd", "/c", wine.native(folder / "deploy" / "detect.cmd"))

    run.install = lambda: run_program(program, "--install-standard")
    run.plugin = run_program.plugins / "k7k-obs-audio"
    return run


def test_nothing_installed(detect):
    assert detect() == (1, "not-installed\n")


def test_installed(detect):
    detect.install()
    assert detect() == (0, "installed-valid\n")


def test_installed_copy_damaged(detect):
    detect.install()
    (detect.plugin / LOCALES[1]).write_bytes(b"damaged")
    assert detect() == (1, "installed-invalid\n")


def test_another_plugin_installed(detect, folder):
    """What is installed is whole, and not what this package holds."""
    detect.install()
    library = folder / "plugin" / "k7k-obs-audio" / LIBRARY
    library.write_bytes(library.read_bytes() + b"next")
    assert detect() == (1, "installed-invalid\n")


def test_no_program_data_folder(detect, run_program):
    detect.install()
    shutil.rmtree(run_program.plugins.parents[1])
    assert detect() == (1, "target-unavailable\n")


def test_program_missing(detect, folder):
    detect.install()
    shutil.rmtree(folder / "bin")
    assert detect() == (1, "no answer\n")


def test_script_has_windows_line_ends(folder):
    text = (folder / "deploy" / "detect.cmd").read_bytes()
    assert text.count(b"\n") == text.count(b"\r\n") > 5


def test_program_that_does_not_start(detect, folder):
    (folder / PROGRAM).write_bytes(b"no program")
    assert detect() == (1, "no answer\n")
