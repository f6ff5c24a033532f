"""Each driver against the program: what it makes of an answer, and what is then on the disk."""

import os

import pytest

from adapters import Result
from sandbox import OBS_DATA, OBS_DLL, PLUGIN, installed_tree, portable_installed_tree
from situations import SITUATIONS, good_box
from trees import FOLDER, without


def command_of(box, inside):
    """Starts the box's program, in its environment."""
    environment = {**box.platform.environment(box.data), **box.environment}
    if inside:
        assert not box.environment
        return [box.platform.native(box.program)]
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


@pytest.mark.cases("real")
def test_situation(ask, inside, make_sandbox, programs, case):
    situation = SITUATIONS[case["situation"]]
    box = make_sandbox(situation.place)
    good_box(box)
    situation.prepare(box)
    before = box.tree()
    with situation.during(box, programs), box.obs_gate.no_obs():
        root = box.argument or box.platform.native(box.obs)
        [[result, streams]] = ask(command_of(box, inside), case["call"],
                                  root if case["target"] == "portable" else None)
    assert result == Result(**case["expect"])
    assert f"state={result.state}" in "".join(streams)
    expect_tree(case["tree"], case["target"], before, box.tree())
    box.remove()


@pytest.fixture
def box(make_sandbox):
    made = make_sandbox()
    made.write_bundle()
    made.environment = {}
    with made.obs_gate.no_obs():
        yield made
    made.remove()


@pytest.mark.parametrize("name", ["My OBS", "it's (x) & %TMP% ^ $HOME; `x` !x!", "{}[]=+,#@~-",
                                  "\u00e9\u4e2d\u6587\U0001f50a"], ids=ascii)
@pytest.mark.parametrize("ends_with_separator", [False, True])
def test_root_of_any_letters_is_one_argument(ask, inside, box, name, ends_with_separator):
    root = box.platform.native(box.write_obs(name))
    if ends_with_separator:
        root += "\\" if box.platform.name == "wine" else "/"
    before = box.tree()
    [[result, _]] = ask(command_of(box, inside), "ensureInstalled", root)
    assert result == Result("done", None, "installed-valid", 0, obsRunning=False)
    [[result, _]] = ask(command_of(box, inside), "ensureRemoved", root)
    assert result == Result("done", None, "not-installed", 0, obsRunning=False)
    assert files_of(box.tree()) == files_of(before)


@pytest.mark.parametrize("target", ["standard", "portable"])
def test_calls_at_once_install_once(ask, inside, box, target):
    root = box.platform.native(box.write_obs())
    before = box.tree()
    results = ask(command_of(box, inside), "ensureInstalled",
                  root if target == "portable" else None, parallel=3)
    assert sorted(result.outcome for result, _ in results) == ["done", *["nothing-to-do"] * 2]
    expect_tree("installed", target, before, box.tree())
