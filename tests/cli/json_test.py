"""Values as JSON: the mapping byte for byte, and every refusal with its place."""

import json
import re
import unittest

from support import UNUSABLE, CommandTest

DEPTH_LIMIT = 512


class JsonTest(CommandTest):
    def convert(self, text):
        """The value on one line, as `check` and `eval` print it."""
        record = self.tavik("eval", "isUppercase", "--attribute", text, "--format", "json").out
        return record[len('{"result": false, "actual": '):record.index(', "expected"')]

    def through(self, encoding, text):
        """JSON to a property list and back."""
        data = self.tavik("convert", "--to", encoding, "-", stdin=text.encode()).stdout
        return self.tavik("convert", "--to", "json", "-", stdin=data).out

    def test_every_kind_survives_each_encoding(self):
        text = json.dumps({
            "string": "a\"\\/\b\f\n\r\t\u0000\u001f\u007f é € 😀 \u2028",
            "empty": "",
            "integers": [0, 1, -1, 2**63 - 1, -(2**63)],
            "reals": [0.0, -0.0, 3.0, 10.5, 0.1, 1e15, 1e16, 0.0001, 0.00001, 1e300, 5e-324, 1.7976931348623157e308,
                      123456789012345680.0, 9223372036854.775],
            "special": [{"$number": "inf"}, {"$number": "-inf"}, {"$number": "nan"}],
            "booleans": [True, False, 1, 0, 1.0],
            "data": [{"$data": ""}, {"$data": "3q0="}, {"$data": "AAECAw=="}, {"$data": "//79"}],
            "dates": [{"$date": "2026-11-21T01:02:03Z"}, {"$date": "1999-12-31T23:59:59.25Z"}],
            "containers": [[], {}, [[]], {"a": {}}],
            "order": {"z": 1, "a": 2, "m": 3},
            "forms": [{"$dictionary": {"$data": "x"}}, {"$dictionary": {"$": 1}}, {"$data": 1, "b": 2},
                      {"$dictionary": {"$dictionary": {"$data": "AA=="}}}, {"$dictionary": 1, "b": {"$data": "AA=="}}],
        }, indent=2, ensure_ascii=False) + "\n"
        for encoding in ("json", "xml", "binary"):
            with self.subTest(encoding):
                # Parsed and printed again, since line breaks are not part of the mapping: keys in order, 1 apart from 1.0.
                back = self.through(encoding, text)
                self.assertEqual(json.dumps(json.loads(back)), json.dumps(json.loads(text)))

    def test_the_text_of_each_value(self):
        cases = (
            # written   read back
            ("1e3", "1000.0"),
            ("1E+2", "100.0"),
            ("-0", "0"),
            ("-0.0", "-0.0"),
            ("1e-400", "0.0"),
            ("1e15", "1000000000000000.0"),
            ("1e16", "1e+16"),
            ("1e-5", "1e-05"),
            ("0.0001", "0.0001"),
            ("99999999999999999999.0", "1e+20"),
            ("0.09999999999999999999999", "0.1"),
            ("9223372036854775807", "9223372036854775807"),
            ("-9223372036854775808", "-9223372036854775808"),
            ('"\\ud83d\\ude00\\u00e9\\/"', '"😀é/"'),
            (' [ 1 , { "a" : [ ] } ] ', '[1, {"a": []}]'),
            ('{"$dictionary": {"a": 1}}', '{"a": 1}'),
            ('{"$dictionary": {}}', "{}"),
            ('{"$date": "2026-11-21T01:02:03.000Z"}', '{"$date": "2026-11-21T01:02:03Z"}'),
        )
        for text, expected in cases:
            with self.subTest(text):
                self.assertEqual(self.convert(text), expected)

    def test_what_is_no_value_is_refused_with_its_place(self):
        cases = (
            # place                          why                               text
            ("line 1, column 1", "null is no value", "null"),
            ("line 2, column 3 (a.b[1])", "null is no value", '{"a": {"b": [1,\n  null]}}'),
            ('line 2, column 2 (a."b c".k)', 'the key "k" is given twice, first at line 1, column 16',
             '{"a": {"b c": {"k": 1,\n "k": 2}}}'),
            ("line 1, column 15 (b)", 'the key "b" is given twice, first at line 1, column 9', '{"a": 1,"b":2,"b":3}'),
            ("line 1, column 2", "this integer does not fit in 64 bits", "[9223372036854775808]"),
            ("line 1, column 1", "this integer does not fit in 64 bits", "-92233720368547758080"),
            ("line 1, column 1", "beyond what a floating-point number holds", "1e400"),
            ("line 1, column 6 (a)", '"$data" needs', '{"a":{"$data": "3q0"}}'),
            ("line 1, column 1", '"$data" needs', '{"$data": "3q1="}'),
            ("line 1, column 1", '"$data" needs', '{"$data": 5}'),
            ("line 1, column 1", '"$date" needs', '{"$date": "2026-02-30T00:00:00Z"}'),
            ("line 1, column 1", '"$number" needs', '{"$number": "1"}'),
            ("line 1, column 1", '"$dictionary" needs', '{"$dictionary": 5}'),
            ("line 1, column 1", '"$foo" is none of', '{"$foo": 5}'),
            ("line 1, column 2", "there is no value", " "),
            ("line 1, column 5", "something follows the value", "[1] 2"),
            ("line 1, column 4", "something follows the value", "[1]]"),
            ("line 1, column 1", 'no value begins with "f"', "falsy"),
            ("line 1, column 6", "something follows the value", "falsely"),
            ("line 1, column 4", 'no value begins with "]"', "[1,]"),
            ("line 1, column 4", '"," or "]" is missing', "[1 2]"),
            ("line 1, column 3", "inside an array", "[1"),
            ("line 1, column 8", "inside an object", '{"a": 1'),
            ("line 1, column 6", '":" is missing', '{"a" 1}'),
            ("line 1, column 9", "a key in quotes is missing", '{"a": 1,}'),
            ("line 1, column 2", "no closing quote", '["abc'),
            ("line 1, column 4", "unknown escape", '["a\\x"]'),
            ("line 1, column 6", "unknown escape", '["a\\n\\x"]'),
            ("line 1, column 2", "half of a surrogate pair", '"\\ud800"'),
            ("line 1, column 2", "half of a surrogate pair", '"\\udc00\\ud800"'),
            ("line 1, column 3", "control character", '"a\tb"'),
            ("line 1, column 2", "begins with 0", "[01]"),
            ("line 1, column 2", "digits after its point", "[1.]"),
            ("line 1, column 2", "digits after its point", "[1e]"),
            ("line 1, column 3", "invalid UTF-8", b'"\xc3\xa4\xff"'),
        )
        for place, why, text in cases:
            with self.subTest(text):
                line = self.refuses(UNUSABLE, why, "eval", "equal", "--attribute", text)
                self.assertRegex(line, f"--attribute: {re.escape(place)}( \\(|: )")

    def test_nesting_is_limited_as_in_property_lists(self):
        def nested(count, inner=""):
            return "[" * count + inner + "]" * count

        deepest = (nested(DEPTH_LIMIT), nested(DEPTH_LIMIT, '{"$data": ""}'),
                   nested(DEPTH_LIMIT - 1, '{"$dictionary": {"$x": 1}}'), '{"a": ' * DEPTH_LIMIT + "1" + "}" * DEPTH_LIMIT)
        for text in deepest:
            self.passes("convert", "--to", "binary", "-", stdin=text.encode())
        too_deep = (nested(DEPTH_LIMIT + 1), nested(DEPTH_LIMIT, "{}"), nested(10000), '{"$dictionary": ' * 10000 + "}" * 10000,
                    '{"a": ' * (DEPTH_LIMIT + 1) + "1" + "}" * (DEPTH_LIMIT + 1))
        for text in too_deep:
            with self.subTest(text[:20]):
                self.refuses(UNUSABLE, "nested more than 512 deep", "convert", "--to", "xml", "-", stdin=text.encode())
        self.refuses(UNUSABLE, "inside an array", "convert", "--to", "xml", "-", stdin=b"[" * 1000000)


if __name__ == "__main__":
    unittest.main()
