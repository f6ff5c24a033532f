"""The scripts of the unpacked package and of docs/deploying.md, run by Wine's cmd.exe."""

import re
import shutil
import subprocess

import pytest

from packages import PROGRAM, unpack
from payload import LIBRARY, LOCALES
from platforms import REPOSITORY
from trees import take_tree

PAGE = (REPOSITORY / "docs" / "deploying.md").read_text(encoding="utf-8")


@pytest.fixture
def folder(out, tmp_path):
    return unpack(out, tmp_path / "Neuer Ordner – 音")


@pytest.fixture
def run_script(run_program, wine):
    """Runs a script from another folder; gives its exit code and its lines."""
    return lambda script: run_program("cmd", "/c", wine.native(script))


@pytest.fixture
def detect(folder, run_program, run_script):
    program = folder / PROGRAM

    def run():
        return run_script(folder / "deploy" / "detect.cmd")

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


@pytest.mark.parametrize("script", ["detect.cmd", "install.cmd"])
def test_scripts_have_windows_line_ends(folder, script):
    text = (folder / "deploy" / script).read_bytes()
    assert text.count(b"\n") == text.count(b"\r\n") > 5


def test_program_that_does_not_start(detect, folder):
    (folder / PROGRAM).write_bytes(b"no program")
    assert detect() == (1, "no answer\n")


@pytest.fixture
def place(wine):
    """Where install.cmd puts the package."""
    path = wine.prefix / "drive_c" / "Program Files" / "K7K OBS Connector"
    yield path
    shutil.rmtree(path, ignore_errors=True)


@pytest.fixture(scope="module")
def ending_program(work):
    """Makes a program that only ends with a code."""
    def make(code, path):
        source = work / f"end-{code}.c"
        source.write_text(f"int main(void) {{ return {code}; }}\n")
        subprocess.run(["x86_64-w64-mingw32-gcc-posix", "-o", str(path), str(source)], check=True)
    return make


def test_install_script_leaves_the_package_for_detection(folder, run_script, place, detect):
    assert run_script(folder / "deploy" / "install.cmd") == (0, "state=installed\n")
    assert take_tree(place) == take_tree(folder)
    shutil.rmtree(folder)
    assert run_script(place / "deploy" / "detect.cmd") == (0, "installed-valid\n")
    assert (detect.plugin / LIBRARY).is_file()


def test_install_script_replaces_the_package_before(folder, run_script, place):
    (place / "plugin" / "k7k-obs-audio").mkdir(parents=True)
    (place / "plugin" / "k7k-obs-audio" / "from-before.ini").write_bytes(b"x")
    assert run_script(folder / "deploy" / "install.cmd") == (0, "state=installed\n")
    assert take_tree(place) == take_tree(folder)


def test_install_script_installs_again_from_its_place(folder, run_script, place):
    run_script(folder / "deploy" / "install.cmd")
    assert run_script(place / "deploy" / "install.cmd") == (0, "state=installed\n")
    assert take_tree(place) == take_tree(folder)


def test_install_script_without_a_program_to_put_there_ends_with_1(folder, run_script, place):
    (folder / PROGRAM).unlink()
    assert run_script(folder / "deploy" / "install.cmd") == (1, "")
    assert not (place / PROGRAM).exists()


@pytest.mark.parametrize("code", [21, 26])
def test_install_script_ends_as_the_program_does(folder, run_script, place, ending_program, code):
    ending_program(code, folder / PROGRAM)
    assert run_script(folder / "deploy" / "install.cmd") == (code, "")


@pytest.fixture
def page_script(folder):
    """The page's script, in the folder that it asks for."""
    text, = re.findall("```bat\n(.*?)```", PAGE, re.DOTALL)
    path = folder / "deploy" / "page.cmd"
    path.write_bytes(text.replace("\n", "\r\n").encode())
    return path


def test_page_script_installs_once(page_script, run_script, detect):
    assert run_script(page_script) == (0, "not-installed\nstate=installed\n")
    before = take_tree(detect.plugin)
    assert run_script(page_script) == (0, "installed-valid\n")
    assert take_tree(detect.plugin) == before


@pytest.mark.parametrize("code, expected", [
    (21, (0, "no answer\nOBS is running; the next start tries again\n")),
    (24, (24, "no answer\n"))])
def test_page_script_takes_a_running_obs_for_no_failure(folder, page_script, run_script,
                                                        ending_program, code, expected):
    ending_program(code, folder / PROGRAM)
    assert run_script(page_script) == expected


def test_page_has_every_exit_code_and_every_answer():
    table = re.search(r"^## Exit codes\n(.*?)^## ", PAGE, re.MULTILINE | re.DOTALL)[1]
    cells = re.findall(r"^\| ([\d, ]+) \|", table, re.MULTILINE)
    codes = sorted(int(code) for cell in cells for code in cell.split(", "))
    assert codes == [0, 1, 20, 21, 23, 24, 25, 26, 34, 35, 40, 41, 43, 44, 45, 46, 54, 55, 64]
    answers = re.findall(r"^\| `([a-z -]+)` \| ([01]) \|", PAGE, re.MULTILINE)
    assert answers == [("installed-valid", "0"), ("installed-invalid", "1"),
                       ("not-installed", "1"), ("target-unavailable", "1"), ("no answer", "1")]
