"""What the tests of the `tavik` command share: running it, a folder of files for each test, and how a refusal looks."""

import base64
import json
import os
import pathlib
import shutil
import subprocess
import tempfile
import unittest

TAVIK = os.environ["TAVIK"]

CASES = pathlib.Path(__file__).with_name("cases")
PASSED, FAILED, UNUSABLE, FAULT, NO_VERDICT = range(5)


def cases(name):
    """The cases of a data file."""
    return json.loads((CASES / f"{name}.json").read_text(encoding="utf-8"))


def shown_on(master):
    """What a pseudo terminal shows until the last one who writes to it is gone; closes it."""
    shown = b""
    try:
        while piece := os.read(master, 65536):
            shown += piece
    except OSError:
        pass  # how the end of a pseudo terminal looks
    os.close(master)
    return shown.decode().replace("\r\n", "\n")


def change(document, path, value, decode=True):
    """Puts `value` under a path of keys, or removes what is there if it is None. `decode`: turns {"$data": ...} into bytes."""
    *way, last = path
    for key in way:
        document = document[key]
    if value is None:
        del document[last]
    else:
        document[last] = base64.b64decode(value["$data"]) if decode and isinstance(value, dict) and "$data" in value else value


class CommandTest(unittest.TestCase):
    """Each test has an empty folder of its own, in which the command runs."""

    def setUp(self):
        self.folder = pathlib.Path(tempfile.mkdtemp(prefix="tavik-cli-"))
        self.addCleanup(shutil.rmtree, self.folder)

    def file(self, name, contents):
        data = contents if isinstance(contents, bytes) else contents.encode()
        (self.folder / name).write_bytes(data)
        return name

    def documents(self, library, rules):
        self.file("library", json.dumps(library))
        self.file("rules", json.dumps(rules))

    def signed(self, *names):
        """Signs the files as NAME.signed, with a new key pair in "key" and "pub"."""
        self.passes("keygen", "--private", "key", "--public", "pub")
        for name in names:
            self.passes("sign", "--key", "key", name, "-o", f"{name}.signed")

    def tavik(self, *arguments, stdin=b"", **options):
        """Runs the command; the result has status, out and err (text)."""
        run = subprocess.run([TAVIK, *arguments], input=stdin, capture_output=True, cwd=self.folder, timeout=120,
                             check=False, **options)
        run.status, run.out, run.err = run.returncode, run.stdout.decode(errors="replace"), run.stderr.decode()
        return run

    def passes(self, *arguments, **options):
        """Runs the command, which must succeed in silence; returns standard output."""
        run = self.tavik(*arguments, **options)
        self.assertEqual((run.status, run.err), (PASSED, ""))
        return run.out

    def refuses(self, status, message, *arguments, **options):
        """Runs the command, which must end with `status` and one line that holds `message`, answer nothing and leave every file
        as it was."""
        before = self.contents()
        run = self.tavik(*arguments, **options)
        lines = [line for line in run.err.splitlines() if "signatures are not verified" not in line]
        self.assertEqual(run.status, status, run.err)
        self.assertEqual(len(lines), 1, run.err)
        self.assertTrue(lines[0].startswith("tavik: "), run.err)
        self.assertIn(message, lines[0])
        self.assertEqual(run.out, "")
        self.assertEqual(self.contents(), before)
        return lines[0]

    def contents(self):
        """Every regular file with its bytes and permissions: also what a half-written output would leave behind."""
        return {path.name: (path.read_bytes(), path.stat().st_mode) for path in self.folder.iterdir() if path.is_file()}
