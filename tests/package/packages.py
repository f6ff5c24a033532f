"""The demonstration's plugin, and the release package that is made of a plugin."""

import os
import shutil
import subprocess
import zipfile

from payload import LIBRARY, VERSION
from platforms import REPOSITORY

NAME = f"k7k-obs-audio-{VERSION}-windows-x64"
OUTPUTS = {f"{NAME}.zip", f"{NAME}.spdx.json", "SHA256SUMS"}
PROGRAM = "bin/K7KObsConnectorInstaller.exe"


def run_package(*arguments, clone=REPOSITORY, **environment):
    command = [str(clone / "scripts" / "package"), *map(str, arguments)]
    return subprocess.run(command, env={**os.environ, **environment}, stdin=subprocess.DEVNULL,
                          capture_output=True, text=True, timeout=300, check=False)


def made_package(*arguments, **options):
    made = run_package(*arguments, **options)
    assert (made.returncode, made.stderr) == (0, "")


def unpack(out, folder):
    with zipfile.ZipFile(out / f"{NAME}.zip") as archive:
        archive.extractall(folder)
    return folder


def compile_library(path):
    """The demonstration's plugin library."""
    subprocess.run(["x86_64-w64-mingw32-gcc-posix", "-O2", "-shared", "-s",
                    "-Wl,--no-insert-timestamp", "-o", str(path),
                    str(REPOSITORY / "demo" / "plugin.c")], check=True)
    return path


def write_plugin(folder, library):
    (folder / LIBRARY).parent.mkdir(parents=True)
    shutil.copy(library, folder / LIBRARY)
    shutil.copytree(REPOSITORY / "demo" / "locale", folder / "data" / "locale")
    return folder
