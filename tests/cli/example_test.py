"""The examples: the results of their devices, that the station's library uses every predicate, and that the devices are
what the scripts generate."""

import json
import pathlib
import plistlib
import re
import subprocess
import sys
import unittest

from support import FAILED, NO_VERDICT, PASSED, CommandTest

PROJECT = pathlib.Path(__file__).resolve().parents[2]
STATION, SCANNER = PROJECT / "examples" / "station", PROJECT / "examples" / "scanner"
LIBRARY, LOCAL_RULES = STATION / "rule-library.plist", STATION / "local-rules.plist"
VERSION_RECORDS = 3


class DevicesTest(CommandTest):
    def test_what_each_device_comes_to(self):
        for device, status, checked, failed in (
            ("device-good", PASSED, 49, 0),
            ("device-wrong", FAILED, 50, 17),
            ("device-incomplete", FAILED, 49, 9),
            ("device-unknown-region", NO_VERDICT, 1, 1),
        ):
            with self.subTest(device):
                folder = STATION / device
                (attributes,) = folder.glob("attributes.*")
                run = self.tavik("check", "--unsigned", "--library", LIBRARY, "--rules", LOCAL_RULES, "--attributes",
                                 attributes, "--source", f"sfc={folder}/sfc.json", "--source", f"gui={folder}/gui.json",
                                 "--format", "json")
                results = [record["result"] for record in json.loads(run.out)["records"][VERSION_RECORDS:]]
                self.assertEqual((run.status, len(results), results.count(False)), (status, checked, failed))

    def test_every_scanner_passes(self):
        self.assertEqual(self.tavik("batch", "--unsigned", "--library", SCANNER / "rule-library.json", "--rules",
                                    SCANNER / "local-rules.json", SCANNER / "devices.jsonl").status, PASSED)


class DocumentsTest(CommandTest):
    def setUp(self):
        super().setUp()
        self.library = plistlib.loads(LIBRARY.read_bytes())
        del self.library["version"]

    def test_the_library_names_every_predicate(self):
        predicates = set(re.findall(r"^\| \[(\w+)\]", self.tavik("lint", "--print", "predicates").out, re.MULTILINE))
        self.assertGreater(len(predicates), 30)
        words = {word for rule in self.library.values() for word in rule.get("predicate", "").split()}
        self.assertEqual(words - {"NOT", "AND", "OR"}, predicates)
        self.assertLessEqual({"NOT", "AND", "OR"}, words)


class MadeFilesTest(CommandTest):
    def test_the_devices_are_what_the_scripts_make(self):
        for example in (STATION, SCANNER):
            folder = self.folder / example.name
            folder.mkdir()
            subprocess.run([sys.executable, example / "make_devices.py", folder], check=True, timeout=120)
            made = [path.relative_to(folder) for path in folder.rglob("*") if path.is_file()]
            kept = [path.relative_to(example) for path in (*example.glob("device*/*"), example / "devices.jsonl")]
            self.assertEqual(sorted(made), sorted(kept))
            for name in made:
                self.assertTrue((folder / name).read_bytes() == (example / name).read_bytes(),
                                f"{example / name} is not what make_devices.py makes")


if __name__ == "__main__":
    unittest.main()
