"""What the role makes of the program's answers, and of what is no answer."""

import importlib.util

import pytest

from platforms import REPOSITORY

PLUGIN = (REPOSITORY / "deploy" / "ansible" / "roles" / "k7k_obs_connector" / "filter_plugins"
          / "k7k_obs_connector.py")
FOUND = importlib.util.spec_from_file_location("role", PLUGIN)
role = importlib.util.module_from_spec(FOUND)
FOUND.loader.exec_module(role)


def judged(target, code, out="", err="", **more):
    answer = role.judge({"rc": code, "stdout": out, "stderr": err, **more}, target)
    return answer["outcome"], answer["state"], answer["detail"], answer["retry"]


@pytest.mark.parametrize("target, code, out, err, expected", [
    ("standard", 0, "state=installed\r\n", "", ("done", "installed", "", False)),
    ("standard", 0, "state=installed-valid\nobsRunning=1\n", "",
     ("done", "installed-valid", "", False)),
    ("portable", 0, "state=not-installed\nobsRunning=0\n", "detail=Path does not exist\n",
     ("done", "not-installed", "Path does not exist", False)),
    ("standard", 20, "", "state=target-unavailable\n",
     ("refused", "target-unavailable", "", False)),
    ("standard", 21, "", "state=obs-running\n", ("busy", "obs-running", "", True)),
    ("portable", 41, "", "state=obs-running\n", ("busy", "obs-running", "", True)),
    ("standard", 34, "", "state=remove-failed\ndetail=Installed plugin path is unsafe\n",
     ("refused", "remove-failed", "Installed plugin path is unsafe", False)),
    ("standard", 25, "", "state=install-failed\n"
     "detail=Could not back up the existing plugin; OBS may be running\n",
     ("failed-restored", "install-failed",
      "Could not back up the existing plugin; OBS may be running", True)),
    ("portable", 46, "", "state=install-failed\ndetail=of another program\n",
     ("failed", "install-failed", "of another program", False))])
def test_answer(target, code, out, err, expected):
    assert judged(target, code, out, err) == expected


@pytest.mark.parametrize("target, code, out, err, said", [
    ("standard", 2, "state=installed-invalid\nbytes=7\n", "", "state=installed-invalid"),
    ("standard", 41, "", "state=obs-running\n", "state=obs-running"),
    ("standard", 21, "state=installed-valid\n", "", "state=installed-valid"),
    ("standard", 3221225477, "", "", "no answer"),
    ("standard", 64, "", "Usage: ...\n", "Usage: ..."),
    ("standard", 0, "", "", "no answer")])
def test_no_answer_has_failed(target, code, out, err, said):
    assert judged(target, code, out, err) == ("failed", "", said, False)


def test_task_that_ran_no_program_has_failed_with_its_message():
    assert role.judge({"msg": "no such host"}, "standard") == {
        "outcome": "failed", "state": "", "detail": "no such host", "retry": False}


def test_summary_names_hosts_that_are_not_done_and_counts_the_others():
    done = {"outcome": "done", "state": "installed-valid", "detail": ""}
    busy = {"outcome": "busy", "state": "obs-running", "detail": ""}
    assert role.summary({"b": busy, "c": done, "a": busy, "d": done, "e": done, "f": {
        "outcome": "failed", "detail": "no result"}}) == [
            "6 hosts", "3 done, installed-valid", "2 busy, obs-running: a b",
            "1 failed, no result: f"]
