"""What may happen around the command: it is killed, has little memory, is given odd names and pipes that
nobody fills. There is one clear line and the right status, and no half-written file under its final name."""

import json
import os
import random
import resource
import signal
import subprocess
import time
import unittest

from support import PASSED, TAVIK, UNUSABLE, CommandTest

SANITIZED = "sanitize" in os.environ.get("BUILD", "") or "thread" in os.environ.get("BUILD", "")


class KilledTest(CommandTest):
    def test_an_output_file_is_whole_whenever_the_command_is_killed(self):
        chance = random.Random(7)
        self.file("in.json", json.dumps([f"text {i}" for i in range(60000)]))
        command = ("convert", "--to", "xml", "in.json", "-o", "out")
        start = time.monotonic()
        self.passes(*command)
        length = time.monotonic() - start
        new = (self.folder / "out").read_bytes()
        left = {"in.json", "out"}
        seen = set()
        for attempt in range(40):
            number = (signal.SIGKILL, signal.SIGTERM, signal.SIGINT, signal.SIGHUP)[attempt % 4]
            old = None if attempt % 8 < 4 else b"before"
            (self.folder / "out").unlink(missing_ok=True)
            if old is not None:
                self.file("out", old)
            process = subprocess.Popen([TAVIK, *command], cwd=self.folder, stderr=subprocess.PIPE)
            time.sleep(chance.uniform(0, 1.3 * length))
            process.send_signal(number)
            process.communicate(timeout=60)
            path = self.folder / "out"
            now = path.read_bytes() if path.exists() else None
            self.assertIn(now, (old, new), f"after {number.name}")
            seen.add(now == new)
            if number == signal.SIGKILL:  # nobody can tidy up after that
                for other in self.folder.glob(".tavik-*"):
                    other.unlink()
            self.assertLessEqual({entry.name for entry in self.folder.iterdir()}, left, f"after {number.name}")
        self.assertEqual(seen, {True, False}, "killed both before and after the file was there")

    def test_a_pipe_that_nobody_fills_can_be_left(self):
        os.mkfifo(self.folder / "pipe")
        for command in (("convert", "--to", "json", "pipe"), ("decode", "der", "pipe")):
            process = subprocess.Popen([TAVIK, *command], cwd=self.folder, stdout=subprocess.PIPE, stderr=subprocess.PIPE)
            time.sleep(0.3)
            process.send_signal(signal.SIGINT)
            out, _ = process.communicate(timeout=10)
            self.assertNotEqual(process.returncode, PASSED)
            self.assertEqual(out, b"")


class SurroundingsTest(CommandTest):
    def test_odd_names(self):
        for name in (b"two words", b"line\nbreak", b"bell\a", b"escape\x1b[31m", b"quote\"'", b"\xff\xfe", b"-dash", b"tab\there"):
            with self.subTest(name):
                command = [TAVIK, "convert", "--to", "json", "--", name]
                run = subprocess.run(command, cwd=self.folder, capture_output=True, check=False)
                self.assertEqual((run.returncode, run.stdout), (UNUSABLE, b""))
                line = run.stderr.decode()  # is UTF-8, whatever the name is
                self.assertTrue(line.startswith("tavik: convert: ") and line.endswith(": No such file or directory\n"), line)
                self.assertTrue(all(character >= " " for character in line[:-1]), ascii(line))
                with open(os.path.join(os.fsencode(self.folder), name), "wb") as file:
                    file.write(b"[1]")
                run = subprocess.run(command, cwd=self.folder, capture_output=True, check=False)
                self.assertEqual((run.returncode, run.stderr), (PASSED, b""))

    def limited(self, what, limit, *command):
        def set_limit():
            resource.setrlimit(resource.RLIMIT_CORE, (0, 0))
            resource.setrlimit(what, (limit, limit))

        run = subprocess.run([TAVIK, *command], cwd=self.folder, capture_output=True, check=False, preexec_fn=set_limit)
        return run.returncode, run.stdout, run.stderr.decode()

    def assert_one_line(self, status, err):
        self.assertEqual(status, UNUSABLE, err)
        self.assertTrue(err.startswith("tavik: ") and err.count("\n") == 1, err)

    @unittest.skipIf(SANITIZED, "sanitizers need address space of their own")
    def test_little_memory(self):
        self.file("in.json", json.dumps(["x" * 40] * 200000))
        whole = self.passes("convert", "--to", "json", "in.json").encode()
        refused = 0
        for mebibytes in range(16, 120, 4):
            status, out, err = self.limited(resource.RLIMIT_AS, mebibytes << 20, "convert", "--to", "json", "in.json", "-o", "out")
            if "error while loading shared libraries" in err:
                continue
            if status == PASSED:
                self.assertEqual((self.folder / "out").read_bytes(), whole)
                (self.folder / "out").unlink()
            else:
                refused += 1
                self.assert_one_line(status, err)
                self.assertEqual(out, b"")
                self.assertEqual(os.listdir(self.folder), ["in.json"])
        self.assertGreater(refused, 0)

    def test_standard_files_that_are_closed(self):
        self.file("in.json", "[1]")
        for closed, arguments in (("<&-", "in.json -o out"), (">&-", "in.json -o out"), ("2>&-", "in.json -o out")):
            with self.subTest(closed):
                (self.folder / "out").unlink(missing_ok=True)
                run = subprocess.run(["sh", "-c", f'"$0" convert --to json {arguments} {closed}', TAVIK], cwd=self.folder,
                                     capture_output=True, check=False)
                self.assertEqual((run.returncode, run.stdout, run.stderr), (PASSED, b"", b""))
                self.assertEqual(json.loads((self.folder / "out").read_text()), [1])
        run = subprocess.run(["sh", "-c", '"$0" convert --to json - <&-', TAVIK], cwd=self.folder, capture_output=True, check=False)
        self.assert_one_line(run.returncode, run.stderr.decode())


if __name__ == "__main__":
    unittest.main()
