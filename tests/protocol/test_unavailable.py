"""No program data folder: the standard commands say so, and nothing else."""

import os

import pytest

from sandbox import NOT_INSTALLED, Answer, status

UNAVAILABLE = Answer(20, "", "state=target-unavailable\n")
STANDARD = ("--status-standard", "--install-standard", "--remove-standard")


def expect_unavailable(box, **options):
    with box.unchanged():
        for command in STANDARD:
            assert box.run(command, **options) == UNAVAILABLE


@pytest.mark.only("host", "the folder comes from Windows there, not from the environment")
@pytest.mark.parametrize("value", [None, "", ".", "program-data", "./program-data", "../x", "~",
                                   " "],
                         ids=["unset", "empty", "dot", "name", "below", "above", "tilde", "space"])
def test_standard_commands_without_an_absolute_program_data_folder_say_unavailable(sandbox, value):
    sandbox.write_bundle()
    sandbox.write_plugin()
    expect_unavailable(sandbox, env={"ProgramData": value})


@pytest.mark.only("wine", "the host takes the folder from the environment without looking at it")
def test_standard_commands_program_data_folder_missing_say_unavailable(sandbox):
    sandbox.write_bundle()
    sandbox.data.rmdir()
    expect_unavailable(sandbox)


@pytest.mark.only("wine", "the host has no such libraries")
@pytest.mark.parametrize("library", ["shell32", "ole32"])
def test_standard_commands_without_the_shell_say_unavailable(sandbox, library):
    sandbox.write_bundle()
    sandbox.write_plugin()
    expect_unavailable(sandbox, env={"WINEDLLOVERRIDES": library + "="})


@pytest.mark.only("host", "the folder comes from Windows there, not from the environment")
def test_program_data_folder_with_a_trailing_separator_is_the_same_folder(sandbox):
    sandbox.write_bundle()
    sandbox.write_plugin()
    with sandbox.unchanged():
        assert sandbox.run("--status-standard", env={"ProgramData": f"{sandbox.data}/"}) == status(
            "installed-valid")


@pytest.mark.only("host", "the folder comes from Windows there, not from the environment")
def test_program_data_folder_that_is_not_utf8_is_used_as_it_is(sandbox):
    sandbox.write_bundle()
    data = os.fsencode(sandbox.data) + b"/\xff\xfe"
    assert sandbox.run("--install-standard", env={"ProgramData": os.fsdecode(data)}) == Answer(
        0, "state=installed\n")
    assert os.path.isdir(data + b"/obs-studio/plugins/k7k-obs-audio")


def test_commands_that_need_no_program_data_folder_answer_without_it(sandbox):
    sandbox.write_bundle()
    obs = sandbox.write_obs()
    sandbox.data.rmdir()
    options = {"env": {"ProgramData": None}}
    with sandbox.unchanged():
        assert sandbox.run("--status-bundled", **options).code == 0
        assert sandbox.portable("--status-portable", obs, **options) == status("not-installed")
        assert sandbox.portable("--remove-portable", obs, **options) == NOT_INSTALLED
