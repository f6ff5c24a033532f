import json
import os
import sys
from pathlib import Path

import pytest

sys.path.insert(0, str(Path(__file__).resolve().parents[1] / "protocol"))
from box_fixtures import *  # noqa: F401,F403  options, hooks and fixtures stand there

import bundle_situations  # noqa: F401  these two fill SITUATIONS
import target_situations  # noqa: F401
from adapters import ADAPTERS, INSIDE, Adapter
from situations import SITUATIONS
from test_denied import give_up_overrides

CASES = json.loads((Path(__file__).parent / "cases.json").read_text(encoding="utf-8"))
# Of the cases of the real program each driver makes one in so many.
SHARES = {"host": 3, "wine": 4}


def adapters_of(metafunc, platform):
    """The stand-in for a Windows program can be driven by a Windows program alone."""
    if platform == "host":
        return list(ADAPTERS)
    return [*(ADAPTERS if metafunc.module.__name__ == "test_conformance" else ()), *INSIDE]


def is_possible(table, case, adapter, platform):
    if table == "real":
        return (SITUATIONS[case["situation"]].only or [platform])[0] == platform
    # Under Wine what a process starts is in its job, and there is no leaving it.
    return adapter not in INSIDE or "apart" not in case.get("run", ())


def share_of(cases, platform, number=0):
    """A share that differs with the number; all for a campaign."""
    share = 1 if os.environ.get("K7K_CAMPAIGN") == "full" else SHARES[platform]
    return cases[number % share::share]


def cases_of(table, adapter, number, platform):
    """Those that can be made real; of the real program's a share, each by some adapters."""
    possible = [case for case in CASES[table] if is_possible(table, case, adapter, platform)]
    return share_of(possible, platform, number) if table == "real" else possible


def pytest_generate_tests(metafunc):
    """A test that asks for an adapter runs with each; a mark names the table of its cases."""
    if "adapter" not in metafunc.fixturenames:
        return
    platform = metafunc.config.getoption("platform")
    adapters = adapters_of(metafunc, platform)
    mark = metafunc.definition.get_closest_marker("cases")
    if not mark:
        metafunc.parametrize("adapter", adapters)
        return
    pairs = [(adapter, case) for number, adapter in enumerate(adapters)
             for case in cases_of(mark.args[0], adapter, number, platform)]
    metafunc.parametrize("adapter, case", pairs, ids=[f"{adapter}-{case['name']}"
                                                      for adapter, case in pairs])


@pytest.fixture
def inside(adapter):
    """Whether the driver runs under Wine."""
    return adapter in INSIDE


@pytest.fixture(scope="session")
def bin_folder(request):
    return Path(request.config.getoption("program")).resolve().parent


@pytest.fixture(scope="session")
def running_adapters(platform):
    """Those that were started, which serve one test after the other."""
    started = {}
    yield started
    for running in started.values():
        running.close()


@pytest.fixture
def ask(platform, work, bin_folder, adapter, running_adapters):
    """Makes a call of a driver; adapters.Adapter.ask has the arguments."""
    if adapter not in running_adapters or not running_adapters[adapter].is_running():
        command = [part.format(bin=bin_folder) for part in {**ADAPTERS, **INSIDE}[adapter]]
        running_adapters[adapter] = Adapter(
            command, cwd=work, preexec_fn=give_up_overrides,
            env={**platform.environment(work / "no-program-data"), "LC_ALL": "C.UTF-8"})
    return running_adapters[adapter].ask
