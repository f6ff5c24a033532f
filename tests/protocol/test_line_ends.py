"""The bytes at the end of each line, on both streams: "\\r\\n" from Windows, "\\n" else."""

import pytest

import test_usage

USAGE = test_usage.USAGE.err.rstrip("\n").encode()


def streams(box, *arguments):
    """What a run wrote, byte for byte."""
    with box.obs_gate.no_obs():
        return box.start(*arguments).communicate(timeout=120)


@pytest.fixture
def end(platform):
    return b"\r\n" if platform.name == "wine" else b"\n"


def test_answer_and_its_detail(sandbox, end):
    sandbox.bundle.mkdir(parents=True)
    assert streams(sandbox, "--status-bundled") == (
        b"state=installed-invalid" + end + b"bytes=0" + end,
        b"detail=Bundle is missing a required plugin file" + end)


def test_status(sandbox, end):
    assert streams(sandbox, "--status-standard") == (
        b"state=not-installed" + end + b"obsRunning=0" + end, b"")


def test_failure(sandbox, end):
    sandbox.bundle.mkdir(parents=True)
    assert streams(sandbox, "--install-standard") == (
        b"",
        b"state=install-failed" + end + b"detail=Bundle is missing a required plugin file" + end)


def test_success(sandbox, end):
    assert streams(sandbox, "--remove-standard") == (b"state=not-installed" + end, b"")


def test_usage(sandbox, end):
    assert streams(sandbox) == (b"", USAGE + end)


def test_self_test(sandbox, end):
    assert streams(sandbox, "--self-test") == (
        b"K7K OBS connector installer self-test: passed (0)" + end, b"")
