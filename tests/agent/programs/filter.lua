local function work(n)
  local s = 0
  for i = 1, n do
    s = s + i
  end
  return s
end
local function body(n)
  local r = work(n)
  coroutine.yield(r)
  return work(n + 1)
end
local early = coroutine.create(body)
local a = select(2, coroutine.resume(early, 3))
local late = coroutine.create(body)
local b = select(2, coroutine.resume(late, 4))
local c = select(2, coroutine.resume(early))
local function last(n) return work(n) end
local ok = pcall(function() local t = nil return t.x end)
local d = last(5)
print(a, b, c, ok, d)
