"""The shells' completions: what the bash function offers, and what a tab makes of a line in bash and in zsh themselves."""

import os
import pathlib
import pty
import re
import select
import subprocess
import time
import unittest

from support import TAVIK, CommandTest, cases

COMPLETIONS = pathlib.Path(TAVIK).resolve().parent / "completions"

# Prints what is offered; a file to complete is left to readline, which does it with its own quoting.
BASH = r"""
source "$1"
compopt() { COMPREPLY=("$*"); }
COMP_CWORD=$(($# - 2)) COMP_WORDS=("${@:2}")
_tavik
printf '%s\n' "${COMPREPLY[@]}"
"""

SHELLS = {
    "bash": (["bash", "--norc", "--noprofile", "-i"], f"source '{COMPLETIONS}/tavik'"),
    "zsh": (["zsh", "-f", "-i"], f"fpath=('{COMPLETIONS}' $fpath); autoload -U compinit; compinit -u -D"),
}
SHOW_ARGUMENTS = "tavik() { printf '<%s>' \"$@\"; echo SHO''WN; }; echo REA''DY"
SECONDS = 30


class Terminal:
    """A shell on a terminal of its own."""

    def __init__(self, command, folder):
        self.process, self.terminal = pty.fork()
        if self.process == 0:
            os.chdir(folder)
            os.execvpe(command[0], command, os.environ | {"TERM": "dumb", "HISTFILE": "/dev/null"})

    def type(self, keys, until):
        """What is shown, up to the text that is waited for."""
        os.write(self.terminal, keys.encode())
        shown, end = "", time.monotonic() + SECONDS
        while until not in shown and time.monotonic() < end:
            if select.select([self.terminal], [], [], 0.2)[0]:
                shown += os.read(self.terminal, 65536).decode(errors="replace")
        return shown

    def close(self):
        os.close(self.terminal)
        os.waitpid(self.process, 0)


class CompletionTest(CommandTest):
    def offers(self, *words):
        """What bash offers for the last of the words, which are split as bash splits them."""
        run = subprocess.run(["bash", "-c", BASH, "bash", COMPLETIONS / "tavik", "tavik", *words], capture_output=True,
                             text=True, cwd=self.folder, timeout=SECONDS, check=True)
        self.assertEqual(run.stderr, "")
        return run.stdout.split()

    def commands(self):
        return re.findall(r"^  ([a-z]+) ", self.passes("--help").partition("Commands:")[2].partition("Exit")[0], re.MULTILINE)

    def test_every_command_and_option_of_the_help_is_offered(self):
        commands = self.commands()
        self.assertGreater(len(commands), 10)
        self.assertEqual(self.offers(""), [*commands, "-h", "--help", "--version"])
        zsh = (COMPLETIONS / "_tavik").read_text(encoding="utf-8")
        for command in commands:
            with self.subTest(command):
                options = re.findall(r"^  (-[\w-]+)(?:,(-[\w-]+))?", self.passes(command, "--help"), re.MULTILINE)
                names = [name for pair in options for name in pair if name]
                self.assertIn("--help", names)
                self.assertEqual(self.offers(command, "-"), names)
                (offers,) = re.findall(rf"^    {command}\)\n(.*?)^      ;;", zsh, re.MULTILINE | re.DOTALL)
                self.assertEqual(re.findall(r"[)*](-[\w-]+)[=+]?\[", offers), names)

    def test_what_bash_offers(self):
        self.file("a.json", "")
        for case in cases("completions"):
            with self.subTest(case):
                self.assertEqual(self.offers(*case["line"].split(" ")), case["offered"])

    def test_what_a_tab_makes_of_a_line(self):
        for name in ("library.json", "rules.json", "q r.json"):
            self.file(name, "")
        lines = (  # typed, and the words that the command gets, where "--option=value" is as good as two words
            ("tavik lis\tsf\t--fo\tj\t", "list sfc --format json"),
            ("tavik check --lib\tli\t --source sfc=ru\t", "check --library library.json --source sfc=rules.json"),
            ("tavik eval --attribute @li\t --va\t@ru\t", "eval --attribute @library.json --value @rules.json"),
            ("tavik test ru\t q\t", "test rules.json q r.json"),
            ("tavik check --format=jso\t", "check --format json"),
        )
        for shell, (command, setup) in SHELLS.items():
            terminal = Terminal(command, self.folder)
            self.addCleanup(terminal.close)
            terminal.type(f"{setup}; {SHOW_ARGUMENTS}\n", "READY")
            for typed, expected in lines:
                with self.subTest(shell=shell, typed=typed):
                    shown = terminal.type(typed + "\n", "SHOWN")
                    (line,) = re.findall("^((?:<[^<>]*>)+)SHOWN", shown, re.MULTILINE)
                    words = re.findall("<([^<>]*)>", line)
                    self.assertEqual(re.sub(r"(--\w+)=", r"\1 ", " ".join(words)), expected, shown)


if __name__ == "__main__":
    unittest.main()
