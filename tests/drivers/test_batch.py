"""The batch file under Wine's cmd.exe: its one line, its exit code, and what it hands on."""

import json
import re
import shutil
import subprocess
from urllib.parse import quote

import pytest

from conftest import CASES, is_possible, share_of
from platforms import REPOSITORY
from situations import SITUATIONS, good_box
from test_conformance import expect_tree

BATCH = REPOSITORY / "drivers" / "batch" / "k7k-obs-connector.cmd"
CALLS = ("status", "install", "remove")
PLAIN = [case for case in CASES["real"]
         if case["call"] in CALLS and is_possible("real", case, None, "wine")]


class Batch:
    """Runs the batch file; the folder for its temporary file must be empty when it ends."""

    def __init__(self, platform, folder):
        self._platform = platform
        self._temporary = folder / "50% of it's (a) & ! b"
        self._temporary.mkdir()

    def __call__(self, *arguments, data):
        temporary = self._platform.native(self._temporary)
        environment = {**self._platform.environment(data), "TEMP": temporary, "TMP": temporary}
        run = subprocess.run(
            [*self._platform.start_command("cmd"), "/c", self._platform.native(BATCH), *arguments],
            env=environment, stdin=subprocess.DEVNULL, capture_output=True, check=False)
        assert list(self._temporary.iterdir()) == []
        out, err = (stream.decode("utf-8").replace("\r\n", "\n")
                    for stream in (run.stdout, run.stderr))
        return run.returncode, out, err


@pytest.fixture
def batch(platform, tmp_path):
    return Batch(platform, tmp_path)


def expected_line(expect):
    """It reads no detail=, so that it tells what was restored only where the exit code does."""
    outcome = expect["outcome"]
    if outcome == "failed-restored" and expect["exitCode"] != 25:
        outcome = "failed"
    if outcome not in ("done", "nothing-to-do"):
        return f"outcome={outcome}\n"
    values = {"state": expect["state"]}
    if "obsRunning" in expect:
        values["obsRunning"] = int(expect["obsRunning"])
    told = "".join(f" {key}={value}" for key, value in values.items())
    return f"outcome={outcome}{told}\n"


def expected_errors(expect):
    lines = []
    if expect["outcome"] not in ("done", "nothing-to-do"):
        lines.append(f"state={expect['state']}\n")
    if "detail" in expect:
        lines.append(f"detail={expect['detail']}\n")
    return "".join(lines)


@pytest.mark.parametrize("case", share_of(PLAIN, "wine"), ids=lambda case: case["name"])
def test_situation(batch, make_sandbox, programs, case):
    situation = SITUATIONS[case["situation"]]
    box = make_sandbox(situation.place)
    good_box(box)
    situation.prepare(box)
    before = box.tree()
    with situation.during(box, programs), box.obs_gate.no_obs():
        root = [box.argument or box.platform.native(box.obs)]
        root = root if case["target"] == "portable" else []
        answer = batch(box.platform.native(box.program), case["call"], *root, data=box.data)
    expect = case["expect"]
    assert answer == (expect["exitCode"], expected_line(expect), expected_errors(expect))
    expect_tree(case["tree"], case["target"], before, box.tree())
    box.remove()


@pytest.fixture
def play(batch, bin_folder, platform, tmp_path):
    """Runs the batch file with the stand-in, which plays one run; what it answers and was asked."""
    folder = tmp_path / "my (stand-in) & x"
    folder.mkdir()
    program = folder / "stand in.exe"
    shutil.copy2(bin_folder / "stand_in.exe", program)

    def run(fields, *arguments):
        lines = "".join(f"{key} {quote(str(value))}\n" for key, value in fields.items())
        (folder / "run.0").write_text(lines, encoding="ascii")
        (folder / "log").unlink(missing_ok=True)
        answer = batch(platform.native(program), *arguments, data=tmp_path)
        log = (folder / "log").read_text(encoding="ascii").splitlines()
        return answer, json.loads(log[0])["asked"]

    return run


# The command line of cmd.exe itself would take a % in it for a variable.
@pytest.mark.parametrize("root", [
    "", "C:\\My OBS", "C:\\My OBS\\", "\\\\server\\my share\\", "C:\\it's (x) & ^y !z! ;=,{}[]~#",
    "C:\\\u00e9\u4e2d\u6587 \U0001f50a"], ids=ascii)
def test_root_arrives_as_it_is(play, root):
    answer, asked = play({"out": "state=installed\r\n"}, "install", root)
    assert answer == (0, "outcome=done state=installed\n", "")
    assert asked == ["--install-portable", root]


@pytest.mark.parametrize("out", [
    "", "x", "state=installed\nstate=installed\n", "state=removed\n",
    "state=installed\nobsRunning=0\n", "State=installed\n", " state=installed\n",
    "state=installed\n\" & echo x & exit /b 0 & rem %PATH% !PATH! | >\n"], ids=ascii)
def test_lines_of_no_answer_are_unavailable_and_1(play, out):
    answer, asked = play({"out": out}, "install")
    assert (answer, asked) == ((1, "outcome=unavailable\n", ""), ["--install-standard"])


@pytest.mark.parametrize("code", [1, 22, 41, 127])
def test_code_of_no_answer_is_unavailable(play, code):
    answer, _ = play({"out": "state=installed\n", "code": code}, "install")
    assert answer == (code, "outcome=unavailable\n", "")


def test_failure_with_lines_on_standard_output_is_unavailable(play):
    err = "state=install-failed\ndetail=x & y\n"
    answer, _ = play({"out": "state=installed\n", "err": err, "code": 23}, "install")
    assert answer == (23, "outcome=unavailable\n", err)


def test_usage_of_the_program_is_refused(play):
    answer, _ = play({"err": "Usage: ...\n", "code": 64}, "remove")
    assert answer == (64, "outcome=refused\n", "Usage: ...\n")


def test_program_that_is_not_there_is_unavailable(batch, platform, tmp_path):
    code, out, err = batch(platform.native(tmp_path / "none.exe"), "status", data=tmp_path)
    assert (code, out) == (9009 % 256, "outcome=unavailable\n")
    assert "none.exe" in err


def test_example_of_the_page_does_what_it_says(batch, sandbox):
    page = (BATCH.parent / "README.md").read_text(encoding="utf-8")
    example = r'```\n> call k7k-obs-connector.cmd \S+ (\w+) "C:\\My OBS"\n(.*\n)```'
    [[call, line]] = re.findall(example, page)
    sandbox.write_bundle()
    obs = sandbox.platform.native(sandbox.write_obs("My OBS"))
    with sandbox.obs_gate.no_obs():
        program = sandbox.platform.native(sandbox.program)
        assert batch(program, call, obs, data=sandbox.data) == (0, line, "")


@pytest.mark.parametrize("arguments", [
    (), ("x.exe",), ("x.exe", "Install"), ("x.exe", "self-test"),
    ("x.exe", "install", "C:\\My", "OBS")])
def test_other_arguments_are_refused_with_usage(batch, tmp_path, arguments):
    assert batch(*arguments, data=tmp_path) == (
        64, "", "Usage: k7k-obs-connector.cmd PROGRAM status|install|remove [OBS_ROOT]\n")
