-- tail calls: long tail-recursive loops, state machines, tail calls to C
local function loop(n, acc) if n == 0 then return acc end return loop(n - 1, acc + n) end
print('loop', loop(100000, 0))

-- a state machine of mutually tail-calling functions
local states = {}
function states.a(s, n) if n == 0 then return 'a', s end return states.b(s .. 'a', n - 1) end
function states.b(s, n) if n == 0 then return 'b', s end return states.c(s, n - 1) end
function states.c(s, n) if n == 0 then return 'c', s end return states.a(s .. 'c', n - 1) end
local last, text = states.a('', 3001)
print('machine', last, #text, text:sub(1, 12))

-- tail calls to C functions and to functions returning several values
local function to_c(s) return string.upper(s) end
local function multi() return 1, 2, 3 end
local function pass() return multi() end
local function cut() return (multi()) end
print(to_c('tail'), pass(), cut())
local function sel(...) return select('#', ...) end
local function through(...) return sel(...) end
print(through(nil, nil, nil))

-- tail calls inside coroutines and pcall
local co = coroutine.wrap(function(n)
  local function countdown(k) if k == 0 then return 'done' end coroutine.yield(k) return countdown(k - 1) end
  return countdown(n)
end)
local seen = {}
for _ = 1, 6 do seen[#seen + 1] = tostring(co(5)) end
print(table.concat(seen, ' '))
print(pcall(function() return loop(10, 0) end))
local function err_tail(n) if n == 0 then error('at the end of the tail', 0) end return err_tail(n - 1) end
print(pcall(err_tail, 5000))

-- a tail call whose frame is gone when an error happens deeper
local function thrower() local t = nil; return t.x end
local function tail_to_thrower() return thrower() end
print(pcall(tail_to_thrower))
