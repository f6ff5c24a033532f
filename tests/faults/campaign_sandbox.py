"""The real program in a sandbox: its bundle, its two kinds of target, and what must not change.

    WORK/box/bin, WORK/box/plugin       the program and its bundle
    WORK/box/obs                        the portable OBS folder
    WORK/box/outside                    bystanders: what a link that is followed would lead to
    WORK/program-data                   the program-data folder
    WORK/prefix                         Wine's prefix
"""

import collections
import os
import pathlib
import random
import select
import shutil
import subprocess
import tempfile
import time

import campaign_trees as trees  # before payload and platforms, which it lets be found
from payload import LIBRARY, MANIFEST, REQUIRED, manifest_of
from platforms import Host, Wine
from targets import PortableTarget, standard_target

REPOSITORY = pathlib.Path(__file__).resolve().parents[2]

BYSTANDER_FILES = 20
PATIENCE = 120  # seconds that no run can need, however busy the machine

Answer = collections.namedtuple("Answer", "code out err")


def plugin_copy(label, library_bytes=100_000, extra_files=1):
    """The files of a complete plugin. Two labels give copies that differ in every file."""
    files = {name: f"{label}: {name}\n".encode() for name in REQUIRED}
    files[LIBRARY] = random.Random(label).randbytes(library_bytes)
    for i in range(extra_files):
        files[f"data/extra/{i}.ini"] = f"{label}: {i}\n".encode()
    files[MANIFEST] = manifest_of(files)
    return files


def damaged(files):
    """A copy with half a library and one locale file less."""
    files = {name: content for name, content in files.items() if name != REQUIRED[-1]}
    files[LIBRARY] = files[LIBRARY][:len(files[LIBRARY]) // 2]
    return files


class Run:
    """One run of the program, started. It writes to files: Wine's services would keep a pipe open
    after it has ended."""

    def __init__(self, command, environment):
        self.out = tempfile.TemporaryFile()
        self.err = tempfile.TemporaryFile()
        self.started = time.monotonic()
        self.process = subprocess.Popen(command, env=environment, stdin=subprocess.DEVNULL,
                                        stdout=self.out, stderr=self.err)

    def finish(self):
        in_time = self.process.poll() is not None or self._ends_in_time()
        if not in_time:
            self.process.kill()
        code = self.process.wait()
        return Answer(code if in_time else "no end",
                      *(self._text(file) for file in (self.out, self.err)))

    def _ends_in_time(self):
        # Popen.wait with a timeout sleeps up to 50 ms too long.
        ended = os.pidfd_open(self.process.pid)
        try:
            return bool(select.select([ended], [], [], PATIENCE)[0])
        finally:
            os.close(ended)

    @staticmethod
    def _text(file):
        with file:
            file.seek(0)
            return file.read().decode(errors="replace").replace("\r\n", "\n")


class Installer:
    """The program with a bundle beside it."""

    def __init__(self, start_command, environment, program, folder, files):
        self.environment = environment
        self.program = folder / "bin" / program.name
        self.program.parent.mkdir(parents=True)
        shutil.copy(program, self.program)
        self.command = start_command(self.program)
        trees.write_files(folder / "plugin" / "k7k-obs-audio", files)
        self.process = self.seconds = None  # of the last run to the end

    def start(self, arguments, **environment):
        return Run([*self.command, *arguments], {**self.environment, **environment})

    def run(self, arguments, **environment):
        """Runs to the end. While some other test runs a process named obs64.exe, tries again."""
        for _ in range(PATIENCE * 10):
            run = self.start(arguments, **environment)
            answer = run.finish()
            self.process, self.seconds = run.process.pid, time.monotonic() - run.started
            if not saw_obs(answer):
                break
            time.sleep(0.1)
        return answer


def saw_obs(answer):
    return answer.code in (21, 41) and answer.err == "state=obs-running\n"


def _platform(name, work):
    if name == "host":
        return Host(work)
    template = os.environ.get("WINEPREFIX", REPOSITORY / "build" / "wine-prefix")
    return Wine(pathlib.Path(template).resolve(), work / "prefix")


class Sandbox:
    """The program, its bundle and both targets in one work folder."""

    def __init__(self, platform_name, program, work, bundle):
        work = pathlib.Path(work).resolve()
        trees.remove(work)
        self.work, self.box, self.program_data = work, work / "box", work / "program-data"
        self.program_data.mkdir(parents=True)
        self.platform = _platform(platform_name, work)
        self.environment = self.platform.environment(self.program_data)
        self.program = pathlib.Path(program).resolve()
        self.bundle = bundle
        self.installer = self._installer(self.box, bundle)
        self.make_bystander()
        self.targets = (standard_target(self.program_data),
                        PortableTarget(self.box / "obs", self.platform.native(self.box / "obs")))

    def _installer(self, folder, files):
        return Installer(self.platform.start_command, self.environment, self.program, folder, files)

    def make_bystander(self):
        trees.write_files(self.box / "outside",
                          plugin_copy("outside", 1000, extra_files=BYSTANDER_FILES))

    def second_installer(self, files):
        """The same program with another bundle."""
        return self._installer(self.box / "second", files)

    def outside(self, target):
        """Everything in the sandbox but the target's pieces and the private names beside them."""
        everything = {}
        for root in (self.box, self.program_data):
            for name, entry in trees.tree_of(root, target.leave_out).items():
                everything[f"{root}/{name}"] = entry
        return everything

    def changes_outside(self, target, before):
        """What has changed there; a parent of the target may have been made."""
        after = self.outside(target)
        for parent in target.parents:
            if str(parent) not in before and after.get(str(parent)) == trees.FOLDER:
                del after[str(parent)]
        return trees.differences(before, after)

    def close(self, keep):
        self.platform.close()
        if not keep:
            trees.remove(self.work)
