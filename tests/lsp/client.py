"""A client of `tavik lsp` for tests: sends messages, and reads answers and diagnostics."""

import json
import os
import subprocess
import time

TAVIK = os.environ["TAVIK"]


def framed(body):
    data = body if isinstance(body, bytes) else json.dumps(body).encode()
    return b"Content-Length: %d\r\n\r\n" % len(data) + data


class Client:
    """A session in a folder; `with Client(folder) as client`."""

    def __init__(self, folder, encodings=("utf-16",)):
        self.folder = folder
        self.process = subprocess.Popen([TAVIK, "lsp"], stdin=subprocess.PIPE, stdout=subprocess.PIPE, cwd=folder)
        self.requests = 0
        self.versions = {}
        self.published = {}
        capabilities = {"general": {"positionEncodings": list(encodings)}}
        self.capabilities = self.ask("initialize", rootUri=self.uri("."), capabilities=capabilities)["result"]["capabilities"]
        self.tell("initialized")

    def __enter__(self):
        return self

    def __exit__(self, *failure):
        if failure[0] is None:
            assert self.ask("shutdown")["result"] is None
            self.tell("exit")
            assert self.process.wait(30) == 0, self.process.returncode
        self.process.kill()
        self.process.wait()
        self.process.stdin.close()
        self.process.stdout.close()

    def uri(self, name):
        return (self.folder / name).resolve().as_uri()

    def send(self, body):
        data = framed(body)
        self.sent = time.monotonic()
        self.process.stdin.write(data)
        self.process.stdin.flush()

    def receive(self):
        length = 0
        while line := self.process.stdout.readline().strip():
            length = int(line.removeprefix(b"Content-Length: "))
        assert length, "the server ended"
        data = self.process.stdout.read(length)
        self.received = time.monotonic()
        message = json.loads(data)
        if message.get("method") == "textDocument/publishDiagnostics":
            self.published[message["params"]["uri"]] = message["params"]
        return message

    def ask(self, method, **params):
        """The answer to a request."""
        self.requests += 1
        self.send({"jsonrpc": "2.0", "id": self.requests, "method": method, "params": params})
        while (answer := self.receive()).get("id") != self.requests:
            pass
        return answer

    def tell(self, method, **params):
        self.send({"jsonrpc": "2.0", "method": method, "params": params})

    def open(self, name, text=None):
        text = (self.folder / name).read_text(encoding="utf-8") if text is None else text
        self.versions[name] = 1
        self.tell("textDocument/didOpen", textDocument={"uri": self.uri(name), "languageId": "tavik", "version": 1, "text": text})

    def change(self, name, *changes):
        """Each change is a new text, or a range (line, character, line, character) and its replacement."""
        self.versions[name] += 1
        self.tell("textDocument/didChange", textDocument={"uri": self.uri(name), "version": self.versions[name]},
                  contentChanges=[{"text": change} if isinstance(change, str) else
                                  {"range": {"start": dict(zip(("line", "character"), change[0][:2])),
                                             "end": dict(zip(("line", "character"), change[0][2:]))}, "text": change[1]}
                                  for change in changes])

    def at(self, request, name, line=0, character=0, **params):
        """The answer to a request about a position."""
        return self.ask(f"textDocument/{request}", textDocument={"uri": self.uri(name)},
                        position={"line": line, "character": character}, **params)

    def diagnostics(self, name):
        """The diagnostics of the current version."""
        while self.published.get(self.uri(name), {}).get("version") != self.versions[name]:
            self.receive()
        return self.published[self.uri(name)]["diagnostics"]
