"""`tavik batch`: the result of each line, order and bytes whatever the threads, hostile lines, bounded memory, and how a
stream ends: at its end, by a signal, by a reader who leaves, on a full disk."""

import json
import os
import pathlib
import pty
import re
import resource
import select
import shlex
import signal
import subprocess
import threading
import unittest

from support import FAILED, NO_VERDICT, PASSED, TAVIK, UNUSABLE, CommandTest, cases, shown_on

LIBRARY = {
    "version": "L1",
    "Model": {"attribute": "ModelNumber", "predicate": "hasPrefix", "value": "MD"},
    "Colour": {"attribute": "Colour", "predicate": "equal", "references": [{"source": "sfc"}]},
    "Code": {"attribute": "SerialNumber", "predicate": "MPNCCCCheck", "value": "KQ2"},
    "Send": {"attribute": "ModelNumber", "predicate": "sendStaticAttribute", "value": {"OnPass": "good", "OnFail": 5}},
    "Malformed": {"attribute": "Odd", "predicate": "a XOR b"},
}
SETS = {"OddRuleSet": {"Malformed": {}}}
RULES = {"version": 7, "GenericRules": {"Model": {}, "Colour": {}, "Code": {}, "Send": {}}, "RuleSets": SETS,
         "MPNRules": {"MD1": {}, "XX": {}, "MD2": {"OddRuleSet": {}}, "MD3": {"LostRuleSet": {}}, "MD4": "no dictionary"}}
GOOD = {"ModelNumber": "MD1", "Colour": 3, "SerialNumber": "C8PKKQ2"}
SFC = {"sfc": {"Colour": 3}}
UNSIGNED = "tavik: batch: --unsigned: rule documents are used as they are; signatures are not verified\n"
DOCUMENTS = ("--library", "library", "--rules", "rules")
CACHE = pathlib.Path(os.environ["BUILD"], "CMakeCache.txt").read_text()
THREAD_SANITIZER = "TAVIK_SANITIZE:STRING=thread" in CACHE
SANITIZED = re.search("TAVIK_SANITIZE:STRING=.", CACHE)

DEVICES = (  # attributes, sources, the status of a check
    (GOOD, SFC, PASSED),
    (GOOD, {}, FAILED),
    (GOOD | {"ModelNumber": "XX"}, SFC, FAILED),
    (GOOD | {"SerialNumber": "Q2"}, SFC, 3),
    (GOOD | {"ModelNumber": "MD2", "Odd": 1}, SFC, NO_VERDICT),
    (GOOD | {"ModelNumber": "MD3"}, SFC, NO_VERDICT),
    (GOOD | {"ModelNumber": "MD4"}, SFC, NO_VERDICT),
    (GOOD | {"ModelNumber": "MD5"}, SFC, NO_VERDICT),
    ({}, {}, NO_VERDICT),
)


def line(device, **others):
    return json.dumps({**others, "attributes": device}) + "\n"


def long_result(size):
    """A line whose result is of this size and more."""
    return line(GOOD | {"Colour": "y" * size}, sources=SFC)


class BatchTest(CommandTest):
    def setUp(self):
        super().setUp()
        self.documents(LIBRARY, RULES)
        self.command = [TAVIK, "batch", "--unsigned", *DOCUMENTS]

    def batch(self, stdin, *options):
        run = self.tavik(*self.command[1:], *options, stdin=stdin if isinstance(stdin, bytes) else stdin.encode())
        self.assertTrue(run.err.startswith(UNSIGNED), run.err)
        run.err = run.err[len(UNSIGNED):]
        return run

    def start(self, *options, **streams):
        """The command as a process that is talked to; it ends with the test."""
        streams = {"stdin": subprocess.PIPE, "stdout": subprocess.PIPE, "stderr": subprocess.PIPE} | streams
        process = subprocess.Popen(self.command + list(options), cwd=self.folder, **streams)
        self.addCleanup(lambda: [stream.close() for stream in (process.stdin, process.stdout, process.stderr) if stream])
        self.addCleanup(process.wait)
        self.addCleanup(process.kill)
        return process

    def feed(self, process, text):
        """Writes the text again and again, until nobody reads it."""
        def write():
            try:
                while True:
                    process.stdin.write(text.encode())
            except OSError:
                pass
        thread = threading.Thread(target=write, daemon=True)
        thread.start()
        return thread

    def test_each_result_is_that_of_check_with_the_id_first(self):
        text = "".join(line(attributes, sources=sources, id=f"d{i}") for i, (attributes, sources, _) in enumerate(DEVICES))
        run = self.batch(text, "--summary", "counts")
        for i, (attributes, sources, status) in enumerate(DEVICES):
            with self.subTest(attributes):
                self.file("device", json.dumps(attributes))
                self.file("sfc", json.dumps(sources.get("sfc", {})))
                options = ("--source", "sfc=sfc") if sources else ()
                check = self.tavik("check", "--unsigned", *DOCUMENTS, "--attributes", "device", *options, "--format", "json")
                self.assertEqual(check.status, status)
                self.assertEqual(run.out.splitlines()[i], f'{{"id": "d{i}", ' + re.sub(', "signatures".*', "}", check.out[1:-1]))
        self.assertEqual(run.status, FAILED)
        self.assertEqual(run.err, """\
9 devices: 1 passed, 8 failed, 1 fault, 5 without a verdict
rules that failed most:
       1  Code
       1  Colour
       1  Malformed
       1  Model
source "sfc" was not given for 1 device whose rules need it
""")
        counts = json.loads((self.folder / "counts").read_bytes())
        parts = [list(part.values()) for part in counts.pop("part_numbers")]
        self.assertEqual(counts, {"devices": 9, "passed": 1, "failed": 8, "input_errors": 0, "faults": 1, "no_verdict": 5, "rules": [
            {"rule": rule, "devices": 1} for rule in ("Code", "Colour", "Malformed", "Model")]})
        self.assertEqual(parts[:3], [["(no part number)", 1, 0, 1, 0, 0, 1, []],
            ["MD1", 3, 1, 2, 0, 1, 0, [{"rule": "Code", "devices": 1}, {"rule": "Colour", "devices": 1}]],
            ["MD2", 1, 0, 1, 0, 0, 1, [{"rule": "Malformed", "devices": 1}]]])

    def test_all_pass(self):
        run = self.batch(line(GOOD, sources=SFC))
        self.assertEqual((run.status, run.err), (PASSED, "1 device: 1 passed, 0 failed\n"))
        for empty in ("", "\n \t\r\n"):
            run = self.batch(empty)
            self.assertEqual((run.status, run.err), (UNUSABLE, "0 devices: 0 passed, 0 failed\ntavik: batch: standard input: has no devices\n"))

    def test_hostile_lines(self):
        hostile = [(case["line"].encode("latin-1"), case.get("id"), case["error"]) for case in cases("hostile-lines")]
        hostile += [
            (b'{"id": "k", "attributes": ' + b"[" * 600 + b"]" * 600 + b"}", "k", "nested more than 512 levels deep"),
            (b'{"id": "long", "attributes": {"a": "' + b"x" * (1 << 24) + b'"}}', "long", ": is longer than 16 MiB"),
        ]
        good = line(GOOD, sources=SFC, id="good").encode()
        run = self.batch(b"".join(good + bad + b"\n" for bad, _, _ in hostile))
        results = [json.loads(result) for result in run.out.splitlines()]
        self.assertEqual(len(results), 2 * len(hostile))
        for i, (bad, own_id, message) in enumerate(hostile):
            with self.subTest(bad[:60]):
                number = 2 * i + 2
                self.assertEqual((results[number - 2]["id"], results[number - 2]["error"]), ("good", None))
                result = results[number - 1]
                self.assertEqual(list(result), ["id", "input_error"])
                self.assertEqual(result["id"], number if own_id is None else own_id)
                self.assertTrue(result["input_error"].startswith(f"line {number}"), result)
                self.assertIn(message, result["input_error"])
        count = len(hostile)
        self.assertEqual((run.status, run.err), (FAILED, f"{2 * count} devices: {count} passed, {count} failed, {count} input errors\n"))

    def test_one_line_does_not_end_the_run(self):
        twice = "hasPrefix AND hasPrefix"  # its record quotes the attribute twice
        names = [f"Rule {i}" for i in range(40)]
        self.file("library", json.dumps({"version": 1} | {name: {"attribute": "A", "predicate": twice, "value": "y"} for name in names}))
        self.file("rules", json.dumps({"version": 1, "GenericRules": {name: {} for name in names}, "MPNRules": {"MD1": {}}}))
        little = () if SANITIZED else ((15 << 20, "out of memory", ()),)
        for size, why, options in ((3 << 20, "the result is larger than 64 MiB", ()),
                                   (3 << 20, "is longer than 2 MiB", ("--max-line", "2")), *little):
            with self.subTest(why):
                lines = [line({"ModelNumber": "MD1", "A": "y" * length}) for length in (1, size, 1)]
                run = self.tavik("batch", "--unsigned", *DOCUMENTS, "-j2", *options, stdin="".join(lines).encode(),
                                 preexec_fn=None if SANITIZED else lambda: resource.setrlimit(resource.RLIMIT_AS, (1 << 30, 1 << 30)))
                results = [json.loads(result) for result in run.out.splitlines()]
                self.assertEqual([result.get("verdict") for result in results], ["passed", None, "passed"], run.err)
                self.assertEqual(results[1], {"id": 2, "input_error": f"line 2: {why}"})

    def test_lines(self):
        one = line(GOOD).strip()
        texts = (
            ("last line without an end", f"{one}\n{one}", [1, 2]),
            ("CR LF", f"{one}\r\n{one}\r\n", [1, 2]),
            ("blank lines are counted", f"\n{one}\n  \t\n\r\n{one}\n\n", [2, 5]),
            ("byte order mark", f"\ufeff{one}\n", [1]),
            ("longer than a read", line(GOOD | {"x": "y" * 600000}) + one, [1, 2]),
        )
        for why, text, ids in texts:
            with self.subTest(why):
                results = [json.loads(result) for result in self.batch(text).out.splitlines()]
                self.assertEqual([(result["id"], "records" in result) for result in results], [(i, True) for i in ids])

    def test_the_number_of_threads_changes_no_byte(self):
        text = "".join(line(DEVICES[i * i % 9][0] | {"x": "y" * (i * 37 % 5000)}, sources=DEVICES[i % 7][1]) +
                       ("nonsense\n" if i % 11 == 0 else "\n" if i % 13 == 0 else "") for i in range(4000))
        self.file("devices", text)
        for options in (("--summary", "/dev/stderr"), ("--format", "table")):
            runs = [self.batch("", "devices", *options, *threads) for threads in
                    ((), ("-j1",), ("-j", "2"), ("-j", "7"), ("-j", "64"))]
            self.assertEqual(len(re.findall(r"^\S", runs[0].out, re.MULTILINE)), 4000 + 364)
            for run in runs[1:]:
                self.assertEqual((run.status, run.stdout, run.err), (runs[0].status, runs[0].stdout, runs[0].err))

    def test_table(self):
        text = "".join(line(attributes, sources=sources, id=f"d\n{i}") for i, (attributes, sources, _) in enumerate(DEVICES[:5]))
        text += line(DEVICES[0][0], sources=DEVICES[0][1], id=[1, {"a": 2}])
        out = self.batch(text + "bad", "--format", "table").out
        self.assertRegex(out, r'''^pass  d\\n0
FAIL  d\\n1  Colour
      note: source "sfc" was not given, but 1 rule needs it; no source was given
      Colour
        actual    attribute Colour not found from sfc!
        expected  N/A
        to do     .*
FAIL  d\\n2  Model
      Model
        actual    XX
        expected  has prefix MD
FAIL  d\\n3  fault: rule "Code": .*
FAIL  d\\n4  no verdict: rule "Malformed": invalid logical operator:a XOR b
pass  \( 1, { a = 2; } \)
FAIL  7  input: line 7, column 1: unexpected "b"; expected a value
$''')

    def test_the_summary_names_the_ten_rules_that_failed_most(self):
        names = [f"R{i:02}" for i in range(12)]
        self.file("library", json.dumps({"version": 1} | {name: {"attribute": name, "predicate": "equal", "value": 1} for name in names}))
        self.file("rules", json.dumps({"version": 1, "GenericRules": {name: {} for name in reversed(names)}}))
        text = "".join(line({name: int(i > 2 or name != "R07") for name in names[2:]}) for i in range(1005))
        self.assertEqual(self.batch(text).err.splitlines()[1:], [
            "rules that failed most:", "    1005  R00", "    1005  R01", "       3  R07"])
        self.assertEqual(self.batch(line({})).err.splitlines()[2:], [f"       1  {name}" for name in names[:10]])

    def test_a_summary_of_endless_part_numbers_is_bounded(self):
        names = [f"R{i:03}" for i in range(999)]
        self.file("library", json.dumps({"version": 1} | {name: {"attribute": name, "predicate": "equal", "value": 1} for name in names}))
        self.file("rules", json.dumps({"version": 1, "GenericRules": {name: {} for name in names}}))
        self.batch("".join(line({"ModelNumber": f"P{i * 7 % 150:03}"}) for i in range(150)), "--summary", "counts")
        parts = json.loads((self.folder / "counts").read_bytes())["part_numbers"]
        self.assertEqual([(part["part_number"], part["failed"]) for part in parts],
                         [*((f"P{i:03}", 1) for i in range(100)), ("(others)", 50)])

    def test_documents_are_refused_before_the_first_line(self):
        self.signed("library", "rules")
        self.file("empty", "{}")
        self.file("unversioned", '{"Model": {}}')
        malformed = {"generic": {"GenericRules": 5}, "generic entry": {"GenericRules": {"Model": "x"}},
                     "sets": {"RuleSets": []}, "models": {"MPNRules": "x"}}
        for name, entries in malformed.items():
            self.file(name, json.dumps({"version": 1} | entries))
        for case in cases("batch-refusals"):
            with self.subTest(case):
                self.refuses(case["status"], case["message"], *shlex.split(case["command"]), stdin=line(GOOD).encode())

        self.command = [TAVIK, "batch", "--public-key", "pub", "--library", "library.signed", "--rules", "rules.signed"]
        process = self.start("-j", "2")
        for i in range(3):
            process.stdin.write(line(GOOD, id=i, sources=SFC).encode())
            process.stdin.flush()
            self.assertIn(b'"actual": "KQ2"', process.stdout.readline())
            (self.folder / "pub").unlink(missing_ok=True)  # nothing is validated a second time
        process.stdin.close()
        self.assertEqual(process.wait(), PASSED)

    def test_an_input_that_cannot_be_read(self):
        run = self.tavik("batch", "--unsigned", *DOCUMENTS, "--summary", "counts", "/proc/self/mem")
        self.assertEqual((run.status, run.out, run.err.splitlines()[1:]), (
            UNUSABLE, "", ["0 devices: 0 passed, 0 failed", "tavik: batch: /proc/self/mem: Input/output error"]))
        self.assertFalse((self.folder / "counts").exists())

    def test_a_result_comes_before_the_next_line_is_sent(self):
        process = self.start("-j", "4")
        for i in range(3):
            process.stdin.write(line(GOOD, id=i).encode())
            process.stdin.flush()
            self.assertTrue(select.select([process.stdout], [], [], 30)[0])
            self.assertEqual(json.loads(process.stdout.readline())["id"], i)

    @unittest.skipIf(THREAD_SANITIZER, "its own memory is in proportion to what was ever touched")
    def test_memory_is_bounded_however_long_the_stream(self):
        text = long_result(8000).encode() * 100
        with open(self.folder / "long", "wb") as long:  # in pieces: a child's peak begins with its parent's
            for _ in range(400):
                long.write(b"[" * 1000000)
        for name, rounds in (("many lines", 400), ("one line", 0)):
            process = self.start("-j", "4", *(["long"] if rounds == 0 else []), stdout=subprocess.DEVNULL,
                                 env=os.environ | {"ASAN_OPTIONS": "quarantine_size_mb=8"})
            for _ in range(rounds):
                process.stdin.write(text)
            process.stdin.close()
            _, status, usage = os.wait4(process.pid, 0)
            process.returncode = os.waitstatus_to_exitcode(status)
            self.assertEqual(process.returncode, FAILED)
            self.assertLess(usage.ru_maxrss, 256 << 10, name)  # in KiB; more went in, and as much came out

    def whole_results(self, out):
        """The results on standard output, which must be whole lines in the order of the input."""
        self.assertTrue(out == b"" or out.endswith(b"\n"))
        results = [json.loads(result) for result in out.splitlines()]
        self.assertEqual([result["id"] for result in results], list(range(1, len(results) + 1)))
        return results

    @unittest.skipIf(THREAD_SANITIZER, "it keeps a signal from a thread that waits for a lock")
    def test_a_signal_ends_the_run_with_whole_lines(self):
        for number in (signal.SIGINT, signal.SIGTERM, signal.SIGHUP):
            for busy in (True, False):
                with self.subTest(number, busy=busy):
                    process = self.start("-j", "3")
                    if busy:
                        self.feed(process, line(GOOD | {"x": "y" * 9000}) * 50)
                    else:
                        process.stdin.write(line(GOOD).encode())
                        process.stdin.flush()
                    first = process.stdout.readline()
                    process.send_signal(number)
                    out, err = first + process.stdout.read(), process.stderr.read().decode()
                    self.assertEqual(process.wait(), UNUSABLE)
                    count = len(self.whole_results(out))
                    self.assertIn(f"{count} device{'s' if count > 1 else ''}: 0 passed, {count} failed\n", err)
                    self.assertTrue(err.endswith("\ntavik: batch: interrupted before the end of the input\n"), err)

    def test_a_second_signal_ends_a_run_that_cannot_write(self):
        process = self.start("-j", "2")
        self.feed(process, long_result(90000) * 50)  # and nobody reads
        select.select([process.stdout], [], [])
        process.send_signal(signal.SIGINT)
        with self.assertRaises(subprocess.TimeoutExpired):
            process.wait(0.5)
        process.send_signal(signal.SIGINT)
        self.assertEqual(process.wait(), -signal.SIGINT)

    def test_an_ignored_signal_stays_ignored(self):
        process = self.start(preexec_fn=lambda: signal.signal(signal.SIGINT, signal.SIG_IGN))
        process.stdin.write(line(GOOD).encode())
        process.stdin.flush()
        first = process.stdout.readline()
        process.send_signal(signal.SIGINT)
        out = first + process.communicate(line(GOOD).encode())[0]
        self.assertEqual((process.returncode, len(self.whole_results(out))), (FAILED, 2))

    def test_a_reader_who_leaves_ends_the_run_without_a_word(self):
        for threads in ("1", "4"):
            process = self.start("-j", threads)  # whose input stays open
            self.feed(process, long_result(3000) * 50)
            process.stdout.readline()
            process.stdout.close()
            self.assertEqual(process.wait(60), UNUSABLE)
            self.assertEqual(process.stderr.read().decode(), UNSIGNED)

    def test_a_full_disk_leaves_whole_lines(self):
        def limit():
            # What a measurement of coverage writes must not be cut short.
            os.environ.update(GCOV_PREFIX=os.environ.get("BUILD", "build") + "/cut-short", GCOV_ERROR_FILE=os.devnull)
            signal.signal(signal.SIGXFSZ, signal.SIG_IGN)
            resource.setrlimit(resource.RLIMIT_FSIZE, (100000, 100000))

        self.file("devices", line(GOOD) * 5000)
        with open(self.folder / "out", "wb") as out:
            process = self.start("-j", "2", "devices", stdout=out, preexec_fn=limit)
            self.assertEqual(process.wait(), UNUSABLE)
        self.assertEqual(process.stderr.read().decode(), UNSIGNED + "tavik: batch: standard output: File too large\n")
        written = (self.folder / "out").read_bytes()
        self.assertGreater(len(self.whole_results(written)), 50)
        with open("/dev/full", "wb") as full:
            process = self.start("devices", stdout=full)
            self.assertEqual(process.wait(), UNUSABLE)
        self.assertIn(b"tavik: batch: standard output: No space left on device\n", process.stderr.read())

    def on_terminal(self, *options, stdout=None):
        """The status, and what a terminal shows of standard error, and of standard output unless that goes elsewhere."""
        master, terminal = pty.openpty()
        process = self.start(*options, stdout=stdout or terminal, stderr=terminal)
        os.close(terminal)
        shown = shown_on(master)
        return process.wait(), shown

    def test_progress_is_shown_on_a_terminal_and_taken_away(self):
        self.file("devices", line(GOOD) * 3000)
        status, shown = self.on_terminal("devices", stdout=subprocess.DEVNULL)
        self.assertEqual(status, FAILED)
        progress, after = shown[len(UNSIGNED):].rsplit("\r", 1)
        self.assertRegex(progress, r"^\d+ devices, \d+ failed, \d+ per second, \d+:\d\d left")
        self.assertRegex(progress, r"\r +$")
        self.assertTrue(after.startswith("3000 devices: 0 passed, 3000 failed\n"), after)

        status, shown = self.on_terminal("devices", "--format", "table")
        without = re.sub("\x1b\\[[0-9;]*m|[0-9]+ devices,[^\r]*\r +\r", "", shown[len(UNSIGNED):])
        self.assertEqual(re.sub(r"(?m)^ {6}.*\n", "", without), "".join(f"FAIL  {i}  Colour\n" for i in range(1, 3001)) + after)


if __name__ == "__main__":
    unittest.main()
