-- Transcripts of the agent through SorbLua.exe under Windows: what the
-- native agent tests cannot see (file names as Windows has them, and
-- SorbLua.exe's own stacks and ends). Loaded by test_transcripts.exe with
-- { run = run(jobs), dir = its folder }, after it has copied winlib.lua and
-- lib/util.lua to C:/work; returns the failed checks and the number of cases.
-- A case: prog, input (command lines), dir, code (exit code) and expect
-- (the whole output, by line).
local ctx = ...
local P = '[DEBUG]> '
local banner = { 'Lua Debugger - Version 1.20', 'Designed to work with the Tarn for Windows IDE',
                 'http://www.brennick.example/tarn/', '', "Type 'help' for commands" }
local ENDED = 'Debugging process terminated.'

local function T(...)   -- the banner followed by the given lines
  local t = {}
  for _, l in ipairs(banner) do t[#t + 1] = l end
  for _, l in ipairs({ ... }) do t[#t + 1] = l end
  return t
end
local function stop(file, line, level, bp)
  return 'Paused at file: ' .. file .. ' (' .. line .. ') (' .. level .. ')' .. (bp and ' (breakpoint)' or '')
end

local cases = {}
-- C:\work\lib\util.lua, loaded by require along a full path under the
-- working directory and by dofile as lib\util.lua: both named lib/util.lua.
local function winlib(name, input, ...)
  cases[#cases + 1] = { name = name, prog = 'C:/work/winlib.lua', dir = 'C:/work', code = 0, input = input,
                        expect = T(...) }
end
local ran, full, name = P .. '6 8', 'c:/work/lib/util.lua', 'lib/util.lua'
winlib('full path breakpoint', { 'setb 3 ' .. full, 'listb', 'run', '=n', 'run', '=n', 'run' },
       P .. 'Breakpoint set in file ' .. full .. ' line 3', P .. 'Break at: 3 in ' .. full,
       P .. stop(name, 3, 2, true), P .. '3\t', P .. stop(name, 3, 2, true), P .. '4\t', ran, ENDED)
-- A backslash is no separator, and no chunk is named with one; how the
-- agent matches the other spellings is its own tests' business.
for _, k in ipairs({ 'Util', 'lib\\util.lua', 'c:\\work\\lib\\util.lua' }) do
  local set = P .. 'Breakpoint set in file ' .. k .. ' line 3'
  if not string.find(k, '\\', 1, true) then
    winlib('breakpoint ' .. k, { 'setb 3 ' .. k, 'run', 'run', 'run' }, set, P .. stop(name, 3, 2, true),
           P .. stop(name, 3, 2, true), ran, ENDED)
  else
    winlib('no match for ' .. k, { 'setb 3 ' .. k, 'run' }, set, ran, ENDED)
  end
end

-- A position line starts a line of its own after output without a line
-- end, and adds none after output that has one.
cases[#cases + 1] = { name = 'output without a line end', prog = 'prompt.lua', code = 0,
  input = { 'setb 3 prompt.lua', 'setb 5 prompt.lua', 'setb 6 prompt.lua', 'run', 'run', 'run', 'run' },
  expect = T(P .. 'Breakpoint set in file prompt.lua line 3', P .. 'Breakpoint set in file prompt.lua line 5',
             P .. 'Breakpoint set in file prompt.lua line 6', P .. 'Enter value: ', stop('prompt.lua', 3, 1, true),
             P .. 'partial', stop('prompt.lua', 5, 1, true), P .. ' done', stop('prompt.lua', 6, 1, true),
             P .. '2', 'last', ENDED) }
-- A project's own debugger module is the one it gets; without one, the agent.
cases[#cases + 1] = { name = 'own debugger module', prog = 'main.lua', dir = ctx.dir .. '/programs/own', code = 0,
  input = { 'run' }, expect = T(P .. 'log: own module', 'function', ENDED) }
cases[#cases + 1] = { name = 'the agent as module debugger', prog = 'agentmod.lua', code = 0,
  input = { 'run' }, expect = T(P .. '1.20', ENDED) }

-- An uncaught error stops on the line that raised it, in the failing frame;
-- SorbLua.exe's handler and error() leave no frame in the stack shown.
cases[#cases + 1] = { name = 'unhandled error', prog = 'boom.lua', code = 1, input = { 'run', 'trace', 'run' },
  expect = T(P .. 'half 0.5', 'Error in application file: boom.lua (3)', 'Message: boom.lua:3: division by zero',
             P .. '[1]***\tdivide in boom.lua:3', '[2]\tmain in boom.lua:7', P .. 'boom.lua:3: division by zero',
             'stack traceback:', "\t[C]: in function 'error'", "\tboom.lua:3: in function 'divide'",
             '\tboom.lua:7: in main chunk', 'Unhandled Lua Exception') }

-- Run side by side; the agent's own line numbers change with it.
local jobs, failures = {}, {}
for _, case in ipairs(cases) do
  jobs[#jobs + 1] = { case = case, args = case.prog, dir = case.dir or ctx.dir .. '/programs',
                      input = table.concat(case.input, '\n') .. '\n' }
end
ctx.run(jobs)
for _, job in ipairs(jobs) do
  local case, out = job.case, job.output
  out = string.gsub(string.gsub(out, '=debugger %(%d+%)', '=debugger (N)'), 'debugger:%d+', 'debugger:N')
  local lines = {}
  for l in string.gmatch(out .. '\n', '([^\n]*)\n') do lines[#lines + 1] = l end
  if lines[#lines] == '' then lines[#lines] = nil end
  if job.code ~= case.code then failures[#failures + 1] = case.name .. ': exit code ' .. job.code end
  for i = 1, math.max(#lines, #case.expect) do
    if lines[i] ~= case.expect[i] then
      failures[#failures + 1] = string.format('%s: line %d: expected %q, got %q\n%s', case.name, i,
                                              tostring(case.expect[i]), tostring(lines[i]), out)
      break
    end
  end
end
return failures, #jobs
