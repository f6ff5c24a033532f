"""The inventory, the commands and the tables of docs/fleet.md."""

import re
import subprocess

import pytest
import yaml

from platforms import REPOSITORY

PAGE = (REPOSITORY / "docs" / "fleet.md").read_text(encoding="utf-8")
INVENTORY, = re.findall("```yaml\n(.*?)```", PAGE, re.DOTALL)
COMMANDS = re.findall("^ansible-playbook .*", PAGE, re.MULTILINE)
ROLE = REPOSITORY / "deploy" / "ansible" / "roles" / "k7k_obs_connector"


@pytest.fixture
def folder(tmp_path):
    (tmp_path / "hosts.yml").write_text(INVENTORY, encoding="utf-8")
    (tmp_path / "deploy").symlink_to(REPOSITORY / "deploy")
    return tmp_path


@pytest.mark.parametrize("command", COMMANDS)
def test_command_is_taken_and_finds_the_hosts(folder, fleet, command):
    done = subprocess.run(["/bin/bash", "-c", f"{command} --list-hosts"], cwd=folder, text=True,
                          env=fleet.environment(), stdout=subprocess.PIPE, check=True)
    hosts = 9 if "--limit" in command else 121
    assert re.findall(r"hosts \((\d+)\)", done.stdout) == [str(hosts)] * 2


def test_every_variable_is_told():
    described = yaml.safe_load((ROLE / "meta" / "argument_specs.yml").read_text(encoding="utf-8"))
    defaults = yaml.safe_load((ROLE / "defaults" / "main.yml").read_text(encoding="utf-8"))
    table = PAGE[PAGE.index("| Variable |"):PAGE.index("## Running it")]
    told = set(re.findall(r"`(k7k_[a-z_]+)`", table))
    assert told == set(described["argument_specs"]["main"]["options"]) == {*defaults, "k7k_package"}


def test_every_outcome_is_told():
    outcomes = re.findall(r"^\| ((?:`[a-z-]+`(?:, )?)+) \|", PAGE[PAGE.index("| Outcome |"):],
                          re.MULTILINE)
    assert {name for cell in outcomes for name in re.findall("`(.*?)`", cell)} == {
        "done", "would-change", "busy", "refused", "failed-restored", "failed", "unreachable"}


def test_both_systems_have_the_same_tasks_but_for_those_that_bring_the_package():
    """Each file sets the same variables, runs under the same conditions, and says the same."""
    def told(path):
        tasks = yaml.safe_load(path.read_text(encoding="utf-8"))
        kept = ("name", "register", "when", "until", "changed_when", "failed_when", "check_mode")
        return {task["name"]: {key: task[key] for key in kept if key in task} for task in tasks}

    files = {path.name for path in (ROLE / "tasks" / "plain").iterdir()}
    assert files == {path.name for path in (ROLE / "tasks" / "windows").iterdir()}
    for name in files - {"bring.yml"}:
        assert told(ROLE / "tasks" / "windows" / name) == told(ROLE / "tasks" / "plain" / name)
