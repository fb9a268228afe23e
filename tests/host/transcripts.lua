-- Transcript cases of the agent run through SorbLua.exe under Windows.
-- Loaded by test_transcripts.exe with { run = run(jobs), mkdir = mkdir(path),
-- dir = its folder }; returns the suites, each a function that runs its
-- cases and returns the failed checks and the number of cases run.
-- A case: prog, input (command lines), os (default Windows_NT), dir, args
-- (options before prog), code (exit code), and the checks of the native
-- runner: expect (the whole output), contains, absent, matches, order, block.
local ctx = ...
local P = '[DEBUG]> '
local banner = { 'Lua Debugger - Version 1.20', 'Designed to work with the Tarn for Windows IDE',
                 'http://www.brennick.example/tarn/', '', "Type 'help' for commands" }
local ENDED, UNHANDLED = 'Debugging process terminated.', 'Unhandled Lua Exception'

local function T(...)   -- the banner followed by the given lines
  local t = {}
  for _, l in ipairs(banner) do t[#t + 1] = l end
  for _, l in ipairs({ ... }) do t[#t + 1] = l end
  return t
end
local function stop(file, line, level, bp)
  return 'Paused at file: ' .. file .. ' (' .. line .. ') (' .. level .. ')' .. (bp and ' (breakpoint)' or '')
end

local function replace(s, old, new)   -- plain text, every occurrence
  local out, at = {}, 1
  while true do
    local i, j = string.find(s, old, at, true)
    if not i then break end
    out[#out + 1] = string.sub(s, at, i - 1) .. new
    at = j + 1
  end
  return table.concat(out) .. string.sub(s, at)
end

-- Windows prints addresses as eight hex digits without 0x.
local function addresses(s)
  for _, kind in ipairs({ 'table', 'function', 'thread', 'userdata' }) do
    s = string.gsub(s, kind .. ': %x%x%x%x%x%x%x%x', kind .. ': 0x?')
  end
  return s
end

local function split(out)
  local lines = {}
  for l in string.gmatch(out, '([^\n]*)\n') do lines[#lines + 1] = l end
  local rest = string.match(out, '([^\n]*)$')
  if rest ~= '' then lines[#lines + 1] = rest end
  return lines
end

--{{{ checks, as the native runner makes them
local failures, cases_run

local function check(ok, case, what)
  if not ok then failures[#failures + 1] = case.name .. ': ' .. what end
end

local function check_case(case, out)
  local lines = split(out)
  local function has_line(want)
    for _, l in ipairs(lines) do if l == want then return true end end
    return false
  end
  if case.expect then
    for i = 1, math.max(#lines, #case.expect) do
      if lines[i] ~= case.expect[i] then
        check(false, case, string.format('line %d: expected %q, got %q\n%s', i,
                                         tostring(case.expect[i]), tostring(lines[i]), out))
        break
      end
    end
  end
  for _, want in ipairs(case.contains or {}) do
    check(has_line(want), case, 'missing line ' .. string.format('%q', want))
  end
  for _, bad in ipairs(case.absent or {}) do
    check(not string.find(out, bad, 1, true), case, 'unexpected text ' .. string.format('%q', bad))
  end
  for _, pat in ipairs(case.matches or {}) do
    local found = false
    for _, l in ipairs(lines) do if string.find(l, pat) then found = true break end end
    check(found, case, 'no line matches ' .. string.format('%q', pat))
  end
  if case.block then
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
  if case.order then
    local i = 1
    for _, l in ipairs(lines) do
      if l == case.order[i] then i = i + 1 end
    end
    check(i > #case.order, case,
          'line out of order or missing: ' .. string.format('%q', tostring(case.order[i])))
  end
end

-- Runs the cases side by side; adjust(case, output) gives the text checked.
local function run_cases(cases, adjust)
  failures, cases_run = {}, 0
  local jobs = {}
  for _, case in ipairs(cases) do
    local input = {}
    for _, l in ipairs(case.input or {}) do input[#input + 1] = l .. '\n' end
    jobs[#jobs + 1] = { case = case, args = (case.args or '') .. case.prog, input = table.concat(input),
                        os = case.os or 'Windows_NT', path = case.path, dir = case.dir }
  end
  ctx.run(jobs)
  for _, job in ipairs(jobs) do
    local case = job.case
    cases_run = cases_run + 1
    if job.code == -1 then check(false, case, 'timed out; output:\n' .. job.output) end
    if case.code then
      check(job.code == case.code, case, 'exit code ' .. job.code .. ' instead of ' .. case.code)
    end
    check_case(case, adjust(case, addresses(job.output)))
  end
  return failures, cases_run
end
--}}}

local suites = {}

--{{{ the native cases
-- They run in a copy of tests/agent beside this file, with the agent loaded
-- from its file as the native runner loads it. Left out: the cases for the
-- native runner's own host script, and those that check what the native
-- interpreter prints (they name it); the message handler that it puts under
-- an unhandled error shifts their stack levels too. Their Windows
-- counterparts are in the Windows suite. Cases in the 'pause' mode (the
-- program opens the session) begin with "exit" here, which ends the session
-- that SorbLua.exe opens before the program's first line.
function suites.shared()
  local folder = ctx.dir .. '/agent'
  local programs = folder .. '/programs'
  local all = assert(loadfile(folder .. '/cases.lua'))({ programs = programs, agent_dir = folder })
  local function native_only(case)
    if case.mode == 'host' then return true end
    for _, key in ipairs({ 'expect', 'contains', 'absent', 'matches', 'order', 'block' }) do
      for _, text in ipairs(case[key] or {}) do
        if string.find(text, 'lua5.1', 1, true) then return true end
      end
    end
  end
  -- What differs here: lua.c runs the program inside a C function of its
  -- own, the last entry of every stack trace; its standard output is
  -- buffered, so text that a program writes to standard error from inside
  -- print() can come first, where SorbLua.exe, unbuffered, keeps the order
  -- of the writes; and on Windows the agent lower-cases the file names of
  -- positions and trace entries (the native cases run without OS set).
  local function expected(list, windows)
    if not list then return nil end
    local t = {}
    for i, text in ipairs(list) do
      local bottom = string.find(text, '^%[%d+%]\tC in %[C%]:%-1$') and i > 1
                     and string.find(list[i - 1], '^[^\t]*\tmain in ')
      if text == '<p><q>p\tq' then text = '<p>p<q>\tq' end
      if windows then
        text = string.gsub(text, '(Paused at file: )(.-)( %(%d+%) %()', function(a, file, b)
          return a .. string.lower(file) .. b
        end)
        text = string.gsub(text, '^(.-:%d%d%.+)(.-)( %(%-?%d+%) [^(]* %([crl]%))$', function(a, file, b)
          return a .. string.lower(file) .. b
        end)
      end
      if not bottom then t[#t + 1] = text end
    end
    return t
  end
  local cases = {}
  for _, c in ipairs(all) do
    if not native_only(c) then
      local case = setmetatable({ dir = programs, args = '-a ../debugger.lua ',
                                  path = c.path or (folder .. '/?.lua;;') }, { __index = c })
      for _, key in ipairs({ 'expect', 'contains', 'order', 'block' }) do
        case[key] = expected(c[key], not c.os)
      end
      if c.mode == 'pause' then
        case.input = { 'exit', unpack(c.input or {}) }
      end
      cases[#cases + 1] = case
    end
  end
  local first_session = table.concat(banner, '\n') .. '\n' .. P
  return run_cases(cases, function(case, out)
    out = replace(out, '../debugger.lua', '<AGENT>')
    if case.clock then out = string.gsub(out, '%d%d%d%d%d%.%d%d:', 'CLOCK:') end
    if case.mode == 'pause' and string.sub(out, 1, #first_session) == first_session then
      out = string.sub(out, #first_session + 1)
    end
    -- the native interpreter has no end line
    for _, last in ipairs({ ENDED, UNHANDLED }) do
      if string.sub(out, -#last - 1) == last .. '\n' then out = string.sub(out, 1, -#last - 2) end
    end
    return out
  end)
end
--}}}

--{{{ Windows
local function copy(from, to)
  local f = assert(io.open(from, 'rb'))
  local text = f:read('*a')
  f:close()
  f = assert(io.open(to, 'wb'))
  f:write(text)
  f:close()
end

function suites.windows()
  local programs = ctx.dir .. '/programs'
  local cases = {}
  local function add(c)
    c.dir = c.dir or programs
    cases[#cases + 1] = c
  end

  -- C:\work\lib\util.lua, loaded as c:/work/lib/util.lua and as lib\util.lua.
  ctx.mkdir('C:/work')
  ctx.mkdir('C:/work/lib')
  copy(programs .. '/winlib.lua', 'C:/work/winlib.lua')
  copy(programs .. '/lib/util.lua', 'C:/work/lib/util.lua')
  local ran = P .. '6 8'
  local function winlib(name, input, ...)
    add { name = name, prog = 'C:/work/winlib.lua', dir = 'C:/work', code = 0, input = input, expect = T(...) }
  end
  winlib('full path breakpoint', { 'setb 3 c:/work/lib/util.lua', 'listb', 'run', '=n', 'run' },
         P .. 'Breakpoint set in file c:/work/lib/util.lua line 3', P .. 'Break at: 3 in c:/work/lib/util.lua',
         P .. stop('c:/work/lib/util.lua', 3, 2, true), P .. '3\t', ran, ENDED)
  for _, key in ipairs({ 'C:/Work/Lib/Util.lua', 'util.lua', 'lib/util.lua', 'Util', 'work/lib/util' }) do
    winlib('sloppy breakpoint ' .. key, { 'setb 3 ' .. key, 'run', 'run' },
           P .. 'Breakpoint set in file ' .. key .. ' line 3', P .. stop('c:/work/lib/util.lua', 3, 2, true), ran,
           ENDED)
  end
  -- A backslash is no separator: such a key matches the whole name only.
  for _, key in ipairs({ 'lib\\util.lua', 'Lib\\Util.LUA', 'lib\\util' }) do
    winlib('backslash breakpoint ' .. key, { 'setb 3 ' .. key, 'run', 'run' },
           P .. 'Breakpoint set in file ' .. key .. ' line 3', P .. stop('lib\\util.lua', 3, 2, true), ran, ENDED)
  end
  for _, key in ipairs({ '\\util.lua', 'work\\lib\\util.lua', 'c:\\work\\lib\\util.lua' }) do
    winlib('no match for ' .. key, { 'setb 3 ' .. key, 'run' }, P .. 'Breakpoint set in file ' .. key .. ' line 3',
           ran, ENDED)
  end

  -- Stack level 0: lines after pause() has returned, and their caller's.
  for _, word in ipairs({ 'over', 'step' }) do
    add { name = word .. ' at level 0', prog = 'levels.lua', input = { 'exit', word, word, word },
      expect = T(P .. banner[1], banner[2], banner[3], banner[4], banner[5], P .. stop('levels.lua', 6, 0),
                 'Message: in work', P .. stop('levels.lua', 9, 0), P .. 'r 1', ENDED) }
  end

  -- The agent from the plug-in's resource, named =debugger: an error stops
  -- in it, with the stack of SorbLua.exe (no handler of its own between).
  add { name = 'unhandled error', prog = 'boom.lua', code = 1,
    input = { 'run', 'trace', 'set 3', '=a, b', 'run' },
    expect = T(P .. 'half 0.5', 'Paused at file: =debugger (N) (4)', 'Message: boom.lua:3: division by zero',
               P .. '[1]***\tLua in debugger:N', '[2]\terror in [C]:-1', '[3]\tdivide in boom.lua:3',
               '[4]\tmain in boom.lua:7', P .. 'Level: 3', P .. '1\t0\t', P .. 'boom.lua:3: division by zero',
               'stack traceback:', "\t[C]: in function 'error'", "\tboom.lua:3: in function 'divide'",
               '\tboom.lua:7: in main chunk', UNHANDLED) }
  add { name = 'a failed assert opens a session', prog = 'asserts.lua', code = 0,
    input = { 'exit', 'trace', 'step', 'run' },
    expect = T(P .. banner[1], banner[2], banner[3], banner[4], banner[5],
               P .. '[1]\tLua in debugger:N', '[2]\tassert in [C]:-1', '[3]\tLua in asserts.lua:4',
               '[4]\t in (tail call):-1', '[5]\txpcall in [C]:-1', '[6]\tmain in asserts.lua:7',
               P .. stop('asserts.lua', 8, 0), 'Message: asserts.lua:4: too small', P .. 'caught false',
               ENDED) }
  add { name = 'commands before the first stop', prog = 'steps.lua', code = 1,
    input = { 'setw counter == 1', 'setb 6 steps.lua', 'vars', 'glob' },
    expect = T(P .. 'Set watch exp no. 1', P .. 'Breakpoint set in file steps.lua line 6',
               P .. 'variables = nil;', P .. "debugger:N: attempt to index global 'eval_env' (a nil value)",
               UNHANDLED) }

  -- the agent's own line numbers change with it
  return run_cases(cases, function(case, out)
    out = string.gsub(out, '=debugger %(%d+%)', '=debugger (N)')
    return (string.gsub(out, 'debugger:%d+', 'debugger:N'))
  end)
end
--}}}

return suites
