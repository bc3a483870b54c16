-- For wrk: checks the devices of a file of JSON lines, its argument, in turn, each time with a different ID.

local ID = "00000000"
local devices, count = {}, 0

function init(args)
  wrk.method = "POST"
  wrk.headers["Content-Type"] = "application/json"
  for line in io.lines(args[1]) do
    local request = wrk.format(nil, nil, nil, '{"id":"' .. ID .. '"' .. line:match(",.*"))
    local first, last = request:find(ID, 1, true)
    devices[#devices + 1] = {request:sub(1, first - 1), request:sub(last + 1)}
  end
end

function request()
  count = count + 1
  local device = devices[count % #devices + 1]
  return device[1] .. string.format("%08d", count) .. device[2]
end
