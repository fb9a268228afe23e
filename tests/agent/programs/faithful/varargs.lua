-- varargs: counts with nils, select, unpack, forwarding, the implicit arg table
local function count(...) return select('#', ...) end
local function show(...)
  local parts = {}
  for i = 1, select('#', ...) do parts[i] = tostring((select(i, ...))) end
  return table.concat(parts, ',')
end
local function forward(...) return ... end
local function pack(...) return { n = select('#', ...), ... } end
print(count(), count(nil), count(nil, nil), count(1, nil, 3, nil))
local p = pack(nil, 2, nil)
print(p.n, show(unpack(p, 1, p.n)), show(forward(nil, nil, 5)))
local function compat(...) return arg.n, arg[2] end
print(compat('x', 'y', nil))

print(pcall(forward, 'a', nil, 'c'))
local co = coroutine.wrap(function(...)
  local got = pack(coroutine.yield(count(...), ...))
  return got.n, show(unpack(got, 1, got.n))
end)
print(co(1, nil, 3))
print(co('p', nil))

local many = {}
for i = 1, 200 do many[i] = i end
local function sum(...) local s = 0 for i = 1, select('#', ...) do s = s + select(i, ...) end return s end
print(count(unpack(many)), select(200, unpack(many)), sum(unpack(many)))
