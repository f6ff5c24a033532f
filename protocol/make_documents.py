#!/usr/bin/python3 -B
"""Makes docs/messages.md and the tables in docs/driving.md from protocol.json.

    make_documents.py            writes them
    make_documents.py --check    names those that differ, and ends with 1 when one does
"""

import sys
import textwrap

from protocol_data import DATA, FOLDER, answers_by_row, command_line

DOCS = FOLDER.parent / "docs"
MADE = "<!-- made by protocol/make_documents.py from protocol/protocol.json -->"
END = "<!-- end of what is made -->"
ROWS = answers_by_row()
AGAIN = {True: "can help", False: "does not help"}


def table(head, rows):
    lines = [head, ["---"] * len(head), *rows]
    return ["| " + " | ".join(cell.replace("|", "\\|") for cell in line) + " |" for line in lines]


def item(text):
    return textwrap.wrap(f"- {text}", 105, subsequent_indent="  ", break_on_hyphens=False)


def code_of(row):
    """A row's exit code, with the state where that tells it from another row."""
    code, *state = row.split()[1:]
    return ", ".join([code, *(f"`{word}`" for word in state)])


def named(rows):
    return ", ".join(f"`{row.split()[0]}` ({code_of(row)})" for row in rows)


# docs/driving.md

def wait_of(command):
    constants = DATA["constants"]
    pauses = command["moves"] * (constants["moveAttempts"] - 1)
    return f"{pauses * constants['movePauseMilliseconds']} ms" if pauses else "none"


def command_rows():
    for command in DATA["commands"]:
        yield [f"`{command_line(command)}`", command["purpose"], wait_of(command)]
    yield [f"`{DATA['selfTest']['word']}`", DATA["selfTest"]["purpose"], "none"]


def lines_of(answer):
    keys = [f"`state={answer['state']}`", *(f"`{key}=`" for key in answer["keys"][1:])]
    detail = {"never": "", "always": "`detail=`", "if-any": "`detail=` or nothing"}
    parts = {"stdout": [], "stderr": []}
    parts[answer["stream"]] += keys
    parts["stderr"] += [detail[answer["detail"]]] if answer["detail"] != "never" else []
    return "; ".join(f"{stream}: {', '.join(lines)}" for stream, lines in parts.items() if lines)


def again(answer):
    return {"by-detail": "may help"}.get(answer.get("retry"), answer.get("retry", ""))


def self_test_rows():
    test = DATA["selfTest"]
    numbers = sorted(int(number) for number in test["numbers"])
    assert numbers == list(range(1, len(numbers) + 1))
    for code, verdict in (("0", test["passed"]), (f"1 to {numbers[-1]}", test["failed"])):
        line = test["line"].format(verdict=verdict["verdict"], number="n" if code != "0" else "0")
        yield [f"`{test['word']}`", code, f"{test['stream']}: `{line}`", verdict["meaning"],
               verdict["outcome"], again(verdict)]


def code_rows():
    for row, answer in ROWS.items():
        command, code = row.split()[:2]
        yield [f"`{command}`", code, lines_of(answer), answer["meaning"], answer["outcome"],
               again(answer)]
    yield from self_test_rows()
    usage = DATA["usage"]
    yield ["none of these", str(usage["code"]), f"{usage['stream']}: the usage text",
           usage["meaning"], usage["outcome"], usage["retry"]]


def driving_tables():
    yield from table(["Command", "What it does", "Longest wait for blocked files"], command_rows())
    yield ""
    yield from table(["Line", "Its value"], ([f"`{key}=`", entry["meaning"]]
                                             for key, entry in DATA["keys"].items()))
    yield ""
    yield from table(["Outcome", "What it means"],
                     ([name, text] for name, text in DATA["outcomes"].items()))
    yield ""
    yield from table(["Command", "Exit code", "Lines", "Meaning", "Outcome", "Try again"],
                     code_rows())


# docs/messages.md

def meaning_lines(entry):
    on_disk = {}
    for row in entry["with"]:
        if "disk" in ROWS[row]:
            on_disk.setdefault(DATA["disk"][entry.get("disk", ROWS[row]["disk"])], []).append(row)
    yield ""
    yield from item(f"Cause: {entry['cause']}")
    for text, rows in on_disk.items():
        yield from item(f"On the disk{f', {named(rows)}' if len(on_disk) > 1 else ''}: {text}")
    yield from item(f"What to do: {entry['remedy']}")
    yield from item(f"Trying again later: {AGAIN[entry['retry']]}.")


def paragraph(text):
    yield ""
    yield from textwrap.wrap(text, 105, break_on_hyphens=False)


def text_lines(text):
    """A text's own meanings, and where those are that it shares with other texts."""
    yield ""
    yield f"## {text or 'No text'}"
    if not text:
        yield from paragraph("`detail=` with nothing after it, and a status without a `detail=`.")
    entries = [entry for entry in DATA["details"] if text in entry["texts"]]
    for entry in entries:
        if len(entry["texts"]) == 1:
            yield from paragraph(f"With {named(entry['with'])}:")
            yield from meaning_lines(entry)
    for entry in entries:
        if len(entry["texts"]) > 1:
            yield from paragraph(f"With {named(entry['with'])}: "
                                 "see [shared meanings](#shared-meanings).")


def shared_meanings():
    yield ""
    yield "## Shared meanings"
    for entry in DATA["details"]:
        if len(entry["texts"]) > 1:
            texts = ", ".join(f"`{text}`" if text else "no text" for text in entry["texts"])
            yield from paragraph(f"With {named(entry['with'])}, any of {texts}:")
            yield from meaning_lines(entry)


def messages():
    yield "# Messages"
    yield ""
    yield MADE
    yield from paragraph(
        "Every text that can follow `detail=`, in alphabetical order, with the commands and exit "
        "codes that it comes with. One text can have several meanings. Status commands change "
        "nothing on the disk. [driving.md](driving.md) has the lines and codes themselves.")
    for text in sorted({text for entry in DATA["details"] for text in entry["texts"]}):
        yield from text_lines(text)
    yield from shared_meanings()
    yield ""
    yield "## Texts that no command prints"
    for entry in DATA["unprinted"]:
        yield from paragraph(entry["why"])
        yield ""
        for text in entry["texts"]:
            yield from item(f"`{text}`")
    yield from other_tables()


def place_of(name):
    place = DATA["constants"]["places"][name]
    return "`{}` below {}".format(place["path"].replace("/", "\\"), place["below"])


def other_tables():
    constants = DATA["constants"]
    yield ""
    yield "## Private names"
    yield from paragraph(
        f"`{constants['privatePrefix']}<tag>.<process>.<time>`, beside what they stand for. A run "
        "that ends by itself leaves one only where something could not be deleted, moved back, or "
        "written through to the disk.")
    yield ""
    yield from table(["Tag", "Folder", "Holds"], (
        [f"`{name['tag']}`", place_of(name["place"]), name["holds"]]
        for name in constants["privateNames"]))
    yield ""
    yield "## Numbers of the self-test"
    yield ""
    yield "What did not hold, in the order of the checks."
    yield ""
    yield from table(["Exit code", "Check"], DATA["selfTest"]["numbers"].items())


def driving():
    """The page as it stands, with its made part made anew."""
    page = (DOCS / "driving.md").read_text(encoding="utf-8")
    before, _, rest = page.partition(MADE)
    _, end, after = rest.partition(END)
    if not end:
        sys.exit("docs/driving.md has not both marks of its made part")
    return "\n".join([before + MADE, "", *driving_tables(), "", end + after])


def main():
    pages = {"messages.md": "\n".join(messages()) + "\n", "driving.md": driving()}
    stale = []
    for name, text in pages.items():
        path = DOCS / name
        if not path.exists() or path.read_text(encoding="utf-8") != text:
            stale.append(f"docs/{name}")
            if "--check" not in sys.argv[1:]:
                path.write_text(text, encoding="utf-8", newline="\n")
    if stale and "--check" in sys.argv[1:]:
        sys.exit(f"stale: {', '.join(stale)}; run protocol/make_documents.py")


if __name__ == "__main__":
    main()
