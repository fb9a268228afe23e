-- the agent's hook, copied by the program into a coroutine made without it
local saved, mask = debug.gethook()
debug.sethook()
local co = coroutine.create(function(x)
  local y = x + 1
  return y
end)
debug.sethook(saved, mask)
debug.sethook(co, saved, mask)
print(coroutine.resume(co, 1))
