"""Signing with a throw-away certificate."""

import json
import os
import subprocess

import pytest

from packages import NAME, OUTPUTS, PROGRAM, made_package, unpack, write_plugin
from payload import LIBRARY
from trees import take_tree

PASSWORD = "Türe 7"


@pytest.fixture(scope="module")
def keys(work):
    """A folder with a self-signed certificate, alone and with its key, and the key's password."""
    folder = work / "keys"
    folder.mkdir()
    (folder / "password").write_text(PASSWORD, encoding="utf-8")
    for command in (
            ["req", "-x509", "-newkey", "rsa:2048", "-nodes", "-keyout", "key.pem",
             "-out", "cert.pem", "-days", "2", "-subj", "/CN=Throw-away",
             "-addext", "extendedKeyUsage=codeSigning"],
            ["pkcs12", "-export", "-inkey", "key.pem", "-in", "cert.pem", "-out", "cert.p12",
             "-passout", "file:password"]):
        subprocess.run(["openssl", *command], cwd=folder, check=True, capture_output=True)
    return folder


@pytest.fixture(scope="module")
def signed(keys, library, work):
    """A signed package that replaced an older one, and the arguments that the signer got."""
    out = work / "signed"
    out.mkdir()
    (out / "notes.txt").write_bytes(b"kept")
    for name in OUTPUTS:
        (out / name).write_bytes(b"an older one")
    spy = work / "spy"
    spy.mkdir()
    (spy / "osslsigncode").write_text(
        f'#!/bin/sh\necho "$@" >>{spy}/arguments\nexec /usr/bin/osslsigncode "$@"\n')
    (spy / "osslsigncode").chmod(0o755)
    made_package(write_plugin(work / "to-sign", library), out, "--force",
                 "--sign", keys / "cert.p12",
                 K7K_SIGN_PASSWORD_FILE=os.path.relpath(keys / "password"),
                 PATH=f"{spy}:{os.environ['PATH']}")
    return out, (spy / "arguments").read_text(encoding="utf-8")


def test_force_replaces_the_three_files_and_nothing_else(signed):
    out, _ = signed
    assert {path.name for path in out.iterdir()} == OUTPUTS | {"notes.txt"}
    assert (out / "notes.txt").read_bytes() == b"kept"
    assert all((out / name).read_bytes() != b"an older one" for name in OUTPUTS)
    subprocess.run(["sha256sum", "--strict", "-c", "SHA256SUMS"], cwd=out, check=True)


@pytest.mark.parametrize("path", [PROGRAM, f"plugin/k7k-obs-audio/{LIBRARY}"])
def test_signature_verifies_and_a_changed_file_does_not(signed, keys, tmp_path, path):
    file = unpack(signed[0], tmp_path) / path
    verify = ["osslsigncode", "verify", "-CAfile", str(keys / "cert.pem"), "-in", str(file)]
    assert subprocess.run(verify, check=False, capture_output=True).returncode == 0
    content = bytearray(file.read_bytes())
    content[0x400] ^= 1
    file.write_bytes(content)
    assert subprocess.run(verify, check=False, capture_output=True).returncode != 0


def test_signed_package_is_valid_and_installs(signed, run_program, tmp_path):
    folder = unpack(signed[0], tmp_path / "unpacked")
    assert run_program(folder / PROGRAM, "--status-bundled")[0] == 0
    assert run_program(folder / PROGRAM, "--install-standard") == (0, "state=installed\n")
    assert take_tree(run_program.plugins / "k7k-obs-audio") == take_tree(
        folder / "plugin" / "k7k-obs-audio")


def test_readme_and_listing_say_signed(signed, tmp_path):
    sentence = ("The program and the plugin's library are signed, without a time stamp: "
                "the signatures count as long as the certificate.")
    folder = unpack(signed[0], tmp_path)
    assert sentence in (folder / "README.txt").read_text(encoding="ascii")
    listing = json.loads((signed[0] / f"{NAME}.spdx.json").read_bytes())
    assert listing["packages"][0]["comment"] == f"{sentence} No licence was chosen."


def test_password_is_no_argument(signed):
    assert signed[1].count("sign ") == 2
    assert PASSWORD not in signed[1]
