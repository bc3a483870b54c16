"""docs/predicates.md: every predicate has an entry with an example, the table is that of the command, and check runs have the
results of the examples.

    TAVIK=build/tools/tavik/tavik python3 tests/docs/predicates_page_test.py
"""

import functools
import json
import os
import pathlib
import re
import subprocess
import tempfile
import unittest

TAVIK = os.environ["TAVIK"]
PROJECT = pathlib.Path(__file__).resolve().parents[2]
PAGE = (PROJECT / "docs/predicates.md").read_text(encoding="utf-8")

RULE = "Example"
EXAMPLE = re.compile(r"^```json\n(.*?)^```$", re.MULTILINE | re.DOTALL)


def entries():
    """Predicate -> text of its entry, in the page's order."""
    parts = re.split(r"^###? (.*)$", PAGE, flags=re.MULTILINE)
    return {name: text for name, text in zip(parts[1::2], parts[2::2]) if f"\n### {name}\n" in PAGE}


def facts(entry):
    """The list in an entry: name ("attribute") -> text."""
    return dict(re.findall(r"^- ([a-z ]+): (.*(?:\n  .*)*)", entry, re.MULTILINE))


def table():
    """The table of predicates printed by the command."""
    return subprocess.run([TAVIK, "lint", "--print", "predicates"], capture_output=True, text=True, timeout=60, check=True).stdout


@functools.cache
def rows():
    """Predicate -> the other cells of its row in the table."""
    cells = [re.split(r" \| ", line.strip("| ")) for line in table().splitlines()[2:]]
    return {re.match(r"\[(\w+)\]\(#\w+\)", word)[1]: rest for word, *rest in cells}


def tavik(*arguments, folder=None):
    run = subprocess.run([TAVIK, *arguments, "--format", "json"], capture_output=True, text=True, cwd=folder, timeout=60, check=False)
    return run.returncode, json.loads(run.stdout)


def check(example):
    """Checks the example's device with its rule; returns the exit status and the outcome."""
    library = {"version": 1, RULE: example["rule"]}
    files = {"library": library, "rules": {"version": 1, "GenericRules": {RULE: {}}}, "device": example["device"]}
    files |= example.get("sources", {})
    with tempfile.TemporaryDirectory() as folder:
        for name, contents in files.items():
            pathlib.Path(folder, name).write_text(json.dumps(contents), encoding="utf-8")
        sources = [argument for name in example.get("sources", {}) for argument in ("--source", f"{name}={name}")]
        return tavik("check", "--unsigned", "--library", "library", "--rules", "rules", "--attributes", "device", *sources,
                     folder=folder)


class PredicatesPageTest(unittest.TestCase):
    maxDiff = None

    def test_every_predicate_has_one_entry(self):
        headings = re.findall(r"^### (.*)$", PAGE, re.MULTILINE)
        self.assertEqual(sorted(headings), sorted(rows()))
        self.assertGreater(len(headings), 30)

    def test_the_table_matches_the_command_and_the_entries(self):
        self.assertIn(f"\n\n{table()}\n", PAGE)
        said = {word: facts(entry) for word, entry in entries().items()}
        for word, (form, _, value, references, without) in rows().items():
            with self.subTest(word):
                self.assertTrue(said[word]["without a value"].replace("*", "").startswith(without.replace("*", "")))
                self.assertEqual(re.findall(r'"\w+"', references), re.findall(r'"\w+"', said[word].get("references", "")))
                self.assertEqual("references" in form, "references" in said[word])
                self.assertEqual("not used" in value, "not used" in said[word]["value"])

    def test_every_example(self):
        examples = [(word, json.loads(text)) for word, entry in entries().items() for text in EXAMPLE.findall(entry)]
        self.assertEqual({word for word, example in examples if word in example["rule"]["predicate"].split()}, set(rows()))
        for word, example in examples:
            with self.subTest(word, example=example):
                status, outcome = check(example)
                if "fault" in example:
                    self.assertEqual((status, outcome["records"], outcome["fault"]["kind"]), (3, None, example["fault"]))
                    continue
                record = {"rule": RULE} | example["record"]
                self.assertEqual(json.dumps(outcome["records"][3:]), json.dumps([record]))
                self.assertEqual(outcome["station"], example.get("station", {}))
                self.assertEqual(status, 0 if record["result"] else 1)


if __name__ == "__main__":
    unittest.main()
