"""What every driver must know of the protocol, taken from protocol.json.

An emitter, one for each language, writes these values as that language's source.
"""

import sys
from dataclasses import dataclass
from pathlib import Path

sys.path.append(str(Path(__file__).resolve().parents[1] / "protocol"))
from protocol_data import DATA, answers_by_row

VERBS = ("status", "install", "remove")
TARGETS = ("standard", "portable")
OLD_IN_PLACE = {"unchanged", "parents-made", "old-stays"}

# What a driver says where the program says nothing that counts.
UNAVAILABLE = "unavailable"
REASONS = {
    "not-started": "The program could not be started.",
    "timeout": "It was ended, with what it had started, since its time was over.",
    "crashed": "Its exit code is none of this command's, or a signal ended it.",
    "garbled": "Its exit code is one of this command's, and its lines are not those of that code.",
    "too-much": "It was ended, with what it had started, since it wrote too much on one stream.",
}


@dataclass(frozen=True)
class Answer:
    """The lines of an answer: state= and the other keys on one stream, detail= on stderr."""

    state: str
    stream: str  # stdout or stderr
    keys: tuple  # after state, in their order
    detail: str  # never, if-any or always
    outcome: str
    retry: str  # yes, no or by-detail


@dataclass(frozen=True)
class Command:
    verb: str
    target: str
    word: str
    answers: dict  # of each exit code to the names of its answers


@dataclass(frozen=True)
class Detail:
    """A text that says more than its exit code does."""

    text: str
    retry: tuple  # the exit codes with which trying again can help
    restored: tuple  # the exit codes of `failed` with which all is as before: `failed-restored`
    old_copy: str  # a word of OLD_COPIES where it stays `failed`, else empty


def commands():
    words = {command["word"]: command for command in DATA["commands"]}
    for target in TARGETS:
        for verb in VERBS:
            word = f"--{verb}-{target}"
            yield Command(verb, target, word, {
                int(code): tuple(names) for code, names in words[word]["answers"].items()})


def answer(name):
    data = DATA["answers"][name]
    first, *keys = data["keys"]
    assert first == "state"
    return Answer(data["state"], data["stream"], tuple(keys), data["detail"], data["outcome"],
                  data.get("retry", "no"))


def details():
    """By exit codes without their commands: those that share a code agree on a text.

    Of several meanings one that can pass is enough to try again, and all must leave what was there.
    """
    rows = answers_by_row()
    words = {command.word for command in COMMANDS}
    meanings, old_copies = {}, {}
    for entry in DATA["details"]:
        for row in entry["with"]:
            word, code = row.split()[:2]
            if word in words and rows[row].get("retry") == "by-detail":
                disk = entry.get("disk", rows[row]["disk"])
                failed = rows[row]["outcome"] == "failed"
                restored = failed and disk in OLD_IN_PLACE
                for text in entry["texts"]:
                    codes = meanings.setdefault(text, {})
                    codes.setdefault(int(code), []).append((word, entry["retry"], restored))
                    if failed and not restored:
                        known = old_copies.setdefault(text, disk)
                        assert known == disk
    for text, codes in sorted(meanings.items()):
        retry, restored = [], []
        for code, said in sorted(codes.items()):
            can_pass = {word for word, again, _ in said if again}
            assert can_pass in (set(), {word for word, _, _ in said})
            if can_pass:
                retry.append(code)
            if all(kept for _, _, kept in said):
                restored.append(code)
        if retry or restored or text in old_copies:
            yield Detail(text, tuple(retry), tuple(restored), old_copies.get(text, ""))


COMMANDS = tuple(commands())
ANSWERS = {name: answer(name) for command in COMMANDS for names in command.answers.values()
           for name in names}
DETAILS = tuple(details())
OLD_COPIES = {word: text for word, text in DATA["disk"].items()
              if word in {detail.old_copy for detail in DETAILS}}
VALUES = {key: DATA["keys"][key]["value"] for key in ("obsRunning", "detail")}
OUTCOMES = {**{name: text for name, text in DATA["outcomes"].items() if name != "usage"},
            UNAVAILABLE: "The program gave no answer; the reason tells why."}
VALID = ANSWERS["copy-valid"].state
ABSENT = ANSWERS["nothing-removed"].state
# Another program version's usage text can name other commands.
USAGE_CODE = DATA["usage"]["code"]
USAGE_BEGINS = f"Usage: {DATA['program']} "
