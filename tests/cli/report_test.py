"""The reports of `tavik check` and `tavik batch`: JUnit XML, property list and HTML; the pages also in a browser, with
values that try to act."""

import base64
import fcntl
import html.parser
import json
import os
import pathlib
import plistlib
import re
import shutil
import subprocess
import termios
import time
import unittest
import xml.etree.ElementTree as ElementTree

from browser import DRIVER, Browser
from support import FAILED, FAULT, NO_VERDICT, PASSED, TAVIK, UNUSABLE, CommandTest, cases

STATION = pathlib.Path(__file__).resolve().parents[2] / "examples" / "station"
SCHEMA = pathlib.Path(__file__).with_name("junit.xsd")
SANITIZED = re.search("TAVIK_SANITIZE:STRING=.", pathlib.Path(os.environ["BUILD"], "CMakeCache.txt").read_text())
DOCUMENTS = ("--unsigned", "--library", "library", "--rules", "rules")
EXAMPLE = ("--unsigned", "--library", STATION / "rule-library.plist", "--rules", STATION / "local-rules.plist")

LIBRARY = {
    "version": "L1",
    "Model": {"attribute": "ModelNumber", "predicate": "hasPrefix", "value": "MD"},
    "Size": {"attribute": "Size", "predicate": "equal", "value": 3},
    "Hidden": {"attribute": "ModelNumber", "predicate": "hasPrefix", "value": "MD", "hideResult": True},
    "Code": {"attribute": "SerialNumber", "predicate": "MPNCCCCheck", "value": "KQ2"},
    "Malformed": {"attribute": "Odd", "predicate": "a XOR b"},
    "Send": {"attribute": "ModelNumber", "predicate": "sendStaticAttribute", "value": {"OnPass": "pack", "OnFail": "mend"}},
}
RULES = {"version": 7, "GenericRules": {"Model": {}, "Size": {}, "Hidden": {}, "Code": {}, "Send": {}},
         "RuleSets": {"OddRuleSet": {"Malformed": {}}}, "MPNRules": {"MD1": {}, "XX": {}, "MD2": {"OddRuleSet": {}}}}
GOOD = {"ModelNumber": "MD1", "Size": 3, "SerialNumber": "C8PKKQ2"}
DEVICES = (  # attributes, status, failed rules
    (GOOD, PASSED, []),
    (GOOD | {"ModelNumber": "XX", "Size": 4}, FAILED, ["Model", "Size", "Hidden"]),
    (GOOD | {"SerialNumber": "Q2"}, FAULT, []),
    (GOOD | {"ModelNumber": "MD2", "Odd": 1}, NO_VERDICT, []),
    (GOOD | {"ModelNumber": "MD3"}, NO_VERDICT, []),
)
HOSTILE = ("<script>window.acted=1</script>", "</style></title><script>window.acted=1</script>",
           "\"'><img src=x onerror=window.acted=1>", "]]>&amp;&#0;<!--", "a\tb\nc\r\n d", "\x00\x08\x1b[2J\x7f", "\ufffe\uffff\ufffd",
           "\u202egnirts\u2066", "😀👩‍🚀", "x" * 100000, "{}{0}%@%s")


def as_xml_holds(text):
    return "".join(f"\\x{ord(c):02x}" if c < " " and c not in "\t\n\r" else f"\\u{ord(c):04x}" if c in "\ufffe\uffff" else c
                   for c in text)


class Rows(html.parser.HTMLParser):
    """The rows of a page's tables of rules as lists of texts, with marks in square brackets."""

    def __init__(self, page):
        super().__init__()
        self.rows, self._text = [], None
        self.feed(page)

    def handle_starttag(self, tag, attributes):
        if tag == "tr":
            self.rows.append([])
        elif tag in ("th", "td"):
            self._text = ""
        elif tag in ("small", "mark") and self._text is not None:
            self._text += "|" if tag == "small" else "["

    def handle_endtag(self, tag):
        if tag in ("th", "td"):
            self.rows[-1].append(self._text)
            self._text = None
        elif tag == "mark" and self._text is not None:
            self._text += "]"

    def handle_data(self, data):
        if self._text is not None:
            self._text += data


class ReportCase(CommandTest):
    maxDiff = 2000

    def setUp(self):
        super().setUp()
        self.documents(LIBRARY, RULES)

    def check(self, device, form, status=None):
        self.file("device", json.dumps(device))
        run = self.tavik("check", *DOCUMENTS, "--attributes", "device", "--format", form)
        if status is not None:
            self.assertEqual(run.status, status, run.err)
        return run.stdout.decode()

    def batch(self, text, form, *options, status=FAILED, **others):
        run = self.tavik("batch", *DOCUMENTS, "--format", form, *options, stdin=text.encode(), **others)
        self.assertEqual(run.status, status, run.err)
        return run.stdout.decode()

    def hostile_documents(self):
        """Rules, devices and identities all made of hostile texts. Returns the device's attributes."""
        names = [f"{i} {text[:200]}" for i, text in enumerate(HOSTILE)]
        rule = lambda i: {"attribute": HOSTILE[i], "predicate": "hasPrefix", "value": "?" + HOSTILE[i]}
        self.documents({"version": HOSTILE[0]} | {name: rule(i) for i, name in enumerate(names)}
                       | {"Send": LIBRARY["Send"] | {"value": {"OnFail": HOSTILE[1], HOSTILE[2]: HOSTILE[9]}}},
                       {"version": HOSTILE[1], "GenericRules": {name: {} for name in (*names, "Send")}})
        return {text: text for text in HOSTILE} | {"SerialNumber": HOSTILE[1], "ModelNumber": HOSTILE[2], "RegionInfo": HOSTILE[9]}

    def junit(self, text):
        """The suites of a document that the schema allows."""
        if shutil.which("xmllint"):
            lint = subprocess.run(["xmllint", "--noout", "--schema", SCHEMA, "-"], input=text.encode(), capture_output=True)
            self.assertEqual(lint.returncode, 0, lint.stderr.decode())
        return list(ElementTree.fromstring(text.encode()))


class ReportTest(ReportCase):
    def test_junit(self):
        expected = (  # tests, failures, errors, what the first case that did not pass says
            (5, 0, 0, None),
            (5, 3, 0, ("Model", "failure", "rule", "found XX, expected has prefix MD")),
            (1, 0, 1, ("Code", "error", "fault", 'rule "Code": ')),
            (1, 0, 1, ("Malformed", "error", "no verdict", 'rule "Malformed": invalid logical operator:a XOR b')),
            (1, 0, 1, ("check run", "error", "no verdict", "unknown MPN:MD3")),
        )
        lines = "".join(json.dumps({"id": f"d.{i}", "attributes": device[0]}) + "\n" for i, device in enumerate(DEVICES))
        suites = self.junit(self.batch(lines + "nonsense\n", "junit"))
        self.assertEqual([suite.get("name") for suite in suites], ["d.0", "d.1", "d.2", "d.3", "d.4", "6"])
        for (device, status, _), counts, suite in zip(DEVICES, expected, suites):
            alone = self.junit(self.check(device, "junit", status))[0]
            self.assertEqual(alone.get("name"), device["SerialNumber"])
            for one in (suite, alone):
                with self.subTest(device, name=one.get("name")):
                    self.assertEqual(tuple(int(one.get(key)) for key in ("tests", "failures", "errors")), counts[:3])
                    self.assertEqual(len(one.findall("testcase")), counts[0])
                    bad = [case for case in one.findall("testcase") if len(case)]
                    self.assertEqual(len(bad), counts[1] + counts[2])
                    if bad:
                        name, tag, kind, message = counts[3]
                        finding = bad[0][0]
                        self.assertEqual((bad[0].get("name"), finding.tag, finding.get("type")), (name, tag, kind))
                        self.assertTrue(finding.get("message").startswith(message), finding.get("message"))
        self.assertEqual(suites[0][1].get("classname"), "MD1.d_0")
        self.assertEqual({p.get("name"): p.get("value") for p in suites[1].iter("property")
                          if not p.get("name").endswith(" SHA-256")}, {
            "SerialNumber": "C8PKKQ2", "ModelNumber": "XX", "TavikKernel lib version": "3.1900", "TavikRules version": "L1",
            "device Rules version": "7", "signatures": "not verified", "station OnPass": "pack", "station OnFail": "mend"})
        self.assertEqual(suites[1].find("testcase/failure").text, "expected  has prefix MD\nactual    XX")
        self.assertEqual(suites[5].find("testcase/error").get("type"), "input error")
        self.assertEqual([suite.get("errors") for suite in self.junit(self.batch("", "junit", status=UNUSABLE))], ["1"])

    def test_texts_survive_in_junit(self):
        device = self.hostile_documents()
        cases = self.junit(self.check(device, "junit", FAILED))[0].findall("testcase")
        for i, text in enumerate(HOSTILE):
            with self.subTest(text[:50]):
                self.assertEqual(cases[i].get("name"), as_xml_holds(f"{i} {text[:200]}"))
                self.assertEqual(cases[i].find("failure").text,
                                 as_xml_holds(f"expected  has prefix ?{text}\nactual    {text}"))

    def test_texts_survive_in_a_property_list(self):
        report = plistlib.loads(self.check(self.hostile_documents(), "plist", FAILED).encode())
        records = [record for record in report["records"] if record["rule"][0].isdigit()]
        self.assertEqual([record["actual"] for record in records], [as_xml_holds(text) for text in HOSTILE])
        self.assertEqual(report["report_note"], "characters that XML cannot represent are written as escapes: "
                                                "\\ufffe, \\uffff, \\x00, \\x08, \\x1b")

    def test_a_property_list_says_what_json_says(self):
        def plain(value):
            if isinstance(value, dict):
                return {key: plain(item) for key, item in value.items() if item is not None}
            return [plain(item) for item in value] if isinstance(value, list) else value
        lines = "".join(json.dumps({"id": [i, {"n": i}], "attributes": device[0]}) + "\n" for i, device in enumerate(DEVICES))
        lines += '{"id": 1.5}\n'
        results = [plain(json.loads(line)) for line in self.batch(lines, "json").splitlines()]
        text = self.batch(lines, "plist", "-j3")
        self.assertEqual(plistlib.loads(text.encode()), results)
        self.assertTrue(text.endswith("</array>\n</plist>\n"))
        for device, status, _ in DEVICES:
            self.assertEqual(plistlib.loads(self.check(device, "plist", status).encode()),
                             plain(json.loads(self.check(device, "json", status))))
        self.assertEqual(plistlib.loads(self.batch("", "plist", status=UNUSABLE).encode()),
                         [{"input_error": "standard input: has no devices"}])

        deep = '{"id": "deep", "attributes": {"Size": ' + "[" * 509 + "]" * 509 + ', "ModelNumber": "MD1", "SerialNumber": "C8PKKQ2"}}\n'
        entries = plistlib.loads(self.batch(deep + lines, "plist").replace("line 7", "line 6").encode())
        self.assertEqual((entries[0]["id"], list(entries[0])), ("deep", ["id", "report_error"]))
        self.assertEqual(entries[1:], results)

    def test_differences_are_marked(self):
        differences = cases("differences")  # expected and found with marks in brackets
        self.documents({"version": 1} | {f"R{i}": {"attribute": f"A{i}", "predicate": case["predicate"], "value": case["value"]}
                                         for i, case in enumerate(differences)},
                       {"version": 1, "GenericRules": {f"R{i}": {} for i in range(len(differences))}})
        rows = Rows(self.check({f"A{i}": case["attribute"] for i, case in enumerate(differences)}, "html", FAILED)).rows
        rows = {row[0].split("|")[0]: row[1:] for row in rows}
        for i, case in enumerate(differences):
            with self.subTest(case):
                self.assertEqual(rows[f"R{i}"], [case["expected"] or rows[f"R{i}"][0], case["found"]])

    def test_a_long_text_is_shown_around_its_difference(self):
        long = "é" * 40000
        self.documents({"version": 1, "Long": {"attribute": "A", "predicate": "caseInsensitiveEqual", "value": f"{long}b{long}"}},
                       {"version": 1, "GenericRules": {"Long": {}}})
        page = self.check({"A": f"{long}c{long}"}, "html", FAILED)
        expected, found = Rows(page).rows[1][1:]
        self.assertRegex(found, r"^\[7\d{4} bytes left out\]é+\[c\]é+\[7\d{4} bytes left out\]$")
        self.assertIn("é[b]é", expected)
        self.assertLess(len(page.encode()), 40000)

    def test_a_page_tells_what_to_do(self):
        told = (  # device, status, what the page says
            (GOOD, PASSED, ("5 rules checked, all passed", "send it to <strong><bdi>pack</bdi></strong> (OnPass)",
                            "hide their result (1)")),
            (DEVICES[1][0], FAILED, ("3 of 5 rules failed", "<bdi>mend</bdi>",
                                     "Checks <code>Size</code> from the device. Passes when it equals the expected number.")),
            (DEVICES[2][0], FAULT, ("A fault ended the run: rule &quot;Code&quot;",)),
            (DEVICES[3][0], NO_VERDICT, ("a XOR b. The problem is in the rules",)),
            (DEVICES[4][0], NO_VERDICT, ("unknown MPN:MD3. Compare the part number",)),
            ({"ModelNumber": "MD1", "SerialNumber": "C8PKKQ2"}, FAILED, ("To do: The device did not report this value.",)),
            (GOOD | {"ModelNumber": "MD4"}, FAILED, ("To do: The check ran without this source", "(gui)", "</code> from label",
                                                     "source &quot;gui&quot; was not given, but 1 rule needs it; no source was given")),
            (GOOD | {"ModelNumber": "MD5"}, FAILED, ("To do: The problem is in the rules",)),
            (GOOD | {"ModelNumber": "MD6"}, FAILED, ("To do: The problem is in the rules",)),
            (GOOD | {"ModelNumber": "MD7"}, FAILED, ("To do: This must not be on the device",)),
        )
        from_source = {name: {"attribute": "ModelNumber", "predicate": "equal", "references": [{"source": name, "attribute": "x"}]}
                       for name in ("gui", "label")}
        broken = {"Typo": {"attribute": "Size", "predicate": "equals", "value": 3},
                  "References": {"attribute": "Size", "predicate": "equal", "references": "sfc"},
                  "No Attribute size": {"attribute": "Size"}}
        devices = {"MD4": {"gui": {}, "label": {}}, **{f"MD{5 + i}": {rule: {}} for i, rule in enumerate(broken)}}
        self.documents(LIBRARY | from_source | broken, RULES | {"MPNRules": RULES["MPNRules"] | devices})
        for device, status, texts in told:
            page = self.check(device, "html", status)
            for text in texts:
                with self.subTest(device, text=text):
                    self.assertTrue(text in page, text)
        self.file("device", json.dumps(GOOD | {"ModelNumber": "MD4"}))
        self.file("empty", "{}")
        page = self.tavik("check", *DOCUMENTS, "--attributes", "device", "--source", "gui=empty", "--source", "label=empty",
                          "--format", "html").out
        for text in ("To do: The operator was not asked or did not answer", "To do: This source does not have the value"):
            self.assertIn(text, page)

    def test_reports_say_whether_signatures_were_verified(self):
        self.file("device", json.dumps(GOOD))
        self.signed("library", "rules")
        signed = ("--library", "library.signed", "--rules", "rules.signed", "--public-key", "pub")
        words = {"json": '"signatures": "%s"', "plist": "<key>signatures</key>\n\t<string>%s</string>",
                 "junit": '<property name="signatures" value="%s"/>'}
        for form in ("json", "plist", "junit", "html"):
            for options, value in ((DOCUMENTS, "not verified"), (signed, "verified")):
                with self.subTest(form, value=value):
                    outs = [self.tavik("check", *options, "--attributes", "device", "--format", form).out]
                    if form in ("junit", "html"):
                        outs.append(self.tavik("batch", *options, "--format", form, stdin=b'{"attributes": {}}').out)
                    for out in outs:
                        if form == "html":
                            self.assertEqual("Signatures were not verified" in out, value == "not verified")
                        else:
                            self.assertIn(words[form] % value, out)

    def test_reports_explain_what_the_texts_do_not_show(self):
        blob = {"$data": base64.b64encode(bytes(20) + b"\1\0\0\0" + b"RLOC").decode()}
        self.file("gui", '{"x": 3809}')
        for case in cases("explanations"):
            rule, attribute, words = case.values()
            self.documents({"version": 1, "R": {"attribute": "A"} | rule}, {"version": 1, "GenericRules": {"R": {}}})
            device = {"A": attribute, "SysCfgData": blob}
            self.file("device", json.dumps(device))
            self.file("batch", json.dumps({"attributes": device, "sources": {"gui": {"x": 3809}}}))
            inputs = ("--attributes", "device", "--source", "gui=gui")
            runs = [("check", *inputs, "--format", form) for form in ("table", "html", "junit")]
            runs += [("batch", "batch", "--format", form) for form in ("table", "html", "junit") if rule.get("value") != 1 << 40]
            if words != "\\x20":  # explain has texts in quotes
                runs += [("explain", *inputs), ("explain", *inputs, "R"), ("explain", "--batch", "batch", "--id", "1", "R")]
            for command, *options in runs:
                with self.subTest(words, command=command, options=options):
                    self.assertIn(words, re.sub("</?mark>", "", self.tavik(command, *DOCUMENTS, *options).out))

    def test_a_batch_page_is_bounded_and_the_same_for_any_number_of_threads(self):
        text = "".join(json.dumps({"id": f"device {i:05}", "attributes": {"ModelNumber": f"P{i % 1300:04}", "Size": i % 5}}) + "\n"
                       for i in range(11000))
        self.documents(LIBRARY, {"version": 7, "GenericRules": {"Size": {}}})
        pages = {self.batch(text, "html", "-j", threads, env=os.environ | {"SOURCE_DATE_EPOCH": "86400"}) for threads in ("1", "2", "7")}
        (page,) = pages
        self.assertIn("1970-01-02 00:00:00 UTC", page)
        for words in ("8800 of 11000 devices did not pass", "Pass rate: 20.0 %", "all others</th>", "8800 devices"):
            self.assertTrue(words in page, words)
        self.assertEqual(page.count('<details class="device"'), 8800)
        parts = re.findall(r'<td class="number">\d+ of (\d+) \(', page)
        self.assertEqual((len(parts), sum(int(count) for count in parts)), (200, 11000))
        lines = "".join(json.dumps({"id": i, "attributes": {"ModelNumber": "P", "Size": 4}}) + "\n" for i in range(10100))
        page = self.batch(lines, "html")
        self.assertEqual(page.count('<details class="device"'), 10000)
        for words, there in (("Only the first 10000 are listed here; 100 more", True), (">9999</bdi>", True), (">10000</bdi>", False)):
            self.assertEqual(words in page, there, words)
        sizes = [190 if i < 8000 else 1 for i in range(9000)]
        page = self.batch("".join(json.dumps({"id": i, "attributes": {"ModelNumber": "P", "Size": 4, **{
            key: "<" * size for key in ("SerialNumber", "IMEI", "RegionInfo")}}}) + "\n" for i, size in enumerate(sizes)), "html")
        listed = [int(number) for number in re.findall(r'class="name">(\d+)</bdi>', page)]
        self.assertEqual(listed, list(range(len(listed))))
        self.assertTrue(15 << 20 < len(page) < 17 << 20 and len(listed) < len(sizes), (len(page), len(listed)))

    def test_a_batch_page_of_many_rules_is_bounded(self):
        names = [f"Rule {number:03}" for number in range(260)]
        self.documents({"version": 1, **{name: LIBRARY["Size"] for name in names}},
                       {"version": 1, "GenericRules": {name: {} for name in names}})
        page = self.batch('{"attributes": {"Size": 4}}\n', "html")
        for words in ("220 more failed rules of this device are not listed", "60 more are not listed"):
            self.assertTrue(words in page, words)

    def test_an_input_that_cannot_be_read_on_is_told_in_the_report(self):
        devices = json.dumps({"attributes": GOOD}) + "\n"
        for form, words in (("junit", 'name="end of the input"'), ("plist", "input_error"), ("html", "Not every device was checked")):
            with subprocess.Popen([TAVIK, "batch", *DOCUMENTS, "--format", form], cwd=self.folder, stdin=subprocess.PIPE,
                                  stdout=subprocess.PIPE, stderr=subprocess.DEVNULL) as process:
                process.stdin.write(devices.encode())
                process.stdin.flush()
                while fcntl.ioctl(process.stdin, termios.FIONREAD, b"1234") != bytes(4):
                    time.sleep(0.01)  # until it has been read
                process.terminate()
                out = process.stdout.read()
            self.assertEqual(process.returncode, UNUSABLE)
            self.assertTrue(words in out.decode(), form)


CONTRAST = """
function channels(colour) { return colour.match(/[\\d.]+/g).map(Number); }
function light(c) { return c.slice(0, 3)
  .map(function (v) { v /= 255; return v <= 0.03928 ? v / 12.92 : Math.pow((v + 0.055) / 1.055, 2.4); })
  .reduce(function (sum, v, i) { return sum + v * [0.2126, 0.7152, 0.0722][i]; }, 0); }
function behind(element) { for (; element; element = element.parentElement) {
  var c = channels(getComputedStyle(element).backgroundColor); if (c.length < 4 || c[3] > 0) return c; } return [255, 255, 255]; }
var worst = {};
document.querySelectorAll('main *, footer, footer *').forEach(function (e) {
  if (e.closest('svg') && e.tagName !== 'text') return;
  if (!Array.prototype.some.call(e.childNodes, function (n) { return n.nodeType === 3 && n.data.trim(); })) return;
  var style = getComputedStyle(e), inPlot = e.tagName === 'text';
  var a = light(channels(inPlot ? style.fill : style.color)), b = light(behind(inPlot ? document.body : e));
  var ratio = (Math.max(a, b) + 0.05) / (Math.min(a, b) + 0.05), key = e.tagName + '.' + e.className;
  worst[key] = Math.min(worst[key] || 99, ratio);
});
return worst;
"""
FILTER = """
document.getElementById('filter-text').value = arguments[0];
document.getElementById('filter-result').value = arguments[1];
document.getElementById('filter').dispatchEvent(new Event('submit', {cancelable: true}));
return [Array.from(document.querySelectorAll('[data-result]:not([hidden])'))
          .map(function (e) { return (e.querySelector('.name,th') || e).firstChild.data; }),
        document.getElementById('filter-shown').value];
"""


@unittest.skipUnless(DRIVER, "needs chromium-driver")
@unittest.skipIf(SANITIZED, "the pages are the same as in a plain build")
class PageTest(ReportCase):
    @classmethod
    def setUpClass(cls):
        cls.browser = cls.enterClassContext(Browser())

    def pages(self):
        """The pages to look at: name -> path."""
        wrong = STATION / "device-wrong"
        runs = {
            "device": ("check", *EXAMPLE, "--attributes", wrong / "attributes.plist", "--source", f"sfc={wrong}/sfc.json",
                       "--source", f"gui={wrong}/gui.json"),
            "batch": ("batch", *EXAMPLE, STATION / "devices.jsonl"),
        }
        hostile = self.hostile_documents()
        self.file("hostile.json", json.dumps(hostile))
        lines = [json.dumps({"id": text, "attributes": hostile | {"ModelNumber": text}}) for text in HOSTILE]
        self.file("hostile.jsonl", "\n".join([*lines, "<script>window.acted=1</script>"]))
        runs["hostile device"] = ("check", *DOCUMENTS, "--attributes", "hostile.json")
        runs["hostile batch"] = ("batch", *DOCUMENTS, "hostile.jsonl")
        for name, arguments in runs.items():
            run = self.tavik(*arguments, "--format", "html")
            self.assertEqual(run.status, FAILED, run.err)
            self.file(name + ".html", run.stdout)
        return {name: self.folder / (name + ".html") for name in runs}

    def test_pages_are_readable_anywhere_and_nothing_in_them_acts(self):
        for name, path in self.pages().items():
            backgrounds = set()
            for scheme in ("light", "dark"):
                with self.subTest(name, scheme=scheme):
                    self.browser.requests()
                    self.browser.open(path, 360, 740, scheme)
                    self.browser.run("document.querySelectorAll('details').forEach(function (d) { d.open = true; })")
                    self.assertEqual(self.browser.run("return document.documentElement.scrollWidth"), 360)
                    self.assertIsNone(self.browser.run("return window.acted"))
                    self.assertEqual(self.browser.run("return [document.scripts.length, document.images.length]"), [1, 0])
                    low = {key: ratio for key, ratio in self.browser.run(CONTRAST).items() if ratio < 4.5}
                    self.assertEqual(low, {})
                    backgrounds.add(self.browser.run("return getComputedStyle(document.body).backgroundColor"))
                    self.assertEqual(self.browser.messages(), [])
                    self.assertEqual(self.browser.requests(), [path.as_uri()])
            self.assertEqual(len(backgrounds), 2)
            self.browser.open(path)
            self.assertTrue(self.browser.pdf().startswith(b"%PDF-"))

    def test_the_policy_keeps_a_foreign_script_from_running(self):
        page = self.check(GOOD, "html", PASSED)
        path = self.folder / "foreign.html"
        path.write_text(page.replace("<main>", "<main><script>window.acted=1</script><p onclick='window.acted=1' id=p>"))
        self.browser.open(path)
        self.browser.run("document.getElementById('p').click()")
        self.assertIsNone(self.browser.run("return window.acted"))
        self.assertIn("Content Security Policy", "".join(self.browser.messages()))

    def test_the_filter(self):
        pages = self.pages()
        self.browser.open(pages["device"])
        self.assertEqual(self.browser.run(FILTER, "", "")[1], "50 of 50 shown")
        self.assertEqual(self.browser.run(FILTER, "STORAGE", ""), [["Storage size", "Storage size at least"], "2 of 50 shown"])
        self.assertEqual(self.browser.run(FILTER, "mlbserial", "failed")[0], ["FCC identifier for board", "Wi-Fi module for board"])
        self.assertEqual(self.browser.run(FILTER, "boot key", ""), [["Boot key "], "1 of 50 shown"])
        self.assertTrue(self.browser.run("return document.querySelector('details').open"))
        self.assertEqual(self.browser.run(FILTER, "nothing of the kind", "")[1], "0 of 50 shown")
        self.assertEqual(self.browser.run("return document.querySelectorAll('[data-section]:not([hidden])').length"), 0)
        self.browser.open(pages["batch"])
        self.assertEqual(self.browser.run(FILTER, "control bits", "failed")[0], ["unit-521", "unit-575", "unit-680", "unit-774"])
        self.assertEqual(self.browser.run(FILTER, "dn19-032", "no-verdict"), [["unit-700"], "1 of 300 shown"])
        self.assertEqual(self.browser.run(FILTER, "", "passed")[1], "277 of 300 shown")

    def test_without_scripts_all_is_there_but_the_filter(self):
        for name in ("device", "batch"):
            path = self.pages()[name]
            self.browser.open(path)
            rows = self.browser.run("return document.querySelectorAll('[data-result]').length")
            self.browser.open(path, scripts=False)
            node = self.browser.devtools("Runtime.evaluate", returnByValue=True, expression=
                "[document.querySelectorAll('[data-result]:not([hidden])').length, document.getElementById('filter').offsetHeight]")
            self.assertEqual(node["result"]["value"], [rows, 0])

    def test_headings_tables_and_plots_speak_to_those_who_do_not_see(self):
        silent = """
            var all = function (what) { return Array.from(document.querySelectorAll(what)); };
            return all('th:not([scope])').concat(
                all('svg').filter(function (s) { return !s.getAttribute('aria-labelledby').split(' ').every(function (id) {
                    return document.getElementById(id).textContent; }); }),
                all('input,select').filter(function (e) { return !e.labels.length; })).map(function (e) { return e.outerHTML; });
        """
        for name, path in self.pages().items():
            with self.subTest(name):
                self.browser.open(path)
                headings = self.browser.run("return Array.from(document.querySelectorAll('h1,h2,h3')).map(e => e.tagName)")
                self.assertEqual((headings[0], set(headings[1:])), ("H1", {"H2"}))
                self.assertEqual(self.browser.run(silent), [])
                for key in ("keyDown", "keyUp"):
                    self.browser.devtools("Input.dispatchKeyEvent", type=key, key="Tab", code="Tab", windowsVirtualKeyCode=9)
                self.assertIn(self.browser.run("return document.activeElement.tagName"), ("INPUT", "SUMMARY"))


if __name__ == "__main__":
    unittest.main()
