"""The sandboxes that stand for the hosts of a fleet, and what is to become of each.

    <host>/Program Files/K7K OBS Connector        the package
    <host>/program-data/obs-studio/plugins        the standard target
    <host>/obs                                    the root of a portable OBS
"""

import shutil
from dataclasses import dataclass
from pathlib import Path

import payload
from sandbox import BUNDLE, PLUGINS
from trees import FOLDER, below, moved, take_tree

PROGRAMS = Path(__file__).resolve().parent / "programs"
PACKAGE = "Program Files/K7K OBS Connector"
RUNS = ("check", "present", "present again", "absent", "absent again")

VALID = "done, installed-valid"
ABSENT = "done, not-installed"
NEW = "would-change, not-installed"
DAMAGED = "would-change, installed-invalid, Bundle file hash does not match manifest"
DAMAGED_PORTABLE = ("would-change, installed-invalid, Portable OBS plugin files are incomplete or "
                    "differ from the bundled connector")
BUSY = "busy, obs-running"
REFUSED = "refused, target-invalid, The selected OBS folder is not marked for portable mode"
INJECTED = "refused, target-unavailable, {{ lookup('pipe', 'touch %s') }}"
NOT_STARTED = "failed, "
UNREACHABLE = "unreachable"

# What each run is to say of a host, and in which of the runs something on it changes.
INSTALLS = ((NEW, VALID, VALID, ABSENT, ABSENT), {"check", "present", "absent"})
REPAIRS = ((DAMAGED, VALID, VALID, ABSENT, ABSENT), {"check", "present", "absent"})
STAYS = ((VALID, VALID, VALID, ABSENT, ABSENT), {"absent"})
MENDS_PACKAGE = ((VALID, VALID, VALID, ABSENT, ABSENT), {"check", "present", "absent"})


def always(text, changes):
    return (text,) * len(RUNS), changes


class Host:
    def __init__(self, fleet, name, kind, windows_tasks):
        self.name = name
        self.kind = kind
        self.place = fleet.place
        self.layout = fleet.layout  # the unpacked package
        self.root = fleet.folder / name
        self.package = self.root / PACKAGE
        self.base = self.package.parent
        self.data = self.root / "program-data"
        self.obs = self.root / "obs"
        for folder in (self.base, self.data):
            folder.mkdir(parents=True)
        self.portable = "portable" in kind.name
        self.variables = {"k7k_base": str(self.base), "k7k_launcher": self.place.launcher(self)}
        if windows_tasks:
            self.variables.update(k7k_system="windows", k7k_base=self.place.native(self.base))
        if self.portable:
            self.variables["k7k_obs_root"] = self.place.native(self.obs)
            payload.write_files(self.obs, {"bin/64bit/obs64.exe": b"fake-obs"})
            if "unmarked" not in kind.name:
                (self.obs / "portable_mode.txt").write_bytes(b"")
        kind.prepare(self)

    def launch_by(self, *words):
        self.variables["k7k_launcher"] = [*map(str, words), *self.variables["k7k_launcher"]]

    def write_package(self):
        shutil.copytree(self.layout, self.package)

    def write_plugin(self):
        bundle = self.layout / BUNDLE
        if not self.portable:
            shutil.copytree(bundle, self.root / PLUGINS / "k7k-obs-audio")
            return
        library = self.obs / "obs-plugins" / "64bit"
        library.mkdir(parents=True)
        shutil.copy(bundle / payload.LIBRARY, library)
        shutil.copytree(bundle / "data", self.obs / "data" / "obs-plugins" / "k7k-obs-audio")

    def tree(self):
        return take_tree(self.root)

    def with_package(self, tree):
        """Whether this tree of the host has the package in its place, and exactly that."""
        wanted = {f"{PACKAGE}/{path}": entry for path, entry in take_tree(self.layout).items()}
        return below(tree, PACKAGE) == {PACKAGE: FOLDER, **wanted}

    def with_plugin(self, tree):
        """Whether this tree's target holds exactly the package's plugin, and nothing private."""
        layout = take_tree(self.layout)
        if not self.portable:
            return below(tree, PLUGINS) == {PLUGINS: FOLDER,
                                            **moved(layout, BUNDLE, f"{PLUGINS}/k7k-obs-audio")}
        library, data = "obs/obs-plugins/64bit", "obs/data/obs-plugins"
        return {**below(tree, library), **below(tree, data)} == {
            library: FOLDER, data: FOLDER,
            **moved(layout, f"{BUNDLE}/{payload.LIBRARY}", f"{library}/k7k-obs-audio.dll"),
            **moved(layout, f"{BUNDLE}/data", f"{data}/k7k-obs-audio")}


def clean(tree):
    """Whether the tree has neither package nor plugin."""
    return not any(PACKAGE in path or "k7k-obs-audio" in path for path in tree)


def nothing(host):
    pass


def installed(host):
    host.write_package()
    host.write_plugin()


def damaged(host):
    installed(host)
    locale, = (path for path in host.root.rglob("ja-JP.ini")
               if host.package not in path.parents)
    locale.write_bytes(b"damaged")


def without_program(host):
    installed(host)
    (host.package / "bin" / "K7KObsConnectorInstaller.exe").unlink()


def damaged_package(host):
    installed(host)
    (host.package / "plugin" / "k7k-obs-audio" / payload.LIBRARY).write_bytes(b"damaged")
    (host.package / "from-before.txt").write_bytes(b"x")


def obs_runs(host):
    damaged(host)
    host.place.run_obs(host)


def obs_gets_closed(host):
    host.write_package()
    host.launch_by(PROGRAMS / "closes_obs", host.place.run_obs(host))


def no_starter(host):
    host.variables["k7k_launcher"] = [str(host.root / "no-such-starter")]


def unreachable(host):
    host.variables.update(ansible_connection="ssh", ansible_host="127.0.0.1", ansible_port=1)


def injects(host):
    host.launch_by(PROGRAMS / "injects", host.root / "injected")


@dataclass(frozen=True)
class Kind:
    name: str
    prepare: callable
    expected: tuple

    @property
    def ends_well(self):
        return self.expected[0][1] == VALID

    def text(self, run, host):
        text = self.expected[0][RUNS.index(run)]
        return text % (host.root / "injected") if "%s" in text else text

    def changes(self, run):
        return run in self.expected[1]


PACKAGE_COMES = {"check", "present"}

CLEAN_PORTABLE = Kind("clean-portable", nothing, INSTALLS)

# The first three make one batch in which no host ends well.
EACH_KIND = (
    Kind("obs-runs", obs_runs, ((DAMAGED, BUSY, BUSY, BUSY, BUSY), {"check"})),
    Kind("unmarked-portable", nothing, always(REFUSED, PACKAGE_COMES)),
    Kind("no-starter", no_starter, always(NOT_STARTED, PACKAGE_COMES)),
    Kind("unreachable", unreachable, always(UNREACHABLE, set())),
    Kind("obs-gets-closed", obs_gets_closed, INSTALLS),
    Kind("clean", nothing, INSTALLS),
    Kind("damaged-portable", damaged, ((DAMAGED_PORTABLE, *REPAIRS[0][1:]), REPAIRS[1])),
    Kind("without-program", without_program, MENDS_PACKAGE),
)
MORE_KINDS = (
    Kind("injects", injects, always(INJECTED, PACKAGE_COMES)),
    Kind("damaged", damaged, REPAIRS),
    Kind("damaged-package", damaged_package, MENDS_PACKAGE),
    Kind("installed", installed, STAYS),
    Kind("installed-portable", installed, STAYS),
    CLEAN_PORTABLE,
)


def kinds_of_fleet(size):
    """So many kinds, each at least once, and most of them of those that end well."""
    kinds = [*EACH_KIND, *MORE_KINDS]
    usual = [kind for kind in kinds if kind.ends_well]
    return kinds + [usual[number % len(usual)] for number in range(size - len(kinds))]
