-- shapes.lua: a few plane shapes and their areas, for demo.lua.
local M = {}

function M.circle(r)
  return { kind = "circle", r = r }
end

function M.rect(w, h)
  return { kind = "rect", w = w, h = h }
end

function M.square(side)
  local s = M.rect(side, side)
  s.kind = "square"
  return s
end

function M.area(shape)
  if shape.kind == "circle" then
    return math.pi * shape.r ^ 2
  end
  return shape.w * shape.h  -- the demo session stops here later
end

return M
