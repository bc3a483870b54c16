"""The command line itself: help, version, and arguments that cannot be understood."""

import unittest

from support import UNUSABLE, CommandTest

COMMANDS = ("batch", "check", "convert", "decode", "describe", "diff", "eval", "explain",
            "keygen", "list", "sign", "test", "verify")
CHECK = ("check", "--library", "l", "--rules", "r", "--attributes", "a")


class UsageTest(CommandTest):
    def test_help_and_version_are_everywhere(self):
        for command in COMMANDS:
            with self.subTest(command):
                self.assertIn(command, self.passes("--help"))
                text = self.passes(command, "--help")
                self.assertEqual(text, self.passes(command, "-h"))
                self.assertIn("Exit status", text)
                self.assertEqual(self.passes(command, "--version"), "tavik 3.19\n")
        self.assertEqual(self.passes("--version"), "tavik 3.19\n")

    def test_what_cannot_be_understood_is_refused(self):
        cases = (
            ("a command is missing", ()),
            ('unknown command "chekc"', ("chekc",)),
            ('unknown option "--bogus"', ("check", "--bogus")),
            ('unknown option "-x"', (*CHECK, "-x")),
            ('unexpected argument "extra"', (*CHECK, "extra")),
            ("--library is required", ("check",)),
            ("--library is given twice", (*CHECK, "--library", "m")),
            ("--unsigned is given twice", (*CHECK, "--unsigned", "--unsigned")),
            ("--public-key and --unsigned exclude each other", (*CHECK, "--unsigned", "--public-key", "p")),
            ("--attributes: 1 required FILE missing", (*CHECK[:-1],)),
            ("--format: xml not in {table,json,junit,html,plist}", (*CHECK, "--format", "xml")),
            ("--algorithm: dsa not in", ("keygen", "--private", "a", "--public", "b", "--algorithm", "dsa")),
            ("--to is required", ("convert", "x")),
            ("EXPRESSION is required", ("eval", "--attribute", "1")),
            ("KIND: elf not in", ("decode", "elf", "x")),
            ("--output is required", ("sign", "--key", "k", "x")),
            ("CASES is required", ("test",)),
        )
        for message, arguments in cases:
            with self.subTest(message):
                self.assertIn("; see tavik" if "exclude" not in message else "",
                              self.refuses(UNUSABLE, message, *arguments))

    def test_a_message_is_one_harmless_line_whatever_the_arguments_hold(self):
        for argument in ("a\nb", "\x1b[31mred", "\u202egnirts", "\u2028"):
            with self.subTest(ascii(argument)):
                line = self.refuses(UNUSABLE, "No such file", "convert", "--to", "json", argument)
                self.assertTrue(line.isprintable(), ascii(line))
                self.assertTrue(self.refuses(UNUSABLE, "unknown command", argument).isprintable())


if __name__ == "__main__":
    unittest.main()
