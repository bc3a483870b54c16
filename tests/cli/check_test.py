"""`tavik check`: the JSON byte for byte, the table, the exit statuses, the station dictionary and the log."""

import fcntl
import hashlib
import json
import os
import plistlib
import pty
import struct
import subprocess
import termios
import unittest

from support import FAILED, FAULT, NO_VERDICT, PASSED, TAVIK, CommandTest, cases, shown_on

LIBRARY = {
    "version": "L1",
    "Model": {"attribute": "ModelNumber", "predicate": "hasPrefix", "value": "MD"},
    "Region": {"attribute": "RegionInfo", "predicate": "valueInList", "value": ["LL/A", "ZP/A"]},
    "Hidden": {"attribute": "ModelNumber", "predicate": "hasPrefix", "value": "MD", "hideResult": True},
    "Reference": {"attribute": "ModelNumber", "predicate": "equal", "references": [{"source": "sfc"}]},
    "Send": {"attribute": "ModelNumber", "predicate": "sendStaticAttribute", "value": {"OnPass": "good", "OnFail": 5}},
    "Malformed": {"attribute": "ModelNumber", "predicate": "a XOR b"},
    "Faulty": {"attribute": "ModelNumber", "predicate": "equal", "references": []},
    "Device Rules": {"attribute": "ModelNumber", "predicate": "staticTextGUIEquals", "value": "valid rule lists",
                     "references": [{"attribute": "ModelNumber"}]},
}
DEVICE = {"ModelNumber": "MD123", "RegionInfo": "LL/A"}
VERSIONS = [{"rule": rule, "result": True, "actual": actual, "expected": expected} for rule, actual, expected in (
    ("TavikKernel lib version", "3.1900", "current library"), ("TavikRules version", "L1", "current rules"),
    ("device Rules version", "7", "current rules"))]
UNSIGNED = "tavik: check: --unsigned: rule documents are used as they are; signatures are not verified\n"


class CheckTest(CommandTest):
    def setUp(self):
        super().setUp()
        self.file("library", json.dumps(LIBRARY))

    def arguments(self, *rules, device=None, local=None):
        """The command line for a device that gets these rules."""
        documents = local or {"version": 7, "GenericRules": {rule: {} for rule in rules}}
        self.file("rules", json.dumps(documents))
        self.file("device", json.dumps(DEVICE | (device or {})))
        return ("check", "--unsigned", "--library", "library", "--rules", "rules", "--attributes", "device")

    def check(self, *rules, options=(), **inputs):
        run = self.tavik(*self.arguments(*rules, **inputs), *options)
        self.assertTrue(run.err.startswith(UNSIGNED), run.err)
        run.err = run.err[len(UNSIGNED):]
        return run

    def documents(self):
        """The end of the JSON: versions and digests of the documents, and the kernel's version."""
        def entry(name, version):
            digest = hashlib.sha256(self.tavik("convert", "--to", "binary", name).stdout).hexdigest()
            return f'"{name}": {{"version": "{version}", "sha256": "{digest}"}}'
        return f'"documents": {{{entry("library", "L1")}, {entry("rules", 7)}}}, "kernel": "3.19"'

    def expect(self, run, status, out, err=""):
        self.assertEqual((run.out, run.err, run.status), (out, err, status))

    def test_json(self):
        for case in cases("check-json"):
            with self.subTest(case["why"]):
                run = self.check(*case.get("rules", ()), device=case.get("device"), local=case.get("local"), options=("--format", "json"))
                outcome = {"records": VERSIONS + case["records"] if "records" in case else None, "station": {}, "error": case.get("error"),
                           "verdict": case.get("verdict", "none"), "reason": case.get("reason"), "signatures": "not verified"}
                said = f"tavik: check: {case['stderr']}\n" if "stderr" in case else ""
                self.expect(run, case["status"], json.dumps(outcome)[:-1] + f", {self.documents()}}}\n", said)

    def test_a_fault_names_its_rule(self):
        run = self.check("Send", "Faulty", options=("--format", "json"))
        outcome = json.loads(run.out)
        self.assertEqual(run.status, FAULT)
        self.assertEqual((outcome["records"], outcome["error"], outcome["fault"]["kind"]), (None, None, "range"))
        self.assertEqual(list(outcome), ["records", "station", "error", "fault", "verdict", "reason", "signatures", "documents", "kernel"])
        self.assertEqual(outcome["verdict"], "none")
        self.assertEqual((outcome["reason"]["kind"], outcome["reason"]["rule"]), ("fault", "Faulty"))
        self.assertEqual(outcome["station"], {"OnPass": "good", "OnFail": 5})
        self.assertEqual(outcome["fault"]["message"], f'rule "Faulty": {outcome["reason"]["description"]}')
        self.assertEqual(run.err, f"tavik: check: fault: {outcome['fault']['message']}\n")

        run = self.check(local={"GenericRules": {"Model": {}}})
        self.assertEqual((run.status, run.out), (FAULT, ""))
        self.assertNotIn("rule \"", run.err)

    def test_table(self):
        run = self.check("Model", "Region", "Hidden", "Nowhere", device={"RegionInfo": "bad\x1b[2J\nthing"})
        self.expect(run, FAILED, """\
      rule                     actual                                   expected
pass  TavikKernel lib version  3.1900                                   current library
pass  TavikRules version       L1                                       current rules
pass  device Rules version     7                                        current rules
pass  Model                    MD123                                    has prefix MD
FAIL  Region                   bad\\x1b[2J\\nthing                        one of LL/A,ZP/A
FAIL  Nowhere                  attribute (null) not found from device!  N/A

FAIL  Region
      actual    bad\\x1b[2J\\nthing
      expected  one of LL/A,ZP/A

FAIL  Nowhere
      actual    attribute (null) not found from device!
      expected  N/A
      to do     The problem is in the rules, not in the device. Tell their author.

FAILED  4 rules: 2 passed, 2 failed, 1 hidden
""")
        self.assertTrue(self.check("Model").out.endswith("\nPASSED  1 rule: 1 passed, 0 failed\n"))
        self.assertTrue(self.check().out.endswith("\nNO VERDICT: no rule was checked\n"))

    def test_a_hidden_rule_that_fails_is_shown(self):
        out = self.check("Hidden", device={"ModelNumber": "XX"}).out
        self.assertIn("FAIL  Hidden (hidden) ", out)
        self.assertIn("FAILED  1 rule: 0 passed, 1 failed, 1 hidden\n", out)

    def test_wide_characters_and_long_texts_stay_aligned_and_whole(self):
        long = "MD" + "x" * 300
        lines = self.check("Model", "Region", device={"ModelNumber": "MD日本", "RegionInfo": long}).out.splitlines()
        self.assertIn(f"FAIL  Region                   {long}  one of LL/A,ZP/A", lines)
        self.assertIn("pass  Model                    MD日本" + " " * 44 + "has prefix MD", lines)

    def on_terminal(self, columns, **environment):
        """What a terminal shows of a failing check."""
        arguments = self.arguments("Model", "Region", device={"RegionInfo": "R" * 100})
        master, terminal = pty.openpty()
        fcntl.ioctl(terminal, termios.TIOCSWINSZ, struct.pack("4H", 40, columns, 0, 0))
        keep = {name: value for name, value in os.environ.items() if name not in ("COLUMNS", "NO_COLOR")}
        subprocess.run([TAVIK, *arguments], stdout=terminal, stderr=subprocess.DEVNULL, cwd=self.folder, check=False,
                       env=keep | {"TERM": "xterm"} | environment)
        os.close(terminal)
        return shown_on(master)

    def test_a_terminal_gets_colour_and_lines_that_fit(self):
        shown = self.on_terminal(70)
        self.assertIn("\x1b[1;31mFAIL  Region", shown)
        table, details = shown.split("\n\n", 1)
        self.assertIn("R…", table)
        self.assertIn("actual    \x1b[1;4m" + "R" * 100 + "\x1b[0m\n", details)
        plain = self.on_terminal(70, NO_COLOR="1")
        self.assertNotIn("\x1b", plain)
        self.assertEqual(max(len(line) for line in plain.split("\n\n")[0].splitlines()), 70)
        self.assertNotIn("\x1b", self.on_terminal(70, TERM="dumb"))
        self.assertIn("\x1b", self.on_terminal(70, NO_COLOR=""))
        wide = self.on_terminal(70, NO_COLOR="1", COLUMNS="200")
        self.assertIn("R" * 100, wide.split("\n\n")[0])

    def test_sources(self):
        self.file("sfc.plist", plistlib.dumps({"ModelNumber": "MD123"}))
        self.assertEqual(self.check("Reference").status, FAILED)
        self.assertEqual(self.check("Reference", options=("--source", "sfc=sfc.plist", "--source", "gui=device")).status, PASSED)

    def test_an_attribute_may_be_nested_as_deep_as_a_document_can(self):
        arguments = self.arguments("Model")
        self.file("device", '{"ModelNumber": ' + "[" * 511 + "]" * 511 + "}")
        run = self.tavik(*arguments, "--format", "json")
        self.assertEqual((run.status, run.out.count("[" * 511)), (FAILED, 1))

    def test_the_station_dictionary_is_written_after_the_run(self):
        station = ("--station", "station.plist")
        self.check("Send", options=station)
        self.assertEqual(plistlib.loads((self.folder / "station.plist").read_bytes()), {"OnPass": "good", "OnFail": 5})
        self.check("Model", options=station)  # what an earlier device left does not stay
        self.assertEqual(plistlib.loads((self.folder / "station.plist").read_bytes()), {})

    def test_the_log_is_appended_to(self):
        for _ in range(2):
            self.assertEqual(self.check("Model", options=("--log", "log")).status, PASSED)
        lines = (self.folder / "log").read_text().splitlines()
        self.assertEqual(sum(line.endswith("Z tavik: processing Model") for line in lines), 2)
        self.assertRegex(lines[0], r"^20\d\d-\d\d-\d\dT\d\d:\d\d:\d\d\.\d\d\dZ tavik: sourcesForReferences: ")
        self.check(local={"version": 7, "MPNRules": {"X": {}}}, device={"ModelNumber": "\x1b[2J\n2026-11-21 forged"},
                   options=("--log", "hostile.log"))
        self.assertIn("ERROR:unknown MPN:\\x1b[2J\n    2026-11-21 forged***", (self.folder / "hostile.log").read_text())
        self.check("Faulty", options=("--log", "fault.log"))
        self.assertEqual((self.folder / "fault.log").read_text().count("processing Faulty"), 1)


class EvalTest(CommandTest):
    def eval(self, expression, *options):
        run = self.tavik("eval", expression, *options)
        return run.status, run.out, run.err

    def test_record(self):
        self.assertEqual(self.eval("hasSuffix", "--attribute", '"ABC"', "--value", '"BC"')[1],
                         "result      pass\nactual      ABC\nexpected    has suffix BC\n")
        self.file("list.plist", plistlib.dumps(["A", "B"]))
        self.assertEqual(self.eval("valueInList", "--attribute", '"C"', "--value", "@list.plist")[0], FAILED)

    def test_references_choose_the_form_and_stand_in_for_nothing(self):
        run = self.eval("equal", "--attribute", "1", "--references", '{"a": 1}', "--format", "json")
        self.assertIn("unknown predicate equal:references:value:", run[1])

    def test_malformed_expressions_and_faults(self):
        self.assertEqual(self.eval("a XOR b", "--attribute", "1", "--format", "json"), (
            NO_VERDICT, '{"error": {"domain": "ZRT Tavik Error Domain", "code": -100006, "description": '
            '"invalid logical operator:a XOR b"}}\n', "tavik: eval: invalid logical operator:a XOR b\n"))
        self.refuses(NO_VERDICT, "invalid logical operator:a b c d", "eval", "a b c d", "--attribute", "1")
        status, out, err = self.eval("sendStaticAttribute", "--attribute", "1", "--format", "json")
        self.assertEqual((status, json.loads(out)["fault"]["kind"]), (FAULT, "invalid-argument"))
        self.assertTrue(err.startswith("tavik: eval: sendStaticAttribute: fault: "))

    def test_the_log(self):
        self.eval("a XOR b", "--attribute", "1", "--log", "log")
        self.assertIn("*******ERROR:invalid logical operator:a XOR b*******", (self.folder / "log").read_text())


if __name__ == "__main__":
    unittest.main()
