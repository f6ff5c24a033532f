#!/usr/bin/python3
"""Holds the workflows of hosted runs against the tree: each is YAML, its shell parts can be parsed,
and what it calls is there."""

import json
import os
import pathlib
import re
import subprocess
import sys

import yaml


def problems(path, presets):
    try:
        workflow = yaml.safe_load(path.read_text(encoding="utf-8"))
    except yaml.YAMLError as error:
        yield f"{path}: {error}"
        return
    for name, job in workflow["jobs"].items():
        commands = "\n".join(step.get("run", "") for step in job["steps"])
        for script in re.findall(r"\bscripts/\w+", commands):
            if not os.access(script, os.X_OK):
                yield f"{path}: {name} calls {script}, which is no script"
        for step in job["steps"]:
            on_windows = job["runs-on"].startswith("windows")
            if step.get("shell", "pwsh" if on_windows else "bash") == "bash":
                script = re.sub(r"\$\{\{.*?\}\}", "expression", step.get("run", ""))
                checked = subprocess.run(["bash", "-n"], input=script, capture_output=True,
                                         text=True, check=False)
                if checked.returncode != 0:
                    yield f"{path}: {name}: {checked.stderr.strip()}"
        named = set(re.findall(r"--preset ([\w-]+)", commands))
        named |= set(job.get("strategy", {}).get("matrix", {}).get("preset", []))
        for preset in sorted(named - presets):
            yield f"{path}: {name} names the preset {preset}, which there is not"


def main():
    text = pathlib.Path("CMakePresets.json").read_text(encoding="utf-8")
    presets = {preset["name"] for preset in json.loads(text)["configurePresets"]}
    workflows = sorted(pathlib.Path(".github/workflows").glob("*.yml"))
    if not workflows:
        sys.exit("check_workflows: found no workflows")
    found = [problem for path in workflows for problem in problems(path, presets)]
    print("\n".join(found), end="\n" if found else "")
    return 1 if found else 0


if __name__ == "__main__":
    sys.exit(main())
