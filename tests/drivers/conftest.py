import json
import sys
from pathlib import Path

import pytest

sys.path.insert(0, str(Path(__file__).resolve().parents[1] / "protocol"))
from box_fixtures import *  # noqa: F401,F403  options, hooks and fixtures stand there

from adapters import ADAPTERS, Adapter
from test_denied import give_up_overrides

CASES = json.loads((Path(__file__).parent / "cases.json").read_text(encoding="utf-8"))


def pytest_generate_tests(metafunc):
    """A test that asks for an adapter runs with each; a mark names the cases that it runs."""
    if "adapter" in metafunc.fixturenames:
        metafunc.parametrize("adapter", ADAPTERS)
    for mark in metafunc.definition.iter_markers("cases"):
        cases = [case for case in CASES[mark.args[0]] if mark.args[1](case, metafunc.config)]
        metafunc.parametrize("case", cases, ids=[case["name"] for case in cases])


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
