-- debug.traceback as programs call it: no arguments, a message, a level, a
-- thread, non-string messages (not as a tail call: the replaced traceback is a
-- Lua function, which takes the place of a caller that tail-calls it)
local function where() local t = debug.traceback() return t end
print(where())
print(debug.traceback('msg'))
print(debug.traceback('msg', 2))
print(debug.traceback(nil), debug.traceback({}) ~= nil, debug.traceback(12))
local co = coroutine.create(function() coroutine.yield(debug.traceback(coroutine.running())) end)
print(select(2, coroutine.resume(co)))
print(debug.traceback(co))
print(debug.traceback(co, 'in co'))
print(xpcall(function() error('failed') end, debug.traceback))
