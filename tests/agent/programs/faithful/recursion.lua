-- deep recursion: non-tail calls thousands of frames deep, mutual recursion, through pcall and __index
local function depth(n) if n == 0 then return 0 end return 1 + depth(n - 1) end
print('depth', depth(15000))

local is_even, is_odd
function is_even(n) if n == 0 then return true end return is_odd(n - 1) end
function is_odd(n) if n == 0 then return false end return is_even(n - 1) end
print('even', is_even(3000), is_even(2999))

local function ack(m, n)
  if m == 0 then return n + 1 end
  if n == 0 then return ack(m - 1, 1) end
  return ack(m - 1, ack(m, n - 1))
end
print('ack', ack(2, 300), ack(3, 5))

local function guarded(n)
  if n == 0 then error('bottom reached') end
  local ok, e = pcall(guarded, n - 1)
  return (ok and e or 0) + 1
end
print('guarded', guarded(150))
local fib = setmetatable({ [0] = 0, [1] = 1 }, { __index = function(t, k)
  local v = t[k - 1] + t[k - 2]
  t[k] = v
  return v
end })
print('fib', fib[120])
