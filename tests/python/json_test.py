"""The JSON reader beside a second implementation: Python's json with the library's restrictions. Both accept a text, with
equal values, or both reject it: each seed of the fuzz target, and random changes of them."""

import base64
import datetime
import fractions
import json
import math
import random
import re
import sys
import unittest

import tavik

from support import PROJECT

SEEDS = sorted((PROJECT / "fuzz" / "corpus" / "JsonFuzzer").iterdir())
DEPTH_LIMIT = 512
REFERENCE = datetime.datetime(2001, 1, 1, tzinfo=datetime.timezone.utc)
DATE = re.compile(r"(\d{4}-\d\d-\d\dT\d\d:\d\d:\d\d)(?:\.(\d+))?Z", re.ASCII)
TOKENS = (
    b"{", b"}", b"[", b"]", b",", b":", b'"', b"\\", b"null", b"true", b"-", b"0", b"1e999", b"1e-999", b".5", b" ", b"\n", b"\x01",
    b"\xff", b"\xc3\xa9", b"\\ud83d", b"\\ude00", b"\\u0024", b'"a":1,', b'"id"', b'{"$dictionary":', b'{"$data":"', b"AA==", b'"$date"',
    b'{"$number":"inf"}', b"9223372036854775808", b"[" * 500, b'{"$dictionary":' * 300,
)


class Object(list):
    """The entries of an object as they come."""


def refuse(*_):
    raise ValueError


def date(text):
    whole, fraction = DATE.fullmatch(text).groups()
    moment = datetime.datetime.strptime(whole, "%Y-%m-%dT%H:%M:%S").replace(tzinfo=datetime.timezone.utc)
    seconds = fractions.Fraction((moment - REFERENCE) // datetime.timedelta(seconds=1))
    return REFERENCE + datetime.timedelta(seconds=float(seconds + fractions.Fraction(f"0.{fraction or 0}")))


def data(text):
    content = base64.b64decode(text)
    return content if base64.b64encode(content).decode() == text else refuse()


FORMS = {"$data": data, "$date": date, "$number": lambda text: float(text) if text in ("nan", "inf", "-inf") else refuse()}


def dictionary(entries, depth):
    keys = [key for key, _ in entries]
    if len(set(keys)) < len(keys) or depth > DEPTH_LIMIT:
        refuse()
    return {value(key, depth): value(content, depth + 1) for key, content in entries}


def value(node, depth=1):
    """What the library makes of a node that json has read."""
    if isinstance(node, Object):
        if len(node) != 1 or not node[0][0].startswith("$"):
            return dictionary(node, depth)
        [(name, content)] = node
        if name == "$dictionary" and isinstance(content, Object):
            return dictionary(content, depth)
        return FORMS[name](content) if isinstance(content, str) else refuse()
    if isinstance(node, list):
        return [value(each, depth + 1) for each in node] if depth <= DEPTH_LIMIT else refuse()
    if isinstance(node, str):
        node.encode()
    out_of_range = isinstance(node, int) and not -(2**63) <= node < 2**63
    return refuse() if node is None or node in (math.inf, -math.inf) or out_of_range else node


def second(text):
    decoded = text.decode().removeprefix("\ufeff")
    return value(json.loads(decoded, object_pairs_hook=Object, parse_constant=refuse))


def outcome(read, text):
    """What a reader makes of a text, kind for kind and in order, and None if it rejects it."""
    try:
        return repr(read(text))
    except (ValueError, KeyError, AttributeError, OverflowError, RecursionError, tavik.DocumentError):
        return None


def changed(text, dice):
    for _ in range(dice.choice((1, 1, 2, 4))):
        at = dice.randrange(len(text) + 1)
        inserted = dice.choice((b"", dice.choice(TOKENS), bytes([dice.randrange(256)])))
        text = text[:at] + inserted + text[at + dice.randrange(3):]
    return text


class JsonTest(unittest.TestCase):
    def compare(self, texts):
        accepted = 0
        for text in texts:
            ours = outcome(tavik.read_json, text)
            if ours != outcome(second, text):
                self.fail(f"{text!r}: {ours}, expected {outcome(second, text)}")
            accepted += ours is not None
        return accepted

    def test_two_implementations_agree(self):
        seeds = [seed.read_bytes() for seed in SEEDS]
        dice = random.Random(13)
        self.assertGreater(self.compare(seeds), 8)
        self.assertGreater(self.compare(changed(dice.choice(seeds), dice) for _ in range(5000)), 300)

    def test_text_as_str_and_bytes(self):
        self.assertEqual(tavik.read_json('["é"]'), tavik.read_json(bytearray('["é"]'.encode())))
        self.assertEqual(tavik.write_json({"é": [1, 1.0]}, indent=True), '{\n  "é": [\n    1,\n    1.0\n  ]\n}')
        with self.assertRaisesRegex(tavik.DocumentError, r"^line 2, column 1 \(\[1\]\): null is not allowed$"):
            tavik.read_json("[1,\nnull]")
        self.assertRaises(UnicodeEncodeError, tavik.read_json, '"\ud800"')
        self.assertRaises(TypeError, tavik.read_json, 5)


if __name__ == "__main__":
    sys.setrecursionlimit(10_000)  # json reads nested text by recursion
    unittest.main()
