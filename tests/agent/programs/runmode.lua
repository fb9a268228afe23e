local function leaf(n) return n + 1 end
local function chain(n) return leaf(n) end
local function deep(n)
  if n == 0 then return chain(0) end
  return deep(n - 1) + 1
end
local v = deep(3)
io.write('out1 ') io.stderr:write('err1 ') io.write('out2\n')
local co = coroutine.create(function(a)
  local b = a * 2
  coroutine.yield(b, dump(b))
  return chain(b)
end)
local _, y = coroutine.resume(co, v)
local _, z = coroutine.resume(co)
local total = 0
for i = 1, 5 do
  total = total + leaf(i)
end
local tostr = tostring
tostring = function(x) io.stderr:write('<' .. x .. '>') return tostr(x) end
print('p', 'q')
tostring = tostr
print('v=' .. v .. ' y=' .. y .. ' z=' .. z .. ' total=' .. total)
