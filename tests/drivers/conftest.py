import json
import os
import sys
from pathlib import Path

import pytest

sys.path.insert(0, str(Path(__file__).resolve().parents[1] / "protocol"))
from box_fixtures import *  # noqa: F401,F403  options, hooks and fixtures stand there

import bundle_situations  # noqa: F401  these two fill SITUATIONS
import target_situations  # noqa: F401
from adapters import ADAPTERS, Adapter
from situations import SITUATIONS
from test_denied import give_up_overrides

CASES = json.loads((Path(__file__).parent / "cases.json").read_text(encoding="utf-8"))
# Of the cases of the real program each driver makes one in so many.
SHARE = 1 if os.environ.get("K7K_CAMPAIGN") == "full" else 2


def cases_of(table, adapter, platform):
    """Those that can be made real on the platform; of the real program's a share, each by some."""
    if table != "real":
        return CASES[table]
    real = [case for case in CASES[table]
            if (SITUATIONS[case["situation"]].only or [platform])[0] == platform]
    return real[list(ADAPTERS).index(adapter) % SHARE::SHARE]


def pytest_generate_tests(metafunc):
    """A test that asks for an adapter runs with each; a mark names the table of its cases."""
    if "adapter" not in metafunc.fixturenames:
        return
    mark = metafunc.definition.get_closest_marker("cases")
    if not mark:
        metafunc.parametrize("adapter", ADAPTERS)
        return
    platform = metafunc.config.getoption("platform")
    pairs = [(adapter, case) for adapter in ADAPTERS
             for case in cases_of(mark.args[0], adapter, platform)]
    metafunc.parametrize("adapter, case", pairs, ids=[f"{adapter}-{case['name']}"
                                                      for adapter, case in pairs])


@pytest.fixture(scope="session")
def running_adapters(platform):
    """Those that were started, which serve one test after the other."""
    started = {}
    yield started
    for running in started.values():
        running.close()


@pytest.fixture
def ask(request, platform, work, adapter, running_adapters):
    """Makes a call of a driver; adapters.Adapter.ask has the arguments."""
    if adapter not in running_adapters or not running_adapters[adapter].is_running():
        folder = Path(request.config.getoption("program")).resolve().parent
        command = [part.format(bin=folder) for part in ADAPTERS[adapter]]
        running_adapters[adapter] = Adapter(
            command, cwd=work, preexec_fn=give_up_overrides,
            env={**platform.environment(work / "no-program-data"), "LC_ALL": "C.UTF-8"})
    return running_adapters[adapter].ask
