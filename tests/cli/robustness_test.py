"""What may happen around the command: it is killed, its disk is full, it has little of everything, its streams are closed, and
its inputs have odd names, no end, or nobody who fills them. There is one clear line and the right status, no hang, and no
half-written file under its final name."""

import errno
import json
import os
import pathlib
import random
import resource
import shlex
import shutil
import signal
import socket
import stat
import subprocess
import threading
import time
import unittest

from support import PASSED, TAVIK, UNUSABLE, CommandTest, cases

SANITIZED = "TAVIK_SANITIZE:STRING=\n" not in pathlib.Path(os.environ["BUILD"], "CMakeCache.txt").read_text()
LIBRARY = {"version": "1", "Model": {"attribute": "ModelNumber", "predicate": "hasPrefix", "value": "MD"}}
RULES = {"version": "2", "GenericRules": {"Model": {}}}
DEVICE = {"ModelNumber": "MD1"}
# Every way to read a file, "IN" in its place, to write one, "OUT" in its place, and to print an answer.
READERS, WRITERS, PRINTERS = ([tuple(shlex.split(command)) for command in commands] for commands in cases("commands").values())


def complaints(text):
    """The lines of standard error, but for the one about "--unsigned"."""
    return [line for line in text.splitlines() if "signatures are not verified" not in line]


def given(command, name):
    """The command with `name` in the place of "IN" or "OUT"."""
    return [argument.replace("IN", name).replace("OUT", name) for argument in command]


class RobustnessTest(CommandTest):
    def setUp(self):
        super().setUp()
        self.documents(LIBRARY, RULES)
        self.file("device", json.dumps(DEVICE))
        self.file("lines", json.dumps({"attributes": DEVICE}) + "\n")
        self.file("der", bytes.fromhex("3003020105"))
        self.signed("library")

    def start(self, *command, **options):
        return subprocess.Popen([TAVIK, *command], cwd=self.folder, stdout=subprocess.PIPE, stderr=subprocess.PIPE, **options)

    def limited(self, what, limit):
        def set_limit():  # the signals that Python ignores have their usual effect again
            resource.setrlimit(resource.RLIMIT_CORE, (0, 0))
            resource.setrlimit(what, (limit, limit))

        return {"preexec_fn": set_limit}


class KilledTest(RobustnessTest):
    def kill(self, command, number, delay):
        """Kills the command after a delay, or as soon as a file is being written."""
        process = self.start(*command)
        end = time.monotonic() + delay if delay else None
        while process.poll() is None and (end is None or time.monotonic() < end):
            if end is None and any(name.startswith(".tavik-") for name in os.listdir(self.folder)):
                break
        process.send_signal(number)
        out, _ = process.communicate(timeout=60)
        self.assertEqual(out, b"")
        self.assertIn(process.returncode, (PASSED, -number))

    def left_behind(self, number):
        """What nobody can tidy up after SIGKILL, and nothing else."""
        pending = list(self.folder.glob(".tavik-*"))
        self.assertTrue(not pending or number == signal.SIGKILL, pending)
        return pending

    def attempts(self, command, count):
        chance = random.Random(7)
        start = time.monotonic()
        self.passes(*command)
        length = time.monotonic() - start
        for attempt in range(count):
            number = (signal.SIGKILL, signal.SIGTERM, signal.SIGINT, signal.SIGHUP, signal.SIGQUIT)[attempt % 5]
            yield number, chance.uniform(0.01, 1.3 * length) if attempt % 2 else None

    def test_an_output_file_is_whole(self):
        self.file("in", json.dumps([f"text {i}" for i in range(60000)]))
        command = ("convert", "--to", "xml", "in", "-o", "out")
        path = self.folder / "out"
        seen = set()
        for number, delay in self.attempts(command, 30):
            if not seen:
                new = path.read_bytes()
            old = None if delay else b"before"
            path.unlink(missing_ok=True)
            if old is not None:
                self.file("out", old)
            self.kill(command, number, delay)
            now = path.read_bytes() if path.exists() else None
            self.assertIn(now, (old, new), number.name)
            seen.add(now == new)
            for pending in self.left_behind(number):
                pending.unlink()
        self.assertEqual(seen, {True, False}, "killed both before and after the file was there")

    def test_a_key_pair_is_whole(self):
        private, public = self.folder / "new.key", self.folder / "new.pub"
        for number, delay in self.attempts(("keygen", "--private", "new.key", "--public", "new.pub"), 40):
            private.unlink(missing_ok=True)
            public.unlink(missing_ok=True)
            self.kill(("keygen", "--private", "new.key", "--public", "new.pub"), number, delay)
            if number != signal.SIGKILL:
                self.assertEqual(private.exists(), public.exists(), number.name)
            if private.exists():
                self.assertTrue(private.read_text().endswith("-----END PRIVATE KEY-----\n"))
                self.assertEqual(stat.S_IMODE(private.stat().st_mode), 0o600)
            if public.exists():
                self.assertTrue(public.read_text().endswith("-----END PUBLIC KEY-----\n"))
            for pending in self.left_behind(number):
                self.assertTrue(stat.S_IMODE(pending.stat().st_mode) == 0o600 or b"PRIVATE" not in pending.read_bytes())
                pending.unlink()

    def test_a_pipe_that_nobody_fills_is_left_at_once(self):
        os.mkfifo(self.folder / "pipe")
        for command in READERS:
            with self.subTest(command):
                process = self.start(*given(command, "pipe"))
                while True:  # can be opened once the command is there
                    try:
                        writer = os.open(self.folder / "pipe", os.O_WRONLY | os.O_NONBLOCK)
                        break
                    except OSError as error:
                        self.assertEqual(error.errno, errno.ENXIO)
                        self.assertIsNone(process.poll())
                time.sleep(0.05)
                process.send_signal(signal.SIGINT)
                out, _ = process.communicate(timeout=20)
                os.close(writer)
                self.assertIn(process.returncode, (-signal.SIGINT, UNUSABLE if command[0] == "batch" else None))
                self.assertEqual(out, b"")
        process = self.start("convert", "--to", "xml", "pipe")  # and where nobody opens it
        time.sleep(0.2)
        process.send_signal(signal.SIGTERM)
        self.assertEqual((process.communicate(timeout=20), process.returncode), ((b"", b""), -signal.SIGTERM))


class InputsTest(RobustnessTest):
    def test_what_is_no_file_or_has_no_end(self):
        os.mkdir(self.folder / "folder")  # refuses() reads the files beside it
        with open(self.folder / "folder" / "huge", "wb") as huge:
            huge.truncate(10 << 30)
        with socket.socket(socket.AF_UNIX) as listener:
            listener.bind(str(self.folder / "socket"))
            odd = [
                ("is a directory", "."),
                ("is a device, not a file", "/dev/zero"),
                ("is a device, not a file", "/dev/urandom"),
                ("No such device or address", "socket"),
                ("is larger than ", "folder/huge"),
                ("File name too long", "n" * 300),
            ]
            if os.geteuid() != 0:  # root reads everything
                self.file("folder/secret", b"1")
                os.chmod(self.folder / "folder" / "secret", 0)
                odd.append(("Permission denied", "folder/secret"))
            for command in READERS:
                unlimited = SANITIZED or command[0] == "batch"  # its threads have stacks
                little = {} if unlimited else self.limited(resource.RLIMIT_AS, 64 << 20)
                for why, name in odd:
                    if (command[0], name) == ("batch", "folder/huge"):
                        continue  # a stream may be that long
                    with self.subTest(command, name=name):
                        self.refuses(UNUSABLE, f"{name}: {why}", *given(command, name), **little)

    @unittest.skipIf(SANITIZED, "sanitizers need address space of their own")
    def test_a_pipe_without_end(self):
        with open("/dev/zero", "rb") as endless, subprocess.Popen(["cat"], stdin=endless, stdout=subprocess.PIPE) as source:
            run = subprocess.run([TAVIK, "decode", "der", "-"], stdin=source.stdout, capture_output=True, check=False, timeout=60,
                                 **self.limited(resource.RLIMIT_AS, 256 << 20))
            source.stdout.close()
        self.assertEqual((run.returncode, run.stdout, run.stderr),
                         (UNUSABLE, b"", b"tavik: decode: standard input: out of memory\n"))

    def test_a_file_that_changes_while_it_is_read(self):
        text = json.dumps(["x" * 40] * 50000)
        path = self.folder / "changing"
        path.write_text(text)
        done = threading.Event()

        def change():
            while not done.is_set():
                os.truncate(path, len(text) // 3)
                path.write_text(text + text)

        changer = threading.Thread(target=change)
        changer.start()
        try:
            for _ in range(15):
                run = self.tavik("convert", "--to", "json", "changing", "-o", "out")
                self.assertEqual((run.status, run.err.count("\n")), (UNUSABLE, 1) if run.status else (PASSED, 0), run.err)
                if run.status == PASSED:
                    self.assertEqual(json.loads((self.folder / "out").read_text()), json.loads(text))
        finally:
            done.set()
            changer.join()

    def test_odd_names(self):
        for name in (b"two words", b"line\nbreak", b"bell\a", b"escape\x1b[31m", b"quote\"'", b"\xff\xfe", b"\xe2\x80\xaeover",
                     b"-dash", b"tab\there", b"[a]", b"{}", b"%s"):
            with self.subTest(name):
                to_json = ["convert", "--to", "json"]
                for arguments in (["--", name], ["device", b"--output=" + name + b"/x"]):
                    run = subprocess.run([TAVIK, *to_json, *arguments], cwd=self.folder, capture_output=True, check=False)
                    self.assertEqual((run.returncode, run.stdout), (UNUSABLE, b""))
                    line = run.stderr.decode()  # is UTF-8, whatever the name is
                    self.assertTrue(line.startswith("tavik: convert: ") and line.endswith(": No such file or directory\n"), line)
                    self.assertTrue(all(character >= " " and character != "\u202e" for character in line[:-1]), ascii(line))
                for arguments in (["device", b"--output=" + name], ["--", name]):
                    run = subprocess.run([TAVIK, *to_json, *arguments], cwd=self.folder, capture_output=True, check=False)
                    self.assertEqual((run.returncode, run.stderr), (PASSED, b""))
                self.assertEqual(json.loads(run.stdout), DEVICE)

    def test_streams_that_do_not_block(self):
        text = json.dumps(["x" * 40] * 20000).encode()
        ours, theirs = socket.socketpair()
        with ours:
            theirs.setblocking(False)
            command = [TAVIK, "convert", "--to", "xml", "-"]
            process = subprocess.Popen(command, stdin=theirs, stdout=theirs, stderr=subprocess.PIPE)
            theirs.close()
            time.sleep(0.1)
            ours.sendall(text)
            ours.shutdown(socket.SHUT_WR)
            time.sleep(0.1)
            answer = b""
            while piece := ours.recv(1 << 16):
                answer += piece
            self.assertEqual((process.communicate()[1], process.returncode), (b"", PASSED))
        self.assertEqual(answer.count(b"<string>"), 20000)
        self.assertTrue(answer.endswith(b"</plist>\n"))


class OutputsTest(RobustnessTest):
    def test_files_that_cannot_be_written(self):
        self.file("file", b"kept")
        os.symlink("loop", self.folder / "loop")
        os.mkdir(self.folder / "closed", 0o500)
        missing = [("missing/out", "No such file or directory"), ("file/out", "Not a directory"), ("", "No such file or directory"),
                 ("n" * 300, "File name too long")]
        if os.geteuid() != 0:  # root writes everywhere
            missing.append(("closed/out", "Permission denied"))
        for command in WRITERS:
            others = [("loop", "Too many levels"), ("/dev/full", "No space left")] if command[0] != "keygen" else [
                ("file", "already exists"), ("loop", "already exists"), ("-", "a key must be written to a file")]
            for name, why in missing + others:
                with self.subTest(command, name=name):
                    self.refuses(UNUSABLE, f"{name}: {why}", *given(command, name))

    @unittest.skipIf(os.geteuid() == 0, "root writes everywhere")
    def test_a_write_protected_file_stays(self):
        self.file("out", b"kept")
        os.chmod(self.folder / "out", 0o400)
        self.refuses(UNUSABLE, "-o out: Permission denied", "convert", "--to", "xml", "device", "-o", "out")

    def test_a_full_disk(self):
        for limit in (0, 50):
            for command in WRITERS:
                for old in (None, b"kept"):
                    if old and command[0] == "keygen":
                        continue
                    with self.subTest(command, limit=limit, old=old):
                        (self.folder / "out").unlink(missing_ok=True)
                        if old:
                            self.file("out", old)
                        full = self.limited(resource.RLIMIT_FSIZE, limit)
                        self.refuses(UNUSABLE, "File too large", *given(command, "out"), **full)

    def test_links_and_standard_output_by_name(self):
        os.mkdir(self.folder / "folder")
        os.symlink("folder/far", self.folder / "near")
        os.symlink("../new", self.folder / "folder" / "far")
        self.passes("convert", "--to", "json", "device", "-o", "near")  # there was nothing where the links lead
        self.assertEqual(json.loads((self.folder / "new").read_text()), DEVICE)
        self.assertTrue((self.folder / "near").is_symlink() and (self.folder / "folder" / "far").is_symlink())

        self.file("log", b"before\n")
        with open(self.folder / "log", "ab") as log:
            command = [TAVIK, "convert", "--to", "json", "device", "-o", "/dev/stdout"]
            run = subprocess.run(command, stdout=log, cwd=self.folder, check=False)
        self.assertEqual(run.returncode, PASSED)
        before, after = (self.folder / "log").read_text().split("\n", 1)
        self.assertEqual((before, json.loads(after)), ("before", DEVICE))

    def test_standard_output_that_takes_nothing(self):
        reader, gone = os.pipe()
        os.close(reader)
        for command in PRINTERS:
            where = "" if command[0].startswith("-") else command[0] + ": "
            with open("/dev/full", "wb") as full, open("/dev/null", "rb") as unwritable:
                for stdout, why in ((full, "No space left on device"), (unwritable, "Bad file descriptor"), (gone, None)):
                    with self.subTest(command, why=why):
                        run = subprocess.run([TAVIK, *command], cwd=self.folder, stdout=stdout, stderr=subprocess.PIPE,
                                             timeout=60, check=False)
                        self.assertEqual(run.returncode, UNUSABLE)
                        self.assertEqual(complaints(run.stderr.decode()), [f"tavik: {where}standard output: {why}"] if why else [])
        os.close(gone)

    def test_closed_streams(self):
        for command, streams, status, expected in (
            ("convert --to json - -o out", "<&-", UNUSABLE, "tavik: convert: standard input: is not open for reading\n"),
            ("convert --to json device", ">&-", UNUSABLE, "tavik: convert: standard output: Bad file descriptor\n"),
            ("convert --to json missing", "2>&-", UNUSABLE, ""),
            ("convert --to json missing", "2>/dev/full", UNUSABLE, ""),
            ("convert --to json device -o out", "<&- >&- 2>&-", PASSED, ""),
        ):
            with self.subTest(command, streams=streams):
                run = subprocess.run(["sh", "-c", f'"$0" {command} {streams}', TAVIK], cwd=self.folder, capture_output=True,
                                     check=False)
                self.assertEqual((run.returncode, run.stdout, run.stderr.decode()), (status, b"", expected))
        self.assertEqual(json.loads((self.folder / "out").read_text()), DEVICE)


@unittest.skipIf(SANITIZED, "sanitizers need memory and files of their own")
class LittleTest(RobustnessTest):
    COMMANDS = (*PRINTERS[:-2], *(given(command, "out") for command in WRITERS[1:4]))

    def outcome(self, command, what, limit):
        """Status and output; None where the system cannot even start the command."""
        for name in ("out", "out.pub"):
            (self.folder / name).unlink(missing_ok=True)
        run = self.tavik(*command, **self.limited(what, limit))
        if "shared librar" in run.err:
            return None
        if run.status == UNUSABLE:
            (line,) = complaints(run.err)
            self.assertTrue(line.startswith("tavik: "), line)
            self.assertFalse({"out", "out.pub"} & set(os.listdir(self.folder)))
        self.assertEqual(list(self.folder.glob(".tavik-*")), [])
        return run.status, run.out, run.err

    def test_without_proc(self):
        hidden = ("unshare", "--map-root-user", "--mount", "sh", "-c", 'mount -t tmpfs none /proc && exec "$@"', "sh")
        if not shutil.which("unshare") or subprocess.run([*hidden, "true"], capture_output=True, check=False).returncode:
            self.skipTest("cannot hide /proc")
        for command in PRINTERS:
            with self.subTest(command):
                usual = self.tavik(*command)
                run = subprocess.run([*hidden, TAVIK, *command], cwd=self.folder, capture_output=True, check=False)
                self.assertEqual((run.returncode, run.stdout, run.stderr), (usual.returncode, usual.stdout, usual.stderr))

    def test_few_open_files(self):
        for command in self.COMMANDS:
            usual = self.outcome(command, resource.RLIMIT_NOFILE, 64)
            for limit in range(4, 10):
                with self.subTest(command, limit=limit):
                    outcome = self.outcome(command, resource.RLIMIT_NOFILE, limit)
                    if outcome and outcome[0] == UNUSABLE:
                        self.assertIn("Too many open files", outcome[2])
                    elif outcome:
                        self.assertEqual(outcome[0], usual[0])

    def test_little_memory(self):
        self.file("device", json.dumps(DEVICE | {"Long": ["x" * 40] * 100000}))
        command = ("convert", "--to", "json", "device", "-o", "out")
        refusals = set()
        for mebibytes in range(22, 80, 3):  # with less, some builds cannot even be mapped
            outcome = self.outcome(command, resource.RLIMIT_AS, mebibytes << 20)
            if outcome and outcome[0] != PASSED:
                refusals.add(outcome)
        for status, out, err in refusals:
            self.assertEqual((status, out), (UNUSABLE, ""))
            self.assertRegex(err, "^tavik: convert: .*out of memory\n$")
        self.assertIn((UNUSABLE, "", "tavik: convert: device: out of memory\n"), refusals)


if __name__ == "__main__":
    unittest.main()
