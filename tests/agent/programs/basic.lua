local t = { name = "basic", list = { 10, 20, 30 } }
local count = 0
local later
local function add(a, b)
  local sum = a + b
  count = count + 1
  return sum
end
local function twice(v)
  local r = add(v, v)
  return r
end
local x = add(1, 2)
local y = twice(x)
print("x=" .. x .. " y=" .. y .. " count=" .. count .. " later=" .. tostring(later))
