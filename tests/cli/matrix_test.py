"""`tavik matrix`: every format says which kinds get which rules, with which values; the pages work in a browser."""

import csv
import io
import json
import unittest

import browser
from support import NO_VERDICT, PASSED, UNUSABLE, CommandTest

LIBRARY = {
    "version": "L1",
    "Color": {"attribute": "Color", "predicate": "valueInList", "value": ["sand"]},
    "Size": {"attribute": "Size", "predicate": "equal", "value": 64},
    "Build": {"attribute": "Build", "predicate": "equalLong", "references": [{"source": "sfc"}]},
    "Unused": {"attribute": "X", "predicate": "equal"},
}
RULES = {
    "version": "R1",
    "MPNRules": {"P1": {"Size": {"value": 32}, "Build": {}, "RegionRules": {"EU": {}, "US": {"Size": {"value": "32"}}}},
                 "P2": {"BaseRuleSet": {}}, "P3": {"RegionRules": {"EU": {}, "US": {}}}, "P4": {"GoneRuleSet": {}}},
    "GenericRules": {"Color": {}},
    "RuleSets": {"BaseRuleSet": {"Size": {}, "Local": {"value": 5}}},
}
HOSTILE = "=cmd()\x1b[31m<script>"


class MatrixTest(CommandTest):
    maxDiff = None

    def matrix(self, *options, library=LIBRARY, rules=RULES):
        self.documents(library, rules)
        return self.tavik("matrix", "--unsigned", "--library", "library", "--rules", "rules", *options)

    def test_table(self):
        run = self.matrix()
        self.assertEqual((run.status, run.out), (PASSED, """\
local rules  R1
library      L1

4 rules for 6 part numbers and regions; 3 differ by device
no rules: P4: unknown RuleSet:GoneRuleSet

Size  Size  equal
  32           part number  P1 (EU)
  "32"         region       P1 (US)
  64           library      P2
  not checked               P3

Build  Build  equalLong
  no expected value    P1
  not checked          P2, P3

Local  not defined by the library
  5            set BaseRuleSet  P2
  not checked                   P1, P3

The same for every device  expected  from     attribute and predicate
Color                      ["sand"]  library  Color  valueInList
"""))

    def test_json_and_csv_agree_with_the_table(self):
        answer = json.loads(self.matrix("--format", "json").out)
        self.assertEqual([row["rule"] for row in answer["rules"]], ["Color", "Size", "Build", "Local"])
        size = answer["rules"][1]
        self.assertEqual(size["values"], [
            {"checked": True, "value": 32, "from": "part_number", "count": 1, "group": 0},
            {"checked": True, "value": "32", "from": "region", "count": 1, "group": 1},
            {"checked": True, "value": 64, "from": "library", "count": 1, "group": 2}, {"checked": False, "count": 2}])
        self.assertEqual(answer["groups"][:3], [[{"part_number": "P1", "region": "EU"}], [{"part_number": "P1", "region": "US"}],
                                                [{"part_number": "P2"}]])
        self.assertEqual(answer["refused"], [{"devices": [{"part_number": "P4"}], "reason": "unknown RuleSet:GoneRuleSet"}])
        lines = list(csv.reader(io.StringIO(self.matrix("--format", "csv").out)))
        self.assertEqual(lines[2], ["Size", "Size", "equal", "yes", "32", "part number", "1", "P1 (EU)"])
        self.assertEqual([(line[0], line[3], line[6]) for line in lines[1:]],
                         [(row["rule"], "yes" if value["checked"] else "no", str(value["count"]))
                          for row in answer["rules"] for value in row["values"]])

    def test_filters_and_refusals(self):
        for options, rules in ((("--rule", "Size"), ["Size"]), (("--rule", "Size", "--rule", "Color"), ["Color", "Size"]),
                               (("--part-number", "P3"), ["Color"])):
            answer = json.loads(self.matrix("--format", "json", *options).out)
            self.assertEqual([row["rule"] for row in answer["rules"]], rules)
        self.documents(LIBRARY, RULES)
        self.file("empty", "{}")
        base = ("matrix", "--unsigned", "--library", "library", "--rules")
        cases = (
            (UNUSABLE, '--rule Siez: no device gets this rule; did you mean "Size"?', (*base, "rules", "--rule", "Siez")),
            (UNUSABLE, "--part-number P9: the local rules do not list it", (*base, "rules", "--part-number", "P9")),
            (UNUSABLE, "--format: junit not in", (*base, "rules", "--format", "junit")),
            (UNUSABLE, "--format: csv not in", ("diff", "--unsigned", "rules", "rules", "--format", "csv")),
            (NO_VERDICT, "--rules empty: the document is empty", (*base, "empty")),
        )
        for status, message, arguments in cases:
            with self.subTest(message):
                self.refuses(status, message, *arguments)

    def test_hostile_and_odd_documents(self):
        hostile = {"version": HOSTILE, HOSTILE: {"attribute": HOSTILE, "predicate": HOSTILE, "value": -5},
                   "L" * 5000: {"value": "v" * 5000}}
        rules = {"version": HOSTILE, "MPNRules": {HOSTILE: {HOSTILE: {"value": {"=1;+2": "@"}}}, "P" * 5000: {"L" * 5000: {}}},
                 "GenericRules": {"Also " + HOSTILE: {"value": -5}}}
        odd = (rules, {"version": 1}, {"version": 1, "MPNRules": {}}, {"version": 1, "MPNRules": 5},
               {"version": 1, "GenericRules": {"A": 5}}, {"version": 1, "MPNRules": {"P": {"RegionRules": {}}}})
        for each in odd:
            for format in ("table", "json", "csv", "html"):
                run = self.matrix("--format", format, library=hostile, rules=each)
                self.assertEqual(run.status, PASSED, run.err)
                self.assertNotIn("\x1b", run.out)
                self.assertNotIn("\x1b", run.err)
                if format == "html":
                    self.assertEqual(run.out.count("<script>"), 1)
                if format == "csv":
                    cells = [cell for line in csv.reader(io.StringIO(run.out)) for cell in line]
                    self.assertEqual([cell for cell in cells if cell[:1] in "=+@" and cell], [])
                    self.assertEqual({cell for cell in cells if cell[:1] == "-"}, {"-5"} if each is rules else set())

    @unittest.skipUnless(browser.DRIVER, "needs chromedriver")
    def test_page(self):
        """The head and the first column stay in view, differences are marked, and the filter works."""
        library = {"version": 1, **{f"Rule {i}": {"attribute": f"A{i}", "predicate": "equal", "value": i} for i in range(200)}}
        parts = {f"P{i:02}": {f"Rule {i}": {"value": "<b>"}} for i in range(60)}
        rules = {"version": HOSTILE, "MPNRules": parts, "GenericRules": {f"Rule {i}": {} for i in range(100, 200)}}
        html = self.matrix("--format", "html", library=library, rules=rules).out
        self.assertEqual(html.count('<td class="differs">\u2260 '), 59 * 2)
        self.file("page.html", html)
        with browser.Browser() as page:
            page.open(self.folder / "page.html")
            self.assertEqual(page.run("return [document.querySelectorAll('tbody tr').length, document.querySelectorAll('thead th').length]"),
                             [160, 61])
            corner = page.run("""const frame = document.querySelector('.matrix'); frame.scrollTo(900, 900);
                const head = document.querySelector('thead th:nth-child(30)').getBoundingClientRect();
                const name = document.querySelector('tbody tr:nth-child(60) th').getBoundingClientRect();
                const box = frame.getBoundingClientRect();
                return [Math.round(head.top - box.top), Math.round(name.left - box.left)]""")
            self.assertEqual(corner, [1, 1])
            page.run("const text = document.getElementById('filter-text'); text.value = 'rule 59'; text.dispatchEvent(new Event('input'))")
            self.assertEqual(page.run("return document.getElementById('filter-shown').value"), "1 of 160 shown")
            self.assertEqual(page.messages(), [])


if __name__ == "__main__":
    unittest.main()
