-- What the agent's test drivers share: shell helpers, and the arguments
-- [agent] [interpreter] [sorbhook.so] with the agent copied into a scratch
-- folder as debugger.lua, so that require 'debugger' finds it there.
local C = {}
function C.shell(cmd)
  local p = assert(io.popen(cmd, 'r'))
  local s = p:read('*a')
  return p:close() and s
end
function C.q(s) return "'" .. string.gsub(s, "'", "'\\''") .. "'" end
local cwd = (string.gsub(C.shell('pwd'), '\n$', ''))
function C.absolute(path) return string.sub(path, 1, 1) == '/' and path or cwd .. '/' .. path end

C.here = C.absolute(string.match(arg[0], '^(.*)/[^/]*$') or '.')
C.agent = C.absolute(arg[1] or (C.here .. '/../../agent/debugger.lua'))
C.lua = arg[2] or 'lua5.1'
C.module = arg[3] and C.absolute(arg[3])
C.tmpdir = (string.gsub(C.shell('mktemp -d'), '\n$', ''))
C.shell('cp ' .. C.q(C.agent) .. ' ' .. C.q(C.tmpdir .. '/debugger.lua'))
return C
