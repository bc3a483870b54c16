"""`tavik diff`: exactly the changes of rules and results, with the affected devices; trust, and invalid input."""

import copy
import json
import os
import plistlib
import unittest

from support import FAILED, NO_VERDICT, PASSED, UNUSABLE, CommandTest

LIBRARY = {
    "version": "L1",
    "Color": {"attribute": "Color", "predicate": "valueInList", "value": ["sand", "slate"]},
    "Size": {"attribute": "Size", "predicate": "equal", "value": 64},
    "Form": {"attribute": "Color", "predicate": "not isUppercase", "hideResult": "", "note": "ignored"},
    "Send": {"attribute": "Size", "predicate": "sendStaticAttribute", "value": {"OnPass": "1"}},
    "SendToo": {"attribute": "Size", "predicate": "NOT sendStaticAttribute", "value": {"OnPass": "2"}},
}
RULES = {
    "version": "R1",
    "MPNRules": {"P1": {"Color": {}, "Size": {"value": 32}, "RegionRules": {"EU": {"Form": {}}, "US": {}}},
                 "P2": {"Size": {}, "BaseRuleSet": {}}, "P3": {"RegionRules": {"EU": {}, "US": {}}}},
    "GenericRules": {"Color": {}},
    "RuleSets": {"BaseRuleSet": {"Send": {}, "SendToo": {}}, "SpareRuleSet": {"Form": {}}},
}
P1, P1_EU, P2, P3 = ([{"part_number": "P1", "region": "EU"}, {"part_number": "P1", "region": "US"}],
                     [{"part_number": "P1", "region": "EU"}], [{"part_number": "P2"}],
                     [{"part_number": "P3", "region": "EU"}, {"part_number": "P3", "region": "US"}])
UNKNOWN = {"reason": "unknown part number or region"}


def merged(document, change):
    """The document with a change: None removes an entry."""
    result = copy.deepcopy(document)
    for key, value in change.items():
        if value is None:
            del result[key]
        elif isinstance(value, dict) and value and isinstance(result.get(key), dict):
            result[key] = merged(result[key], value)
        else:
            result[key] = value
    return result


def turned(value):
    """The value with every dictionary's keys in another order."""
    if isinstance(value, list):
        return [turned(element) for element in value]
    return {key: turned(value[key]) for key in reversed(value)} if isinstance(value, dict) else value


class DiffTest(CommandTest):
    def setUp(self):
        super().setUp()
        self.maxDiff = None
        self.file("library", json.dumps(LIBRARY))
        self.file("old", json.dumps(RULES))

    def diff(self, new, *options, old="old", trust=("--unsigned",)):
        name = new if isinstance(new, str) else self.file("new", json.dumps(new))
        return self.tavik("diff", *trust, old, name, *options)

    def changes(self, new, *options):
        run = self.diff(new, *options, "--format", "json")
        answer = json.loads(run.out)
        self.assertEqual(run.status, FAILED if answer["changes"] or answer.get("devices") else PASSED)
        return answer["changes"]

    def test_what_changes_for_whom(self):
        def changed(rule, old, new, *sources):
            named = zip(("old_value_from", "new_value_from"), sources)
            return {"change": "changed", "rule": rule, "old": old, "new": new,
                    **{key: source for key, source in named if source}}

        gained_form = {"change": "gained", "rule": "Form", "new": {"attribute": "Color", "predicate": "NOT isUppercase",
                                                                  "hideResult": True}}
        cases = (
            ("a generic entry removes the part number's value",
             {"GenericRules": {"Size": {}}},
             [(P1, [changed("Size", {"value": 32}, {"value": 64}, "part_number", "library")]),
              (P3, [{"change": "gained", "rule": "Size", "new": {"attribute": "Size", "predicate": "equal", "value": 64},
                     "new_value_from": "library"}])]),
            ("equal changes are listed once",
             {"MPNRules": {"P1": {"RegionRules": {"US": {"Form": {}}}}, "P3": {"Form": {}}}},
             [([P1[1], *P3], [gained_form])]),
            ("a new value, and a different one",
             {"MPNRules": {"P1": {"RegionRules": {"EU": {"Form": {"value": 1}}}}, "P2": {"Size": {"value": 64.5}}}},
             [(P1_EU, [changed("Form", {}, {"value": 1}, None, "region")]),
              (P2, [changed("Size", {"value": 64}, {"value": 64.5}, "library", "part_number")])]),
            ("a set",
             {"RuleSets": {"BaseRuleSet": {"Send": None, "Size": {"value": "64"}}}},
             [(P2, [changed("Size", {"value": 64}, {"value": "64"}, "library", "set BaseRuleSet"),
                    {"change": "lost", "rule": "Send", "old": LIBRARY["Send"], "old_value_from": "library"}])]),
            ("part numbers and regions",
             {"MPNRules": {"P2": None, "P4": {"Form": {}}, "P3": {"RegionRules": {"US": None}}}},
             [(P2 + P3[1:], [{"change": "refused", "old": {}, "new": UNKNOWN}]),
              ([{"part_number": "P4"}], [{"change": "accepted", "old": UNKNOWN, "new": {}}, gained_form,
                                         {"change": "gained", "rule": "Color", "new": LIBRARY["Color"],
                                          "new_value_from": "library"}])]),
            ("an unknown set",
             {"MPNRules": {"P1": {"GoneRuleSet": {}}}},
             [(P1, [{"change": "refused", "old": {}, "new": {"reason": "unknown RuleSet:GoneRuleSet"}}])]),
        )
        for why, change, expected in cases:
            with self.subTest(why):
                found = [(group["devices"], group["changes"])
                         for group in self.changes(merged(RULES, change), "--library", "library")]
                self.assertEqual(found, expected)

    def test_order_of_forwarding_and_left_over_devices(self):
        turned_set = merged(RULES, {"RuleSets": None})
        turned_set["RuleSets"] = turned(RULES["RuleSets"])
        self.assertEqual(self.changes(turned_set, "--library", "library"), [{"devices": P2, "changes": [
            {"change": "forwards", "old": {"rules": ["Send", "SendToo"]}, "new": {"rules": ["SendToo", "Send"]}}]}])
        regions = merged(RULES, {"MPNRules": {"P2": {"RegionRules": {"EU": {}}}, "P3": {"RegionRules": None}}})
        refused, accepted = self.changes(regions, "--library", "library")
        self.assertEqual(refused, {"devices": P2, "changes": [{"change": "refused", "old": {}, "new": UNKNOWN}]})
        self.assertEqual(accepted["devices"], [{"part_number": "P3"}])
        self.assertEqual([change["change"] for change in accepted["changes"]], ["accepted", "gained"])
        self.assertIn("\nP2 (any other region)\n  refused   no longer get rules: unknown part number or region\n",
                      self.diff(regions).out)
        self.assertIn("\nP1 (any other region), P3 (any other region), any other part number\n  accepted  got no rules: ",
                      self.diff(merged(RULES, {"MPNRules": None})).out)

    def test_what_changes_nothing(self):
        respelt = turned(merged(RULES, {"RuleSets": None}))
        respelt["RuleSets"] = RULES["RuleSets"]
        cases = {
            "the same": RULES,
            "another order": respelt,
            "another version": merged(RULES, {"version": 2}),
            "keys and sets that are ignored": merged(RULES, {"extra-rules": {"X": {}}, "MPNRules": {"P1": {"Color": {"note": "x"}}},
                                                 "RuleSets": {"SpareRuleSet": {"Color": {"value": 1}}}}),
            "the library's own value": merged(RULES, {"MPNRules": {"P2": {"Size": {"value": 64.0}}}}),
            "an entry in another layer": merged(RULES, {"MPNRules": {"P1": {"Color": None}}}),
        }
        for why, new in cases.items():
            with self.subTest(why):
                self.assertEqual(self.changes(new, "--library", "library"), [])
                self.assertTrue(self.diff(new, "--library", "library").out.endswith("\n\nno device gets different rules\n"))
        for format in (plistlib.FMT_XML, plistlib.FMT_BINARY):
            self.file("new", plistlib.dumps(RULES, fmt=format, sort_keys=False))
            self.assertEqual(self.changes("new", "--library", "library"), [])
        library = merged(LIBRARY, {"Form": {"predicate": "NOT isUppercase", "hideResult": False, "note": None},
                                   "Unused": {"attribute": "X"}, "version": "L2"})
        self.file("library2", json.dumps(turned(library)))
        self.assertEqual(self.changes("old", "--library", "library", "--library", "library2"), [])

    def test_library(self):
        self.file("library2", json.dumps(merged(LIBRARY, {"Size": {"value": 128}, "Form": {"predicate": "isUppercase"},
                                                          "Color": {"references": [{"attribute": "Size"}]}})))
        groups = self.changes("old", "--library", "library", "--library", "library2")
        self.assertEqual([(group["devices"], [change["rule"] for change in group["changes"]]) for group in groups],
                         [([*P1, *P2, *P3], ["Color"]), (P1_EU, ["Form"]), (P2, ["Size"])])
        self.assertEqual(groups[1]["changes"][0]["old"], {"predicate": "NOT isUppercase"})
        self.assertEqual(groups[0]["changes"][0]["new"], {"references": [{"attribute": "Size"}]})
        # Without a library, only values in the local rules count.
        new = merged(RULES, {"MPNRules": {"P1": {"Size": {}}}})
        self.assertEqual(self.changes(new)[0]["changes"], [
            {"change": "changed", "rule": "Size", "old": {"value": 32}, "new": {}, "old_value_from": "part_number"}])

    def test_text(self):
        new = merged(RULES, {"version": "R2", "GenericRules": {"Size": {}, "Color": {
            "value": ["sand", "slate", "a color with a name that is rather long", "another color with a long name"]}}})
        run = self.diff(new, "--library", "library")
        self.assertEqual(run.out, """\
local rules  R1 -> R2
library      L1, the same version

every device
  changed   Color
            expected value: with "a color with a name that is rather long", "another color with a long name"
            expected value: of library -> of GenericRules

P1
  changed   Size
            expected value: 32 (part number) -> 64 (library)

P3
  gained    Size
            Size  equal  64 (library)
""")

    def test_text_of_what_is_long_or_refused(self):
        long = "a text that is too long to fit next to another one"
        send, other = ({"RuleSets": {"BaseRuleSet": {"Send": {"value": {"OnPass": "1", **more}}}}}
                       for more in ({}, {"OnFail": long}))
        gone, lost = ({"MPNRules": {"P1": {f"{name}RuleSet": {}}}} for name in ("Gone", "Lost"))
        cases = (
            (send, other, 'expected value, "OnFail": with "a text that'),
            (other, send, 'expected value, "OnFail": without "a text that'),
            (other, {"RuleSets": {"BaseRuleSet": {"Send": {"value": {"OnPass": "1", "OnFail": "2"}}}}},
             f'expected value, "OnFail": "{long}" -> "2"'),
            ({"MPNRules": {"P1": {"RegionRules": {"EU": {"Form": {"value": long}}}}}}, {},
             f'expected value, old: "{long}" (region)\n            expected value, new: none\n'),
            ({}, gone, "refused   no longer get rules: unknown RuleSet:GoneRuleSet"),
            (gone, lost, "get no rules, for a different reason\n            old: unknown RuleSet:GoneRuleSet\n"),
        )
        for before, after, text in cases:
            with self.subTest(text):
                self.file("old", json.dumps(merged(RULES, before)))
                out = self.diff(merged(RULES, after), "--library", "library").out
                self.assertIn(text, out)
        self.file("old", json.dumps(RULES))
        self.file("library2", json.dumps(merged(LIBRARY, {"Form": {"hideResult": None}})))
        self.assertIn("hidden: true -> none", self.diff("old", "--library", "library", "--library", "library2").out)

    def test_devices(self):
        for name, size in (("good", 32), ("other", 64)):
            self.file(name, json.dumps({"ModelNumber": "P1", "RegionInfo": "US", "Color": "sand", "Size": size}))
        new = merged(RULES, {"MPNRules": {"P1": {"Size": {}}}})
        run = self.diff(new, "--library", "library", "--attributes", "good", "--attributes", "other")
        self.assertEqual(run.status, FAILED)
        self.assertIn("""
2 of 2 devices have a different result: 1 no longer passes, 1 now passes
  rule  now fails  now passes  differs
  Size  1          1           0

1 device no longer passes: passed -> FAILED
  good
  Size
    old  pass  actual 32, expected equal 32
    new  FAIL  actual 32, expected equal 64

1 device now passes: FAILED -> passed
  other
  Size
    old  FAIL  actual 64, expected equal 32
    new  pass  actual 64, expected equal 64

P1
""", run.out)
        run = self.diff(new, "--library", "library", "--attributes", "good", "--format", "json")
        record, answer = {"rule": "Size", "actual": 32}, json.loads(run.out)
        self.assertEqual(list(answer), ["versions", "changes", "checked", "devices", "counts", "documents", "warnings"])
        self.assertEqual(answer["devices"], [{
            "id": "good", "old": {"verdict": "passed", "station": {}}, "new": {"verdict": "failed", "station": {}},
            "rules": [{"rule": "Size", "old": record | {"result": True, "expected": "equal 32"},
                       "new": record | {"result": False, "expected": "equal 64"}}]}])
        self.assertEqual(answer["counts"], {"no_longer_pass": 1, "now_pass": 0, "other_reason": 0, "texts": 0})
        self.assertEqual([document["version"] for document in answer["documents"].values()], ["R1", "R1", "L1", "L1"])
        self.file("p2", json.dumps({"ModelNumber": "P2", "Color": "sand", "Size": 64}))
        faulty = merged(LIBRARY, {"Color": {"predicate": "sendConditionalAttribute", "value": {"list": []}}})
        cases = (
            ("good", merged(RULES, {"MPNRules": {"P1": None}}), LIBRARY,
             "no longer passes: passed -> no verdict: unknown MPN:P1\n  good\n  Color\n    old  pass"),
            ("other", merged(RULES, {"MPNRules": {"P1": None}}), LIBRARY,
             "1 does not pass for a different reason\n"),
            ("good", RULES, faulty, "1 device no longer passes: passed -> fault: "),
            ("p2", {**RULES, "RuleSets": turned(RULES["RuleSets"])}, LIBRARY,
             '1 device has different texts: FAILED\n  p2\n  to the station\n    old  {"OnPass": "2"}\n    new  {"OnPass": "1"}\n'),
            ("good", RULES, LIBRARY, "\n0 of 1 device has a different result\n"),
        )
        for device, rules, library, text in cases:
            with self.subTest(text):
                self.file("library2", json.dumps(library))
                both = ("--library", "library", "--library", "library2", "--attributes", device)
                self.assertIn(text, self.diff(rules, *both).out)
                status = PASSED if "0 of 1" in text or "texts" in text else FAILED
                self.assertEqual(self.diff(rules, *both, "--fail-on", "verdict").status, status)

    def test_many_devices(self):
        """Devices with the same changes are one entry, and lists end with the number of entries left out."""
        sizes = [32, 32, 64, "<b>\x1b", *range(100, 130)]
        self.file("batch", "".join(json.dumps({"id": f"u{i}", "attributes": {
            "ModelNumber": "P1", "RegionInfo": "US", "Color": "sand", "Size": size}}) + "\n" for i, size in enumerate(sizes)))
        new = merged(RULES, {"MPNRules": {"P1": {"Size": {}}}})
        options = ("--library", "library", "--batch", "batch")
        out = self.diff(new, *options).out
        self.assertIn("34 of 34 devices have a different result: 2 no longer pass, 1 now passes, 31 have different texts", out)
        self.assertIn("\n2 devices no longer pass: passed -> FAILED\n  u0, u1\n  Size\n", out)
        self.assertRegex(out, r"\n31 devices have different texts: FAILED\n  u3, .*, u22 and 11 more\n  for example u3:\n  Size\n"
                              r"    old  FAIL  actual <b>\\x1b, expected")
        cases = (("2", "u3, u4 and 29 more\n"), ("0", ", u33\n"), ("1", "u0 and 1 more\n"))
        for limit, text in cases:
            self.assertIn(text, self.diff(new, *options, "--limit", limit).out)
        devices = [len(json.loads(self.diff(new, *options, "--format", "json", *limit).out)["devices"])
                   for limit in ((), ("--limit", "3"))]
        self.assertEqual(devices, [34, 3])
        both = merged(new, {"GenericRules": {"Color": {"value": ["red"]}}})
        self.assertIn("\n  and 1 more rule\n", self.diff(both, *options, "--limit", "1").out)

    def test_many_kinds(self):
        """Each of many regions has an exception of its own: nearly every device is in nearly every list."""
        names = [str(number) for number in range(1010)]
        for version, library in (("1", "library"), ("2", "library2")):
            self.file(library, json.dumps({"version": version, **{name: {"attribute": "A", "value": version} for name in names}}))
        self.file("old", json.dumps({"version": 1, "MPNRules": {"P": {
            **{name: {} for name in names}, "RegionRules": {name: {name: {"value": 0}} for name in names}}}}))
        groups = self.changes("old", "--library", "library", "--library", "library2")
        self.assertEqual({group["changes"][0]["rule"] for group in groups}, set(names))
        for group in groups:
            self.assertEqual((len(group["devices"]), group["devices_left_out"], len(group["changes"])), (990, 19, 1))
            self.assertNotIn({"part_number": "P", "region": group["changes"][0]["rule"]}, group["devices"])

    def test_page(self):
        self.file("device", json.dumps({"ModelNumber": "P1", "RegionInfo": "US", "Color": "<script>", "Size": 32}))
        new = merged(RULES, {"version": "<i>", "MPNRules": {"P1": {"Size": {"value": "</script><script>"}}}})
        environment = {**os.environ, "SOURCE_DATE_EPOCH": "0"}
        self.file("new", json.dumps(new))
        run = self.tavik("diff", "--unsigned", "old", "new", "--library", "library", "--attributes", "device",
                         "--format", "html", env=environment)
        documents = json.loads(self.diff(new, "--format", "json").out)["documents"]
        for text in ("Rule changes from R1 to &lt;i&gt;", "1970-01-01 00:00:00 UTC", "Signatures were not verified",
                     "1 has different texts", "&lt;/script&gt;&lt;script&gt;", *(each["sha256"] for each in documents.values())):
            self.assertIn(text, run.out)
        self.assertEqual(run.out.count("<script>"), 1)
        self.assertRegex(run.out, "Content-Security-Policy\" content=\"default-src 'none';")

    def test_same_version(self):
        """The command warns if the content changes but the version does not."""
        changed = {"GenericRules": {"Size": {}}}
        self.file("library2", json.dumps(merged(LIBRARY, {"Size": {"value": 128}})))
        cases = ((RULES, ("library",), []), (merged(RULES, changed), ("library",), ["new"]),
                 (merged(RULES, {**changed, "version": "R2"}), ("library",), []), (turned(RULES), ("library",), []),
                 (merged(RULES, changed), ("library", "library2"), ["new", "library2"]))
        for rules, libraries, named in cases:
            options = [word for library in libraries for word in ("--library", library)]
            run = self.diff(rules, *options, "--format", "json")
            warnings = json.loads(run.out)["warnings"]
            self.assertEqual([warning.split(":")[0] for warning in warnings], named)
            page = self.diff(rules, *options, "--format", "html").out
            for warning in warnings:
                self.assertIn(f"tavik: diff: {warning}\n", run.err)
                self.assertIn("Warning: " + warning.replace('"', "&quot;"), page)

    def test_trust_and_refusals(self):
        self.passes("keygen", "--private", "key", "--public", "pub")
        for name in ("old", "library"):
            self.passes("sign", "--key", "key", name, "-o", name + ".signed")
        trust = ("--public-key", "pub")
        run = self.diff("old.signed", "--library", "library.signed", old="old.signed", trust=trust)
        self.assertEqual((run.status, run.err), (PASSED, ""))
        self.file("line", '{"attributes": {}}\n{"attributes": 5}\n')
        signed = ("diff", *trust, "old.signed")
        plain = ("diff", "--unsigned", "old", "old")
        cases = (
            (NO_VERDICT, "tavik: diff: old: ", (*signed, "old")),
            (NO_VERDICT, "--library library: ", (*signed, "old.signed", "--library", "library")),
            (NO_VERDICT, "old.signed: is signed", ("diff", "--unsigned", "old", "old.signed")),
            (UNUSABLE, "gone: No such file", ("diff", "--unsigned", "old", "gone")),
            (UNUSABLE, "library: is a rule library; to compare two", ("diff", "--unsigned", "library", "old")),
            (UNUSABLE, "--library is missing", (*plain, "--attributes", "line")),
            (UNUSABLE, "--source requires --attributes", (*plain, "--source", "sfc=line")),
            (UNUSABLE, "--limit: Value -1 not in range", (*plain, "--limit", "-1")),
            (UNUSABLE, "--fail-on verdict requires", (*plain, "--library", "library", "--fail-on", "verdict")),
            (UNUSABLE, "--library is given more than twice", (*plain, *["--library", "library"] * 3)),
            (UNUSABLE, '--batch line: line 2: "attributes" is not an object',
             (*plain, "--library", "library", "--batch", "line")),
            (UNUSABLE, "/proc/self/mem: Input/output error", (*plain, "--library", "library", "--batch", "/proc/self/mem")),
        )
        for status, message, arguments in cases:
            with self.subTest(message):
                self.refuses(status, message, *arguments)


if __name__ == "__main__":
    unittest.main()
