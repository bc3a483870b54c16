"""A station service for tests: started in the folder of a test, talked to through sockets."""

import contextlib
import http.client
import json
import os
import signal
import sqlite3
import subprocess
import time

from support import TAVIK, CommandTest

LIBRARY = {
    "version": "library 1",
    "Model": {"attribute": "ModelNumber", "predicate": "hasPrefix", "value": "HN"},
    "Color": {"attribute": "Color", "predicate": "equal", "references": [{"source": "sfc", "description": "Ordered color"}]},
    "Code": {"attribute": "SerialNumber", "predicate": "MPNCCCCheck", "value": "KQ2"},
}
RULES = {"version": "rules 1", "GenericRules": {"Model": {}, "Color": {}}, "RuleSets": {"CodeRuleSet": {"Code": {}}},
         "MPNRules": {"HN10": {}, "XX": {}, "HN20": {"CodeRuleSet": {}}}}
GOOD = {"ModelNumber": "HN10", "Color": 3}
SFC = {"sfc": {"Color": 3}}


class StationTest(CommandTest):
    def setUp(self):
        super().setUp()
        self.documents(LIBRARY, RULES)

    def start(self, *options, documents=("--unsigned", "--library", "library", "--rules", "rules"),
              database="runs.db"):
        """The service once it is ready; `options` are added to its usual ones."""
        with open(self.folder / "log", "ab") as log:
            self.service = subprocess.Popen([TAVIK, "serve", *documents, "--port", "0", "--database", database, *options],
                                            stdout=subprocess.PIPE, stderr=log, cwd=self.folder, text=True)
        self.addCleanup(self.service.stdout.close)
        self.addCleanup(self.service.wait)
        self.addCleanup(self.service.kill)
        self.address = self.service.stdout.readline().strip()
        self.assertTrue(self.address.startswith("http"), self.log())
        self.port = int(self.address.strip("/").rsplit(":", 1)[1])

    def secret(self, name, contents):
        os.chmod(self.folder / self.file(name, contents), 0o600)

    def stop(self):
        self.service.send_signal(signal.SIGTERM)
        self.assertEqual(self.service.wait(30), 0, self.log())

    def log(self):
        return (self.folder / "log").read_text()

    def connect(self):
        connection = http.client.HTTPConnection("127.0.0.1", self.port, timeout=20)
        self.addCleanup(connection.close)
        return connection

    def ask(self, path, body=None, *, method=None, headers=None, connection=None):
        """The status and the content of an answer, decoded if it is JSON."""
        connection = connection or self.connect()
        body = body if body is None or isinstance(body, (bytes, str)) else json.dumps(body)
        connection.request(method or ("GET" if body is None else "POST"), path, body, headers or {})
        answer = connection.getresponse()
        content = answer.read()
        is_json = answer.getheader("Content-Type") == "application/json" and content
        return answer.status, json.loads(content) if is_json else content.decode()

    def check(self, device=None, **others):
        status, result = self.ask("/v1/check", {"attributes": device or GOOD, "sources": SFC, **others})
        self.assertEqual(status, 200, result)
        return result

    def runs(self, query=""):
        return self.ask("/v1/runs?" + query)[1]

    def sql(self, statement):
        """Executes a statement in the database of the service."""
        with contextlib.closing(sqlite3.connect(self.folder / "runs.db")) as database, database:
            return database.execute(statement).fetchall()

    def waits_for(self, condition, seconds=10):
        end = time.monotonic() + seconds
        while not condition():
            self.assertLess(time.monotonic(), end, self.log())
            time.sleep(0.05)
