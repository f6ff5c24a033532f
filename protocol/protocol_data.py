"""protocol.json, and what follows from it."""

import json
from pathlib import Path

FOLDER = Path(__file__).resolve().parent
DATA = json.loads((FOLDER / "protocol.json").read_text(encoding="utf-8"))


def answers_by_row():
    """Every answer of every command but the self-test, under the name of its row.

    The name is the command and the exit code, and the state where a command has several answers
    with one code.
    """
    rows = {}
    for command in DATA["commands"]:
        for code, names in command["answers"].items():
            for answer in (DATA["answers"][name] for name in names):
                state = f" {answer['state']}" if len(names) > 1 else ""
                rows[f"{command['word']} {code}{state}"] = answer
    return rows


def command_line(command):
    return " ".join([command["word"], *(f"<{name}>" for name in command["arguments"])])


def usage_text():
    """The line that the program writes when it does not know the command line."""
    commands = [DATA["selfTest"]["word"], *map(command_line, DATA["commands"])]
    return f"Usage: {DATA['program']} {' | '.join(commands)}"
