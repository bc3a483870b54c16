"""The audit of a folder of batch files: byte for byte what `tavik batch` prints, also after workers or the whole audit were
killed in the middle.

    TAVIK=... PYTHONPATH=<build>/bindings/python python3 tests/python/audit_test.py
"""

import contextlib
import csv
import datetime
import importlib.util
import io
import json
import os
import random
import signal
import struct
import subprocess
import sys
import time
import unittest
import xml.etree.ElementTree

import tavik

from support import PROJECT, FolderTest

SCRIPT = PROJECT / "examples" / "audit" / "audit.py"
MODULE = importlib.util.spec_from_file_location("audit", SCRIPT)
audit = importlib.util.module_from_spec(MODULE)
MODULE.loader.exec_module(audit)

LIBRARY = {
    "version": "31",
    "Model <$x^$>": {"attribute": "ModelNumber", "predicate": "hasPrefix", "value": "MD"},
    "Any": {"attribute": "Any", "predicate": "equal", "value": 1},
    "Code": {"attribute": "SerialNumber", "predicate": "MPNCCCCheck", "value": "KQ2"},
    "Malformed": {"attribute": "Any", "predicate": "a XOR b"},
    "Date": {"attribute": "ModelNumber", "predicate": "sendStaticAttribute",
             "value": {"OnPass": datetime.datetime(2026, 11, 21, 1, 2, 3, 500000, datetime.timezone.utc)}},
    "Form": {"attribute": "ModelNumber", "predicate": "sendStaticAttribute", "value": {"OnPass": {"$data": "AP8="}}},
    "Infinity": {"attribute": "ModelNumber", "predicate": "sendStaticAttribute", "value": {"OnPass": float("inf")}},
    "Send": {"attribute": "ModelNumber", "predicate": "sendStaticAttribute", "value": {"OnPass": b"\x00\xff", "OnFail": 5.0}},
}
RULES = {"version": "12", "GenericRules": {"Model <$x^$>": {}, "Any": {}, "Code": {}, "Send": {}},
         "RuleSets": {f"{name}RuleSet": {name: {}} for name in ("Malformed", "Date", "Form", "Infinity")},
         "MPNRules": {"MD1": {}, "XX": {}, **{f"MD-{name}": {f"{name}RuleSet": {}}
                                              for name in ("Malformed", "Date", "Form", "Infinity", "Lost")}}}
GOOD = {"ModelNumber": "MD1", "Any": 1, "SerialNumber": "C8PKKQ2"}
BAD, FAULTY = GOOD | {"ModelNumber": "XX"}, GOOD | {"SerialNumber": "Q2"}


def line(device, **others):
    return json.dumps({**others, "attributes": device}).encode()


def with_any(text):
    """A device with any JSON."""
    text = text if isinstance(text, bytes) else text.encode()
    return b'{"attributes": {"ModelNumber": "MD1", "Any": %b, "SerialNumber": "C8PKKQ2"}}' % text


def reals(count):
    """Floating-point numbers of all sizes."""
    numbers = random.Random(7)
    bits = (struct.pack("<Q", numbers.getrandbits(64)) for _ in range(count))
    return [number for (number,) in map(struct.Struct("<d").unpack, bits) if abs(number) < float("inf")]


def wait_until(condition):
    deadline = time.monotonic() + 120
    while not condition():
        if time.monotonic() > deadline:
            raise TimeoutError
        time.sleep(0.02)


class AuditTest(FolderTest):
    """A signed product, and a command that can be held."""

    def setUp(self):
        super().setUp()
        private, self.public_key = self.keys()
        self.input, self.output, self.hold = (self.folder / name for name in ("input", "output", "hold"))
        self.input.mkdir()
        self.library = self.signed("library", LIBRARY, private)
        self.rules = self.signed("rules", RULES, private)
        # While the hold is there, it stops workers where they ask about their first odd device.
        self.command = self.folder / "tavik"
        self.command.write_text(
            f"""#!/bin/sh
for last; do :; done
if [ "$last" = - ]; then
  : > {self.folder}/held.$PPID
  while [ -e {self.hold} ]; do sleep 0.02; done
fi
exec {os.environ["TAVIK"]} "$@"
""")
        self.command.chmod(0o755)

    def signed(self, name, document, private):
        path = self.folder / name
        path.write_bytes(tavik.write_property_list(tavik.sign(document, private)))
        return path

    def documents(self, rules=None):
        return ["--library", self.library, "--rules", rules or self.rules, "--public-key", self.public_key]

    def write(self, name, *lines, end=b"\n"):
        (self.input / name).write_bytes(b"\n".join(lines) + end)

    def write_files(self):
        """Six files that workers get through, then four that hold them: 24 of 204 devices do not pass."""
        for number in range(10):
            devices = [BAD if i % 7 == number else GOOD for i in range(20)] + ([FAULTY] if number >= 6 else [])
            self.write(f"{number}.jsonl", *(line(device, id=f"{number}-{i}") for i, device in enumerate(devices)))

    def start(self, *arguments, rules=None):
        command = [sys.executable, SCRIPT, "--tavik", self.command, *self.documents(rules), *arguments, self.input, self.output]
        return self.process(command, stdout=subprocess.PIPE, stderr=subprocess.PIPE)

    def process(self, command, **options):
        process = subprocess.Popen([str(word) for word in command], cwd=self.folder, **options)
        self.addCleanup(process.communicate)
        self.addCleanup(process.kill)
        return process

    def finish(self, process, status, message=""):
        """Waits for an audit; what it says on standard error is `message` or nothing."""
        out, err = process.communicate(timeout=120)
        self.assertEqual((process.returncode, len(err.splitlines())), (status, 1 if message else 0), err.decode())
        self.assertIn(message, err.decode())
        return out.decode()

    def batch(self, path):
        """What the command prints, and its summary."""
        run = subprocess.run([os.environ["TAVIK"], "batch", *map(str, self.documents()), "--format", "json", str(path)],
                             capture_output=True, check=False)
        return run.stdout, run.stderr.decode()

    def held(self):
        return {int(path.suffix[1:]) for path in self.folder.glob("held.*")}

    def results(self):
        """The results that are there, each with what would change if it was written again."""
        return {path.name: (path.stat().st_ino, path.stat().st_mtime_ns) for path in self.output.glob("*.jsonl")}

    def expect_results(self, table, devices, failed):
        files = sorted(path for path in self.input.iterdir() if path.is_file())
        self.assertEqual(sorted(self.results()), [path.name for path in files])
        for path in files:
            self.assertEqual((self.output / path.name).read_bytes(), self.batch(path)[0], path.name)
        self.assertEqual([row.split()[-3:] for row in table.splitlines()[:3]],
                         [["all", "XX", "MD1"], [str(devices), str(failed - 4), str(devices - failed + 4)],
                          [str(failed), str(failed - 4), "4"]])
        self.assertEqual([path for path in self.output.rglob("*") if path.name.startswith(".")], [])
        rows = list(csv.reader(io.StringIO((self.output / "failures.csv").read_text())))
        self.assertEqual(rows[1:], [["Model <$x^$>", "XX", str(failed - 4)], ["(fault)", "MD1", "4"]])
        image = xml.etree.ElementTree.parse(self.output / "failures.svg")
        self.assertTrue({"Model <$x^$>", "(fault)", "XX"} <= {text.text for text in image.iter("{http://www.w3.org/2000/svg}text")})


class LinesTest(AuditTest):
    """One file, in this process."""

    def check(self, name, command):
        documents = audit.Documents(self.library, self.rules, self.public_key, str(command))
        prepared = tavik.Kernel(self.library, self.public_key).prepare(tavik.Dictionary.read(self.rules))
        (self.output / "tallies").mkdir(parents=True, exist_ok=True)
        path = self.input / name
        tally = audit.check_file(prepared, documents.arguments(), path, self.output)
        expected, summary = self.batch(path)
        lines = zip((self.output / name).read_bytes().split(b"\n"), expected.split(b"\n"), strict=True)
        for number, (found, wanted) in enumerate(lines, 1):
            self.assertEqual(found, wanted, f"result {number}")
        devices, failed = (sum(tally[key].values()) for key in ("devices", "failed"))
        self.assertTrue(summary.startswith(f"{devices} devices: {devices - failed} passed, {failed} failed"), summary)
        return tally

    def test_what_is_said_without_the_command(self):
        values = [
            r'"\u0000\u001f\b\f\n\r\t\"\\\/\u007f\u2028\ud83d\ude00 ß"', "9223372036854775807", "-9223372036854775808", "-0",
            "-0.0", "0.0001", "0.00001", "1e15", "1e16", "1E+2", "9007199254740993.0", "5e-324", "1e-999", "1e22",
            "true", "[]", "{}", '[[1, 2.5], {"a": "b", "$c": 1}]', '{"$data": ""}', '{"$data": "AP8="}',
            *map(repr, reals(300)),
        ]
        devices = [
            b"\xef\xbb\xbf \t", b"", line(GOOD, sources={"sfc": {"Any": 1}, "gui": {}}), line(GOOD, sources={}, id=-5) + b"\r",
            b" \r", line(GOOD | {"ModelNumber": 5}, id=""), line({}), line(GOOD | {"ModelNumber": "MD-Lost"}),
            line(GOOD | {"ModelNumber": "MD5"}),
        ]
        self.write("plain.jsonl", *devices, *map(with_any, values), end=b"")
        tally = self.check("plain.jsonl", "/nowhere")
        self.assertEqual(tally["rules"]["(no verdict)"], {"(no part number)": 2, "MD-Lost": 1, "MD5": 1})

    def test_what_the_command_is_asked_about(self):
        nested = ["[" * depth + "]" * depth for depth in (509, 510, 511, 512, 513, 2000)]
        values = [
            "null", "[null]", '{"a": 1, "a": 1}', '{"$date": "2026-11-21T01:02:03Z"}',
            '{"$date": "2026-11-21T01:02:03.123456789Z"}', '{"$number": "nan"}', '{"$number": "-inf"}', '{"$data": "AP9="}',
            '{"$data": "AP8"}', '{"$data": 5}', '{"$dictionary": {"$data": "AP8="}}', '[{"$dictionary": {"$x": {"$data": ""}}}]',
            '{"$x": 1}', "9223372036854775808", "-9223372036854775809", "9" * 5000, "1e400", "NaN", "-Infinity", "01", '"\t"',
            r'"\ud800"', b'"\xff"', b'"\xed\xa0\x80"', "1 2", *nested,
        ]
        devices = [
            b"\xef\xbb\xbfno JSON", b"", line(FAULTY), line(GOOD, id=1.5),
            *(line(GOOD | {"ModelNumber": f"MD-{name}"}) for name in ("Malformed", "Date", "Form", "Infinity")),
            b'{"attributes": {"Unread": 1e400}}',
            line(GOOD, id=None), line(GOOD, id=True), line(GOOD, id=2**63), line(GOOD, id=[1, {}]), line(GOOD, other=1), line([]),
            line({"$data": ""}), b"{}", b"[]", b"5", line(GOOD, sources=[]), line(GOOD, sources={"sfc": 1}),
            b'{"id": "x", "attributes": ', line(GOOD), b" \r", line(FAULTY, id="y") + b"\r\r",
            b'{"id": "long", "attributes": {"Any": "' + b"x" * (1 << 26) + b'"}}', line(BAD),
        ]
        self.write("odd.jsonl", *devices, *map(with_any, values), line(FAULTY), end=b"\r")
        tally = self.check("odd.jsonl", self.command)
        self.assertEqual(sum(tally["rules"]["(fault)"].values()), 3)
        self.assertEqual(tally["rules"]["Model <$x^$>"], {"XX": 1})
        self.assertIn("(unreadable line)", tally["devices"])

    def test_what_leaves_no_result(self):
        self.write("odd.jsonl", line(GOOD), line(FAULTY))
        cases = (
            ("the command fails", "echo no room >&2; exit 2", "line 2: the command ended: no room"),
            ("the input grows", f'echo >> input/odd.jsonl; exec {os.environ["TAVIK"]} "$@"', "was written to while it was read"),
        )
        for why, script, message in cases:
            with self.subTest(why), contextlib.chdir(self.folder), self.assertRaises(audit.Problem) as raised:
                self.command.write_text(f"#!/bin/sh\n{script}\n")
                self.check("odd.jsonl", self.command)
            self.assertEqual(raised.exception.text, message)
            self.assertEqual([path.name for path in self.output.iterdir()], ["tallies"])
        os.mkfifo(self.input / "pipe.jsonl")
        with self.assertRaisesRegex(audit.Problem, "is no regular file"):
            self.check("pipe.jsonl", self.command)

    def test_workers_have_the_same_rules_and_version(self):
        documents = audit.Documents(self.library, self.rules, self.public_key, os.environ["TAVIK"]).checked()
        documents.prepare()
        self.rules.write_bytes(self.library.read_bytes())
        with self.assertRaisesRegex(audit.Problem, "is not that of the machine that started the audit"):
            documents.prepare()


@unittest.skipUnless(importlib.util.find_spec("distributed"), "distributed is not installed (Debian: python3-distributed)")
class FolderOfFilesTest(AuditTest):
    """The whole audit, with processes of its own."""

    def dask(self, program, *arguments):
        local = ["--host", "127.0.0.1", "--no-dashboard", "--scheduler-file", self.folder / "scheduler.json"]
        command = [sys.executable, "-m", f"distributed.cli.dask_{program}", *local, *arguments]
        return self.process(command, stdout=subprocess.DEVNULL, stderr=subprocess.DEVNULL)

    def start_scheduler(self):
        """Returns it with its address. The system chooses the port."""
        file = self.folder / "scheduler.json"
        scheduler = self.dask("scheduler", "--port", "0")
        wait_until(lambda: file.exists() and file.read_bytes().endswith(b"}"))
        return scheduler, json.loads(file.read_text())["address"]

    def worker(self):
        return self.dask("worker", "--no-nanny", "--nthreads", "1", "--memory-limit", "0", "--local-directory", self.folder)

    def test_a_worker_is_killed_in_the_middle(self):
        self.write_files()
        _, address = self.start_scheduler()
        workers = [self.worker() for _ in range(2)]
        self.hold.touch()
        run = self.start("--scheduler", address)
        wait_until(lambda: self.held() == {worker.pid for worker in workers})
        finished = self.results()
        workers[0].kill()
        self.hold.unlink()
        self.expect_results(self.finish(run, audit.FAILED), 204, 24)
        self.assertGreater(len(finished), 0)
        self.assertLess(len(finished), 10)
        self.assertEqual(finished, {name: state for name, state in self.results().items() if name in finished})

    def test_the_scheduler_is_killed(self):
        self.write_files()
        scheduler, address = self.start_scheduler()
        self.worker()
        self.hold.touch()
        run = self.start("--scheduler", address)
        wait_until(self.held)
        scheduler.kill()
        self.finish(run, audit.UNUSABLE, "the scheduler is gone")

    def test_an_audit_that_is_killed_goes_on(self):
        self.write_files()
        self.hold.touch()
        run = self.start("--workers", "3")
        wait_until(lambda: len(self.held()) == 3)
        self.finish(self.start("--workers", "1"), audit.UNUSABLE, "another audit writes there")
        finished = self.results()
        self.assertEqual(len(finished), 6)
        run.send_signal(signal.SIGKILL)
        run.wait()
        self.hold.unlink()
        (self.output / "5.jsonl").unlink()
        self.write("0.jsonl", line(GOOD), line(BAD))
        (self.input / "directory.jsonl").mkdir()
        table = self.finish(self.start("--workers", "2"), audit.UNUSABLE, "directory.jsonl: [Errno 21] Is a directory")
        self.expect_results(table, 186, 22)
        kept = ["1.jsonl", "2.jsonl", "3.jsonl", "4.jsonl"]
        self.assertEqual(sorted(name for name, state in self.results().items() if finished.get(name) == state), kept)

    def test_refusals(self):
        self.write("0.jsonl", line(GOOD))
        other_key = self.signed("other-key", RULES, self.folder / self.other_private_key())
        self.finish(self.start(rules=other_key), audit.NO_VERDICT, "other-key")
        self.finish(self.start(rules=self.folder / "nothing"), audit.UNUSABLE, "nothing")
        self.assertFalse(self.output.exists())
        self.output.mkdir()
        (self.output / "audit.txt").write_text("3.0 another")
        self.finish(self.start(), audit.UNUSABLE, "holds results of other rule documents")
        (self.input / "0.jsonl").unlink()
        self.finish(self.start(), audit.UNUSABLE, "there are no files *.jsonl")

    def other_private_key(self):
        (self.folder / "other.pem").write_text(tavik.generate_key_pair().private_key)
        return "other.pem"


if __name__ == "__main__":
    unittest.main()
