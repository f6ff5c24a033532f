"""The package unpacked and used, and that the same sources and plugin give the same bytes."""

import os
import shutil
import subprocess
import sys
import zipfile

import pytest

from packages import NAME, OUTPUTS, PROGRAM, made_package, unpack, write_plugin
from payload import LIBRARY, LOCALES, MANIFEST, REQUIRED, VERSION, below_data
from platforms import REPOSITORY
from trees import below, take_tree

BUNDLE = "plugin/k7k-obs-audio"
PAGES = [path.name for path in (REPOSITORY / "docs").iterdir()]


def test_archive_holds_program_bundle_and_pages(out):
    assert {"deploying.md", "recovery.md"} <= set(PAGES)
    assert {path.name for path in out.iterdir()} == OUTPUTS
    with zipfile.ZipFile(out / f"{NAME}.zip") as archive:
        names = archive.namelist()
    assert names == sorted(["README.txt", PROGRAM, "deploy/detect.cmd", "deploy/install.cmd",
                            *(f"docs/{page}" for page in PAGES),
                            *(f"{BUNDLE}/{path}" for path in (*REQUIRED, MANIFEST))])


def test_sums_are_those_of_archive_and_listing(out):
    checked = subprocess.run(["sha256sum", "--strict", "-c", "SHA256SUMS"], cwd=out, text=True,
                             capture_output=True, check=False)
    assert (checked.returncode, checked.stdout) == (
        0, f"{NAME}.zip: OK\n{NAME}.spdx.json: OK\n")


def test_archive_holds_the_plugin_as_it_was_given(out, library):
    with zipfile.ZipFile(out / f"{NAME}.zip") as archive:
        assert archive.read(f"{BUNDLE}/{LIBRARY}") == library.read_bytes()
        for path in LOCALES:
            given = REPOSITORY / "demo" / "locale" / path.rsplit("/", 1)[1]
            assert archive.read(f"{BUNDLE}/{path}") == given.read_bytes()


def test_readme_tells_version_and_that_nothing_is_signed(out):
    with zipfile.ZipFile(out / f"{NAME}.zip") as archive:
        text = archive.read("README.txt").decode("ascii")
    assert f"version {VERSION}," in text
    assert "  Neither the program nor the plugin's library is signed.\r\n" in text
    assert "@" not in text
    assert text.count("\n") == text.count("\r\n") > 20


def test_unpacked_package_installs_checks_and_removes(out, run_program, tmp_path):
    folder = unpack(out, tmp_path / "Neuer Ordner (2) – 音")
    program = folder / PROGRAM
    bundle = take_tree(folder / BUNDLE)
    size = sum(path.stat().st_size for path in (folder / BUNDLE).rglob("*") if path.is_file())

    assert run_program(program, "--status-bundled") == (0, f"state=installed-valid\nbytes={size}\n")
    assert run_program(program, "--install-standard") == (0, "state=installed\n")
    assert take_tree(run_program.plugins / "k7k-obs-audio") == bundle
    assert run_program(program, "--status-standard") == (
        0, "state=installed-valid\nobsRunning=0\n")
    assert run_program(program, "--remove-standard") == (0, "state=removed\n")
    assert take_tree(run_program.plugins) == {}
    assert take_tree(folder / BUNDLE) == bundle


def test_unpacked_package_installs_into_a_portable_obs(out, run_program, tmp_path, wine):
    folder = unpack(out, tmp_path / "Neuer Ordner (2) – 音")
    obs = tmp_path / "OBS – tragbar"
    (obs / "bin" / "64bit").mkdir(parents=True)
    (obs / "bin" / "64bit" / "obs64.exe").write_bytes(b"fake-obs")
    (obs / "portable_mode.txt").write_bytes(b"")

    for command, state in [("--install-portable", "installed"),
                           ("--status-portable", "installed-valid\nobsRunning=0")]:
        assert run_program(folder / PROGRAM, command, wine.native(obs)) == (0, f"state={state}\n")
    data = take_tree(obs / "data" / "obs-plugins" / "k7k-obs-audio")
    assert data == below(take_tree(folder / BUNDLE / "data"), "locale")
    assert set(data) == {"locale", *map(below_data, LOCALES)}
    assert (obs / "obs-plugins" / "64bit" / "k7k-obs-audio.dll").is_file()
    assert run_program(folder / PROGRAM, "--remove-portable", wine.native(obs)) == (
        0, "state=removed\n")


def test_another_clone_and_another_folder_give_the_same_bytes(out, library, tmp_path):
    clone = tmp_path / "a-clone-of-another-name"
    for part in ("CMakeLists.txt", "CMakePresets.json", "cmake", "deploy", "docs", "packaging",
                 "scripts", "src"):
        copy = shutil.copytree if (REPOSITORY / part).is_dir() else shutil.copy
        clone.mkdir(exist_ok=True)
        copy(REPOSITORY / part, clone / part)
    plugin = write_plugin(tmp_path / "plugin", library)
    for path in plugin.rglob("*"):
        path.chmod(0o700)
        os.utime(path, (1, 1))
    again = tmp_path / "again"
    made_package(plugin, again, clone=clone)
    for name in OUTPUTS:
        assert (again / name).read_bytes() == (out / name).read_bytes(), name


@pytest.mark.parametrize("given, stored", [
    ("0", (1980, 1, 1, 0, 0, 0)), ("1700000000", (2023, 11, 14, 22, 13, 20))])
def test_every_time_is_the_one_given(tmp_path, given, stored):
    folder = tmp_path / "folder"
    (folder / "bin").mkdir(parents=True)
    (folder / PROGRAM).write_bytes(b"program")
    subprocess.run([sys.executable, "-B", REPOSITORY / "scripts" / "write_package.py", folder,
                    tmp_path / "made", "--version", "1", "--signature", "None.", "--time", given,
                    "--linked"], check=True, env={**os.environ, "TZ": "Asia/Tokyo"})
    with zipfile.ZipFile(tmp_path / "made.zip") as archive:
        assert [entry.date_time for entry in archive.infolist()] == [stored]
        assert [entry.extra for entry in archive.infolist()] == [b""]
    written = "{}-{:02}-{:02}T{:02}:{:02}:{:02}Z".format(*stored)
    assert f'"created": "{written}"' in (tmp_path / "made.spdx.json").read_text()
