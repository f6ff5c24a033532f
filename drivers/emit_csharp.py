"""The protocol as C# source."""

import model
from emit import comment, quoted, row


def constant(word):
    return "".join(part.capitalize() for part in word.split("-"))


def enumeration(name, purpose, words):
    yield ""
    yield f"    /// <summary>{purpose}</summary>"
    yield f"    public enum {name}"
    yield "    {"
    for word, meaning in words.items():
        yield from comment("        /// ", f"<summary>{meaning}</summary>")
        yield f"        {constant(word)},"
    yield "    }"


def array(items):
    return f"new[] {{ {', '.join(items)} }}"


def codes(numbers):
    return array(f"{number}L" for number in numbers) if numbers else "None"


def table(head, items):
    yield f"        internal static readonly {head}"
    yield "        {"
    yield from items
    yield "        };"


def answer_lines():
    for name, answer in model.ANSWERS.items():
        yield from row(f"        private static readonly Answer {constant(name)} = new Answer(", [
            *map(quoted, (answer.state, answer.stream, answer.detail)),
            f"Outcome.{constant(answer.outcome)}",
            *map(quoted, (answer.retry, *answer.keys))], ");")


def row_lines():
    for command in model.COMMANDS:
        for code, names in command.answers.items():
            for name in names:
                yield f"            ({quoted(command.word)}, {code}, {constant(name)}),"


def text_lines():
    for detail in model.DETAILS:
        old_copy = f"OldCopy.{constant(detail.old_copy)}" if detail.old_copy else "null"
        yield from row("            (", [
            quoted(detail.text), codes(detail.retry), codes(detail.restored), old_copy], "),")


def lines():
    yield from enumeration("Outcome", "What a call came to.", model.OUTCOMES)
    yield from enumeration("Reason", "Why the program gave no answer.", model.REASONS)
    yield from enumeration("OldCopy", "Where the old copy may be.", model.OLD_COPIES)
    yield ""
    yield "    internal static class Protocol"
    yield "    {"
    for name, value in (("Valid", model.VALID), ("Absent", model.ABSENT),
                        ("UsageBegins", model.USAGE_BEGINS)):
        yield f"        internal const string {name} = {quoted(value)};"
    yield f"        internal const long UsageCode = {model.USAGE_CODE};"
    yield "        private static readonly long[] None = new long[0];"
    yield "        // What the values of lines look like; the answers below are made of them."
    yield from table("Dictionary<string, string> Values = new Dictionary<string, string>", (
        f"            [{quoted(key)}] = {quoted(value)}," for key, value in model.VALUES.items()))
    yield from answer_lines()
    yield "        // The answers of each command and exit code."
    yield from table("(string Word, long Code, Answer Answer)[] Rows =", row_lines())
    yield "        // Exit codes with which a text says: trying again helps, or all is as before;"
    yield "        // and where the old copy may be with all other exit codes of Failed."
    yield from table("(string Text, long[] Retry, long[] Restored, OldCopy? OldCopy)[]\n"
                     "            Texts =", text_lines())
    yield "    }"
