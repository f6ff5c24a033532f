"""What is measured: the bundles, the two places where programs run, and who does each command."""

import os
import random
import shutil
import subprocess
from dataclasses import dataclass
from pathlib import Path

REPOSITORY = Path(__file__).resolve().parents[2]
WORK = REPOSITORY / "build" / "bench"
HERE = Path(__file__).resolve().parent
LIBRARY = "bin/64bit/k7k-obs-audio.dll"
PLUGIN = "k7k-obs-audio"

KIB, MIB = 1 << 10, 1 << 20

STANDARD = ("--status-bundled", "--write-bundled-manifest", "--status-standard",
            "--install-standard", "--remove-standard")
PORTABLE = ("--status-portable", "--install-portable", "--remove-portable")
# Enough to tell how the cost grows; all eight would take most of an hour at the largest size.
FEW = ("--status-bundled", "--install-standard", "--remove-standard")


@dataclass(frozen=True)
class Case:
    """A bundle with a library of some bytes and some files more than it needs."""

    name: str
    library: int
    commands: tuple
    extra: int = 0

    @property
    def folder(self):
        return WORK / "case"

    @property
    def bundle(self):
        return self.folder / "plugin" / PLUGIN

    @property
    def obs(self):
        return self.folder / "obs"


CASES = (
    Case("32 KiB", 32 * KIB, STANDARD + PORTABLE),
    Case("1 MiB", MIB, STANDARD + PORTABLE),
    Case("64 MiB", 64 * MIB, STANDARD + PORTABLE),
    Case("512 MiB", 512 * MIB, FEW),
    Case("1,000 files", 32 * KIB, ("--status-standard", *FEW[1:]), 1000),
    Case("10,000 files", 32 * KIB, ("--status-standard", *FEW[1:]), 10000),
)


class Host:
    name = "host"
    suffix = ""
    start = ()
    plugins = WORK / "ProgramData" / "obs-studio" / "plugins"
    environment = {**os.environ, "ProgramData": str(WORK / "ProgramData")}

    def spell(self, path):
        return str(path)


class Wine:
    name = "Wine"
    suffix = ".exe"
    start = (REPOSITORY / "scripts" / "wine",)
    plugins = WORK / "prefix" / "drive_c" / "ProgramData" / "obs-studio" / "plugins"
    environment = os.environ

    def spell(self, path):
        return "Z:" + str(path).replace("/", "\\")


PLACES = (Host(), Wine())


def write_library(path, size):
    """Bytes of four bits of chance each, so that they compress to about half, as code does."""
    numbers = random.Random(size)
    table = bytes(value & 0xF0 for value in range(256))
    with path.open("wb") as library:
        for done in range(0, size, MIB):
            library.write(numbers.randbytes(min(MIB, size - done)).translate(table))


def lay_out(case):
    """Makes the case's folder: both programs, the bundle, a portable OBS, NSIS's installers."""
    shutil.rmtree(case.folder, ignore_errors=True)
    (case.folder / "bin").mkdir(parents=True)
    for preset, suffix in (("release-host", ""), ("release", ".exe")):
        program = "K7KObsConnectorInstaller" + suffix
        shutil.copy2(REPOSITORY / "build" / preset / "bin" / program, case.folder / "bin")
    library = case.bundle / LIBRARY
    library.parent.mkdir(parents=True)
    write_library(library, case.library)
    shutil.copytree(REPOSITORY / "demo" / "locale", case.bundle / "data" / "locale")
    for number in range(case.extra):
        extra = case.bundle / "data" / "extra" / f"{number // 100:02}" / f"{number % 100:02}.txt"
        extra.parent.mkdir(parents=True, exist_ok=True)
        extra.write_text(f"file {number}\n", encoding="ascii")
    subprocess.run([case.folder / "bin" / "K7KObsConnectorInstaller", "--write-bundled-manifest"],
                   stdout=subprocess.DEVNULL, check=True)
    executable = case.obs / "bin" / "64bit" / "obs64.exe"
    executable.parent.mkdir(parents=True)
    executable.write_text("stands in for OBS", encoding="ascii")
    (case.obs / "portable_mode.txt").touch()
    if not case.extra:
        make_installer(case, "NSIS stored", ["-XSetCompress off"])
        make_installer(case, "NSIS", [])  # compresses with zlib unless it is told


def make_installer(case, name, options):
    target = f"C:\\ProgramData\\obs-studio\\plugins\\{PLUGIN}"
    subprocess.run(["makensis", "-V1", f"-DBUNDLE={case.bundle}", f"-DTARGET={target}",
                    f"-DOUTPUT={case.folder / name}.exe", *options,
                    HERE / "installer.nsi"], check=True)


def pieces(place, case, command):
    """The plugin's pieces in the target of a command, each with what it is a copy of."""
    if command in PORTABLE:
        return {case.obs / "obs-plugins" / "64bit" / Path(LIBRARY).name: case.bundle / LIBRARY,
                case.obs / "data" / "obs-plugins" / PLUGIN: case.bundle / "data"}
    return {place.plugins / PLUGIN: case.bundle}


def contestants(place, case, command):
    """The command lines that do one command's work, by name."""
    target = place.spell(case.obs if command in PORTABLE else place.plugins)
    program = case.folder / "bin" / ("K7KObsConnectorInstaller" + place.suffix)
    arguments = [command, target] if command in PORTABLE else [command]
    found = {"program": [*place.start, program, *arguments]}
    if case.extra:
        return found
    found["floor"] = [*place.start, WORK / ("floor" + place.suffix), command,
                      place.spell(case.bundle), target]
    if place.name == "host" and command in STANDARD:
        found["shell"] = [HERE / "transaction.sh", command, case.bundle, target]
    if place.name == "Wine" and command == "--install-standard":
        for name in ("NSIS stored", "NSIS"):
            found[name] = [*place.start, case.folder / f"{name}.exe", "/S"]
    if place.name == "Wine" and command == "--remove-standard":
        # Without the last argument it would copy itself elsewhere, start the copy and end.
        found["NSIS"] = [*place.start, case.folder / "uninstall.exe", "/S",
                         "_?=" + place.spell(case.folder)]
    return found
