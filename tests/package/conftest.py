"""A plugin to package, the package made of it, and Wine to run what was unpacked.

    /usr/bin/python3 -B -m pytest tests/package

Under Wine the tests work in a copy of the prefix that WINEPREFIX names, or of build/wine-prefix.
"""

import os
import subprocess
from pathlib import Path

import pytest

pytest.register_assert_rewrite("packages")

from packages import compile_library, made_package, write_plugin
from platforms import REPOSITORY, Wine


@pytest.fixture(scope="session")
def work(tmp_path_factory):
    return tmp_path_factory.mktemp("package")


@pytest.fixture(scope="session")
def library(work):
    return compile_library(work / "library.dll")


@pytest.fixture
def plugin(library, tmp_path):
    return write_plugin(tmp_path / "plugin", library)


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
