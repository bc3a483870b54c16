"""The example station: what each of its devices comes to, that its library names every predicate, and that its devices are
what their script makes."""

import json
import pathlib
import plistlib
import re
import subprocess
import sys
import unittest

from support import FAILED, NO_VERDICT, PASSED, CommandTest

PROJECT = pathlib.Path(__file__).resolve().parents[2]
STATION = PROJECT / "examples" / "station"
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
    def test_the_devices_are_what_the_script_makes(self):
        subprocess.run([sys.executable, STATION / "make_devices.py", self.folder], check=True, timeout=120)
        made = [path.relative_to(self.folder) for path in self.folder.rglob("*") if path.is_file()]
        kept = [path.relative_to(STATION) for path in STATION.glob("device*/*")] + [pathlib.Path("devices.jsonl")]
        self.assertEqual(sorted(made), sorted(kept))
        for name in made:
            self.assertTrue((self.folder / name).read_bytes() == (STATION / name).read_bytes(),
                            f"examples/station/{name} is not what make_devices.py makes")


if __name__ == "__main__":
    unittest.main()
