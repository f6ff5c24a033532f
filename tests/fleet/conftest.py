"""The fleet of the tests, and the runs over it.

    /usr/bin/python3 -B -m pytest tests/fleet --platform=host --program=build/host/bin/...
    /usr/bin/python3 -B -m pytest tests/fleet --platform=wine

On the host the package holds the program under test, under Wine it is the one of scripts/package.
K7K_CAMPAIGN=full makes a fleet of 40 hosts and runs every step; else it has a host of each kind
that matters most, and no second removal.
"""

import collections
import os
import shutil
import subprocess
import sys
from dataclasses import dataclass

import pytest

pytest.register_assert_rewrite("packages")

from fleet import Fleet, HostPlace, WinePlace
from hosts import CLEAN_PORTABLE, EACH_KIND, RUNS, kinds_of_fleet
from packages import PROGRAM, compile_library, made_package, unpack, write_plugin
from platforms import REPOSITORY
from sandbox import BUNDLE, ObsGate

FULL = os.environ.get("K7K_CAMPAIGN") == "full"
STEPS = RUNS if FULL else RUNS[:-1]
ARGUMENTS = {"check": ["--check"], "absent": ["-e", "k7k_state=absent"],
             "absent again": ["-e", "k7k_state=absent"]}
# The first batch has no host that ends well.
BATCHES = ["-e", '{"batch": [3, "100%"]}']


def pytest_addoption(parser):
    parser.addoption("--platform", choices=("host", "wine"), required=True)
    parser.addoption("--program", help="the program under test on the host")


@pytest.fixture(scope="session")
def work(tmp_path_factory):
    return tmp_path_factory.mktemp("fleet")


@pytest.fixture(scope="session")
def package(request, work):
    """The release package in its folder, and its files unpacked."""
    plugin = write_plugin(work / "plugin", compile_library(work / "library.dll"))
    out = work / "package"
    layout = work / "layout"
    if request.config.getoption("platform") == "wine":
        made_package(plugin, out)
        return out, unpack(out, layout)

    program = layout / PROGRAM
    program.parent.mkdir(parents=True)
    shutil.copy(request.config.getoption("program"), program)
    shutil.copytree(plugin, layout / BUNDLE)
    subprocess.run([program, "--write-bundled-manifest"], stdout=subprocess.DEVNULL, check=True)
    out.mkdir()
    subprocess.run([sys.executable, "-B", REPOSITORY / "scripts" / "write_package.py", layout,
                    out / "k7k", "--version", "1", "--signature", "None.", "--time", "0",
                    "--linked"], check=True)
    return out, layout


@pytest.fixture(scope="session")
def place(request, work):
    if not os.access("/dev/shm", os.W_OK):
        pytest.skip("Ansible's processes share memory in /dev/shm, where this user may not write")
    on_wine = request.config.getoption("platform") == "wine"
    place = (WinePlace if on_wine else HostPlace)(work)
    gate = ObsGate(REPOSITORY / "build" / "obs-process.lock")
    # Under Wine a process named obs64.exe runs all the time.
    with gate.obs() if on_wine else gate.no_obs():
        try:
            yield place
        finally:
            place.close()


@pytest.fixture(scope="session")
def fleet(place, package, work):
    return Fleet(place, *package, work, kinds_of_fleet(40) if FULL else EACH_KIND)


@pytest.fixture
def copied_package(package, tmp_path):
    """A copy of the package's folder, to be damaged."""
    return shutil.copytree(package[0], tmp_path / "package")


@pytest.fixture
def small_fleet(place, package, copied_package, tmp_path):
    """One host, without package and plugin, that gets the copied package."""
    return Fleet(place, copied_package, package[1], tmp_path, [CLEAN_PORTABLE])


@dataclass(frozen=True)
class Step:
    run: object
    before: dict
    after: dict


@pytest.fixture(scope="session")
def steps(request, fleet):
    """Every run over the fleet, with the trees of its hosts before and after."""
    steps = {}
    for name in STEPS:
        before = fleet.trees()
        run = fleet.run(*BATCHES, *ARGUMENTS.get(name, []))
        steps[name] = Step(run, before, fleet.trees())
    request.config.stash[FIGURES] = steps
    return steps


FIGURES = pytest.StashKey()


def pytest_terminal_summary(terminalreporter, config):
    steps = config.stash.get(FIGURES, None)
    if steps is None:
        return
    sums = collections.Counter()
    for name, step in steps.items():
        run = step.run
        figures = {"runs": 1, "changed": sum(map(bool, run.changed.values())),
                   "failed": len(run.failed), "wall": run.seconds,
                   "cpu": run.cpu_seconds}
        sums.update(figures)
        terminalreporter.write_line(f"fleet, {name}: {text_of(figures)}")
    hosts = len(next(iter(steps.values())).run.changed)
    terminalreporter.write_line(f"fleet: hosts={hosts} {text_of(sums)}")


def text_of(figures):
    return " ".join(f"{name}={number}" for name, number in figures.items())


def pytest_generate_tests(metafunc):
    """A test with "name" runs for each step, or for those that its mark names."""
    if "name" in metafunc.fixturenames:
        mark = metafunc.definition.get_closest_marker("steps")
        names = [name for name in STEPS if mark is None or name in mark.args]
        metafunc.parametrize("name", names)
