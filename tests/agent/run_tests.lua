-- Tests of the Lua debugger agent (agent/debugger.lua) with the real Lua 5.1
-- interpreter. usage: lua5.1 tests/agent/run_tests.lua [agent] [interpreter]
-- Each case runs a program of programs/ in that folder with the agent loaded,
-- feeds command lines on standard input and checks the output (standard
-- output and error together; addresses shown as 0x?, the agent's path as
-- <AGENT>, with clock = true the clock of trace lines as CLOCK). Prints one line per failed check, then "N passed, N failed".

local function shell(cmd)
  local p = assert(io.popen(cmd, 'r'))
  local s = p:read('*a')
  p:close()
  return s
end
local function q(s) return "'" .. string.gsub(s, "'", "'\\''") .. "'" end
local function absolute(path)
  if string.sub(path, 1, 1) == '/' then return path end
  return (string.gsub(shell('pwd'), '\n$', '')) .. '/' .. path
end

local here = string.match(arg[0], '^(.*)/[^/]*$') or '.'
here = absolute(here)
local agent = absolute(arg[1] or (here .. '/../../agent/debugger.lua'))
local lua = arg[2] or 'lua5.1'
local programs = here .. '/programs'

-- the agent is copied as <tmp>/debugger.lua so that require 'debugger' finds it
local tmpdir = (string.gsub(shell('mktemp -d'), '\n$', ''))
local agent_copy = tmpdir .. '/debugger.lua'
do
  local f = io.open(agent, 'rb')
  if not f then
    print('cannot read the agent ' .. agent)
    print('0 passed, 1 failed')
    os.exit(1)
  end
  local src = f:read('*a')
  f:close()
  local o = assert(io.open(agent_copy, 'wb'))
  o:write(src)
  o:close()
end

local passed, failed = 0, 0
local function check(ok, case, what)
  if ok then
    passed = passed + 1
  else
    failed = failed + 1
    print('FAIL ' .. case.name .. ': ' .. what)
  end
end

local function run(case)
  local input = os.tmpname()
  local f = assert(io.open(input, 'w'))
  for _, l in ipairs(case.input or {}) do f:write(l, '\n') end
  f:close()
  local env = 'OS=' .. q(case.os or '') .. ' LUA_PATH=' .. q(case.path or (tmpdir .. '/?.lua;;'))
  local cmd
  if case.mode == 'pause' then
    cmd = env .. ' ' .. lua .. ' -l debugger ' .. case.prog
  elseif case.mode == 'host' then
    cmd = env .. ' ' .. lua .. ' ' .. q(here .. '/host.lua') .. ' ' .. q(agent_copy) .. ' ' .. case.prog
  else
    cmd = env .. ' ' .. lua .. ' -e ' .. q("require('debugger').start()") .. ' ' .. case.prog
  end
  local out = shell('cd ' .. q(programs) .. ' && ' .. cmd .. ' < ' .. q(input) .. ' 2>&1')
  os.remove(input)
  out = string.gsub(out, '0x%x+', '0x?')
  if case.clock then out = string.gsub(out, '%d%d%d%d%d%.%d%d:', 'CLOCK:') end
  out = string.gsub(out, tmpdir .. '/debugger.lua', '<AGENT>')
  local lines = {}
  for l in string.gmatch(out, '([^\n]*)\n') do lines[#lines + 1] = l end
  local rest = string.match(out, '([^\n]*)$')
  if rest ~= '' then lines[#lines + 1] = rest end
  return lines, out
end

local function has_line(lines, want)
  for _, l in ipairs(lines) do if l == want then return true end end
  return false
end

local function run_case(case)
  local lines, out = run(case)
  if case.expect then
    local ok, what = true, nil
    for i = 1, math.max(#lines, #case.expect) do
      if lines[i] ~= case.expect[i] then
        ok = false
        what = string.format('line %d: expected %q, got %q', i, tostring(case.expect[i]), tostring(lines[i]))
        break
      end
    end
    check(ok, case, what)
  end
  for _, want in ipairs(case.contains or {}) do
    check(has_line(lines, want), case, 'missing line ' .. string.format('%q', want))
  end
  for _, bad in ipairs(case.absent or {}) do
    check(not string.find(out, bad, 1, true), case, 'unexpected text ' .. string.format('%q', bad))
  end
  for _, pat in ipairs(case.matches or {}) do
    local found = false
    for _, l in ipairs(lines) do if string.find(l, pat) then found = true break end end
    check(found, case, 'no line matches ' .. string.format('%q', pat))
  end
  if case.block then   -- these lines appear one after the other
    local found = false
    for i = 1, #lines do
      local ok = true
      for j, want in ipairs(case.block) do
        if lines[i + j - 1] ~= want then ok = false break end
      end
      if ok then found = true break end
    end
    check(found, case, 'lines not found together: ' .. string.format('%q', case.block[1]))
  end
  if case.order then   -- these lines appear in this order (not necessarily adjacent)
    local i = 1
    for _, l in ipairs(lines) do
      if l == case.order[i] then i = i + 1 end
    end
    check(i > #case.order, case, 'line out of order or missing: ' .. string.format('%q', tostring(case.order[i])))
  end
end

local cases = assert(loadfile(here .. '/cases.lua'))({ programs = programs, agent_dir = tmpdir })
for _, case in ipairs(cases) do run_case(case) end

shell('rm -rf ' .. q(tmpdir))
print(passed .. ' passed, ' .. failed .. ' failed')
os.exit(failed == 0 and 0 or 1)
