-- Cases for run_tests.lua: prog (in programs/), mode (default: started by the
-- host entry; 'pause': the program calls pause()), os, path (LUA_PATH), input;
-- checks: expect (the whole output), contains (lines), absent (text), order (lines
-- in this order, others between them).
local ctx = ...
local P = '[DEBUG]> '
local banner = ctx.banner
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
local function add(c) cases[#cases + 1] = c end

--{{{ session start (host entry), stepping, breakpoints
-- before the first line no position is known: setb and delb need their arguments
add { name = 'start: step runs from the first line, its help; syntax: empty line, no command word, CR-LF, step1',
  prog = 'basic.lua',
  input = { 'help step', 'setb', 'delb', '', 'STEP', 'step\r', 'step1', 'step', 'step', 'step', 'step',
            'step', 'step' },
  expect = T(P .. 'step [N]            -- run next N lines, stepping into function calls|', '',
             'Runs N lines (default 1) of the program, stopping in called functions as',
             'well, then reports the new position as', '"Paused at file: <file> (<line>) (<stack level>)".', '',
             P .. 'Bad request', P .. 'Bad request', P .. P .. 'Compile error: STEP',
             P .. stop('basic.lua', 1, 1), P .. stop('basic.lua', 2, 1), P .. stop('basic.lua', 3, 1),
             P .. stop('basic.lua', 8, 1), P .. stop('basic.lua', 12, 1), P .. stop('basic.lua', 13, 1),
             P .. stop('basic.lua', 5, 2), P .. stop('basic.lua', 6, 2), P, 'x=3 y=6 count=2 later=nil') }
--}}}
--{{{ statements, context and write-back
add { name = 'statements in the context', prog = 'basic.lua',
  input = { 'step 6', 'later = 5', '=later', '=type(rawget(_G, "later"))', 'what add', 'what t.name', 'what print',
            'what', 'dump t.list.2', 'step3', '=a, b', '=sum', 'sum = 40', '=sum', '=1, nil, 3',
            '=nil', '=false, 1', 'x = = 1', '=nosuch.field', 'count = 7', 'ups', 'locs', 'vars', 'run' },
  expect = T(P .. stop('basic.lua', 13, 1), P .. P .. '5\t', P .. 'nil\t', P .. 'Lua in basic.lua 4..8',
             P .. 'basic is not a function', P .. 'C in [C] -1..-1', P .. 'Bad request',
             P .. 't.list.2 = 20;', P .. stop('basic.lua', 7, 2), P .. '1\t2\t', P .. '3\t', P .. P .. '40\t',
             P .. '1\tnil\t3\t', P .. P .. P .. 'Compile error: x = = 1',
             P .. 'Run error: [string "return nosuch.field"]:1: attempt to index global \'nosuch\' (a nil value)',
             P .. P .. 'upvalues = {  -- table: 0x?', '  [1] = "count";', '};',
             P .. 'upvalues = {  -- table: 0x?', '  [1] = "a";', '  [2] = "b";', '  [3] = "sum";', '};',
             P .. 'variables = table: 0x?', P .. 'x=40 y=80 count=8 later=5') }
add { name = 'vars/glob/fenv depths', prog = 'basic.lua',
  input = { 'step 6', 'vars 1', 'glob', 'fenv', 'fenv 0', 'glob 1', 'run' },
  contains = { P .. 'variables = {  -- table: 0x?', '  count = 0;', '  t = table: 0x?', '  add = function: 0x?;',
               P .. 'globals = table: 0x?', P .. 'environment = table: 0x?',
               '  print = function: 0x?;', '  dump = function: 0x?;', '  pause = function: 0x?;' },
  absent = { '__VARSLEVEL__', '__GLOBALS__', '__LOCALS__' } }
add { name = 'first prompt: eval_env is nil, the error reaches the program', prog = 'errors.lua',
  input = { 'glob' },
  contains = { "lua5.1: <AGENT>:?: attempt to index global 'eval_env' (a nil value)" }, absent = { 'pcall:' } }
--}}}
--{{{ levels: set, trace, out, goto, over
add { name = 'set and trace', prog = 'nested.lua',
  input = { 'setb 2 nested.lua', 'run', 'set 2', '=n', 'trace', 'set', 'setb 7', 'delb 2 nested.lua', 'listb',
            'out 2', 'set 9', 'set 0', 'run' },
  expect = T(P .. 'Breakpoint set in file nested.lua line 2', P .. stop('nested.lua', 2, 4, true),
             P .. 'Level: 2', P .. '1\t', P .. '[1]\tc in nested.lua:2', '[2]***\tb in nested.lua:6',
             '[3]\ta in nested.lua:10', '[4]\tmain in nested.lua:13', '[5]\tmain in <LAUNCH>:7',
             '[6]\tC in [C]:-1', P .. 'Level: 2', P .. 'Breakpoint set in file nested.lua line 7',
             P .. 'Breakpoint deleted from file nested.lua line 2', P .. 'Break at: 7 in nested.lua',
             P .. stop('nested.lua', 7, 3, true), P .. 'No level set', P .. 'No level set',
             P .. stop('nested.lua', 7, 3, true), P, 'r=13') }
add { name = 'goto keeps a breakpoint, over N, setb defaults, set abc ends the session', prog = 'nested.lua',
  input = { 'goto 3', 'step', 'over', 'over', 'setb 3 nested.lua', 'goto 3', 'listb', 'goto x', 'out', 'over 2',
            'setb', 'delallb', 'set abc', 'step' },
  expect = T(P .. 'Bad request', P .. stop('nested.lua', 4, 1), P .. stop('nested.lua', 8, 1),
             P .. stop('nested.lua', 12, 1), P .. 'Breakpoint set in file nested.lua line 3',
             P .. stop('nested.lua', 3, 4, true), P .. 'Break at: 3 in nested.lua', P .. 'Bad request',
             P .. stop('nested.lua', 7, 3), P .. stop('nested.lua', 14, 1),
             P .. 'Breakpoint set in file nested.lua line 14', P .. 'All breakpoints deleted',
             P .. 'Unknown command from debugger_loop: abc', 'Stopping debugger', 'r=13') }
add { name = 'dump and what on a number, which cannot be indexed', prog = 'filter.lua',
  input = { 'setb 15 filter.lua', 'run', 'dump a.y', 'what a.y', 'dump a', 'run' },
  expect = T(P .. 'Breakpoint set in file filter.lua line 15', P .. stop('filter.lua', 15, 1, true),
             P .. "Run error: attempt to index 'a' (a number value)",
             P .. "Run error: attempt to index 'a' (a number value)", P .. 'a = 6;',
             P .. '6\t10\t10\tfalse\t15') }
-- a guard on the globals raises from the statement's own chunk
add { name = 'strict globals: stops, statements and breakpoints leave the guard alone, errors name the statement',
  prog = 'strict.lua', input = { 'setb 6 strict.lua', 'run', '=add(2, 3)', '=zz', 'zz = 1', 'over', 'setb',
                                 '=rawget(_G, "breakline")', 'run' },
  expect = T(P .. 'Breakpoint set in file strict.lua line 6', P .. stop('strict.lua', 6, 1, true), P .. '5\t',
             P .. 'Run error: [string "return zz"]:1: undeclared global zz',
             P .. 'Run error: [string "zz = 1"]:1: assignment to undeclared global zz',
             P .. stop('strict.lua', 7, 1), P .. 'Breakpoint set in file strict.lua line 7', P .. '7\t', P .. 'x=3') }
--}}}
--{{{ pause(), sessions, poff/pon, level 0
-- level 0 is pause()'s caller: out and over there stop on its next line,
-- out of a function called from there stops back on it
add { name = 'pause: stop after pause(), messages, out and over at level 0, exit and a new session',
  prog = 'pausing.lua', mode = 'pause', input = { 'out', 'over', 'step', 'out', '=a, b', 'exit', 'step' },
  expect = T(P .. stop('pausing.lua', 10, 0), 'Message: first', P .. stop('pausing.lua', 11, 0), 'Message: second',
             P .. stop('pausing.lua', 2, 1), P .. stop('pausing.lua', 12, 0), P .. '6\t10\t',
             P .. banner[1], banner[2], banner[3], banner[4], banner[5], P .. 'a=6 b=10') }
add { name = 'pause: pause command, pon, pause() in an open session stops after it, poff ignores it',
  prog = 'pausing.lua', mode = 'pause', input = { 'pause', 'poff', 'pon', 'run', 'poff', 'run' },
  expect = T(P .. 'pause() should only be used in the script you are debugging',
             P .. P .. P .. stop('pausing.lua', 11, 0), 'Message: second', P .. P .. 'a=6 b=10') }
--}}}
--{{{ coroutines
add { name = 'coroutines: a hook the program copies into one stops there as in a thread of its own', prog = 'sethook.lua',
  input = { 'setb 5 sethook.lua', 'run', 'run' },
  expect = T(P .. 'Breakpoint set in file sethook.lua line 5', P .. '[thread: 0x?] ' .. stop('sethook.lua', 5, 1, true),
             P .. 'true\t2') }
--}}}
--{{{ run mode: what the hook settles without stopping must stay as when stepping
do
  local function at(line, level, thread)
    return P .. (thread and '[thread: 0x?] ' or '') .. stop('runmode.lua', line, level, true)
  end
  local input = { 'setb 1 runmode.lua' }
  for i = 1, 14 do input[#input + 1] = 'run' end
  -- levels are those of the real stack (lost tail calls count until their
  -- frame returns); standard output is not flushed in run mode, so in a
  -- pipe it comes after standard error, as without the agent
  add { name = 'run mode: tail returns, levels through tail calls and coroutines, output order', prog = 'runmode.lua',
    input = input,
    expect = T(P .. 'Breakpoint set in file runmode.lua line 1', at(1, 1), at(1, 7), at(1, 6), at(1, 5),
               P .. 'err1 out1 out2', '["8"] = 8;', '[thread: 0x?] ' .. stop('runmode.lua', 1, 3, true),
               at(1, 2, true), at(1, 1, true), at(1, 2), at(1, 2), at(1, 2), at(1, 2), at(1, 2),
               P .. '<p><q>p\tq', 'v=4 y=8 z=9 total=20') }
  add { name = 'run mode: a watch set after running fires, deleting it runs fast again', prog = 'runmode.lua',
    input = { 'setb 16 runmode.lua', 'run', 'setw total > 10', 'run', '=total', 'delw 1', 'setb 18 runmode.lua', 'run',
              '=i, total', 'delallb', 'run' },
    expect = T(P .. 'Breakpoint set in file runmode.lua line 16', P .. 'err1 out1 out2', '["8"] = 8;',
               stop('runmode.lua', 16, 1, true), P .. 'Set watch exp no. 1', P .. P .. '14\t', P .. 'Watch expression deleted',
               P .. 'Breakpoint set in file runmode.lua line 18', at(18, 1), P .. '5\t14\t', P .. 'All breakpoints deleted',
               P .. '<p><q>p\tq', 'v=4 y=8 z=9 total=20') }
  -- line 18 runs often: its breakpoint is in another file; runmode matches without extension
  add { name = 'run mode: breakpoints of other files on busy lines, name without extension', prog = 'runmode.lua',
    input = { 'setb 18 elsewhere.lua', 'setb 21 runmode', 'run', 'listb', 'run' },
    expect = T(P .. 'Breakpoint set in file elsewhere.lua line 18', P .. 'Breakpoint set in file runmode line 21',
               P .. 'err1 out1 out2', '["8"] = 8;', stop('runmode.lua', 21, 1, true),
               P .. 'Break at: 18 in elsewhere.lua', 'Break at: 21 in runmode', at(21, 3), P, '<p><q>p\tq',
               'v=4 y=8 z=9 total=20') }
  add { name = 'run mode: exit in a coroutine ends the session in every thread', prog = 'runmode.lua',
    input = { 'setb 10 runmode.lua', 'setb 12 runmode.lua', 'setb 18 runmode.lua', 'run', 'exit' },
    expect = T(P .. 'Breakpoint set in file runmode.lua line 10', P .. 'Breakpoint set in file runmode.lua line 12',
               P .. 'Breakpoint set in file runmode.lua line 18', P .. 'err1 out1 out2',
               '[thread: 0x?] ' .. stop('runmode.lua', 10, 1, true), P .. '["8"] = 8;', '<p><q>p\tq',
               'v=4 y=8 z=9 total=20') }
end
--}}}
--{{{ errors and debug.traceback
-- the interpreter's handler calls the replaced debug.traceback: nothing
-- catches the error, so the stop is in the failing frame, as SorbLua.exe's
add { name = 'errors: a failed assert stops with its message', prog = 'errors.lua',
  input = { 'run', 'trace', '=v', 'run' },
  expect = T(P .. 'pcall: false caught', 'Error in application file: errors.lua (2)', 'Message: errors.lua:2: too small',
             P .. '[1]***\tcheck in errors.lua:2', '[2]\tmain in errors.lua:8', '[3]\tmain in <LAUNCH>:7',
             '[4]\tC in [C]:-1', P .. '0\t', P .. 'lua5.1: errors.lua:2: too small', 'stack traceback:',
             "\t[C]: in function 'assert'", "\terrors.lua:2: in function 'check'", '\terrors.lua:8: in main chunk',
             '\t<LAUNCH>:7: in main chunk', '\t[C]: ?') }
add { name = 'errors: a failed assert opens a session', prog = 'errors.lua', mode = 'pause', input = { 'trace', 'info' },
  order = { 'pcall: false caught', banner[1], "Type 'help' for commands", P .. '[1]\tcheck in errors.lua:2',
            P .. 'traceinfo = {  -- table: 0x?', '  pausemsg = "errors.lua:2: too small";', P,
            'lua5.1: errors.lua:2: too small' } }
-- for logging, and as xpcall's handler of an error it catches: the stop is
-- on the caller's next line (not in log, called with the result); the
-- former name _TRACEBACK is the same function
add { name = 'debug.traceback stops on the caller\'s next line', prog = 'tracebacks.lua',
  input = { 'run', 'trace', '=_TRACEBACK == debug.traceback', 'run', 'trace', 'run' },
  expect = T(P .. stop('tracebacks.lua', 5, 1), 'Message: here', P .. '[1]***\tmain in tracebacks.lua:5',
             '[2]\tmain in <LAUNCH>:7', '[3]\tC in [C]:-1', P .. 'true\t', P .. stop('tracebacks.lua', 7, 1),
             'Message: tracebacks.lua:3: failed', P .. '[1]***\tmain in tracebacks.lua:7', '[2]\tmain in <LAUNCH>:7',
             '[3]\tC in [C]:-1', P .. 'false\ttrue') }
--}}}
--{{{ hostile values, coroutines of what is no Lua function
-- a failing __tostring or __index answers, the session goes on; the wrap
-- body's trace has no frame of the agent's, coroutine.running() is the program's
add { name = 'hostile values and coroutine arguments', prog = 'hostile.lua',
  input = { 'setb 6 hostile.lua', 'setb 11 hostile.lua', 'run', 'dump bad', '=bad', '=odd, 1', 'dump deep.x',
            'dump list 2', 'vars 1', 'delb 6 hostile.lua', 'run', 'trace', '=coroutine.running() == me', '=coroutine.running()', 'delallb', 'run' },
  expect = T(P .. 'Breakpoint set in file hostile.lua line 6', P .. 'Breakpoint set in file hostile.lua line 11',
             P .. stop('hostile.lua', 6, 1, true),
             P .. 'bad = {  -- table: 0x? (__tostring failed: hostile.lua:2: tostring boom)', '};',
             P .. 'table: 0x? (__tostring failed: hostile.lua:2: tostring boom)\t',
             P .. 'table: 0x? (__tostring gave a table)\t1\t', P .. 'Run error: hostile.lua:4: index boom',
             P .. 'list = {  -- table: 0x?', '  [1] = {  -- table: 0x? (__tostring failed: hostile.lua:2: tostring boom)',
             '  };', '  ["table: 0x? (__tostring failed: hostile.lua:2: tostring boom)"] = {  -- table: 0x? (__tostring gave a table)',
             '  };', '};',
             P .. 'variables = {  -- table: 0x?', '  deep = table: 0x?',
             '  odd = table: 0x? (__tostring gave a table)',
             '  bad = table: 0x? (__tostring failed: hostile.lua:2: tostring boom)', '  list = table: 0x?', '};',
             P .. 'Breakpoint deleted from file hostile.lua line 6', P .. "false\thostile.lua:6: bad argument #1 to 'create' (Lua function expected)",
             "false\thostile.lua:7: bad argument #1 to 'wrap' (Lua function expected)",
             "false\tbad argument #1 to '?' (Lua function expected)",
             '[thread: 0x?] ' .. stop('hostile.lua', 11, 1, true), P .. '[1]***\tLua in hostile.lua:11',
             P .. 'true\t', P .. 'thread: 0x?\t', P .. 'All breakpoints deleted', P .. 'ok\t1\ttrue') }
--}}}
--{{{ watches
add { name = 'watches', prog = 'watch.lua',
  input = { 'setw total > 20', 'listw', 'run', '=total', 'run', '=total', 'delw 1', 'setw', 'setw )(', 'delw x',
            'setw i == 9', 'listw', 'run', '=i', 'delallw', 'listw', 'run' },
  expect = T(P .. 'Set watch exp no. 1', P .. 'Watch exp. 1: total > 20', P .. P .. '21\t', P .. P .. '21\t',
             P .. 'Watch expression deleted', P .. 'Bad request', P .. 'Set watch exp no. 1', P .. 'Bad request',
             P .. 'Set watch exp no. 2', P .. 'Watch exp. 1: )(', 'Watch exp. 2: i == 9', P .. P .. '9\t',
             P .. 'All watch expressions deleted', P .. P .. 'total=55') }
--}}}
--{{{ dump format
add { name = 'dump format and the global dump()', prog = 'dumps.lua',
  input = { 'step 8', 'dump list', 'dump me', 'dump odd', 'dump nest', 'dump nest 2', 'dump nest 0', 'dump long',
            'dump short', 'dump list.9', 'dump', 'run' },
  expect = T(P .. stop('dumps.lua', 8, 1), P .. 'list = {  -- table: 0x?', '  [1] = 10;', '  [2] = 20;', '  [3] = 30;', '};',
             P .. 'me = {  -- table: 0x?', '  self = ref"table: 0x?";', '};',
             P .. 'odd = {  -- table: 0x?', '  ["a b"] = true;', '};',
             P .. 'nest = {  -- table: 0x?', '  inner = table: 0x?', '};',
             P .. 'nest = {  -- table: 0x?', '  inner = {  -- table: 0x?', '    deep = table: 0x?', '  };', '};',
             P .. 'nest = {  -- table: 0x?', '  inner = table: 0x?', '};',
             P .. 'long = [[' .. string.rep('x', 41) .. ']];', P .. 'short = "line\\', 'break";',
             P .. 'list.9 = nil;', P .. 'Bad request',
             P .. '["table: 0x?"] = {  -- table: 0x?', '  [1] = 10;', '  [2] = 20;', '  [3] = 30;', '};', 'end') }
--}}}
--{{{ show and tron
add { name = 'show: source listing', prog = 'basic.lua',
  path = ctx.programs .. '/sub/?.lua;' .. ctx.agent_dir .. '/?.lua;;',
  input = { 'show', 'step', 'show 3 basic.lua 1 1', 'show - - 2', 'show 1 nosuch', 'show 2 Util 1', 'run' },
  expect = T(P .. 'Nothing to show', P .. stop('basic.lua', 1, 1), P .. '2\tlocal count = 0', '3***\tlocal later',
             '4\tlocal function add(a, b)', P .. '1***\tlocal t = { name = "basic", list = { 10, 20, 30 } }',
             '2\tlocal count = 0', '3\tlocal later', P .. 'Cannot find nosuch.lua',
             P .. '1\t-- a module found along package.path (for "show")', '2***\tlocal M = {}',
             '3\tfunction M.id(v) return v end', P .. 'x=3 y=6 count=2 later=nil') }
add { name = 'tron: call, return and line tracing', prog = 'basic.lua',
  input = { 'step', 'tron l', 'step', 'tron c', 'step 7', 'tron r', 'step 3', 'tron', 'step', 'run' },
  expect = T(P .. stop('basic.lua', 1, 1), P .. P .. 'CLOCK:01..basic.lua (2) ? (l)', stop('basic.lua', 2, 1),
             P .. P .. 'CLOCK:01..basic.lua (13) add (c)', stop('basic.lua', 7, 2),
             P .. P .. 'CLOCK:01..basic.lua (7) add (r)', stop('basic.lua', 5, 3), P .. P .. stop('basic.lua', 6, 3),
             P .. 'x=3 y=6 count=2 later=nil') }
--}}}
--{{{ Windows file names
-- OS=Windows_NT (tested in lower case): positions and keys in lower case; a
-- key matches the whole name or a tail of it after ':' or '/' (never after a
-- backslash), with or without the extension. Each key on Util.lua's lines 1-3
-- stops once; none of back.lua's line 1 does.
add { name = 'windows: names in lower case, keys matching a tail', prog = 'WinMain.lua', os = 'Windows_NT',
  input = { 'step', 'setb 3 WinMain.LUA', 'listb', 'setb 1 C:/WORK/Lib/Util.lua', 'setb 2 util.lua', 'setb 3 UTIL',
            'setb 1 back.lua', 'setb 1 \\back.lua', 'setb 1 lib/back.lua', 'setb 2 Lib\\Back.lua', 'run', 'run',
            'run', 'run', 'run', 'run' },
  order = { P .. stop('winmain.lua', 1, 1), P .. 'Breakpoint set in file WinMain.LUA line 3',
            P .. 'Break at: 3 in winmain.lua', P .. stop('winmain.lua', 3, 1, true),
            P .. stop('c:/work/lib/util.lua', 1, 2, true), P .. stop('c:/work/lib/util.lua', 2, 2, true),
            P .. stop('c:/work/lib/util.lua', 3, 2, true), P .. stop('lib\\back.lua', 2, 2, true), P .. 'a=8 b=1' },
  absent = { 'lib\\back.lua (1)' } }
-- bytes above 127 belong to a file name, also as its first letter
add { name = 'file name outside ASCII', prog = 'été.lua', input = { 'setb 2 été.lua', 'listb', 'run', 'run' },
  expect = T(P .. 'Breakpoint set in file été.lua line 2', P .. 'Break at: 2 in été.lua',
             P .. stop('été.lua', 2, 1, true), P .. 'v=1') }
--}}}
--{{{ help: the listing (also for an unknown command)
local first = 'pause(msg)          -- start/resume a debugger session'
local statement = '<statement>         -- execute a statement in the current context'
local last = 'what <func>         -- show where <func> is defined (if known)'
add { name = 'help', prog = 'basic.lua', input = { 'help', 'help nosuch' },
  order = { P .. first, statement, last, P .. first, statement, last } }
--}}}

--{{{ where the native line filter decides alone: it must decide as the agent does
-- (coroutines made before and after a breakpoint, the last one deleted;
-- over across tail calls and an error caught by pcall; a breakpoint hit
-- during over, in a coroutine)
local function co_stop(line, level, bp) return P .. '[thread: 0x?] ' .. stop('filter.lua', line, level, bp) end
local filtered = '6\t10\t10\tfalse\t15'
add { name = 'filter: coroutines before and after a breakpoint, the last one deleted', prog = 'filter.lua',
  input = { 'setb 14 filter.lua', 'run', 'setb 6 filter.lua', 'delb 14 filter.lua', 'run', 'run', 'run',
            'delb 6 filter.lua', 'run' },
  expect = T(P .. 'Breakpoint set in file filter.lua line 14', P .. stop('filter.lua', 14, 1, true),
             P .. 'Breakpoint set in file filter.lua line 6', P .. 'Breakpoint deleted from file filter.lua line 14',
             co_stop(6, 2, true), co_stop(6, 2, true), co_stop(6, 2, true),
             P .. 'Breakpoint deleted from file filter.lua line 6', P .. filtered) }
add { name = 'filter: over past pcall and a tail call, out of a tail-called function', prog = 'filter.lua',
  input = { 'setb 19 filter.lua', 'run', 'delb 19 filter.lua', 'over', 'step', 'step', 'out', 'over' },
  expect = T(P .. 'Breakpoint set in file filter.lua line 19', P .. stop('filter.lua', 19, 1, true),
             P .. 'Breakpoint deleted from file filter.lua line 19', P .. stop('filter.lua', 20, 1),
             P .. stop('filter.lua', 18, 2), P .. stop('filter.lua', 2, 3), P .. stop('filter.lua', 6, 2),
             P .. stop('filter.lua', 21, 1), P, filtered) }
add { name = 'filter: a breakpoint reached during over, in a coroutine, out across its yield',
  prog = 'filter.lua',
  input = { 'setb 14 filter.lua', 'run', 'setb 4 filter.lua', 'over', '=i', 'delallb', 'over', 'over', 'out',
            'out' },
  expect = T(P .. 'Breakpoint set in file filter.lua line 14', P .. stop('filter.lua', 14, 1, true),
             P .. 'Breakpoint set in file filter.lua line 4', co_stop(4, 2, true), P .. '1\t',
             P .. 'All breakpoints deleted', co_stop(3, 2), co_stop(4, 2), co_stop(10, 1), P .. stop('filter.lua', 15, 1),
             P, filtered) }
add { name = 'filter: hundreds of hooked coroutines, the last made stops first', prog = 'many.lua',
  input = { 'setb 5 many.lua', 'run', '=n', 'delb 5 many.lua', 'run' },
  expect = T(P .. 'Breakpoint set in file many.lua line 5', P .. '[thread: 0x?] ' .. stop('many.lua', 5, 1, true),
             P .. '300\t', P .. 'Breakpoint deleted from file many.lua line 5', P .. '90300') }
--}}}
--{{{ commands while the program runs (native part only; { wait = s } holds the input back)
local W = { wait = 0.5 }
add { name = 'running: a breakpoint set while a loop runs, a command left for the stop', prog = 'spin.lua',
  native = true,
  input = { 'run', W, 'listb', 'setb 3 spin.lua', W, 'delb 3 spin.lua', 'done = true', 'run' },
  expect = T(P .. 'Breakpoint set in file spin.lua line 3', stop('spin.lua', 3, 2, true),
             P .. 'Break at: 3 in spin.lua', P .. 'Breakpoint deleted from file spin.lua line 3', P .. P .. 'spun\ttrue') }
add { name = 'running: commands typed ahead of run wait for the stop', prog = 'timedc.lua', native = true,
  input = { 'setb 6 timedc.lua', 'run', 'delb 6 timedc.lua', 'run', W },
  expect = T(P .. 'Breakpoint set in file timedc.lua line 6', P .. stop('timedc.lua', 6, 1, true),
             P .. 'Breakpoint deleted from file timedc.lua line 6', P .. 'spun') }
add { name = 'running: step and over break in, then out of the looping function', prog = 'spin.lua', native = true,
  input = { 'run', W, 'step 2', W, 'run', W, 'over', W, 'done = true', 'out', 'run' },
  expect = T(P .. stop('spin.lua', 3, 2), P .. stop('spin.lua', 3, 2), P .. P .. stop('spin.lua', 7, 1),
             P .. 'spun\ttrue') }
-- the levels of a thread in run mode come from its real depth when out
-- arrives; most events there are returns of a C function: out takes its
-- level from a line
add { name = 'running: out of a function that ends by itself, from a loop that calls C', prog = 'timedc.lua',
  native = true, input = { 'run', W, 'out', 'run' },
  expect = T(P .. stop('timedc.lua', 6, 1), P .. 'spun') }
add { name = 'running: a watch set, and exit, which removes the hook', prog = 'unhook.lua', native = true,
  input = { 'run', W, 'setw n < 0', W, 'exit' },
  expect = T(P .. 'Set watch exp no. 1', 'unhooked\ttrue') }
--}}}

return cases
