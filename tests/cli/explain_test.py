"""`tavik explain`: what it tells people and programs."""

import json
import os
import pty
import subprocess
import unittest

from support import FAILED, NO_VERDICT, PASSED, TAVIK, UNUSABLE, CommandTest, shown_on

LIBRARY = {
    "version": "L1",
    "Color": {"attribute": "Color", "predicate": "hasPrefix or hasSuffix", "value": "sand"},
    "Size": {"attribute": "Size", "predicate": "equal", "value": 64},
    "Build": {"attribute": "Build", "predicate": "equalLong",
              "references": [{"source": "sfc", "attribute": "build"}, {"attribute": "Size"}]},
    "Label": {"attribute": "Color", "predicate": "NOT hasPrefx"},
    "List": {"attribute": "Color", "predicate": "valueInList"},
    "Form": {"attribute": "Color", "predicate": "equal", "value": 1, "references": [{"attribute": "Size"}]},
    "Station": {"attribute": "Color", "predicate": "sendStaticAttribute", "value": {"OnPass": "1"}, "hideResult": ""},
    "Bad": {"attribute": "Color", "predicate": "equal XOR equal"},
}
RULES = {
    "version": "R1",
    "MPNRules": {"P1": {"Color": {"value": "moss"}, "Size": {"value": 32}, "FinalRuleSet": {},
                        "RegionRules": {"EU": {"Size": {"value": 16}}, "US": {}}},
                 "P2": {"Bad": {}}},
    "GenericRules": {"Size": {}, "Build": {}, "No Attribute token": {}, "Gone": {}},
    "RuleSets": {"FinalRuleSet": {"Label": {}, "List": {}, "Form": {}, "Station": {}, "Color": {"value": "slate"}}},
}
DEVICE = {"ModelNumber": "P1", "RegionInfo": "EU", "Color": "dark slate", "Size": 64, "Build": 7}

OVERVIEW = """\
part number P1, region EU: 9 rules

rule                comes from        expected         defined by   calls
Color               set FinalRuleSet  "slate"          local rules  hasPrefix:value: OR hasSuffix:value:
Size                GenericRules      64               library      equal:value:
Build               GenericRules                       reference    equalLong:value:
No Attribute token  GenericRules                                    nothing: the attribute must be missing
Gone                GenericRules                                    nothing: it names no attribute
Label               set FinalRuleSet                                NOT hasPrefx:value:
List                set FinalRuleSet                   undefined    valueInList:value:
Form                set FinalRuleSet  1                library      equal:references:value:
Station             set FinalRuleSet  {"OnPass": "1"}  library      sendStaticAttribute:value:

Replaced
  Color  set FinalRuleSet replaces part number P1, with another value for its "moss"
  Size   region EU replaces part number P1, with another value for its 32
  Size   GenericRules replaces region EU, and removes its 16: the library's 64 applies

References
  Build  build from sfc        9
  Build  Size from the device  64
  Form   Size from the device  64

Rule sets
  FinalRuleSet  named by part number P1

To review
  No Attribute token  the library does not define it
  Gone                the library does not define it
  Label               unknown predicate hasPrefx:value: (no predicate has this name; did you mean "hasPrefix"?)
  List                no expected value is defined: valueInList passes for every device
  Form                unknown predicate equal:references:value: (it takes no references)
"""

COLOR = """\
part number P1, region EU

Color
  comes from  set FinalRuleSet
              named by part number P1
              set FinalRuleSet replaces part number P1, with another value for its "moss"
  predicate   hasPrefix or hasSuffix
              Passes when it begins with the expected text, or when it ends with the expected text.
  attribute   Color: "dark slate"
  expected    "slate", by set FinalRuleSet

  called            result  actual      expected
  hasPrefix:value:  FAIL    dark slate  has prefix slate
  hasSuffix:value:  pass    dark slate  has suffix slate
  OR makes it       pass    dark slate  has prefix slate or has suffix slate
"""


class ExplainTest(CommandTest):
    def setUp(self):
        super().setUp()
        self.maxDiff = None
        for name, content in (("library", LIBRARY), ("rules", RULES), ("device", DEVICE), ("sfc", {"build": 9})):
            self.file(name, json.dumps(content))

    def explain(self, *options, trust=("--unsigned",), library="library", rules="rules", device="device"):
        return self.tavik("explain", *trust, "--library", library, "--rules", rules, "--attributes", device,
                          "--source", "sfc=sfc", *options)

    def explained(self, *options, **documents):
        return json.loads(self.explain("--format", "json", *options, **documents).out)

    def test_overview(self):
        run = self.explain()
        self.assertEqual((run.status, run.out), (PASSED, OVERVIEW))

    def test_steps(self):
        self.assertEqual(self.explain("Color").out, COLOR)
        cases = (
            (("Label",), "  hasPrefx:value:  FAIL    unknown predicate hasPrefx:value:  valid predicate name\n"
                         "  NOT makes it     pass    unknown predicate hasPrefx:value:  not valid predicate name\n"),
            (("Build",), "  expected    the reference build from sfc\n"),
            (("Build",), "  equalLong:value:  FAIL    7       equal 9\n"),
            (("Station",), '  forwards    {"OnPass": "1"}\n  hidden      "check" does not list it when it passes\n'),
            (("No Attribute token",), "  nothing  pass    no attribute (null)  no attribute (null)\n"),
            (("List",), "  expected    no expected value is defined\n"),
        )
        for names, text in cases:
            with self.subTest(text):
                self.assertIn(text, self.explain(*names).out)
        self.file("device", json.dumps({"ModelNumber": "P2", "Color": "x"}))
        self.assertIn("  to review   invalid logical operator:equal XOR equal: ends every check that reaches it\n",
                      self.explain("Bad").out)

    def test_what_a_missing_value_does(self):
        words = {"hasPrefix": "fails for every device", "valueInList": "passes for every device", "greaterThan": "compares with 0",
                 "boolEqual": "compares with false", "sendStaticAttribute": "ends the check with a fault"}
        self.file("library", json.dumps({"version": 1, **{word: {"attribute": "Color", "predicate": word} for word in words},
                                         "Both": {"attribute": "Color", "predicate": "hasPrefix OR isUppercase"}}))
        self.file("rules", json.dumps({"version": 1, "GenericRules": {word: {} for word in (*words, "Both")}}))
        out = self.explain().out
        self.assertNotIn("no expected value is defined: isUppercase", out)
        for word, meaning in words.items():
            with self.subTest(word):
                self.assertIn(f"no expected value is defined: {word} {meaning}", out)
        self.assertIn("\n  a fault ends the check: ", self.explain("sendStaticAttribute").out)
        rule, = self.explained("sendStaticAttribute")["rules"]
        self.assertEqual(rule["fault"]["kind"], "invalid-argument")

    def test_a_rule_that_the_device_does_not_get(self):
        for name, text in (("Bad", "this device does not get it; devices that get it: P2"),
                           ("Colour", 'the local rules define it; did you mean "Color"?'),
                           ("version", "the local rules define it\n")):
            with self.subTest(name):
                run = self.explain("Size", name)
                self.assertEqual(run.status, FAILED)
                self.assertIn(text, run.out)
                self.assertIn("\nSize\n  comes from  GenericRules\n", run.out)
        run = self.explained("Bad", "Bad", "Colour")
        self.assertEqual(run["not_there"], [{"rule": "Bad", "defined": True, "devices": [{"part_number": "P2"}]},
                                            {"rule": "Colour", "defined": False, "devices": [], "nearest": "Color"}])

    def test_layers_as_json(self):
        explained = self.explained("Size")
        self.assertEqual(explained["device"], {"part_number": "P1", "region": "EU"})
        rule, = explained["rules"]
        self.assertEqual(rule["entries"], [{"layer": "part_number", "name": "P1", "entry": {"value": 32}},
                                           {"layer": "region", "name": "EU", "entry": {"value": 16}},
                                           {"layer": "generic", "entry": {}}])
        self.assertEqual((rule["value"], rule["value_from"], rule["definition"]), (64, "library", LIBRARY["Size"]))
        self.assertEqual(explained["sets"], [{"name": "FinalRuleSet", "entries": [
            {"layer": "part_number", "name": "P1", "entry": {}}]}])

    def test_evaluation_as_json(self):
        rule, = self.explained("Build")["rules"]
        record = {"result": False, "actual": 7, "expected": "equal 9"}
        expected = {
            "value": 9, "value_from": "reference", "attribute": {"name": "Build", "value": 7},
            "references": [{"name": "build", "source": "sfc", "value": 9}, {"name": "Size", "value": 64}], "combination": "",
            "calls": [{"predicate": "equalLong", "operation": "equalLong:value:", "known": True, "record": record}],
            "record": {"rule": "Build"} | record,
        }
        self.assertEqual({key: rule[key] for key in expected}, expected)
        self.assertNotIn("fault", rule)
        self.file("device", json.dumps({"ModelNumber": "P2", "Color": "x"}))
        rule, = self.explained("Bad")["rules"]
        self.assertEqual((rule["error"]["code"], "record" in rule), (-100006, False))

    def test_names_stay_whole_and_long_data_is_shortened_on_a_terminal(self):
        name = "The name of a rule that is as long as this"
        self.file("library", json.dumps({"version": 1, name: {"attribute": "Blob", "predicate": "hasPrefix", "value": "v" * 70}}))
        self.file("rules", json.dumps({"version": 1, "GenericRules": {name: {}}}))
        self.file("device", json.dumps({"Blob": {"$data": "A" * 4000}}))
        arguments = ("explain", "--unsigned", "--library", "library", "--rules", "rules", "--attributes", "device")
        for rules, most in (((), 80), ((name,), 240)):
            master, terminal = pty.openpty()
            subprocess.run([TAVIK, *arguments, *rules], cwd=self.folder, stdout=terminal, stderr=subprocess.DEVNULL, check=True,
                           env=os.environ | {"COLUMNS": "90", "NO_COLOR": "1"})
            os.close(terminal)
            lines = shown_on(master).splitlines()
            self.assertTrue([line for line in lines if line.startswith(name[:39])], lines)
            self.assertLess(max(map(len, lines)), most + 11)

    def test_devices_and_documents_without_rules(self):
        for device, message in (({"ModelNumber": "p1"}, '--rules rules: unknown MPN:p1; did you mean "P1"?'),
                                ({"ModelNumber": "P1", "RegionInfo": "JP"}, "--rules rules: unknown Region Code:JP; the regions of P1 are EU, US"),
                                ({"ModelNumber": 7}, '--attributes device: "ModelNumber" is a number, not a string (unknown MPN:7)'),
                                ({}, '--attributes device: has no "ModelNumber", which selects the rules (unknown MPN:(null))')):
            self.file("device", json.dumps(device))
            run = self.explain("--format", "json")
            self.assertIn(f"tavik: explain: {message}\n", run.err)
            self.assertEqual((run.status, json.loads(run.out)["rules"]), (NO_VERDICT, None))
            self.assertEqual(json.loads(run.out)["error"]["code"], -100003)
        self.file("unversioned", "{}")
        arguments = ("explain", "--unsigned", "--attributes", "device", "--library")
        self.refuses(NO_VERDICT, "--rules unversioned: the document is empty", *arguments, "library", "--rules", "unversioned")
        self.refuses(UNUSABLE, "--library gone: No such file", *arguments, "gone", "--rules", "rules")

    def test_signed_documents(self):
        self.passes("keygen", "--private", "key", "--public", "pub")
        for name in ("library", "rules"):
            self.passes("sign", "--key", "key", name, "-o", name + ".signed")
        run = self.explain("Color", trust=("--public-key", "pub"), library="library.signed", rules="rules.signed")
        self.assertEqual((run.status, run.err, run.out), (PASSED, "", COLOR))
        self.refuses(NO_VERDICT, "--rules rules: ", "explain", "--public-key", "pub", "--library", "library.signed", "--rules",
                     "rules", "--attributes", "device")


if __name__ == "__main__":
    unittest.main()
