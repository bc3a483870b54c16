-- For wrk: checks the devices of a file of JSON lines, its argument, one after the other.

local requests, last = {}, 0

function init(args)
  wrk.method = "POST"
  wrk.headers["Content-Type"] = "application/json"
  for line in io.lines(args[1]) do
    requests[#requests + 1] = wrk.format(nil, nil, nil, line)
  end
end

function request()
  last = last % #requests + 1
  return requests[last]
end
