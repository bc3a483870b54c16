"""The command line itself: help, version, and arguments that cannot be understood."""

import shlex
import unittest

from support import UNUSABLE, CommandTest, cases

COMMANDS = ("batch", "check", "convert", "decode", "describe", "diff", "eval", "explain",
            "keygen", "list", "sign", "test", "verify")


class UsageTest(CommandTest):
    def test_help_and_version_are_everywhere(self):
        for command in COMMANDS:
            with self.subTest(command):
                self.assertIn(command, self.passes("--help"))
                text = self.passes(command, "--help")
                self.assertEqual(text, self.passes(command, "-h"))
                self.assertIn("Exit status", text)
                self.assertEqual(self.passes(command, "--version"), "tavik 3.19\n")
        for word in ("--version", "version"):
            self.assertEqual(self.passes(word), "tavik 3.19\n")
        self.assertEqual(self.passes("help"), self.passes("--help"))
        self.assertEqual(self.passes("help", "check"), self.passes("check", "--help"))

    def test_hints_for_the_first_hour(self):
        for name, contents in (
            ("library", '{"version": 1, "R": {"attribute": "A", "predicate": "hasPrefix", "value": "x"}}'),
            ("rules", '{"version": 1, "GenericRules": {"R": {}}}'), ("parts", '{"version": 1, "MPNRules": {"A": {}}}'),
            ("device", "{}"), ("plist", "<plist>\n<dict>\n</dict>\n</plist>\n"), ("comment", '{"a": 1, // one\n "b": 2}'),
            ("title", '/* a */ // b\n{"a": [1,]}'),
            ("zip", b"PK\3\4\x14"), ("csv", "a,b\n1,2\n"), ("yaml", "---\na: 1\n"), ("utf16", '{"a": 1}'.encode("utf-16")),
        ):
            self.file(name, contents)
        self.passes("keygen", "--private", "key", "--public", "pub")
        for case in cases("hints"):
            with self.subTest(case):
                run = self.tavik(*shlex.split(case["command"]))
                self.assertIn(case["words"], run.out + run.err)
        run = self.tavik("check", "--library", "library", "--rules", "rules", "--attributes", "device")  # the fixed key file, which may be there
        self.assertTrue("give --public-key" in run.err or "no key" not in run.err, run.err)

    def test_what_cannot_be_understood_or_read_is_refused(self):
        for name, text in (("library", '{"version": 1}'), ("rules", '{"version": 1}'), ("device", "{}"), ("array", "[1]")):
            self.file(name, text)
        for case in cases("refusals"):
            with self.subTest(case):
                self.refuses(UNUSABLE, case["message"], *shlex.split(case["command"]), stdin=b'{"version": 1}')

    def test_a_message_is_one_harmless_line_whatever_the_arguments_hold(self):
        for argument in ("a\nb", "\x1b[31mred", "\u202egnirts", "\u2028"):
            with self.subTest(ascii(argument)):
                line = self.refuses(UNUSABLE, "No such file", "convert", "--to", "json", argument)
                self.assertTrue(line.isprintable(), ascii(line))
                self.assertTrue(self.refuses(UNUSABLE, "unknown command", argument).isprintable())


if __name__ == "__main__":
    unittest.main()
