"""`tavik test`: what a case file may say, how it is judged and refused, and the cases of the example product."""

import base64
import json
import pathlib
import subprocess
import unittest

import jsonschema
from support import FAILED, NO_VERDICT, PASSED, UNUSABLE, CommandTest

PROJECT = pathlib.Path(__file__).resolve().parents[2]
EXAMPLE = PROJECT / "examples/station/rule-tests.json"
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
        other_record = "passes, but its record differs"
        blob = bytes(20) + (1).to_bytes(4, "little") + b"RLOC" + b"sand".ljust(16, b"\0")
        painted = {"ModelNumber": "XX", "SysCfgData": {"$data": base64.b64encode(blob).decode()}}
        unknown_region = {"change": {"RegionInfo": "JP"}}
        broken = {"change": {"ModelNumber": "BROKEN"}, "remove": ["RegionInfo"]}
        fault = {"change": {"ModelNumber": "FAULT"}, "remove": ["RegionInfo"]}
        cases = (  # what is expected, what is changed, what is not as expected
            ({"others": "pass"}, {}, []),
            ({"rules": {}}, {}, []),
            ({"rules": {"Storage": "pass", "Color": "pass", "Model": "pass"}, "others": "none"}, {}, []),
            ({"rules": {"Storage": "pass"}, "others": "none"}, {},
             [("Color", "the device gets this rule, which is not in the case"),
              ("Model", "the device gets this rule, which is not in the case")]),
            ({"rules": {"Storage": "fail"}}, {}, [("Storage", "passes, but should fail")]),
            ({"rules": {"Storage": "pass"}}, {"change": {"Bytes": 5}}, [("Storage", "fails, but should pass")]),
            ({"rules": {"Model": "pass"}}, {"change": {"Bytes": 5}},
             [("Storage", "fails, but should pass because the case does not name it")]),
            ({"rules": {"Model": "pass"}, "others": "any"}, {"change": {"Bytes": 5}}, []),
            ({"rules": {"Color": "absent"}}, {}, [("Color", "the device gets this rule, but should not")]),
            ({"rules": {"Color": "absent"}}, {"change": {"RegionInfo": "US"}}, []),
            ({"rules": {"Colour": "pass"}}, {},
             [("Colour", 'the device does not get this rule; did you mean "Color"?')]),
            ({"rules": {"Storage": {"expected": 128}}}, WITHOUT_REGION | {"change": {"ModelNumber": "HN20", "Bytes": 1}},
             []),
            ({"rules": {"Storage": {"result": True, "actual": "64", "expected": 64}}}, {}, []),
            ({"rules": {"Storage": {"result": True, "actual": 64}}}, {}, [("Storage", other_record)]),
            ({"rules": {"Storage": {"hideResult": ""}}}, {}, [("Storage", other_record)]),
            ({"rules": {"Paint": "pass"}, "others": "any"}, {"attributes": painted}, []),
            ({"rules": {"Paint": "fail"}, "others": "any"}, {"attributes": painted, "change": {"SysCfgData.COLR": "moss"}}, []),
            ({"rules": {"Paint": "fail"}, "others": "any"}, {"attributes": painted, "remove": ["SysCfgData.COLR"]}, []),
            ({"others": "pass"}, unknown_region, [(None, "no verdict: unknown Region Code:JP")]),
            ({"error": {"code": -100003, "description": "unknown Region Code:JP"}}, unknown_region, []),
            ({"error": {"code": -100004}}, unknown_region,
             [(None, "the run should end with an error, but ends with a different one")]),
            ({"error": {"code": -100003}}, {}, [(None, "the run should end with an error, but does not")]),
            ({"error": {"code": -100006}}, broken, []),
            ({"others": "any"}, broken, [(None, 'no verdict: rule "Broken": invalid logical operator:equal XOR equal')]),
            ({"fault": {"kind": "range"}}, fault, []),
            ({"fault": {"kind": "invalid-argument"}}, fault,
             [(None, "the run should end with a fault, but ends with a different one")]),
            ({"error": {"code": -100003}}, fault, [(None, "the run should end with an error, but does not")]),
            ({"station": {}}, {}, []),
            ({"station": {"Next": "pack"}}, {}, [(None, "the station dictionary differs")]),
        )
        for expect, case, expected in cases:
            with self.subTest(expect=expect, case=case):
                self.assertEqual(self.mismatches(expect, **case), expected)

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
        def case(**entries):
            return {"cases": [{"name": "n", "attributes": {}, "expect": {"others": "pass"}} | entries]}

        def expect(**entries):
            return case(expect=entries)

        refused = (  # message, document; and, last, where only the command can tell
            ('(casses): unknown key; did you mean "cases"?', {"casses": []}),
            ('"cases" is missing', {}),
            ("(cases): has no cases", {"cases": []}),
            ("(cases): is not an array", {"cases": {}}),
            ("(cases[0]): is not an object", {"cases": ["n"]}),
            ('(cases[0]): "name" is missing', {"cases": [{"attributes": {}, "expect": {"others": "any"}}]}),
            ("(cases[0].name): expected a nonempty string", case(name="")),
            ('(cases[0].attribtes): unknown key; did you mean "attributes"?', case(attribtes={})),
            ("(cases[0].zzz): unknown key", case(zzz=1)),
            ("(cases[0].attributes): is not an object", case(attributes=[])),
            ("(cases[0].sources.sfc): is not an object", case(sources={"sfc": 1})),
            ("(cases[0].remove): is not an array", case(remove="A")),
            ('(cases[0]): "expect" is missing', {"cases": [{"name": "n", "attributes": {}}]}),
            ("(cases[0].expect): expects nothing", expect()),
            ('(cases[0].expect.rule): unknown key; did you mean "rules"?', expect(rule={})),
            ('(cases[0].expect.others): expected one of "pass", "any", "none"', expect(others="fail")),
            ('(cases[0].expect.rules.R): expected one of "pass", "fail", "absent"', expect(rules={"R": "passes"})),
            ("(cases[0].expect.rules.R): is not an object", expect(rules={"R": True})),
            ("(cases[0].expect.rules.R): expects nothing", expect(rules={"R": {}})),
            ("(cases[0].expect.rules.R.result): expected true or false", expect(rules={"R": {"result": "pass"}})),
            ('(cases[0].expect.rules.R.actul): unknown key; did you mean "actual"?', expect(rules={"R": {"actul": 1}})),
            ('(cases[0].expect): "error" and "fault" cannot be combined', expect(error={"code": 1}, others="any")),
            ('(cases[0].expect.error): expected at least one of "code", "description"', expect(error={})),
            ("(cases[0].expect.error.code): is not an integer", expect(error={"code": "1"})),
            ('(cases[0].expect.fault.kind): expected one of "range", "invalid-argument"', expect(fault={"kind": "x"})),
            ("(cases[0].expect.station): is not an object", expect(station=1)),
            ("(unsigned): expected true or false", case() | {"unsigned": 1}),
            ('"unsigned" and "publicKey" exclude each other', case() | {"unsigned": True, "publicKey": "k"}),
            ("(cases[0].change.A): null is not allowed", case(change={"A": None})),
        )
        only_by_the_command = (
            ('(cases[0].remove[0]): the device has no such attribute; did you mean "Color"?',
             case(attributes={"Color": 1}, remove=["Colour"])),
            ("(cases[1].name): another case has this name", {"cases": case()["cases"] * 2}),
            ('(cases[0]): has no "attributes"', {"cases": [{"name": "n", "expect": {"others": "any"}}]}),
            ("(cases[0].attributes): nowhere.json: No such file", case(attributes="nowhere.json")),
            ("cases.json: \"library\" is missing; add it, or use --library", case()),
        )
        validator = jsonschema.Draft7Validator(SCHEMA)
        for message, document in (*refused, *only_by_the_command):
            with self.subTest(message):
                self.refuses(UNUSABLE, message, "test", self.file("cases.json", json.dumps(document)))
                self.assertEqual(validator.is_valid(document), (message, document) in only_by_the_command)
        good = json.dumps(case()["cases"][0])
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
