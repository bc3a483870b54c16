"""`tavik decode`: blobs of device data as JSON and as text."""

import base64
import json
import os
import pty
import struct
import subprocess
import unittest

from support import FAILED, PASSED, TAVIK, CommandTest, shown_on

SHA1_WITH_RSA = bytes.fromhex("06092a864886f70d010105")


def der(tag, *contents):
    content = b"".join(contents)
    length = bytes((len(content),)) if len(content) < 128 else b"\x82" + struct.pack(">H", len(content))
    return bytes((tag,)) + length + content


def data(contents):
    return {"$data": base64.b64encode(contents).decode()}


def sys_cfg(*entries):
    return bytes(20) + struct.pack("<I", len(entries)) + b"".join(tag[::-1] + value.ljust(16, b"\0") for tag, value in entries)


def control_bits(*states):
    words = [(state | 0xFF - 5 << 2 | 0x3FF - 7 << 10 | 0xFFF - 1 << 20) for state in states]
    return bytes(64) + b"".join(struct.pack("<II24s", word, 1700000000, b"FW-1") for word in words)


class DecodeTest(CommandTest):
    def decode(self, kind, blob, *options):
        self.file("blob", blob)
        run = self.tavik("decode", kind, "blob", *options)
        return run.status, run.out, run.err

    def json(self, kind, blob, status=PASSED):
        run = self.decode(kind, blob, "--format", "json")
        self.assertEqual(run[0], status)
        self.assertEqual(run[1].count("\n"), 1)
        return json.loads(run[1])

    def test_sys_cfg(self):
        blob = sys_cfg((b"SrNm", b"C02"), (b"WMac", bytes(range(1, 17))), (b"Em\x1bt", b""))
        self.assertEqual(self.json("syscfg", blob), {"SrNm": "C02", "WMac": data(bytes(range(1, 17))), "Em\x1bt": ""})
        self.assertEqual(self.decode("syscfg", blob)[1], (
            'SrNm     "C02"\n'
            "WMac     000000  01 02 03 04 05 06 07 08  09 0a 0b 0c 0d 0e 0f 10  |................|\n"
            'Em\\x1bt  ""\n'))

    def test_where_and_why_decoding_stops(self):
        blob = sys_cfg((b"SrNm", b"C02"), (b"CNTB", b"TsLF" + struct.pack("<III", 4, 99, 0)))
        items = der(0x31, der(0x81, b"ABC"), b"\x82\x09")
        manifest = der(0x30, der(0x30, SHA1_WITH_RSA), items, der(0x04), der(0xA3))
        cases = (  # kind, bytes, what is decoded, what standard error says
            ("syscfg", b"", {}, "byte 0: the header is cut off"),
            ("syscfg", blob[:-1], {"SrNm": "C02"}, "byte 44: an entry is cut off"),
            ("syscfg", blob, {"SrNm": "C02"}, "byte 44: the entry's value is outside the blob"),
            ("control-bits", bytes(96), None, "byte 96: the block ends after 1 of 254 records"),
            ("root-manifest", manifest, {}, "byte 22: the item cannot be read: its content runs past the end"),
        )
        for kind, blob, decoded, why in cases:
            with self.subTest(kind, why=why):
                status, out, err = self.decode(kind, blob, "--format", "json")
                self.assertEqual((status, err), (FAILED, f"tavik: decode: blob: {why}\n"))
                if decoded is not None:
                    self.assertEqual(json.loads(out), decoded)

    def test_attributes(self):
        device = {"ModelNumber": "M1", "SysCfgData": data(sys_cfg((b"SrNm", b"C02"))), "BasebandFirmwareManifestData": {"RootManifestData": data(b"0")}}
        status, out, err = self.decode("attributes", json.dumps(device).encode(), "--format", "json")
        self.assertEqual((status, json.loads(out)), (FAILED, device | {"SysCfgData.SrNm": "C02"}))
        self.assertIn("blob: RootManifestData cannot be decoded to its end: an element cannot be read", err)

    def test_control_bits(self):
        blob = control_bits(0, 1, 2, 3)
        records = self.json("control-bits", blob, FAILED)
        self.assertEqual([record["Test State"] for record in records], ["Pass", "Incomplete", "Fail", "Untested"])
        self.assertEqual(records[2], {"Test State": "Fail", "Erase Count": 1, "Abs Fail Count": 7, "Rel Fail Count": 5,
                                      "Timestamp": {"$date": "2023-11-14T22:13:20Z"}, "Software Version": "FW-1"})
        text = self.decode("control-bits", blob)[1]
        self.assertIn("\n    0  p I F .\n", text)
        self.assertIn("4 control bits: 1 Pass, 1 Fail, 1 Incomplete, 1 Untested", text)
        self.assertIn("\n2    Fail        1            7               5 ", text)
        self.assertEqual(self.json("control-bits", b"", FAILED), [])
        self.assertEqual(len(self.json("control-bits", control_bits(*[0] * 254))), 254)

    def test_manifests(self):
        algorithm = der(0x30, SHA1_WITH_RSA)
        items = der(0x31, der(0x81, b"ABC"), der(0x82, b"\xff\x00"))
        end = (der(0x04), der(0xA3))
        root = der(0x30, algorithm, items, *end)
        provisioning = der(0x30, der(0x02, b"\x01"), algorithm, der(0xA0), items, *end)
        for kind, manifest, other in (("root-manifest", root, provisioning), ("provisioning-manifest", provisioning, root)):
            with self.subTest(kind):
                self.assertEqual(list(self.json(kind, manifest).values()), ["ABC", data(b"\xff\x00")])
                self.assertIn('"ABC"', self.decode(kind, manifest)[1])
                for wrong in (other, b"", manifest[:-1]):
                    self.assertIsNone(self.json(kind, wrong, FAILED))
                    status, out, err = self.decode(kind, wrong)
                    self.assertEqual((status, out), (FAILED, ""))
                    self.assertTrue(err.startswith(f"tavik: decode: blob: is not a {kind}: "))

    def test_of_long_data_a_terminal_shows_the_beginning(self):
        self.file("blob", der(0x30, der(0x30, SHA1_WITH_RSA), der(0x31, der(0x81, b"\xff" * 300)), der(0x04), der(0xA3)))
        master, terminal = pty.openpty()
        subprocess.run([TAVIK, "decode", "root-manifest", "blob"], cwd=self.folder, stdout=terminal, check=True)
        os.close(terminal)
        lines = shown_on(master).splitlines()
        self.assertEqual(len(lines), 17)
        self.assertIn("… 44 more bytes", lines[-1])

    def test_der(self):
        blob = der(0x30, der(0x02, b"\xff"), der(0xA1, der(0x0C, "é".encode())), der(0x31)) + SHA1_WITH_RSA
        truths = self.decode("der", der(0x01, b"\xff") + der(0x01, b"\0") + der(0x01, b"\1\2"))[1].splitlines()[1:]
        self.assertEqual([line.split("BOOLEAN")[1].strip() for line in truths], ["TRUE", "FALSE", "01 02"])
        run = self.decode("der", blob, "--format", "json")
        self.assertEqual(run[1], (
            '{"items": [{"offset": 0, "headerLength": 2, "length": 11, "class": 0, "tag": 16, "constructed": true, "items": '
            '[{"offset": 2, "headerLength": 2, "length": 1, "class": 0, "tag": 2, "constructed": false, "data": {"$data": "/w=="}}, '
            '{"offset": 5, "headerLength": 2, "length": 4, "class": 2, "tag": 1, "constructed": true, "items": '
            '[{"offset": 7, "headerLength": 2, "length": 2, "class": 0, "tag": 12, "constructed": false, "data": {"$data": "w6k="}}]}, '
            '{"offset": 11, "headerLength": 2, "length": 0, "class": 0, "tag": 17, "constructed": true, "items": []}]}, '
            '{"offset": 13, "headerLength": 2, "length": 9, "class": 0, "tag": 6, "constructed": false, "data": '
            '{"$data": "KoZIhvcNAQEF"}}], "status": 0}\n'))
        self.assertEqual(self.decode("der", blob)[1], """\
  offset  header    length  element
       0       2        11  SEQUENCE
       2       2         1    INTEGER  -1
       5       2         4    [1]
       7       2         2      UTF8String  "é"
      11       2         0    SET
      13       2         9  OBJECT IDENTIFIER  1.2.840.113549.1.1.5
""")

    def test_der_that_can_be_read_in_part(self):
        number = {"offset": 2, "headerLength": 2, "length": 1, "class": 0, "tag": 2, "constructed": False, "data": data(b"\x07")}
        cases = (
            # why                      bytes                                 status  items of the sequence
            ("content past the end",   der(0x30, b"\x02\x01\x07\x04\x09"), 2, [number]),
            ("no length",              der(0x30, b"\x02\x01\x07\x04"), 4, [number]),
            ("tag cut off",            der(0x30, b"\x02\x01\x07\x1f"), 3, [number]),
            ("tag beyond 32 bits",     der(0x30, b"\x02\x01\x07\x1f\xff\xff\xff\xff\x7f\x00"), 6, [number]),
        )
        for why, blob, status, items in cases:
            with self.subTest(why):
                decoded = self.json("der", blob + der(0x05), FAILED)
                self.assertEqual((decoded["items"][0]["items"], decoded["status"]), (items, status))
                self.assertEqual(len(decoded["items"]), 1)  # reading ended inside
                _, out, err = self.decode("der", blob)
                self.assertIn("INTEGER  7", out)
                self.assertRegex(err, rf"^tavik: decode: blob: byte 5: the element cannot be read: .* \(status {status}\)\n$")
        self.assertEqual(self.json("der", b""), {"items": [], "status": 0})

    def test_der_of_any_depth(self):
        parts, length = [], 0
        for _ in range(100000):
            parts.append(b"\x30\x84" + struct.pack(">I", length))
            length += 6
        blob = b"".join(reversed(parts))
        status, out, _ = self.decode("der", blob, "--format", "json")
        self.assertEqual((status, out.count('"items"')), (PASSED, 100001))
        status, out, _ = self.decode("der", blob)
        self.assertEqual((status, out.count("\n")), (PASSED, 100001))
        self.assertLess(len(out), 20000000)


if __name__ == "__main__":
    unittest.main()
