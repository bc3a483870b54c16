// Starts `tavik lsp` for rule documents.
'use strict';

const vscode = require('vscode');
const { LanguageClient } = require('vscode-languageclient/node');

const FILES = '**/*.{plist,json,xml}';

let client;

async function activate(context) {
  const command = vscode.workspace.getConfiguration('tavik').get('path', 'tavik');
  const watcher = vscode.workspace.createFileSystemWatcher('**/*.{plist,json,xml,signed}');
  context.subscriptions.push(watcher);
  client = new LanguageClient(
    'tavik',
    'Tavik',
    { command, args: ['lsp'] },
    { documentSelector: [{ scheme: 'file', pattern: FILES }], synchronize: { fileEvents: watcher } }
  );
  try {
    await client.start();
  } catch (error) {
    vscode.window.showErrorMessage(`Cannot run "${command} lsp". Set "tavik.path" to the tavik command. (${error.message})`);
  }
}

function deactivate() {
  return client ? client.stop() : undefined;
}

module.exports = { activate, deactivate };
