"""`tavik test`: what a case file may say, how it is judged and refused, and the cases of the example product."""

import base64
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
        seen = {tuple(item.values()) for kind in ("rules", "part_numbers", "regions", "overrides") for item in coverage[kind]}
        self.assertEqual(seen, {
            ("Storage", 1, 2), ("Color", 1, 0), ("Model", 2, 0), ("Broken", 0, 0), ("Empty", 0, 0), ("Paint", 0, 0),
            ("HN10", 1, 1), ("HN20", 0, 1), ("XX", 0, 0), ("BROKEN", 0, 0), ("FAULT", 0, 0),
            ("HN10", "EU", 1, 1), ("HN10", "US", 0, 0), ("Storage", "part number HN20", 0, 1),
        })
        text = self.tavik("test", "cases.json", "--coverage").out
        self.assertRegex(text, r"rules +3 of 6 +1 of 6\npart numbers +1 of 5 +2 of 5\nregions +1 of 2 +1 of 2\n")
        self.assertRegex(text, r"rule +Color +yes +never\n")
        self.assertRegex(text, r"region +HN10 US +never +never\n")
        self.assertNotRegex(text, r"rule +Storage")
        self.refuses(UNUSABLE, "--coverage: not available in JUnit XML", "test", "cases.json", "--coverage", "--format",
                     "junit")
        self.refuses(UNUSABLE, "--public-key and --unsigned exclude each other", "test", "cases.json", "--public-key", "p", "--unsigned")

    def test_coverage_of_overrides_and_of_rules_that_cannot_fail(self):
        good = {"name": "good", "expect": {"others": "pass"}}
        self.file("rules.json", json.dumps({"version": "2", "MPNRules": {"HN10": {"Storage": {"value": 64}, "Route": {}}}}))
        library = self.file("library.json", json.dumps(LIBRARY | {"Route": LIBRARY["Route"] | {"value": {"OnPass": "P"}}}))
        bad = {"name": "small", "change": {"Bytes": 5}, "expect": {"rules": {"Storage": "fail"}}}
        for cases, status, covered in (([good], FAILED, 4), ([good, bad], PASSED, 7)):
            found, answer = self.results(cases, "--coverage", "--fail-under", "100", library=library)
            (coverage,) = answer["coverage"]
            self.assertEqual((found, coverage["covered"], coverage["results"]), (status, covered, 7))
            self.assertIn({"rule": "Route", "passed": len(cases), "failed": 0, "can_fail": False}, coverage["rules"])
            (override,) = coverage["overrides"]
            self.assertEqual((override["rule"], override["location"]), ("Storage", "part number HN10"))
        self.assertEqual(self.results([good], "--coverage", "--fail-under", "57.1", library=library)[0], PASSED)

    def test_a_change_that_no_rule_reads(self):
        case = {"name": "typo", "change": {"Colour": "moss", "RegionInfo": "EU"}, "expect": {"others": "pass"}}
        run = self.tavik("test", self.case_file([case]))
        self.assertEqual(run.status, PASSED)
        self.assertIn('cases.json: case "typo": no rule of the device reads "Colour"; did you mean "Color"?\n', run.err)
        self.assertEqual(len(run.err.splitlines()), 2)

    def test_the_mutants_of_a_rule(self):
        for row in CASES["mutants"]:
            with self.subTest(row):
                name = row.get("name", "Rule")
                self.file("library.json", json.dumps({"version": "1", name: {"attribute": "A", **row["rule"]}}))
                self.file("rules.json", json.dumps({"version": "2", "GenericRules": {name: {}}}))
                status, answer = self.results([{"name": "n", "expect": {"others": "any"}}], "--mutate", attributes={})
                self.assertEqual((status, answer["caught"], answer["mutants"]), (PASSED, 0, len(row["changes"])))
                self.assertEqual([survivor["change"] for survivor in answer["survivors"]], row["changes"])

    def test_the_mutants_of_local_rules(self):
        rule = {"attribute": "N", "predicate": "greaterThan", "value": 1}
        self.file("library.json", json.dumps({"version": "1", "A": rule, "B": rule, "C": rule, "D": rule}))
        self.file("rules.json", json.dumps({"version": "2", "MPNRules": {
            "P": {"A": {"value": 2}, "C": {}, "RegionRules": {"EU": {"A": {"value": 3}}, "US": {}}}, "Q": {"FirstRuleSet": {}, "A": {}, "C": {}}},
            "GenericRules": {"B": {"value": 7}, "C": {}}, "RuleSets": {"FirstRuleSet": {"B": {"value": 1.0}, "D": {"comment": "x"}}}}))
        _, answer = self.results([{"name": "n", "expect": {"others": "any"}}], "--mutate", attributes={"ModelNumber": "Q", "N": 9})
        wanted = ("rule", "override", "swap", "kind", "rule set")
        found = {(each["mutation"], each["subject"], each["location"], each["change"]) for each in answer["survivors"]
                 if each["mutation"] in wanted}
        eu, us, p, q = "part number P, region EU", "part number P, region US", "part number P", "part number Q"
        self.assertEqual(found, {
            ("rule", "A", eu, "rule removed"), ("rule", "A", p, "rule removed"), ("rule", "A", q, "rule removed"),
            ("rule", "B", "GenericRules", "rule removed"), ("rule", "B", "FirstRuleSet", "rule removed"),
            ("rule", "D", "FirstRuleSet", "rule removed"),
            ("override", "A", eu, "value removed: 1 instead of 3"), ("override", "A", p, "value removed: 1 instead of 2"),
            ("override", "B", "GenericRules", "value removed: 1 instead of 7"),
            ("swap", "A", eu, f"value of {p}: 2 instead of 3"), ("swap", "A", p, f"value of {eu}: 3 instead of 2"),
            ("swap", "A", q, f"value of {eu}: 3 instead of 1"), ("swap", "A", q, f"value of {p}: 2 instead of 1"),
            ("swap", "B", "GenericRules", "value of FirstRuleSet: 1.0 instead of 7"),
            ("swap", "B", "FirstRuleSet", "value of GenericRules: 7 instead of 1.0"),
            ("kind", p, "MPNRules", "removed"), ("kind", eu, "MPNRules", "removed"), ("kind", us, "MPNRules", "removed"),
            ("rule set", "FirstRuleSet", q, "rule set removed")})
        advice = {(each["subject"], each["change"]): each["advice"] for each in answer["survivors"]}
        self.assertEqual(advice["D", "rule removed"], 'add a case like "n", but N = 1; expect "D": "fail"')
        self.assertEqual(advice[eu, "removed"], f"add a case with a device of {eu}")

    def test_which_mutants_a_case_catches(self):
        self.file("library.json", json.dumps({
            "version": "1", "Number": {"attribute": "N", "predicate": "equal", "value": 5},
            "Route": {"attribute": "N", "predicate": "sendStaticAttribute", "value": {"OnPass": "P"}}}))
        self.file("rules.json", json.dumps({"version": "2", "MPNRules": {"X": {"Number": {}, "Route": {}}}}))
        names = lambda survivors: {each["change"] if each["change"] != "rule removed" else f"{each['subject']}: rule removed"
                                   for each in survivors}
        device = {"attributes": {"ModelNumber": "X", "N": 5}}
        unknown = {"name": "n", "change": {"ModelNumber": "Y"}, "expect": {"error": {"code": -100003}}}
        every = names(self.results([unknown], "--mutate", **device)[1]["survivors"])
        for row in CASES["caught"]:
            with self.subTest(row):
                case = {"name": "n", "expect": row["expect"]} | {key: row[key] for key in ("change",) if key in row}
                survivors = names(self.results([case], "--mutate", **device)[1]["survivors"])
                self.assertEqual(sorted(every - survivors), sorted(row["caught"]))

    def test_mutation_options(self):
        good = {"name": "good", "expect": {"others": "pass"}}
        self.file("rules.json", json.dumps({"version": "2", "MPNRules": {"HN10": {"Storage": {}}}}))
        run = self.tavik("test", self.case_file([good]), "--mutate")
        self.assertEqual(run.status, PASSED)
        self.assertEqual(run.out, """\
Storage: predicate "minimumNandSize" (rule library): add a case like "good", but Bytes = 65000000000; expect "Storage": "fail"
5 of 6 mutants caught
""")
        for percent, status in (("83.3", PASSED), ("84", FAILED)):
            self.assertEqual(self.tavik("test", "cases.json", "--mutate", "--fail-under", percent).status, status)
        case = {"name": "bad", "expect": {"rules": {"Storage": "fail"}}}
        run = self.tavik("test", self.case_file([good, case]), "--mutate")
        self.assertEqual(run.status, FAILED)
        self.assertIn("FAIL  bad", run.out)
        self.assertIn("--mutate: a case fails without mutants; fix it first", run.err)
        for message, *options in (
                ("--mutate and --coverage exclude each other", "cases.json", "--mutate", "--coverage"),
                ("--fail-under requires --mutate or --coverage", "cases.json", "--fail-under", "5"),
                ("--fail-under", "cases.json", "--mutate", "--fail-under", "101"),
                ("--mutate: not available in JUnit XML", "cases.json", "--mutate", "--format", "junit"),
                ("CASES is required",), ("--source requires --generate", "cases.json", "--source", "a=b"),
                ("--generate and CASES exclude each other", "cases.json", "--generate", "device.json"),
                ("--generate: --library and --rules are required", "--generate", "device.json")):
            self.refuses(UNUSABLE, message, "test", *options)

    def test_the_suggested_cases_catch_the_mutants(self):
        document = json.loads(EXAMPLE.read_text(encoding="utf-8"))
        before = self.mutate_example(document)
        bases = {case["name"]: case for case in document["cases"]}
        for number, survivor in enumerate(before["survivors"]):
            if "case" not in survivor:
                continue
            base, new = bases[survivor["based_on"]], survivor["case"]
            case = {key: base[key] for key in ("attributes", "sources", "change", "remove") if key in base}
            for key in ("change", "sources"):
                case[key] = case.get(key, {}) | new.get(key, {})
            case["remove"] = [name for name in base.get("remove", []) + new.get("remove", []) if name not in case["change"]]
            document["cases"].append({"name": f"case {number}", "expect": new["expect"], **case})
        after = self.mutate_example(document)
        self.assertEqual([each for each in after["survivors"] if "case" in each], [])
        self.assertLess(len(after["survivors"]), len(before["survivors"]))

    def mutate_example(self, document):
        station = EXAMPLE.parent
        path = self.file("copy.json", json.dumps(document))
        for name in station.iterdir():
            if not (self.folder / name.name).exists():
                (self.folder / name.name).symlink_to(name)
        return json.loads(self.tavik("test", path, "--mutate", "--format", "json").out)

    def test_generated_cases(self):
        station = EXAMPLE.parent
        run = self.tavik("test", "--generate", station / "device-good/attributes.plist", "--source",
                         f"sfc={station}/device-good/sfc.json", "--source", f"gui={station}/device-good/gui.json", "--library",
                         station / "rule-library.plist", "--rules", station / "local-rules.plist", "--unsigned")
        self.assertEqual(run.status, PASSED, run.err)
        document = json.loads(run.out)
        self.assertTrue(jsonschema.Draft7Validator(SCHEMA).is_valid(document))
        checked = json.loads(self.tavik("test", self.file("generated.json", run.out), "--coverage", "--format", "json").out)
        self.assertEqual((checked["passed"], checked["failed"]), (len(document["cases"]), 0))
        caught, mutants = map(int, document["comment"][0].split()[0:3:2])
        self.assertGreater(caught, 400)
        unexplained = [line for line in document["comment"] if line.startswith("no small change")]
        self.assertEqual(mutants - caught, len(unexplained))
        self.assertLessEqual(len(unexplained), 4)
        answer = json.loads(self.tavik("test", "generated.json", "--mutate", "--format", "json").out)
        self.assertEqual(answer["caught"], caught)
        failing = {rule for case in document["cases"] for rule, result in case["expect"].get("rules", {}).items() if result == "fail"}
        rules = {item["rule"] for item in checked["coverage"][0]["rules"] if item["passed"] and item.get("can_fail", True)}
        self.assertEqual(rules - failing, set())

    def test_generated_cases_know_that_a_blob_and_its_fields_change_together(self):
        blob = bytes(20) + (1).to_bytes(4, "little") + b"RLOC" + b"sand".ljust(16, b"\0")
        self.file("library.json", json.dumps(LIBRARY | {"Blob": {"attribute": "SysCfgData", "predicate": "dataNotNull"}}))
        self.file("rules.json", json.dumps({"version": "2", "GenericRules": {"Blob": {}, "Paint": {}}}))
        self.file("device.json", json.dumps({"SysCfgData": {"$data": base64.b64encode(blob).decode()}}))
        run = self.tavik("test", "--generate", "device.json", "--library", "library.json", "--rules", "rules.json", "--unsigned")
        self.assertIn('\\"Blob\\" does not fail alone: \\"Paint\\" checks the same values', run.out)
        self.assertEqual(self.tavik("test", self.file("generated.json", run.out)).status, PASSED)

    def test_generation_for_a_device_that_does_not_pass(self):
        options = ("--library", "library.json", "--rules", "rules.json", "--unsigned")
        for change, status, message in (
                ({"Bytes": 5, "Color": "\x1b"}, FAILED,
                 'these rules fail: "Storage" (actual 0, expected 64), "Color" (actual \\x1b, expected one of sand)'),
                ({"ModelNumber": "FAULT"}, 3, 'rule "Empty": a rule without "value" has no reference to take it from'),
                ({"ModelNumber": "BROKEN"}, NO_VERDICT, 'rule "Broken": invalid logical operator'),
                ({"ModelNumber": "none"}, NO_VERDICT, "unknown MPN:none")):
            self.file("device.json", json.dumps(DEVICE | change))
            self.refuses(status, message, "test", "--generate", "device.json", *options)

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
