"""Markdown files: link targets exist, lines have at most 100 columns, and the subcommands and options of command lines exist.

    TAVIK=build/release/tools/tavik/tavik python3 tests/docs/markdown_test.py
"""

import functools
import os
import pathlib
import re
import subprocess
import unittest

PROJECT = pathlib.Path(__file__).resolve().parents[2]
FENCE = re.compile(r"^```.*?^```$", re.MULTILINE | re.DOTALL)


def pages():
    listed = subprocess.run(["git", "ls-files", "*.md"], cwd=PROJECT, capture_output=True, text=True, check=True).stdout
    return [PROJECT / name for name in listed.splitlines()]


def anchors(page):
    headings = re.findall(r"^#+ (.*)$", FENCE.sub("", page.read_text(encoding="utf-8")), re.MULTILINE)
    return {re.sub(r"[^\w\- ]", "", heading.lower()).replace(" ", "-") for heading in headings}


@functools.cache
def options(*words):
    """The options in the help of a subcommand; None for an unknown subcommand."""
    run = subprocess.run([os.environ["TAVIK"], *words, "--help"], capture_output=True, text=True, check=False)
    return set(re.findall(r"(?<![\w-])--?\w[\w-]*", run.stdout)) if run.returncode == 0 else None


class MarkdownTest(unittest.TestCase):
    def test_links(self):
        for page in pages():
            for target in re.findall(r"\]\(([^)\s]+)\)", FENCE.sub("", page.read_text(encoding="utf-8"))):
                if target.startswith(("http:", "https:")):
                    continue
                path, _, anchor = target.partition("#")
                file = (page.parent / path).resolve() if path else page
                with self.subTest(page=page.name, link=target):
                    self.assertTrue(file.exists())
                    if anchor:
                        self.assertIn(anchor, anchors(file))

    def test_width(self):
        for page in pages():
            text = FENCE.sub("", page.read_text(encoding="utf-8"))
            long_lines = [line for line in text.splitlines() if len(line) > 100 and not line.startswith(("|", "    ")) and "](" not in line]
            self.assertEqual(long_lines, [], page.name)

    def test_command_lines(self):
        seen = 0
        for page in pages():
            text = page.read_text(encoding="utf-8").replace("\\\n", " ")
            for line in re.findall(r"(?:^(?:    |\$ )|`|[;&] *)tavik ([a-z][^`|&;#>\n]*)", text, re.MULTILINE):
                words = re.sub(r"'[^']*'|\"[^\"]*\"", "TEXT", line).split()
                seen += 1
                with self.subTest(page=page.name, line=line):
                    known = set() if words[0] in ("help", "version") else options(words[0])
                    if known is not None and words[0] == "decode" and len(words) > 1:
                        known = known | (options(*words[:2]) or set())
                    self.assertIsNotNone(known, "no such subcommand")
                    given = {word.partition("=")[0] for word in words if re.match(r"--?[a-z]", word)}
                    self.assertLessEqual(given, known)
        self.assertGreater(seen, 100)


if __name__ == "__main__":
    unittest.main()
