"""Ansible's role over a whole fleet: what each run says of each host, and what is on its disk."""

import pytest

from hosts import ABSENT, VALID, clean


def test_summary_tells_the_state_of_each_host(fleet, steps, name):
    run = steps[name].run
    expected = {}
    for host in fleet.hosts:
        expected.setdefault(host.kind.text(name, host), set()).add(host.name)
    assert sum(run.counts.values()) == len(fleet.hosts)
    for text, hosts in expected.items():
        if text in (VALID, ABSENT):
            assert run.counts[text] == len(hosts)
        else:
            told = {host: said for host, said in run.summary.items() if said.startswith(text)}
            assert set(told) == hosts, text


def test_what_changed_is_told_and_nothing_else(fleet, steps, name):
    changed = {host for host, count in steps[name].run.changed.items() if count}
    assert changed == {host.name for host in fleet.hosts if host.kind.changes(name)}


def test_hosts_that_did_not_get_there_are_counted_as_failed(fleet, steps, name):
    run = steps[name].run
    failing = {host.name for host in fleet.hosts
               if not host.kind.text(name, host).startswith(("done, ", "would-change, "))}
    assert failing
    assert (run.failed, run.code) == (failing, 2)


def test_what_is_told_as_unchanged_is_unchanged(fleet, steps, name):
    step = steps[name]
    for host in fleet.hosts:
        if name == "check" or not host.kind.changes(name):
            assert step.after[host.name] == step.before[host.name], host.name


def test_check_mode_tells_what_it_would_do(fleet, steps):
    for host in fleet.hosts:
        if "would-change" in host.kind.text("check", host):
            state = host.kind.text("check", host).split(", ")[1]
            assert f"{state}: the plugin would be present" in steps["check"].run.output


@pytest.mark.steps("present", "present again")
def test_hosts_that_got_there_hold_package_and_plugin(fleet, steps, name):
    for host in fleet.hosts:
        if host.kind.ends_well:
            tree = steps[name].after[host.name]
            assert host.with_package(tree) and host.with_plugin(tree), host.name


@pytest.mark.steps("absent", "absent again")
def test_hosts_that_got_there_hold_neither(fleet, steps, name):
    for host in fleet.hosts:
        if host.kind.ends_well:
            assert clean(steps[name].after[host.name]), host.name


def test_what_a_host_answers_is_no_template(fleet, steps):
    assert not any((host.root / "injected").exists() for host in fleet.hosts)


def test_no_temporary_file_stays(fleet, steps):
    assert not list(fleet.temporary.iterdir())
