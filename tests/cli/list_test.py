"""`tavik list`: the five lists as JSON and as tables, and what keeps one from being made."""

import json
import unittest

from support import NO_VERDICT, PASSED, CommandTest

LIBRARY = {
    "version": "L1",
    "Carrier": {"attribute": "IntegratedCircuitCardIdentity", "predicate": "hasPrefix", "value": "89", "domain": "radio"},
    "Colour": {"attribute": "Colour", "predicate": "equal", "poll": 5,
               "references": [{"source": "SFC", "description": "Scan\nthe housing"}, {"source": "gui"}]},
    "Board": {"attribute": "Board", "predicate": "equal", "domain": ["a"],
              "references": [{"source": "sfc", "attribute": "Traveller"}, {"attribute": "Own"}]},
    "Elsewhere": {"attribute": "X", "domain": "not this device's", "poll": 1, "references": [{"source": "sfc"}]},
}
RULES = {"version": 7, "MPNRules": {"MD1": {"Carrier": {}, "Colour": {"value": 1}, "Board": {}, "Undefined": {}}}}


class ListTest(CommandTest):
    def setUp(self):
        super().setUp()
        self.documents(LIBRARY, RULES)
        self.file("device", '{"ModelNumber": "MD1"}')

    def list(self, kind, *options, rules="rules", trust=("--unsigned",)):
        return self.tavik("list", kind, *trust, "--library", "library", "--rules", rules, "--attributes", "device", *options)

    def test_json(self):
        cases = {
            "sfc": '{"Colour": "Scan\\nthe housing", "Traveller": "Traveller"}',
            "gui": '{"Colour": "Colour"}',
            "sim": '{"Carrier": {"attribute": "IntegratedCircuitCardIdentity", "predicate": "hasPrefix", "value": "89", '
                   '"domain": "radio"}}',
            "domain": '{"0": "radio", "1": ["a"]}',
            "polling": '{"0": 5}',
        }
        for kind, expected in cases.items():
            with self.subTest(kind):
                run = self.list(kind, "--format", "json")
                self.assertEqual((run.status, run.out), (PASSED, f'{{"list": {expected}, "error": null}}\n'))
        self.file("device", '{"ModelNumber": "MD2"}')
        run = self.list("sfc", "--format", "json")
        self.assertEqual((run.status, run.out), (NO_VERDICT, '{"list": null, "error": {"domain": "ZRT Tavik Error Domain", '
                                                             '"code": -100003, "description": "unknown MPN:MD2"}}\n'))
        self.assertIn("tavik: list: --rules rules: unknown MPN:MD2\n", run.err)

    def test_nothing_to_gather_is_an_empty_list(self):
        self.file("none", '{"version": 1}')
        self.file("empty", "{}")
        for rules in ("none", "empty"):
            run = self.list("sfc", "--format", "json", rules=rules)
            self.assertEqual((run.status, run.out), (PASSED, '{"list": {}, "error": null}\n'))

    def test_table(self):
        self.assertEqual(self.list("sfc").out, "attribute  description\nColour     Scan\\nthe housing\nTraveller  Traveller\n")
        self.assertEqual(self.list("polling").out, "number  poll\n0       5\n")
        self.file("device", "{}")
        run = self.list("domain")
        self.assertEqual((run.status, run.out), (NO_VERDICT, ""))

    def test_signed_documents(self):
        self.signed("library", "rules")
        (self.folder / "library.signed").rename(self.folder / "library")
        trust = ("--public-key", "pub")
        run = self.list("gui", "--format", "json", rules="rules.signed", trust=trust)
        self.assertEqual((run.status, run.err, json.loads(run.out)["list"]), (PASSED, "", {"Colour": "Colour"}))
        run = self.list("gui", "--format", "json", trust=trust)
        self.assertEqual((run.status, json.loads(run.out)["error"]["code"]), (NO_VERDICT, -100008))
        self.file("library", json.dumps(LIBRARY))
        self.refuses(NO_VERDICT, "--library library: ", "list", "sfc", *trust, "--library", "library", "--rules", "rules",
                     "--attributes", "device")


if __name__ == "__main__":
    unittest.main()
