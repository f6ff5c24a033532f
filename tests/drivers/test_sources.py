"""The drivers' files: what is made of the protocol, the examples of their pages, their types."""

import json
import os
import re
import shutil
import subprocess
import sys
from dataclasses import dataclass

import pytest

from adapters import Result
from platforms import REPOSITORY
from sandbox import installed_tree

sys.path.append(str(REPOSITORY / "protocol"))
from protocol_data import DATA

DRIVERS = REPOSITORY / "drivers"
# What is on the disk when all is as before.
OLD_IN_PLACE = ("unchanged", "parents-made", "old-stays")


def make_drivers(root, *options):
    return subprocess.run([sys.executable, "-B", root / "drivers" / "make_drivers.py", *options],
                          capture_output=True, text=True, check=False)


def test_drivers_are_made_from_the_protocol_as_it_is():
    check = make_drivers(REPOSITORY, "--check")
    assert (check.returncode, check.stderr) == (0, "")


def test_stale_driver_is_named_and_made_anew(tmp_path):
    for folder in ("drivers", "protocol"):
        shutil.copytree(REPOSITORY / folder, tmp_path / folder)
    protocol = tmp_path / "protocol" / "protocol.json"
    changed = protocol.read_text(encoding="utf-8").replace("target-unavailable", "target-away")
    protocol.write_text(changed, encoding="utf-8")
    check = make_drivers(tmp_path, "--check")
    assert check.returncode == 1
    assert "drivers/python/k7k_obs_connector/__init__.py" in check.stderr
    assert make_drivers(tmp_path).returncode == 0
    assert make_drivers(tmp_path, "--check").returncode == 0
    assert "target-away" in (tmp_path / "drivers/node/k7k-obs-connector.mjs").read_text("utf-8")


def rows():
    """Each answer that a driver can meet, with each text that comes with it."""
    for command in DATA["commands"]:
        verb, target = command["word"].strip("-").split("-", 1)
        if target not in ("standard", "portable"):
            continue
        for code, names in command["answers"].items():
            for name in names:
                answer = DATA["answers"][name]
                row = f"{command['word']} {code}"
                row += f" {answer['state']}" if len(names) > 1 else ""
                texts = {text for entry in DATA["details"] if row in entry["with"]
                         for text in entry["texts"]}
                for text in texts or {""}:
                    yield verb, target, row, int(code), answer, text


def expected_result(row, code, answer, text):
    meanings = [entry for entry in DATA["details"]
                if row in entry["with"] and text in entry["texts"]]
    outcome, retryable = answer["outcome"], answer.get("retry") == "yes"
    if answer.get("retry") == "by-detail":
        retryable = any(entry["retry"] for entry in meanings)
        if outcome == "failed" and all(entry.get("disk", answer["disk"]) in OLD_IN_PLACE
                                       for entry in meanings):
            outcome = "failed-restored"
    told = answer["detail"] == "always" or answer["detail"] == "if-any" and text
    [old_copy] = {entry["disk"] for entry in meanings} if outcome == "failed" else [None]
    return Result(outcome, None, answer["state"], code, text if told else None, old_copy,
                  True if "obsRunning" in answer["keys"] else None, retryable)


def test_every_answer_of_the_protocol_is_understood(ask):
    count = 0
    for verb, target, row, code, answer, text in rows():
        expected = expected_result(row, code, answer, text)
        streams = {"stdout": "", "stderr": ""}
        for key in answer["keys"]:
            value = {"state": answer["state"], "obsRunning": "1"}[key]
            streams[answer["stream"]] += f"{key}={value}\n"
        if expected.detail is not None:
            streams["stderr"] += f"detail={text}\n"
        command = ["sh", "-c", 'printf %s "$0"; printf %s "$1" >&2; exit "$2"',
                   streams["stdout"], streams["stderr"], str(code)]
        [[result, told]] = ask(command, verb, None if target == "standard" else "/OBS")
        assert result == expected, row
        assert told == (streams["stdout"], streams["stderr"])
        count += 1
    assert count > 150


@dataclass(frozen=True)
class Example:
    kind: str
    name: str
    parts: list  # of the driver, beside the example
    start: list
    refused: str = "refused"
    build: tuple = ()


EXAMPLES = {
    "python": Example("python", "install.py", ["k7k_obs_connector"],
                      [sys.executable, "-B", "install.py"]),
    "node": Example("js", "install.mjs", ["k7k-obs-connector.mjs"], ["node", "install.mjs"]),
    "cpp": Example("cpp", "install.cpp", ["k7k_obs_connector.h"], ["./install"],
                   build=("c++", "-std=c++17", "-pthread", "-o", "install", "install.cpp")),
    "csharp": Example("cs", "Install.cs", ["K7kObsConnector.cs"],
                      ["mono", "Install.exe"], "Refused",
                      ("mcs", "-langversion:7", "Install.cs", "K7kObsConnector.cs")),
}


@pytest.mark.parametrize("language", EXAMPLES)
def test_example_of_the_page_does_what_it_says(sandbox, language):
    example = EXAMPLES[language]
    page = (DRIVERS / language / "README.md").read_text(encoding="utf-8")
    [text] = re.findall(rf"```{example.kind}\n(.*?)```", page, re.DOTALL)
    folder = sandbox.folder / "example"
    folder.mkdir()
    (folder / example.name).write_text(text, encoding="utf-8")
    for part in example.parts:
        (folder / part).symlink_to(DRIVERS / language / part)
    if example.build:
        subprocess.run(example.build, cwd=folder, check=True)

    def run():
        return subprocess.run([*example.start, sandbox.program], cwd=folder,
                              capture_output=True, text=True, check=False,
                              env=sandbox.platform.environment(sandbox.data))

    with sandbox.obs_gate.no_obs():
        refused = run()
        assert (refused.returncode, refused.stdout) == (1, "")
        assert refused.stderr == f"{example.refused}: install-failed\n"
        sandbox.write_bundle()
        before = sandbox.tree()
        for _ in range(2):
            done = run()
            assert (done.returncode, done.stdout, done.stderr) == (0, "installed-valid\n", "")
            assert sandbox.tree() == installed_tree(before)


def test_types_for_typescript_name_what_the_module_has(tmp_path):
    types = (DRIVERS / "node/k7k-obs-connector.d.mts").read_text(encoding="utf-8")
    script = tmp_path / "names.mjs"
    script.write_text(f"""
import * as module from "{DRIVERS}/node/k7k-obs-connector.mjs";
const {{ Driver, STANDARD }} = module;
const methods = Object.getOwnPropertyNames(Driver.prototype);
const result = await new Driver(["/missing"]).status(STANDARD);
const target = module.portable("/OBS");
console.log(JSON.stringify({{ names: Object.keys(module), methods, result: Object.keys(result),
  target: Object.keys(target), words: {{ Outcome: module.Outcome, Reason: module.Reason }} }}));
""", encoding="utf-8")
    shown = subprocess.run(["node", script], stdout=subprocess.PIPE, check=True)
    module = json.loads(shown.stdout)

    def body(head):
        return types.partition(head + " {")[2].partition("\n}")[0]

    def names(pattern, text):
        return sorted(re.findall(pattern, text, re.MULTILINE))

    assert names(r"^export declare \w+ (\w+)", types) == sorted(module["names"])
    assert names(r"^  (\w+)\(", body("class Driver")) == sorted(module["methods"])
    assert names(r"^  readonly (\w+):", body("interface Result")) == sorted(module["result"])
    assert names(r"^  readonly (\w+):", body("interface Target")) == sorted(module["target"])
    for name, words in module["words"].items():
        assert dict(re.findall(r'readonly (\w+): "(.*)"', body(f"const {name}:"))) == words
    states = {answer["state"] for command in DATA["commands"] if "bundled" not in command["word"]
              for answers in command["answers"].values()
              for answer in (DATA["answers"][name] for name in answers)}
    told = types.partition("export type State =")[2].partition(";")[0]
    assert set(re.findall(r'"(.*?)"', told)) == states | {""}


def test_drivers_need_nothing_but_their_language():
    for path in DRIVERS.rglob("*"):
        assert path.suffix != ".pyc" and path.name not in ("node_modules", "package.json")
    python = (DRIVERS / "python/k7k_obs_connector/__init__.py").read_text(encoding="utf-8")
    modules = re.findall(r"^(?:import|from) (\w+)", python, re.MULTILINE)
    assert modules and set(modules) - {"__future__"} <= set(sys.stdlib_module_names)
    node = (DRIVERS / "node/k7k-obs-connector.mjs").read_text(encoding="utf-8")
    modules = re.findall(r'from "(.*?)"', node)
    assert modules and all(module.startswith("node:") for module in modules)
    assert os.path.getsize(DRIVERS / "python/k7k_obs_connector/py.typed") == 0
