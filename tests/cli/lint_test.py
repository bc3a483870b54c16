"""`tavik lint`: every trap, put one at a time into the example's documents, is found in its place; nothing is found where there
is nothing; what the page shows is what is found."""

import copy
import json
import pathlib
import plistlib
import random
import re
import unittest

from support import FAILED, NO_VERDICT, PASSED, UNUSABLE, CommandTest

PROJECT = pathlib.Path(__file__).resolve().parents[2]
STATION = PROJECT / "examples/station"
LIBRARY, LOCAL_RULES = STATION / "rule-library.plist", STATION / "local-rules.plist"
PAGE = (PROJECT / "docs/lint.md").read_text(encoding="utf-8")

GONE = object()
STATIC, CONDITIONAL = "Send to warehouse", "Send to pack-out"


def change(document, path, value):
    """Puts `value` under a path of keys, or takes away what is there."""
    *way, last = path
    for key in way:
        document = document[key]
    if value is GONE:
        del document[last]
    else:
        document[last] = value


def library(*path_and_value):
    return "library", path_and_value[:-1], path_and_value[-1]


def rules(*path_and_value):
    return "rules", path_and_value[:-1], path_and_value[-1]


MPN = "MPNRules"
SET = "RuleSets"
REGION = (MPN, "DN20-128", "RegionRules", "JP/1")

# (finding, severity, rule or path, part of the message, changes)
TRAPS = [
    # ends the run, or faults
    ("malformed-expression", "error", "Modem firmware", "blank that is too many", [library("Modem firmware", "predicate", "hasPrefix  OR contains")]),
    ("malformed-expression", "error", "Modem firmware", "XOR", [library("Modem firmware", "predicate", "hasPrefix XOR contains")]),
    ("malformed-expression", "error", "Modem firmware", "without parentheses", [library("Modem firmware", "predicate", "NOT (hasPrefix OR contains)")]),
    ("malformed-expression", "error", "Modem firmware", "no \"predicate\"", [library("Modem firmware", "predicate", GONE)]),
    ("no-version", "error", "", "fault", [library("version", GONE)]),
    ("no-version", "error", "", "fault", [rules("version", GONE)]),
    ("nothing-to-take", "error", "System build", "fault", [library("System build", "references", [])]),
    ("missing-value", "error", STATIC, "fault", [library(STATIC, "value", GONE)]),
    ("missing-entry", "error", CONDITIONAL, "no \"match\". A fault", [library(CONDITIONAL, "value", "match", GONE)]),
    ("number-out-of-range", "error", "Control bits", "0 to 253. A fault", [rules(SET, "FinalTestRuleSet", "Control bits", "value", [2, 254])]),
    ("number-out-of-range", "error", "Control bits", "no control bit -1", [library("Control bits", "value", [-1])]),
    ("wrong-reference-count", "error", "Housing inspected", "there are 0. A fault", [library("Housing inspected", "references", [])]),
    # passes for every device
    ("missing-value", "error", "System version", "in region \"EU/1\", whatever", [library("System version", "value", GONE)]),
    ("missing-value", "error", "Model code list", "part number \"DN20-128\"", [library("Model code list", "value", GONE)]),
    ("missing-value", "error", "Firmware variables", "passes for every device", [library("Firmware variables", "value", GONE)]),
    ("missing-value", "error", "Control bits", "passes for every device that gets the set \"FinalTestRuleSet\"",
     [library("Control bits", "value", GONE), rules(SET, "FinalTestRuleSet", "Control bits", {})]),
    ("compares-with-nothing", "warning", "Touch panel revision", "compares with 0", [library("Touch panel revision", "value", GONE)]),
    ("compares-with-nothing", "warning", "Boot loader locked", "compares with false", [library("Boot loader locked", "value", GONE)]),
    ("unknown-predicate", "error", "System build is for customers", "did you mean \"contains\"? \"contain\" always fails, and NOT turns",
     [library("System build is for customers", "predicate", "NOT contain")]),
    ("wrong-form", "error", "System build", "NOT turns that round. The rule passes for every device", [library("System build", "predicate", "NOT equalLong")]),
    ("missing-entry", "error", CONDITIONAL, "counts as a match", [library(CONDITIONAL, "value", "list", GONE)]),
    ("missing-entry", "error", "Region behavior", "no \"behavior\". Devices that it is for pass", [library("Region behavior", "value", "nospecial", "behavior", GONE)]),
    ("missing-attribute", "error", "No Attribute IMEI", "passes for every device", [library("No Attribute IMEI", "attribute", GONE)]),
    ("undefined-rule", "error", "No Attribute token", "passes for every device", [rules("GenericRules", "No Attribute token", {})]),
    ("compared-with-itself", "error", "System build", "compared with itself", [library("System build", "references", [{"description": "Build"}])]),
    ("empty-value", "error", "Control bits", "passes for every device", [library("Control bits", "value", [])]),
    # can never pass
    ("missing-value", "error", "Model code list", "NOT turns that round. The rule fails",
     [library("Model code list", "value", GONE), library("Model code list", "predicate", "NOT valueInList")]),
    ("wrong-kind", "error", "Storage size", "data as 17 bytes", [library("Storage size", "value", bytes(17))]),
    ("unknown-predicate", "error", "Modem firmware", "did you mean \"hasPrefix\"? The rule fails", [library("Modem firmware", "predicate", "hasPrefx")]),
    ("unknown-predicate", "error", "Serial number form", "The rule fails for every device", [library("Serial number form", "predicate", "hasPrefix AND isUpper")]),
    ("unknown-predicate", "error", "Camera module supplier", "only \"hasPrefix\" decides", [library("Camera module supplier", "predicate", "hasPrefix OR suffix")]),
    ("wrong-form", "error", "Camera module supplier", "\"hasPrefix\" always fails, and \"hasSuffix\" always fails. The rule fails for every device",
     [library("Camera module supplier", "predicate", "hasPrefix OR hasSuffix"), library("Camera module supplier", "references", [{"source": "sfc"}])]),
    ("always-passes", "error", STATIC, "NOT turns that round. The rule fails for every device", [library(STATIC, "predicate", "NOT sendStaticAttribute")]),
    ("unknown-predicate", "error", "Region behavior", "only \"swbhRegionMatch\" decides",
     [library("Region behavior", "predicate", "swbhRegionMatch OR hasPrefx")]),
    ("undefined-rule", "error", "Storage sise", "did you mean \"Storage size\"? A rule without an attribute fails for part number \"DN20W-064\"",
     [rules(MPN, "DN20W-064", "Storage sise", {})]),
    ("undefined-rule", "error", "regionrules", "did you mean \"RegionRules\"?", [rules(MPN, "DN20W-064", "regionrules", {})]),
    ("undefined-rule", "error", "RegionRules", "only among the entries of a part number", [rules("GenericRules", "RegionRules", {})]),
    ("empty-value", "error", "Modem firmware", "fails for every device", [library("Modem firmware", "value", "")]),
    ("empty-value", "error", "Housing color", "only for an attribute that is empty itself", [library("Housing color", "value", [])]),
    ("empty-value", "error", "Storage size for capacity code", "is empty", [library("Storage size for capacity code", "value", {})]),
    ("dead-element", "warning", "FCC identifier for board", "is empty", [library("FCC identifier for board", "value", "0ZZDN25", [])]),
    ("dead-element", "warning", "IMEI prefix", "takes a string here", [library("IMEI prefix", "value", ["00104412", 104513])]),
    ("wrong-kind", "error", "IMEI prefix", "not a number as 104513. The rule fails", [library("IMEI prefix", "value", [104412, 104513])]),
    ("impossible-text", "error", "Model code list", "The rule fails", [library("Model code list", "value", ["7KR", "7KQ"])]),
    ("empty-value", "error", "FCC identifier for board", "The rule fails",
     [library("FCC identifier for board", "value", {"0ZZDN20": [], "0ZZDN25": []})]),
    ("empty-value", "error", "Region behavior", "no entry that a device can pass by", [library("Region behavior", "value", {"special": {}})]),
    ("dead-element", "warning", "Region behavior", "holds a \"/\"", [library("Region behavior", "value", "nospecial", "countryList", ["EU/1", "US"])]),
    ("mask-mismatch", "error", "Calibration header", "has 16 bytes, and \"Result\" 2", [library("Calibration header", "value", "Result", b"\x02\0")]),
    ("mask-mismatch", "error", "Modem provisioning flags", "has a bit", [library("Modem provisioning flags", "value", "Result", b"\x81\0\0\x11")]),
    ("missing-entry", "error", "Region behavior", "no \"countryList\". No device", [library("Region behavior", "value", "nospecial", "countryList", GONE)]),
    ("missing-entry", "error", "Calibration header", "The rule fails", [library("Calibration header", "value", "Mask", GONE)]),
    ("wrong-kind", "error", "Housing color", "takes an array here, not a string as \"sand\".", [rules(MPN, "DN20-128", "Housing color", "value", "sand")]),
    ("wrong-kind", "error", "Storage size", "fails for part number \"DN20-128\"", [rules(MPN, "DN20-128", "Storage size", "value", b"\x80")]),
    ("wrong-kind", "error", "Radio bands", "in region \"JP/1\"", [rules(*REGION, "Radio bands", "value", 5)]),
    ("wrong-kind", "error", "Battery charge", "a dictionary", [library("Battery charge", "value", {"least": 40})]),
    ("impossible-text", "error", "Model code", "has 3 characters, and \"MPN4CCheck\" compares with one of 4", [rules(MPN, "DN20W-064", "Model code", "value", "7WQ")]),
    ("impossible-text", "error", "Boot key", "hexadecimal digits", [library("Boot key", "references", GONE), library("Boot key", "value", "<dead>")]),
    ("missing-reference", "error", "Region behavior", "did you mean \"RegionInf\"?", [library("Region behavior", "references", 0, "attribute", "RegionInf")]),
    ("wrong-form", "error", "Storage size for capacity code", "needs references", [library("Storage size for capacity code", "references", GONE)]),
    ("wrong-form", "error", "System build", "the value of the local entry", [rules("GenericRules", "System build", {"value": 5})]),
    ("wrong-form", "error", "System build", "with a \"value\"", [library("System build", "value", 5)]),
    ("wrong-form", "error", "Modem boot image", "no form with references", [library("Modem boot image", "references", [{"source": "sfc"}])]),
    ("wrong-reference-count", "error", "Housing inspected", "there are 2. The rule fails",
     [library("Housing inspected", "references", [{"source": "gui", "attribute": "a"}, {"source": "gui", "attribute": "b"}])]),
    ("malformed-references", "error", "System build", "no array", [library("System build", "references", {"source": "sfc"})]),
    ("malformed-references", "error", "System build", "\"source\" of a reference is a number", [library("System build", "references", 0, "source", 1)]),
    ("missing-attribute", "error", "Modem firmware", "fails for every device", [library("Modem firmware", "attribute", 5)]),
    ("malformed-definition", "error", "Modem firmware", "not a dictionary", [library("Modem firmware", "4.12.")]),
    ("attribute-of-two-kinds", "error", "Wi-Fi address", "The rule fails", [library("Wi-Fi address", "predicate", "dataNotNull AND isUppercase"), library("Wi-Fi address", "value", GONE)]),
    ("narrow-reference", "warning", "System build", "beyond 2147483647", [library("System build", "predicate", "equal")]),
    ("text-read-as-zero", "information", "System partition size at most", "such as", [library("System partition size at most", "value", 6144)]),
    ("not-a-dictionary", "error", "Housing color", "only because another entry takes its place",
     [rules(MPN, "DN20-064", "Housing color", 64), rules("GenericRules", "Housing color", {})]),
    ("not-a-dictionary", "error", "Storage size", "No rule is checked for part number \"DN20-064\"", [rules(MPN, "DN20-064", "Storage size", 64)]),
    ("not-a-dictionary", "error", "MPNRules.DN20-064.RegionRules", "part number \"DN20-064\"", [rules(MPN, "DN20-064", "RegionRules", [])]),
    ("unknown-rule-set", "error", "GenericRules.FinalTstRuleSet", "did you mean \"FinalTestRuleSet\"?", [rules("GenericRules", "FinalTstRuleSet", {})]),
    ("no-rules", "error", "MPNRules", "is empty", [rules(MPN, {})]),
    ("no-rules", "error", "MPNRules.X", "no rules specified", [rules(MPN, "X", {}), rules("GenericRules", {})]),
    # silently ignored
    ("extra-rules", "warning", "extra-rules", "Nothing reads", [rules("extra-rules", {"Lot": {"attribute": "Lot"}})]),
    ("lost-forwarding", "warning", STATIC, "lost", [library(STATIC, "predicate", "sendStaticAttribute AND isUppercase")]),
    ("dropped-value", "warning", "Storage size", "For part number \"DN20-128\" the expected value is 64", [rules("GenericRules", "Storage size", {})]),
    ("dropped-value", "warning", "System version", "in region \"JP/1\" the expected value is \"9\"", [rules("GenericRules", "System version", {"value": "9"})]),
    ("dropped-value", "warning", "IMEI prefix", "the set \"PhoneRuleSet\" comes later", [rules("GenericRules", "IMEI prefix", {"value": ["35"]})]),
    ("dropped-value", "warning", "Control bits", "the set \"FinalTestRuleSet\" comes later",
     [rules(SET, "PhoneRuleSet", "Control bits", {"value": [1]})]),
    ("nested-rule-set", "warning", "RuleSets.PhoneRuleSet.WifiOnlyRuleSet", "names the set", [rules(SET, "PhoneRuleSet", "WifiOnlyRuleSet", {})]),
    ("unread-key", "warning", "Modem firmware", "did you mean \"hideResult\"?", [library("Modem firmware", "hideresult", True)]),
    ("unread-key", "warning", "System build", "did you mean \"description\"?", [library("System build", "references", 0, "desription", "x")]),
    ("unread-key", "warning", "Calibration header", "did you mean \"Mask\"?", [library("Calibration header", "value", "mask", b"")]),
    ("unread-key", "warning", "Storage size", "did you mean \"value\"?", [rules(MPN, "DN20-064", "Storage size", "valeu", 5)]),
    ("unread-key", "warning", "GenericRule", "did you mean \"GenericRules\"?", [rules("GenericRule", {})]),
    ("unread-key", "warning", "MPNRules.DN20-064.PhoneRuleSet.value", "The name of a set", [rules(MPN, "DN20-064", "PhoneRuleSet", {"value": 5})]),
    ("predicate-not-called", "warning", "No Attribute IMEI", "\"predicate\"", [library("No Attribute IMEI", "predicate", "dataNotNull")]),
    ("duplicate-reference", "warning", "System build", "\"build_number\"", [library("System build", "references", [{"source": "sfc", "attribute": "build_number"}] * 2)]),
    ("duplicate-reference", "warning", "System build", "the later one's", [library("System build", "references", [{}, {"source": "sfc"}])]),
    ("unread-reference", "warning", "System build", "\"second\" is another one",
     [library("System build", "references", [{"source": "sfc", "attribute": "first"}, {"source": "sfc", "attribute": "second"}])]),
    ("unread-reference", "warning", "Region behavior", "reads the reference \"IMEI\"", [library("Region behavior", "references", [{"attribute": "RegionInfo"}, {"attribute": "IMEI"}])]),
    ("unused-value", "warning", "Lot number form", "reads no value", [library("Lot number form", "value", "L")]),
    ("unused-value", "warning", "No Attribute IMEI", "has a value", [rules(SET, "WifiOnlyRuleSet", "No Attribute IMEI", {"value": "1"})]),
    ("hidden-by-false", "warning", "Boot key", "is false", [library("Boot key", "hideResult", False)]),
    ("misread-value", "warning", "Storage size", "\"1,000\" is read as 1.", [library("Storage size", "value", "1,000")]),
    ("misread-value", "warning", "Boot loader locked", "\"on\" is read as false", [library("Boot loader locked", "value", "on")]),
    ("misread-value", "warning", "System partition size", "6144.5 is read as 6144", [library("System partition size", "value", 6144.5)]),
    ("number-beyond-range", "warning", "Touch panel revision", "read as 2147483647", [library("Touch panel revision", "value", 1 << 31)]),
    ("rule-named-like-set", "warning", "Some RuleSet", "a set", [library("Some RuleSet", {"attribute": "A", "predicate": "isUppercase"})]),
    ("source-spelling", "warning", "Boot key", "is spelt \"sfc\" elsewhere", [library("Boot key", "references", 0, "source", "SFC")]),
    ("unused-rule", "information", "Modem firmware", "names the rule", [rules(SET, "PhoneRuleSet", "Modem firmware", GONE)]),
    ("unused-rule-set", "information", "RuleSets.SpareRuleSet", "Nothing names", [rules(SET, "SpareRuleSet", {})]),
]

# What is legal, if unusual: nothing but information may be found.
LEGAL = [
    [rules("GenericRules", "Storage size at least", {"value": "64 GB"})],
    [rules(MPN, "DN20-064", "RegionRules", "EU/1", "Housing color", {"value": ["moss"]}), rules(MPN, "DN20-064", "Housing color", {"value": ["sand"]})],
    [rules("GenericRules", "Storage size", {"value": 128}), rules(MPN, "DN20-064", "Storage size", {"value": 128}),
     rules(MPN, "DN20W-064", "Storage size", GONE)],
    [library("Model code", "value", GONE), rules(MPN, "DN20-064", "Model code", {"value": "7kq2"})],
    [library("Region behavior", "value", "nospecial", GONE)],
    [library("Region behavior", "value", "special", {})],
    [library("Boot loader locked", "value", "No")],
    [library("Control bits", "value", ["0", 253])],
    [library("Boot key", "references", [{"source": "sfc"}])],
    [rules("GenericRules", "DN20RuleSet", {}), rules(SET, "PhoneRuleSet", "DN20RuleSet", {})],
    [rules(SET, "PhoneRuleSet", "IMEI prefix", {"value": ["35"]})],
]


class LintTest(CommandTest):
    maxDiff = None

    def setUp(self):
        super().setUp()
        self.documents = {"library": plistlib.loads(LIBRARY.read_bytes()), "rules": plistlib.loads(LOCAL_RULES.read_bytes())}

    def lint(self, *options, library="library", rules=("rules",), trust=("--unsigned",)):
        local = [argument for name in rules for argument in ("--rules", name)]
        return self.tavik("lint", *trust, "--library", library, *local, *options)

    def write(self, changes=()):
        documents = copy.deepcopy(self.documents)
        for name, path, value in changes:
            change(documents[name], path, value)
        for name, document in documents.items():
            self.file(name, plistlib.dumps(document, sort_keys=False).replace(b" PUBLIC", b""))

    def findings(self, *options, **more):
        run = self.lint("--format", "json", *options, **more)
        findings = json.loads(run.out)["findings"]
        self.assertEqual(run.status, FAILED if any(f["severity"] == "error" for f in findings) else PASSED, run.err)
        return findings

    def test_nothing_is_found_in_the_example(self):
        run = self.lint(library=LIBRARY, rules=(LOCAL_RULES,))
        self.assertEqual((run.status, run.out), (PASSED, run.out))
        for documents in ((LOCAL_RULES,), (LOCAL_RULES, LOCAL_RULES), ()):
            self.assertEqual([f["name"] for f in self.findings(library=LIBRARY, rules=documents)], ["text-read-as-zero"])

    # Of these traps other findings follow, rightly.
    WITH_OTHERS = {"no-rules", "malformed-definition", "wrong-form", "missing-reference", "not-a-dictionary", "dropped-value", "unread-key",
                   "nested-rule-set", "lost-forwarding", "attribute-of-two-kinds"}
    # Found where a local entry brings the rule to devices, or where references do not go with a value.
    ELSEWHERE = {"missing-value", "compares-with-nothing", "unused-rule", "wrong-form"}

    def test_every_trap_is_found_with_its_rule(self):
        for name, severity, rule, message, changes in TRAPS:
            with self.subTest(name, rule=rule, message=message):
                self.write(changes)
                findings = self.findings()
                found = [finding for finding in findings if finding["name"] == name]
                self.assertTrue([finding for finding in found if message in finding["message"]], findings)
                self.assertEqual({(finding["rule"], finding["severity"]) for finding in found}, {(rule, severity)})
                if name not in self.ELSEWHERE:
                    self.assertEqual({finding["document"] for finding in found}, {changes[-1][0]})
                if name not in self.WITH_OTHERS:
                    self.assertEqual({finding["name"] for finding in findings if finding["severity"] != "information"} - {name}, set())

    def test_what_is_legal_is_not_reported(self):
        for changes in LEGAL:
            with self.subTest(changes):
                self.write(changes)
                self.assertEqual([f for f in self.findings() if f["severity"] != "information"], [])

    def test_every_finding_has_a_trap_and_its_examples_are_true(self):
        table = dict(re.findall(r"^\| \[([a-z-]+)\]\(#\1\) \| (\w+) \|", PAGE, re.MULTILINE))
        self.assertEqual(set(table), {name for name, *_ in TRAPS})
        self.assertEqual({(name, severity) for name, severity, *_ in TRAPS}, set(table.items()))
        library = json.dumps({"version": 1, "Color": {"attribute": "Color", "predicate": "caseInsensitiveEqual", "value": "sand"},
                              "Size": {"attribute": "Bytes", "predicate": "nandSizeCheck", "value": 64}})
        for name, text in re.findall(r"^## ([a-z-]+)\n(.*?)(?=^## |\Z)", PAGE, re.MULTILINE | re.DOTALL):
            examples = re.findall(r"^```json\n(.*?)^```", text, re.MULTILINE | re.DOTALL)
            self.assertTrue(examples)
            for number, example in enumerate(examples):
                with self.subTest(name, example=example):
                    is_local = "Rules\":" in example
                    version = "" if '"version"' in example or name == "no-version" else '"version": 1, '
                    document = "{" + version + example + "}"
                    used = {} if name == "unused-rule" else {rule: {} for rule in json.loads(document)}
                    self.file("library", library if is_local else document)
                    self.file("rules", document if is_local else json.dumps({"version": 1, "GenericRules": used or {"Lots": {}}}))
                    found = {f["name"] for f in self.findings()} - {"unused-rule", "undefined-rule"} | (
                        {f["name"] for f in self.findings()} & {name})
                    self.assertEqual(name in found, number == 0, found)
                    if number == 1:
                        self.assertEqual(found, set())

    def test_the_page_is_what_the_command_prints(self):
        self.assertEqual(self.passes("lint", "--print", "findings"), PAGE)
        self.assertEqual(re.findall(r"^## ([a-z-]+)\n\n\*\*(\w+)\*\*: (.*)$", PAGE, re.MULTILINE),
                         re.findall(r"^\| \[([a-z-]+)\]\(#\1\) \| (\w+) \| (.*) \|$", PAGE, re.MULTILINE))

    POSITIONED = {
        "xml": '<?xml version="1.0"?>\n<!-- <dict> "{" -->\n<plist version="1.0"><dict>\n<key>version</key><string><![CDATA[</string>]]></string>\n'
               '<key>é &lt;</key> <dict >\n  <key>attribute</key><string>A</string>\n'
               '  <key>predicate</key><!-- é --> <string>equa</string>\n<key>hideresult</key><true/>\n</dict>\n</dict></plist>\n',
        "text": '// "{\n{ /* = ; */ version = "a \\" { b"; data = { attribute = http://a; predicate = dataNotNull; };\n'
                '"é <" = {\n  attribute = A;\n  "predicate" =/* ; */ \'equa\';\n hideresult = <00 01>; list = ( a, (b), {c = d;}, ); };\n}\n',
    }

    def test_positions(self):
        expected = {
            "xml": {("unknown-predicate", 7, 34), ("unread-key", 8, 1)},
            "text": {("unknown-predicate", 5, 24), ("unread-key", 6, 2), ("unread-key", 6, 24)},
        }
        for encoding, document in self.POSITIONED.items():
            for line_end in ("\n", "\r\n"):
                with self.subTest(encoding, line_end=line_end):
                    self.file("library", document.replace("\n", line_end))
                    self.assertEqual({(f["name"], f["line"], f["column"]) for f in self.findings(rules=())}, expected[encoding])
        self.file("library", self.POSITIONED["text"])
        gcc = self.lint("--format", "gcc", rules=())
        self.assertRegex(gcc.out, r"^library:5:24: error: There is no predicate \"equa\"; did you mean \"equal\"\? .* \[unknown-predicate\]\n")
        self.assertEqual(gcc.status, FAILED)
        self.passes("convert", "--to", "binary", "library", "-o", "binary")
        self.assertRegex(self.lint("--format", "gcc", library="binary", rules=()).out, r"^binary: error: é <\.predicate: There is no")

    def test_sarif(self):
        self.file("a folder", "")
        self.write([library("Modem firmware", "predicate", "x"), rules("GenericRules", "Modem é", {}), rules(SET, "SpareRuleSet", {})])
        (self.folder / "rules").rename(self.folder / "local rules")
        run = self.lint("--format", "sarif", rules=("local rules",))
        log = json.loads(run.out)
        self.assertEqual((log["version"], len(log["runs"]), run.status), ("2.1.0", 1, FAILED))
        driver = log["runs"][0]["tool"]["driver"]
        for rule in driver["rules"]:
            self.assertEqual(set(rule), {"id", "shortDescription", "fullDescription", "help", "defaultConfiguration"})
            self.assertIn(rule["defaultConfiguration"]["level"], ("error", "warning", "note"))
            self.assertTrue(rule["help"]["text"] and rule["help"]["markdown"] and rule["shortDescription"]["text"])
        results = {}
        for result in log["runs"][0]["results"]:
            self.assertEqual(driver["rules"][result["ruleIndex"]]["id"], result["ruleId"])
            self.assertTrue(result["message"]["text"])
            (location,) = result["locations"]
            results[result["ruleId"]] = (result["level"], location["physicalLocation"]["artifactLocation"]["uri"],
                                         location["logicalLocations"][0]["fullyQualifiedName"])
            self.assertGreater(location["physicalLocation"]["region"]["startLine"], 1)
        results.pop("text-read-as-zero")
        self.assertEqual(results, {"unknown-predicate": ("error", "library", "Modem firmware.predicate"),
                                   "undefined-rule": ("error", "local%20rules", "GenericRules.Modem é"),
                                   "unused-rule-set": ("note", "local%20rules", "RuleSets.SpareRuleSet")})
        self.write([library("version", GONE)])
        found = {result["ruleId"]: result for result in json.loads(self.lint("--format", "sarif").out)["runs"][0]["results"]}
        self.assertNotIn("logicalLocations", found["no-version"]["locations"][0])

    def test_signed_documents(self):
        self.write([rules("GenericRules", "Modem", {})])
        self.passes("keygen", "--private", "key", "--public", "pub")
        self.passes("keygen", "--private", "other-key", "--public", "other")
        for name in ("library", "rules"):
            self.passes("sign", "--key", "key", name, "-o", name + ".signed")
        run = self.lint("--format", "gcc", library="library.signed", rules=("rules.signed",), trust=("--public-key", "pub"))
        self.assertRegex(run.out, r"\nrules.signed: error: GenericRules.Modem: The library defines no rule")
        self.assertEqual((run.status, run.err), (FAILED, ""))
        arguments = ("lint", "--library", "library.signed", "--rules")
        self.refuses(NO_VERDICT, "--library library.signed", *arguments, "rules.signed", "--public-key", "other")
        self.refuses(NO_VERDICT, "--rules rules", *arguments, "rules", "--public-key", "pub")
        self.refuses(UNUSABLE, "--rules missing", *arguments, "missing", "--public-key", "pub")
        self.refuses(UNUSABLE, "--library is required", "lint", "--unsigned")
        self.file("empty", "{}")
        self.refuses(NO_VERDICT, "the document is empty", "lint", "--unsigned", "--library", "empty")
        self.file("list", "( a )")
        self.refuses(UNUSABLE, "is not a dictionary", "lint", "--unsigned", "--library", "library", "--rules", "list")

    def replaced(self, local):
        """For the values of the local entries: which are dropped, by the order in which a device comes to its rules. A library's
        value is absent."""
        dropped, without = set(), set()
        special = {"GenericRules": 0, SET: 1, MPN: 2}

        def rank(path):
            return 3 if "RegionRules" in path else special[path.split(".")[0]]

        def add(table, path, layer):
            for name, entry in layer.items():
                for _, loser in [table.get(name, (None, None))][:name in table]:
                    losers.setdefault(name, []).append(loser)
                table[name] = (entry, f"{path}.{name}")

        for number, part in local[MPN].items():
            for region in part.get("RegionRules", {None: {}}):
                table, losers = {}, {}
                for key, entry in part.items():
                    if key == "RegionRules":
                        add(table, f"{MPN}.{number}.RegionRules.{region}", part[key][region])
                    else:
                        add(table, f"{MPN}.{number}", {key: entry})
                add(table, "GenericRules", local["GenericRules"])
                for name in [name for name in table if name.endswith("RuleSet")]:
                    del table[name]
                    add(table, f"{SET}.{name}", local[SET][name])
                for name, (entry, path) in table.items():
                    if "value" not in entry:
                        without.add(path)
                    for loser in losers.get(name, []):
                        value = self.at(local, loser)
                        keeps = "value" in entry and (entry["value"] == value.get("value") or rank(path) > rank(loser))
                        if "value" in value and not keeps:
                            dropped.add(loser + ".value")
        return dropped, without

    @staticmethod
    def at(document, path):
        for key in path.split("."):
            document = document[key]
        return document

    def test_layers_come_together_as_for_a_device(self):
        dice = random.Random(20261121)
        names = ["a", "b", "c", "d"]
        self.file("library", json.dumps({"version": 1, **{name: {"attribute": name, "predicate": "equal"} for name in names}}))

        def layer(*more):
            entries = dice.sample(names, dice.randrange(4)) + dice.sample(more, dice.randrange(len(more) + 1))
            dice.shuffle(entries)
            return {name: {"value": dice.randrange(3)} if dice.random() < 0.6 and name in names else {} for name in entries}

        for _ in range(150):
            sets = ["ARuleSet", "BRuleSet", "CRuleSet"]
            local = {"version": 1, MPN: {}, "GenericRules": layer(*sets[:2]), SET: {name: layer() for name in sets}}
            for number in ("M1", "M2"):
                part = list(layer(*sets).items()) + [("RegionRules", {region: layer(sets[2]) for region in ("R1", "R2")})] * dice.randrange(2)
                dice.shuffle(part)
                local[MPN][number] = dict(part)
            with self.subTest(local):
                self.file("rules", json.dumps(local))
                findings = self.findings()
                dropped, without = self.replaced(local)
                self.assertEqual({f["path"] for f in findings if f["name"] == "compares-with-nothing"}, without)
                self.assertEqual({f["path"] for f in findings if f["name"] == "dropped-value"}, dropped)

    def test_more_findings_than_anybody_reads(self):
        self.documents["library"].update({str(number): {"attribute": "A", "predicate": "isUppercase"} for number in range(100_010)})
        self.write()
        run = self.lint("--format", "json")
        self.assertEqual((run.status, run.err.splitlines()[-1]), (PASSED, "tavik: lint: 11 findings more are not shown"))
        self.assertEqual(len(json.loads(run.out)["findings"]), 100_000)

    def test_documents_of_any_shape_are_borne(self):
        """Values of the example replaced at random."""
        dice = random.Random(20261121)
        odd = [0, -1, 1 << 62, 0.5, True, "", "é" * 100, "RuleSet", "NOT", b"", b"\xff", [], {}, [[]], [{}], {"": {}}, {"value": {"value": []}},
               {"RegionRules": {"x": []}}, [1, "a", {}]]

        def mutate(value):
            if dice.random() < 0.02:
                return copy.deepcopy(dice.choice(odd))
            if isinstance(value, dict):
                return {("RuleSets" if dice.random() < 0.003 else key): mutate(entry) for key, entry in value.items()}
            return [mutate(entry) for entry in value] if isinstance(value, list) else value

        original = self.documents
        for _ in range(40):
            self.documents = {name: {key: mutate(value) for key, value in document.items()} for name, document in original.items()}
            self.write()
            with self.subTest(self.documents):
                self.assertIn(self.lint("--format", dice.choice(["table", "gcc", "sarif", "json"])).status, (PASSED, FAILED))


if __name__ == "__main__":
    unittest.main()
