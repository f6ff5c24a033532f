"""A library of 64 MiB: it is installed like any other, and memory does not grow with it."""

import os
import subprocess

import pytest

from payload import (LIBRARY, LOCALES_BYTES, MANIFEST, MANIFEST_BYTES, manifest_of, payload,
                     write_files)
from sandbox import bundle_status, installed_tree, portable_installed_tree, status

SIZE = 64 << 20
ALLOWED_GROWTH = 4 << 10  # KiB, a sixteenth of the library


@pytest.fixture
def large(sandbox):
    """A sandbox whose bundle holds the large library."""
    files = {**payload("A"), LIBRARY: os.urandom(1 << 20) * 64}
    write_files(sandbox.bundle, {**files, MANIFEST: manifest_of(files)})
    sandbox.write_obs()
    return sandbox


@pytest.fixture
def small(make_sandbox):
    box = make_sandbox()
    box.write_bundle()
    box.write_obs()
    yield box
    box.remove()


@pytest.fixture
def peak_memory(programs, work):
    """Gives a function that runs the program and tells its peak of resident memory, in KiB."""
    answer = work / "peak"
    prefix = (programs.unix_program("peak_memory.c"), answer)

    def measure(box, *arguments):
        assert box.run(*arguments, prefix=prefix).code == 0
        return int(answer.read_text())

    return measure


def test_large_library_is_counted(large):
    assert large.run("--status-bundled") == bundle_status(
        "installed-valid", SIZE + LOCALES_BYTES + MANIFEST_BYTES, 0)


def test_large_library_is_installed_without_growing_memory(large, small, peak_memory):
    before = large.tree()
    peak = peak_memory(large, "--install-standard")
    assert large.tree() == installed_tree(before)
    assert peak - peak_memory(small, "--install-standard") < ALLOWED_GROWTH
    assert large.run("--status-standard") == status("installed-valid")


def test_large_library_is_installed_portably_without_growing_memory(large, small, peak_memory):
    before = large.tree()
    peak = peak_memory(large, "--install-portable", large.platform.native(large.obs))
    assert large.tree() == portable_installed_tree(before)
    assert peak - peak_memory(small, "--install-portable",
                              small.platform.native(small.obs)) < ALLOWED_GROWTH


def test_peak_memory_of_a_run_that_holds_the_file_shows_it(programs, work):
    """Without this, the test above could not fail."""
    command = ["/usr/bin/python3", "-c", f"bytes(b'x') * {SIZE}"]
    answer = work / "peak"
    subprocess.run([programs.unix_program("peak_memory.c"), answer, *command], check=True)
    held = int(answer.read_text())
    command[2] = "pass"
    subprocess.run([programs.unix_program("peak_memory.c"), answer, *command], check=True)
    assert held - int(answer.read_text()) > ALLOWED_GROWTH
