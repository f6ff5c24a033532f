"""One test's own folder with the program, its bundle and its targets, and runs of the program.

    <sandbox>/bin/K7KObsConnectorInstaller[.exe]
    <sandbox>/plugin/k7k-obs-audio                        the bundle
    <sandbox>/program-data/obs-studio/plugins             the standard plugins root
    <sandbox>/obs                                         a portable OBS folder, where a test asks
"""

import contextlib
import fcntl
import os
import shutil
import subprocess
from dataclasses import dataclass

import payload
import trees

BUNDLE = "plugin/k7k-obs-audio"
PLUGINS = "program-data/obs-studio/plugins"
PLUGIN = PLUGINS + "/k7k-obs-audio"

OBS_DLL_PARENT = "obs/obs-plugins/64bit"
OBS_DLL = OBS_DLL_PARENT + "/k7k-obs-audio.dll"
OBS_DATA_PARENT = "obs/data/obs-plugins"
OBS_DATA = OBS_DATA_PARENT + "/k7k-obs-audio"


@dataclass(frozen=True)
class Answer:
    """What a driver sees of a run: the exit code and the two streams."""

    code: int
    out: str = ""
    err: str = ""


def status(state, obs_running=0, detail=None):
    return Answer(0, f"state={state}\nobsRunning={obs_running}\n",
                  "" if detail is None else f"detail={detail}\n")


def failure(state, code, detail):
    return Answer(code, "", f"state={state}\ndetail={detail}\n")


def bundle_status(state, count, code, detail=None):
    """What --status-bundled answers."""
    return Answer(code, f"state={state}\nbytes={count}\n",
                  "" if detail is None else f"detail={detail}\n")


def unverified_bundle(detail):
    """On a bundle of payload.payload whose manifest is refused."""
    return bundle_status("installed-invalid", payload.FILES_BYTES, 2, detail)


VALID_BUNDLE = bundle_status("installed-valid", payload.VALID_BYTES, 0)
INSTALLED = Answer(0, "state=installed\n")
REMOVED = Answer(0, "state=removed\n")
NOT_INSTALLED = Answer(0, "state=not-installed\n")


class Sandbox:
    def __init__(self, platform, obs_gate, folder, place, program):
        """Makes the sandbox at a place below the folder, which is the test's own."""
        self.platform = platform
        self.obs_gate = obs_gate
        self.folder = folder
        self.root = root = folder / place
        self.program = root / "bin" / ("K7KObsConnectorInstaller" + platform.suffix)
        self.bundle = root / BUNDLE
        self.data = root / "program-data"
        self.plugins = root / PLUGINS
        self.plugin = root / PLUGIN
        self.obs = root / "obs"
        self.program.parent.mkdir(parents=True)
        shutil.copy2(program, self.program)
        self.data.mkdir()

    def start(self, *arguments, env=None, cwd=None, prefix=(), **options):
        """Starts the program without waiting; prefix is a command that starts it in its turn."""
        environment = self.platform.environment(self.data)
        for name, value in (env or {}).items():
            if value is None:
                environment.pop(name, None)
            else:
                environment[name] = value
        command = [*prefix, *self.platform.start_command(self.program), *arguments]
        return subprocess.Popen(command, env=environment, cwd=cwd or self.folder,
                                stdin=subprocess.DEVNULL, stdout=subprocess.PIPE,
                                stderr=subprocess.PIPE, **options)

    def run(self, *arguments, **options):
        with self.obs_gate.no_obs():
            process = self.start(*arguments, **options)
            return self.answer(process)

    def answer(self, process):
        try:
            out, err = process.communicate(timeout=120)
        except subprocess.TimeoutExpired:
            process.kill()
            process.communicate()
            raise
        return Answer(process.returncode, self._text(out), self._text(err))

    def portable(self, command, root=None, **options):
        """Runs a portable command on a folder, the sandbox's OBS folder unless told."""
        return self.run(command, self.platform.native(root or self.obs), **options)

    def remove(self):
        trees.remove_tree(self.folder)

    def tree(self):
        return trees.take_tree(self.root)

    @contextlib.contextmanager
    def unchanged(self):
        before = self.tree()
        yield
        assert self.tree() == before

    def write_bundle(self, fill="A", extra=None):
        payload.write_copy(self.bundle, fill, extra)

    def write_plugin(self, fill="A", extra=None):
        payload.write_copy(self.plugin, fill, extra)

    def write_obs(self, folder="obs", marker="portable_mode.txt"):
        """A portable OBS folder without the plugin; returns its path."""
        obs = self.root / folder
        payload.write_files(obs, {"bin/64bit/obs64.exe": b"fake-obs"})
        if marker:
            (obs / marker).write_bytes(b"")
        return obs

    def write_portable_plugin(self, fill="A", dll=True, data=True):
        """The plugin's pieces in the sandbox's OBS folder, as an install leaves them."""
        for path, content in payload.payload(fill).items():
            if path == payload.LIBRARY and dll:
                payload.write_files(self.root, {OBS_DLL: content})
            elif path != payload.LIBRARY and data:
                payload.write_files(self.root / OBS_DATA, {payload.below_data(path): content})

    def _text(self, stream):
        text = stream.decode("utf-8", "surrogateescape")
        # The C runtime of Windows writes both characters for a line's end.
        return text.replace("\r\n", "\n") if self.platform.name == "wine" else text


def installed_tree(before):
    """The tree after a standard install, from the tree before it."""
    return {**trees.without(before, PLUGIN), **trees.folders_to(PLUGINS),
            **trees.moved(before, BUNDLE, PLUGIN)}


def portable_installed_tree(before):
    """The tree after an install into the sandbox's OBS folder, from the tree before it."""
    return {**trees.without(before, OBS_DLL, OBS_DATA),
            **trees.folders_to(OBS_DLL_PARENT), **trees.folders_to(OBS_DATA_PARENT),
            **trees.moved(before, f"{BUNDLE}/{payload.LIBRARY}", OBS_DLL),
            **trees.moved(before, f"{BUNDLE}/data", OBS_DATA)}


class ObsGate:
    """Keeps runs apart from the tests that start a process named like OBS.

    Such a process is seen by every run on the machine, those of other workers and builds too.
    """

    def __init__(self, path):
        self._file = os.open(path, os.O_RDWR | os.O_CREAT | os.O_CLOEXEC, 0o666)
        self._held = False

    @contextlib.contextmanager
    def no_obs(self):
        if self._held:
            yield
            return
        with self._locked(shared=True):
            yield

    @contextlib.contextmanager
    def obs(self):
        with self._locked(shared=False):
            self._held = True
            try:
                yield
            finally:
                self._held = False

    @contextlib.contextmanager
    def _locked(self, shared):
        fcntl.flock(self._file, fcntl.LOCK_SH if shared else fcntl.LOCK_EX)
        try:
            yield
        finally:
            fcntl.flock(self._file, fcntl.LOCK_UN)
