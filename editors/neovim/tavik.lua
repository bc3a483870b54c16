-- In ~/.config/nvim/init.lua: rule documents are checked by `tavik lsp`.
vim.api.nvim_create_autocmd({ 'BufReadPost', 'BufNewFile' }, {
  pattern = { '*.plist', '*.json', '*.xml' },
  callback = function(event)
    local marker = vim.fs and vim.fs.find('tavik-workspace.json', { upward = true })[1]
    local root = vim.fn.fnamemodify(marker or event.match, ':p:h')
    local client = vim.g.tavik_client or vim.lsp.start_client({ name = 'tavik', cmd = { 'tavik', 'lsp' }, root_dir = root })
    vim.g.tavik_client = client
    vim.lsp.buf_attach_client(event.buf, client)
  end,
})
