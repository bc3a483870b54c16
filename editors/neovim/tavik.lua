-- In ~/.config/nvim/init.lua: `tavik lsp` serves rule documents.
local client
vim.api.nvim_create_autocmd({ 'BufReadPost', 'BufNewFile' }, {
  pattern = { '*.plist', '*.json', '*.xml' },
  callback = function(event)
    client = client or vim.lsp.start_client({ name = 'tavik', cmd = { 'tavik', 'lsp' }, root_dir = vim.fn.getcwd() })
    vim.lsp.buf_attach_client(event.buf, client)
  end,
})
