-- Values whose metamethods fail, coroutines of what is no Lua function
local bad = setmetatable({}, { __tostring = function() error('tostring boom') end })
local odd = setmetatable({}, { __tostring = function() return {} end })
local deep = setmetatable({}, { __index = function() error('index boom') end })
local list = { bad, [bad] = odd }
print(pcall(function() local co = coroutine.create(nil) end))
print(pcall(function() local w = coroutine.wrap(42) end))
print(pcall(coroutine.create, print))
local w = coroutine.wrap(function()
  local me = coroutine.running()
  return me
end)
print('ok', #list, w() ~= nil)
