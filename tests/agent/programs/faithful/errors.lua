-- errors raised and caught by pcall: values, levels, nesting, metamethods
local function fail(kind)
  if kind == 'level2' then error('blame the caller', 2)
  elseif kind == 'table' then error({ reason = 'a table' })
  elseif kind == 'index' then local t = nil; return t.field
  end
  return 'no error'
end
for _, k in ipairs({ 'level2', 'table', 'index', 'none' }) do
  local ok, e = pcall(fail, k)
  print(k, ok, type(e) == 'table' and e.reason or e)
end

print(pcall(function()
  print('inner caught', pcall(error, 'inner'))
  error('outer', 0)
end))
print(xpcall(function() local x = nil; return x.y end, function(m) return 'handled: ' .. m end))

local obj = setmetatable({}, { __index = function(t, k) error('no field ' .. k) end,
                               __add = function() error('cannot add', 2) end })
print(pcall(function() return obj.missing end))
print(pcall(function() return obj + 1 end))
print(pcall(tostring, setmetatable({}, { __tostring = function() error('tostring fails') end })))

local function a(n) if n == 0 then error('deep ' .. n) end return a(n - 1) + 1 end
for depth = 1, 3 do print(pcall(a, depth * 10)) end
print('still running')
