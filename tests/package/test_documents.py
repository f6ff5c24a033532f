"""What the documents point to is there, in the tree and in the archive."""

import re
import zipfile

import pytest

from packages import NAME
from payload import VERSION
from platforms import REPOSITORY

PAGES = [*sorted(REPOSITORY.glob("*.md")), *sorted((REPOSITORY / "docs").glob("*.md"))]


def linked(text):
    return [link for link in re.findall(r"\]\(([^)#]+)", text) if "://" not in link]


@pytest.mark.parametrize("page", PAGES, ids=lambda page: page.name)
def test_links_lead_somewhere(page):
    for link in linked(page.read_text(encoding="utf-8")):
        assert (page.parent / link).exists(), link


def test_links_of_the_archives_pages_lead_to_one_another(out):
    with zipfile.ZipFile(out / f"{NAME}.zip") as archive:
        pages = {name.removeprefix("docs/"): archive.read(name).decode()
                 for name in archive.namelist() if name.startswith("docs/")}
    for page, text in pages.items():
        assert set(linked(text)) <= set(pages), page


def test_security_names_tests_that_are_there():
    named = re.findall(r"`(tests/[^`]+)`", (REPOSITORY / "SECURITY.md").read_text(encoding="utf-8"))
    assert len(named) > 10
    for path in named:
        assert (REPOSITORY / path).is_file(), path


def test_changes_tell_of_this_version():
    assert f"\n## {VERSION}\n" in (REPOSITORY / "CHANGELOG.md").read_text(encoding="utf-8")
