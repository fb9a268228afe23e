-- coroutines: generators, values both ways, nesting, wrap, errors inside, status
local function gen(n)
  return coroutine.wrap(function()
    for i = 1, n do coroutine.yield(i, i * i) end
    return 'end'
  end)
end
local g = gen(3)
for _ = 1, 4 do print('gen', g()) end

local acc = coroutine.create(function(first)
  local sum = first
  while true do
    local v = coroutine.yield(sum)
    if v == nil then break end
    sum = sum + v
  end
  return 'total', sum
end)
print(coroutine.resume(acc, 10))
for _, v in ipairs({ 1, 2, 3 }) do print(coroutine.resume(acc, v)) end
print(coroutine.resume(acc))
print(coroutine.status(acc), coroutine.resume(acc))

-- a coroutine resuming another, yielding from nested calls
local inner = coroutine.create(function()
  local function deep(n)
    if n == 0 then return coroutine.yield('bottom') end
    return deep(n - 1) + 1
  end
  return deep(5)
end)
local outer = coroutine.wrap(function()
  local ok, v = coroutine.resume(inner)
  coroutine.yield('outer saw ' .. tostring(v) .. ' ' .. coroutine.status(inner))
  ok, v = coroutine.resume(inner, 100)
  return 'inner returned ' .. tostring(v) .. ' ' .. coroutine.status(inner)
end)
print(outer())
print(outer())

-- errors inside coroutines
local bad = coroutine.create(function(x)
  coroutine.yield(x)
  error('broken after yield')
end)
print(coroutine.resume(bad, 'first'))
print(coroutine.resume(bad))
print(coroutine.status(bad), coroutine.resume(bad))
local w = coroutine.wrap(function() error({ code = 7 }) end)
local ok, e = pcall(w)
print(ok, type(e), e.code)
print(pcall(coroutine.yield, 1))
print(coroutine.running() == nil)

-- many short-lived coroutines (a producer/filter chain)
local function producer(n)
  return coroutine.wrap(function() for i = 1, n do coroutine.yield(i) end end)
end
local function filter(src, pred)
  return coroutine.wrap(function()
    for v in src do if pred(v) then coroutine.yield(v) end end
  end)
end
local evens = filter(producer(200), function(v) return v % 2 == 0 end)
local thirds = filter(evens, function(v) return v % 3 == 0 end)
local got = {}
for v in thirds do got[#got + 1] = v end
print(#got, got[1], got[#got], table.concat(got, ','):sub(1, 40))
