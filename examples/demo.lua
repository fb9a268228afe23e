-- demo.lua: a small program to step through with the debugger.
local shapes = require "shapes"

local function describe(shape)
  local area = shapes.area(shape)
  return string.format("%-7s %6.2f", shape.kind, area)
end

local list = {
  shapes.circle(1),
  shapes.rect(2, 3),
  shapes.square(1.5),
}

local total = 0
for i, shape in ipairs(list) do
  print(describe(shape))  -- the demo session stops here
  total = total + shapes.area(shape)
end
print(string.format("total   %6.2f", total))

-- A coroutine hands out the names one at a time.
local names = coroutine.wrap(function()
  for _, shape in ipairs(list) do
    coroutine.yield(shape.kind)
  end
end)
print("in order: " .. names() .. ", " .. names() .. ", " .. names())
