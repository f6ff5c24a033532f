"""The protocol as JavaScript source, and its types for TypeScript."""

import model
from emit import WIDTH, comment, quoted, row


def several(items):
    return f"[{', '.join(items)}]"


def constant(word):
    first, *rest = word.split("-")
    return first + "".join(part.capitalize() for part in rest)


def enumeration(name, purpose, words):
    yield ""
    yield f"/** {purpose} */"
    yield f"export const {name} = Object.freeze({{"
    for word, meaning in words.items():
        yield from comment("  // ", meaning)
        yield f"  {constant(word)}: {quoted(word)},"
    yield "});"


def type_of_enumeration(name, purpose, words):
    yield ""
    yield f"/** {purpose} */"
    yield f"export declare const {name}: {{"
    for word, meaning in words.items():
        if len(meaning) <= WIDTH - len("  /**  */"):
            yield f"  /** {meaning} */"
        else:
            yield from ("  /**", *comment("   * ", meaning), "   */")
        yield f"  readonly {constant(word)}: {quoted(word)};"
    yield "};"
    yield f"export type {name} = (typeof {name})[keyof typeof {name}];"


def table(name, purpose, rows):
    yield ""
    yield f"// {purpose}"
    yield f"const {name} = {{"
    for lines in rows:
        yield from lines
    yield "};"


def command_rows():
    for command in model.COMMANDS:
        codes = [f"{code}: {several(map(quoted, names))}"
                 for code, names in command.answers.items()]
        yield row(f"  {quoted(f'{command.verb} {command.target}')}: "
                  f"{{ word: {quoted(command.word)}, answers: {{ ", codes, " } },")


def answer_rows():
    for name, answer in model.ANSWERS.items():
        yield row(f"  {quoted(name)}: {{ ", [
            f"state: {quoted(answer.state)}", f"stream: {quoted(answer.stream)}",
            f"keys: {several(map(quoted, answer.keys))}", f"detail: {quoted(answer.detail)}",
            f"outcome: Outcome.{constant(answer.outcome)}", f"retry: {quoted(answer.retry)}"],
            " },")


def detail_rows():
    for detail in model.DETAILS:
        yield row(f"  {quoted(detail.text)}: {{ ", [
            f"retry: {several(map(str, detail.retry))}",
            f"restored: {several(map(str, detail.restored))}",
            *([f"oldCopy: OldCopy.{constant(detail.old_copy)}"] if detail.old_copy else [])], " },")


PURPOSES = {"Outcome": ("What a call came to.", model.OUTCOMES),
            "Reason": ("Why the program gave no answer.", model.REASONS),
            "OldCopy": ("Where the old copy may be.", model.OLD_COPIES)}


def lines():
    for name, (purpose, words) in PURPOSES.items():
        yield from enumeration(name, purpose, words)
    yield ""
    yield f"const VALID = {quoted(model.VALID)};"
    yield f"const ABSENT = {quoted(model.ABSENT)};"
    yield f"const USAGE_CODE = {model.USAGE_CODE};"
    yield f"const USAGE_BEGINS = {quoted(model.USAGE_BEGINS)};"
    yield from table("VALUES", "What the values of lines look like.", (
        [f"  {key}: {quoted(value)},"] for key, value in model.VALUES.items()))
    yield from table("COMMANDS", "The names of the answers that each exit code has.",
                     command_rows())
    yield from table("ANSWERS", "Lines and meaning of each answer; keys are those after state.",
                     answer_rows())
    yield from table("DETAILS", "Exit codes with which a text says that trying again can help, and "
                     "that all is as before.", detail_rows())


def type_lines():
    for name, (purpose, words) in PURPOSES.items():
        yield from type_of_enumeration(name, purpose, words)
    states = sorted({quoted(answer.state) for answer in model.ANSWERS.values()})
    yield ""
    yield "/** What happened, or what was found; empty without an answer. */"
    yield "export type State ="
    yield '  | ""'
    for state in states:
        yield f"  | {state}{';' if state == states[-1] else ''}"
