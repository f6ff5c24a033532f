"""protocol/protocol.json: its schema, its own references, and the literals of src/, both ways."""

import ast
import json
import re
import subprocess
import sys

import jsonschema
import pytest

from platforms import REPOSITORY

PROTOCOL = REPOSITORY / "protocol"
SRC = REPOSITORY / "src"
sys.path.append(str(PROTOCOL))
from protocol_data import DATA, answers_by_row, usage_text

CONSTANTS = DATA["constants"]
ROWS = answers_by_row()
COMMANDS = {command["word"]: command for command in DATA["commands"]}
PAIRS = [(entry, row, text) for entry in DATA["details"] for row in entry["with"]
         for text in entry["texts"]]

# What the disk still holds where no part of the old copy was touched for good.
UNTOUCHED = {"unchanged", "parents-made"}
OLD_IN_PLACE = UNTOUCHED | {"old-stays"}

TOKEN = re.compile(r"""//[^\n]*|/\*.*?\*/|(L?)("(?:[^"\\\n]|\\.)*")|'(?:[^'\\\n]|\\.)+'""",
                   re.DOTALL)


def source(*places):
    """The text of the C++ files in these rooms of src/, or of these files."""
    files = [file for place in places
             for file in (sorted((SRC / place).rglob("*.*")) if (SRC / place).is_dir()
                          else [SRC / place])]
    assert files
    return "\n".join(file.read_text(encoding="utf-8") for file in files)


def literals(text, wide):
    """The string literals of a kind, unescaped; neighbours are one."""
    found, end, joins = [], 0, False
    for token in TOKEN.finditer(text):
        if token[2] is None:
            continue
        joins = joins and not re.sub(r"//[^\n]*", "", text[end:token.start()]).strip()
        end = token.end()
        if (token[1] == "L") != wide:
            joins = False
            continue
        content = ast.literal_eval(token[2])
        if joins:
            found[-1] += content
        else:
            found.append(content)
        joins = True
    return found


def wide_literals(*places):
    return literals(source(*places), wide=True)


def numbers(*places):
    """The integers that stand in the code itself."""
    return {int(number) for number in re.findall(r"\b\d+\b", TOKEN.sub(" ", source(*places)))}


def band_codes(command):
    """A command's exit codes that follow from its band."""
    return {int(code) for code in COMMANDS[command]["answers"]
            if int(code) > CONSTANTS["codeBands"][command]}


def test_the_file_is_as_its_schema_says():
    schema = json.loads((PROTOCOL / DATA["$schema"]).read_text(encoding="utf-8"))
    jsonschema.Draft202012Validator.check_schema(schema)
    jsonschema.validate(DATA, schema, jsonschema.Draft202012Validator)


def test_the_schema_refuses_what_is_misspelled_or_missing():
    schema = json.loads((PROTOCOL / DATA["$schema"]).read_text(encoding="utf-8"))
    for wrong in ({**DATA, "detials": []}, {name: DATA[name] for name in DATA if name != "answers"},
                  {**DATA, "details": [{**DATA["details"][0], "retry": "yes"}]},
                  {**DATA, "details": [{**DATA["details"][0], "with": ["--status-bundled"]}]}):
        with pytest.raises(jsonschema.ValidationError):
            jsonschema.validate(wrong, schema, jsonschema.Draft202012Validator)


def test_what_is_referred_to_is_there_and_used():
    used = {name for command in DATA["commands"] for names in command["answers"].values()
            for name in names}
    assert used == set(DATA["answers"])
    assert {row for entry in DATA["details"] for row in entry["with"]} <= set(ROWS)
    answers = DATA["answers"].values()
    assert {answer["disk"] for answer in answers if "disk" in answer} | {
        entry["disk"] for entry in DATA["details"] if "disk" in entry} == set(DATA["disk"])
    assert {key for answer in answers for key in answer["keys"]} | {"detail"} == set(DATA["keys"])
    assert {DATA["usage"]["outcome"], *(answer["outcome"] for answer in answers)} == set(
        DATA["outcomes"])
    assert {name for command in DATA["commands"] for name in command["arguments"]} == set(
        DATA["arguments"])
    assert {name["place"] for name in CONSTANTS["privateNames"]} | {"bundle"} == set(
        CONSTANTS["places"])


def test_each_row_has_its_details_and_no_entry_says_the_same_twice():
    for row, answer in ROWS.items():
        texts = {text for _, with_row, text in PAIRS if with_row == row}
        assert bool(texts) == (answer["detail"] != "never"), row
        assert "" in texts or answer["detail"] != "if-any", row
        assert (answer.get("retry") == "by-detail") == (answer["detail"] == "always"), row
    said = [(row, text, entry["cause"]) for entry, row, text in PAIRS]
    assert len(said) == len(set(said))


def test_outcomes_say_no_more_than_what_is_on_the_disk():
    for name, answer in DATA["answers"].items():
        disks = {answer.get("disk")} | {entry["disk"] for entry, row, _ in PAIRS
                                        if ROWS[row] is answer and "disk" in entry}
        if answer["outcome"] in ("refused", "busy"):
            assert disks <= UNTOUCHED, name
        elif answer["outcome"] == "failed-restored":
            assert disks <= OLD_IN_PLACE, name
        elif answer["outcome"] == "failed":
            assert disks - OLD_IN_PLACE, name


def test_documents_are_made_from_the_file_as_it_is():
    check = subprocess.run([PROTOCOL / "make_documents.py", "--check"], capture_output=True,
                           text=True, check=False)
    assert (check.returncode, check.stderr) == (0, "")


def test_sentences_of_the_engine_are_those_of_the_file():
    in_source = {text for text in wide_literals("fs", "bundle", "targets", "txn") if " " in text}
    in_file = {text for entry in [*DATA["details"], *DATA["unprinted"]] for text in entry["texts"]}
    assert in_source == {text.partition("{")[0] for text in in_file} - {""}


def test_words_of_the_reports_are_those_of_the_file():
    in_source = {word for text in wide_literals("app") for word in re.split(r"[=\n]", text)}
    self_test = DATA["selfTest"]
    assert in_source - {""} == {
        *COMMANDS, self_test["word"], usage_text(), *DATA["keys"],
        *(answer["state"] for answer in DATA["answers"].values()),
        *filter(None, re.split(r"\{\w+\}", self_test["line"])),
        self_test["passed"]["verdict"], self_test["failed"]["verdict"]}
    assert self_test["diagnostic"]["begins"] in wide_literals("selftest")


def test_exit_codes_are_those_of_the_source():
    bands = CONSTANTS["codeBands"]
    other = {int(code) for word, command in COMMANDS.items() for code in command["answers"]
             if word not in bands or int(code) not in band_codes(word)}
    assert numbers("app/commands.cpp") == other | set(bands.values())
    assert f"kUsageExitCode = {DATA['usage']['code']};" in source("app/dispatch.h")
    assert numbers("selftest/self_test.cpp") == {
        0, *(int(number) for number in DATA["selfTest"]["numbers"])}


@pytest.mark.parametrize("scale, word", [("InstallOutcome", "install"),
                                         ("RemovalOutcome", "remove")])
def test_exit_codes_of_failed_transactions_are_band_plus_outcome(scale, word):
    body = source("txn/outcomes.h").split(f"enum class {scale} : int {{")[1].partition("};")[0]
    outcomes = {name: int(value) for name, value in re.findall(r"(\w+) = (\d+),", body)}
    successes = {"Installed", "Removed", "NotInstalled"}
    failures = {value for name, value in outcomes.items()
                if name not in successes and not name.startswith("Injected")}
    commands = [command for command in CONSTANTS["codeBands"] if command.startswith(f"--{word}-")]
    assert len(commands) == 2
    for command in commands:
        assert band_codes(command) == {CONSTANTS["codeBands"][command] + value
                                       for value in failures}
        assert f'{CONSTANTS["codeBands"][command]})' in source("app/commands.cpp").split(command)[1]


def test_moves_are_tried_as_the_source_says():
    text = source("txn/retrying_move.cpp")
    assert f"kAttempts = {CONSTANTS['moveAttempts']};" in text
    assert f"milliseconds kBetweenAttempts({CONSTANTS['movePauseMilliseconds']});" in text


def test_private_names_are_those_of_the_source():
    places = {"plugin_parent": "standard", "dll_parent": "library", "dll.parent_path()": "library",
              "data_parent": "data", "data.parent_path()": "data"}
    made = re.findall(r'= TransactionPath\((.+?), L"(.+?)"\)', source("txn"))
    assert sorted((tag, places[parent]) for parent, tag in made) == sorted(
        (name["tag"], name["place"]) for name in CONSTANTS["privateNames"])
    assert CONSTANTS["privatePrefix"] in wide_literals("fs/transaction_path.cpp")


def test_names_and_places_are_those_of_the_source():
    def joined(file, pattern):
        """The path that the narrow literals of one place of the source make."""
        return "/".join(literals(re.search(pattern, source(file), re.DOTALL)[1], wide=False))

    portable = "targets/portable_target.cpp"
    places = {name: place["path"] for name, place in CONSTANTS["places"].items()}
    plugin, library = CONSTANTS["pluginName"], CONSTANTS["libraryName"]
    assert joined(portable, r"executable = (.*?);") == CONSTANTS["obsExecutable"]
    assert joined(portable, r"kMarkers\{(.*?)\}") == "/".join(CONSTANTS["portableMarkers"])
    assert joined(portable, r"PortableDllPath(.*?)\}") == f"{places['library']}/{library}"
    assert joined(portable, r"PortableDataPath(.*?)\}") == f"{places['data']}/{plugin}"
    assert joined("targets/standard_target.cpp",
                  r"return program_data (.*?);") == places["standard"]
    assert joined("app/program_folder.cpp", r"return program_folder(.*?);") == places["bundle"]
    assert places["bundle"].endswith("/" + plugin)
    assert plugin in wide_literals("bundle/installed_copy.cpp")
    assert CONSTANTS["manifestName"] in wide_literals("bundle/manifest.h")
