"""Kernels and results: trust, exceptions, platforms and logs in Python, threads, signals and memory."""

import datetime
import gc
import itertools
import json
import logging
import os
import pathlib
import pickle
import signal
import subprocess
import sys
import threading
import time
import unittest

import tavik

from support import LIBRARY, SANITIZED, FolderTest, Unsigned, answer, kernel, rules

GOOD = {"ModelNumber": "MD101", "Colour": 3, "SerialNumber": "C8PKKQ2"}
SFC = {"sfc": {"Colour": 3}}

# A check that takes a few tenths of a second.
SLOW = {"version": "1"} | {f"Zeros {i}": {"attribute": "Zeros", "predicate": "dataNotNull"} for i in range(30)}
SLOW_RULES = rules(*(name for name in SLOW if name != "version"))
ZEROS = tavik.Dictionary({"Zeros": bytes(1 << 22)})

# Conversion of these attributes takes longer than the check.
LARGE = {f"Attribute {i}": "text" for i in range(1000)}


class TrustTest(FolderTest):
    def test_trust_policies_and_captures(self):
        for name in ("office", "lead"):
            pair = tavik.generate_key_pair()
            (self.folder / f"{name}.key").write_text(pair.private_key, encoding="utf-8")
            (self.folder / f"{name}.pem").write_text(pair.public_key, encoding="utf-8")
        policy = self.folder / "policy.json"
        policy.write_text(tavik.write_json({
            "keys": [{"name": name, "file": f"{name}.pem"} for name in ("office", "lead")], "threshold": 2,
            "require_statement": True, "state": "state.json"}), encoding="utf-8")

        def released(document, role, revision, expires=None):
            signed = tavik.sign(document, self.folder / "office.key", role=role, product="Heron", revision=revision,
                                expires=expires)
            return tavik.add_signature(signed, self.folder / "lead.key")

        future = datetime.datetime(2990, 1, 1, tzinfo=datetime.timezone.utc)
        library = released(LIBRARY, "library", 7, future)
        local = released(rules("Model Number"), "local-rules", 2)
        self.assertEqual(tavik.verify(library, trust=policy), LIBRARY)
        self.assertFalse((self.folder / "state.json").exists())
        opened = tavik.Kernel(library, platform=tavik.StationPlatform(trust=policy))
        prepared = opened.prepare(local)
        result = prepared.check(GOOD, SFC, {"OnPass": "bay"}, capture=self.folder / "run.json")
        self.assertTrue(result)
        self.assertEqual({key: result.provenance["library"][key] for key in ("version", "keys", "product", "revision", "expires")},
                         {"version": "31", "keys": ["office", "lead"], "product": "Heron", "revision": 7, "expires": future})
        self.assertEqual(pickle.loads(pickle.dumps(result)).provenance, result.provenance)
        self.assertTrue(self.tavik("replay", "run.json", "--trust", policy, "--format", "json")[0]["identical"])
        with self.assertRaises(tavik.Error):
            opened.check(GOOD, released(rules("Malformed"), "local-rules", 3), capture=self.folder / "malformed.json")
        self.assertTrue(self.tavik("replay", "malformed.json", "--trust", policy, "--format", "json")[0]["identical"])

        self.assertIn("revision 2 is older than revision 3", opened.prepare(local).rejection)
        self.assertIn('role is "library"', opened.prepare(library).rejection)
        for why, document in (("1 of 2", tavik.sign(LIBRARY, self.folder / "office.key", role="library", product="p", revision=9)),
                              ("revision 6 is older", released(LIBRARY, "library", 6))):
            with self.assertRaisesRegex(tavik.UntrustedError, why):
                tavik.Kernel(document, platform=tavik.StationPlatform(trust=policy))
        with self.assertRaisesRegex(tavik.DocumentError, 'trust policy ".*state.json": '):
            tavik.StationPlatform(trust=self.folder / "state.json")
        for arguments in ({"role": "library"}, {"role": "station", "product": "p", "revision": 1}):
            with self.assertRaises(ValueError):
                tavik.sign(LIBRARY, self.folder / "office.key", **arguments)
        with self.assertRaises(OSError):
            prepared.run(GOOD, capture=self.folder / "missing" / "run.json")

    def test_signed_documents(self):
        private, public = self.keys()
        other = self.folder / "other.pem"
        other.write_text(tavik.generate_key_pair("p256").public_key, encoding="utf-8")
        signed = tavik.sign(LIBRARY, private)
        library = self.folder / "library.plist"
        library.write_bytes(tavik.write_property_list(signed, "binary"))
        local = tavik.sign(tavik.write_property_list(rules("Model Number"), "binary"), private)
        for source in (library, str(library), library.read_bytes(), signed, tavik.Dictionary.read(library)):
            opened = tavik.Kernel(source, public)
            self.assertTrue(opened.check(GOOD, local))
        untrusted = opened.prepare(rules("Model Number"))
        self.assertEqual(untrusted.run(GOOD).reason, ("not trusted", untrusted.rejection, None))
        self.assertTrue(untrusted.rejection.startswith("the document is not signed"))
        with self.assertRaises(tavik.Error) as raised:
            opened.sfc_check_list(rules("Model Number"), GOOD)
        self.assertEqual(raised.exception.code, -100008)
        self.assertEqual(tavik.verify(local, public), rules("Model Number"))

        class Stricter(tavik.StationPlatform):
            def validate(self, signed, public_key_path):
                content = super().validate(signed, public_key_path)
                if content["version"] == "12":
                    raise tavik.UntrustedError("revoked")
                return content

        patched = tavik.StationPlatform(public)
        patched.validate = Stricter(public).validate
        for platform in (Stricter(public), patched):
            strict = tavik.Kernel(signed, platform=platform)
            self.assertEqual(strict.check(GOOD, local).records[0]["actual"], "revoked")
        local["payload"] = local["payload"].replace(b"12", b"13")

        unreadable = self.folder / "library.txt"
        unreadable.write_text("{ a = 1 }", encoding="utf-8")
        not_utf8 = self.folder / "\udcff"
        not_utf8.write_bytes(unreadable.read_bytes())
        listed = self.folder / "list.plist"
        listed.write_text("(1)", encoding="utf-8")
        for kind, text, call, *arguments in (
            (tavik.UntrustedError, f"{library}: ", tavik.Kernel, library, other),
            (tavik.UntrustedError, "library: the document is not signed", tavik.Kernel, LIBRARY, public),
            (tavik.UntrustedError, "library: public key file", tavik.Kernel, signed, "/does/not/exist"),
            (tavik.UntrustedError, "is not valid", tavik.verify, local, public),
            (tavik.DocumentError, "library.txt: line 1, column 9", tavik.Kernel, unreadable, public),
            (tavik.DocumentError, "library: line 1, column 9", tavik.Kernel, unreadable.read_bytes(), public),
            (tavik.DocumentError, "list.plist: the rule library is not a dictionary", tavik.Kernel, listed, public),
            (tavik.DocumentError, "library: the document is empty", tavik.Kernel, tavik.sign({}, private), public),
            (tavik.DocumentError, "", tavik.sign, ["not a dictionary"], private),
            (tavik.DocumentError, "", tavik.sign, LIBRARY, public),
            (tavik.DocumentError, "\udcff: line 1, column 9", tavik.Kernel, not_utf8, public),
            (tavik.UntrustedError, 'public key file "no\udcff"', tavik.Kernel, signed, b"no\xff"),
            (tavik.DocumentError, 'private key file "no\udcff"', tavik.sign, LIBRARY, b"no\xff"),
            (FileNotFoundError, "/does/not/exist", tavik.Kernel, "/does/not/exist", public),
            (TypeError, "library: expected dict, not int", tavik.Kernel, 5),
        ):
            with self.subTest(kind=kind, text=text), self.assertRaises(kind) as raised:
                call(*arguments)
            self.assertIs(type(raised.exception), kind)
            self.assertIn(text, str(raised.exception))
        with self.assertRaisesRegex(ValueError, "public_key: "):
            tavik.Kernel(signed, public, platform=Unsigned())


class OutcomeTest(unittest.TestCase):
    def setUp(self):
        self.kernel = kernel(LIBRARY)

    def test_every_outcome_of_a_run(self):
        short, malformed = GOOD | {"SerialNumber": "Q2"}, "invalid logical operator:a XOR b"
        missing = 'TavikRules version: the document has no "version"'
        unversioned = kernel({"Send": LIBRARY["Send"]})
        for opened, local, device, verdict, raised, reason in (
            (self.kernel, rules("Send", "Code"), GOOD, "passed", None, None),
            (self.kernel, rules("Send", "Code"), GOOD | {"SerialNumber": "C8PXXX2"}, "failed", None, None),
            (self.kernel, None, GOOD, "none", None, ("no local rules", "there are no local rules", None)),
            (self.kernel, {}, GOOD, "none", None, ("empty", "the document is empty", None)),
            (self.kernel, rules(MPNRules={"MX": {}}), GOOD, "none", None, ("not assembled", "unknown MPN:MD101", None)),
            (self.kernel, rules(), GOOD, "none", None, ("no rules", "the local rules have no rules for this device", None)),
            (self.kernel, rules("Send", "Malformed"), GOOD, "none", tavik.Error, ("malformed expression", malformed, "Malformed")),
            (self.kernel, rules("Send", "Code"), short, "none", tavik.RangeFault, ("fault", None, "Code")),
            (unversioned, rules("Send"), GOOD, "none", tavik.ArgumentFault, ("fault", missing, None)),
        ):
            with self.subTest(reason or verdict):
                result = opened.run(device, local, station={"before": 1})
                self.assertEqual((result.verdict, result.passed, bool(result), result.checked),
                                 (verdict, verdict == "passed", verdict == "passed", verdict != "none"))
                ended = result.fault or (result.error if result.records is None else None)
                self.assertIs(type(ended), raised or type(None))
                if reason:
                    text = reason[1] or str(result.fault)
                    self.assertEqual(result.reason, (reason[0], text, reason[2]))
                    self.assertEqual(str(result.reason), f'rule "{reason[2]}": {text}' if reason[2] else text)
                    self.assertEqual(result.rule_records, [])
                else:
                    self.assertEqual([record["rule"] for record in result.rule_records], ["Send", "Code"])
                    self.assertEqual(result.failures, [] if result else result.records[4:])
                    self.assertIs(result.records, result.records)
                self.assertEqual(answer(pickle.loads(pickle.dumps(result))), answer(result))
                prepared = opened.prepare(local)
                self.assertEqual(answer(prepared.run(device, station={"before": 1})), answer(result))
                self.assertEqual(prepared.rejection, reason[1] if reason and reason[0] in ("no local rules", "empty") else None)
                for check in (lambda: opened.check(device, local, station={"before": 1}),
                              lambda: prepared.check(device, station={"before": 1})):
                    if not raised:
                        self.assertEqual(answer(check()), answer(result))
                        continue
                    with self.assertRaises(raised) as caught:
                        check()
                    self.assertEqual((str(caught.exception), caught.exception.rule, caught.exception.station),
                                     (str(ended), reason[2], result.station))
                sent = verdict != "none" or bool(raised and reason[2])
                self.assertEqual(result.station, {"before": 1} | ({"OnPass": "good", "OnFail": 5} if sent else {}))
        self.assertTrue(issubclass(tavik.RangeFault, IndexError) and issubclass(tavik.ArgumentFault, ValueError))

    def test_many_devices(self):
        prepared = self.kernel.prepare(rules("Model Number", "Colour", "Code", MPNRules={
            "MD101": {}, "MX": {}, "MD102": {"OddRuleSet": {}}}, RuleSets={"OddRuleSet": {"Malformed": {}}}))
        kinds = ((GOOD, SFC), (GOOD, None), GOOD | {"ModelNumber": "MX"}, (GOOD | {"SerialNumber": "Q"}, SFC),
                 (GOOD | {"ModelNumber": "MD102"}, SFC), tavik.Dictionary({"ModelNumber": "MD9"}))

        def shown(outcome):
            return outcome.passed if isinstance(outcome, tavik.Result) else type(outcome)

        expected = [True, False, False, tavik.RangeFault, tavik.Error, False]
        for threads in (None, 1, 2, 1000):
            outcomes = prepared.check_many((kind for kind in kinds * 50), threads)
            self.assertEqual([shown(outcome) for outcome in outcomes], expected * 50)
        self.assertEqual(prepared.check_many([]), [])
        lines = ["\n", b'{"id": "\xff"}\r\n', " \t\n"]
        for device in kinds * 50:
            attributes, sources = device if isinstance(device, tuple) else (device, None)
            lines.append(tavik.write_json({"attributes": attributes, "sources": sources or {}}) + "\n")
        verdicts = [None] + ["passed", "failed", "failed", "none", "none", "none"] * 50
        for threads in (None, 1, 2, 1000):
            self.assertEqual(prepared.verdicts(kinds * 50, threads), verdicts[1:])
            answers = [json.loads(line) for line in prepared.check_lines(iter(lines), threads)]
            self.assertEqual([answer.get("verdict") for answer in answers], verdicts)
            self.assertEqual([answer["id"] for answer in answers], [2, *range(4, len(lines) + 1)])
        self.assertEqual(list(prepared.check_lines([])), [])
        for kind, lines, threads in ((TypeError, [5], None), (TypeError, 5, None), (ValueError, ["\ud800"], None), (ValueError, [], 0)):
            with self.subTest(lines), self.assertRaises(kind):
                list(prepared.check_lines(lines, threads))
        for kind, text, devices, threads in (
            (TypeError, "devices[2]['a']: None is not allowed", [GOOD, GOOD, {"a": None}], None),
            (TypeError, "devices[1][1]['sfc']: None is not allowed", [GOOD, (GOOD, {"sfc": None})], None),
            (TypeError, "devices[5000][1]['sfc']: expected dict, not int", [GOOD] * 5000 + [(GOOD, {"sfc": 5})], None),
            (TypeError, "devices[0]: expected a pair", [(GOOD, SFC, {})], None),
            (TypeError, "not iterable", 5, None),
            (TypeError, "integer", [GOOD], "2"),
            (ValueError, "threads: ", [GOOD], 0),
        ):
            with self.subTest(text), self.assertRaises(kind) as raised:
                prepared.check_many(devices, threads)
            self.assertIn(text, str(raised.exception))
        with self.assertRaisesRegex(TypeError, r"sources\['gui'\]: expected dict, not list"):
            prepared.run(GOOD, {"gui": [SFC]})


class LinesTest(FolderTest):
    LINE = '{"attributes": {"ModelNumber": "MD101"}}'

    def setUp(self):
        super().setUp()
        self.prepared = kernel(LIBRARY).prepare(rules("Model Number"))

    def test_exceptions_follow_the_results_before_them(self):
        def lines(last):
            yield from [self.LINE] * 40
            if isinstance(last, BaseException):
                raise last
            yield last

        for last, kind, before in ((OSError(), OSError, 40), (5, TypeError, 40), ("\ud800", ValueError, 40),
                                   (KeyboardInterrupt(), KeyboardInterrupt, 0)):
            for threads in (1, 2):
                results, count = self.prepared.check_lines(lines(last), threads), 0
                with self.subTest(kind, threads=threads), self.assertRaises(kind):
                    for count, _ in enumerate(results, 1):
                        pass
                self.assertGreaterEqual(count, before)
                self.assertEqual(list(results), [])

    def test_files(self):
        file = self.folder / "devices.jsonl"
        long = json.dumps({"id": "x" * 200_000, "attributes": GOOD})
        for end in ("", "\n"):
            file.write_bytes(("\r\n".join(["", self.LINE, "", long, *[self.LINE] * 5000, long, "{"]) + end).encode() + b"\xff")
            with open(file, "rb") as lines, open(file, "rb") as again:
                self.assertEqual(list(self.prepared.check_lines(lines, 2)), list(self.prepared.check_lines(list(again), 1)))

    def test_few_lines_are_read_ahead_and_the_rest_is_left(self):
        for threads in (1, 2, 5):
            lines = itertools.chain.from_iterable(itertools.repeat([self.LINE, "\n"], 1_000_000))
            results = self.prepared.check_lines(lines, threads)
            for given in range(200):
                next(results)
            del results
            left = 2_000_000 - sum(1 for _ in lines)
            self.assertLessEqual(left, 2 * (given + 1 + 64 * threads))

    def test_a_child_process_cannot_use_the_threads(self):
        results = self.prepared.check_lines(itertools.repeat(self.LINE), 2)
        next(results)
        child = os.fork()
        if child == 0:
            try:
                for _ in results:
                    pass
            except RuntimeError:
                del results
                gc.collect()
                os._exit(7)
            os._exit(1)
        self.assertEqual(os.waitstatus_to_exitcode(os.waitpid(child, 0)[1]), 7)
        self.assertEqual(json.loads(next(results))["verdict"], "passed")


class Lines(Unsigned):
    def __init__(self):
        self.lines = []

    def logs(self):
        return True

    def log(self, line):
        self.lines.append(line)


class PlatformTest(unittest.TestCase):
    def test_log_lines(self):
        local = rules("Model Number")
        lines = Lines()
        kernel(LIBRARY, lines).prepare(local).check(GOOD)
        with self.assertLogs("tavik", logging.DEBUG) as logged:
            kernel(LIBRARY).check(GOOD, local)
        self.assertIn("processing Model Number", lines.lines)
        self.assertEqual([record.getMessage() for record in logged.records], lines.lines)
        self.assertEqual({record.levelno for record in logged.records}, {logging.DEBUG})

        class Silent(Lines):
            def logs(self):
                return False

        silent = Silent()
        kernel(LIBRARY, silent).check(GOOD, local)
        self.assertEqual(silent.lines, [])

    def test_exceptions_in_a_platform(self):
        class Raising(Lines):
            exception = None

            def validate(self, signed, public_key_path):
                if self.exception:
                    raise self.exception
                return signed

            def logs(self):
                if self.exception is KeyError:
                    raise self.exception
                return True

            def log(self, line):
                super().log(line)
                raise ZeroDivisionError(line)

        raising, unraisable = Raising(), []
        self.addCleanup(setattr, sys, "unraisablehook", sys.unraisablehook)
        sys.unraisablehook = lambda raised: unraisable.append(raised.exc_type)
        opened = kernel(LIBRARY, raising)
        self.assertTrue(opened.check(GOOD, rules("Model Number")))
        self.assertEqual(set(unraisable), {ZeroDivisionError})
        self.assertEqual(len(unraisable), len(raising.lines))
        raising.exception = tavik.UntrustedError("not \udcff")
        self.assertEqual(opened.check(GOOD, rules("Model Number")).records[0]["actual"], "not ?")
        raising.exception = tavik.UntrustedError("not today")
        self.assertEqual(opened.check(GOOD, rules("Model Number")).records[0]["actual"], "not today")
        with self.assertRaisesRegex(tavik.UntrustedError, "library: not today"):
            kernel(LIBRARY, raising)
        for raising.exception in (OSError("gone"), KeyboardInterrupt(), KeyError):
            kind = raising.exception if isinstance(raising.exception, type) else type(raising.exception)
            for call in (lambda: opened.check(GOOD, rules()), lambda: opened.prepare(rules()),
                         lambda: kernel(LIBRARY, raising)):
                with self.assertRaises(kind):
                    call()

        class Interrupted(Lines):
            def log(self, line):
                super().log(line)
                raise KeyboardInterrupt  # Ctrl-C while a line is logged

        interrupted = Interrupted()
        opened = kernel(LIBRARY, interrupted)
        prepared, local = opened.prepare(rules("Model Number")), rules("Colour")
        for call in (lambda: prepared.check(GOOD), lambda: prepared.check_many([GOOD] * 1000, threads=2),
                     lambda: next(prepared.check_lines(['{"attributes": {"ModelNumber": "MD101"}}'] * 1000, threads=2)),
                     lambda: opened.sfc_check_list(local, GOOD)):
            with self.assertRaises(KeyboardInterrupt):
                call()
        self.assertLess(len(interrupted.lines), 10)

        class NoContent(tavik.Platform):
            def validate(self, signed, public_key_path):
                return None

        class WrongLogs(Unsigned):
            def logs(self):
                return None

        for platform, kind in ((NoContent(), TypeError), (WrongLogs(), TypeError), (tavik.Platform(), NotImplementedError), (5, TypeError)):
            with self.assertRaises(kind):
                kernel(LIBRARY, platform)


class ThreadTest(unittest.TestCase):
    def test_other_threads_run_during_a_check(self):
        opened = kernel(SLOW)
        prepared = opened.prepare(SLOW_RULES)
        for name, check in (("check", lambda: opened.check(ZEROS, SLOW_RULES)),
                            ("prepared", lambda: prepared.check(ZEROS)),
                            ("many", lambda: prepared.check_many([ZEROS], threads=1)),
                            ("conversion", lambda: prepared.check_many([LARGE] * 5000, threads=1))):
            began, ended, ticks = threading.Event(), threading.Event(), 0

            def run(began=began, ended=ended, check=check):
                began.set()
                check()
                ended.set()

            thread = threading.Thread(target=run)
            thread.start()
            began.wait()
            while not ended.is_set():
                ticks += 1
                time.sleep(0.001)
            thread.join()
            self.assertGreater(ticks, 10, name)

    def test_two_threads_check_concurrently(self):
        meeting = threading.Barrier(2)
        local = threading.local()
        broken = []

        class Meeting(Lines):
            def log(self, line):
                if not line.startswith("processing") or getattr(local, "met", False):
                    return
                local.met = True
                try:
                    meeting.wait(timeout=60)  # until two threads arrive
                except threading.BrokenBarrierError:
                    broken.append(line)

        outcomes = kernel(LIBRARY, Meeting()).prepare(rules("Model Number")).check_many([GOOD, GOOD], threads=2)
        self.assertEqual((broken, [outcome.passed for outcome in outcomes]), ([], [True, True]))

    def test_a_signal_interrupts_a_long_run(self):
        class Alarm(Exception):
            pass

        def ring(*_):
            raise Alarm

        self.addCleanup(signal.signal, signal.SIGALRM, signal.signal(signal.SIGALRM, ring))
        prepared = kernel(SLOW).prepare(SLOW_RULES)
        for devices in ([ZEROS] * 100_000, [LARGE] * 1_000_000):  # much longer than the timer
            signal.setitimer(signal.ITIMER_REAL, 0.1)
            with self.assertRaises(Alarm):
                prepared.check_many(devices, threads=2)
        signal.setitimer(signal.ITIMER_REAL, 0.1)
        with self.assertRaises(Alarm):
            next(prepared.check_lines(itertools.repeat("\n"), threads=2))

    @unittest.skipIf(SANITIZED, "a child process does not have the sanitizer's runtime")
    def test_exit(self):
        setup = """
import atexit, sys, threading, time
from kernel_test import GOOD, LIBRARY, Lines, Unsigned, kernel, rules

class Raising(Lines):
    def log(self, line): raise ZeroDivisionError(line)

class SlowExit:
    def __del__(self, clock=time.monotonic):
        end = clock() + 0.2
        while clock() < end: [number for number in range(1000)]

def keep():
    sys.kept = [prepared(platform) for platform in (Unsigned(), Lines())]
    sys.results = [each.check(GOOD) for each in sys.kept]

def prepared(platform):
    return kernel(LIBRARY, platform).prepare(rules("Model Number"))

def lines(platform):
    results = prepared(platform).check_lines(iter(lambda: '{"attributes": {}}', 0), 3)
    return next(results), results

def forever(*calls):
    sys.slow, sys.unraisablehook = SlowExit(), lambda raised: None
    for call in calls:
        threading.Thread(target=lambda call=call: [call() for _ in iter(int, 1)], daemon=True).start()
    time.sleep(0.1)

"""
        check = "for p in map(prepared, (Unsigned(), Lines())): forever(lambda p=p: p.check(GOOD), lambda p=p: p.check_many([GOOD] * 200, 2))"
        begun = ("sys.unraisablehook = lambda raised: None\n"
                 "for sys.begun in [[lines(p) for _ in range(5)] for p in (Unsigned(), Lines(), Raising())]: pass")
        for program in ("keep()", "atexit.register(keep)", *[begun, check, "forever(lambda p=prepared(Raising()): p.check(GOOD))"] * 4):
            with self.subTest(program):
                run = subprocess.run([sys.executable, "-c", setup + program], cwd=pathlib.Path(__file__).parent,
                                     capture_output=True, timeout=60, check=False)
                self.assertEqual((run.returncode, run.stderr), (0, b""))

    def test_uninitialized_objects(self):
        class Hasty(tavik.Kernel):
            def __init__(self):
                self.check(GOOD, None)
                super().__init__(LIBRARY)

        def uninitialized(kind):
            return kind.__new__(kind)

        for use in (Hasty, lambda: uninitialized(tavik.Kernel).prepare(None), lambda: uninitialized(tavik.PreparedRules).check(GOOD),
                    lambda: uninitialized(tavik.Result).records, lambda: len(uninitialized(tavik.Dictionary)),
                    lambda: uninitialized(tavik.KeyPair).public_key, lambda: uninitialized(tavik.DerItem).content):
            with self.assertRaisesRegex(TypeError, "not been called|No constructor"):
                use()


class MemoryTest(unittest.TestCase):
    """No leaks of Python objects or of the library's values."""

    def work(self):
        opened = kernel(LIBRARY)
        for names in (("Model Number", "Colour", "Send"), ("Malformed",), ("Code",)):
            prepared = opened.prepare(rules(*names))
            for outcome in prepared.check_many([(GOOD, SFC), GOOD | {"SerialNumber": "Q", "Text": "x" * 100}], 2):
                if isinstance(outcome, tavik.Result):
                    outcome.records, outcome.rule_records, outcome.failures, outcome.station, outcome.reason
            next(prepared.check_lines(itertools.repeat(LinesTest.LINE), 2))
        for call in (lambda: tavik.Dictionary({"a": [b"x" * 100, {"b": None}]}),
                     lambda: tavik.evaluate("a b c", 1), lambda: opened.check(GOOD, rules("Malformed")),
                     lambda: kernel(LIBRARY, tavik.Platform())):
            try:
                call()
            except (TypeError, tavik.Error, NotImplementedError):
                pass
        tavik.read_property_list(tavik.write_property_list(tavik.Dictionary({"d": [b"x" * 200, "y" * 200]}), "binary"))
        tavik.decode_der(b"\x02\x01\x05" * 10)

    def test_no_leaks(self):
        def resident():
            with open("/proc/self/statm", encoding="ascii") as file:
                return int(file.read().split()[1]) * os.sysconf("SC_PAGE_SIZE")

        runs = 400 if SANITIZED else 2000
        for _ in range(500):
            self.work()
        gc.collect()
        blocks, memory = sys.getallocatedblocks(), resident()
        for _ in range(runs):
            self.work()
        gc.collect()
        self.assertLess(sys.getallocatedblocks() - blocks, 400)  # less than one per run
        if not SANITIZED:  # sanitizers delay the release of memory
            self.assertLess(resident() - memory, 2 << 20)


if __name__ == "__main__":
    unittest.main()
