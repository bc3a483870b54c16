"""The manual pages: well-formed, whole, and with what `--help` tells."""

import pathlib
import re
import subprocess
import unittest

from support import TAVIK, CommandTest

PAGES = pathlib.Path(TAVIK).resolve().parent / "man"
SECTIONS = ["NAME", "SYNOPSIS", "DESCRIPTION", "OPTIONS", "EXIT STATUS", "EXAMPLES", "SEE ALSO"]


# What the help has of its own: headings, and marks beside an option.
ONLY_IN_HELP = {"Usage", "Options", "Positionals", "[OPTIONS]", "REQUIRED", "TEXT", "", "Exit", "status", "Example", "Examples"}


def words(text):
    """The words of a text, without the punctuation around them."""
    return {word.strip(".:;") for word in text.replace(",", " ").split()}


class ManualTest(CommandTest):
    def page(self, name):
        """The text of a page in one line, after a check of its form."""
        path = PAGES / f"{name}.1"
        lint = subprocess.run(["mandoc", "-T", "lint", "-W", "warning", path], capture_output=True, text=True, check=False)
        self.assertEqual((lint.returncode, lint.stdout), (0, ""))
        run = subprocess.run(["mandoc", "-T", "ascii", "-O", "width=200", path], capture_output=True, text=True, check=True)
        return re.sub(".\b", "", run.stdout)  # bold is a letter typed twice, underlined an underscore before it

    def sections(self, text):
        return re.findall(r"^([A-Z][A-Z ]+)$", text, re.MULTILINE)

    def test_a_page_for_each_command(self):
        commands = re.findall(r"^  ([a-z]+) +(.*)$", self.passes("--help").partition("Exit")[0], re.MULTILINE)
        overview = self.page("tavik")
        self.assertLessEqual(set(SECTIONS), set(self.sections(overview)))
        self.assertEqual({path.stem for path in PAGES.iterdir()}, {"tavik"} | {f"tavik-{name}" for name, _ in commands})
        for command, summary in commands:
            self.assertIn(f"tavik-{command}(1)", overview)
            self.assertIn(f" {summary}.\n", overview)

    def test_a_page_says_what_the_help_says(self):
        for path in sorted(PAGES.glob("tavik-*.1")):
            command = path.stem.removeprefix("tavik-")
            with self.subTest(command):
                page = self.page(path.stem)
                self.assertEqual(self.sections(page), SECTIONS)
                said = words(self.passes(command, "--help")) - ONLY_IN_HELP
                self.assertEqual({word for word in said - words(page) if "=" not in word}, set())
                examples = page.partition("\nEXAMPLES\n")[2].partition("\nSEE ALSO")[0]
                for example in examples.strip().splitlines():
                    self.assertTrue(example.strip().startswith(("tavik ", "|", "<", "SOURCE_DATE_EPOCH=")), example)
                    self.assertIn(example.strip(), self.passes(command, "--help"))


if __name__ == "__main__":
    unittest.main()
