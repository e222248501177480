-- wrk: requests to one service with pauses between them.
--   wrk -s bench/load/faulty.lua URL -- MILLISECONDS
local count = dofile("bench/load/count.lua")
response = count.answered
done = count.report

local pause = 0

init = function(arguments)
  pause = tonumber(arguments[1])
end

delay = function()
  return pause
end

request = function()
  count.sent()
  return wrk.format()
end
