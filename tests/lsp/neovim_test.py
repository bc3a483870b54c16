"""`tavik lsp` in Neovim, without a screen: what its language client shows, completes, finds and changes in the example product.

    TAVIK=build/release/tools/tavik/tavik python3 tests/lsp/neovim_test.py
"""

import json
import os
import pathlib
import re
import shutil
import subprocess
import tempfile
import unittest

TAVIK = str(pathlib.Path(os.environ["TAVIK"]).resolve())
PROJECT = pathlib.Path(__file__).resolve().parents[2]

SCRIPT = r"""
local results = {}
local function wait(what, condition)
  if not vim.wait(20000, condition, 10) then error('timed out waiting for ' .. what) end
end
local function go(pattern, word)
  vim.fn.cursor(1, 1)
  local line = vim.fn.search(pattern, 'cW')
  assert(line > 0, pattern)
  vim.fn.search(word, 'cW', line)
end
local function ask(method, extra)
  local params = vim.tbl_extend('force', vim.lsp.util.make_position_params(), extra or {})
  for _, answer in pairs(assert(vim.lsp.buf_request_sync(0, method, params, 20000))) do
    assert(answer.error == nil, vim.inspect(answer.error))
    return answer.result
  end
end
local function messages()
  return vim.tbl_map(function(each) return each.code .. ' at ' .. each.lnum + 1 end, vim.diagnostic.get(0))
end
local function edit(file)
  vim.cmd('edit ' .. file)
  wait('the server', function() return #vim.lsp.buf_get_clients() > 0 end)
end

edit('local-rules.plist')
go('<key>Storage size<', 'Storage')
wait('a hover', function() return ask('textDocument/hover') ~= nil end)
results.hover = ask('textDocument/hover').contents.value
vim.lsp.buf.definition()
wait('the definition', function() return vim.fn.expand('%:t') == 'rule-library.plist' end)
results.definition = vim.api.nvim_get_current_line()
results.references = #ask('textDocument/references', { context = { includeDeclaration = true } })
results.symbols = #ask('textDocument/documentSymbol')
results.completion = {}
go('hasPrefix AND', 'AND')
for _, item in ipairs(vim.lsp.util.extract_completion_items(ask('textDocument/completion'))) do table.insert(results.completion, item.label) end

vim.lsp.buf_request_sync(0, 'textDocument/hover', vim.lsp.util.make_position_params(), 20000)
vim.cmd([[%s/<string>nandSizeCheck</<string>nandSizeChck</]])
wait('the finding', function() return vim.tbl_contains(vim.tbl_map(function(each) return each.code end, vim.diagnostic.get(0)), 'unknown-predicate') end)
results.wrong = messages()
for _, found in ipairs(vim.diagnostic.get(0)) do
  if found.code == 'unknown-predicate' then vim.fn.cursor(found.lnum + 1, found.col + 1) end
end
vim.ui.select = function(items, _, choose) choose(items[1], 1) end
vim.lsp.buf.code_action()
wait('the quick fix', function() return vim.fn.search('nandSizeChck', 'nw') == 0 end)
wait('the finding to go', function() return not vim.tbl_contains(vim.tbl_map(function(each) return each.code end, vim.diagnostic.get(0)), 'unknown-predicate') end)
results.right = messages()

go('<key>Storage size<', 'Storage')
vim.lsp.buf.rename('Größe <"A" & B\'s>')
wait('the new name', function() return vim.fn.search('Größe', 'nw') > 0 end)
vim.cmd('wall')

io.open('results.json', 'w'):write(vim.json.encode(results))
vim.lsp.stop_client(vim.lsp.get_active_clients())
wait('the end', function() return #vim.lsp.get_active_clients() == 0 end)
vim.cmd('qall!')
"""


class NeovimTest(unittest.TestCase):
    def setUp(self):
        self.folder = pathlib.Path(tempfile.mkdtemp(prefix="tavik-nvim-"))
        self.addCleanup(shutil.rmtree, self.folder)
        shutil.copytree(PROJECT / "examples" / "station", self.folder, dirs_exist_ok=True)

    def test_everything(self):
        page = (PROJECT / "docs" / "editors.md").read_text(encoding="utf-8")
        configuration = re.search(r"```lua\n(.*?)```", page, re.DOTALL)[1]
        self.assertEqual(configuration, (PROJECT / "editors" / "neovim" / "tavik.lua").read_text(encoding="utf-8"))
        (self.folder / "init.lua").write_text(configuration, encoding="utf-8")
        (self.folder / "script.lua").write_text(
            f"local ok, why = xpcall(function() {SCRIPT} end, debug.traceback)\nif not ok then io.stderr:write(why) vim.cmd('cquit') end", encoding="utf-8")
        environment = os.environ | {"PATH": f"{pathlib.Path(TAVIK).parent}:{os.environ['PATH']}", "HOME": str(self.folder)}
        run = subprocess.run(["nvim", "--headless", "-n", "-i", "NONE", "-u", "init.lua", "-c", "luafile script.lua"], cwd=self.folder, env=environment, capture_output=True,
                             timeout=120, check=False)
        self.assertEqual(run.returncode, 0, run.stderr.decode())
        results = json.loads((self.folder / "results.json").read_text(encoding="utf-8"))
        self.assertIn("Devices in `local-rules.plist`: `DN20-064, DN20-128, DN20W-064`", results["hover"])
        self.assertIn("<key>Storage size</key>", results["definition"])
        self.assertGreater(results["references"], 8)
        self.assertGreater(results["symbols"], 30)
        self.assertLessEqual({"AND", "hasPrefix"}, set(results["completion"]))
        self.assertEqual([each.partition(" ")[0] for each in results["wrong"]], ["text-read-as-zero", "unknown-predicate"][::-1])
        self.assertEqual([each.partition(" ")[0] for each in results["right"]], ["text-read-as-zero"])
        for name in ("rule-library.plist", "local-rules.plist", "rule-tests.json"):
            text = (self.folder / name).read_text(encoding="utf-8")
            self.assertIn("Größe", text, name)
            self.assertNotRegex(text, r'[>"]Storage size[<"]')
        subprocess.run([TAVIK, "test", "rule-tests.json"], cwd=self.folder, check=True, capture_output=True)


if __name__ == "__main__":
    unittest.main()
