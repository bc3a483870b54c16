"""Runs the commands on the pages for rule authors and station engineers with the files on the page, and compares the output.

    TAVIK=build/release/tools/tavik/tavik python3 tests/docs/rule_documents_page_test.py
    UPDATE=1 TAVIK=... python3 tests/docs/rule_documents_page_test.py       # writes the output to the pages
"""

import os
import pathlib
import re
import subprocess
import tempfile
import unittest

DOCS = pathlib.Path(__file__).resolve().parents[2] / "docs"
PAGES = ("reviewing-rules.md", "rule-documents.md", "testing-rules.md", "rule-author.md", "rolling-out.md", "station-engineer.md",
         "trust.md")
BLOCK = re.compile(r"^```(\w+)\n(.*?)^```$", re.MULTILINE | re.DOTALL)


def documents(page):
    """File name -> contents: blocks that are not commands are the files named in the text, in the same order."""
    contents = [text for kind, text in BLOCK.findall(page) if kind != "console"]
    names = list(dict.fromkeys(re.findall(r"`([\w-]+\.(?:plist|jsonl?))`", BLOCK.sub("", page))))
    return dict(zip(names, contents, strict=True))


def commands(page):
    """The "$ command" lines of the page, each with its output."""
    for kind, text in BLOCK.findall(page):
        if kind == "console":
            yield from re.findall(r"^\$ (.*)\n((?:(?!\$ ).*\n)*)", text, re.MULTILINE)


class RuleDocumentsPageTest(unittest.TestCase):
    maxDiff = None

    def test_output_on_the_pages(self):
        for name in PAGES:
            page = (DOCS / name).read_text(encoding="utf-8")
            path = f"{pathlib.Path(os.environ['TAVIK']).resolve().parent}:{os.environ['PATH']}"
            with tempfile.TemporaryDirectory() as folder:
                for file, contents in documents(page).items():
                    pathlib.Path(folder, file).write_text(contents, encoding="utf-8")
                for command, output in commands(page):
                    with self.subTest(page=name, command=command):
                        run = subprocess.run(command, shell=True, cwd=folder, env=os.environ | {"PATH": path}, text=True,
                                             timeout=60, stdout=subprocess.PIPE, stderr=subprocess.STDOUT, check=False)
                        if "UPDATE" in os.environ:
                            page = page.replace(f"$ {command}\n{output}", f"$ {command}\n{run.stdout}")
                            (DOCS / name).write_text(page, encoding="utf-8")
                        else:
                            self.assertEqual(run.stdout, output)


if __name__ == "__main__":
    unittest.main()
