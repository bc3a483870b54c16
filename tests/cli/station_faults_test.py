"""`tavik serve` when something goes wrong: a kill, a full disk, a locked or damaged database, a clock that is set back, clients
that are slow, idle, broken or many, malformed HTTP. TAVIK_KILLS sets the number of kills."""

import contextlib
import http.client
import json
import os
import pathlib
import random
import re
import resource
import signal
import socket
import sqlite3
import subprocess
import threading
import time
import unittest

from station import GOOD, SFC, StationTest

# Of time and memory, with ThreadSanitizer or AddressSanitizer.
FACTOR = 20 if "TSAN_OPTIONS" in os.environ else 4 if "ASAN_OPTIONS" in os.environ else 1
KILLS = int(os.environ.get("TAVIK_KILLS", "3"))
CHECK = json.dumps({"attributes": GOOD, "sources": SFC}).encode()
POST = b"POST /v1/check HTTP/1.1\r\nHost: localhost\r\n"
TOO_LARGE = 17 << 20
MALFORMED = (  # bytes, the statuses of the answers
    (b"\r\n\r\nGET /healthz HTTP/1.1\r\nHost: localhost\r\n\r\n", [200]),
    (b"GET /healthz HTTP/1.1\r\nHost: localhost\r\n\r\n" * 3, [200] * 3),
    (b"HEAD /healthz HTTP/1.1\r\nHost: localhost\r\n\r\n", [200]),
    (b"GET /healthz HTTP/1.0\r\nHost: localhost\r\n\r\n", [200]),
    (b"GET /healthz HTTP/1.0\r\nHost: localhost\r\nConnection: keep-alive\r\n\r\n" * 2, [200, 200]),
    (b"GET /%68ealthz?%61=%zz HTTP/1.1\r\nHost: localhost\r\n\r\n", [400]),
    (b"GET /%68ealthz HTTP/1.1\r\nHost: localhost\r\n\r\n", [200]),
    (b"GET /healthz HTTP/1.1\r\n\r\n", [403]),
    (b"GET http://localhost/healthz HTTP/1.1\r\nHost: localhost\r\n\r\n", [400]),
    (b"GET /../../etc/passwd HTTP/1.1\r\nHost: localhost\r\n\r\n", [404]),
    (b"GET /healthz HTTP/2.0\r\n", [505]),
    (b"GET /healthz\r\n", [400]),
    (b"GET /health z HTTP/1.1\r\nHost: localhost\r\n\r\n", [400]),
    (b"GET /healthz%00 HTTP/1.1\r\nHost: localhost\r\n\r\n", [400]),
    (b"\x16\x03\x01\x02\x00\x01\r\n", []),
    (b"GET / HTTP/1.1\r\nHost: localhost\r\nHost: localhost\r\n\r\n", [400]),
    (b"GET / HTTP/1.1\r\nHost : localhost\r\n\r\n", [400]),
    (b"GET / HTTP/1.1\r\nHost: localhost\r\n folded\r\n\r\n", [400]),
    (b"GET / HTTP/1.1\r\nHost: local\x00host\r\n\r\n", [400]),
    (b"GET / HTTP/1.1\r\nHost: localhost\r\n\x00\r\n", [400]),
    (b"GET / HTTP/1.1\nHost: localhost\r\n\r\n", [400]),
    (b"GET / HTTP/1.1\r\nHost: localhost\nX: y\r\n\r\n", [400]),
    (b"GET / HTTP/1.1\r\nHost: localhost\r\n\n", [400]),
    (b"GET / HTTP/1.1\r\nHost: localhost\r\nX: a\rb\r\n\r\n", [400]),
    (b"GET /healthz HTTP/1.1\r\nHost:localhost\r\nX:\t\r\nY: " + b"y" * 20000 + b"\r\n\r\n", [200]),
    (b"GET /" + b"x" * 32763, [414]),
    (POST + b"Content-Length: %d\r\n\r\n" % len(CHECK) + CHECK, [200]),
    (POST + b"Content-Length: %d\r\n\r\n" % TOO_LARGE + b" " * TOO_LARGE, [413]),
    (POST + b"Content-Length: -1\r\n\r\n", [400, 400]),  # libmicrohttpd writes the head twice, and closes
    (POST + b"Content-Length: 1\r\nContent-Length: 2\r\n\r\n", [400]),
    (POST + b"Content-Length: 1\r\nTransfer-Encoding: chunked\r\n\r\n", [400]),
    (POST + b"Content-Encoding: gzip\r\nContent-Length: 1\r\n\r\nx", [415]),
    (POST + b"Transfer-Encoding: gzip\r\n\r\n", [501]),
    (POST + b"Transfer-Encoding: chunked\r\n\r\n5;a=b\r\n" + CHECK[:5] + b"\r\n%x\r\n" % len(CHECK[5:]) + CHECK[5:]
     + b"\r\n0\r\nTrailer: x\r\n\r\nGET /healthz HTTP/1.1\r\nHost: localhost\r\n\r\n", [200, 200]),
    (POST + b"Transfer-Encoding: chunked\r\n\r\n5\r\n123456\r\n", [400]),
    (POST + b"Transfer-Encoding: chunked\r\n\r\n-5\r\n", [400]),
    (POST + b"Transfer-Encoding: chunked\r\n\r\n%x\r\n" % TOO_LARGE + b" " * TOO_LARGE + b"\r\n0\r\n\r\n", [413]),
    (POST + b"Expect: 100-continue\r\nContent-Length: 99999999\r\n\r\n", [413]),
)


class KillTest(StationTest):
    def load(self, answered, stops):
        """Checks devices until the service is gone; `answered` gets the number and the id of each run."""
        connection = http.client.HTTPConnection("127.0.0.1", self.port, timeout=20)
        while not stops.is_set():
            identity = f"{random.getrandbits(64):x}"
            try:
                status, result = self.ask("/v1/check", {"id": identity, "attributes": GOOD}, connection=connection)
            except (OSError, http.client.HTTPException):
                break
            self.assertEqual(status, 200)
            answered.append((result["run"], identity))
        connection.close()

    def test_every_answered_run_is_stored_once(self):
        answered = []
        for _ in range(KILLS):
            self.start()
            stops = threading.Event()
            clients = [threading.Thread(target=self.load, args=(answered, stops)) for _ in range(6)]
            for client in clients:
                client.start()
            time.sleep(random.uniform(0.05, 0.4))
            self.service.kill()
            stops.set()
            for client in clients:
                client.join()
            self.service.wait()
        stored = self.sql("SELECT number, id FROM runs")
        self.assertEqual(self.sql("PRAGMA integrity_check"), [("ok",)])
        self.assertGreater(len(answered), 10 * KILLS)
        self.assertEqual(len({number for number, _ in answered}), len(answered))
        self.assertLessEqual(set(answered), set(stored))
        self.assertEqual(len({identity for _, identity in stored}), len(stored))

    def test_requests_in_progress_are_answered_before_the_end(self):
        self.start()
        answered, stops = [], threading.Event()
        clients = [threading.Thread(target=self.load, args=(answered, stops)) for _ in range(6)]
        for client in clients:
            client.start()
        time.sleep(0.3)
        self.stop()
        for client in clients:
            client.join()
        self.assertEqual(self.sql("SELECT count(*) FROM runs"), [(len(answered),)])


class DatabaseTest(StationTest):
    def refused(self, message):
        status, answer = self.ask("/v1/check", {"attributes": GOOD, "sources": SFC})
        self.assertEqual(status, 503, answer)
        self.assertRegex(answer["error"], message)
        self.assertNotIn("verdict", answer)

    @unittest.skipIf(os.geteuid(), "needs root")
    def test_a_full_disk(self):
        disk = self.folder / "disk"
        disk.mkdir()
        if subprocess.run(["mount", "-t", "tmpfs", "-o", "size=2m", "tmpfs", disk], capture_output=True, check=False).returncode:
            self.skipTest("cannot mount a small disk")
        self.addCleanup(subprocess.run, ["umount", "-l", disk], check=False)
        ballast = disk / "ballast"
        ballast.write_bytes(bytes(1_000_000))
        self.start(database="disk/runs.db")
        large = {"attributes": GOOD | {"Note": os.urandom(50000).hex()}}
        answered = 0
        while (answer := self.ask("/v1/check", large))[0] == 200:
            answered += 1
        self.assertEqual(answer[0], 503)
        self.assertRegex(answer[1]["error"], "full.*; free space on the disk")
        self.assertEqual(self.runs()["total"], answered)
        self.assertIn("tavik_store_failures_total 1", self.ask("/metrics")[1])
        ballast.unlink()
        self.assertEqual(self.ask("/v1/check", large)[1]["run"], answered + 1)
        self.stop()
        self.start("--allow-unstored", database="disk/runs.db")
        for _ in range(60):
            status, answer = self.ask("/v1/check", large)
            self.assertEqual((status, answer["verdict"]), (200, "failed"))
        self.assertIsNone(answer["run"])

    def test_a_locked_database(self):
        self.start()
        self.check()
        other = sqlite3.connect(self.folder / "runs.db", isolation_level=None)
        other.execute("BEGIN IMMEDIATE")
        self.refused("database is locked; end the program that uses it")
        self.assertEqual(self.runs()["total"], 1)
        other.execute("COMMIT")
        other.close()
        self.assertEqual(self.check()["run"], 2)

    def test_a_damaged_database(self):
        self.start()
        for _ in range(30):
            self.check()
        self.stop()
        self.sql("UPDATE runs SET device = zeroblob(100) WHERE number = 2")
        self.start()
        self.assertRegex(self.ask("/v1/runs/2")[1]["error"], "cannot be read; restore a backup")
        self.assertEqual(self.ask("/v1/runs/3")[0], 200)
        self.stop()
        path = self.folder / "runs.db"
        content = bytearray(path.read_bytes())
        for page in range(2, len(content) // 4096):
            content[page * 4096:page * 4096 + 100] = os.urandom(100)
        path.write_bytes(content)
        self.start()
        self.refused("malformed.*restore a backup")
        self.assertEqual(self.ask("/v1/runs")[0], 503)

    def test_a_clock_that_is_set_back(self):
        self.start()
        self.check(id="early")
        self.sql("UPDATE runs SET time = time + 3600000")
        self.assertEqual(self.check(id="late")["run"], 2)
        self.assertEqual([run["id"] for run in self.runs()["runs"]], ["late", "early"])


class ClientsTest(StationTest):
    def setUp(self):
        super().setUp()
        soft, hard = resource.getrlimit(resource.RLIMIT_NOFILE)
        resource.setrlimit(resource.RLIMIT_NOFILE, (hard, hard))
        self.addCleanup(resource.setrlimit, resource.RLIMIT_NOFILE, (soft, hard))
        self.start()
        self.clients = []
        self.addCleanup(lambda: [client.close() for client in self.clients])

    def talk(self, data, count):
        """Opens connections that send this and wait."""
        for _ in range(count):
            client = socket.create_connection(("127.0.0.1", self.port), timeout=20)
            client.sendall(data)
            self.clients.append(client)

    def is_prompt(self):
        begin = time.monotonic()
        self.check()
        return time.monotonic() - begin < FACTOR

    def takes_less_than(self, mebibytes):
        pages = pathlib.Path(f"/proc/{self.service.pid}/statm").read_text().split()[1]
        return int(pages) * resource.getpagesize() < FACTOR * mebibytes << 20

    def test_malformed_requests(self):
        for data, statuses in MALFORMED:
            for size in (len(data), 7) if len(data) < 1000 else (len(data),):  # at once and in pieces
                with self.subTest(data[:80], size=size), socket.create_connection(("127.0.0.1", self.port), timeout=20) as client:
                    client.setsockopt(socket.IPPROTO_TCP, socket.TCP_NODELAY, 1)
                    with contextlib.suppress(OSError):  # if the service has answered and closed the connection
                        for start in range(0, len(data), size):
                            client.sendall(data[start:start + size])
                        client.shutdown(socket.SHUT_WR)
                    answers = b""
                    with contextlib.suppress(ConnectionResetError):
                        while piece := client.recv(65536):
                            answers += piece
                    found = [int(status) for status in re.findall(r"^HTTP/1.1 (\d+)", answers.decode(), re.MULTILINE)]
                    self.assertEqual(found, statuses)
        self.check()

    def test_idle_slow_and_broken_clients(self):
        self.talk(b"", 10000)
        self.assertTrue(self.is_prompt())
        self.talk(POST, 500)
        self.talk(POST + b"Content-Length: 1000000\r\n\r\n{", 500)
        self.assertTrue(self.is_prompt())
        for _ in range(200):
            self.talk(POST + b"Content-Length: %d\r\n\r\n" % len(CHECK) + CHECK, 1)
            self.clients.pop().close()
        self.assertTrue(self.is_prompt())
        self.talk(b"GET /v1/events HTTP/1.1\r\nHost: localhost\r\n\r\n", 70)
        last = self.clients[-1]
        self.assertIn(b"429", last.recv(100))
        for client in self.clients[-70:]:
            client.close()
            self.assertTrue(self.is_prompt())
        self.assertTrue(self.takes_less_than(200))

    def test_large_bodies_of_many_clients(self):
        body = POST + b"Content-Length: 16000000\r\n\r\n" + b" " * 15_999_999
        self.talk(body, 30)
        self.assertTrue(self.is_prompt())
        self.assertTrue(self.takes_less_than(700))
        refused = 0
        for client in self.clients:
            client.sendall(b" ")
            refused += b" 503 " in client.recv(100)
        self.assertGreater(refused, 5)


if __name__ == "__main__":
    unittest.main()
