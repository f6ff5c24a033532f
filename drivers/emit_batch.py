"""The protocol as lines of a batch file.

For each exit code with each standard output that can come with it: the outcome and that output.
"""

import itertools

import model

VALUES = {"obsRunning": ("0", "1")}


def outputs(answer):
    """The keys and values of each standard output that is the answer's."""
    if answer.stream == "stderr":
        return [()]
    others = [[(key, value) for value in VALUES[key]] for key in answer.keys]
    return itertools.product([("state", answer.state)], *others)


def entry(word, code, output, outcome):
    name = ".".join(["answer", word, str(code), *itertools.chain(*output)])
    values = " ".join([outcome, *(f"{key}={value}" for key, value in output)])
    return f'set "{name}={values}"'


def lines():
    for command in model.COMMANDS:
        for code, names in command.answers.items():
            for answer in map(model.ANSWERS.get, names):
                for output in outputs(answer):
                    yield entry(command.word, code, output, answer.outcome)
        yield entry(command.word, model.USAGE_CODE, (), "refused")
    yield f'set "unavailable={model.UNAVAILABLE}"'
