"""`tavik lint`: every trap, put one at a time into the example's documents, is found in its place; nothing is found where there
is nothing; what the page shows is what is found."""

import copy
import json
import pathlib
import plistlib
import random
import re
import unittest

from mistakes_test import MISTAKES
from support import FAILED, NO_VERDICT, PASSED, UNUSABLE, CommandTest, cases, change

PROJECT = pathlib.Path(__file__).resolve().parents[2]
STATION = PROJECT / "examples/station"
LIBRARY, LOCAL_RULES = STATION / "rule-library.plist", STATION / "local-rules.plist"
PAGE = (PROJECT / "docs/lint.md").read_text(encoding="utf-8")
SEVERITY = dict(re.findall(r"^\| \[([a-z-]+)\]\(#\1\) \| (\w+) \|", PAGE, re.MULTILINE))
CASES = cases("lint")


class LintTest(CommandTest):
    maxDiff = None

    def setUp(self):
        super().setUp()
        self.documents = {"library": plistlib.loads(LIBRARY.read_bytes()), "rules": plistlib.loads(LOCAL_RULES.read_bytes())}

    def lint(self, *options, library="library", rules=("rules",), trust=("--unsigned",)):
        local = [argument for name in rules for argument in ("--rules", name)]
        return self.tavik("lint", *trust, "--library", library, *local, *options)

    def write(self, *changes):
        """Writes the documents with changes: document, path of keys, value."""
        documents = copy.deepcopy(self.documents)
        for name, *path, value in changes:
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
                   "nested-rule-set", "lost-forwarding", "attribute-of-two-kinds", "dead-element", "missing-entry", "misread-value"}
    # Found where a local entry brings the rule to devices, or where references do not go with a value.
    ELSEWHERE = {"missing-value", "compares-with-nothing", "unused-rule", "wrong-form"}

    def test_every_trap_is_found_with_its_rule(self):
        for trap in CASES["traps"]:
            name, changes = trap["finding"], trap["changes"]
            with self.subTest(trap):
                self.write(*changes)
                findings = self.findings()
                found = [finding for finding in findings if finding["name"] == name]
                self.assertTrue([finding for finding in found if trap["message"] in finding["message"]], findings)
                self.assertEqual({(finding["rule"], finding["severity"]) for finding in found}, {(trap["rule"], SEVERITY[name])})
                if name not in self.ELSEWHERE:
                    self.assertEqual({finding["document"] for finding in found}, {changes[-1][0]})
                if name not in self.WITH_OTHERS:
                    self.assertEqual({finding["name"] for finding in findings if finding["severity"] != "information"} - {name}, set())

    def test_what_is_legal_is_not_reported(self):
        for changes in CASES["legal"]:
            with self.subTest(changes):
                self.write(*changes)
                self.assertEqual([f for f in self.findings() if f["severity"] != "information"], [])

    def test_every_finding_has_a_trap_and_its_examples_are_true(self):
        found_elsewhere = {finding for _, finding, _, _, _ in MISTAKES if finding} | {"baseline-without-reason", "unused-baseline-entry"}
        self.assertEqual(set(SEVERITY), {trap["finding"] for trap in CASES["traps"]} | found_elsewhere)
        library = json.dumps({"version": 1, "Color": {"attribute": "Color", "predicate": "caseInsensitiveEqual", "value": "sand"},
                              "Size": {"attribute": "Bytes", "predicate": "nandSizeCheck", "value": 64},
                              "Region": {"attribute": "RegionInfo", "predicate": "valueInList", "value": ["EU/1"]}})
        attributes = {"RegionInfo": "EU/1", "Color": "sand", "Bytes": 64000000000, "Build": 20261122001, "Label": "b-release"}
        self.file("devices", 2 * (json.dumps({"attributes": attributes}) + "\n"))
        for name, text in re.findall(r"^## ([a-z-]+)\n(.*?)(?=^## |\Z)", PAGE, re.MULTILINE | re.DOTALL):
            examples = re.findall(r"^```json\n(.*?)^```", text, re.MULTILINE | re.DOTALL)
            self.assertTrue(examples)
            for number, example in enumerate(examples):
                with self.subTest(name, example=example):
                    options = ("--devices", "devices") if re.search("seen-|examples|narrow-attribute", name) else ()
                    is_local = "Rules\":" in example or "baseline" in name
                    version = "" if '"version"' in example or name == "no-version" else '"version": 1, '
                    document = "{" + version + example + "}"
                    used = {} if name == "unused-rule" else {rule: {} for rule in json.loads(document)}
                    self.file("library", library if is_local else document)
                    self.file("rules", document if is_local else json.dumps({"version": 1, "GenericRules": used or {"Lots": {}}}))
                    if "baseline" in name:
                        self.file("rules", json.dumps({"version": 1, "GenericRules": {"Color": {}, "Region": {}}}))
                        self.file("baseline", "{" + example + "}")
                        options = ("--baseline", "baseline")
                    names = {f["name"] for f in self.findings(*options)}
                    found = names - {"unused-rule", "undefined-rule"} | (names & {name})
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
        self.assertRegex(gcc.out, r"^library:5:24: error: Unknown predicate \"equa\"; did you mean \"equal\"\? .* \[unknown-predicate\]\n")
        self.assertEqual(gcc.status, FAILED)
        self.passes("convert", "--to", "binary", "library", "-o", "binary")
        self.assertRegex(self.lint("--format", "gcc", library="binary", rules=()).out, r"^binary: error: é <\.predicate: Unknown predicate")

    def test_sarif(self):
        self.file("a folder", "")
        self.write(("library", "Modem firmware", "predicate", "x"), ("rules", "GenericRules", "Modem é", {}),
                   ("rules", "RuleSets", "SpareRuleSet", {}))
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
        self.write(("library", "version", None))
        found = {result["ruleId"]: result for result in json.loads(self.lint("--format", "sarif").out)["runs"][0]["results"]}
        self.assertNotIn("logicalLocations", found["no-version"]["locations"][0])

    def test_signed_documents(self):
        self.write(("rules", "GenericRules", "Modem", {}))
        self.passes("keygen", "--private", "other-key", "--public", "other")
        self.signed("library", "rules")
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

    LAYERS = {  # how specific each layer is, and its path
        "generic": (0, "GenericRules"), "set": (1, "RuleSets.{name}"), "part_number": (2, "MPNRules.{name}"),
        "region": (3, "MPNRules.{number}.RegionRules.{name}"),
    }

    def replaced(self, number, region):
        """What `tavik explain` says of a device's entries: those whose value is dropped, and those that hold without a value."""
        self.file("device", json.dumps({"ModelNumber": number} | ({"RegionInfo": region} if region else {})))
        run = self.tavik("explain", "--unsigned", "--library", "library", "--rules", "rules", "--attributes", "device", "--format", "json")
        dropped, without = set(), set()
        for rule in json.loads(run.out)["rules"]:
            placed = [(rank, f"{path.format(number=number, **entry)}.{rule['rule']}", entry["entry"].get("value"))
                      for entry in rule["entries"] for rank, path in [self.LAYERS[entry["layer"]]]]
            rank, path, value = placed[-1]
            without |= {path} if value is None else set()
            dropped |= {f"{lost}.value" for lower, lost, other in placed[:-1]
                        if other is not None and (value is None or value != other and rank <= lower)}
        return dropped, without

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
            local = {"version": 1, "MPNRules": {}, "GenericRules": layer(*sets[:2]), "RuleSets": {name: layer() for name in sets}}
            for number in ("M1", "M2"):
                part = list(layer(*sets).items()) + [("RegionRules", {region: layer(sets[2]) for region in ("R1", "R2")})] * dice.randrange(2)
                dice.shuffle(part)
                local["MPNRules"][number] = dict(part)
            self.file("rules", json.dumps(local))
            with self.subTest(local):
                expected = [self.replaced(number, region) for number, part in local["MPNRules"].items()
                            for region in part.get("RegionRules", [None])]
                findings = self.findings()
                for name, paths in zip(("dropped-value", "compares-with-nothing"), zip(*expected)):
                    self.assertEqual({f["path"] for f in findings if f["name"] == name}, set().union(*paths))

    def test_known_findings_are_not_reported(self):
        mistake = ("rules", "GenericRules", "Modem", {})
        self.write(mistake)
        self.assertEqual(self.lint("--write-baseline", "new").status, FAILED)
        entries = json.loads((self.folder / "new").read_text(encoding="utf-8"))["findings"]
        self.assertEqual({(entry["name"], entry["path"]) for entry in entries},
                         {("undefined-rule", "GenericRules.Modem"), ("text-read-as-zero", "System partition size at most")})

        def known(reason, *options):
            self.file("known", json.dumps({"findings": [entry | {"reason": reason} for entry in entries]}))
            run = self.lint("--baseline", "known", "--format", "json", *options)
            return run.status, {finding["name"]: finding["document"] for finding in json.loads(run.out)["findings"]}

        self.assertEqual(known("", "--fail-on", "warning"), (FAILED, {"baseline-without-reason": "baseline"}))
        self.assertEqual(known("later", "--fail-on", "information", "--write-baseline", "new"), (PASSED, {}))
        self.assertEqual({entry["reason"] for entry in json.loads((self.folder / "new").read_text(encoding="utf-8"))["findings"]}, {"later"})
        self.write(("rules", "version", "moved by another edit"), ("library", "Color", {"attribute": "ModelNumbr", "predicate": "isUppercase"}))
        unknown = {"unused-rule": "library", "misspelled-attribute": "library", "unused-baseline-entry": "baseline"}
        self.assertEqual(known("later"), (PASSED, unknown))
        self.assertEqual(known("later", "--fail-on", "warning"), (FAILED, unknown))
        for file, message in (("[]", "is not a dictionary"), ("{}", "no list"), ('{"findings": [1]}', "findings[0]"),
                              ('{"findings": [{"name": "x"}]}', '"document"')):
            self.file("known", file)
            self.refuses(UNUSABLE, message, "lint", "--unsigned", "--library", "library", "--baseline", "known")
        for devices, message in (("", "has no devices"), ("{}\n{", "line 1"), ('{"attributes": {}}\n[]', "line 2")):
            self.file("devices", devices)
            self.refuses(UNUSABLE, message, "lint", "--unsigned", "--library", "library", "--devices", "devices")

    def test_more_findings_than_anybody_reads(self):
        self.documents["library"].update({str(number): {"attribute": "A", "predicate": "isUppercase"} for number in range(100_010)})
        self.write()
        run = self.lint("--format", "json")
        self.assertEqual((run.status, run.err.splitlines()[-1]), (PASSED, "tavik: lint: 11 more findings are not shown"))
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
                run = self.lint("--format", dice.choice(["table", "gcc", "sarif", "json"]), "--devices", STATION / "devices.jsonl")
                self.assertIn(run.status, (PASSED, FAILED))


if __name__ == "__main__":
    unittest.main()
