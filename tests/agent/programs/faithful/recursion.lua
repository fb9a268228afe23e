-- deep recursion: non-tail calls thousands of frames deep, through pcall and __index
local function depth(n) if n == 0 then return 0 end return 1 + depth(n - 1) end
print('depth', depth(15000))

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
