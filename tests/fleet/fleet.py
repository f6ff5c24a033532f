"""A fleet of sandboxes, the places where their programs run, and runs of Ansible over them."""

import contextlib
import json
import os
import re
import resource
import subprocess
import time
from dataclasses import dataclass
from pathlib import Path

import platforms
from hosts import PROGRAMS, Host
from platforms import REPOSITORY
from programs import Programs

SITE = REPOSITORY / "deploy" / "ansible" / "site.yml"
RECAP = re.compile(r"^(\S+)\s+: ok=\d+\s+changed=(\d+)\s+unreachable=\d+\s+failed=(\d+)",
                   re.MULTILINE)


class HostPlace:
    """Programs of Linux. OBS is played, since a process of its name would be seen by every host."""

    has_windows_tasks = False

    def __init__(self, work):
        self._work = work

    def launcher(self, host):
        return ["env", f"ProgramData={host.data}"]

    def native(self, path):
        return str(path)

    def run_obs(self, host):
        """Lets OBS run on a host; gives the command that closes it."""
        running = self._work / f"obs-on-{host.name}"
        running.touch()
        host.launch_by(PROGRAMS / "plays_obs", running)
        return f"rm '{running}'"

    def close(self):
        pass


class WinePlace:
    """Windows programs, in Wines that see no process of one another.

    Half of the hosts get the tasks for Windows; the folder "collections" has stand-ins for their
    modules, which need Windows.
    """

    has_windows_tasks = True

    def __init__(self, work):
        self._work = work
        template = os.environ.get("WINEPREFIX", str(REPOSITORY / "build" / "wine-prefix"))
        self._template = Path(template).resolve()
        self._wines = {}
        self._programs = None
        self._obs = []

    def launcher(self, host):
        # Hosts whose target is no place of Wine's can share one.
        name = "portable" if host.portable else host.name
        if name not in self._wines:
            self._wines[name] = platforms.Wine(self._template, self._work / f"wine-{name}")
        wine = self._wines[name]
        wine.environment(host.data)
        # By the temporary folder, too, Wine finds its running server.
        return ["env", "--unset=TMPDIR", f"WINEPREFIX={wine.prefix}", *wine.start_command("")[:-1]]

    def native(self, path):
        return "Z:" + str(path).replace("/", "\\")

    def run_obs(self, host):
        wine = self._wines[host.name]
        self._programs = self._programs or Programs(wine, self._work / "programs")
        folder = self._work / f"obs-on-{host.name}"
        folder.mkdir()
        executable = folder / "obs64.exe"
        os.link(self._programs.windows_program("hold_open_win.c"), executable)
        command = ["env", "--unset=TMPDIR", *wine.start_command(executable)]
        process = subprocess.Popen(command, env=wine.base_environment(), stdin=subprocess.PIPE,
                                   stdout=subprocess.PIPE)
        self._obs.append(process)
        line = process.stdout.readline().strip()
        assert line == b"ready", line
        return f"kill {process.pid}"

    def close(self):
        for process in self._obs:
            with contextlib.suppress(BrokenPipeError):
                process.stdin.close()
            process.wait(timeout=60)
            process.stdout.close()
        for wine in self._wines.values():
            wine.close()


@dataclass(frozen=True)
class Run:
    code: int
    changed: dict  # for each host how many tasks changed something
    failed: set  # hosts
    summary: dict  # for each host that the summary names its text
    counts: dict  # for each text the number of hosts
    seconds: int
    cpu_seconds: int  # of Ansible, its modules and the programs
    output: str


class Fleet:
    def __init__(self, place, package, layout, work, kinds):
        """Makes a host of each of these kinds; layout holds what the package's ZIP does."""
        self.place = place
        self.layout = layout
        self.folder = work / "hosts"
        self._work = work
        self._package = package
        for folder in ("home", "tmp"):
            (work / folder).mkdir()
        self.temporary = work / "tmp"
        self._config = work / "ansible.cfg"
        self._config.touch()
        self.hosts = [Host(self, f"pc{number:02}-{kind.name}", kind,
                           place.has_windows_tasks and number % 2 == 0)
                      for number, kind in enumerate(kinds, 1)]
        self._inventory = work / "inventory.yml"
        self._write_inventory()

    def _write_inventory(self):
        variables = {"ansible_connection": "local", "k7k_retries": 2, "k7k_delay": 1,
                     "ansible_python_interpreter": "/usr/bin/python3",
                     "k7k_package": str(self._package)}
        hosts = {host.name: host.variables for host in self.hosts}
        # JSON is YAML.
        self._inventory.write_text(json.dumps({"obs": {"vars": variables, "hosts": hosts}}))

    def trees(self):
        return {host.name: host.tree() for host in self.hosts}

    def run(self, *arguments):
        begin, cpu_begin = time.monotonic(), self._cpu_seconds()
        done = subprocess.run(
            ["/usr/bin/ansible-playbook", "-i", str(self._inventory), str(SITE), *arguments],
            env=self.environment(), cwd=self._work, stdin=subprocess.DEVNULL,
            stdout=subprocess.PIPE, stderr=subprocess.STDOUT, text=True, timeout=1800, check=False)
        seconds = round(time.monotonic() - begin)
        cpu_seconds = round(self._cpu_seconds() - cpu_begin)
        with open(self._work / "ansible.log", "a", encoding="utf-8") as log:
            log.write(done.stdout)
        recap = RECAP.findall(done.stdout)
        counts, named = self._summary(done.stdout)
        return Run(done.returncode, {host: int(changed) for host, changed, _ in recap},
                   {host for host, _, failed in recap if failed != "0"}, named, counts, seconds,
                   cpu_seconds, done.stdout)

    @staticmethod
    def _cpu_seconds():
        used = resource.getrusage(resource.RUSAGE_CHILDREN)
        return used.ru_utime + used.ru_stime

    @staticmethod
    def _summary(output):
        found = re.search(r"^TASK \[Summary\].*?=> (\{.*?^\})", output, re.MULTILINE | re.DOTALL)
        counts, named = {}, {}
        for line in json.loads(found[1])["msg"][1:] if found else []:
            count, rest = line.split(" ", 1)
            text, _, names = rest.rpartition(": ")
            text = text or rest
            counts[text] = int(count)
            named.update({name: text for name in names.split()} if text != rest else {})
        return counts, named

    def environment(self):
        kept = {name: value for name, value in os.environ.items()
                if not name.startswith(("ANSIBLE_", "LC_", "LANG"))}
        collections = Path(__file__).parent / "collections"
        return {**kept, "HOME": str(self._work / "home"), "TMPDIR": str(self.temporary),
                "LC_ALL": "C.UTF-8", "PYTHONDONTWRITEBYTECODE": "1", "ANSIBLE_NOCOLOR": "1",
                "ANSIBLE_CONFIG": str(self._config), "ANSIBLE_COLLECTIONS_PATH": str(collections),
                "ANSIBLE_PIPELINING": "1", "ANSIBLE_FORKS": "4"}
