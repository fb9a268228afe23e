-- The agent under the real Lua 5.1 interpreter, case by case (cases.lua).
-- usage: lua5.1 tests/agent/run_tests.lua [agent] [interpreter] [sorbhook.so]
-- Given the native line filter, every case runs twice, without it and with
-- it, and both runs must print the same; cases marked native run with it
-- alone. An input entry { wait = s } pauses the input for s seconds: the
-- lines then come through a pipe, while the program runs.
-- Output: stdout and stderr together, addresses as 0x?, the agent as <AGENT>
-- (its line numbers as ?), trace clocks as CLOCK.
local C = dofile((string.match(arg[0], '^(.*)/[^/]*$') or '.') .. '/common.lua')
local shell, q, here, lua, module, tmpdir, cpath = C.shell, C.q, C.here, C.lua, C.module, C.tmpdir, C.cpath
-- Every plain occurrence of old in s replaced: paths hold pattern characters ("-").
local function replace(s, old, new)
  return (string.gsub(s, string.gsub(old, '%p', '%%%0'), (string.gsub(new, '%%', '%%%%'))))
end
local programs = here .. '/programs'
local function check(ok, case, what, text)
  C.check(ok, case.name .. ': ' .. what .. ' ' .. string.format('%q', tostring(text)))
end

-- The input as a file, or when it waits, as a shell command that writes it.
local function feed(list)
  local text, parts, waits = {}, {}, false
  for _, l in ipairs(list or {}) do
    if type(l) == 'table' then
      parts[#parts + 1] = 'printf %s ' .. q(table.concat(text)) .. '; sleep ' .. l.wait
      text, waits = {}, true
    else
      text[#text + 1] = l .. '\n'
    end
  end
  parts[#parts + 1] = 'printf %s ' .. q(table.concat(text))
  if waits then return nil, '(' .. table.concat(parts, '; ') .. ') | ' end
  local input = os.tmpname()
  C.writefile(input, table.concat(text))
  return input
end

local function run(case, native)
  local input, pipe = feed(case.input)
  -- a case that hangs ends as a failure of its own, not the whole run's time limit
  local cmd = 'OS=' .. q(case.os or '') .. ' LUA_PATH=' .. q(case.path or (tmpdir .. '/?.lua;;'))
              .. ' LUA_CPATH=' .. q(cpath(native)) .. ' timeout 60 ' .. lua
  if case.mode == 'pause' then cmd = cmd .. ' -l debugger '
  else cmd = cmd .. ' ' .. q(here .. '/launch.lua') .. ' ' end
  if input then cmd = cmd .. case.prog .. ' < ' .. q(input) else cmd = (pipe or '') .. cmd .. case.prog end
  local out = shell('cd ' .. q(programs) .. ' && ' .. cmd .. ' 2>&1')
  if input then os.remove(input) end
  out = replace(replace(string.gsub(out, '0x%x+', '0x?'), tmpdir .. '/debugger.lua', '<AGENT>'),
                here .. '/launch.lua', '<LAUNCH>')
  -- trace clocks differ from run to run, the agent's line numbers from version to version
  out = string.gsub(string.gsub(out, '%d%d%d%d%d%.%d%d:', 'CLOCK:'), '<AGENT>:%d+', '<AGENT>:?')
  out = string.gsub(out, '([^\n])$', '%1\n')
  local lines = {}
  for l in string.gmatch(out, '([^\n]*)\n') do lines[#lines + 1] = l end
  return lines, out
end

-- whether the lines of want (a list) appear in lines in that order; the first missing one
local function in_order(lines, want)
  local j = 1
  for _, l in ipairs(lines) do
    if l == want[j] then j = j + 1 end
  end
  return want[j] == nil, want[j]
end

-- a broken module path must not pass as "the same without it"
if module then
  check(shell('LUA_CPATH=' .. q(cpath(true)) .. ' ' .. lua .. ' -e "io.write(require(\'sorbhook\').version)"') == '2',
        { name = 'sorbhook' }, 'cannot load', module)
end

local function verify(case, lines, out)
  if case.expect then
    local want = table.concat(case.expect, '\n') .. '\n'
    C.check(out == want, case.name .. ': ' .. C.first_difference(want, out))
  end
  for _, want in ipairs(case.contains or {}) do check(in_order(lines, { want }), case, 'missing line', want) end
  for _, bad in ipairs(case.absent or {}) do check(not string.find(out, bad, 1, true), case, 'unexpected text', bad) end
  if case.order then
    local ok, missing = in_order(lines, case.order)
    check(ok, case, 'line out of order or missing:', missing)
  end
end

local cases = assert(loadfile(here .. '/cases.lua'))({ programs = programs, agent_dir = tmpdir, banner = C.banner })
for _, case in ipairs(cases) do
  if not case.native then
    local lines, out = run(case, false)
    verify(case, lines, out)
    if module then
      local _, native_out = run(case, true)
      C.check(native_out == out, case.name .. ': with the native part, ' .. C.first_difference(out, native_out))
    end
  elseif module then
    verify(case, run(case, true))
  end
end

C.finish()
