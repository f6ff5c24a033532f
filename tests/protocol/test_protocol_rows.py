"""Every line, stream and exit code of protocol.json, held against the real program."""

import re
import sys

import pytest

import bundle_situations  # noqa: F401  these two fill SITUATIONS
import target_situations  # noqa: F401
from platforms import REPOSITORY
from situations import SITUATIONS, good_box
from test_denied import give_up_overrides
from trees import FOLDER

sys.path.append(str(REPOSITORY / "protocol"))
from protocol_data import DATA, answers_by_row, usage_text

ROWS = answers_by_row()
REACHED = {(row, text) for situation in SITUATIONS.values()
           for text, rows in situation.rows.items() for row in rows}
PAIRS = [(row, text, entry) for entry in DATA["details"] for row in entry["with"]
         for text in entry["texts"]]


def expected_streams(answer, text):
    """For both streams a regular expression of all that the answer has there."""
    streams = {"stdout": "", "stderr": ""}
    for key in answer["keys"]:
        value = answer["state"] if key == "state" else DATA["keys"][key]["value"]
        streams[answer["stream"]] += f"{key}={value}\n"
    if text or answer["detail"] == "always":
        streams["stderr"] += f"detail={re.escape(text)}\n"
    return streams


def expect_answer(box, row, text):
    word, code = row.split()[:2]
    arguments = [box.argument or box.platform.native(box.obs)] if "portable" in word else []
    answer = box.run(word, *arguments, env=box.environment, preexec_fn=give_up_overrides)
    streams = expected_streams(ROWS[row], text)
    assert answer.code == int(code)
    assert re.fullmatch(streams["stdout"], answer.out), answer
    assert re.fullmatch(streams["stderr"], answer.err), answer
    assert re.fullmatch(DATA["keys"]["detail"]["value"], text)


def disk_after(row, text):
    """What the file says of the disk; a status changes nothing."""
    own = {entry["disk"] for with_row, with_text, entry in PAIRS
           if (with_row, with_text) == (row, text) and "disk" in entry}
    if row.startswith("--status-"):
        return "unchanged"
    return own.pop() if own else ROWS[row].get("disk", "changed")


def files_of(tree):
    return {name: kind for name, kind in tree.items() if kind != FOLDER}


@pytest.mark.parametrize("name", [
    pytest.param(name, marks=[pytest.mark.only(*situation.only)] if situation.only else [])
    for name, situation in SITUATIONS.items()])
def test_situation_is_answered_as_filed(make_sandbox, programs, name):
    situation = SITUATIONS[name]
    box = make_sandbox(situation.place)
    good_box(box)
    situation.prepare(box)
    before = box.tree()
    disks = set()
    with situation.during(box, programs):
        for text, rows in situation.rows.items():
            for row in rows:
                expect_answer(box, row, text)
                disks.add(disk_after(row, text))
    if disks <= {"unchanged"}:
        assert box.tree() == before
    elif disks <= {"unchanged", "parents-made", "old-stays"}:
        assert files_of(box.tree()) == files_of(before)
    box.remove()


def test_every_row_is_reached_or_says_why_it_cannot_be():
    filed = {(row, text) for row, text, entry in PAIRS if "unreached" not in entry}
    filed |= {(row, "") for row, answer in ROWS.items() if answer["detail"] == "never"}
    assert REACHED == filed


def test_no_row_says_that_it_cannot_be_reached_and_is():
    for entry in DATA["details"]:
        if "unreached" in entry:
            assert any((row, text) not in REACHED
                       for row in entry["with"] for text in entry["texts"]), entry


def test_anything_else_is_answered_with_the_usage_text_as_filed(sandbox):
    answer = sandbox.run("--no-command")
    assert (answer.code, answer.out, answer.err) == (DATA["usage"]["code"], "", usage_text() + "\n")
    assert DATA["usage"]["stream"] == "stderr"


def test_self_test_is_answered_as_filed(sandbox):
    test = DATA["selfTest"]
    answer = sandbox.run(test["word"])
    line = test["line"].format(verdict=test["passed"]["verdict"], number=0)
    assert (answer.code, answer.out, answer.err) == (0, line + "\n", "")
    assert test["stream"] == "stdout"
