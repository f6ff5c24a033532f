"""What the emitters of all languages share."""

import textwrap

WIDTH = 100


def quoted(value):
    """A literal of Python, JavaScript, C++ and C#, for ASCII text."""
    return '"' + value.replace("\\", "\\\\").replace('"', '\\"') + '"'


def row(head, items, tail):
    """The items between head and tail, on as many lines as they need."""
    line = head + ", ".join(items) + tail
    if len(line) <= WIDTH:
        return [line]
    indent = " " * (len(head) - len(head.lstrip()) + 4)
    head = head.rstrip()
    lines = [head]
    for number, item in enumerate(items):
        end = "," if number + 1 < len(items) else tail
        if lines[-1] != head and len(lines[-1]) + len(item) + 1 + len(end) <= WIDTH:
            lines[-1] += " " + item + end
        else:
            lines.append(indent + item + end)
    return lines


def comment(prefix, meaning):
    return textwrap.wrap(meaning, WIDTH, initial_indent=prefix, subsequent_indent=prefix,
                         break_on_hyphens=False)
