"""`tavik lsp` as a client sees it: the protocol, the features on a small product, and malformed input.

    TAVIK=build/release/tools/tavik/tavik python3 tests/lsp/protocol_test.py
"""

import base64
import json
import os
import pathlib
import random
import shutil
import subprocess
import sys
import tempfile
import unittest

from client import TAVIK, Client, framed

PROJECT = pathlib.Path(__file__).resolve().parents[2]
EXAMPLE = PROJECT / "examples" / "station"

LIBRARY = """{
 "version": "1",
 "Größe": {"attribute": "Size", "predicate": "equal", "value": 1},
 "Color": {"attribute": "Colour😀", "predicate": "hasPrefx AND isUppercase", "value": "A",
           "references": [{"source": "sfc"}]},
 "No Attribute Mark": {"attribute": "Mark"}
}"""
RULES = """{ version = 1;
  GenericRules = { Color = {}; "Gr\\U00f6\\U00dfe" = {}; BaseRuleSet = {}; };
  RuleSets = { BaseRuleSet = { "No Attribute Mark" = {}; Colr = {}; }; };
  MPNRules = { M1 = { RegionRules = { "EU/1" = { Color = { value = B; }; }; }; }; };
}"""
CASES = """{"library": "library.json", "rules": "rules.plist", "unsigned": true, "attributes": {"Size": 1, "ModelNumber": "M1", "RegionInfo": "EU/1"},
 "cases": [{"name": "good", "expect": {"rules": {"Color": "pass", "Collor": "fail"}}}]}"""
PRODUCT = {"library.json": LIBRARY, "rules.plist": RULES, "cases.json": CASES}


def place(text, marked, units="utf-16"):
    """The position at "|" in `marked`, which occurs in the text without it."""
    before = text[:text.index(marked.replace("|", "")) + marked.index("|")]
    line = before.rpartition("\n")[2]
    return before.count("\n"), len(line.encode(f"{units}-le" if units == "utf-16" else units)) // (2 if units == "utf-16" else 1)


class FolderTest(unittest.TestCase):
    def setUp(self):
        self.folder = pathlib.Path(tempfile.mkdtemp(prefix="tavik-lsp-"))
        self.addCleanup(shutil.rmtree, self.folder)

    def product(self, client):
        for name, text in PRODUCT.items():
            (self.folder / name).write_text(text, encoding="utf-8")
        for name in PRODUCT:
            client.open(name)


class FeatureTest(FolderTest):
    def applied(self, edits):
        """The documents after a workspace edit, which must not overlap."""
        texts = dict(PRODUCT)
        for uri, changes in edits["changes"].items():
            name = uri.rpartition("/")[2]
            lines = texts[name].splitlines(keepends=True)
            for change in sorted(changes, key=lambda each: (each["range"]["start"]["line"], each["range"]["start"]["character"]), reverse=True):
                begin, end = change["range"]["start"], change["range"]["end"]
                self.assertEqual(begin["line"], end["line"])
                line = lines[begin["line"]].encode("utf-16-le")
                lines[begin["line"]] = (line[:2 * begin["character"]] + change["newText"].encode("utf-16-le") + line[2 * end["character"]:]).decode("utf-16-le")
            texts[name] = "".join(lines)
        return texts

    def test_diagnostics_and_quick_fixes(self):
        with Client(self.folder) as client:
            self.product(client)
            for name, code, word, fixed in [("library.json", "unknown-predicate", "hasPrefx", "hasPrefix"), ("rules.plist", "undefined-rule", "Colr", '"Color"'),
                                            ("cases.json", "unknown-rule", "Collor", '"Color"')]:
                found = [each for each in client.diagnostics(name) if each["code"] == code]
                self.assertEqual(len(found), 1, client.diagnostics(name))
                line, column = place(PRODUCT[name], "|" + word)
                self.assertEqual(found[0]["range"], {"start": {"line": line, "character": column}, "end": {"line": line, "character": column + len(word)}})
                actions = client.at("codeAction", name, range=found[0]["range"], context={"diagnostics": found})["result"]
                self.assertEqual(len(actions), 1)
                old = f'"{word}"' if name == "cases.json" else word
                self.assertEqual(self.applied(actions[0]["edit"])[name], PRODUCT[name].replace(old, fixed))
            # A syntax error is shown with the findings of the last readable text, which move with it.
            client.change("library.json", ((0, 1, 0, 1), '\n"x": }'))
            codes = {each["code"]: each["range"]["start"]["line"] for each in client.diagnostics("library.json")}
            self.assertEqual((codes["syntax"], codes["unknown-predicate"]), (1, 4))
            client.change("cases.json", '{"cases": [{"name": "n", "expct": 1}]}')
            self.assertEqual([each["code"] for each in client.diagnostics("cases.json")], ["case-file"])

    def test_hover(self):
        table = [
            ("library.json", '"hasPrefx AND is|Up', "isUppercase**: passes when"), ("library.json", "Gr|öße", "Devices in `rules.plist`: `every device`"),
            ("rules.plist", "EU/1\" = { Col|or", "hasPrefx AND"), ("rules.plist", "Base|RuleSet", "- `No Attribute Mark`"),
            ("library.json", '"sf|c"', "- `Color`"), ("library.json", "Colour|", "Used by 1 rule"), ("library.json", '"pre|dicate"', "The test"),
            ("cases.json", '"pa|ss"', "The rule passes"), ("cases.json", '"exp|ect"', "expected result"), ("rules.plist", "va|lue", "expected value"),
        ]
        for units in ("utf-16", "utf-8"):
            with Client(self.folder, (units,)) as client:
                self.assertEqual(client.capabilities["positionEncoding"], units)
                self.product(client)
                for name, marked, expected in table:
                    with self.subTest(marked=marked, units=units):
                        self.assertIn(expected, client.at("hover", name, *place(PRODUCT[name], marked, units))["result"]["contents"]["value"])

    def test_completion(self):
        table = [
            ("library.json", "hasPr|", "", ["hasPrefix", "isUppercase"]), ("library.json", '"predicate": "equal"|', ", ", ["value", "references"]),
            ("library.json", '"Size"|', ', "predicate": ', ["equal"]), ("library.json", '{"source": "|', "", ["sfc", "gui"]), ("library.json", '"|Mark"', "", ["Colour😀", "Size"]),
            ("rules.plist", "Gr|\\", "", ["Größe"]), ("rules.plist", "GenericRules = {|", " ", ["Color", "BaseRuleSet", "No Attribute Mark"]), ("rules.plist", "M1 = {|", " ", ["RegionRules", "Color"]),
            ("cases.json", '"rules": {|', "", ["Color"]), ("cases.json", '"Color": "|', "", ["pass", "fail", "absent"]), ("cases.json", '{"|name', "", ["name", "expect"]),
        ]
        with Client(self.folder) as client:
            self.product(client)
            for name, marked, typed, expected in table:
                with self.subTest(marked=marked, typed=typed):
                    line, column = place(PRODUCT[name], marked)
                    client.change(name, PRODUCT[name], ((line, column, line, column), typed))
                    items = client.at("completion", name, line, column + len(typed))["result"]["items"]
                    self.assertLessEqual(set(expected), {item["label"] for item in items})

    def test_names(self):
        with Client(self.folder) as client:
            self.product(client)
            at = place(RULES, "EU/1\" = { Col|or")
            found = client.at("definition", "rules.plist", *at)["result"]
            self.assertEqual([(each["uri"], each["range"]["start"]["line"]) for each in found], [(client.uri("library.json"), 3)])
            found = client.at("references", "rules.plist", *at, context={"includeDeclaration": True})["result"]
            self.assertEqual([each["uri"].rpartition("/")[2] for each in found], ["library.json", "rules.plist", "rules.plist", "cases.json"])
            self.assertEqual(client.at("prepareRename", "rules.plist", *at)["result"]["placeholder"], "Color")
            texts = self.applied(client.at("rename", "rules.plist", *at, newName='A "new" name')["result"])
            self.assertEqual([text.count('"A \\"new\\" name"') for text in texts.values()], [1, 2, 1])
            for name in ("Größe", "", "version", "RegionRules", "XRuleSet", "No Attribute X", "$data", "a\nb", "\u202ea", "x" * 300):
                self.assertEqual(client.at("rename", "rules.plist", *at, newName=name)["error"]["code"], -32803, name)
            symbols = {name: client.ask("textDocument/documentSymbol", textDocument={"uri": client.uri(name)})["result"] for name in PRODUCT}
            self.assertEqual([each["name"] for each in symbols["library.json"]], ["version", "Größe", "Color", "No Attribute Mark"])
            self.assertEqual([each["name"] for each in symbols["rules.plist"][1]["children"]], ["Color", "Größe", "BaseRuleSet"])
            self.assertEqual(symbols["cases.json"][-1]["children"][0]["name"], "good")
            client.change("library.json", LIBRARY[:-1])
            self.assertIn("syntax error", client.at("rename", "rules.plist", *at, newName="New")["error"]["message"])

    def test_workspace_file_and_other_documents(self):
        other = self.folder / "other"
        other.mkdir()
        (other / "lib.json").write_text(LIBRARY, encoding="utf-8")
        subprocess.run([TAVIK, "convert", "--to", "binary", "other/lib.json", "-o", "bin.plist"], cwd=self.folder, check=True)
        payload = base64.b64encode((self.folder / "bin.plist").read_bytes()).decode()
        (other / "signed.json").write_text(json.dumps({"payload": {"$data": payload}, "payloadType": "x", "signatures": []}), encoding="utf-8")
        rules = RULES.replace("Colr", "Color")
        for library in ("other/lib.json", "bin.plist", "other/signed.json", "missing.json"):
            (self.folder / "tavik-workspace.json").write_text(json.dumps({"library": library, "rules": ["a.plist", "b.plist"]}), encoding="utf-8")
            for name in ("a.plist", "b.plist"):
                (self.folder / name).write_text(rules, encoding="utf-8")
            with self.subTest(library=library), Client(self.folder) as client:
                client.open("a.plist")
                codes = [each["code"] for each in client.diagnostics("a.plist")]
                if library == "missing.json":
                    self.assertEqual(codes, ["workspace", "no-library"])
                    continue
                self.assertEqual(codes, ["dropped-value"])
                at = place(rules, "EU/1\" = { Col|or")
                self.assertEqual(client.at("definition", "a.plist", *at)["result"][0]["uri"], client.uri(library))
                renamed = client.at("rename", "a.plist", *at, newName="Hue")
                self.assertEqual("result" in renamed, library == "other/lib.json", renamed)
                (self.folder / library).unlink()
                self.assertIn("No such file", client.at("rename", "a.plist", *at, newName="Hue")["error"]["message"])
                client.open("untitled:one", "{}")
                self.assertIsNone(client.at("hover", "untitled:one")["result"])


class ProtocolTest(FolderTest):
    def run_with(self, data):
        return subprocess.run([TAVIK, "lsp"], input=data, capture_output=True, timeout=60, cwd=self.folder, check=False)

    def test_streams(self):
        request = {"jsonrpc": "2.0", "id": 1, "method": "shutdown"}
        initialize = framed({"jsonrpc": "2.0", "id": 0, "method": "initialize", "params": {}})
        ended = framed({"jsonrpc": "2.0", "method": "exit"})
        for data, status, said in [
            (b"", 1, ""), (ended, 1, ""), (initialize + framed(request) + ended, 0, ""), (initialize, 1, ""),
            (b"GET / HTTP/1.1\r\n\r\n", 2, 'begins with "GET / HTTP/1.1"'), (b"Content-Length: 10000000000\r\n\r\n", 2, "larger than 256 MiB"),
            (b"Content-Length: " + b"9" * 40 + b"\r\n\r\n", 2, "larger than"), (b"Content-Length: -1\r\n\r\n", 2, "not a number"), (b"Content-Length: 4x\r\n\r\n", 2, "not a number"),
            (b"Content-Type: x\r\n\r\n", 2, "lack Content-Length"), (b"x: " + b"y" * 5000, 2, "larger than 4 KiB"), (b"Content-Length: 9\r\n\r\n{", 2, "in the middle of a message"),
            (b"\x00\xff\r\n\r\n", 2, "which is not a header"),
        ]:
            with self.subTest(data=data[:50]):
                run = self.run_with(data)
                self.assertEqual(run.returncode, status, run.stderr)
                self.assertIn(said, run.stderr.decode())
                self.assertLessEqual(len(run.stderr.splitlines()), 1)

    def test_messages(self):
        with Client(self.folder) as client:
            self.product(client)
            uri = client.uri("library.json")
            position = {"textDocument": {"uri": uri}, "position": {"line": 0, "character": 0}}
            for body, code in [
                (b"{", -32700), (b"", -32700), (b'"\xff"', -32700), (b"[" * 100_000, -32700), (b"[]", -32600), (b"5", -32600), ({"id": 1.5, "method": "x"}, -32600), ({"id": 1}, -32600),
                ({"id": 7, "method": "unknown\u0007"}, -32601), ({"id": 7, "method": "initialize"}, -32600), ({"id": 7, "method": "textDocument/hover"}, -32602),
                ({"id": 7, "method": "textDocument/hover", "params": [1]}, -32602), ({"id": 7, "method": "textDocument/hover", "params": {"textDocument": {"uri": "file:///none"}}}, -32803),
                ({"id": "s", "method": "textDocument/hover", "params": position | {"position": {"line": -1, "character": 1e99}}}, -32602),
                ({"id": 7, "method": "textDocument/references", "params": position | {"context": {"includeDeclaration": 1}}}, -32602),
            ]:
                with self.subTest(body=str(body)[:60]):
                    client.send(body)
                    while "id" not in (answer := client.receive()):
                        pass
                    self.assertEqual(answer["error"]["code"], code)
            # Malformed and unknown notifications change nothing.
            for method, params in [("textDocument/didChange", {"textDocument": {"uri": uri}, "contentChanges": [{"text": 5}]}), ("textDocument/didOpen", {}), ("$/unknown", {}),
                                   ("textDocument/didClose", {"textDocument": {"uri": "file:///none"}}), ("textDocument/didChange", {"textDocument": {"uri": uri}, "contentChanges": 3})]:
                client.tell(method, **params)
            self.assertIn("Größe", client.at("hover", "library.json", 2, 3)["result"]["contents"]["value"])
            # A request that is cancelled before it is reached.
            many = [framed({"id": number, "method": "textDocument/hover", "params": position}) for number in range(100, 200)]
            client.process.stdin.write(b"".join(many) + framed({"method": "$/cancelRequest", "params": {"id": 199}}))
            client.process.stdin.flush()
            while (answer := client.receive()).get("id") != 199:
                pass
            self.assertIn(answer.get("error", {}).get("code", 0), (-32800, 0))
            client.tell("textDocument/didClose", textDocument={"uri": uri})
            self.assertEqual(client.at("hover", "library.json")["error"]["code"], -32803)

    def test_before_and_after(self):
        hover = framed({"id": 1, "method": "textDocument/hover", "params": {}})
        initialize = framed({"id": 2, "method": "initialize", "params": {"rootUri": None, "capabilities": []}})
        run = self.run_with(hover + framed({"method": "textDocument/didOpen"}) + initialize + framed({"id": 3, "method": "shutdown"}) + hover)
        self.assertEqual((run.stdout.count(b"-32002"), run.stdout.count(b"-32600"), run.returncode), (1, 1, 1))


class EditTest(FolderTest):
    """Every request is answered, even if the document is malformed."""

    def ask_everything(self, client, name, text, source):
        line, column = source.randrange(text.count("\n") + 2), source.randrange(60)
        everything = {"range": {"start": {"line": 0, "character": 0}, "end": {"line": 10**6, "character": 0}}, "context": {"diagnostics": [], "includeDeclaration": True}, "newName": "New"}
        for request in ("hover", "completion", "definition", "references", "documentSymbol", "codeAction", "prepareRename", "rename"):
            answer = client.at(request, name, line, column, **everything)
            self.assertTrue("result" in answer or answer["error"]["code"] == -32803, answer)

    def test_every_prefix(self):
        (self.folder / "device.json").write_text("{}", encoding="utf-8")
        names = dict(PRODUCT) | {name: (EXAMPLE / name).read_text(encoding="utf-8") for name in ("rule-library.plist", "local-rules.plist", "rule-tests.json")}
        source = random.Random(1)
        for name, text in names.items():
            with Client(self.folder) as client:
                client.open(name, "")
                step = max(1, len(text) // 400)
                for end in range(0, len(text) + 1, step):
                    client.change(name, text[:end])
                    self.ask_everything(client, name, text[:end], source)
                client.change(name, text)
                client.diagnostics(name)

    def test_random_edits(self):
        source = random.Random(2)
        pieces = ["{", "}", "[", "]", "<", ">", "</dict>", "<key>", "<array>", '"', "'", "\\", ";", "=", ",", "\n", "\r", "😀", "\u0000", "/*", "<!--", "<![CDATA[", "RuleSet", "&amp;", ""]
        with Client(self.folder) as client:
            self.product(client)
            for _ in range(600):
                name = source.choice(list(PRODUCT))
                begin, end = sorted((source.randrange(8), source.randrange(90)) for _ in range(2))
                piece = source.choice(pieces)
                client.change(name, *[((*begin, *(end if source.random() < 0.1 else begin)), piece)] * source.choice((1, 1, 3)))
                if source.random() < 0.05:
                    client.change(name, PRODUCT[name])
                self.ask_everything(client, name, PRODUCT[name], source)
            # The text of the server is that of the client.
            client.change("library.json", '{"aé😀b": {"attribute":\r\n"x",\r"predicate": "y"}}', ((0, 4, 0, 6), "X"), ((2, 14, 2, 15), "Z"), ((9, 9, 9, 9), " "),
                          ((1, 99, 1, 99), " "))
            symbols = client.at("documentSymbol", "library.json")["result"]
            self.assertEqual([(each["name"], each["detail"], each["range"]["end"]) for each in symbols], [("aéXb", "Z", {"line": 2, "character": 17})])


if __name__ == "__main__":
    os.environ.setdefault("PYTHONUNBUFFERED", "1")
    sys.exit(unittest.main())
