-- tail calls: a long tail-recursive loop, tail calls to C, in coroutines and pcall
local function loop(n, acc) if n == 0 then return acc end return loop(n - 1, acc + n) end
print('loop', loop(100000, 0))

local function to_c(s) return string.upper(s) end
local function multi() return 1, 2, 3 end
local function pass() return multi() end
local function cut() return (multi()) end
local function through(...) return select('#', ...) end
print(to_c('tail'), cut(), through(nil, nil), pass())

local co = coroutine.wrap(function(n)
  local function countdown(k) if k == 0 then return 'done' end coroutine.yield(k) return countdown(k - 1) end
  return countdown(n)
end)
local seen = {}
for _ = 1, 6 do seen[#seen + 1] = tostring(co(5)) end
print(table.concat(seen, ' '))
local function err_tail(n) if n == 0 then error('at the end of the tail', 0) end return err_tail(n - 1) end
print(pcall(err_tail, 5000))
local function thrower() local t = nil; return t.x end
local function tail_to_thrower() return thrower() end
print(pcall(tail_to_thrower))
