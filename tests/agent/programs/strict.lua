setmetatable(_G, {
  __newindex = function(_, k) error('assignment to undeclared global ' .. tostring(k), 2) end,
  __index = function(_, k) error('undeclared global ' .. tostring(k), 2) end,
})
local function add(a, b) return a + b end
local x = add(1, 2)
print('x=' .. x)
