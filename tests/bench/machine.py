"""What the machine is that the figures were measured on, without its name."""

import os
import re
import subprocess
from datetime import date
from pathlib import Path


def output(*command):
    return subprocess.run(command, stdout=subprocess.PIPE, check=True, text=True).stdout.strip()


def first(pattern, text):
    return re.search(pattern, text, re.MULTILINE)[1]


def describe_machine(folder):
    """Pairs of a title and what was read from the system; the folder is where the data lie."""
    cpu = Path("/proc/cpuinfo").read_text(encoding="utf-8")
    memory = Path("/proc/meminfo").read_text(encoding="utf-8")
    return {
        "Day": date.today().isoformat(),
        "Processor": f"{first('^model name[^:]*: (.*)', cpu)}, {os.cpu_count()} cores",
        "Memory": f"{int(first(r'^MemTotal: *([0-9]+)', memory)) / (1 << 20):.0f} GiB",
        "Kernel": "Linux " + first(r"^([0-9.]+)", os.uname().release),
        "File system": output("findmnt", "-no", "FSTYPE", "-T", str(folder)),
        "System": "Debian " + Path("/etc/debian_version").read_text(encoding="ascii").strip(),
        "Wine": first(r"wine-(\S+)", output("/usr/lib/wine/wine64", "--version")),
        "OpenSSL": first(r"^([0-9.]+)", output("dpkg-query", "-Wf", "${Version}", "libssl-dev")),
        "NSIS": output("makensis", "-VERSION").removeprefix("v"),
    }
