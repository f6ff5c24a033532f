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


def shell_error(step, default):
    """What bash says of a step that it cannot parse; nothing for those of other shells."""
    if step.get("shell", default) != "bash":
        return ""
    script = re.sub(r"\$\{\{.*?\}\}", "expression", step.get("run", ""))
    return subprocess.run(["bash", "-n"], input=script, stderr=subprocess.PIPE, text=True,
                          check=False).stderr.strip()


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
        default = "pwsh" if job["runs-on"].startswith("windows") else "bash"
        for step in job["steps"]:
            error = shell_error(step, default)
            if error:
                yield f"{path}: {name}: {error}"
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
