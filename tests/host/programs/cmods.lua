-- C modules built against each name of Lua's core DLL, on the one core
local a, b = require('cmod51'), require('cmod5_1')
print('cores', a.core(), b.core(), a.add(2, 3), b.add(4, 5))
local sum = 0
local n = b.each({10, 20}, function(i, v)
  sum = sum + v
end)
print('each', n, sum, pcall(a.fail, 'caught'))
a.each({1, 2}, function(i) sum = sum + i end)
a.each({sum}, function(_, v)
  b.fail('raised in C after ' .. v)
end)
print('not reached')
