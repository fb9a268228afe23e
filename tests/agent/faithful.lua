-- The agent in run mode must not change what a program does. Each program runs
-- twice: "lua5.1 prog" and "lua5.1 -e require('debugger').start() prog" fed
-- breakpoints on lines that are never reached, then "run"; standard output
-- (less the agent's own banner and replies), standard error and the exit
-- status must be the same.
-- usage: lua5.1 tests/agent/faithful.lua [agent] [interpreter]
-- Programs: programs/faithful/*.lua, and the sample programs of the Lua 5.1.5
-- sources, looked for in $SORBLUA_CACHE (default ~/.cache/sorblua) under
-- src/lua5.1-5.1.5/test; they are skipped with a message when missing.

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
local function readfile(path)
  local f = io.open(path, 'rb')
  if not f then return nil end
  local s = f:read('*a')
  f:close()
  return s
end
local function writefile(path, s)
  local f = assert(io.open(path, 'wb'))
  f:write(s)
  f:close()
end

local here = absolute(string.match(arg[0], '^(.*)/[^/]*$') or '.')
local agent = absolute(arg[1] or (here .. '/../../agent/debugger.lua'))
local lua = arg[2] or 'lua5.1'

local cache = os.getenv('SORBLUA_CACHE')
if not cache or cache == '' then cache = (os.getenv('HOME') or '') .. '/.cache/sorblua' end
local samples_dir = cache .. '/src/lua5.1-5.1.5/test'

local tmpdir = (string.gsub(shell('mktemp -d'), '\n$', ''))
local workdir = tmpdir .. '/work'   -- the programs' current directory
shell('mkdir ' .. q(workdir))
do
  local src = readfile(agent)
  if not src then
    print('cannot read the agent ' .. agent)
    print('0 passed, 1 failed')
    os.exit(1)
  end
  writefile(tmpdir .. '/debugger.lua', src)
end
local env = 'LUA_PATH=' .. q(tmpdir .. '/?.lua;;')

-- The 1st line of every program is a comment; lines 2-40 of a file that never
-- runs share their numbers with lines that do run.
local function commands(prog)
  local name = string.match(prog, '[^/]*$')
  local cmds = { 'setb 1 ' .. name, 'setb 99999 ' .. prog }
  for l = 2, 40 do cmds[#cmds + 1] = 'setb ' .. l .. ' elsewhere.lua' end
  cmds[#cmds + 1] = 'run'
  return cmds
end

-- what the agent prints before the program's own output
local function agent_prefix(cmds)
  local t = { 'Lua Debugger - Version 1.20\nDesigned to work with the Tarn for Windows IDE\n',
              'http://www.brennick.example/tarn/\n\nType \'help\' for commands\n' }
  for _, c in ipairs(cmds) do
    t[#t + 1] = '[DEBUG]> '
    local line, file = string.match(c, '^setb (%d+) (.*)$')
    if line then t[#t + 1] = 'Breakpoint set in file ' .. file .. ' line ' .. line .. '\n' end
  end
  return table.concat(t)
end

-- runs one command line in workdir; returns stdout, stderr, exit status
local function run(cmdline, input, limit)
  local out, err, rc = tmpdir .. '/out', tmpdir .. '/err', tmpdir .. '/rc'
  local redirect = ' > ' .. q(out)
  if limit then redirect = ' | head -c ' .. limit .. redirect end
  shell('cd ' .. q(workdir) .. ' && { ' .. env .. ' ' .. cmdline .. ' < ' .. q(input) .. ' 2> ' .. q(err)
        .. '; echo $? > ' .. q(rc) .. '; }' .. redirect)
  return readfile(out) or '', readfile(err) or '', tonumber(readfile(rc) or '')
end

local function first_difference(a, b)
  local i, n = 1, 1
  while i <= #a and i <= #b and string.byte(a, i) == string.byte(b, i) do
    if string.byte(a, i) == 10 then n = n + 1 end
    i = i + 1
  end
  local function around(s)
    local part = string.gsub(string.sub(s, i, i + 40), '[%c"\\]', function(c)
      return c == '\n' and '\\n' or c == '\t' and '\\t' or string.format('\\%03d', string.byte(c))
    end)
    return '"' .. part .. '"'
  end
  return 'line ' .. n .. ': plain ' .. around(a) .. ', agent ' .. around(b)
end

local passed, failed = 0, 0
local function check(ok, name, what)
  if ok then
    passed = passed + 1
  else
    failed = failed + 1
    print('FAIL ' .. name .. ': ' .. what)
  end
end

-- case: prog (absolute), limit (compare only the first bytes of the output;
-- the exit status is then not compared), mask (function applied to both
-- outputs), unhandled (the program ends in an error: the agent stops there by
-- design, then end of input ends the session)
local function faithful(case)
  local name = string.match(case.prog, '[^/]*$')
  local cmdline = q(case.prog)
  local empty = tmpdir .. '/empty'
  writefile(empty, '')
  local cmds = commands(case.prog)
  local input = tmpdir .. '/input'
  writefile(input, table.concat(cmds, '\n') .. '\n')
  local prefix = agent_prefix(cmds)

  local out1, err1, rc1 = run(lua .. ' ' .. cmdline, empty, case.limit)
  local out2, err2, rc2 = run(lua .. ' -e ' .. q("require('debugger').start()") .. ' ' .. cmdline, input,
                              case.limit and (case.limit + #prefix))

  if string.sub(out2, 1, #prefix) ~= prefix then
    return check(false, name, 'the agent\'s banner and replies differ: ' .. first_difference(prefix, out2))
  end
  out2 = string.sub(out2, #prefix + 1)
  if case.unhandled then
    local message = string.match(err1, '^[^:]*: ([^\n]*)')
    local s, _, said = string.find(out2, 'Paused at file: [^\n]* %(%d+%) %(%d+%)\nMessage: ([^\n]*)\n%[DEBUG%]> \n$')
    if not s or said ~= message then
      return check(false, name, 'no stop at the unhandled error: ' .. string.format('%q', string.sub(out2, -200)))
    end
    out2 = string.sub(out2, 1, s - 1)
  end
  if case.mask then out1, out2 = case.mask(out1), case.mask(out2) end
  if case.limit then out1 = string.sub(out1, 1, #out2) end

  if out1 ~= out2 then return check(false, name, 'standard output: ' .. first_difference(out1, out2)) end
  if err1 ~= err2 then return check(false, name, 'standard error: ' .. first_difference(err1, err2)) end
  if not case.limit and rc1 ~= rc2 then
    return check(false, name, 'exit status ' .. tostring(rc1) .. ' plain, ' .. tostring(rc2) .. ' under the agent')
  end
  if #out1 == 0 and not case.unhandled then
    return check(false, name, 'the program printed nothing')
  end
  check(true, name)
end

--{{{ own programs: coroutines, errors caught by pcall, deep recursion, varargs, tail calls
local own = here .. '/programs/faithful'
for _, name in ipairs({ 'coroutines.lua', 'errors.lua', 'recursion.lua', 'varargs.lua', 'tailcalls.lua' }) do
  faithful { prog = own .. '/' .. name }
end
--}}}

--{{{ the sample programs of the Lua 5.1.5 sources
local samples = {
  { 'bisect.lua' }, { 'cf.lua' }, { 'echo.lua' }, { 'env.lua' }, { 'factorial.lua' }, { 'fibfor.lua' },
  { 'hello.lua' }, { 'sieve.lua' }, { 'sort.lua' }, { 'trace-calls.lua' }, { 'trace-globals.lua' },
  { 'fib.lua', mask = function(s)   -- its 4th column is the time taken
      return (string.gsub(s, '(\t%d+\t%d+\t)[^\t\n]*(\t%d+\n)', '%1<time>%2')) end },
  { 'printf.lua', mask = function(s) return (string.gsub(s, ' on [^\n]*', ' on <date>')) end },
  { 'readonly.lua', unhandled = true },
  -- 2000 generations take seconds plain and far longer under any line hook
  { 'life.lua', limit = 120000 },
}
local excluded = {
  ['globals.lua'] = 'reads a luac listing from standard input, which carries the debugger\'s commands',
  ['table.lua']   = 'reads its data from standard input, which carries the debugger\'s commands',
  ['xd.lua']      = 'hex-dumps standard input, which carries the debugger\'s commands',
  ['luac.lua']    = 'prints nothing: it needs a file argument and writes luac.out',
}
if readfile(samples_dir .. '/hello.lua') then
  for _, s in ipairs(samples) do
    s.prog = samples_dir .. '/' .. s[1]
    if readfile(s.prog) then
      faithful(s)
    else
      check(false, s[1], 'missing from ' .. samples_dir)
    end
  end
  local names = {}
  for n in pairs(excluded) do names[#names + 1] = n end
  table.sort(names)
  for _, n in ipairs(names) do print('not run: ' .. n .. ': ' .. excluded[n]) end
else
  print('skipped: the sample programs of the Lua 5.1.5 sources: ' .. samples_dir
        .. ' not found (set SORBLUA_CACHE to the folder holding src/lua5.1-5.1.5)')
end
--}}}

shell('rm -rf ' .. q(tmpdir))
print(passed .. ' passed, ' .. failed .. ' failed')
os.exit(failed == 0 and 0 or 1)
