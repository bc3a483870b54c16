"""`tavik describe`: the three descriptions, their faults, and inputs that are none."""

import json
import plistlib
import unittest

from support import FAULT, PASSED, CommandTest


class DescribeTest(CommandTest):
    def describe(self, kind, attribute, value, *options):
        run = self.tavik("describe", kind, "--attribute", attribute, "--value", value, *options)
        return run.status, run.out, run.err

    def test_json(self):
        device = '{"SerialNumber": "C8PK123KQ2", "TotalDiskCapacity": 64035676160}'
        self.file("list.plist", plistlib.dumps(["A", "B"]))
        cases = (
            ("value-in-list", '"B"', "@list.plist", '"B"', '"among A,B"'),
            ("nand-size", device, '{"KQ2": 64}', '"CCC=KQ2; NAND size=64"', "64"),
            ("nvram-white-list", '{"b": 1, "a": 2}', '"any"', '"actual keys: (\\n    b,\\n    a\\n)"', '"allowed keys: any"'),
        )
        for kind, attribute, value, actual, expected in cases:
            with self.subTest(kind, value=value):
                self.assertEqual(self.describe(kind, attribute, value, "--format", "json"),
                                 (PASSED, f'{{"actual": {actual}, "expected": {expected}}}\n', ""))

    def test_table(self):
        self.assertEqual(self.describe("value-in-list", '"a\\nb"', '["A"]'),
                         (PASSED, "actual      a\\nb\nexpected    among A\n", ""))

    def test_faults(self):
        status, out, err = self.describe("nand-size", '{"SerialNumber": "AB"}', "{}", "--format", "json")
        fault = json.loads(out)["fault"]
        self.assertEqual((status, fault["kind"], err), (FAULT, "range", f"tavik: describe: nand-size: fault: {fault['message']}\n"))
        self.assertEqual(self.describe("nand-size", '{"SerialNumber": "AB"}', "{}")[:2], (FAULT, ""))


if __name__ == "__main__":
    unittest.main()
