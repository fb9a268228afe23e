-- varargs: counts with nils, select, unpack, forwarding, the implicit arg table
local function count(...) return select('#', ...) end
print(count(), count(nil), count(nil, nil), count(1, nil, 3, nil))

local function show(...)
  local parts = {}
  for i = 1, select('#', ...) do parts[#parts + 1] = tostring((select(i, ...))) end
  return table.concat(parts, ',')
end
print(show(1, nil, 'x', false, nil))
print(select(-1, 'a', 'b', 'c'), select(2, 'a', 'b', 'c'))

local function forward(...) return ... end
print(forward(1, 2, 3), forward(), (forward(7, 8)))
print(show(forward(nil, nil, 5)))

local function pack(...) return { n = select('#', ...), ... } end
local p = pack(nil, 2, nil)
print(p.n, p[1], p[2], p[3], show(unpack(p, 1, p.n)))

local function compat(...) return arg and arg.n, arg and arg[2] end
print(compat('x', 'y', nil))

-- varargs through pcall, coroutines and string.format
print(pcall(forward, 'a', nil, 'c'))
local co = coroutine.wrap(function(...)
  local got = pack(coroutine.yield(count(...), ...))
  return got.n, show(unpack(got, 1, got.n))
end)
print(co(1, nil, 3))
print(co('p', nil))
print(string.format('%s|%s|%d', forward('a', 'b', 3)))

-- many arguments
local many = {}
for i = 1, 200 do many[i] = i end
print(count(unpack(many)), select(200, unpack(many)))
local function sum(...) local s = 0 for i = 1, select('#', ...) do s = s + select(i, ...) end return s end
print(sum(unpack(many)))
