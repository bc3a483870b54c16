"""Typical mistakes of rule authors, put one at a time into the example scanner's documents: `tavik lint` finds nearly all of them
in the documents alone or with the example devices, and mutation tests the rest."""

import copy
import json
import unittest

from example_test import SCANNER
from support import FAILED, PASSED, CommandTest, change

ALONE, DEVICES, MUTATE = "lint", "lint --devices", "generated cases"
LIBRARY, LOCAL = "rule-library.json", "local-rules.json"
PARTS, SETS, GENERIC = "MPNRules", "RuleSets", "GenericRules"


def added(name, **definition):
    """Adds a rule to the library and gives it to every device."""
    return (LIBRARY, name, definition), (LOCAL, GENERIC, name, {})


#   mistake, finding and rule, changes (document, path of keys, value), what finds it
MISTAKES = (
    ("misspelled predicate", "unknown-predicate", "Scan engine firmware", [(LIBRARY, "Scan engine firmware", "predicate", "hasPrefx")], ALONE),
    ("three predicates", "malformed-expression", "Scan engine", [(LIBRARY, "Scan engine", "predicate", "hasPrefix OR hasSuffix OR contains")], ALONE),
    ("no predicate", "malformed-expression", "Laser class", [(LIBRARY, "Laser class", "predicate", None)], ALONE),
    ("misspelled rule", "undefined-rule", "Batery charge", [(LOCAL, SETS, "FinalTestRuleSet", "Batery charge", {})], ALONE),
    ("misspelled set", "unknown-rule-set", "MPNRules.CW110.LasersRuleSet", [(LOCAL, PARTS, "CW110", "LasersRuleSet", {})], ALONE),
    ("region misspelled in a condition", "misspelled-region", "Send to packing", [(LIBRARY, "Send to packing", "value", "list", ["BR3"])], ALONE),
    ("misspelled key of an entry", "unread-key", "Storage size", [(LOCAL, PARTS, "CW110", "Storage size", {"valeu": 16})], ALONE),
    ("number for a text", "wrong-kind", "Scan engine firmware", [(LOCAL, SETS, "ImagerRuleSet", "Scan engine firmware", {"value": 7.0})], ALONE),
    ("empty list", "empty-value", "Wi-Fi channels", [(LOCAL, PARTS, "CW240", "RegionRules", "BR/3", "Wi-Fi channels", {"value": []})], ALONE),
    ("code too short", "impossible-text", "Model code", [(LOCAL, PARTS, "CW110", "Model code", {"value": "K1R"})], ALONE),
    ("misspelled reference", "missing-reference", "Region behavior", [(LIBRARY, "Region behavior", "references", [{"attribute": "Region"}])], ALONE),
    ("value in neither document", "missing-value", "Model code", [(LOCAL, PARTS, "CW110R", "Model code", {})], ALONE),
    ("value undone by a later entry", "dropped-value", "Storage size", [(LIBRARY, "Storage size", "value", 8), (LOCAL, GENERIC, "Storage size", {})], ALONE),
    ("reference negated", "wrong-form", "System build", [(LIBRARY, "System build", "predicate", "NOT equalLong")], ALONE),
    ("reference compared in 32 bits", "narrow-reference", "System build", [(LIBRARY, "System build", "predicate", "equal")], ALONE),
    ("value beyond 32 bits", "number-beyond-range", "Laser class", [(LIBRARY, "Laser class", "value", 1 << 40)], ALONE),
    ("source in capitals", "source-spelling", "Boot key", [(LIBRARY, "Boot key", "references", 0, "source", "SFC")], ALONE),
    ("mask shorter than its result", "mask-mismatch", "Focus calibration header", [(LIBRARY, "Focus calibration header", "value", "Mask", {"$data": "/w8="})], ALONE),
    ("unknown control bit", "number-out-of-range", "Control bits", [(LIBRARY, "Control bits", "value", [1, 4, 254])], ALONE),
    ("tag of five characters", "impossible-attribute", "Aiming calibrated", [(LIBRARY, "Aiming calibrated", "attribute", "SysCfgData.AIMCA")], ALONE),
    ("misspelled prefix", "misspelled-attribute", "Part number written", [(LIBRARY, "Part number written", "attribute", "SysCfgDta.PART")], ALONE),
    ("unknown manifest item", "impossible-attribute", "Modem", [*added("Modem", attribute="RootManifestData.Item 19", predicate="dataNotNull")], ALONE),
    ("misspelled attribute", "misspelled-attribute", "Sold in region", [(LIBRARY, "Sold in region", "attribute", "RegionInof")], ALONE),
    ("two prefixes", "contradicting-rules", "Prefix", [*added("Prefix", attribute="MLBSerialNumber", predicate="hasPrefix", value="B5")], ALONE),
    ("two sizes", "contradicting-rules", "Storage size", [*added("Least", attribute="TotalDiskCapacity", predicate="minimumNandSize", value=64)], ALONE),
    ("attribute needed and forbidden", "contradicting-rules", "No Attribute laser", [*added("No Attribute laser", attribute="LaserClass")], ALONE),
    ("lists without a common element", "contradicting-rules", "Scan engine", [*added("Engine", attribute="ScanEngineModel", predicate="valueInList", value=["SE-20"])], ALONE),
    ("two numbers", "contradicting-rules", "Class", [(LIBRARY, "Class", {"attribute": "LaserClass", "predicate": "equalLong", "value": 1}), (LOCAL, SETS, "LaserRuleSet", "Class", {})], ALONE),
    ("rule implied by another", "redundant-rule", "Charged", [*added("Charged", attribute="BatteryChargePercent", predicate="greaterThan", value=40)], ALONE),
    ("prefix in lower case", "impossible-combination", "Serial number form", [(LIBRARY, "Serial number form", "value", "c4")], ALONE),
    ("region missing in a table", "uncovered-kind", "Region behavior", [(LIBRARY, "Region behavior", "value", "special", {"MX": "label-lock"})], ALONE),
    ("region missing in a list", "uncovered-kind", "Sold in region", [(LIBRARY, "Sold in region", "value", ["EU/3", "US/3", "BR3"])], ALONE),
    ("prefix of other part numbers", "uncovered-kind", "Part number form", [(LIBRARY, "Part number form", "value", "CW1")], ALONE),
    ("blank at the end", "outer-blank", "System version", [(LIBRARY, "System version", "value", "5.1.0 ")], ALONE),
    ("misspelled source", "similar-source", "Label inspected", [(LIBRARY, "Label inspected", "references", 0, "source", "giu")], ALONE),
    ("region without its slash", "similar-name", "MPNRules.CW110.RegionRules.EU3", [(LOCAL, PARTS, "CW110", "RegionRules", "EU3", {})], ALONE),
    ("letter for a digit in a part number", "similar-name", "MPNRules.CW11O", [(LOCAL, PARTS, "CW11O", {"LaserRuleSet": {}})], ALONE),
    ("two rules that forward", "two-forwarders", "Send", [*added("Send", attribute="SerialNumber", predicate="sendStaticAttribute", value={"OnPass": "PACK-1"})], ALONE),
    ("data without brackets", "data-notation", "Wi-Fi address", [(LIBRARY, "Wi-Fi address", "value", "ffffffffffff")], ALONE),
    ("forbidden attribute misspelled", "unconfirmed-absence", "No Attribute test image", [(LIBRARY, "No Attribute test image", "attribute", "TstImg")], ALONE),
    ("attribute that devices lack", "unseen-attribute", "Scan engine", [(LIBRARY, "Scan engine", "attribute", "EngineModel")], DEVICES),
    ("number searched for text", "unseen-kind", "Customer build", [(LIBRARY, "Customer build", "attribute", "SystemBuildNumber")], DEVICES),
    ("32 bits for a larger number", "narrow-attribute", "Build", [*added("Build", attribute="SystemBuildNumber", predicate="NOT equal", value=0)], DEVICES),
    ("size of another model", "fails-for-examples", "Storage size", [(LOCAL, PARTS, "CW240", "Storage size", {"value": 32})], DEVICES),
    ("limit too low", None, "Battery charge", [(LIBRARY, "Battery charge", "value", 5)], MUTATE),
    ("control bit forgotten", None, "Control bits", [(LIBRARY, "Control bits", "value", [1, 4])], MUTATE),
)


class MistakesTest(CommandTest):
    maxDiff = None

    def write(self, changes):
        for name in (LIBRARY, LOCAL):
            document = json.loads((SCANNER / name).read_text(encoding="utf-8"))
            for changed, *path, value in changes:
                if changed == name:
                    change(document, path, copy.deepcopy(value), decode=False)
            self.file(name, json.dumps(document))

    def failed_cases(self, changes):
        """The cases that fail with the mistake, of those generated from the correct rules and a good device."""
        with (SCANNER / "devices.jsonl").open(encoding="utf-8") as lines:
            device = json.loads(next(lines))
        self.write([])
        sources = [f"{name}={self.file(name + '.json', json.dumps(values))}" for name, values in device["sources"].items()]
        generated = self.tavik("test", "--generate", self.file("device.json", json.dumps(device["attributes"])), "--unsigned",
                               "--library", LIBRARY, "--rules", LOCAL, *(word for source in sources for word in ("--source", source)))
        cases = self.file("cases.json", generated.out)
        self.assertEqual(self.tavik("test", cases).status, PASSED)
        self.write(changes)
        run = self.tavik("test", cases)
        self.assertEqual(run.status, FAILED)
        return [line for line in run.out.splitlines() if line.lstrip().startswith("FAIL")]

    def findings(self, changes, *options):
        self.write(changes)
        run = self.tavik("lint", "--unsigned", "--library", LIBRARY, "--rules", LOCAL, "--fail-on", "information", "--format", "json",
                         *options)
        findings = json.loads(run.out)["findings"]
        self.assertEqual(run.status, FAILED if findings else PASSED)
        return {(finding["name"], finding["rule"]) for finding in findings}

    def test_every_mistake_is_found_where_it_is(self):
        devices = ("--devices", SCANNER / "devices.jsonl")
        self.assertEqual(len(MISTAKES), 46)
        self.assertEqual((self.findings([]), self.findings([], *devices)), (set(), set()))
        for mistake, finding, rule, changes, finder in MISTAKES:
            with self.subTest(mistake):
                alone, found = self.findings(changes), self.findings(changes, *devices)
                self.assertLessEqual(alone - {("misspelled-attribute", rule)}, found)
                if finder == ALONE:
                    self.assertIn((finding, rule), alone)
                else:
                    self.assertEqual(alone, set())
                if finder == DEVICES:
                    self.assertIn((finding, rule), found)
                if finder == MUTATE:
                    self.assertEqual(found, set())
                    self.assertRegex("\n".join(self.failed_cases(changes)), rule)


if __name__ == "__main__":
    unittest.main()
