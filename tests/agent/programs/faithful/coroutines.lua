-- coroutines: values both ways, nesting, errors inside
local acc = coroutine.create(function(sum)
  while true do
    local v = coroutine.yield(sum)
    if v == nil then return 'total', sum end
    sum = sum + v
  end
end)
print(coroutine.resume(acc, 10))
for _, v in ipairs({ 1, 2, 3 }) do print(coroutine.resume(acc, v)) end
print(coroutine.resume(acc))
print(coroutine.status(acc), coroutine.resume(acc))

-- a coroutine resuming another that yields from nested calls
local inner = coroutine.create(function()
  local function deep(n) if n == 0 then return coroutine.yield('bottom') end return deep(n - 1) + 1 end
  return deep(5)
end)
local outer = coroutine.wrap(function()
  local _, v = coroutine.resume(inner)
  coroutine.yield('outer saw ' .. v .. ' ' .. coroutine.status(inner))
  _, v = coroutine.resume(inner, 100)
  return 'inner returned ' .. v .. ' ' .. coroutine.status(inner)
end)
print(outer())
print(outer())

local bad = coroutine.create(function(x) coroutine.yield(x) error('broken after yield') end)
print(coroutine.resume(bad, 'first'))
print(coroutine.resume(bad))
local ok, e = pcall(coroutine.wrap(function() error({ code = 7 }) end))
print(ok, e.code)
print(pcall(coroutine.yield, 1))
