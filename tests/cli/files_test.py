"""The files of a command line: what is read and told apart, what hostile input does (nothing), and how outputs are written."""

import os
import plistlib
import pty
import socket
import stat
import struct
import subprocess
import threading
import unittest

from support import PASSED, TAVIK, UNUSABLE, CommandTest, cases

XML = b'<?xml version="1.0" encoding="UTF-8"?>\n<plist version="1.0"><dict><key>a</key><integer>1</integer></dict></plist>\n'
AS_JSON = '{\n  "a": 1\n}\n'


def binary(objects, root=0):
    """A binary property list of objects that are encoded already."""
    body, offsets = b"bplist00", []
    for encoded in objects:
        offsets.append(len(body))
        body += encoded
    table = b"".join(struct.pack(">H", offset) for offset in offsets)
    return body + table + struct.pack(">5xBBBQQQ", 0, 2, 1, len(objects), root, len(body))


class InputsTest(CommandTest):
    def to_json(self, data):
        return self.passes("convert", "--to", "json", "-", stdin=data)

    def test_the_kind_is_told_from_the_content(self):
        for data in (XML, b"\xef\xbb\xbf" + XML, plistlib.dumps({"a": 1}, fmt=plistlib.FMT_BINARY)):
            self.assertEqual(self.to_json(data), AS_JSON)
        for case in cases("encodings"):
            with self.subTest(case):
                self.assertEqual(self.to_json(case["content"].encode()), case["json"])

    def test_files_pipes_and_standard_input_are_read(self):
        self.file("a.plist", XML)
        self.assertEqual(self.passes("convert", "--to", "json", "a.plist"), AS_JSON)
        os.symlink("a.plist", self.folder / "link")
        self.assertEqual(self.passes("convert", "--to", "json", "link"), AS_JSON)
        self.assertEqual(self.passes("convert", "--to", "json", "/dev/stdin", stdin=XML), AS_JSON)

        os.mkfifo(self.folder / "pipe")
        writer = threading.Thread(target=lambda: (self.folder / "pipe").write_bytes(XML))
        writer.start()
        self.assertEqual(self.passes("convert", "--to", "json", "pipe"), AS_JSON)
        writer.join()

        ours, theirs = socket.socketpair()  # how some job runners connect standard input
        with ours, theirs:
            ours.sendall(XML)
            ours.shutdown(socket.SHUT_WR)
            run = subprocess.run([TAVIK, "convert", "--to", "json", "-"], stdin=theirs, capture_output=True, check=False)
        self.assertEqual((run.returncode, run.stdout.decode()), (PASSED, AS_JSON))

    def test_what_cannot_be_read_is_refused(self):
        self.file("empty", b"")
        with open(self.folder / "huge", "wb") as huge:
            huge.truncate((1 << 30) + 1)
        refused = (
            ("No such file or directory", "missing"),
            ("No such file or directory", ""),
            ("is empty", "empty"),
            ("is a device, not a file", "/dev/null"),
            ("is larger than 1024 MiB", "huge"),
            ("Input/output error", "/proc/self/mem"),
        )
        for why, path in refused:
            with self.subTest(path[:20]):
                run = self.tavik("convert", "--to", "json", path)
                self.assertEqual((run.status, run.out), (UNUSABLE, ""))
                self.assertEqual(run.err, f"tavik: convert: {path}: {why}\n")
        with open(self.folder / "huge", "r+b") as huge:
            huge.truncate((64 << 20) + 1)
        for command in ("check", "lint", "sign", "verify"):
            arguments = {"check": ("--unsigned", "--library", "huge", "--rules", "x", "--attributes", "x"),
                         "lint": ("--unsigned", "--library", "huge"), "sign": ("huge", "--key", "x", "-o", "x"), "verify": ("huge",)}
            run = self.tavik(command, *arguments[command])
            self.assertEqual((run.status, run.err.splitlines()[-1].split(": ", 2)[2].removeprefix("--library ")),
                             (UNUSABLE, "huge: is larger than 64 MiB"))
        with open("/dev/zero", "rb") as endless:
            run = subprocess.run([TAVIK, "convert", "--to", "json", "-"], stdin=endless, capture_output=True, check=False)
        self.assertEqual((run.returncode, run.stderr), (UNUSABLE, b"tavik: convert: standard input: is a device, not a file\n"))

    def test_hostile_documents_are_refused_in_no_time(self):
        bomb = b'<!DOCTYPE plist [<!ENTITY a "aaaaaaaaaa">' + b"".join(
            b'<!ENTITY %c "%s">' % (letter, b"&%c;" % (letter - 1) * 10) for letter in range(ord("b"), ord("k"))
        ) + b']><plist version="1.0"><string>&j;</string></plist>'
        shared = [b"\xa2" + bytes((i + 1, i + 1)) for i in range(60)] + [b"\x51a"]
        hostile = (
            # why         data                                                               message
            ("text, cut", b"{a = (1, 2", "line 1, column "),
            ("not UTF-8", b'<plist version="1.0"><string>a\xff</string></plist>', "line 1, column 31: "),
            ("not UTF-8 in JSON", b'["a\xff"]', "line 1, column 4 ([0]): invalid UTF-8"),
            ("entity bomb", bomb, "line 1, column "),
            ("cycle", binary([b"\xa1\x00"]), "byte "),
            ("long cycle", binary([b"\xa1\x01", b"\xd1\x02\x00", b"\x51a"]), "byte "),
            ("bomb of shared arrays", binary(shared), "byte "),
            ("nested XML", b'<plist version="1.0">' + b"<array>" * 10000 + b"</array>" * 10000 + b"</plist>", "line 1, column "),
            ("nested text", b"(" * 10000 + b")" * 10000, "line 1, column "),
            ("nested JSON", b"[" * 10000 + b"]" * 10000, "line 1, column 513"),
            ("null object", binary([b"\x00"]), "byte "),
            ("a key twice", b'<plist version="1.0"><dict><key>k</key><true/><key>k</key><true/></dict></plist>', '"k"'),
            ("two values", XML + b"<a/>", "line 3, column "),
        )
        for why, data, message in hostile:
            with self.subTest(why):
                self.file("in", data)
                self.refuses(UNUSABLE, message, "convert", "--to", "binary", "in", "-o", "out")


class OutputsTest(CommandTest):
    def setUp(self):
        super().setUp()
        self.file("in.json", '{"a": 1}')

    def convert(self, output, **options):
        return self.tavik("convert", "--to", "json", "in.json", "-o", output, **options)

    def test_a_file_is_replaced_whole_and_keeps_its_permissions(self):
        self.file("out", "before")
        os.chmod(self.folder / "out", 0o6640)
        os.symlink("out", self.folder / "link")
        self.assertEqual(self.convert("link").status, PASSED)
        self.assertTrue((self.folder / "link").is_symlink())
        self.assertEqual((self.folder / "out").read_text(), AS_JSON)
        self.assertEqual(stat.S_IMODE((self.folder / "out").stat().st_mode), 0o640)
        self.assertEqual(sorted(os.listdir(self.folder)), ["in.json", "link", "out"])

        self.assertEqual(self.convert("in.json").status, PASSED)
        self.assertEqual((self.folder / "in.json").read_text(), AS_JSON)
        if os.geteuid() == 0:  # only root can give a file away
            os.chown(self.folder / "out", 1, 1)
            run = self.convert("out")
            self.assertEqual((run.status, run.err), (UNUSABLE, "tavik: convert: -o out: belongs to another user; remove it first\n"))

    def test_a_new_file_has_ordinary_permissions(self):
        self.assertEqual(self.convert("new", preexec_fn=lambda: os.umask(0o027)).status, PASSED)
        self.assertEqual(stat.S_IMODE((self.folder / "new").stat().st_mode), 0o640)

    def test_pipes_and_devices_are_written_to(self):
        self.assertEqual(self.convert("-").out, AS_JSON)
        self.assertEqual(self.convert("/dev/stdout").out, AS_JSON)
        self.assertEqual(self.convert("/dev/null").status, PASSED)
        self.assertTrue(stat.S_ISCHR(os.stat("/dev/null").st_mode))

    def test_a_terminal_gets_no_binary(self):
        master, terminal = pty.openpty()
        with os.fdopen(master, "rb"), os.fdopen(terminal, "wb") as stdout:
            run = subprocess.run([TAVIK, "convert", "--to", "binary", "in.json"], stdout=stdout, stderr=subprocess.PIPE,
                                 cwd=self.folder, check=False)
        self.assertEqual(run.returncode, UNUSABLE)
        self.assertIn(b"is a terminal", run.stderr)


if __name__ == "__main__":
    unittest.main()
