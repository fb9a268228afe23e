-- What the agent's test drivers share: the arguments [agent] [interpreter]
-- [sorbhook.so], the agent copied into a scratch folder as debugger.lua (so
-- that require 'debugger' finds it there), shell and file helpers, the
-- agent's banner, where two outputs differ and the tally of checks.
local C = {}
function C.shell(cmd)
  local p = assert(io.popen(cmd, 'r'))
  local s = p:read('*a')
  return p:close() and s
end
function C.q(s) return "'" .. string.gsub(s, "'", "'\\''") .. "'" end
function C.readfile(path)
  local f = io.open(path, 'rb')
  local s = f and f:read('*a')
  return f and f:close() and s
end
function C.writefile(path, s) local f = assert(io.open(path, 'wb')) f:write(s) f:close() end
local cwd = (string.gsub(C.shell('pwd'), '\n$', ''))
local function absolute(path) return string.sub(path, 1, 1) == '/' and path or cwd .. '/' .. path end

C.here = absolute(string.match(arg[0], '^(.*)/[^/]*$') or '.')
C.agent = absolute(arg[1] or (C.here .. '/../../agent/debugger.lua'))
C.lua = arg[2] or 'lua5.1'
C.module = arg[3] and absolute(arg[3])
C.tmpdir = (string.gsub(C.shell('mktemp -d'), '\n$', ''))
C.shell('cp ' .. C.q(C.agent) .. ' ' .. C.q(C.tmpdir .. '/debugger.lua'))
-- LUA_CPATH: the native part's folder, or nothing at all
function C.cpath(native) return native and (string.match(C.module, '^(.*)/[^/]*$') .. '/?.so') or '' end
C.banner = { 'Lua Debugger - Version 1.20', 'Designed to work with the Tarn for Windows IDE',
             'http://www.brennick.example/tarn/', '', "Type 'help' for commands" }

-- where the text got first differs from the one expected
function C.first_difference(want, got)
  local i = 1
  while i <= #want and string.byte(want, i) == string.byte(got, i) do i = i + 1 end
  local _, newlines = string.gsub(string.sub(want, 1, i - 1), '\n', '')
  local function around(s) return string.format('%q', string.sub(s, i, i + 40)) end
  return 'line ' .. (newlines + 1) .. ': expected ' .. around(want) .. ', got ' .. around(got)
end

local passed, failed = 0, 0
function C.check(ok, message)
  if ok then passed = passed + 1 return end
  failed = failed + 1
  print('FAIL ' .. message)
end
function C.finish()
  C.shell('rm -rf ' .. C.q(C.tmpdir))
  print(passed .. ' passed, ' .. failed .. ' failed')
  os.exit(failed == 0 and 0 or 1)
end
return C
