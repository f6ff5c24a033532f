"""A plugin to package, the package made of it, and Wine to run what was unpacked.

    /usr/bin/python3 -B -m pytest tests/package

Under Wine the tests work in a copy of the prefix that WINEPREFIX names, or of build/wine-prefix.
"""

import os
import shutil
import subprocess
import zipfile
from pathlib import Path

import pytest

from payload import LIBRARY, VERSION
from platforms import REPOSITORY, Wine

NAME = f"k7k-obs-audio-{VERSION}-windows-x64"
OUTPUTS = {f"{NAME}.zip", f"{NAME}.spdx.json", "SHA256SUMS"}
PROGRAM = "bin/K7KObsConnectorInstaller.exe"


def run_package(*arguments, clone=REPOSITORY, **environment):
    command = [str(clone / "scripts" / "package"), *map(str, arguments)]
    return subprocess.run(command, env={**os.environ, **environment}, stdin=subprocess.DEVNULL,
                          capture_output=True, text=True, timeout=300, check=False)


def made_package(*arguments, **options):
    made = run_package(*arguments, **options)
    assert (made.returncode, made.stderr) == (0, "")


def unpack(out, folder):
    with zipfile.ZipFile(out / f"{NAME}.zip") as archive:
        archive.extractall(folder)
    return folder


@pytest.fixture(scope="session")
def work(tmp_path_factory):
    return tmp_path_factory.mktemp("package")


@pytest.fixture(scope="session")
def library(work):
    """The demonstration's plugin library."""
    path = work / "library.dll"
    subprocess.run(["x86_64-w64-mingw32-gcc-posix", "-O2", "-shared", "-s",
                    "-Wl,--no-insert-timestamp", "-o", str(path),
                    str(REPOSITORY / "demo" / "plugin.c")], check=True)
    return path


@pytest.fixture
def plugin(library, tmp_path):
    return write_plugin(tmp_path / "plugin", library)


def write_plugin(folder, library):
    (folder / LIBRARY).parent.mkdir(parents=True)
    shutil.copy(library, folder / LIBRARY)
    shutil.copytree(REPOSITORY / "demo" / "locale", folder / "data" / "locale")
    return folder


@pytest.fixture(scope="session")
def out(library, work):
    """The package of the demonstration's plugin."""
    made_package(write_plugin(work / "plugin", library), work / "out")
    return work / "out"


@pytest.fixture(scope="session")
def wine(work):
    template = os.environ.get("WINEPREFIX", str(REPOSITORY / "build" / "wine-prefix"))
    place = Wine(Path(template).resolve(), work / "wine-prefix")
    yield place
    place.close()


@pytest.fixture
def run_program(wine, tmp_path):
    """Runs a program on a program-data folder of the test's own; gives exit code and lines."""
    data = tmp_path / "program-data"
    data.mkdir()

    def run(program, *arguments):
        done = subprocess.run([*wine.start_command(program), *arguments],
                              env=wine.environment(data), stdin=subprocess.DEVNULL,
                              capture_output=True, timeout=120, check=False)
        return done.returncode, (done.stdout + done.stderr).decode().replace("\r\n", "\n")

    run.plugins = data / "obs-studio" / "plugins"
    return run
