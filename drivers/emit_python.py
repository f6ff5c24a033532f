"""The protocol as Python source."""

import model
from emit import comment, quoted, row


def several(items):
    items = list(items)
    return f"({', '.join(items)}{',' if len(items) == 1 else ''})"


def constant(word):
    return word.upper().replace("-", "_")


def enumeration(name, purpose, words):
    yield ""
    yield ""
    yield f"class {name}(enum.Enum):"
    yield f'    """{purpose}"""'
    yield ""
    for word, meaning in words.items():
        yield from comment("    # ", meaning)
        yield f"    {constant(word)} = {quoted(word)}"


def table(name, kind, rows):
    yield ""
    yield f"{name}: {kind} = {{"
    for lines in rows:
        yield from lines
    yield "}"


def command_rows():
    for command in model.COMMANDS:
        codes = [f"{code}: {several(map(quoted, names))}"
                 for code, names in command.answers.items()]
        yield row(f"    ({quoted(command.verb)}, {quoted(command.target)}): "
                  f"_Command({quoted(command.word)}, {{", codes, "}),")


def answer_rows():
    for name, answer in model.ANSWERS.items():
        yield row(f"    {quoted(name)}: _Answer(", [
            quoted(answer.state), quoted(answer.stream), several(map(quoted, answer.keys)),
            quoted(answer.detail), f"Outcome.{constant(answer.outcome)}", quoted(answer.retry)],
            "),")


def detail_rows():
    for detail in model.DETAILS:
        yield row(f"    {quoted(detail.text)}: _Detail(", [
            several(map(str, detail.retry)), several(map(str, detail.restored)),
            *([f"OldCopy.{constant(detail.old_copy)}"] if detail.old_copy else [])], "),")


def lines():
    yield from enumeration("Outcome", "What a call came to.", model.OUTCOMES)
    yield from enumeration("Reason", "Why the program gave no answer.", model.REASONS)
    yield from enumeration("OldCopy", "Where the old copy may be.", model.OLD_COPIES)
    yield ""
    yield ""
    yield "class _Answer(NamedTuple):"
    yield "    state: str"
    yield "    stream: str"
    yield "    keys: Tuple[str, ...]  # after state"
    yield "    detail: str  # never, if-any or always"
    yield "    outcome: Outcome"
    yield "    retry: str  # yes, no or by-detail"
    yield ""
    yield ""
    yield "class _Command(NamedTuple):"
    yield "    word: str"
    yield "    answers: Dict[int, Tuple[str, ...]]  # of each exit code"
    yield ""
    yield ""
    yield "class _Detail(NamedTuple):"
    yield "    retry: Tuple[int, ...]  # exit codes with which trying again can help"
    yield "    restored: Tuple[int, ...]  # exit codes with which what was there is in its place"
    yield "    old_copy: Optional[OldCopy] = None  # with all other exit codes of FAILED"
    yield ""
    yield ""
    yield f"_VALID = {quoted(model.VALID)}"
    yield f"_ABSENT = {quoted(model.ABSENT)}"
    yield f"_USAGE_CODE = {model.USAGE_CODE}"
    yield f"_USAGE_BEGINS = {quoted(model.USAGE_BEGINS)}"
    yield from table("_VALUES", "Dict[str, str]", (
        [f"    {quoted(key)}: {quoted(value)},"] for key, value in model.VALUES.items()))
    yield from table("_COMMANDS", "Dict[Tuple[str, str], _Command]", command_rows())
    yield from table("_ANSWERS", "Dict[str, _Answer]", answer_rows())
    yield from table("_DETAILS", "Dict[str, _Detail]", detail_rows())
