-- wrk: a POST with a body of 1 KiB that holds the order id between its boundaries.
local front = '<?xml version="1.0"?>\n<order xmlns="urn:example:shop:orders">\n' ..
  string.rep("  <line><sku>A-100</sku><quantity>1</quantity></line>\n", 9) ..
  "  <orderId>4711</orderId>\n"
local back = "</order>\n"
local padding = string.rep(" ", 1024 - #front - #back - 1) .. "\n"

wrk.method = "POST"
wrk.path = "/order?cust=Ann"
wrk.headers["Content-Type"] = "text/xml"
wrk.headers["X-Trace-Id"] = "0af7651916cd43dd"
wrk.body = front .. padding .. back
