"""The SPDX listing: its shape, and that its digests are those of the archive's files."""

import hashlib
import json
import re
import zipfile

import pytest

from packages import NAME, PROGRAM
from payload import VERSION


@pytest.fixture
def listing(out):
    return json.loads((out / f"{NAME}.spdx.json").read_text(encoding="ascii"))


@pytest.fixture
def contents(out):
    with zipfile.ZipFile(out / f"{NAME}.zip") as archive:
        return {name: archive.read(name) for name in archive.namelist()}


def digests(content):
    return [{"algorithm": "SHA1", "checksumValue": hashlib.sha1(content).hexdigest()},
            {"algorithm": "SHA256", "checksumValue": hashlib.sha256(content).hexdigest()}]


def test_document_is_one_of_spdx_2_3(listing, out):
    archive = (out / f"{NAME}.zip").read_bytes()
    assert {key: value for key, value in listing.items()
            if key not in ("packages", "files", "relationships")} == {
        "spdxVersion": "SPDX-2.3",
        "dataLicense": "CC0-1.0",
        "SPDXID": "SPDXRef-DOCUMENT",
        "name": NAME,
        "documentNamespace":
            f"https://spdx.org/spdxdocs/{NAME}-{hashlib.sha256(archive).hexdigest()}",
        "creationInfo": {"created": "1980-01-01T00:00:00Z",
                         "creators": [f"Tool: K7KObsConnectorInstaller-package-{VERSION}"]},
    }


def test_package_is_the_archive(listing, out, contents):
    first = listing["packages"][0]
    sums = sorted(hashlib.sha1(content).hexdigest() for content in contents.values())
    assert first == {
        "SPDXID": "SPDXRef-Package",
        "name": "k7k-obs-audio",
        "versionInfo": VERSION,
        "packageFileName": f"{NAME}.zip",
        "downloadLocation": "NOASSERTION",
        "primaryPackagePurpose": "INSTALL",
        "filesAnalyzed": True,
        "packageVerificationCode": {
            "packageVerificationCodeValue": hashlib.sha1("".join(sums).encode()).hexdigest()},
        "checksums": digests((out / f"{NAME}.zip").read_bytes()),
        "licenseConcluded": "NOASSERTION",
        "licenseDeclared": "NOASSERTION",
        "licenseInfoFromFiles": ["NOASSERTION"],
        "copyrightText": "NOASSERTION",
        "comment": "Neither the program nor the plugin's library is signed. No licence was chosen.",
    }


def test_files_are_those_of_the_archive(listing, contents):
    for entry in listing["files"]:
        assert set(entry) == {"SPDXID", "fileName", "checksums", "licenseConcluded",
                              "licenseInfoInFiles", "copyrightText"}
        assert entry["licenseConcluded"] == entry["copyrightText"] == "NOASSERTION"
    assert {entry["fileName"]: entry["checksums"] for entry in listing["files"]} == {
        f"./{name}": digests(content) for name, content in contents.items()}


def test_program_holds_libraries_of_the_compilers_packages(listing):
    linked = listing["packages"][1:]
    assert [entry["name"] for entry in linked] == [
        "g++-mingw-w64-x86-64-posix", "gcc-mingw-w64-x86-64-posix", "mingw-w64-x86-64-dev"]
    for entry in linked:
        assert re.match(r"\d+\.\d+\.\d+-\d", entry["versionInfo"])
        assert entry["filesAnalyzed"] is False


def test_relations_name_what_is_there_once(listing):
    packages = [entry["SPDXID"] for entry in listing["packages"]]
    files = {entry["fileName"]: entry["SPDXID"] for entry in listing["files"]}
    identifiers = [*packages, *files.values()]
    assert len(set(identifiers)) == len(identifiers)
    assert all(re.fullmatch(r"SPDXRef-[a-zA-Z0-9.-]+", name) for name in identifiers)
    assert [tuple(relation.values()) for relation in listing["relationships"]] == [
        ("SPDXRef-DOCUMENT", "DESCRIBES", packages[0]),
        *((packages[0], "CONTAINS", file) for file in files.values()),
        *((files[f"./{PROGRAM}"], "STATIC_LINK", linked) for linked in packages[1:]),
    ]
