"""The audit of a folder of batch files: byte for byte what `tavik batch` prints, also after workers or the whole audit were
killed in the middle.

    TAVIK=... PYTHONPATH=<build>/bindings/python python3 tests/python/audit_test.py
"""

import contextlib
import csv
import importlib.util
import io
import itertools
import json
import os
import signal
import socket
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
    "Code": {"attribute": "SerialNumber", "predicate": "MPNCCCCheck", "value": "KQ2"},
    "Send": {"attribute": "ModelNumber", "predicate": "sendStaticAttribute", "value": {"OnPass": b"\x00\xff", "OnFail": 5.0}},
}
RULES = {"version": "12", "GenericRules": {"Model <$x^$>": {}, "Code": {}, "Send": {}}, "MPNRules": {"MD1": {}, "XX": {}}}
FORMULA = "=1+1;@x"
GOOD = {"ModelNumber": "MD1", "SerialNumber": "C8PKKQ2"}
BAD, FAULTY, LOST = GOOD | {"ModelNumber": "XX"}, GOOD | {"SerialNumber": "Q2"}, {"ModelNumber": FORMULA}


def line(device, **others):
    return json.dumps({**others, "attributes": device}).encode()


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
        # While the hold is there, it stops the command where it would check the devices of the last four files.
        self.command = self.folder / "tavik"
        self.command.write_text(
            f"""#!/bin/sh
case $(readlink /proc/self/fd/0) in
  */[6-9].jsonl)
    : > {self.folder}/held.$PPID
    while [ -e {self.hold} ]; do sleep 0.02; done
esac
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
        """Six files that workers get through, then four that hold them: 25 of 205 devices do not pass."""
        for number in range(10):
            others = [FAULTY] * (number >= 6) + [LOST] * (number == 9)
            devices = [BAD if i % 7 == number else GOOD for i in range(20)] + others
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
        run = subprocess.run([os.environ["TAVIK"], "batch", *map(str, self.documents()), "--format", "json", str(path)],
                             capture_output=True, check=False)
        return run.stdout

    def held(self):
        return {int(path.suffix[1:]) for path in self.folder.glob("held.*")}

    def results(self):
        """The results that are there, each with what would change if it was written again."""
        return {path.name: (path.stat().st_ino, path.stat().st_mtime_ns) for path in self.output.glob("*.jsonl")}

    def expect_results(self, table, devices, failed):
        files = sorted(path for path in self.input.iterdir() if path.is_file())
        self.assertEqual(sorted(self.results()), [path.name for path in files])
        for path in files:
            self.assertEqual((self.output / path.name).read_bytes(), self.batch(path), path.name)
        self.assertEqual([row.split()[-4:] for row in table.splitlines()[:3]],
                         [["all", "XX", "MD1", FORMULA], [str(devices), str(failed - 5), str(devices - failed + 4), "1"],
                          [str(failed), str(failed - 5), "4", "1"]])
        self.assertEqual([path for path in self.output.rglob("*") if path.name.startswith(".")], [])
        rows = list(csv.reader(io.StringIO((self.output / "failures.csv").read_text())))
        self.assertEqual(rows[1:], [["Model <$x^$>", "XX", str(failed - 5)], ["(fault)", "MD1", "4"], ["Code", "MD1", "4"],
                                    ["(no verdict)", "'=1+1;'@x", "1"]])
        image = xml.etree.ElementTree.parse(self.output / "failures.svg")
        self.assertTrue({"Model <$x^$>", "(fault)", "XX"} <= {text.text for text in image.iter("{http://www.w3.org/2000/svg}text")})


class FileTest(AuditTest):
    """One file, in this process."""

    def test_what_leaves_no_result(self):
        self.write("odd.jsonl", line(GOOD), line(FAULTY))
        os.mkfifo(self.input / "pipe.jsonl")
        run = f'exec {os.environ["TAVIK"]} "$@"'
        for script, name, message in (
            ("echo no room >&2; exit 2", "odd.jsonl", "the command ended with status 2: no room"),
            ("kill -9 $$", "odd.jsonl", "the command ended with status -9: "),
            (f"echo >> {self.input}/odd.jsonl; {run}", "odd.jsonl", "was modified while it was read"),
            (f'[ "$1" = --version ] || cp {self.library} {self.rules}; {run}', "odd.jsonl",
             "the command or a rule document is not the one that the audit was started with"),
            (run, "pipe.jsonl", "is not a regular file"),
        ):
            with self.subTest(message):
                self.command.write_text(f"#!/bin/sh\n{run}\n")
                documents = audit.Documents(self.library, self.rules, self.public_key, str(self.command)).checked()
                (self.output / "tallies").mkdir(parents=True, exist_ok=True)
                self.command.write_text(f"#!/bin/sh\n{script}\n")
                with self.assertRaises(audit.Problem) as raised:
                    audit.check_file(documents, self.input / name, self.output)
                self.assertEqual(raised.exception.text, message)
                self.assertEqual([path.name for path in self.output.rglob("*")], ["tallies"])


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
        self.expect_results(self.finish(run, audit.FAILED), 205, 25)
        self.assertGreater(len(finished), 0)
        self.assertLess(len(finished), 10)
        self.assertEqual(finished, {name: state for name, state in self.results().items() if name in finished})

    def test_an_audit_that_is_killed_goes_on(self):
        self.write_files()
        self.hold.touch()
        run = self.start("--workers", "3")
        wait_until(lambda: len(self.held()) == 3)
        self.finish(self.start("--workers", "1"), audit.UNUSABLE, "another audit is writing there")
        self.expect_no_way_in(run)
        finished = self.results()
        self.assertEqual(len(finished), 6)
        run.send_signal(signal.SIGKILL)
        run.wait()
        self.hold.unlink()
        (self.output / "5.jsonl").unlink()
        self.write("0.jsonl", line(GOOD), line(BAD))
        (self.input / "directory.jsonl").mkdir()
        table = self.finish(self.start("--workers", "2"), audit.UNUSABLE, "directory.jsonl: [Errno 21] Is a directory")
        self.expect_results(table, 187, 23)
        kept = ["1.jsonl", "2.jsonl", "3.jsonl", "4.jsonl"]
        self.assertEqual(sorted(name for name, state in self.results().items() if finished.get(name) == state), kept)

    def expect_no_way_in(self, run):
        """Other users of the machine find nothing that takes commands, or that tells what the audit does."""
        import psutil

        own = {run.pid, *(process.pid for process in psutil.Process(run.pid).children(recursive=True))}
        listening = [each.laddr for each in psutil.net_connections("inet") if each.pid in own and each.status == "LISTEN"]
        self.assertGreater(len(listening), 3)
        for address, path in itertools.product(listening, (b"/status", b"/info/main/workers.html")):
            self.assertEqual(address.ip, "127.0.0.1")
            with socket.create_connection(address, timeout=10) as connection, contextlib.suppress(ConnectionResetError):
                connection.sendall(b"GET %s HTTP/1.0\r\n\r\n" % path)
                answer = connection.recv(1000)
                self.assertTrue(answer == b"" or answer.startswith((b"\x15\x03", b"HTTP/1.1 404 ")), answer)

    def test_refusals(self):
        self.write("0.jsonl", line(GOOD))
        other_key = self.signed("other-key", RULES, self.folder / self.other_private_key())
        self.finish(self.start(rules=other_key), 4, "other-key")
        self.finish(self.start(rules=self.folder / "nothing"), audit.UNUSABLE, "nothing")
        self.assertFalse(self.output.exists())
        self.output.mkdir()
        (self.output / "audit.txt").write_text("3.0 another")
        self.finish(self.start(), audit.UNUSABLE, "has results of other rule documents")
        (self.input / "0.jsonl").unlink()
        self.finish(self.start(), audit.UNUSABLE, "there are no *.jsonl files")

    def other_private_key(self):
        (self.folder / "other.pem").write_text(tavik.generate_key_pair().private_key)
        return "other.pem"


if __name__ == "__main__":
    unittest.main()
