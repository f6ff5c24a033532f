"""Small programs that the tests compile: they hold files open, pose as OBS, or plant libraries."""

import contextlib
import os
import shutil
import subprocess
import time
from pathlib import Path

SOURCES = Path(__file__).resolve().parent / "programs"
WINDOWS_COMPILER = "x86_64-w64-mingw32-gcc"


def wait_for_name(process, name):
    """Waits until the system calls the process so, which it does not yet when Popen returns."""
    end = time.monotonic() + 30
    while Path(f"/proc/{process}/comm").read_text(encoding="utf-8") != name + "\n":
        assert time.monotonic() < end
        time.sleep(0.001)


class Programs:
    def __init__(self, platform, folder):
        self._platform = platform
        self.on_wine = platform.name == "wine"
        self._folder = folder
        self._folder.mkdir()

    def windows_program(self, source):
        return self._compiled(source, source[:-2] + ".exe", [WINDOWS_COMPILER, "-municode"])

    def windows_library(self, source):
        return self._compiled(source, source[:-2] + ".dll", [WINDOWS_COMPILER, "-shared"])

    def unix_program(self, source):
        return self._compiled(source, source[:-2], ["gcc"])

    def preloaded(self, source):
        """The environment in which a host program finds this library's functions first."""
        library = self._compiled(source, source[:-2] + ".so", ["gcc", "-shared", "-fPIC"])
        # The sanitizers' runtime must accept a library before itself.
        options = os.environ.get("ASAN_OPTIONS", "") + ":verify_asan_link_order=0"
        return {"LD_PRELOAD": str(library), "ASAN_OPTIONS": options}

    @contextlib.contextmanager
    def held_open(self, path, sharing):
        """Holds a file or folder open under Wine; sharing is "read", "none" or "all".

        "all" is what a virus scanner does: it may delete the file itself and shares everything.
        Gives a function that lets go; the end of the block lets go too.
        """
        holder = self.windows_program("hold_open_win.c")
        native = self._platform.native(path)
        with self._waiting([*self._platform.start_command(holder), native, sharing]) as let_go:
            yield let_go

    @contextlib.contextmanager
    def process_named(self, name, folder):
        """Runs a process whose executable has the given name."""
        folder.mkdir()
        executable = folder / name
        if self.on_wine:
            shutil.copy2(self.windows_program("hold_open_win.c"), executable)
            with self._waiting(self._platform.start_command(executable)):
                yield
        else:
            shutil.copy2("/bin/sleep", executable)
            process = subprocess.Popen([executable, "120"])
            try:
                wait_for_name(process.pid, name)
                yield
            finally:
                process.kill()
                process.wait()
        shutil.rmtree(folder)

    @contextlib.contextmanager
    def _waiting(self, command):
        process = subprocess.Popen(command, env=self._platform.base_environment(),
                                   stdin=subprocess.PIPE, stdout=subprocess.PIPE)

        def let_go():
            process.stdin.close()
            process.wait(timeout=60)

        try:
            line = process.stdout.readline().strip()
            assert line == b"ready", line
            yield let_go
        finally:
            if not process.stdin.closed:
                let_go()
            process.stdout.close()

    def _compiled(self, source, name, compiler):
        target = self._folder / name
        if not target.exists():
            subprocess.run([*compiler, "-Wall", "-Wextra", "-Werror", "-O1", "-o", target,
                            SOURCES / source], check=True)
        return target
