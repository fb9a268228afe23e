-- A failed assert under a handler that calls debug.traceback; the program
-- goes on afterwards.
local function check(v)
  assert(v > 1, "too small")
  return v
end
local ok = xpcall(function() return check(0) end, debug.traceback)
print("caught " .. tostring(ok))
