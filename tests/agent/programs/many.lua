local cos = {}
for i = 1, 300 do
  cos[i] = coroutine.create(function(n)
    coroutine.yield(n)
    return n * 2
  end)
  coroutine.resume(cos[i], i)
end
local sum = 0
for i = 300, 1, -1 do
  local _, v = coroutine.resume(cos[i])
  sum = sum + v
end
print(sum)
