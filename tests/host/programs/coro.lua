-- A coroutine stepped into, and a breakpoint inside it.
local co = coroutine.create(function(a)
  local b = a * 2
  coroutine.yield(b)
  b = b + 1
  return b
end)
local _, y = coroutine.resume(co, 5)
local _, z = coroutine.resume(co)
print("y " .. y .. " z " .. z)
