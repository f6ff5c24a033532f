"""The program's file itself: what it imports, asks for and carries, and what it never loads."""

import re
import shutil
import struct
import subprocess
from pathlib import Path

import pytest

import pe_file
from payload import VERSION
from sandbox import INSTALLED, REMOVED, VALID_BUNDLE, status

PLANTED = ("bcrypt", "shell32", "ole32", "version")


@pytest.fixture(scope="module")
def program(request):
    if request.config.getoption("platform") == "host":
        return None
    return pe_file.PeFile(Path(request.config.getoption("program")))


only_windows = pytest.mark.only("wine", "the host's program is no Windows file")


@only_windows
def test_file_is_a_64_bit_console_program(program):
    assert program.machine == pe_file.AMD64
    assert program.subsystem == pe_file.CONSOLE


@only_windows
def test_file_imports_the_kernel_and_the_c_runtime_alone(program):
    assert sorted(name.lower() for name in program.import_names()) == ["kernel32.dll", "msvcrt.dll"]
    assert not program.has_delayed_imports()


@only_windows
def test_file_lies_at_random_addresses_and_runs_no_data(program):
    wanted = pe_file.HIGH_ENTROPY_VA | pe_file.DYNAMIC_BASE | pe_file.NX_COMPATIBLE
    assert program.flags & wanted == wanted
    assert program.has_relocations()
    assert program.file_flags & pe_file.RELOCATIONS_STRIPPED == 0
    both = pe_file.SECTION_EXECUTE | pe_file.SECTION_WRITE
    assert [name for name, *_, flags in program.sections if flags & both == both] == []


@only_windows
def test_file_asks_for_no_rights_and_for_long_paths(program):
    manifest = re.sub(r"\s+", " ", program.resource(pe_file.RT_MANIFEST).decode())
    assert '<requestedExecutionLevel level="asInvoker" uiAccess="false"' in manifest
    assert manifest.count("requestedExecutionLevel") == 1
    assert f'name="K7KObsConnectorInstaller" version="{VERSION}"' in manifest
    assert re.search(r"<longPathAware [^>]*>true</longPathAware>", manifest)


@only_windows
def test_file_carries_its_version(program):
    version = program.resource(pe_file.RT_VERSION)
    assert "VS_VERSION_INFO".encode("utf-16-le") in version
    fixed = version.index(struct.pack("<I", 0xFEEF04BD))
    numbers = struct.unpack_from("<IIII", version, fixed + 8)
    major, minor, patch, tweak = map(int, VERSION.split("."))
    high, low = major << 16 | minor, patch << 16 | tweak
    assert numbers == (high, low, high, low)
    assert version.count(f"{VERSION}\0".encode("utf-16-le")) == 2


@only_windows
@pytest.mark.parametrize("name", PLANTED)
def test_library_planted_beside_a_careless_program_is_loaded(sandbox, programs, name):
    """The trap itself works: without this, the next test could not fail."""
    marker = plant(sandbox, programs)[f"{name} in bin"]
    sandbox.program = sandbox.root / "bin" / "careless.exe"
    shutil.copy2(programs.windows_program("load_library_win.c"), sandbox.program)
    assert sandbox.run(f"{name}.dll", env=NATIVE_FIRST).code == 0
    assert marker.exists()


@only_windows
def test_libraries_planted_beside_the_program_are_not_loaded(sandbox, programs):
    markers = plant(sandbox, programs)
    sandbox.write_bundle()
    sandbox.write_obs()
    options = {"env": NATIVE_FIRST}
    assert sandbox.run("--write-bundled-manifest", **options).code == 0
    assert sandbox.run("--status-bundled", **options) == VALID_BUNDLE
    assert sandbox.run("--install-standard", **options) == INSTALLED
    assert sandbox.run("--status-standard", **options) == status("installed-valid")
    assert sandbox.run("--remove-standard", **options) == REMOVED
    assert sandbox.portable("--install-portable", **options) == INSTALLED
    assert sandbox.portable("--status-portable", **options) == status("installed-valid")
    assert sandbox.portable("--remove-portable", **options) == REMOVED
    assert sandbox.run("--self-test", **options).code == 0
    assert sandbox.run(**options).code == 64
    assert [name for name, marker in markers.items() if marker.exists()] == []


NATIVE_FIRST = {"WINEDLLOVERRIDES": ",".join(PLANTED) + "=n,b"}


def plant(sandbox, programs):
    """Puts the libraries beside the program, and in the current folder; gives their markers."""
    library = programs.windows_library("planted_library_win.c")
    for name in PLANTED:
        shutil.copy2(library, sandbox.root / "bin" / f"{name}.dll")
        shutil.copy2(library, sandbox.folder / f"{name}.dll")
    return {f"{name} in {folder.name}": folder / f"{name}.dll.loaded"
            for name in PLANTED for folder in (sandbox.root / "bin", sandbox.folder)}


@pytest.mark.only("host", "the Windows program's imports are read from its file")
def test_host_program_links_no_more_than_the_runtime_and_libcrypto(request):
    # What the program itself names; what those libraries need in their turn is Debian's affair.
    listed = subprocess.run(["objdump", "-p", request.config.getoption("program")], check=True,
                            text=True, stdout=subprocess.PIPE).stdout
    names = set(re.findall(r"NEEDED +(.+)\.so", listed))
    assert {"libcrypto", "libc"} <= names
    assert names <= {"libcrypto", "libstdc++", "libm", "libgcc_s", "libc", "libasan", "libubsan"}
