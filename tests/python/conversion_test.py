"""Conversion of values in both directions, and errors with the path to the value."""

import collections
import datetime
import enum
import pickle
import types
import unittest

import tavik

UTC = datetime.timezone.utc
SUMMER = datetime.timezone(datetime.timedelta(hours=5, minutes=30))


class Color(enum.IntEnum):
    RED = 3


class Clearing(datetime.tzinfo):
    """A time zone that clears a container during its conversion."""

    def __init__(self, container):
        self.container = container

    def utcoffset(self, _):
        self.container.clear()
        return datetime.timedelta(0)


def converted(value):
    return tavik.Dictionary({"key": value})["key"]


def nested(depth):
    value = []
    for _ in range(depth - 1):
        value = [value]
    return value


class KindsTest(unittest.TestCase):
    def test_round_trips(self):
        for value in (
            "", "short", "longer than fifteen bytes", "a\0b", "Grüße 🙂", True, False, 0, -1, 2**63 - 1, -(2**63), 0.0,
            5.0, -1e300, float("inf"), b"", b"\0\xff" * 20, [], [1, [2.0, [True]]], {}, {"": {"b": 1, "a": [b"x"]}},
            datetime.datetime(2026, 11, 21, 1, 2, 3, 456789, UTC), datetime.datetime(1, 1, 1, tzinfo=UTC),
            datetime.datetime(1969, 12, 31, 23, 59, 59, 999999, UTC), datetime.datetime(9999, 12, 31, 23, 59, 59, 0, UTC),
        ):
            with self.subTest(value):
                self.assertEqual(repr(converted(value)), repr(value))
                binary = tavik.write_property_list({"key": value}, "binary")
                self.assertEqual(repr(tavik.read_property_list(binary)), repr({"key": value}))

    def test_microseconds(self):
        for microsecond in range(0, 1_000_000, 997):
            moment = datetime.datetime(2099, 2, 28, 23, 59, 59, microsecond, UTC)
            self.assertEqual(converted(moment), moment)

    def test_other_accepted_types(self):
        for value, expected in (
            (bytearray(b"ab"), b"ab"),
            (memoryview(b"xaby")[1:3], b"ab"),
            ((1, ("a",)), [1, ["a"]]),
            (Color.RED, 3),
            (datetime.datetime(2026, 1, 1, 3, 0, tzinfo=SUMMER), datetime.datetime(2025, 12, 31, 21, 30, tzinfo=UTC)),
            (collections.OrderedDict(b=1, a=2), {"b": 1, "a": 2}),
            (types.MappingProxyType({"b": 1}), {"b": 1}),
            (tavik.Dictionary({"b": [1]}), {"b": [1]}),
        ):
            with self.subTest(value):
                self.assertEqual(repr(converted(value)), repr(expected))

    def test_order_of_keys(self):
        ordered = collections.OrderedDict.fromkeys("abc", 1)
        ordered.move_to_end("a")
        self.assertEqual(list(tavik.Dictionary(ordered)), ["b", "c", "a"])
        self.assertEqual(list(tavik.Dictionary({"z": 1, "a": 2})), ["z", "a"])


class Odd(datetime.datetime):
    def utcoffset(self):
        return "not a timedelta"


class OddItems(dict):
    def items(self):
        return [5]


class RejectionTest(unittest.TestCase):
    def rejects(self, kind, text, call, *arguments, **keywords):
        with self.subTest(text), self.assertRaises(kind) as raised:
            call(*arguments, **keywords)
        self.assertIs(type(raised.exception), kind)
        self.assertIn(text, str(raised.exception))

    def test_unsupported_values(self):
        cyclic = {}
        cyclic["again"] = [cyclic]
        shared = []
        for _ in range(40):
            shared = [shared, shared]
        frozen = tavik.Dictionary({})
        for _ in range(511):
            frozen = tavik.Dictionary({"f": frozen})
        for value, kind, text in (
            (None, TypeError, "entries['key']: None is not allowed"),
            ({"a": [1, (2, None)]}, TypeError, "entries['key']['a'][1][1]: None is not allowed"),
            ({5: 1}, TypeError, "entries['key']: the key 5 is of type int, not str"),
            ({"a": {None: 1}}, TypeError, "entries['key']['a']: the key None is of type NoneType, not str"),
            (2**63, OverflowError, "entries['key']: the integer is out of range"),
            (-(2**63) - 1, OverflowError, "out of range"),
            ("\ud800", ValueError, "unpaired surrogate"),
            ({"\ud800": 1}, ValueError, "unpaired surrogate"),
            (datetime.datetime(2026, 1, 1), ValueError, "entries['key']: a datetime without a time zone"),
            (datetime.date(2026, 1, 1), TypeError, "unsupported type datetime.date"),
            (1j, TypeError, "unsupported type complex"),
            ({1, 2}, TypeError, "unsupported type set"),
            (memoryview(b"abcd")[::2], BufferError, "memoryview"),
            (Odd(2026, 1, 1, tzinfo=UTC), TypeError, "utcoffset() did not return a timedelta"),
            (OddItems(), TypeError, "entries['key']: items() returned 5, which is not a pair"),
            (cyclic, ValueError, "more than 512 levels deep"),
            (nested(512), ValueError, "more than 512 levels deep"),
            (frozen, ValueError, "more than 512 levels deep"),
            (shared, ValueError, "more than 4194304 values"),
        ):
            self.rejects(kind, text, converted, value)
        self.assertEqual(converted(nested(511)), nested(511))

    def test_shared_frozen_dictionaries(self):
        frozen = tavik.Dictionary({})
        with self.assertRaisesRegex(ValueError, "more than 4194304 values"):
            for _ in range(60):
                frozen = tavik.Dictionary({"a": frozen, "b": frozen})

    def test_containers_cleared_during_conversion(self):
        entries, elements = {"a": ["x" * 50]}, [["y" * 50]]
        entries["".join(["key"] * 20)] = datetime.datetime(2026, 1, 1, tzinfo=Clearing(entries))
        entries["c"] = "z" * 50
        elements += [datetime.datetime(2026, 1, 1, tzinfo=Clearing(elements)), "z" * 50]
        self.assertEqual(list(tavik.Dictionary(entries)), ["a", "key" * 20])
        self.assertEqual(converted(elements), [["y" * 50], datetime.datetime(2026, 1, 1, tzinfo=UTC)])

    def test_arguments_of_the_wrong_type(self):
        for kind, text, call, *arguments in (
            (TypeError, "entries: expected dict, not list", tavik.Dictionary, []),
            (TypeError, "data: expected bytes, not str", tavik.decode_sys_cfg, "text"),
            (TypeError, "references: expected dict, not int", tavik.evaluate, "equal", 1, 2, 3),
            (ValueError, "format: expected", tavik.write_property_list, 5, "json"),
            (ValueError, "algorithm: expected", tavik.generate_key_pair, "rsa1024"),
            (FileNotFoundError, "/does/not/exist", tavik.read_property_list_file, "/does/not/exist"),
            (tavik.DocumentError, "line 1, column", tavik.read_property_list, b"<plist"),
            (tavik.DocumentError, "extends past the end", tavik.decode_der, b"\x30\x05\x02"),
        ):
            self.rejects(kind, text, call, *arguments)


class JsonTest(unittest.TestCase):
    def test_str_and_bytes(self):
        self.assertEqual(tavik.read_json('["é"]'), tavik.read_json(bytearray('["é"]'.encode())))
        self.assertEqual(tavik.write_json({"é": [1, 1.0]}, indent=True), '{\n  "é": [\n    1,\n    1.0\n  ]\n}')
        with self.assertRaisesRegex(tavik.DocumentError, r"^line 2, column 1 \(\[1\]\): null is not allowed$"):
            tavik.read_json("[1,\nnull]")
        self.assertRaises(UnicodeEncodeError, tavik.read_json, '"\ud800"')
        self.assertRaises(TypeError, tavik.read_json, 5)


class DictionaryTest(unittest.TestCase):
    def test_immutable_mapping(self):
        entries = {"b": [1], "a": b"x"}
        frozen = tavik.Dictionary(entries)
        self.assertIsInstance(frozen, collections.abc.Mapping)
        self.assertEqual(frozen, entries)
        self.assertEqual(pickle.loads(pickle.dumps(frozen)), frozen)
        self.assertEqual((frozen.get("a"), frozen.get("c", 7), list(frozen.items())), (b"x", 7, list(entries.items())))
        frozen["b"].append(2)
        entries["b"].append(3)
        self.assertEqual(frozen["b"], [1])
        for key in ("c", 5, "\ud800"):
            self.assertNotIn(key, frozen)
        with self.assertRaises(TypeError):
            hash(frozen)


if __name__ == "__main__":
    unittest.main()
