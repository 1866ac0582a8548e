-- Posts branches as the agent does, each with words of its own; one "done" line of JSON at the end.
-- Arguments behind wrk's "--": the key, and the seed of the texts.

local words = {}
local letters = "abcdefghijklmnopqrstuvwxyz"

local function vocabulary()
   math.randomseed(1)
   for i = 1, 5000 do
      local word = ""
      for _ = 1, math.random(3, 9) do
         local at = math.random(1, 26)
         word = word .. letters:sub(at, at)
      end
      words[i] = word
   end
end

local started = 0

function setup(thread)
   started = started + 1
   thread:set("number", started)
end

function init(arguments)
   vocabulary()
   math.randomseed(tonumber(arguments[2]) + number)
   wrk.method = "POST"
   wrk.headers["Authorization"] = "Bearer " .. arguments[1]
   wrk.headers["Content-Type"] = "application/json"
end

function request()
   local text = {}
   for i = 1, math.random(4, 24) do
      -- Common words are common, as in a real text.
      text[i] = words[math.floor(5000 * math.random() ^ 3) + 1]
   end
   local line = table.concat(text, " ")
   local body = string.format([[{"title":"%s","summary":"Captured a branch to revisit: %s.",]]
      .. [["why_forked":"This was forked because it would interrupt the current line of work and ]]
      .. [[needs to be revisited separately.","expected_future_value":null,"project_id":null,]]
      .. [["context_snapshot":{"source":"desktop-capture","captured_text":"%s",]]
      .. [["active_app":{"name":"Editor","bundle_id":"org.example.Editor"},]]
      .. [["active_window_title":"notes %d.txt","captured_at":"2026-11-15T22:24:38Z"}}]],
      line, line, line, math.random(1, 100000))
   return wrk.format(nil, nil, nil, body)
end

function done(summary, latency, _)
   local errors = summary.errors
   print(string.format(
      'done {"requests":%d,"seconds":%.3f,"median_ms":%.3f,"p99_ms":%.3f,"max_ms":%.3f,"errors":%d}',
      summary.requests, summary.duration / 1e6, latency:percentile(50) / 1e3,
      latency:percentile(99) / 1e3, latency.max / 1e3,
      errors.connect + errors.read + errors.write + errors.status + errors.timeout))
end
