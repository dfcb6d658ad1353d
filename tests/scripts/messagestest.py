"""docs/operations.md lists every message that the service prints, and no other."""

import pathlib
import re
import unittest

ROOT = pathlib.Path(__file__).resolve().parents[2]
FOLDERS = [folder.name for folder in sorted((ROOT / "src").iterdir())]

# What writes to a channel, and what carries a text to where it is written.
PRINTS = (r"\b(?:qDebug\(\)?|q(?:Info|Warning|Critical|Fatal)\(|(?:std::)?(?:cerr|cout)\s*<<"
          r"|(?:debug|writeDebug|writeError)Line\(|fprintf\(|fputs\(|perror\()\s*(?:<<\s*)?")
CARRIES = (r"\b(?:const char \*const text =|rejection = QStringLiteral\(|rejectClient\([^;\"]*,"
           r"|announceSleeper\(registry,|translate\(\"QHttpServer\",)\s*")
# Statements that print without a text of their own: values, and texts from elsewhere.
ONLY_VALUES = {
    "announcement(address, typedPort)", "answer", "arguments", "details", "label << id", "line",
    "listing", "plan.arguments", "rejection.toUtf8()", "registry->keys()", "surviving", "text",
    "text << *reason", "text << page", "text << page << std::endl",
    "text << reason->toStdString() << std::endl", "text << std::endl",
    "text << toolPath", "text << toolPath.toStdString()", "text << toolPath.toStdString() << std::endl",
}

LITERAL = r'"((?:[^"\\]|\\.)*)"'


def sources():
    return {path.relative_to(ROOT): path.read_text(encoding="utf-8")
            for folder in FOLDERS for path in sorted((ROOT / "src" / folder).glob("*.cpp"))}


def statements(code):
    """What prints, up to the semicolon; literals may contain one. Not where such a function is defined."""
    return [statement for statement in
            (match.group() for match in re.finditer(rf"{PRINTS}(?:{LITERAL}|[^;\"])*;", code))
            if "{" not in re.sub(LITERAL, "", statement)]


def fixed_parts(literals):
    """What is between the values, without surrounding white space."""
    literals = [literal.replace(r'\"', '"') for literal in literals]
    parts = [part.strip() for literal in literals for part in re.split(r"%[a-z0-9]|\\n", literal)]
    return [part for part in parts if re.search(r"[A-Za-z]{3}", part)]


def messages(code):
    return fixed_parts([literal for statement in statements(code)
                        for literal in re.findall(LITERAL, statement)]
                       + re.findall(CARRIES + LITERAL, code))


class Messages(unittest.TestCase):
    page = (ROOT / "docs/operations.md").read_text(encoding="utf-8")

    def test_the_page_tells_of_each(self):
        found = 0
        for path, code in sources().items():
            for message in messages(code):
                found += 1
                with self.subTest(source=str(path), message=message):
                    self.assertTrue(message in self.page, "docs/operations.md does not have it")
        self.assertGreater(found, 70)

    def test_what_prints_has_its_text_beside_it_or_is_known(self):
        for path, code in sources().items():
            for statement in statements(code):
                if not fixed_parts(re.findall(LITERAL, statement)):
                    values = re.sub(rf"^{PRINTS}|;$", "", statement)
                    if values.count(")") > values.count("("):
                        values = values[:-1]
                    with self.subTest(source=str(path)):
                        self.assertIn(values, ONLY_VALUES, "where does its text stand?")

    def test_the_page_tells_of_no_other(self):
        printed = [message for code in sources().values() for message in messages(code)]
        tables = self.page[self.page.index("### At the start"):self.page.index("### From Qt")]
        rows = re.findall(r"^\| (`.*?) \|", tables, re.MULTILINE)
        self.assertGreater(len(rows), 30)
        for told in (message for row in rows for message in re.findall(r"`([^`]+)`", row)):
            with self.subTest(told=told):
                self.assertTrue(any(told.startswith(message) for message in printed))


if __name__ == "__main__":
    unittest.main()
