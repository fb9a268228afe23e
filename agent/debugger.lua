--[[
Lua Debugger - Version 1.20: the command-line debugger agent of the Tarn
Lua debugger plug-in. Written for Lua 5.1.

Usage in a script: local dbg = require 'debugger' ; pause('message')
  pause(msg) opens a session (or, when one is open, stops again); the first
  stop is on the line after the pause() call. A failed assert (through the
  replaced debug.traceback) opens one as well.

Starting a session before the first line of a program (debugger executable):
  1. Load this file into the Lua state and call it (luaL_loadbuffer + lua_call
     with no arguments, or require 'debugger'). It returns the module table
     M = { pause, dump, start, traceback, unhandled, version }; it takes no
     module name of its own (a program may have a debugger module).
  2. Load the program (luaL_loadfile, chunk name "@" .. path).
  3. Call M.start(msg, quit, host) (lua_pcall; quit, if given, is called
     when a session ends; host, if given, is a table of what the host knows:
     write(s) for the agent's output, line_start() to end a line the
     program's output left open, lead, a pattern class of the lead bytes of
     a double-byte ANSI code page, cwd, the working directory with '/'). It opens the session and runs the command loop at once,
     before any line of the program: banner, prompt, and the commands sent
     at start (setb ...) are read and answered there. It returns when a
     stepping command ("step", "over", "out", "run", "goto") or "exit" is
     given. Nothing is reported for this first stop, and eval_env,
     breakfile and breakline are still nil (vars/glob/dump... raise an error,
     which start() passes on to its caller like the hook would).
  4. Call the program's chunk right away (no other Lua call in between):
     "step" stops on its first line, "run" at its first breakpoint, "exit"
     lets it run without the debugger. msg (default: none) is printed as
     "Message: " msg with the first reported stop.
  Calling M.unhandled(error) from the host's message handler stops in the
  frame that failed (Message: the error), before the stack unwinds.
--]]

local VERSION     = '1.20'
local WEB_ADDRESS = 'http://www.brennick.example/tarn/'

local colib              = coroutine
local cocreate, cowrap   = coroutine.create, coroutine.wrap
local coresume, coyield  = coroutine.resume, coroutine.yield
local corunning, costatus = coroutine.running, coroutine.status
local huge               = math.huge

local former_traceback   = debug.traceback
local getinfo, getlocal, setlocal = debug.getinfo, debug.getlocal, debug.setlocal
local getupvalue, setupvalue      = debug.getupvalue, debug.setupvalue
local dgetmetatable, dsetmetatable = debug.getmetatable, debug.setmetatable

local sethook, gethook            = debug.sethook, debug.gethook
local getfenv, setfenv, loadstring, unpack = getfenv, setfenv, loadstring, unpack
local select, type, tostring, tonumber, pairs, ipairs, pcall, xpcall, error =
      select, type, tostring, tonumber, pairs, ipairs, pcall, xpcall, error
local sfind, ssub, sgsub, slower, srep, sformat, smatch, gmatch =
      string.find, string.sub, string.gsub, string.lower, string.rep,
      string.format, string.match, string.gmatch
local tinsert, tremove, tconcat, tsort = table.insert, table.remove, table.concat, table.sort
local rawget, rawset, setmetatable, next = rawget, rawset, setmetatable, next

-- The agent talks through the process's standard streams, captured now: the
-- program's default files (io.output, io.input) are its own business and
-- may be redirected or closed. Its globals are set with rawset, so that a
-- guard on the global table (strict mode) never sees the agent's writes.
local stdout, stdin = io.stdout, io.stdin
local fwrite, fflush, fread = stdout.write, stdout.flush, stdin.read
local globals = getfenv(1)

-- The native line filter (the C module sorbhook), when the host has it: a C
-- hook that calls the agent's hooks only on events that may stop, and takes
-- commands while the program runs. Without it everything runs in Lua. With
-- it debug.gethook still shows the agent's Lua hooks.
local native
do
  local ok, m = pcall(require, 'sorbhook')
  if ok and type(m) == 'table' and m.version == '2' then
    native = m
    gethook = m.gethook
    debug.gethook = m.gethook
  end
end

--{{{ state

local IsWindows = sfind(slower(os.getenv('OS') or ''), '^windows') ~= nil

-- ERROR, an error that nothing caught, is reported as "Error in application file: "
local events = { BREAK = 1, WATCH = 2, STEP = 3, SET = 4, ERROR = 5 }

-- What the command loop yields to the hook (drive): the program goes on
-- (RESUME), the session ends (CLOSE), or a number, the stack level to make
-- the context of (set). The hook resumes the loop with the stop's event,
-- context, file, line and watch index.
local RESUME, CLOSE = 'cont', 'stop'

local breakpoints = {}   -- [line] = { [file] = true }
local watches     = {}   -- [index] = { func = f, exp = text }

local step_into  = false
local step_over  = false
local step_lines = 0

-- Stack, step and trace levels are kept per thread in upvalues of the hook
-- made for it (new_thread); threads maps 'main' and each coroutine to its
-- record.
local weak_keys = { __mode = 'k' }
local threads   = setmetatable({}, weak_keys)
local our_hooks = setmetatable({}, weak_keys)  -- hooks that stand for the agent's

local trace_calls, trace_returns, trace_lines = false, false, false
local ret_file, ret_line, ret_name

local current_thread = 'main'
local started        = false
local pause_off      = false
local pausemsg       = 'pause'
local coro_debugger
local on_quit        -- the host's, called when a session is closed (start)

-- What a host that owns standard output tells the agent (start): how to
-- write without counting as the program's output, how to end a line the
-- program left open, the lead bytes of its ANSI code page (a pattern class)
-- and its working directory (with '/').
local raw_write  = function(s) fwrite(stdout, s) end
local line_start = function() end
local lead, cwd
local traceinfo      = {}

-- Line events in the agent's own functions are skipped, so that stepping
-- never stops inside the agent, except one line of each function in
-- stop_here (function -> line): the final 'end' of pause, which the "stop
-- on the line after pause()" count relies on.
local AGENT_SOURCE = getinfo(1, 'S').source
local stop_here    = {}

-- Run mode (fast): while only a breakpoint can stop the program (no step,
-- watch or tracing), each thread runs the run hook with the mask "lr": a line
-- event whose number is not in `special` (the lines with breakpoints) returns
-- at once, and levels are not counted but taken from the real stack depth at
-- each stop. In any other mode `special` answers true for every line, which
-- sends a thread still on the run hook to the full hook ("crl", counting
-- levels) at its next line event. update_mode keeps these right.
local BREAK_LINE  = 1
local fast        = false
local watching    = false   -- a watch expression that compiled exists
local ALL         = setmetatable({}, { __index = function() return true end })
local special     = ALL
local any_special = true    -- false: run mode without breakpoints

-- over/out: each thread's step level says where it stops (record.set_step):
-- the thread the command was given in at or below its level, the threads
-- that resumed it (back from the resume) at once, others and new ones never.
-- step_funcs holds the functions of the frames at or below the step level,
-- whose lines check the real depth (an error caught by pcall unwinds frames
-- without return events).
local NEVER      = -1
local step_funcs = setmetatable({}, weak_keys)

-- After debug.traceback the stop waits for a line of its caller's (or an
-- outer) function: lines of the thread hold_thread deeper than hold_depth
-- are not counted.
local hold_thread, hold_depth


-- Per function: [line] = false when none of the breakpoints on that line
-- number is in the function's file (run mode; new when breakpoints change).
local break_hits = setmetatable({}, weak_keys)

-- defined further down, with the code that runs in the program's threads
local out, dumpvar, context_meta, update_mode

--}}}
--{{{ output helpers

local function pack(...)
  return { n = select('#', ...), ... }
end

-- A value's text as tostring gives it; but a __tostring that fails or gives
-- no string must not reach the program through the agent: then the text it
-- has without its metatable (type and address) and a note of what went wrong.
local function text(v)
  local ok, s = pcall(tostring, v)
  local t = type(s)
  if ok and (t == 'string' or t == 'number') then return s .. '' end
  local mt = dgetmetatable(v)
  dsetmetatable(v, nil)
  local plain = tostring(v)
  dsetmetatable(v, mt)
  if ok then return plain .. ' (__tostring gave a ' .. t .. ')' end
  return plain .. ' (__tostring failed: ' .. (t == 'string' and s or 'a ' .. t .. ' error') .. ')'
end

local function program_thread()
  if current_thread ~= 'main' then return current_thread end
end

local function thread_prefix()
  if current_thread ~= 'main' then
    return '[' .. text(current_thread) .. '] '
  end
  return ''
end

-- File names are bytes of the ANSI code page: in a double-byte one the
-- second byte of a character may be an ASCII letter, which stays as it is.
local function lower_name(s)
  if not lead or not sfind(s, lead) then return slower(s) end
  local parts, i = {}, 1
  while true do
    local j = sfind(s, lead, i)
    if not j then parts[#parts + 1] = slower(ssub(s, i)) break end
    parts[#parts + 1] = slower(ssub(s, i, j - 1)) .. ssub(s, j, j + 1)
    i = j + 2
  end
  return tconcat(parts)
end

-- A chunk loaded from a string without a name has its code as its source:
-- it goes by its short name ([string "..."]), as in Lua's own messages, so
-- that a position line stays one line and the code is never copied.
local function normalise_file(source, short_src)
  local file = source or '?'
  local c = ssub(file, 1, 1)
  if c == '@' then
    file = ssub(file, 2)
  elseif c ~= '=' and short_src then
    file = short_src
  end
  if IsWindows then file = lower_name(file) end
  return file
end

-- a function's source never changes: its file name, and whether it is one of
-- the agent's own functions, are looked up once
local file_of  = setmetatable({}, weak_keys)
local agent_fn = setmetatable({}, weak_keys)
local function func_file(func)
  local file = file_of[func]
  if not file then
    local ar = getinfo(func, 'S')
    local source = ar.source
    file = normalise_file(source, ar.short_src)
    file_of[func] = file
    if source == AGENT_SOURCE then agent_fn[func] = true end
  end
  return file
end

--}}}
--{{{ contexts

-- The upvalues of func, and the locals of the function at stack level l
-- (counted from the function that iterates), in order: index, name, value.
local function upvalues(func)
  local i = 0
  return function()
    i = i + 1
    local name, value = getupvalue(func, i)
    if name then return i, name, value end
  end
end

local function locals(l)
  local i = 0
  return function()
    i = i + 1
    local name, value = getlocal(l + 1, i)   -- + 1: this function's frame
    if name then return i, name, value end
  end
end

-- the file name of a debug record (getinfo 'S')
local function record_file(ar)
  return normalise_file(ar.source, ar.short_src)
end

-- Context of the function at stack level ref + level, counted from the
-- caller of capture_vars (level 1 of the debugged code when ref is the
-- number of frames between the caller and the debugged function).
local function capture_vars(ref, level, line)
  local lvl = ref + level
  local ar = getinfo(lvl, 'fSl')
  if not ar then return {}, '?', 0 end

  local vars = { __UPVALUES__ = {}, __LOCALS__ = {} }
  local known = {}
  local func, env = ar.func, nil
  if func then
    for i, name, value in upvalues(func) do
      if name ~= '' and ssub(name, 1, 1) ~= '(' then
        vars[name] = value
        vars.__UPVALUES__[i] = name
        known[name] = true
      end
    end
    env = getfenv(func)
    vars.__ENVIRONMENT__ = env
  end
  vars.__GLOBALS__ = getfenv(0)

  for i, name, value in locals(lvl) do
    if ssub(name, 1, 1) ~= '(' then
      vars[name] = value
      vars.__LOCALS__[i] = name
      known[name] = true
    end
  end
  vars.__VARSLEVEL__ = level

  if func then setmetatable(vars, context_meta(known, env, vars)) end

  return vars, record_file(ar), line or ar.currentline
end

-- Writes the locals and upvalues of a context back into its stack level
-- (same ref convention as capture_vars). nil and false are not written.
local function restore_vars(ref, vars)
  if type(vars) ~= 'table' then return end
  local level = rawget(vars, '__VARSLEVEL__')
  if not level then return end
  level = level + ref

  local written = {}
  for i, name in locals(level) do
    local value = ssub(name, 1, 1) ~= '(' and rawget(vars, name)
    if value then
      setlocal(level, i, value)
      written[name] = true
    end
  end

  local ar = getinfo(level, 'f')
  if not ar or not ar.func then return end
  for i, name in upvalues(ar.func) do
    if name ~= '' and ssub(name, 1, 1) ~= '(' and not written[name] then
      local value = rawget(vars, name)
      if value then
        setupvalue(ar.func, i, value)
        written[name] = true
      end
    end
  end
end

--}}}
--{{{ stack trace

-- the names and values of a walk (locals or upvalues), less the internal ones
local function named(walk)
  local names, values = {}, {}
  for _, name, value in walk do
    if ssub(name, 1, 1) ~= '(' then
      tinsert(names, name)
      values[#names] = value
    end
  end
  if #names > 0 then return names, values end
end

-- Captures the stack from level l + 1 (counted from the caller of tracestack).
local function tracestack(l)
  traceinfo = { pausemsg = pausemsg }
  local i = l + 1
  while true do
    local ar = getinfo(i)
    if not ar then break end
    tinsert(traceinfo, ar)
    -- only names found are stored: a nil stored makes a slot of its own,
    -- which changes the order of info's dump
    local names, values
    if ar.what ~= 'C' then
      names, values = named(locals(i + 1))   -- + 1: walked in named
      if names then ar.lnames, ar.lvalues = names, values end
    end
    if ar.func then
      names, values = named(upvalues(ar.func))
      if names then ar.unames, ar.uvalues = names, values end
    end
    i = i + 1
  end
  -- the bottom of a coroutine.wrap body is the agent's tail call into it
  local rec = threads[current_thread]
  if rec and rec.wrapped and traceinfo[#traceinfo].what == 'tail' then
    traceinfo[#traceinfo] = nil
  end
end

local function trace(set)
  for level, ar in ipairs(traceinfo) do
    out('[', level, ']', (level == set) and '***' or '', '\t',
        text(ar.name or ar.what), ' in ', text(ar.short_src), ':',
        text(ar.currentline), '\n')
  end
end

--}}}
--{{{ source listing

local function show(file, line, before, after)
  line   = tonumber(line) or 1
  before = tonumber(before) or 10
  after  = tonumber(after) or before

  if not sfind(file, '%.') then file = file .. '.lua' end

  local f = io.open(file, 'r')
  if not f then
    local path = (package and package.path) or LUA_PATH or ''
    local name = sgsub(file, '%%', '%%%%')
    for entry in gmatch(path, '[^;]+') do
      f = io.open((sgsub(entry, '%?%.lua', name)), 'r')
      if f then break end
    end
    if not f then
      out('Cannot find ', file, '\n')
      return
    end
  end

  local i = 0
  for l in f:lines() do
    i = i + 1
    if i >= line - before then
      if i > line + after then break end
      if i == line then
        out(i, '***\t', l, '\n')
      else
        out(i, '\t', l, '\n')
      end
    end
  end
  f:close()
end

--}}}
--{{{ breakpoints

local function set_breakpoint(file, line)
  if IsWindows then file = lower_name(file) end
  if not breakpoints[line] then breakpoints[line] = {} end
  breakpoints[line][file] = true
end

local function remove_breakpoint(file, line)
  if IsWindows then file = lower_name(file) end
  if breakpoints[line] then breakpoints[line][file] = nil end
end

-- 'sloppy' file names: a key matches the whole name or any tail of it that
-- follows a ':' or '/' (not a backslash), with or without the extension. The
-- names to try depend on the file alone and are kept per file, in a cache
-- bounded by the bytes of its names.
local NAMES_BYTES = 256 * 1024
local names_of, names_bytes = {}, 0
local function key_names(file)
  local names = names_of[file]
  if names then return names end
  names = {}
  local bytes = 0
  local function add(name)
    if IsWindows then name = lower_name(name) end
    while name do
      names[#names + 1] = name
      bytes = bytes + #name
      name = smatch(name, '^[^:/]*[:/](.*)$')
    end
  end
  add(file)
  local noext = sgsub(file, '%..*$', '', 1)
  if noext ~= file then add(noext) end
  -- a name relative to the working directory also goes by its full path
  if cwd and not sfind(file, '^[/\\=%[]') and not sfind(file, '^%a:') then
    local rel = sgsub(file, '^%./', '')
    add(cwd .. '/' .. rel)
    noext = sgsub(rel, '%..*$', '', 1)
    if noext ~= rel then add(cwd .. '/' .. noext) end
  end
  if names_bytes + bytes > NAMES_BYTES then names_of, names_bytes = {}, 0 end
  names_of[file], names_bytes = names, names_bytes + bytes
  return names
end

local function has_breakpoint(file, line)
  local keys = breakpoints[line]
  if not keys or not file then return false end
  local names = key_names(file)
  for i = 1, #names do
    if keys[names[i]] then return true end
  end
  return false
end

-- the break_hits entry of a function (no breakpoint is ever hit in the
-- agent's own functions)
local function func_hits(func)
  local hits = {}
  if func then
    local file = func_file(func)
    local agent = agent_fn[func]
    for line in pairs(breakpoints) do
      if agent or not has_breakpoint(file, line) then hits[line] = false end
    end
    break_hits[func] = hits
  end
  return hits
end


--}}}
--{{{ tracing

local function trace_entry(ev, depth, file, line, name)
  if depth < 0 then depth = 0 end
  line_start()
  out(thread_prefix(), sformat('%08.2f:%02i.', os.clock(), depth),
      srep('.', depth % 32), tostring(file or '?'), ' (', tostring(line or '?'),
      ') ', tostring(name or '?'), ' (', ev, ')\n')
end
--}}}
--{{{ the command loop

-- over (n = 0) and out n: the step level of every thread (see NEVER)
local step_target
local function aim_step(n)
  local here = threads[current_thread]
  step_target = here and here.stack() - n or 0
  if step_target < 0 then step_target = 0 end   -- at the outermost level: as step
  for th, rec in pairs(threads) do
    if rec == here then
      rec.set_step(step_target)
    elseif current_thread ~= 'main' and (th == 'main' or costatus(th) == 'normal') then
      rec.set_step(huge)   -- resumed this thread: stop once back from resume
    else
      rec.set_step(NEVER)
    end
  end
end

-- step_funcs for the thread stopped at level ref (from the caller), which is
-- at stack level s, stepping to level t
local function aim_funcs(ref, s, t)
  step_funcs = setmetatable({}, weak_keys)
  local l = ref + 1 + (s > t and s - t or 0)
  while true do
    local ar = getinfo(l, 'f')
    if not ar then break end
    if ar.func then step_funcs[ar.func] = true end
    l = l + 1
  end
  if native then
    local list = {}
    for f in pairs(step_funcs) do list[#list + 1] = f end
    native.stepfuncs(list)
  end
end

local function report(ev, vars, file, line, idx_watch)

  vars = vars or {}
  file = file or '?'
  line = line or 0
  local prefix = thread_prefix()
  hold_depth = nil
  -- a position line starts a line of its own (the plug-in reads it from the
  -- first colon), also after a prompt the program wrote without a line end
  if ev ~= events.WATCH and ev ~= events.SET then line_start() end
  if ev == events.STEP then
    out(prefix, 'Paused at file: ', file, ' (', line, ') (',
        threads[current_thread].stack(), ')\n')
  elseif ev == events.BREAK then
    out(prefix, 'Paused at file: ', file, ' (', line, ') (',
        threads[current_thread].stack(), ') (breakpoint)\n')
  elseif ev == events.WATCH or ev == events.SET then
    -- nothing (the watch line is deliberately not shown)
  else
    out(prefix, 'Error in application file: ', file, ' (', line, ')\n')
  end
  if ev ~= events.SET then
    if pausemsg and pausemsg ~= '' then
      out('Message: ', text(pausemsg), '\n')
    end
    pausemsg = ''
  end
  return vars, file, line
end

-- Follows the parts of name (what and dump) from the context; returns false
-- and a message, answered like a failed statement, when a part is not
-- indexable or a metamethod fails.
local function follow(name, pattern, numbers)
  local n
  local ok, v = pcall(function()
    local v = eval_env
    for w in gmatch(name, pattern) do
      local mt = dgetmetatable(v)
      if type(v) ~= 'table' and not (mt and mt.__index) then
        error(sformat("attempt to index '%s' (a %s value)", n or 'eval_env', type(v)), 0)
      end
      n = n and n .. '.' .. w or w
      if numbers and sfind(w, '^%d+$') then v = v[tonumber(w)] else v = v[w] end
      if not v then break end
    end
    return v
  end)
  return ok, v, n
end

-- reads the arguments of a command line by a string of argument letters (F L N V S)
local function getargs(args, letters)
  local res = {}
  local pos = 1
  for i = 1, #letters do
    local c = ssub(letters, i, i)
    -- bytes above 127 are letters of the ANSI code page (file names)
    local _, e, arg = sfind(args, '^%s*([%w%p\128-\255]*)', pos)
    if e then pos = e + 1 else arg = '' end
    if c == 'F' then
      if arg == '' or arg == '-' then arg = rawget(globals, 'breakfile') end
    elseif c == 'L' then
      if arg == '' or arg == '-' then arg = rawget(globals, 'breakline') end
      arg = tonumber(arg or '') or 0
    elseif c == 'N' then
      arg = tonumber(arg) or 0
    end
    res[i] = arg or ''
  end
  return unpack(res, 1, #letters)
end

-- a command line: its command word and the rest
local function split_command(line)
  local s, e = sfind(line, '^[a-z]+')
  if not s then return '', '' end
  return ssub(line, s, e), (sgsub(ssub(line, e + 1), '^%s*', ''))
end

local function bad_request() out('Bad request\n') end

local function stepping(into, over, lines)
  step_into, step_over = into, over
  if lines then step_lines = lines end
end

-- Yields to the hook what the program does next (RESUME, CLOSE or a level
-- for the context) and takes the next stop's context as the current one.
local function resume_program(what)
  local env, file, line = report(coyield(what))
  rawset(globals, 'eval_env', env)
  rawset(globals, 'breakfile', file)
  rawset(globals, 'breakline', line)
end

-- The commands, in the order of the help listing: each entry has its name,
-- its argument letters (see getargs), its handler, called with the rest of
-- the line and the arguments its letters read (a handler that returns a
-- value ends the command loop with it), whether it is also taken while the
-- program runs (native part), and its help text and summary (at the end of
-- this file). commands[name] is the entry of that name.
local commands = {}
local function command(name, letters, run, running)
  local c = { name = name, letters = letters or '', run = run, running = running }
  commands[#commands + 1] = c
  commands[name] = c
end

local function invoke(c, args)
  return c.run(args, getargs(args, c.letters))
end

command('pause', nil, function()
  out('pause() should only be used in the script you are debugging\n')
end)

command('poff', nil, function() pause_off = true end)

command('pon', nil, function() pause_off = false end)

command('setb', 'LF', function(_, ln, file)
  if file == '' then return bad_request() end
  set_breakpoint(file, ln)
  out('Breakpoint set in file ', file, ' line ', ln, '\n')
end, true)

command('delb', 'LF', function(_, ln, file)
  if file == '' then return bad_request() end
  remove_breakpoint(file, ln)
  out('Breakpoint deleted from file ', file, ' line ', ln, '\n')
end, true)

command('delallb', nil, function()
  breakpoints = {}
  out('All breakpoints deleted\n')
end, true)

command('setw', nil, function(args)
  if args == '' then return bad_request() end
  local func = loadstring('return(' .. args .. ')')
  local idx = #watches + 1
  watches[idx] = { func = func, exp = args }
  out('Set watch exp no. ', idx, '\n')
end, true)

command('delw', 'S', function(_, idx)
  idx = tonumber(idx)
  if not idx then return bad_request() end
  watches[idx] = nil
  out('Watch expression deleted\n')
end, true)

command('delallw', nil, function()
  watches = {}
  out('All watch expressions deleted\n')
end, true)

command('run', nil, function()
  stepping(false, false)
  resume_program(RESUME)
end)

command('step', 'S', function(_, n)
  stepping(true, false, tonumber(n) or 1)
  resume_program(RESUME)
end)

command('over', 'S', function(_, n)
  stepping(false, true, tonumber(n) or 1)
  aim_step(0)
  resume_program(RESUME)
end)

command('out', 'S', function(_, n)
  stepping(false, true, 1)
  aim_step(tonumber(n) or 1)
  resume_program(RESUME)
end)

command('goto', 'S', function(_, ln)
  ln = tonumber(ln)
  local file = rawget(globals, 'breakfile')
  if not (ln and file) then return bad_request() end
  stepping(false, false)
  if has_breakpoint(file, ln) then return resume_program(RESUME) end
  set_breakpoint(file, ln)
  resume_program(RESUME)
  if rawget(globals, 'breakfile') == file and rawget(globals, 'breakline') == ln then
    remove_breakpoint(file, ln)
  end
end)

command('listb', nil, function()
  for ln, files in pairs(breakpoints) do
    for file in pairs(files) do
      out('Break at: ', ln, ' in ', file, '\n')
    end
  end
end)

command('listw', nil, function()
  local keys = {}
  for k in pairs(watches) do tinsert(keys, k) end
  tsort(keys)
  for _, k in ipairs(keys) do
    out('Watch exp. ', k, ': ', watches[k].exp, '\n')
  end
end)

command('set', 'S', function(args, level)
  if args ~= '' then resume_program(level) end
  level = eval_env.__VARSLEVEL__
  if level then
    out('Level: ', level, '\n')
  else
    out('No level set\n')
  end
end)

command('vars', 'N', function(_, depth) dumpvar(eval_env, depth + 1, 'variables') end)

command('fenv', 'N', function(_, depth) dumpvar(eval_env.__ENVIRONMENT__, depth + 1, 'environment') end)

command('glob', 'N', function(_, depth) dumpvar(eval_env.__GLOBALS__, depth + 1, 'globals') end)

command('ups', nil, function() dumpvar(eval_env.__UPVALUES__, 2, 'upvalues') end)

command('locs', nil, function() dumpvar(eval_env.__LOCALS__, 2, 'upvalues') end)

command('dump', 'VN', function(_, name, depth)
  if name == '' then return bad_request() end
  if depth == 0 then depth = 1 end
  local ok, v, n = follow(name, '[^%.]+', true)
  if ok then dumpvar(v, depth + 1, n) else out('Run error: ', text(v), '\n') end
end)

command('tron', nil, function(args)
  trace_calls   = sfind(args, 'c') ~= nil
  trace_returns = sfind(args, 'r') ~= nil
  trace_lines   = sfind(args, 'l') ~= nil
end)

command('trace', nil, function()
  trace(type(eval_env) == 'table' and rawget(eval_env, '__VARSLEVEL__') or nil)
end)

command('info', nil, function() dumpvar(traceinfo, 0, 'traceinfo') end)

command('show', 'LFNN', function(_, ln, file, before, after)
  if before == 0 then before = 10 end
  if after == 0 then after = before end
  if file ~= '' and file ~= '=stdin' then
    show(file, ln, before, after)
  else
    out('Nothing to show\n')
  end
end)

command('exit', nil, function() return CLOSE end)

command('help', 'S', function(_, topic)
  local c = topic ~= '' and commands[topic]
  if c and c.help then return out(c.help, '\n') end
  for _, entry in ipairs(commands) do out(entry.summary, '\n') end
end)

command('<statement>')   -- help only: any line that is no command

command('what', 'V', function(_, name)
  if name == '' then return bad_request() end
  local ok, v = follow(name, '[%w_]+', false)
  if not ok then
    out('Run error: ', text(v), '\n')
  elseif type(v) == 'function' then
    local def = getinfo(v, 'S')
    out(def.what, ' in ', def.short_src, ' ', def.linedefined, '..', def.lastlinedefined, '\n')
  else
    out(text(v), ' is not a function\n')
  end
end)

-- a statement, executed in the context
local function statement(line)
  local src = sgsub(line, '^=', 'return ')
  local ok, func = pcall(loadstring, src)
  if not ok then
    return out('Compile error: ', tostring(func), '\n')
  elseif not func then
    return out('Compile error: ', line, '\n')
  end
  setfenv(func, eval_env)
  -- the program's thread, not the loop's, is the running one here
  local running = rawget(colib, 'running')
  if running == corunning then rawset(colib, 'running', program_thread) end
  local res = pack(pcall(func))
  if running == corunning then rawset(colib, 'running', running) end
  if not res[1] then
    return out('Run error: ', text(res[2]), '\n')
  end
  if res[2] then
    local texts = {}
    for k = 2, res.n do texts[k - 1] = text(res[k]) .. '\t' end
    out(tconcat(texts), '\n')
  end
  resume_program(0)
end

-- lines read while the program ran that wait for the next stop; past
-- PENDING_MAX the agent reads no more until then
local pending, PENDING_MAX = {}, 64

-- a command line from standard input (the native part reads it when it
-- looks at the input while the program runs)
local read_line = function() return fread(stdin, '*l') end

local function debugger_loop()
  line_start()
  out('Lua Debugger - Version ', VERSION, '\n')
  out('Designed to work with the Tarn for Windows IDE\n')
  out(WEB_ADDRESS, '\n')
  out('\n')
  out("Type 'help' for commands\n")

  while true do
    out('[DEBUG]> ')
    local line = tremove(pending, 1)
    if not line then
      line = read_line()
      if line == nil then
        out('\n')
        line = 'exit'
      end
    end
    line = sgsub(line, '\r$', '')   -- a CR-LF line end from a Windows pipe
    local name, args = split_command(line)
    local c = commands[name]
    if c and c.run then
      local result = invoke(c, args)
      if result then return result end
    elseif line ~= '' then
      statement(line)
    end
  end
end

-- no hook of the agent's in the running thread
local function unhook()
  if native then native.sethook() else sethook() end
end

-- the end of a session: "exit", the end of input
local function close_session()
  started = false
  unhook()
  if native then native.resume(false) end
  update_mode()
  if on_quit then on_quit() end
end

-- Runs the command loop for a stop and acts on what it yields. ref is the
-- number of frames between drive's caller's callees and the stopped
-- function (see capture_vars). Returns true when the program goes on under
-- the debugger, false when the session has been closed.
local function drive(ref, ev, vars, file, line, idx)
  local last = 1
  local ok, nxt = coresume(coro_debugger, ev, vars, file, line, idx)
  while true do
    if not ok then
      started = false
      unhook()
      update_mode()
      error(nxt, 0)
    end
    if nxt == RESUME then
      update_mode()
      local rec = threads[current_thread]
      if rec then
        if step_over then aim_funcs(ref, rec.stack(), step_target) end
        rec.install()
      end
      if native then native.resume() end
      return true
    elseif nxt == CLOSE then
      close_session()
      return false
    elseif tonumber(nxt) then
      local n = tonumber(nxt)
      if n == 0 then n = last end
      last = n
      restore_vars(ref, vars)
      vars, file, line = capture_vars(ref, n)
      ok, nxt = coresume(coro_debugger, events.SET, vars, file, line, idx)
    else
      out('Unknown command from debugger_loop: ', tostring(nxt), '\n')
      out('Stopping debugger\n')
      nxt = CLOSE
    end
  end
end

-- over or out sent while the program runs, in the running thread, whose
-- function is at level l as counted here
local function step_running(command, args, l)
  local co = corunning()
  current_thread = co and threads[co] and co or 'main'
  local rec = threads[current_thread]
  rec.sync(l)   -- levels are not counted in run mode
  local n = tonumber((getargs(args, 'S')))
  if command == 'over' then
    stepping(false, true, n or 1)
    aim_step(0)
  else
    stepping(false, true, 1)
    aim_step(n or 1)
  end
  update_mode()
  aim_funcs(l, rec.stack(), step_target)
end

-- Commands sent while the program runs (native part only). The C hook calls
-- this between two events of the running thread, as it calls a hook: level
-- 2 is the function of the event. Commands on breakpoints and watches are
-- answered at once; step, over and out stop at the next line that
-- qualifies; exit ends the session; anything else waits for the next stop.
local function running_input()
  local ar = getinfo(2, 'S')
  if ar and ar.source == AGENT_SOURCE then return end   -- in the agent: later
  while true do
    if #pending >= PENDING_MAX then   -- a flood: the rest stays in the pipe
      native.resume(false)
      return
    end
    local line = read_line()
    if line == nil then   -- the end of input: the next stop reads it again
      native.input(false)
      return
    end
    local command, args = split_command((sgsub(line, '\r$', '')))
    local c = commands[command]
    if c and c.running then
      line_start()
      invoke(c, args)
      update_mode()
    elseif command == 'step' then
      stepping(true, false, tonumber((getargs(args, 'S'))) or 1)
      update_mode()
      return
    elseif command == 'over' or command == 'out' then
      step_running(command, args, 3)
      return
    elseif command == 'exit' then
      close_session()
      return
    else
      pending[#pending + 1] = line
    end
    if not native.waiting() then return end
  end
end

-- the native part's question: may a breakpoint be on this line of source?
local function native_hits(source, short_src, line)
  if source == AGENT_SOURCE then return false end
  return has_breakpoint(normalise_file(source, short_src), line)
end

if native then
  native.callbacks(native_hits, running_input)
  if native.input(true) then read_line = native.readline end
end

--}}}
--{{{ code that runs in the program's threads
-- Everything from here to the end of traceback can run in the debugged
-- program's threads (called by the program, or through the context tables).
-- Line events in these functions are skipped (none of them stops in run mode).


function out(...)
  raw_write(tconcat({...}))  -- one write: the reader sees whole lines
  fflush(stdout)
end

--{{{ dumping values

local dumpvisited

local function dumpval(level, name, value, limit)
  local label
  if type(name) == 'number' then
    label = sformat('[%d] = ', name)
  elseif name == '__VARSLEVEL__' or name == '__ENVIRONMENT__' or name == '__GLOBALS__'
      or name == '__UPVALUES__' or name == '__LOCALS__' then
    return
  elseif type(name) == 'string' and sfind(name, '^[_%a][_.%w]*$') then
    label = name .. ' = '
  else
    label = sformat('[%q] = ', text(name))
  end
  local indent = srep('  ', level)
  if type(value) == 'table' then
    if dumpvisited[value] then
      out(indent, label, 'ref', sformat('%q', text(value)), ';\n')
    else
      dumpvisited[value] = true
      if limit > 0 and level + 1 >= limit then
        out(indent, label, text(value), '\n')
      else
        out(indent, label, '{  -- ', text(value), '\n')
        for k, v in pairs(value) do
          dumpval(level + 1, k, v, limit)
        end
        out(indent, '};\n')
      end
    end
  elseif type(value) == 'string' then
    if #value > 40 then
      out(indent, label, '[[', value, ']];\n')
    else
      out(indent, label, sformat('%q', value), ';\n')
    end
  else
    out(indent, label, text(value), ';\n')
  end
end

function dumpvar(value, limit, name)
  dumpvisited = {}
  dumpval(0, name or text(value), value, limit or 0)
  dumpvisited = nil
end

--}}}
--{{{ contexts and modes

-- names that are not locals or upvalues live in the function's environment;
-- a local or upvalue that is nil stays in the context. The environment's own
-- metamethods are reached from the statement's chunk (the environment as the
-- context's __index) or by a tail call, so that an error they raise (a strict
-- guard on globals) names the statement, never a line of the agent.
function context_meta(known, env, vars)
  local holes = false
  for k in pairs(known) do holes = holes or rawget(vars, k) == nil end
  if not holes then return { __index = env, __newindex = env } end
  return {
    __index = function(t, k)
      if known[k] then return nil end
      local v = rawget(env, k)
      if v ~= nil then return v end
      local h = (dgetmetatable(env) or {}).__index
      if type(h) == 'function' then return h(env, k) end
      if h then return h[k] end
    end,
    __newindex = function(t, k, v)
      if known[k] then rawset(t, k, v) return end
      local h = (dgetmetatable(env) or {}).__newindex
      if rawget(env, k) ~= nil or not h then rawset(env, k, v)
      elseif type(h) == 'function' then return h(env, k, v)
      else h[k] = v end
    end,
  }
end

-- after anything that changes what can stop the program
function update_mode()
  watching = false
  for _, w in pairs(watches) do
    if w.func then watching = true break end
  end
  fast = started and not (step_into or step_over or watching
                          or trace_calls or trace_returns or trace_lines)
  break_hits = setmetatable({}, weak_keys)
  if fast then
    local s = {}
    for l, files in pairs(breakpoints) do
      if next(files) then s[l] = BREAK_LINE end
    end
    special = s
    any_special = next(s) ~= nil
  else
    special = ALL
    any_special = true
  end
  if native then
    -- what the C hook may decide alone: "run" (special lines), "over"
    -- (levels counted in C, special lines) or nothing ("all")
    local kind, lines = 'all', {}
    if fast then
      kind = 'run'
    elseif started and step_over and not (step_into or watching
                                          or trace_calls or trace_returns or trace_lines) then
      kind = 'over'
    end
    for l, files in pairs(breakpoints) do
      if next(files) and l >= 0 and l < 2147483647 and l % 1 == 0 then lines[#lines + 1] = l end
    end
    native.config(kind, lines)
  end
end

--}}}
--{{{ the hook

-- Number of frames from level l (counted from the caller) to the bottom of
-- the running thread's stack; lost tail calls count, as getinfo counts them.
local function stack_depth(l)
  l = l + 1
  if not getinfo(l, '') then return 0 end
  local lo, hi = l, l + 1
  while getinfo(hi, '') do lo, hi = hi, hi * 2 end
  while hi - lo > 1 do
    local mid = lo + (hi - lo - (hi - lo) % 2) / 2
    if getinfo(mid, '') then lo = mid else hi = mid end
  end
  return lo - l + 1
end

-- Watch expressions run in watch_env, which looks each name up when it is
-- read, in the function of the line event (watch_target), as its context
-- would: locals, then upvalues, then its environment. Far cheaper per line
-- than building the context. Frames from __index: the watch chunk, pcall,
-- watch_hit, full_event, the hook, the function of the event.
local watch_chunk, watch_target
local function watch_lookup(_, k)
  local c = 2
  while true do
    local ar = getinfo(c, 'f')
    if not ar then return nil end
    if ar.func == watch_chunk then break end
    c = c + 1
  end
  -- plain loops, not the walks: this runs for each name of a watch on
  -- every line
  local lvl, found, value = c + 5, false, nil
  local i = 1
  while true do
    local name, v = getlocal(lvl, i)
    if not name then break end
    if name == k then found, value = true, v end
    i = i + 1
  end
  if found then return value end
  i = 1
  while true do
    local name, v = getupvalue(watch_target, i)
    if not name then break end
    if name == k then return v end
    i = i + 1
  end
  if k == '__GLOBALS__' then return getfenv(0) end
  local env = getfenv(watch_target)
  if k == '__ENVIRONMENT__' then return env end
  return env[k]
end
local watch_env = setmetatable({}, {
  __index = watch_lookup,
  __newindex = function(_, k, v) getfenv(watch_target)[k] = v end,
})

-- The trace lines of an event of a thread at stack level slevel whose last
-- traced level is tlevel; returns the new traced level. Levels: 1
-- trace_event, 2 its caller (in the hook), level + 1 the function of the
-- event.
local function trace_event(event, line, level, slevel, tlevel)
  if event == 'return' and trace_returns then
    local ar = getinfo(level + 1, 'Sln')
    if ar then
      ret_file, ret_line, ret_name = record_file(ar), ar.currentline, ar.name
    end
  end
  if event ~= 'line' then return tlevel end
  if trace_calls and slevel > tlevel then
    local caller = getinfo(level + 2, 'Sl')
    local called = getinfo(level + 1, 'n')
    trace_entry('c', slevel - 1, caller and record_file(caller),
                caller and caller.currentline, called and called.name)
  end
  if trace_returns and slevel < tlevel then
    trace_entry('r', slevel, ret_file, ret_line, ret_name)
  end
  if trace_lines then
    local ar = getinfo(level + 1, 'Sn')
    trace_entry('l', slevel, ar and record_file(ar), line, ar and ar.name)
  end
  return slevel
end

-- The index of the first watch expression that holds at a line event of
-- func, if any. Frames: 1 watch_hit, 2 full_event, 3 the hook, 4 the
-- function of the event (see watch_lookup).
local function watch_hit(func)
  local idx
  watch_target = func
  for i, w in pairs(watches) do
    if w.func then
      watch_chunk = w.func
      setfenv(w.func, watch_env)
      local ok, res = pcall(w.func)
      if ok and res then
        idx = i
        break
      end
    end
  end
  watch_chunk, watch_target = nil, nil
  return idx
end

-- Counts a line of a step in thread th, whose function is at level l as
-- counted here; true when the step ends there. After a traceback stop the
-- lines deeper than its caller's do not count (hold).
local function step_ends(th, l)
  if hold_depth and th == hold_thread and stack_depth(l) > hold_depth then
    return false
  end
  step_lines = step_lines - 1
  return step_lines < 1
end

-- The function of a line event at level l as counted here, its file and
-- its line; no file for a line of the agent's own that never stops. (It
-- runs on every line while stepping: the file is looked up in place.)
local function event_place(l, line)
  local func = getinfo(l, 'f').func
  local ln = line or getinfo(l, 'l').currentline
  if not func then return nil, record_file(getinfo(l, 'S')), ln end   -- a lost tail call
  local file = file_of[func] or func_file(func)
  if agent_fn[func] and stop_here[func] ~= ln then return end
  return func, file, ln
end

-- Whether a line event of func in thread rec ends a step, with the thread's
-- levels stack and step and the function at level l as counted here. Asked
-- only when the step may end here or the thread's count may be wrong.
local function step_stops(rec, th, func, stack, step, l)
  if step_over and stack > step and step_funcs[func] then
    rec.sync(l)   -- recursion, or frames lost to an error
    stack = rec.stack()
  end
  return (step_into or (step_over and stack <= step)) and step_ends(th, l + 1)
end

-- Stops the program in thread rec at the function of an event, at level l
-- as counted here: the thread's levels, the context, the stack, then the
-- command loop.
local function stop(rec, ev, line, idx, l)
  rec.sync(l)
  local vars, file, ln = capture_vars(l, 1, line)
  tracestack(l)
  drive(l + 1, ev, vars, file, ln, idx or 0)
end

local new_thread

-- The run hook (run mode), one for every thread: most line events return
-- here, before anything of the thread is needed; the ones that may stop go
-- on to the full event of the running thread, at the same stack level.
local function run_hook(event, line)
  local ln = line
  if not ln then
    if event ~= 'tail return' or not any_special then return end
    ln = getinfo(2, 'l').currentline
  end

  local s = special[ln]
  if not s then return end
  if s == BREAK_LINE then
    -- a line number with breakpoints, maybe all in other files
    local func = getinfo(2, 'f').func
    local hits = break_hits[func]
    if not hits then hits = func_hits(func) end
    if hits[ln] == false then return end
  end
  -- (a thread of its own for a coroutine the program gave this hook)
  local co = corunning()
  local rec = threads[co or 'main'] or new_thread(co)
  rec.event(event, line)
end
our_hooks[run_hook] = true

-- The full hook of one thread ('main' or a coroutine) and that thread's
-- levels: the returned record installs the hook of the session's mode and
-- gives access to the levels. A level is the depth of a frame less the
-- thread's base (main: the depth of the caller of start or pause; a
-- coroutine: 1, its body's frame and the tail call into the function).
-- The levels are upvalues, not fields: the full hook counts them on every
-- call and return.
function new_thread(th, base0)
  local stack, trace, step, base = 0, 0, NEVER, base0 or 0
  local mode    -- 'run' or 'full': the hook this thread runs
  local full_hook
  local rec = {}

  -- the native part's view of the levels: it counts them while stepping
  -- over and gives its count back before the agent's hook runs
  local function access(s)
    if s then stack = s end
    return stack, step
  end

  -- levels from the real depth of the frame at level l (from the caller)
  local function sync(l)
    local s = stack_depth(l + 1) - base
    if s < 0 then base, s = base + s, 0 end
    stack, trace = s, s
  end

  -- every event of the full hook but its calls and returns, and the line
  -- events of the run hook that may stop
  local function full_event(event, line)
    local level = 3   -- 1 full_event, 2 the hook, 3 the function of the event
    if not started then
      unhook()
      mode = nil
      return
    end
    current_thread = th
    if fast == (mode == 'full') then   -- the session changed modes
      if not fast then sync(level) end   -- nothing was counted in run mode
      rec.install()
    end
    fflush(stdout)
    if event == 'call' or event == 'return' then
      trace = trace_event(event, line, level, stack, trace)
      if event == 'call' then
        stack = stack + 1
      elseif stack > 0 then
        stack = stack - 1
      end
      return
    end

    -- line events, and deliberately also 'tail return', which also ends the
    -- level of a lost tail call
    if event == 'tail return' and stack > 0 then stack = stack - 1 end
    local func, file, ln = event_place(level + 1, line)
    if not file then return end
    if trace_calls or trace_returns or trace_lines then
      trace = trace_event(event, line, level, stack, trace)
    else
      trace = stack
    end

    -- what stops here: a watch, a step, a breakpoint (in this order)
    local ev
    local idx = watching and watch_hit(func)
    if idx then
      ev = events.WATCH
    elseif (step_into or (step_over and (stack <= step or step_funcs[func])))
        and step_stops(rec, th, func, stack, step, level + 1) then
      ev = events.STEP
    elseif has_breakpoint(file, ln) then
      ev = events.BREAK
    end
    if not ev then return end
    stop(rec, ev, line, idx, level + 1)
    if event == 'tail return' and stack > 0 then stack = stack - 1 end
  end

  function full_hook(event, line)
    if line or event == 'tail return' or fast or not started then
      full_event(event, line)
      return
    end
    current_thread = th
    fflush(stdout)
    if event == 'call' then
      stack = stack + 1
    else
      if trace_returns then trace_event(event, line, 2, stack, trace) end
      if stack > 0 then stack = stack - 1 end
    end
  end

  rec.hook, rec.event = full_hook, full_event
  function rec.stack() return stack end
  function rec.set_step(v) step = v end
  function rec.reset(s, b) stack, trace, step, base = s, 0, NEVER, b or base end
  function rec.sync(l) sync(l + 1) end
  -- Sets the hook of the mode in this thread: co, or else the running one.
  -- NB: no call after the hook is set: the events that the new hook sees
  -- before the program's next line (returns of ours) are counted by the
  -- native part, which looks at the input every so many events.
  function rec.install(co)
    local hook, mask = full_hook, 'crl'
    if fast then hook, mask = run_hook, 'lr' end
    mode = fast and 'run' or 'full'
    if native then
      if co then native.sethook(co, hook, mask, access) else native.sethook(hook, mask, access) end
    elseif co then sethook(co, hook, mask) else sethook(hook, mask) end
  end
  our_hooks[full_hook] = true
  threads[th] = rec
  return rec
end

local main_thread = new_thread('main')
local debug_hook  = main_thread.hook   -- stands for any hook of the agent's

--}}}
--{{{ public functions

-- NB: the line layout of pause() matters: after the flags are set exactly
-- one more line event (the final 'end') happens inside pause, so with
-- lines = 2 the program stops on the line after the pause() call.
local function pause_impl(x)
  if pause_off then return end
  hold_depth = nil
  pausemsg = x or 'pause'
  local lines = 2
  local caller = getinfo(2, 'S')
  if caller and caller.short_src == 'stdin' then lines = 1 end
  if started then
    step_lines = lines
    step_into  = true
    update_mode()
  else
    coro_debugger = cocreate(debugger_loop)   -- before the hook: no hook in it
    local co = corunning()
    local rec = co and (threads[co] or new_thread(co)) or main_thread
    current_thread = co or 'main'
    rec.reset(1, stack_depth(2))   -- the caller of pause is at level 0
    step_lines = lines
    step_into  = true
    started    = true
    update_mode()
    rec.install()
  end
end
rawset(globals, 'pause', pause_impl)
stop_here[pause_impl] = getinfo(pause_impl, 'S').lastlinedefined

local function dump(v, depth)
  dumpvar(v, (depth or 1) + 1, text(v))
end
rawset(globals, 'dump', dump)

-- Host entry: open a session and run the command loop now, before the
-- program's first line (see the comment at the top of this file). quit, if
-- given, is called whenever a session is closed ("exit", end of input).
-- host, if given, tells what the host knows (see raw_write and line_start).
local function start(msg, quit, host)
  if quit then on_quit = quit end
  if type(host) == 'table' then
    raw_write  = host.write or raw_write
    line_start = host.line_start or line_start
    lead, cwd  = host.lead, host.cwd
    names_of, names_bytes = {}, 0
  end
  if started then
    if msg then pausemsg = msg end
    step_lines = 1
    step_into  = true
    update_mode()
    return
  end
  pausemsg = msg or ''
  coro_debugger = cocreate(debugger_loop)
  current_thread = 'main'
  main_thread.reset(1, stack_depth(2))   -- the program is called from our caller
  step_lines = 1
  step_into  = true
  started    = true
  update_mode()
  tracestack(2)
  local vars, file, line = capture_vars(2, 1)
  if not drive(3, events.STEP, vars, file, line, 0) then return end
  return main_thread.install()   -- NB: the last line event of start()
end

-- Host entry, as the message handler of the program's call: an error that
-- nothing caught stops in the frame that raised it, before the stack unwinds
-- (frames of C functions such as error() and of the agent are passed over).
-- Reported as ERROR with the error as the message; a closed session opens.
local function unhandled(msg)
  local level = 2
  local ar = getinfo(level, 'S')
  while ar and (ar.what == 'C' or ar.source == AGENT_SOURCE) do
    level = level + 1
    ar = getinfo(level, 'S')
  end
  if not ar then return end
  if not started then
    coro_debugger = cocreate(debugger_loop)
    started = true
  end
  pausemsg = text(msg)
  current_thread = 'main'
  tracestack(level)
  local vars, file, line = capture_vars(level, 1)
  drive(level + 1, events.ERROR, vars, file, line, 0)
end

-- coroutines created under the debugger run with a hook of their own (or,
-- under a hook of the program's, with that one, told which coroutine it is)
local function hooked_body(f, hook, mask, count)
  return function(...)
    local co = corunning()
    local rec = new_thread(co, 1)   -- its body: this frame and the tail call into f
    rec.wrapped = true
    if hook ~= debug_hook then
      local h = function(event, line) hook(event, line, 3, co) end
      our_hooks[h] = true
      sethook(h, mask, count) return f(...)   -- NB: one line
    end
    rec.install() return f(...)   -- NB: one line
  end
end

local function current_hook()
  local hook, mask, count = gethook()
  if type(hook) ~= 'function' then return nil end
  if our_hooks[hook] then hook = debug_hook end
  return hook, mask, count
end

-- What is no Lua function fails as without the agent: the error of the
-- former functions, named and placed as the program called the replacement.
local function check_lua_function(f)
  if type(f) == 'function' and getinfo(f, 'S').what ~= 'C' then return end
  local ar = getinfo(2, 'n')
  local msg = "bad argument #1 to '" .. (ar.name or '?') .. "' (Lua function expected)"
  if ar.namewhat == 'method' then
    msg = "calling '" .. ar.name .. "' on bad self (Lua function expected)"
  end
  error(msg, 3)
end

-- (create hooks the new coroutine from here: no frame of ours is in it)
function coroutine.create(f)
  check_lua_function(f)
  local hook, mask, count = current_hook()
  if hook == debug_hook then
    local co = cocreate(f)
    new_thread(co, 0).install(co)
    return co
  end
  if hook then return cocreate(hooked_body(f, hook, mask, count)) end

  return cocreate(f)
end

function coroutine.wrap(f)
  check_lua_function(f)
  local hook, mask, count = current_hook()
  if hook then return cowrap(hooked_body(f, hook, mask, count)) end
  return cowrap(f)
end

-- Whether the replaced traceback (called from the function at level 2 of
-- it) is the message handler of an error that nothing catches, as the
-- stand-alone interpreter's handler calls it: no line of the program runs
-- after that. A call by name or a tail call is no handler; resume catches
-- what fails in a coroutine.
local function uncaught()
  local ar = getinfo(3, 'S')
  if corunning() or getinfo(2, 'n').namewhat ~= '' or not ar or ar.what == 'tail' then
    return false
  end
  local l = 3
  while true do
    ar = getinfo(l, 'f')
    if not ar then return true end
    if ar.func == pcall or ar.func == xpcall then return false end
    l = l + 1
  end
end

-- The result the former debug.traceback gives the caller of traceback
-- (called from it with its arguments), and the message.
local function former_result(...)
  local n = select('#', ...)
  local a1, a2, a3 = ...
  if type(a1) == 'thread' and a1 ~= corunning() then
    return former_traceback(...), a2   -- another thread: no frame of ours in it
  end
  -- the result plain Lua gives: two levels further up (this function and
  -- traceback), and no message at all is not an empty message
  local co = type(a1) == 'thread' and a1
  if co then n, a1, a2 = n - 1, a2, a3 end
  local level = (tonumber(a2) or 1) + 2
  if n == 0 then
    return sgsub(co and former_traceback(co, '', level) or former_traceback('', level), '^\n', ''), a1
  elseif type(a1) ~= 'string' and type(a1) ~= 'number' then
    return a1, a1
  elseif co then
    return former_traceback(co, a1, level), a1
  end
  return former_traceback(a1, level), a1
end

-- debug.traceback: the former result, after pause(message); the stop is on
-- the next line of the caller (or of a function further out), never in the
-- agent, or at once in the failing frame when nothing catches the error
local function traceback(...)
  local result, msg = former_result(...)
  if pause_off then return result end
  if uncaught() then
    unhandled(msg)
  else
    pause_impl(msg)
    hold_thread, hold_depth = corunning() or 'main', stack_depth(2)
  end
  return result
end
debug.traceback = traceback
rawset(globals, '_TRACEBACK', traceback)



--}}}
--}}}

--{{{ help texts

-- The commands' help: the first line, up to "|", is the summary in the
-- listing; the whole text answers "help <command>".
local help = {}

help.pause = [[
pause(msg)          -- start/resume a debugger session|

This can only be used in your code or from the console as a means to
start/resume a debugger session. A session that is not open is opened:
the debugger stops on the line after the pause() call. If one is open the
program stops there again.
If msg is given that is shown (as "Message: msg") when the session stops,
useful to give a context if you've instrumented your code with pause().
Typed as a debugger command it only says that it belongs in your script.
]]

help.poff = [[
poff                -- turn off pause() command|

Causes all pause() statements to be ignored. This is useful if you have
instrumented your code in a busy loop and want to continue normal execution
with no further interruption. No reply.
]]

help.pon = [[
pon                 -- turn on pause() command|

Re-instates honouring the pause() statements in the debugged program.
No reply.
]]

help.setb = [[
setb [line file]    -- set a breakpoint to line/file|

If file is omitted or is "-" the breakpoint is set in the file of the
current stop or of the level set by "set"; if line is omitted or is "-"
the current line is used. Execution pauses when this line is about to be
executed and the debugger session is re-activated.
The file can be given as the fully qualified name, partially qualified or
just the file name, with or without its extension: "myfile.lua" matches
every file whose name ends in "/myfile.lua". On Windows file names are
compared in lower case. Replies "Breakpoint set in file <file> line <line>",
or "Bad request" when there is no file.
]]

help.delb = [[
delb [line file]    -- removes a breakpoint|

If file is omitted or is "-" the breakpoint is removed from the file of
the current stop; if line is omitted or is "-" the current line is used.
The file must be given as it was for "setb". Replies "Breakpoint deleted
from file <file> line <line>", or "Bad request" when there is no file.
]]

help.delallb = [[
delallb             -- removes all breakpoints|

Removes every breakpoint and replies "All breakpoints deleted".
]]

help.setw = [[
setw <exp>          -- adds a new watch expression|

The expression is evaluated before each line is executed, in the context
of the function running then. If it yields a true value the program
pauses. The rest of the line is taken as the expression, it is not checked
when it is set. Replies "Set watch exp no. <index>", the index to give to
"delw", or "Bad request" when there is no expression.
]]

help.delw = [[
delw <index>        -- removes the watch expression at index|

The index is the one given when the expression was set (see "listw").
Replies "Watch expression deleted", or "Bad request" when the index is not
a number.
]]

help.delallw = [[
delallw             -- removes all watch expressions|

Removes every watch expression and replies "All watch expressions deleted".
]]

help.run = [[
run                 -- run until next breakpoint or watch expression|

Turns stepping off and lets the program run until it reaches a breakpoint
or a watch expression becomes true.
]]

help.step = [[
step [N]            -- run next N lines, stepping into function calls|

Runs N lines (default 1) of the program, stopping in called functions as
well, then reports the new position as
"Paused at file: <file> (<line>) (<stack level>)".
]]

help.over = [[
over [N]            -- run next N lines, stepping over function calls|

Runs N lines (default 1) of the current function without stopping in the
functions it calls. At the outermost level it behaves like "step".
]]

help.out = [[
out [N]             -- run lines until stepped out of N functions|

Runs until the program is N (default 1) stack levels below the current
one, that is until it has returned from N functions.
]]

help['goto'] = [[
goto <line>         -- step to line number <line> in the current file|

Runs until the given line of the current file is reached (or a breakpoint
or a watch expression stops it before). A breakpoint already set at that
line stays in place. Replies "Bad request" when line is not a number.
]]

help.listb = [[
listb               -- lists breakpoints|

Lists every breakpoint as "Break at: <line> in <file>".
]]

help.listw = [[
listw               -- lists watch expressions|

Lists every watch expression as "Watch exp. <index>: <expression>".
]]

help.set = [[
set [level]         -- set context to stack level, omitted=show|

The context is where variables are looked up and statements are executed.
Level 1 is the function where the program stopped, 2 its caller and so
on. Replies "Level: <level>", or "No level set" when no function exists at
that level. A level that is not a number ends the debugger session.
]]

help.vars = [[
vars [depth]        -- list context locals to depth, omitted=1|

Dumps the context: every local and upvalue of the function at the level
set, as "variables". Tables are listed to the given depth.
]]

help.fenv = [[
fenv [depth]        -- list context function env to depth, omitted=1|

Dumps the environment of the function at the level set, as "environment",
to the given depth.
]]

help.glob = [[
glob [depth]        -- list globals to depth, omitted=1|

Dumps the global environment, as "globals", to the given depth.
]]

help.ups = [[
ups                 -- list all the upvalue names|

Lists the names of the upvalues of the function at the level set.
]]

help.locs = [[
locs                -- list all the locals names|

Lists the names of the locals of the function at the level set.
]]

help.dump = [[
dump <var> [depth]  -- dump all fields of variable to depth|

The variable is looked up in the context. Its fields are given separated
by dots, fields made of digits are taken as numbers (dump t.1.name).
The depth is 1 when omitted or 0. Replies "Bad request" without a variable.
]]

help.tron = [[
tron [crl]          -- turn trace on for (c)alls, (r)etuns, (l)lines|

Prints a trace line for each call (c), return (r) or line (l) executed:
clock, stack level, file, line and function name. tron without letters
turns all tracing off.
]]

help.trace = [[
trace               -- dumps a stack trace|

Prints the stack captured at the stop, one function a line:
[level] name in file:line. The level set is marked by "***".
]]

help.info = [[
info                -- dumps the complete debug info captured|

Dumps everything captured about the stack at the stop (function records,
locals and upvalues of each level) as "traceinfo", without depth limit.
]]

help.show = [[
show line file X Y  -- show X lines before and Y after line in file|

If line or file is omitted or is "-" the current line or file is used.
X defaults to 10, Y to X. A file name without extension gets ".lua"; a
file that is not found is searched along package.path. The given line is
marked by "***". Replies "Nothing to show" when there is no file and
"Cannot find <file>" when it cannot be opened.
]]

help.exit = [[
exit                -- exits debugger, re-start it using pause()|

Ends the debugger session: the program runs on without stopping.
Breakpoints and watch expressions are kept for a later session.
]]

help.help = [[
help [command]      -- show this list or help for command|

Without a known command lists every command with its summary.
]]

help['<statement>'] = [[
<statement>         -- execute a statement in the current context|

Any line that is not a command is run as a Lua statement in the context
of the level set; "=exp" prints the value of exp. Locals and upvalues that
the statement changes are written back to the program (unless set to nil
or false). Errors are shown as "Compile error: ..." or "Run error: ...".
]]

help.what = [[
what <func>         -- show where <func> is defined (if known)|

Looks the function up in the context and prints its kind, source file and
first and last line; for anything else "<value> is not a function".
Replies "Bad request" without a name.
]]

for name, t in pairs(help) do
  commands[name].help, commands[name].summary = t, smatch(t, '^(.*)|')
end

--}}}

local M = {
  pause     = pause_impl,
  dump      = dump,
  start     = start,
  unhandled = unhandled,
  traceback = traceback,
  version   = VERSION,
}

return M
