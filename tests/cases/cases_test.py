"""Runs the cases in *.json through `tavik eval`: expression and values in, the record out.

    TAVIK=build/tools/tavik/tavik python3 tests/cases/cases_test.py

A case is an object of "expression", "attribute", "value" and "references" (optional), "record", and "why" for the reader. For a
fault, "record" is {"fault": {"kind": ..., "message": part of it}}.
"""

import json
import os
import pathlib
import subprocess
import unittest

TAVIK = os.environ["TAVIK"]
CASES = pathlib.Path(__file__).parent


def evaluate(case):
    command = [TAVIK, "eval", "--format", "json", "--attribute", json.dumps(case["attribute"])]
    for name in ("value", "references"):
        if name in case:
            command += [f"--{name}", json.dumps(case[name])]
    run = subprocess.run(command + ["--", case["expression"]], capture_output=True, text=True, timeout=60, check=False)
    return run.returncode, json.loads(run.stdout)


class CasesTest(unittest.TestCase):
    def expect_fault(self, status, actual, expected):
        self.assertEqual((status, list(actual), actual["fault"]["kind"]), (3, ["fault"], expected["kind"]))
        self.assertIn(expected["message"], actual["fault"]["message"])

    def expect_record(self, status, actual, expected):
        self.assertEqual(actual, expected)
        # Equality does not tell 5, 5.0 and true apart.
        self.assertEqual(json.dumps(actual, sort_keys=True), json.dumps(expected, sort_keys=True))
        self.assertEqual(status, 0 if expected["result"] else 1)

    def test_every_case(self):
        files = sorted(CASES.glob("*.json"))
        self.assertTrue(files)
        for file in files:
            for case in json.loads(file.read_text(encoding="utf-8")):
                with self.subTest(file=file.name, **case):
                    status, actual = evaluate(case)
                    if "fault" in case["record"]:
                        self.expect_fault(status, actual, case["record"]["fault"])
                    else:
                        self.expect_record(status, actual, case["record"])


if __name__ == "__main__":
    unittest.main()
