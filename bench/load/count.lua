-- Counts what a wrk script sends and what comes back:
--   local count = dofile("bench/load/count.lua")
--   response = count.answered; done = count.report; and count.sent() in request()
-- The report is one line: requests sent and answered, connections that broke, answers by status.
local threads = {}
local count = {}

function setup(thread)
  table.insert(threads, thread)
end

-- Globals, because done() sees nothing else of a thread.
sent = 0

function count.sent()
  sent = sent + 1
end

function count.answered(status)
  local name = "status_" .. status
  _G[name] = (_G[name] or 0) + 1
end

function count.report(summary)
  local total, answered, parts = 0, 0, {}
  for _, thread in ipairs(threads) do
    total = total + thread:get("sent")
  end
  for status = 100, 599 do
    local number = 0
    for _, thread in ipairs(threads) do
      number = number + (thread:get("status_" .. status) or 0)
    end
    answered = answered + number
    if number > 0 then
      table.insert(parts, status .. "=" .. number)
    end
  end
  local errors = summary.errors
  print(string.format("sent %d answered %d broken %d timeout %d: %s", total, answered,
    errors.connect + errors.read + errors.write, errors.timeout, table.concat(parts, " ")))
end

return count
