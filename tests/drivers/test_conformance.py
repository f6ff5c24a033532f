"""Each driver against the real program: what it makes of an answer, and what is on the disk then."""

import os

import pytest

import bundle_situations  # noqa: F401  these two fill SITUATIONS
import target_situations  # noqa: F401
from adapters import Result
from sandbox import OBS_DATA, OBS_DLL, PLUGIN, installed_tree, portable_installed_tree
from situations import SITUATIONS, good_box
from trees import FOLDER, without


def is_real(case, config):
    only = SITUATIONS[case["situation"]].only
    return not only or only[0] == config.getoption("platform")


def command_of(box):
    """Starts the box's program, in its environment."""
    environment = {**box.platform.environment(box.data), **box.environment}
    own = [f"{name}={value}" for name, value in environment.items()
           if os.environ.get(name) != value]
    return ["env", *own, *box.platform.start_command(box.program)]


def files_of(tree):
    return {name: kind for name, kind in tree.items() if kind != FOLDER}


def expect_tree(expected, target, before, after):
    if expected == "installed":
        made = installed_tree if target == "standard" else portable_installed_tree
        assert after == made(before)
    elif expected == "removed":
        gone = [PLUGIN] if target == "standard" else [OBS_DLL, OBS_DATA]
        assert after == without(before, *gone)
    elif expected == "files unchanged":
        assert files_of(after) == files_of(before)
    elif expected == "unchanged":
        assert after == before
    else:
        assert expected == "anything"


@pytest.mark.cases("real", is_real)
def test_situation(ask, make_sandbox, programs, case):
    situation = SITUATIONS[case["situation"]]
    box = make_sandbox(situation.place)
    good_box(box)
    situation.prepare(box)
    before = box.tree()
    with situation.during(box, programs), box.obs_gate.no_obs():
        root = box.argument or box.platform.native(box.obs)
        [[result, streams]] = ask(command_of(box), case["call"],
                                  root if case["target"] == "portable" else None)
    assert result == Result(**case["expect"])
    assert f"state={result.state}" in "".join(streams)
    expect_tree(case["tree"], case["target"], before, box.tree())
    box.remove()
