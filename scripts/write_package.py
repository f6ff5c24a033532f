#!/usr/bin/python3
"""Writes the release package of a folder: NAME.zip, NAME.spdx.json and SHA256SUMS beside them.

Everything written follows from the folder's files and the arguments alone. That is why the ZIP is
not made by CMake, which stores when each file was read and changed, and who owns it.
"""

import argparse
import hashlib
import json
import pathlib
import time
import zipfile

PROGRAM = "bin/K7KObsConnectorInstaller.exe"
ZIP_BEGINS = 315532800  # 1980-01-01, in seconds since 1970


def arguments():
    parser = argparse.ArgumentParser()
    parser.add_argument("folder", type=pathlib.Path)
    parser.add_argument("name", type=pathlib.Path, help="path of the files without their suffixes")
    parser.add_argument("--version", required=True)
    parser.add_argument("--signature", required=True, help="sentence on the files' signatures")
    parser.add_argument("--time", required=True, type=int, help="seconds since 1970")
    parser.add_argument("--linked", nargs="*", help="'package version' of what the program holds")
    return parser.parse_args()


def write_zip(path, files, moment):
    with zipfile.ZipFile(path, "w") as archive:
        for name, content in files.items():
            entry = zipfile.ZipInfo(name, moment[:6])
            entry.compress_type = zipfile.ZIP_DEFLATED
            entry.create_system = 3  # Unix, whose permissions follow
            entry.external_attr = 0o100644 << 16
            archive.writestr(entry, content)


def digest(algorithm, content):
    return hashlib.new(algorithm, content).hexdigest()


def checksums(content):
    # The format demands SHA-1 of each file.
    return [{"algorithm": name.upper(), "checksumValue": digest(name, content)}
            for name in ("sha1", "sha256")]


def relationship(element, kind, related):
    return {"spdxElementId": element, "relationshipType": kind, "relatedSpdxElement": related}


UNKNOWN_TERMS = {"licenseConcluded": "NOASSERTION", "copyrightText": "NOASSERTION"}


def package_entry(identifier, name, version, **more):
    return {"SPDXID": identifier, "name": name, "versionInfo": version,
            "downloadLocation": "NOASSERTION", "licenseDeclared": "NOASSERTION",
            **UNKNOWN_TERMS, **more}


def archive_entry(package, zipped, files, options):
    # The format's digest of a package's content: that of its files' sorted SHA-1 digests.
    file_digests = "".join(sorted(digest("sha1", content) for content in files.values()))
    return package_entry(
        "SPDXRef-Package", "k7k-obs-audio", options.version,
        packageFileName=f"{package}.zip",
        primaryPackagePurpose="INSTALL",
        filesAnalyzed=True,
        packageVerificationCode={
            "packageVerificationCodeValue": digest("sha1", file_digests.encode())},
        checksums=checksums(zipped),
        licenseInfoFromFiles=["NOASSERTION"],
        comment=f"{options.signature} No licence was chosen.")


def file_entry(identifier, name, content):
    return {"SPDXID": identifier, "fileName": f"./{name}", "checksums": checksums(content),
            "licenseInfoInFiles": ["NOASSERTION"], **UNKNOWN_TERMS}


def bill_of_materials(package, zipped, files, moment, options):
    identifiers = {name: f"SPDXRef-File-{number}" for number, name in enumerate(files, 1)}
    linked = [package_entry(f"SPDXRef-Linked-{number}", *text.split(" "), filesAnalyzed=False)
              for number, text in enumerate(options.linked, 1)]
    return {
        "spdxVersion": "SPDX-2.3",
        "dataLicense": "CC0-1.0",  # of this list itself; the format allows no other
        "SPDXID": "SPDXRef-DOCUMENT",
        "name": package,
        "documentNamespace": f"https://spdx.org/spdxdocs/{package}-{digest('sha256', zipped)}",
        "creationInfo": {
            "created": time.strftime("%Y-%m-%dT%H:%M:%SZ", moment),
            "creators": [f"Tool: K7KObsConnectorInstaller-package-{options.version}"],
        },
        "packages": [archive_entry(package, zipped, files, options), *linked],
        "files": [file_entry(identifiers[name], name, files[name]) for name in files],
        "relationships": [
            relationship("SPDXRef-DOCUMENT", "DESCRIBES", "SPDXRef-Package"),
            *(relationship("SPDXRef-Package", "CONTAINS", file) for file in identifiers.values()),
            *(relationship(identifiers[PROGRAM], "STATIC_LINK", entry["SPDXID"])
              for entry in linked),
        ],
    }


def main():
    options = arguments()
    moment = time.gmtime(max(options.time, ZIP_BEGINS))
    names = sorted(path.relative_to(options.folder).as_posix()
                   for path in options.folder.rglob("*") if path.is_file())
    files = {name: (options.folder / name).read_bytes() for name in names}

    package = options.name.name
    archive = options.name.with_name(package + ".zip")
    write_zip(archive, files, moment)
    bill = bill_of_materials(package, archive.read_bytes(), files, moment, options)
    listing = options.name.with_name(package + ".spdx.json")
    listing.write_bytes(json.dumps(bill, indent=2).encode() + b"\n")
    sums = "".join(f"{digest('sha256', path.read_bytes())}  {path.name}\n"
                   for path in (archive, listing))
    options.name.with_name("SHA256SUMS").write_bytes(sums.encode())


if __name__ == "__main__":
    main()
