-- wrk: the example services in turn, with misses and bodies of many sizes, chunked ones among them.
local count = dofile("bench/load/count.lua")
response = count.answered
done = count.report

local requests = {}

local function add(method, path, body, headers)
  headers = headers or {}
  headers["X-Trace-Id"] = "0af7651916cd43dd"
  requests[#requests + 1] = wrk.format(method, path, headers, body)
end

init = function()
  for _, size in ipairs({0, 1, 100, 5000, 70000}) do
    add("POST", "/echo?size=" .. size, string.rep("e", size))
  end
  add("POST", "/order?cust=Ann%20B", "<o><orderId>4711</orderId></o>")
  add("POST", "/order", "<o/>")
  add("GET", "/greeting?name=Ann")
  add("GET", "/nowhere")
  add("POST", "/json", '{"sku":"A-100","tags":"<tag>new</tag><tag>blue</tag>"}')
  requests[#requests + 1] = "POST /echo HTTP/1.1\r\nHost: a\r\nTransfer-Encoding: chunked\r\n\r\n" ..
    "5\r\nhello\r\n400\r\n" .. string.rep("c", 1024) .. "\r\n0\r\n\r\n"
end

local at = 0
request = function()
  count.sent()
  at = at % #requests + 1
  return requests[at]
end
