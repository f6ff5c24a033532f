"""The two places where the program runs, and what differs between them.

A platform gives the command that starts a program, the environment it runs in, and the spelling of
a path as the program under test reads it.
"""

import os
import shutil
import subprocess
from pathlib import Path

REPOSITORY = Path(__file__).resolve().parents[2]


class Host:
    name = "host"
    suffix = ""

    def __init__(self, work):
        self.sandboxes = work

    def start_command(self, program):
        return [str(program)]

    def native(self, path):
        return str(path)

    def environment(self, program_data):
        return {**os.environ, "ProgramData": str(program_data)}

    def close(self):
        pass


class Wine:
    """Wine with a prefix of its own, so that runs side by side share no program data.

    The sandboxes lie on its drive C, where their paths are short: some of Wine's answers end at
    about 260 characters.
    """

    name = "wine"
    suffix = ".exe"

    def __init__(self, template, prefix):
        if not (template / "system.reg").exists():
            raise RuntimeError(f"there is no Wine prefix at {template}: make one with wineboot -i")
        self.prefix = prefix
        shutil.copytree(template, prefix, symlinks=True, copy_function=_share_or_copy)
        self._drive = prefix / "drive_c"
        self.sandboxes = self._drive / "t"
        self.sandboxes.mkdir()
        self._wineserver("-p60")  # seconds that it waits for the next run, should nobody stop it
        self.temporary = self._temporary_folder()

    def start_command(self, program):
        return [str(REPOSITORY / "scripts" / "wine"), str(program)]

    def native(self, path):
        if path.is_relative_to(self._drive):
            return "C:\\" + str(path.relative_to(self._drive)).replace("/", "\\")
        return "Z:" + str(path).replace("/", "\\")

    def environment(self, program_data):
        self.redirect(self._drive / "ProgramData", program_data)
        return self.base_environment()

    def redirect(self, folder, target):
        """Lets one of the prefix's folders be another; only the folder itself becomes a link."""
        if folder.is_symlink():
            if os.readlink(folder) == str(target):
                return
            folder.unlink()
        elif folder.exists():
            shutil.rmtree(folder)
        folder.symlink_to(target)

    def close(self):
        self._wineserver("-k")
        self._wineserver("-w")
        shutil.rmtree(self.prefix)

    def base_environment(self):
        # Arguments travel in the locale's encoding.
        return {**os.environ, "WINEPREFIX": str(self.prefix), "LC_ALL": "C.UTF-8"}

    def _wineserver(self, option):
        # The server outlives the call; it must not keep the caller's streams open.
        subprocess.run(["/usr/lib/wine/wineserver", option], env=self.base_environment(),
                       stdin=subprocess.DEVNULL, stdout=subprocess.DEVNULL,
                       stderr=subprocess.DEVNULL, check=False)

    def _temporary_folder(self):
        command = [*self.start_command("cmd"), "/c", "echo %TMP%"]
        shown = subprocess.run(command, env=self.base_environment(), stdout=subprocess.PIPE,
                               check=True, text=True).stdout.strip()
        assert shown.startswith("C:\\"), shown
        return self._drive / shown[3:].replace("\\", "/")


def _share_or_copy(source, target):
    # A prefix holds hundreds of megabytes that no run changes; only the registry is written.
    if source.endswith(".reg"):
        return shutil.copy2(source, target)
    try:
        os.link(source, target)
    except OSError:
        shutil.copy2(source, target)
    return target
