"""The VS Code extension: its files are well formed, and its client starts `tavik lsp`. VS Code and its language client are
mocks.

    TAVIK=build/release/tools/tavik/tavik python3 tests/lsp/vscode_test.py
"""

import json
import os
import pathlib
import re
import subprocess
import unittest

EXTENSION = pathlib.Path(__file__).resolve().parents[2] / "editors" / "vscode"

DRY_RUN = r"""
const events = [];
class LanguageClient {
  constructor(id, name, server, options) { this.server = server; events.push(options.documentSelector[0].pattern); }
  async start() {
    const run = require('child_process').spawnSync(this.server.command, this.server.args, { input: '' });
    if (run.error) throw run.error;
    events.push(run.status);
  }
  async stop() { events.push('stopped'); }
}
const vscode = {
  workspace: { getConfiguration: () => ({ get: () => process.argv[2] }), createFileSystemWatcher: (pattern) => ({ pattern }) },
  window: { showErrorMessage: (message) => events.push(message) },
};
const Module = require('module');
const load = Module._load;
Module._load = (name, ...rest) => name === 'vscode' ? vscode : name === 'vscode-languageclient/node' ? { LanguageClient } : load(name, ...rest);
const extension = require(process.argv[1]);
const context = { subscriptions: [] };
extension.activate(context).then(() => extension.deactivate()).then(() => console.log(JSON.stringify([events, context.subscriptions.length])));
"""


class ExtensionTest(unittest.TestCase):
    def test_files(self):
        package = json.loads((EXTENSION / "package.json").read_text(encoding="utf-8"))
        contributed = package["contributes"]
        named = [package["main"], contributed["languages"][0]["configuration"], contributed["grammars"][0]["path"], contributed["jsonValidation"][0]["url"]]
        for path in named:
            self.assertTrue((EXTENSION / path).is_file(), path)
        for path in EXTENSION.rglob("*.json"):
            json.loads(path.read_text(encoding="utf-8"))
        for pattern in re.findall(r'"(?:match|begin|end)": ("(?:[^"\\]|\\.)*")', (EXTENSION / contributed["grammars"][0]["path"]).read_text(encoding="utf-8")):
            re.compile(json.loads(pattern).replace(r"\z", r"\Z"))

    def test_client(self):
        for command, expected in [(os.environ["TAVIK"], 1), ("/no/such/tavik", 'Cannot run "/no/such/tavik lsp"')]:
            run = subprocess.run(["node", "-e", DRY_RUN, str(EXTENSION / "extension.js"), command], capture_output=True, text=True, check=True, timeout=60)
            (pattern, started, stopped), subscriptions = json.loads(run.stdout)
            self.assertEqual((pattern, stopped, subscriptions), ("**/*.{plist,json,xml}", "stopped", 1))
            self.assertTrue(started == expected or str(started).startswith(str(expected)), started)


if __name__ == "__main__":
    unittest.main()
