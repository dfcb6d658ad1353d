"""documentstest.py BUILD_FOLDER: what the pages name exists, in the sources and as installed."""

import os
import pathlib
import re
import subprocess
import sys
import tempfile
import unittest
import urllib.parse

ROOT = pathlib.Path(__file__).resolve().parents[2]
BUILD = pathlib.Path(sys.argv.pop(1))

LINK = re.compile(r"\]\(([^()\s]+)\)")
# A file of ours in backticks; build results and patterns are not checked.
NAMED = re.compile(r"`((?:scripts|docs|deploy|examples|bench|tests|console|sampletool)/[\w./-]*\w)[`\s]")


def without_blocks(text: str) -> str:
    return re.sub(r"^```.*?^```$", "", text, flags=re.M | re.S)


def anchors_of(text: str) -> set:
    """As the usual viewers derive them from headings."""
    headings = re.findall(r"^#+ (.*)$", without_blocks(text), re.M)
    return {re.sub(r"[^\w -]", "", heading.lower()).replace(" ", "-") for heading in headings}


def dead_links(page: pathlib.Path) -> list:
    text = page.read_text(encoding="utf-8")
    dead = []
    for link in LINK.findall(without_blocks(text)):
        address = urllib.parse.urlsplit(link)
        if address.scheme:
            continue
        target = page.parent / address.path if address.path else page
        if not target.exists():
            dead.append(link)
        elif address.fragment and target.suffix == ".md" \
                and address.fragment not in anchors_of(target.read_text(encoding="utf-8")):
            dead.append(link)
    return dead


def pages_of_the_tree() -> list:
    return [*ROOT.glob("*.md"), *ROOT.glob("docs/*.md")]


class Documents(unittest.TestCase):
    def assert_no_dead_links(self, pages: list) -> int:
        dead = {page.name: dead_links(page) for page in pages}
        self.assertEqual({name: links for name, links in dead.items() if links}, {})
        return sum(len(LINK.findall(page.read_text(encoding="utf-8"))) for page in pages)

    def test_links_in_the_sources_lead_somewhere(self):
        self.assertGreater(self.assert_no_dead_links(pages_of_the_tree()), 50)

    def test_files_that_are_named_are_there(self):
        missing = {f"{page.name}: {name}" for page in pages_of_the_tree() if page.name != "CHANGELOG.md"
                   for name in NAMED.findall(page.read_text(encoding="utf-8"))
                   # Installed, the examples include those in deploy/.
                   if not (ROOT / name).exists() and not (ROOT / "deploy" / pathlib.Path(name).name).exists()}
        self.assertEqual(missing, set())

    def test_build_folders_are_named_after_presets(self):
        presets = set(re.findall(r'"name": "(\w+)"', (ROOT / "CMakePresets.json").read_text()))
        for page in pages_of_the_tree():
            for name in re.findall(r"\bbuild/(\w+)/(?:app|sampletool)/", page.read_text(encoding="utf-8")):
                self.assertIn(name, presets, page.name)

    def test_links_in_installed_pages_lead_somewhere(self):
        with tempfile.TemporaryDirectory() as place:
            for component in ("server", "sample"):
                subprocess.run(["cmake", "--install", BUILD, "--component", component],
                               env={**os.environ, "DESTDIR": place}, check=True, capture_output=True)
            pages = list(pathlib.Path(place).glob("**/doc/vond-*/*.md"))
            self.assertIn("README.md", [page.name for page in pages])
            self.assertIn("sample-tool.md", [page.name for page in pages])
            self.assertGreater(self.assert_no_dead_links(pages), 20)
            shown = [page.name for page in pages if "![" in page.read_text(encoding="utf-8")]
            self.assertEqual(shown, [], "pictures are not installed")

    def test_the_page_of_the_interface_is_current(self):
        check = subprocess.run([ROOT / "docs/make-interface-page", "--check"], capture_output=True, text=True)
        self.assertEqual(check.stderr, "")
        self.assertEqual(check.returncode, 0)


if __name__ == "__main__":
    unittest.main()
