"""`tavik test`: what a case file may say, how it is judged and refused, and the cases of the example product."""

import json
import pathlib
import subprocess
import unittest

import jsonschema
from support import FAILED, NO_VERDICT, PASSED, UNUSABLE, CommandTest, cases

PROJECT = pathlib.Path(__file__).resolve().parents[2]
EXAMPLE = PROJECT / "examples/station/rule-tests.json"
CASES = cases("rule-tests")
SCHEMA = json.loads((PROJECT / "docs/rule-tests.schema.json").read_text(encoding="utf-8"))

LIBRARY = {
    "version": "1",
    "Model": {"attribute": "ModelNumber", "predicate": "hasPrefix", "value": "HN"},
    "Storage": {"attribute": "Bytes", "predicate": "nandSizeCheck", "value": 64},
    "Color": {"attribute": "Color", "predicate": "valueInList", "value": ["sand"]},
    "Build": {"attribute": "Build", "predicate": "equalLong", "references": [{"source": "sfc", "attribute": "build"}]},
    "Route": {"attribute": "ModelNumber", "predicate": "sendStaticAttribute", "attributes": {"Next": "pack"}},
    "Paint": {"attribute": "SysCfgData.COLR", "predicate": "hasPrefix", "value": "sand"},
    "Broken": {"attribute": "Bytes", "predicate": "equal XOR equal"},
    "Empty": {"attribute": "Bytes", "predicate": "hasPrefix", "references": []},
}
RULES = {
    "version": "2",
    "MPNRules": {
        "HN10": {"Storage": {}, "RegionRules": {"EU": {"Color": {}}, "US": {}}},
        "HN20": {"Storage": {"value": 128}},
        "XX": {"Paint": {}},
        "BROKEN": {"Broken": {}},
        "FAULT": {"Empty": {}},
    },
    "GenericRules": {"Model": {}},
}
DEVICE = {"ModelNumber": "HN10", "RegionInfo": "EU", "Bytes": 64023257088, "Color": "sand", "Build": 7}
WITHOUT_REGION = {"change": {"ModelNumber": "HN20"}, "remove": ["RegionInfo"]}


class RuleTestsTest(CommandTest):
    maxDiff = None

    def setUp(self):
        super().setUp()
        for name, value in (("library.json", LIBRARY), ("rules.json", RULES), ("device.json", DEVICE)):
            self.file(name, json.dumps(value))

    def case_file(self, cases, name="cases.json", **entries):
        entries = {"library": "library.json", "rules": "rules.json", "unsigned": True, "attributes": "device.json"} | entries
        return self.file(name, json.dumps(entries | {"cases": cases}))

    def results(self, cases, *options, **entries):
        run = self.tavik("test", self.case_file(cases, **entries), "--format", "json", *options)
        return run.status, json.loads(run.out or "null")

    def mismatches(self, expect, **case):
        status, answer = self.results([{"name": "case", "expect": expect} | case])
        (result,) = answer["cases"]
        self.assertEqual(status, PASSED if result["passed"] else FAILED)
        self.assertEqual(result["passed"], not result["mismatches"])
        return [(mismatch.get("rule"), mismatch["message"]) for mismatch in result["mismatches"]]

    def test_what_is_expected(self):
        for row in CASES["expectations"]:
            with self.subTest(row):
                self.assertEqual(self.mismatches(row["expect"], **row.get("case", {})), [tuple(each) for each in row["mismatches"]])

    def test_a_device_that_gets_no_rules_does_not_pass_by_it(self):
        self.file("rules.json", json.dumps({"version": "2", "GenericRules": {}}))
        self.assertEqual(self.mismatches({"others": "pass"}), [(None, "the device gets no rules, but its rules should pass")])
        self.assertEqual(self.mismatches({"others": "none"}), [])

    def test_sources_of_the_file_and_of_the_case(self):
        self.file("rules.json", json.dumps({"version": "2", "GenericRules": {"Build": {}}}))
        self.file("sfc.json", '{"build": 7}')
        same, another = {"sfc": "sfc.json"}, {"sfc": {"build": 8}}
        for of_file, of_case, result in ((same, {}, "pass"), (another, {}, "fail"), (another, {"sources": same}, "pass")):
            case = {"name": "build", "expect": {"rules": {"Build": result}}} | of_case
            self.assertEqual(self.results([case], sources=of_file)[0], PASSED)

    def test_what_is_refused(self):
        validator = jsonschema.Draft7Validator(SCHEMA)
        for kind, is_valid in (("refused", False), ("refused by the command only", True)):
            for row in CASES[kind]:
                with self.subTest(row):
                    self.refuses(UNUSABLE, row["message"], "test", self.file("cases.json", json.dumps(row["document"])))
                    self.assertEqual(validator.is_valid(row["document"]), is_valid)
        good = '{"name": "n", "attributes": {}, "expect": {"others": "pass"}}'
        self.file("cases.json", '{"cases": [%s,\n  {"name": "n",\n    "expct": {}}]\n}' % good)
        self.refuses(UNUSABLE, 'cases.json: line 3, column 14 (cases[1].expct): unknown key; did you mean "expect"?', "test",
                     "cases.json")

    def test_the_text(self):
        cases = [{"name": "good", "expect": {"others": "pass"}},
                 {"name": "small", "change": {"Bytes": 32010928128}, "expect": {"rules": {"Model": "fail"}}}]
        run = self.tavik("test", self.case_file(cases), self.case_file(cases[:1], "others.json"))
        self.assertEqual(run.status, FAILED)
        self.assertEqual(run.out, """\
cases.json
  pass  good
  FAIL  small
        Model: passes, but should fail
          checks    ModelNumber: Passes when it begins with the expected text.
          expected  {"result": false}
          found     {"result": true, "actual": "HN10", "expected": "has prefix HN"}
        Storage: fails, but should pass because the case does not name it
          checks    Bytes: Passes when the storage has as many GB as expected.
          expected  {"result": true}
          found     {"result": false, "actual": "32", "expected": 64}

others.json
  pass  good

FAILED  3 cases: 2 passed, 1 failed
""")
        self.assertEqual(run.err, "tavik: test: cases.json: rule documents are used as they are; signatures are not verified\n")

    def test_junit_is_valid_and_takes_any_text(self):
        cases = [{"name": "good ]]> \x1b \U0001F600 <", "expect": {"others": "pass"}},
                 {"name": "wrong", "change": {"Color": "\x01]]>&"}, "expect": {"others": "pass"}}]
        run = self.tavik("test", self.case_file(cases, "cases\udcff.json"), "--format", "junit")
        subprocess.run(["xmllint", "--noout", "--schema", PROJECT / "tests/cli/junit.xsd", "-"], input=run.stdout,
                       capture_output=True, check=True)
        self.assertIn('<testsuite name="cases\\xff.json" tests="2" failures="1" errors="0"', run.out)
        self.assertIn('message="Color: fails, but should pass because the case does not name it"', run.out)

    def test_coverage_counts_what_cases_expect_something_of(self):
        cases = [{"name": "good", "expect": {"others": "pass"}},
                 {"name": "small", "change": {"Bytes": 5}, "expect": {"rules": {"Storage": "fail"}, "others": "any"}},
                 {"name": "other", **WITHOUT_REGION, "expect": {"rules": {"Storage": "fail"}}},
                 {"name": "unknown", "change": {"RegionInfo": "JP"}, "expect": {"error": {"code": -100003}}}]
        status, answer = self.results(cases, "--coverage")
        self.assertEqual(status, PASSED)
        (coverage,) = answer["coverage"]
        self.assertEqual((coverage["library"], coverage["local_rules"]), ("library.json", "rules.json"))
        seen = {tuple(item.values()) for kind in ("rules", "part_numbers", "regions") for item in coverage[kind]}
        self.assertEqual(seen, {
            ("Storage", 1, 2), ("Color", 1, 0), ("Model", 2, 0), ("Broken", 0, 0), ("Empty", 0, 0), ("Paint", 0, 0),
            ("HN10", 1, 1), ("HN20", 0, 1), ("XX", 0, 0), ("BROKEN", 0, 0), ("FAULT", 0, 0),
            ("HN10", "EU", 1, 1), ("HN10", "US", 0, 0),
        })
        text = self.tavik("test", "cases.json", "--coverage").out
        self.assertRegex(text, r"rules +3 of 6 +1 of 6\npart numbers +1 of 5 +2 of 5\nregions +1 of 2 +1 of 2\n")
        self.assertRegex(text, r"rule +Color +yes +never\n")
        self.assertRegex(text, r"region +HN10 US +never +never\n")
        self.assertNotIn("Storage", text)
        self.refuses(UNUSABLE, "--coverage: not available in JUnit XML", "test", "cases.json", "--coverage", "--format",
                     "junit")
        self.refuses(UNUSABLE, "--public-key and --unsigned exclude each other", "test", "cases.json", "--public-key", "p", "--unsigned")

    def test_filter(self):
        cases = [{"name": name, "expect": {"others": "pass"}} for name in ("storage good", "color", "storage")]
        names = [case["name"] for case in self.results(cases, "--filter", "storage")[1]["cases"]]
        self.assertEqual(names, ["storage good", "storage"])
        self.refuses(UNUSABLE, "no case name contains this text", "test", "cases.json", "--filter", "Storage")

    def test_documents_and_who_trusts_them(self):
        self.passes("keygen", "--private", "key.pem", "--public", "pub.pem")
        for name in ("library", "rules"):
            self.passes("sign", "--key", "key.pem", f"{name}.json", "-o", f"{name}.signed")
        self.file("strict.json", json.dumps(LIBRARY | {"Model": LIBRARY["Model"] | {"value": "HN9"}}))
        cases = [{"name": "good", "expect": {"others": "pass"}}]
        signed = {"library": "library.signed", "rules": "rules.signed"}

        def ends(status, *options, **entries):
            path = self.folder / self.case_file(cases, **entries)
            run = self.tavik("test", path, *options)
            self.assertEqual(run.status, status, run.err)

        ends(PASSED, unsigned=False, publicKey="pub.pem", **signed)
        ends(PASSED, "--public-key", "pub.pem", **signed)
        ends(PASSED, "--library", "library.signed", "--rules", "rules.signed", "--public-key", "pub.pem")
        ends(FAILED, "--library", "strict.json")
        ends(FAILED, "--library", "strict.json", "--unsigned", unsigned=False, publicKey="pub.pem")
        ends(NO_VERDICT, "--library", "strict.json", "--public-key", "pub.pem")
        ends(NO_VERDICT, **signed)
        ends(UNUSABLE, publicKey="key.pem", unsigned=False, **signed)
        ends(UNUSABLE, rules="nowhere.json")

    def test_the_example(self):
        jsonschema.Draft7Validator.check_schema(SCHEMA)
        jsonschema.Draft7Validator(SCHEMA).validate(json.loads(EXAMPLE.read_text(encoding="utf-8")))
        run = self.tavik("test", EXAMPLE)  # from a folder that is not the file's
        self.assertEqual(run.status, PASSED, run.out)
        self.assertRegex(run.out, r"PASSED  \d+ cases: \d+ passed, 0 failed\n$")


if __name__ == "__main__":
    unittest.main()
