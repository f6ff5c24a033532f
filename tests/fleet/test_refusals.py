"""What stops the role before it does harm."""

import hashlib

import pytest


@pytest.fixture
def archive(copied_package):
    path, = copied_package.glob("*.zip")
    return path


def write_sums(folder):
    files = [path for path in sorted(folder.iterdir()) if path.name != "SHA256SUMS"]
    (folder / "SHA256SUMS").write_text("".join(
        f"{hashlib.sha256(path.read_bytes()).hexdigest()}  {path.name}\n" for path in files))


def test_damaged_package_reaches_no_host(small_fleet, archive):
    archive.write_bytes(archive.read_bytes()[:-1] + b"x")
    before = small_fleet.trees()
    run = small_fleet.run()
    assert (run.code, run.counts) == (2, {})
    assert f"{archive.name}: FAILED" in run.output
    assert small_fleet.trees() == before


def test_unpacked_files_that_are_not_listed_are_not_run(small_fleet, copied_package):
    listing, = copied_package.glob("*.json")
    listing.write_text(listing.read_text().replace("./plugin/k7k-obs-audio/bin/", "./plugin/bin/"))
    write_sums(copied_package)
    run = small_fleet.run()
    assert (run.code, run.counts) == (
        2, {"failed, What was unpacked is not what the package's list says": 1})
    assert not (small_fleet.hosts[0].obs / "obs-plugins").exists()


def test_state_that_is_none_reaches_no_host(small_fleet):
    before = small_fleet.trees()
    run = small_fleet.run("-e", "k7k_state=abesnt")
    assert (run.code, run.counts) == (2, {})
    assert "value of k7k_state must be one of: present, absent, got: abesnt" in run.output
    assert small_fleet.trees() == before
