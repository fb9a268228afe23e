-- errors raised and caught by pcall: values, levels, nesting, metamethods
local function fail(kind)
  if kind == 'string' then error('plain message')
  elseif kind == 'level2' then error('blame the caller', 2)
  elseif kind == 'nolevel' then error('no position', 0)
  elseif kind == 'table' then error({ reason = 'a table' })
  elseif kind == 'nil' then error()
  elseif kind == 'index' then local t = nil; return t.field
  elseif kind == 'arith' then return {} + 1
  elseif kind == 'call' then local f = 42; f()
  elseif kind == 'assert' then assert(false, 'assertion text')
  elseif kind == 'assert0' then assert(nil)
  end
  return 'no error'
end
for _, k in ipairs({ 'string', 'level2', 'nolevel', 'table', 'nil', 'index', 'arith', 'call', 'assert',
                     'assert0', 'none' }) do
  local ok, e = pcall(fail, k)
  if type(e) == 'table' then e = 'table with reason ' .. e.reason end
  print(k, ok, e)
end

-- nested pcall: the inner error is handled, the outer one passes through
print(pcall(function()
  local ok, e = pcall(error, 'inner')
  print('inner caught', ok, e)
  error('outer', 0)
end))

-- xpcall with a handler of the program's own
print(xpcall(function() local x = nil; return x.y end,
             function(m) return 'handled: ' .. m end))

-- errors thrown from metamethods and from a __tostring
local mt = {
  __index = function(t, k) error('no field ' .. k) end,
  __add = function(a, b) error('cannot add', 2) end,
}
local obj = setmetatable({}, mt)
print(pcall(function() return obj.missing end))
print(pcall(function() return obj + 1 end))
local loud = setmetatable({}, { __tostring = function() error('tostring fails') end })
print(pcall(tostring, loud))

-- error objects keep their identity
local token = {}
local ok, e = pcall(function() error(token) end)
print(ok, e == token)

-- an error while unwinding through several frames, then the program goes on
local function a(n) if n == 0 then error('deep ' .. n) end return a(n - 1) + 1 end
for depth = 1, 3 do print(pcall(a, depth * 10)) end
print('still running')
