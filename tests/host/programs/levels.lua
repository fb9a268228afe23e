-- pause() inside a function: after it returns, that function's lines are
-- at stack level 0, and so are its caller's once it returns.
local function work()
  pause("in work")
  local v = 1
  return v
end
local r = work()
print("r " .. r)
