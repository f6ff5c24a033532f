"""What the role asks of the release package, and of the program's answers.

What an exit code means, and whether another try can help, stands in protocol/protocol.json alone.
"""

import json
import sys
from pathlib import Path

sys.path.append(str(Path(__file__).resolve().parents[5] / "protocol"))
from protocol_data import DATA, answers_by_row

ROWS = answers_by_row()


def archive(package):
    """Path of the ZIP that the package's SHA256SUMS names."""
    folder = Path(package).resolve()
    lines = (folder / "SHA256SUMS").read_text(encoding="ascii").splitlines()
    return str(folder / next(line.split("  ")[1] for line in lines if line.endswith(".zip")))


def is_whole(found, place, package):
    """Whether the files found in a folder are those of the package, each unchanged, and no others.

    SHA-1, because it is the one digest that the package's list and the modules of every system
    have. It finds damage; SHA256SUMS holds the list itself.
    """
    listing = Path(archive(package)).with_suffix(".spdx.json")
    wanted = {entry["fileName"].removeprefix("./"): checksum["checksumValue"]
              for entry in json.loads(listing.read_text(encoding="utf-8"))["files"]
              for checksum in entry["checksums"] if checksum["algorithm"] == "SHA1"}
    return wanted == {file["path"][len(place) + 1:].replace("\\", "/"): file["checksum"]
                      for file in found}


def row_of(code, state, target):
    """The row of an answer of one of the target's commands; nothing for what is no answer."""
    for row, answer in ROWS.items():
        command, row_code = row.split()[:2]
        if command.endswith(f"-{target}") and (row_code, answer["state"]) == (str(code), state):
            return row
    return None


def can_help(row, detail):
    """Whether the same command again, later, can have another answer."""
    retry = ROWS[row].get("retry", "no")
    if retry == "by-detail":
        return any(entry["retry"] for entry in DATA["details"]
                   if row in entry["with"] and detail in entry["texts"])
    return retry == "yes"


def judge(result, target):
    """Outcome, state and detail of a task's result, and whether to try again.

    A task that did not run the program, or got no answer from it, has failed.
    """
    output = result.get("stdout", "") + "\n" + result.get("stderr", "")
    lines = dict(line.split("=", 1) for line in output.splitlines() if "=" in line)
    state, detail = lines.get("state", ""), lines.get("detail", "")
    row = row_of(result.get("rc"), state, target)
    if row is None:
        said = [*output.strip().splitlines(), result.get("msg", ""), "no answer"]
        return {"outcome": "failed", "state": "", "detail": next(filter(None, said)),
                "retry": False}
    return {"outcome": ROWS[row]["outcome"], "state": state, "detail": detail,
            "retry": can_help(row, detail)}


def summary(results):
    """Lines that tell how many hosts are in which state, and name those that are not done."""
    groups = {}
    for host, result in results.items():
        parts = (result.get(key, "") for key in ("outcome", "state", "detail"))
        groups.setdefault(", ".join(filter(None, parts)), []).append(host)
    lines = [f"{len(results)} hosts"]
    for text, hosts in sorted(groups.items(), key=lambda group: (-len(group[1]), group[0])):
        names = "" if text.startswith("done,") else f": {' '.join(sorted(hosts))}"
        lines.append(f"{len(hosts)} {text}{names}")
    return lines


class FilterModule:
    def filters(self):
        return {"k7k_archive": archive, "k7k_is_whole": is_whole, "k7k_judge": judge,
                "k7k_summary": summary}
