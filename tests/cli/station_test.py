"""`tavik serve`: every request against the OpenAPI document, the database, several products, new documents, access, the page."""

import base64
import contextlib
import json
import os
import pathlib
import re
import shutil
import signal
import socket
import sqlite3
import ssl
import stat
import subprocess
import time
import unittest
import unittest.mock
import urllib.parse

import jsonschema

from browser import DRIVER, Browser
from station import GOOD, LIBRARY, RULES, SFC, StationTest
from support import NO_VERDICT, TAVIK, UNUSABLE

PROJECT = pathlib.Path(__file__).resolve().parents[2]
API = json.loads((PROJECT / "tools/station/openapi.json").read_text())
DEVICES = (  # attributes, verdict, rules
    (GOOD, "passed", []),
    (GOOD | {"Color": 4, "ModelNumber": "XX"}, "failed", ["Model", "Color"]),
    (GOOD | {"ModelNumber": "HN20", "SerialNumber": "Q2"}, "none", ["Code"]),
    (GOOD | {"ModelNumber": "HN99"}, "none", []),
)
ANSWERS = (  # method, path, body, status, part of the answer
    ("POST", "/v1/check", "x", 400, 'unexpected "x"'),
    ("POST", "/v1/check", "[]", 400, "is not an object"),
    ("POST", "/v1/check", '{"attributes": {}, "Sources": {}}', 400, 'unknown key "Sources"'),
    ("POST", "/v1/check", '{"attributes": {"a": null}}', 400, "null is not allowed"),
    ("GET", "/v1/check", None, 405, "use POST"),
    ("POST", "/v1/lists/sfc", {"attributes": GOOD}, 200, "Ordered color"),
    ("POST", "/v1/lists/gui", {"attributes": {"ModelNumber": "HN99"}}, 200, "-100003"),
    ("POST", "/v1/lists/odd", {"attributes": GOOD}, 404, "unknown list"),
    ("GET", "/v1/runs?limit=2", None, 200, '"total": 4'),
    ("GET", "/v1/runs?verdicts=failed", None, 400, 'did you mean "verdict"?'),
    ("GET", "/v1/runs?verdict=bad", None, 400, "must be passed, failed or none"),
    ("GET", "/v1/runs?from=yesterday", None, 400, "must be a UTC time"),
    ("GET", "/v1/runs?limit=0", None, 400, "must be a positive integer"),
    ("GET", "/v1/runs?id=a&id=b", None, 400, "given twice"),
    ("GET", "/v1/runs/2", None, 200, '"to_do": [{"rule": "Model"'),
    ("GET", "/v1/runs/3", None, 200, '"fault": {"kind": "range"'),
    ("GET", "/v1/runs/99", None, 404, "does not exist or was deleted; GET /v1/runs"),
    ("GET", "/v1/runs/x", None, 404, "does not exist or was deleted; GET /v1/runs"),
    ("GET", "/runs/2", None, 200, "FAILED"),
    ("GET", "/runs/99", None, 404, "does not exist or was deleted; GET /v1/runs"),
    ("GET", "/v1/summary?from=2026-01-01", None, 200, '"rule": "Color", "part_number": "XX", "runs": 1'),
    ("GET", "/v1/rules", None, 200, '"part_numbers": ["HN10", "XX", "HN20"]'),
    ("GET", "/v1/openapi.json", None, 200, '"openapi": "3.1.0"'),
    ("GET", "/metrics", None, 200, 'tavik_rule_failures_total{rule="Color"} 1'),
    ("GET", "/healthz", None, 200, "ok"),
    ("GET", "/readyz", None, 200, "ready"),
    ("GET", "/v1", None, 404, "/v1/openapi.json"),
    ("DELETE", "/v1/runs/2", None, 405, "use GET"),
)
FILTERS = (  # query, numbers of the runs
    ("", [4, 3, 2, 1]), ("id=device+2", [2]), ("part_number=HN20", [3]), ("verdict=none", [4, 3]), ("verdict=none&limit=1", [4]),
    ("rule=Model", [2]),
    ("rule=Nothing", []), ("limit=2&before=4", [3, 2]), ("from=2100-01-01", []), ("to=2100-01-01&verdict=passed", [1]),
)


class ApiTest(StationTest):
    def setUp(self):
        super().setUp()
        self.start()

    def assert_described(self, method, path, status, content):
        """The answer is one of those in the OpenAPI document."""
        template = next(known for known in API["paths"] if re.fullmatch(re.sub(r"\{\w+\}", "[^/]+", known), path.split("?")[0]))
        answer = API["paths"][template][method.lower()]["responses"][str(status)]
        (media, described), = answer["content"].items()
        if media == "application/json":
            schema = {**described["schema"], "components": API["components"]}
            jsonschema.Draft202012Validator(schema).validate(content)

    def test_every_request(self):
        for number, (device, verdict, rules) in enumerate(DEVICES, 1):
            body = {"id": f"device {number}", "attributes": device, "sources": SFC}
            status, result = self.ask("/v1/check", body)
            self.assert_described("POST", "/v1/check", status, result)
            self.assertEqual((result.pop("run"), result["verdict"]), (number, verdict))
            batch = self.tavik("batch", "--unsigned", "--library", "library", "--rules", "rules", stdin=json.dumps(body).encode())
            self.assertEqual(result, json.loads(batch.out))
            summary = self.runs()["runs"][0]
            self.assertEqual((summary["run"], summary["verdict"], summary["rules"]), (number, verdict, rules))
            details = self.ask(f"/v1/runs/{number}")[1]
            self.assertEqual({key: details[key] for key in result}, result)
            self.assertEqual(details["device"], body)
        for method, path, body, status, part in ANSWERS:
            with self.subTest(method + path, body=body):
                found, content = self.ask(path, body, method=method)
                self.assertEqual(found, status, content)
                error = content.get("error") if isinstance(content, dict) else content
                self.assertIn(part, error if isinstance(error, str) else json.dumps(content))
                if status not in (404, 405) or "runs/" in path and method == "GET":
                    self.assert_described(method, path, status, content)
        for query, numbers in FILTERS:
            with self.subTest(query):
                self.assertEqual([run["run"] for run in self.runs(query)["runs"]], numbers)

    def test_the_report_is_that_of_check(self):
        self.check(GOOD | {"ModelNumber": "XX", "SerialNumber": "<S1>\u202e"})
        self.file("device", json.dumps(GOOD | {"ModelNumber": "XX", "SerialNumber": "<S1>\u202e"}))
        self.file("sfc", json.dumps(SFC["sfc"]))
        page = self.tavik("check", "--unsigned", "--library", "library", "--rules", "rules", "--attributes", "device",
                          "--source", "sfc=sfc", "--format", "html").out
        made = re.compile("<footer>.*</footer>")
        self.assertEqual(made.sub("", self.ask("/runs/1")[1]), made.sub("", page))

    def test_ids(self):
        for number, (others, device, identity) in enumerate((
                ({"id": 1}, {}, "1"), ({}, {"SerialNumber": "S9"}, "S9"), ({}, {}, ""), ({"id": {"a": [1]}}, {}, '{"a": [1]}'),
                ({"id": "\n\x1b[2J run=9"}, {}, None)), 1):
            self.assertEqual(self.check(GOOD | device, **others)["run"], number)
            if identity is not None:
                self.assertEqual(self.runs()["runs"][0]["id"], identity)
        self.assertIn(r'checked run=5 id="\\n\\x1b[2J run=9" verdict=passed', self.log())

    def test_events(self):
        with socket.create_connection(("127.0.0.1", self.port), timeout=10) as events:
            events.sendall(b"GET /v1/events HTTP/1.1\r\nHost: localhost\r\n\r\n")
            stream = events.makefile()
            while stream.readline().strip():
                pass
            self.check()
            text = ""
            while "verdict" not in text:
                text += stream.readline()
            self.assertEqual(json.loads(text.split("data: ")[1])["verdict"], "passed")
            self.stop()  # does not wait for streams

    def test_export_and_a_second_start(self):
        for _ in range(30):
            self.check()
        os.kill(self.service.pid, signal.SIGTERM)
        self.service.wait(30)
        lines = [json.loads(line) for line in self.passes("serve", "--database", "runs.db", "--export").splitlines()]
        self.assertEqual([line["run"] for line in lines], list(range(1, 31)))
        self.start()
        self.assertEqual(self.check()["run"], 31)
        self.assertEqual(lines, [self.ask(f"/v1/runs/{line['run']}")[1] for line in lines])


class ProductsTest(StationTest):
    def test_several_products(self):
        self.file("other", json.dumps({"version": "rules 2", "GenericRules": {"Model": {}}, "MPNRules": {"HX": {}}}))
        self.start("--rules", "other")
        for part_number, version, verdict in (("HN10", "rules 1", "passed"), ("HX", "rules 2", "failed"), ("Q", None, "none")):
            result = self.check(GOOD | {"ModelNumber": part_number})
            self.assertEqual(result["verdict"], verdict)
            documents = self.ask(f"/v1/runs/{result['run']}")[1]["documents"]
            self.assertEqual(documents["rules"]["version"], version or "rules 1")
        self.stop()
        self.file("twice", json.dumps(RULES))
        self.refuses(NO_VERDICT, 'has the part number "HN10", and so does rules', "serve", "--unsigned", "--library", "library",
                     "--rules", "rules", "--rules", "twice", "--port", "0")

    def test_starts_that_fail(self):
        documents = ("--unsigned", "--library", "library", "--rules", "rules", "--port", "0")
        self.passes("keygen", "--private", "key", "--public", "pub")
        self.secret("token", "0123456789abcdef")
        self.secret("short", "secret")
        self.file("shared", "0123456789abcdef")
        self.file("broken", "{")
        database = sqlite3.connect(self.folder / "newer.db")
        database.executescript("CREATE TABLE t(a); PRAGMA application_id = 0x7461766b; PRAGMA user_version = 99")
        database.close()
        self.file("texts", '{"titel": "x"}')
        self.file("text.db", "no database " * 100)
        for status, message, *arguments in (
                (UNUSABLE, "--library is required", "--unsigned"),
                (UNUSABLE, "--rules broken", "--unsigned", "--library", "library", "--rules", "broken"),
                (NO_VERDICT, "not signed", "--library", "library", "--rules", "rules", "--public-key", "pub"),
                (UNUSABLE, "--token-file is required", *documents, "--host", "0.0.0.0"),
                (UNUSABLE, "at least 16 characters", *documents, "--token-file", "short"),
                (UNUSABLE, "use chmod 600", *documents, "--token-file", "shared"),
                (UNUSABLE, "unknown key \"titel\"; did you mean \"title\"?", *documents, "--texts", "texts"),
                (UNUSABLE, "Cannot assign requested address", *documents, "--host", "192.0.2.1", "--token-file", "token"),
                (UNUSABLE, "--tls-certificate library and --tls-key rules", *documents, "--tls-certificate", "library", "--tls-key",
                 "rules"),
                (UNUSABLE, "version 99", *documents, "--database", "newer.db"),
                (UNUSABLE, "is not a database", *documents, "--database", "text.db"),
                (UNUSABLE, "unable to open", *documents, "--database", "none/runs.db"),
                (UNUSABLE, "unable to open", "--export", "--database", "none.db")):
            with self.subTest(message):
                run = self.tavik("serve", *arguments)
                self.assertEqual(run.status, status, run.err)
                self.assertIn(message, run.err)
                self.assertEqual(run.out, "")

    def test_an_older_database(self):
        self.start()
        self.check()
        self.stop()
        self.sql("CREATE INDEX runs_by_part_number ON runs (part_number)")
        self.sql("CREATE INDEX runs_by_verdict ON runs (verdict)")
        self.sql("ALTER TABLE documents DROP COLUMN sample")
        self.sql("PRAGMA user_version = 1")
        self.start()
        self.assertEqual(self.sql("PRAGMA user_version"), [(3,)])
        self.assertEqual(self.sql("SELECT name FROM sqlite_schema WHERE name LIKE 'runs_by_%' ORDER BY 1"),
                         [("runs_by_id",), ("runs_by_time",)])
        self.waits_for(lambda: self.check()["run"] > 2 and
                       self.sql("SELECT typeof(device) FROM runs ORDER BY number DESC LIMIT 1") == [("blob",)])
        total = self.runs("verdict=passed")["total"]
        for number in (1, 2, total):
            run = self.ask(f"/v1/runs/{number}")[1]
            self.assertEqual((run["device"]["attributes"], run["verdict"]), (GOOD, "passed"))

    def test_retention(self):
        self.start()
        for _ in range(150):
            self.check()
        self.stop()
        self.sql("UPDATE runs SET time = time - 3 * 86400000 WHERE number <= 100")
        self.start("--keep-days", "2")
        self.waits_for(lambda: self.runs()["total"] == 50)
        self.stop()
        self.start("--keep-mib", "1")
        large = GOOD | {"Note": os.urandom(50000).hex()}
        for _ in range(20):
            self.check(large)
        self.stop()
        self.start("--keep-mib", "1")
        self.waits_for(lambda: self.runs()["total"] < 20)
        self.assertEqual(self.check()["run"], 171)
        self.stop()
        self.sql("UPDATE runs SET time = 0")
        self.start("--keep-days", "2")
        self.waits_for(lambda: self.runs()["total"] == 1)
        self.assertEqual(self.check()["run"], 172)  # numbers are not used again

    def test_the_service_manager(self):
        with socket.socket(socket.AF_UNIX, socket.SOCK_DGRAM) as manager:
            manager.settimeout(10)
            manager.bind(os.fspath(self.folder / "manager"))
            with unittest.mock.patch.dict(os.environ, NOTIFY_SOCKET=os.fspath(self.folder / "manager")):
                self.start()
                self.tavik("serve", "--unsigned", "--library", "library", "--rules", "none")
            states = [manager.recv(1000).decode() for _ in range(2)]
        self.assertEqual(states[0], f"READY=1\nSTATUS=Serving {self.address}")
        self.assertIn("STATUS=--rules none: No such file", states[1])


class ReloadTest(StationTest):
    def setUp(self):
        super().setUp()
        self.signed("library")
        self.release(1)
        self.file("policy", json.dumps({"keys": [{"name": "office", "file": "pub"}], "state": "state.json"}))
        self.start(documents=("--trust", "policy", "--library", "library.signed", "--rules", "rules.signed"))

    def release(self, revision, key="key", **more):
        """Signs new local rules, as a file that is put in place at once."""
        self.file("rules", json.dumps(RULES | {"version": f"rules {revision}"} | more))
        self.passes("sign", "--key", key, "--role", "local-rules", "--product", "p", "--revision", str(revision), "rules",
                    "-o", "rules.signed")

    def version(self):
        return self.ask("/v1/rules")[1]["rules"][0]["version"]

    def rejection(self):
        rejected = self.ask("/v1/rules")[1]["rejected"]
        return rejected and rejected["error"]

    def test_documents(self):
        self.passes("keygen", "--private", "other", "--public", "other.pub")
        self.release(5)
        self.waits_for(lambda: self.version() == "rules 5")
        good = (self.folder / "rules.signed").read_bytes()
        for break_it, reason in (
                (lambda: self.release(4), "revision 4 is older than revision 5"),
                (lambda: self.release(6, key="other"), "signature"),
                (lambda: self.file("rules.signed", good[:len(good) // 2]), "rules.signed"),
                (lambda: (self.folder / "rules.signed").unlink(), "No such file"),
                (lambda: self.release(7, MPNRules=5), "malformed local rules")):
            break_it()
            self.waits_for(lambda: reason in (self.rejection() or ""))
            self.assertEqual((self.version(), self.check()["verdict"]), ("rules 5", "passed"))
            self.assertIn("tavik_documents_rejected 1", self.ask("/metrics")[1])
            self.assertIn(reason, self.ask("/readyz")[1]["rejected_documents"])
        self.release(8)
        self.waits_for(lambda: self.version() == "rules 8" and self.rejection() is None)
        versions = {run["documents"]["rules"]["version"] for run in (self.ask(f"/v1/runs/{n}")[1] for n in range(1, 6))}
        self.assertEqual(versions, {"rules 5"})

    def test_expiry(self):
        expires = time.time() + 4
        self.file("rules", json.dumps(RULES | {"version": "rules 2"}))
        self.passes("sign", "--key", "key", "--role", "local-rules", "--product", "p", "--revision", "2", "--expires",
                    time.strftime("%Y-%m-%dT%H:%M:%SZ", time.gmtime(expires)), "rules", "-o", "rules.signed")
        self.waits_for(lambda: self.version() == "rules 2")
        self.check()
        self.waits_for(lambda: self.ask("/readyz")[0] == 503)
        status, answer = self.ask("/v1/check", {"attributes": GOOD})
        self.assertEqual((status, "expired on" in answer["error"]), (503, True))


class AccessTest(StationTest):
    TOKEN = "0123456789abcdef0123"

    def test_hosts_origins_and_the_token(self):
        self.secret("token", self.TOKEN + "\n")
        self.start("--token-file", "token")
        bearer = {"Authorization": f"Bearer {self.TOKEN}"}
        basic = {"Authorization": "Basic " + base64.b64encode(f"any:{self.TOKEN}".encode()).decode()}
        for path, headers, status in (
                ("/v1/rules", {}, 401), ("/v1/rules", bearer, 200), ("/v1/rules", basic, 200), ("/unknown", {}, 401),
                ("/v1/rules", {"Authorization": "Bearer " + self.TOKEN[:-1]}, 401),
                ("/v1/rules", {"Authorization": "Basic AA=A"}, 401),
                ("/healthz", {}, 200), ("/healthz", {"Host": "evil.example"}, 403), ("/healthz", {"Host": "localhost:1"}, 200),
                ("/healthz", {"Host": "127.0.0.1.evil.example"}, 403), ("/healthz", {"Host": "[::1]:80"}, 200)):
            with self.subTest(path, headers=headers):
                self.assertEqual(self.ask(path, headers=headers)[0], status)
        for headers, status in (
                ({"Origin": "http://evil.example"}, 403), ({"Origin": "null"}, 403), ({"Sec-Fetch-Site": "cross-site"}, 403),
                ({"Sec-Fetch-Site": "cross-site", "Sec-Fetch-Mode": "navigate"}, 200), ({"Origin": self.address.strip("/")}, 200)):
            for path, body in (("/v1/check", {"attributes": GOOD}), ("/v1/runs", None)):
                self.assertEqual(self.ask(path, body, headers=bearer | headers)[0], status)

    def test_tls_for_other_machines(self):
        self.secret("token", self.TOKEN)
        self.start("--host", "0.0.0.0", "--token-file", "token")
        self.assertTrue(self.address.startswith("https://0.0.0.0:"))
        for name in ("runs.db.key.pem", "runs.db.certificate.pem"):
            self.assertEqual(stat.S_IMODE((self.folder / name).stat().st_mode), 0o600)
        curl = ["curl", "-sS", "--cacert", "runs.db.certificate.pem", "-H", f"Authorization: Bearer {self.TOKEN}"]
        url = f"https://localhost:{self.port}/v1/check"
        body = json.dumps({"id": "x" * 3_000_000, "attributes": GOOD})  # curl asks for permission to send it
        run = subprocess.run([*curl, "-d", "@-", url, "--next", *curl[1:], url], input=body, capture_output=True, text=True,
                             cwd=self.folder, check=False)
        self.assertIn('"run": 1}', run.stdout, run.stderr)
        self.assertIn("use POST", run.stdout)
        with socket.create_connection(("127.0.0.1", self.port)) as plain:
            plain.sendall(b"GET / HTTP/1.1\r\n\r\n")
            with contextlib.suppress(ConnectionResetError):
                self.assertNotIn(b"HTTP", plain.recv(100))
        with self.assertRaises(ssl.SSLCertVerificationError):
            self.handshake(ssl.create_default_context())
        for version in ("tls1_1", "tls1_2"):
            run = subprocess.run(["openssl", "s_client", "-connect", f"127.0.0.1:{self.port}", f"-{version}", "-cipher", "ALL@SECLEVEL=0"],
                                 input=b"", capture_output=True, check=False)
            self.assertEqual(run.returncode, version == "tls1_1", run.stderr)

    def handshake(self, context):
        """The names in the certificate of the service."""
        with socket.create_connection(("127.0.0.1", self.port)) as raw, context.wrap_socket(raw, server_hostname="localhost") as tls:
            return [name for _, name in tls.getpeercert()["subjectAltName"]]

    def test_a_new_certificate(self):
        def make(days, *names):
            subprocess.run(["openssl", "req", "-x509", "-newkey", "ec", "-pkeyopt", "ec_paramgen_curve:P-256", "-nodes", "-subj",
                            "/CN=station", "-days", days, "-addext", "subjectAltName=DNS:localhost" + "".join(names), "-keyout", "key",
                            "-out", "certificate"], cwd=self.folder, capture_output=True, check=True)
            return ssl.create_default_context(cafile=self.folder / "certificate")

        first = make("1")
        self.start("--tls-certificate", "certificate", "--tls-key", "key")
        self.assertEqual(self.handshake(first), ["localhost"])
        second = make("2", ",DNS:new.example")
        self.assertEqual(self.handshake(second), ["localhost", "new.example"])
        self.file("key", "-----BEGIN")
        self.assertEqual(self.handshake(second), ["localhost", "new.example"])
        self.assertIn("certificate rejected; the old one remains in use", self.log())


class DocumentationTest(StationTest):
    def setUp(self):
        super().setUp()
        example = PROJECT / "examples/station"
        self.start(documents=("--unsigned", "--library", example / "rule-library.plist", "--rules", example / "local-rules.plist"))

    def test_the_simulated_line(self):
        run = subprocess.run([PROJECT / "examples/line/line.py", self.address, "--stations", "8", "--rate", "0", "--devices", "300"],
                             capture_output=True, text=True, check=True)
        count = [self.runs(query)["total"] for query in ("", "verdict=passed", "verdict=failed", "verdict=none")]
        self.assertEqual(run.stdout, "{} devices checked: {} passed, {} failed, {} without a verdict\n".format(*count))
        self.assertEqual((count[0], min(count) > 0, run.stderr), (300, True, ""))

    def test_the_clients(self):
        page = (PROJECT / "docs/station-service.md").read_text().replace("127.0.0.1:8080", f"127.0.0.1:{self.port}")
        curl, answer = re.search(r"^\$ (curl .*)\n(.*)$", page, re.MULTILINE).groups()
        self.assertEqual(subprocess.run(curl, shell=True, capture_output=True, text=True, check=True).stdout, answer + "\n")
        for language, command in (("python", ["python3", "-c"]), ("js", ["node", "--input-type=module", "-e"])):
            if not shutil.which(command[0]):
                continue
            program, = re.findall(f"^```{language}\n(.*?)^```$", page, re.MULTILINE | re.DOTALL)
            run = subprocess.run([*command, program], capture_output=True, text=True, check=False)
            self.assertEqual(run.returncode, 1, run.stderr)
            self.assertRegex(run.stdout, r"^run \d failed\nFAIL ")


@unittest.skipUnless(DRIVER, "needs chromedriver")
class PageTest(StationTest):
    def test_the_page(self):
        self.file("texts", json.dumps({"language": "de", "word_failed": "NICHT BESTANDEN"}))
        self.start("--texts", "texts")
        with Browser() as browser:
            browser.visit(self.address)
            self.waits_for(lambda: browser.run("return document.querySelector('#connection').textContent") == "live")
            hostile = "<img src=x onerror=alert(1)>"
            begin = time.monotonic()
            self.check(GOOD | {"ModelNumber": "XX"}, id=hostile)
            self.waits_for(lambda: browser.run("return document.querySelector('#word').textContent") == "NICHT BESTANDEN")
            self.assertLess(time.monotonic() - begin, 1)
            self.waits_for(lambda: browser.run("return document.querySelectorAll('#runs tr').length") == 1)
            self.waits_for(lambda: "Model" in browser.run("return document.querySelector('#failure-list').textContent"))
            self.waits_for(lambda: "XX" in browser.run("return document.querySelector('#pareto').textContent"), 15)
            self.assertIn(hostile, browser.run("return document.querySelector('#device').textContent"))
            self.assertEqual(browser.run("return document.documentElement.lang"), "de")
            self.assertEqual(browser.messages(), [])
            hosts = {urllib.parse.urlsplit(url).netloc for url in browser.requests() if url.startswith("http")}
            self.assertEqual(hosts, {f"127.0.0.1:{self.port}"})
            browser.visit(self.address + "runs/1")
            self.assertIn("FAILED", browser.run("return document.body.textContent"))
            self.assertEqual(browser.messages(), [])


if __name__ == "__main__":
    unittest.main()
