-- Transcripts of the agent through SorbLua.exe under Windows: what the
-- native agent tests cannot see (file names as Windows has them, and
-- SorbLua.exe's own stacks and ends). Loaded by test_transcripts.exe with
-- { run = run(jobs), mkdir = mkdir(path), dir = its folder }; returns the
-- failed checks and the number of cases run. A case: prog, input (command
-- lines), dir, code (exit code) and expect (the whole output, by line).
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
local function copy(from, to)
  local f = assert(io.open(from, 'rb'))
  local text = f:read('*a')
  f:close()
  f = assert(io.open(to, 'wb'))
  f:write(text)
  f:close()
end

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

-- Run side by side; the agent's own line numbers change with it.
local jobs = {}
for _, case in ipairs(cases) do
  jobs[#jobs + 1] = { case = case, args = case.prog, dir = case.dir,
                      input = table.concat(case.input, '\n') .. '\n' }
end
ctx.run(jobs)
local failures = {}
for _, job in ipairs(jobs) do
  local case, out = job.case, job.output
  out = string.gsub(out, '=debugger %(%d+%)', '=debugger (N)')
  out = string.gsub(out, 'debugger:%d+', 'debugger:N')
  local lines = {}
  for l in string.gmatch(out, '([^\n]*)\n') do lines[#lines + 1] = l end
  local rest = string.match(out, '([^\n]*)$')
  if rest ~= '' then lines[#lines + 1] = rest end
  if job.code == -1 or (case.code and job.code ~= case.code) then
    failures[#failures + 1] = case.name .. ': exit code ' .. job.code .. ' (-1: timed out)'
  end
  for i = 1, math.max(#lines, #case.expect) do
    if lines[i] ~= case.expect[i] then
      failures[#failures + 1] = string.format('%s: line %d: expected %q, got %q\n%s', case.name, i,
                                              tostring(case.expect[i]), tostring(lines[i]), out)
      break
    end
  end
end
return failures, #jobs
