"""What scripts/package refuses: one line on standard error, exit code 1, and nothing written."""

import os
import struct

import pytest

from packages import NAME, OUTPUTS, run_package
from payload import EXTRA_LOCALE, LIBRARY, LOCALES, REQUIRED

PE_HEADER = 0x3C  # where the library's file says that its header begins


def expect_refusal(out, line, *arguments, **environment):
    made = run_package(*arguments, **environment)
    assert (made.returncode, made.stdout, made.stderr) == (1, "", f"package: {line}\n")
    assert not out.exists()


def patch_header(library, offset, value):
    content = bytearray(library.read_bytes())
    header, = struct.unpack_from("<I", content, PE_HEADER)
    struct.pack_into("<H", content, header + offset, value)
    library.write_bytes(content)


@pytest.mark.parametrize("path", REQUIRED)
def test_plugin_without_a_required_file(plugin, tmp_path, path):
    (plugin / path).unlink()
    expect_refusal(tmp_path / "out", f"{plugin} has no {path}", plugin, tmp_path / "out")


@pytest.mark.parametrize("path", [LIBRARY, LOCALES[2], EXTRA_LOCALE])
def test_plugin_with_an_empty_file(plugin, tmp_path, path):
    (plugin / path).write_bytes(b"")
    expect_refusal(tmp_path / "out", f"{plugin}/{path} is empty", plugin, tmp_path / "out")


@pytest.mark.parametrize("path", [LIBRARY, LOCALES[0], "data/locale", "data/more"])
def test_plugin_with_a_link(plugin, tmp_path, path):
    link = plugin / path
    if link.exists():
        link.rename(tmp_path / "elsewhere")
    link.symlink_to(tmp_path / "elsewhere")
    expect_refusal(tmp_path / "out", f"{link} is a link or another thing that is no plain file",
                   plugin, tmp_path / "out")


def test_plugin_folder_that_is_a_link(plugin, tmp_path):
    link = tmp_path / "link"
    link.symlink_to(plugin)
    expect_refusal(tmp_path / "out", f"{link} is a link or another thing that is no plain file",
                   f"{link}/", tmp_path / "out")


def test_plugin_with_a_pipe(plugin, tmp_path):
    os.mkfifo(plugin / "data" / "pipe")
    expect_refusal(tmp_path / "out",
                   f"{plugin}/data/pipe is a link or another thing that is no plain file",
                   plugin, tmp_path / "out")


@pytest.mark.parametrize("path", ["manifest.sha256", "bin/64bit/k7k-obs-audio.pdb",
                                  "data/locale/notes.txt"])
def test_plugin_with_a_file_that_is_no_part_of_it(plugin, tmp_path, path):
    (plugin / path).write_bytes(b"x")
    expect_refusal(tmp_path / "out",
                   f"{plugin}/{path} is neither the plugin's library nor a locale file",
                   plugin, tmp_path / "out")


# Offsets in the header: machine 4, flags 22, kind of program 24.
@pytest.mark.parametrize("offset, value", [(4, 0x014C), (4, 0xAA64), (22, 0x0022), (24, 0x010B)],
                         ids=["32-bit", "another machine", "no DLL", "32-bit form"])
def test_library_for_something_else(plugin, tmp_path, offset, value):
    patch_header(plugin / LIBRARY, offset, value)
    expect_refusal(tmp_path / "out", f"{plugin}/{LIBRARY} is no 64-bit Windows DLL",
                   plugin, tmp_path / "out")


@pytest.mark.parametrize("content", [b"x", b"MZ", b"stands in for the plugin" * 10,
                                     b"MZ" + b"\xff" * 100],
                         ids=["short", "header cut off", "text", "header out of reach"])
def test_library_that_is_no_program(plugin, tmp_path, content):
    (plugin / LIBRARY).write_bytes(content)
    expect_refusal(tmp_path / "out", f"{plugin}/{LIBRARY} is no 64-bit Windows DLL",
                   plugin, tmp_path / "out")


def test_plugin_folder_that_is_not_there(tmp_path):
    expect_refusal(tmp_path / "out", f"there is no folder {tmp_path}/plugin",
                   tmp_path / "plugin", tmp_path / "out")


@pytest.mark.parametrize("arguments", [[], ["plugin"], ["plugin", "out", "more"]])
def test_wrong_number_of_folders(tmp_path, arguments):
    expect_refusal(tmp_path / "out",
                   "usage: scripts/package PLUGIN_DIR OUT_DIR [--sign CERT.p12] [--force]",
                   *(tmp_path / argument for argument in arguments))


def test_out_that_is_a_file(plugin, tmp_path):
    (tmp_path / "out").write_bytes(b"kept")
    made = run_package(plugin, tmp_path / "out", "--force")
    assert (made.returncode, made.stderr) == (1, f"package: {tmp_path}/out is no folder\n")
    assert (tmp_path / "out").read_bytes() == b"kept"


@pytest.mark.parametrize("name", sorted(OUTPUTS))
def test_out_that_holds_one_of_the_files(plugin, tmp_path, name):
    out = tmp_path / "out"
    out.mkdir()
    (out / name).write_bytes(b"kept")
    made = run_package(plugin, out)
    assert (made.returncode, made.stderr) == (
        1, f"package: {out}/{name} is there already; --force replaces it\n")
    assert [(path.name, path.read_bytes()) for path in out.iterdir()] == [(name, b"kept")]


def test_certificate_that_is_not_there(plugin, tmp_path):
    expect_refusal(tmp_path / "out", f"there is no certificate {tmp_path}/cert.p12",
                   plugin, tmp_path / "out", "--sign", tmp_path / "cert.p12")


@pytest.mark.parametrize("password_file", ["", "missing"])
def test_certificate_without_a_password_file(plugin, tmp_path, password_file):
    certificate = tmp_path / "cert.p12"
    certificate.write_bytes(b"x")
    expect_refusal(tmp_path / "out",
                   "K7K_SIGN_PASSWORD_FILE must name the file with the password of "
                   f"{certificate}",
                   plugin, tmp_path / "out", "--sign", certificate,
                   K7K_SIGN_PASSWORD_FILE=password_file)


def test_program_that_refuses_leaves_what_was_there(plugin, tmp_path):
    """Signing fails when everything before it has succeeded."""
    out = tmp_path / "out"
    out.mkdir()
    (out / f"{NAME}.zip").write_bytes(b"kept")
    certificate = tmp_path / "cert.p12"
    certificate.write_bytes(b"no certificate")
    made = run_package(plugin, out, "--force", "--sign", certificate,
                       K7K_SIGN_PASSWORD_FILE=str(certificate))
    assert made.returncode == 1
    assert made.stderr.startswith(f"package: could not sign k7k-obs-audio.dll with {certificate}: ")
    assert made.stderr.count("\n") == 1
    assert [(path.name, path.read_bytes()) for path in out.iterdir()] == [
        (f"{NAME}.zip", b"kept")]
    assert [path.name for path in tmp_path.iterdir() if path.name.startswith("out")] == ["out"]
