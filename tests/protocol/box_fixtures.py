"""Options, the platform, each test's sandbox, and the hold on skips: of this folder's tests and
those of the drivers.

    /usr/bin/python3 -B -m pytest tests/protocol --platform=host --program=build/host/bin/...
    /usr/bin/python3 -B -m pytest tests/drivers --platform=wine --program=build/windows/bin/....exe

With -n 2 (pytest-xdist) two processes share the tests. Under Wine each process works in a copy of
the prefix that WINEPREFIX names, or of build/wine-prefix.
"""

import itertools
import os
import shutil
from pathlib import Path

import pytest

pytest.register_assert_rewrite("sandbox", "portable_checks")

import trees
from platforms import REPOSITORY, Host, Wine
from programs import Programs
from sandbox import ObsGate, Sandbox
from skip_list import SkipHold


def pytest_addoption(parser):
    parser.addoption("--platform", choices=("host", "wine"), help="where the program runs")
    parser.addoption("--program", help="the program under test")
    parser.addoption("--share", type=int, default=1,
                     help="run one test in so many, unless K7K_CAMPAIGN=full")
    parser.addoption("--work", help="folder for the sandboxes, else pytest's; emptied at the end")


def pytest_configure(config):
    if not config.getoption("platform") or not config.getoption("program"):
        raise pytest.UsageError("--platform and --program are needed")
    if not Path(config.getoption("program")).is_file():
        raise pytest.UsageError(f"no such program: {config.getoption('program')}")
    if not hasattr(config, "workerinput"):
        hold = SkipHold(REPOSITORY / "tests" / "skips.txt", config.getoption("platform"),
                        config.rootpath.name)
        config.pluginmanager.register(hold)


def pytest_collection_modifyitems(config, items):
    if os.environ.get("K7K_CAMPAIGN") != "full":
        items[:] = items[::config.getoption("share")]
    for item in items:
        for mark in item.iter_markers("only"):
            platform, reason = mark.args
            if platform != config.getoption("platform"):
                item.add_marker(pytest.mark.skip(reason=reason))


@pytest.fixture(scope="session")
def work(request, tmp_path_factory):
    """This process's own folder, removed at the end."""
    base = request.config.getoption("work")
    worker = os.environ.get("PYTEST_XDIST_WORKER", "main")
    if base:
        folder = Path(base).resolve() / worker
        shutil.rmtree(folder, ignore_errors=True)
    else:
        folder = tmp_path_factory.getbasetemp() / "protocol"
    folder.mkdir(parents=True)
    yield folder
    trees.remove_tree(folder)
    if base:
        try:
            folder.parent.rmdir()
        except OSError:
            pass  # another worker still works there


@pytest.fixture(scope="session")
def platform(request, work):
    if request.config.getoption("platform") == "host":
        place = Host(work)
    else:
        template = os.environ.get("WINEPREFIX", str(REPOSITORY / "build" / "wine-prefix"))
        place = Wine(Path(template).resolve(), work / "wine-prefix")
    yield place
    place.close()


@pytest.fixture(scope="session")
def programs(platform, work):
    return Programs(platform, work / "programs")


@pytest.fixture(scope="session")
def obs_gate():
    build = REPOSITORY / "build"
    build.mkdir(exist_ok=True)
    return ObsGate(build / "obs-process.lock")


@pytest.fixture(scope="session")
def make_sandbox(request, platform, obs_gate):
    """Makes a sandbox in a new folder, or in the place below one that the caller names."""
    program = Path(request.config.getoption("program")).resolve()
    numbers = itertools.count()

    def make(place="."):
        folder = platform.sandboxes / str(next(numbers))
        return Sandbox(platform, obs_gate, folder, place, program)

    return make


@pytest.fixture
def sandbox(make_sandbox):
    box = make_sandbox()
    yield box
    box.remove()
