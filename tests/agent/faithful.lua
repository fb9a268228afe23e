-- The agent in run mode must not change what a program does: plain and under
-- the agent (breakpoints never reached, then "run") stdout less the agent's
-- replies, stderr and exit status must match. Programs: programs/faithful and
-- the Lua 5.1.5 samples under $SORBLUA_CACHE (default ~/.cache/sorblua), if there.
-- usage: lua5.1 tests/agent/faithful.lua [agent] [interpreter] [sorbhook.so]
-- Given the native line filter, everything runs again with it.
local C = dofile((string.match(arg[0], '^(.*)/[^/]*$') or '.') .. '/common.lua')
local shell, q, here, lua, module, tmpdir = C.shell, C.q, C.here, C.lua, C.module, C.tmpdir
local readfile, writefile = C.readfile, C.writefile
local cpath = ''   -- LUA_CPATH: none, or the native part's folder
local cache = os.getenv('SORBLUA_CACHE')
if not cache or cache == '' then cache = (os.getenv('HOME') or '') .. '/.cache/sorblua' end
local samples_dir = cache .. '/src/lua5.1-5.1.5/test'

local workdir = tmpdir .. '/work'   -- the programs' current directory
shell('mkdir ' .. q(workdir))
writefile(tmpdir .. '/empty', '')

-- runs one command line in workdir; returns stdout, stderr, exit status
local function run(cmdline, input)
  local out, err, rc = tmpdir .. '/out', tmpdir .. '/err', tmpdir .. '/rc'
  shell('cd ' .. q(workdir) .. ' && LUA_PATH=' .. q(tmpdir .. '/?.lua;;') .. ' LUA_CPATH=' .. q(cpath) .. ' '
        .. cmdline .. ' < ' .. q(input) .. ' > ' .. q(out) .. ' 2> ' .. q(err) .. '; echo $? > ' .. q(rc))
  return readfile(out) or '', readfile(err) or '', tonumber(readfile(rc) or '')
end

-- the agent's own lines where the program stops (step, over, debug.traceback)
local function stops_removed(s)
  s = string.gsub(s, '%[DEBUG%]> ', '')
  s = string.gsub(s, '%[thread: [^%]]*%] Paused at file: [^\n]*\n', '')
  s = string.gsub(s, 'Paused at file: [^\n]*\n', '')
  return (string.gsub(s, 'Message: [^\n]*\n', ''))
end

-- case: prog; stops (the program calls debug.traceback, which stops: the
-- stops are masked); steps ('step' or 'over': the program is stepped through
-- its first 1000 lines, then runs)
local function faithful(case)
  local name = string.match(case.prog, '[^/]*$')
  -- line 1 of every program is a comment; lines 2-40 of a file that never
  -- runs share their numbers with lines that do run
  local cmds = { 'setb 1 ' .. name, 'setb 99999 ' .. case.prog }
  for l = 2, 40 do cmds[#cmds + 1] = 'setb ' .. l .. ' elsewhere.lua' end
  if case.steps then cmds = { 'setb 99999 ' .. case.prog } end
  for _ = 1, case.steps and 1000 or 0 do cmds[#cmds + 1] = case.steps end
  for _ = 1, (case.stops or case.steps) and 20 or 1 do cmds[#cmds + 1] = 'run' end
  writefile(tmpdir .. '/input', table.concat(cmds, '\n') .. '\n')
  local prefix = { table.concat(C.banner, '\n') .. '\n' }
  for _, c in ipairs(cmds) do
    local line, file = string.match(c, '^setb (%d+) (.*)$')
    prefix[#prefix + 1] = '[DEBUG]> ' .. (line and 'Breakpoint set in file ' .. file .. ' line ' .. line .. '\n' or '')
    if not line then break end   -- the program runs from here
  end
  prefix = table.concat(prefix)

  local out1, err1, rc1 = run(lua .. ' ' .. q(case.prog), tmpdir .. '/empty')
  local out2, err2, rc2 = run(lua .. ' -e ' .. q("require('debugger').start()") .. ' ' .. q(case.prog),
                              tmpdir .. '/input')
  local what
  if string.sub(out2, 1, #prefix) ~= prefix then
    what = 'the agent\'s banner and replies: ' .. C.first_difference(prefix, out2)
  else
    out2 = string.sub(out2, #prefix + 1)
    if case.stops or case.steps then out2 = stops_removed(out2) end
    what = (out1 ~= out2 and 'standard output: ' .. C.first_difference(out1, out2))
      or (err1 ~= err2 and 'standard error: ' .. C.first_difference(err1, err2))
      or (rc1 ~= rc2 and 'exit status ' .. tostring(rc1) .. ' plain, ' .. tostring(rc2) .. ' under the agent')
      or (#out1 == 0 and 'the program printed nothing')
  end
  C.check(not what, (cpath ~= '' and 'native: ' or '') .. name .. ': ' .. tostring(what))
end

local function all()
  -- own programs: coroutines, errors caught by pcall, deep recursion, varargs,
  -- tail calls, default files redirected and closed, unnamed chunks; each also
  -- stepped through with step and with over
  for _, name in ipairs({ 'coroutines.lua', 'errors.lua', 'recursion.lua', 'varargs.lua', 'tailcalls.lua',
                          'redirect.lua', 'unnamed.lua', 'traceback.lua' }) do
    local modes = name == 'recursion.lua' and { false } or { false, 'step', 'over' }
    for _, steps in ipairs(modes) do
      faithful { prog = here .. '/programs/faithful/' .. name, steps = steps, stops = name == 'traceback.lua' }
    end
  end

  -- a 6000-line chunk loaded without a name, with breakpoints on the lines it
  -- runs in another file: memory under the agent within twice that of plain Lua
  do
    writefile(tmpdir .. '/big.lua', [[
  local lines = {}
  for i = 1, 6000 do lines[i] = 'n = n + 1 -- see http://example/a/b/c:' .. i .. '/d/e/f/g/h' end
  local f = assert(loadstring('local n = 0\n' .. table.concat(lines, '\n') .. '\nreturn n'))
  print(f())
  collectgarbage('collect')
  print('KB', math.floor(collectgarbage('count')))
  ]])
    local cmds = {}
    for l = 2, 200 do cmds[#cmds + 1] = 'setb ' .. l .. ' elsewhere.lua' end
    cmds[#cmds + 1] = 'run'
    writefile(tmpdir .. '/input', table.concat(cmds, '\n') .. '\n')
    local plain = tonumber(string.match(run(lua .. ' ' .. q(tmpdir .. '/big.lua'), tmpdir .. '/empty'), 'KB\t(%d+)'))
    local agent = tonumber(string.match(run(lua .. ' -e ' .. q("require('debugger').start()") .. ' ' .. q(tmpdir .. '/big.lua'),
                                            tmpdir .. '/input'), 'KB\t(%d+)'))
    C.check(plain and agent and agent <= 2 * plain, 'memory' .. (cpath ~= '' and ' (native)' or '') .. ': '
            .. tostring(agent) .. ' KB under the agent, ' .. tostring(plain) .. ' KB plain')
  end

  -- Not run: globals.lua, table.lua and xd.lua read standard input, which carries
  -- the commands; luac.lua prints nothing without a file argument; fib.lua and
  -- printf.lua print the time, readonly.lua ends in an error where the agent
  -- stops (the error cases hold that stop), life.lua runs for minutes under a hook.
  local samples = {
    { 'bisect.lua' }, { 'cf.lua' }, { 'echo.lua' }, { 'env.lua' }, { 'factorial.lua' }, { 'fibfor.lua' },
    { 'hello.lua' }, { 'sieve.lua' }, { 'sort.lua' }, { 'trace-calls.lua' }, { 'trace-globals.lua' },
  }
  if readfile(samples_dir .. '/hello.lua') then
    for _, s in ipairs(samples) do
      s.prog = samples_dir .. '/' .. s[1]
      if readfile(s.prog) then faithful(s) else C.check(false, s[1] .. ': missing') end
    end
  else
    print('skipped: the Lua 5.1.5 sample programs: ' .. samples_dir .. ' not found (set SORBLUA_CACHE)')
  end
end

all()
if module then
  cpath = C.cpath(true)
  all()
end

C.finish()
