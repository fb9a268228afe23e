-- Plays the debugger executable for the tests: loads the agent from a buffer
-- (as from the plug-in's resource: luaL_loadbuffer + call), starts the session
-- before the program's first line, runs the program with a message handler
-- that stops in the failing frame and prints the executable's two lines.
-- usage: lua5.1 host.lua <agent file> <program>
local agent_path, prog = arg[1], arg[2]
local f = assert(io.open(agent_path, 'rb'))
local src = f:read('*a')
f:close()
local M = assert(loadstring(src, '=debugger'))()
print('module: ' .. type(M) .. ' start=' .. type(M.start) .. ' pause=' .. type(M.pause)
      .. ' dump=' .. type(M.dump) .. ' version=' .. tostring(M.version)
      .. ' loaded=' .. tostring(package.loaded.debugger == M)
      .. ' global=' .. tostring(pause == M.pause and dump == M.dump)
      .. ' traceback=' .. tostring(debug.traceback == M.traceback and _TRACEBACK == M.traceback))
local chunk = assert(loadfile(prog))
-- NB: start() and the call on one line: no line event of this file in between
M.start() local ok = xpcall(chunk, M.unhandled)
if ok then
  print('Debugging process terminated.')
else
  print('Unhandled Lua Exception')
end
