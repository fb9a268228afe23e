local function leaf(n) return n * 2 end
local function tail(n) return leaf(n) end
local function risky(n) if n > 0 then local r = risky(n - 1) return r end error('deep') end
local co = coroutine.create(function(a)
  local b = a + 1
  coroutine.yield(b)
  return b * 2
end)
local x = tail(1)
local ok = pcall(risky, 3)
local _, y = coroutine.resume(co, x)
local z = y + 1
print(x, ok, y, z)
