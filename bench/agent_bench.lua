-- Cost of the debugger agent. Not a test: run it by hand,
--   lua5.1 bench/agent_bench.lua [runs] [agent] [interpreter] [former agent] [sorbhook.so]
-- A CPU-bound workload (fib, a sieve, sort with a Lua comparator, string
-- building) runs in fresh child processes: plain, under an empty "crl" hook
-- (the floor for any agent written in Lua) and under the agent: run mode
-- (breakpoints that are never reached, then "run"), run mode with breakpoints
-- of another file on the workload's busiest line numbers, "over" across the
-- workload (a breakpoint on the line that calls it, then over), and a watch
-- expression that never holds. The last two also show their cost per line
-- executed, in microseconds over plain Lua. With a former agent (a file, say
-- from git show) its rows come from the same run. The agent's rows come
-- twice: in Lua alone and through its native line filter (sorbhook.so,
-- default build/native/agent/sorbhook.so), which also gets a row for the
-- time a breakpoint set while a loop runs takes to stop it (wall clock,
-- from the write of the command to the position line).
-- Each child times the workload with os.clock; the table shows the median.

local function shell(cmd)
  local p = assert(io.popen(cmd, 'r'))
  local s = p:read('*a')
  p:close()
  return s
end
local function q(s) return "'" .. string.gsub(s, "'", "'\\''") .. "'" end

--{{{ the workload
local function fib(n)
  if n < 2 then return n end
  return fib(n - 1) + fib(n - 2)
end

local function sieve(n)
  local composite, count = {}, 0
  for i = 2, n do
    if not composite[i] then
      count = count + 1
      for j = i * i, n, i do composite[j] = true end
    end
  end
  return count
end

local function sorting(n)
  local t = {}
  for i = 1, n do t[i] = (i * 7919) % n end
  table.sort(t, function(a, b) return a > b end)
  return t[1] + t[n]
end

local function strings(n)
  local parts = {}
  for i = 1, n do parts[#parts + 1] = string.format('%d:%s', i, tostring(i * 3)) end
  local s = ''
  for _ = 1, n / 20 do s = s .. 'x' end
  return #table.concat(parts, ',') + #s
end

local function work()
  return fib(22) + sieve(200000) + sorting(30000) + strings(30000)
end
--}}}

if arg[1] == '--child' then
  local kind, agent = arg[2], arg[3]
  local counts
  if kind == 'empty' then
    debug.sethook(function() end, 'crl')
  elseif kind == 'count' then
    counts = {}
    debug.sethook(function(_, l) counts[l] = (counts[l] or 0) + 1 end, 'l')
  elseif kind ~= 'plain' then
    local M = assert(loadfile(agent))()
    M.start()
  end
  if kind == 'spin' then
    local n = 0
    while not stop do
      n = n + 1   -- SPIN LINE
    end
    return
  end
  local t0 = os.clock() local result = work()   -- WORK LINE
  local t = os.clock() - t0
  debug.sethook()
  if counts then
    local total, lines = 0, {}
    for l, n in pairs(counts) do total = total + n lines[#lines + 1] = l end
    table.sort(lines, function(a, b) return counts[a] > counts[b] end)
    io.write('\nlines ', total, ' busiest ', lines[1], ' ', lines[2], ' ', lines[3], '\n')
  end
  io.write('\nelapsed ', string.format('%.4f', t), ' result ', result, '\n')
  return
end

local runs = tonumber(arg[1]) or 5
local here = string.match(arg[0], '^(.*)/[^/]*$') or '.'
local agents = { arg[2] or (here .. '/../agent/debugger.lua'), arg[4] ~= '' and arg[4] or nil }
local lua = arg[3] or 'lua5.1'
local self = arg[0]
local module = arg[5] or (here .. '/../build/native/agent/sorbhook.so')
if not io.open(module) then
  io.stderr:write('no ', module, ': build it (scripts/test.sh) or name it\n')
  os.exit(1)
end
local cpath = string.match(module, '^(.*)/[^/]*$') .. '/?.so'

local function child(kind, agent, input, native)
  local out = shell('LUA_CPATH=' .. q(native and cpath or '') .. ' ' .. lua .. ' ' .. q(self) .. ' --child ' .. kind
                    .. ' ' .. q(agent or '-') .. ' < ' .. q(input or '/dev/null') .. ' 2>&1')
  local t, result = string.match(out, '\nelapsed (%S+) result (%S+)\n')
  if not t then
    io.stderr:write('the workload under ', kind, ' failed:\n', out, '\n')
    os.exit(1)
  end
  return tonumber(t), result, out
end

-- line events of the workload, its busiest lines, the line that calls it
local _, _, counted = child('count')
local lines, b1, b2, b3 = string.match(counted, '\nlines (%d+) busiest (%d+) (%d+) (%d+)\n')
lines = tonumber(lines)
local work_line, spin_line = 0, 0
do
  local n = 0
  for l in io.lines(self) do
    n = n + 1
    if work_line == 0 and string.find(l, '-- WORK LINE', 1, true) then work_line = n end
    if spin_line == 0 and string.find(l, '-- SPIN LINE', 1, true) then spin_line = n end
  end
end

local function commands(list)
  local path = os.tmpname()
  local f = assert(io.open(path, 'w'))
  f:write(table.concat(list, '\n'), '\n')
  f:close()
  return path
end
local never = { 'setb 99999 ' .. self, 'setb ' .. work_line .. ' elsewhere.lua' }
local inputs = {
  run = commands { never[1], never[2], 'run' },
  busy = commands { never[1], 'setb ' .. b1 .. ' elsewhere.lua', 'setb ' .. b2 .. ' elsewhere.lua',
                    'setb ' .. b3 .. ' elsewhere.lua', 'run' },
  over = commands { 'setb ' .. work_line .. ' ' .. self, 'run', 'over', 'run' },
  watch = commands { 'setw n == -1', 'run' },
}
local STEPS = 2000
do
  local list = {}
  for i = 1, STEPS do list[i] = 'step' end
  list[#list + 1] = 'exit'   -- the rest runs without a hook
  inputs.step = commands(list)
end

local rows = { { 'plain', 'plain Lua' }, { 'empty', 'empty "crl" hook' } }
local function agent_rows(who, agent, native)
  local key = native and 'native' or agent
  rows[#rows + 1] = { 'run', who .. ', run mode', agent, native = native, key = key }
  rows[#rows + 1] = { 'busy', who .. ', + breakpoints on busy lines', agent, per = 'run', native = native, key = key }
  rows[#rows + 1] = { 'over', who .. ', over across the workload', agent, per_line = true, native = native, key = key }
  rows[#rows + 1] = { 'watch', who .. ', a watch expression', agent, per_line = true, native = native, key = key }
end
agent_rows('agent', agents[1])
agent_rows('agent + sorbhook', agents[1], true)
if agents[2] then agent_rows('former agent', agents[2]) end

local function median(t)
  table.sort(t)
  local n = #t
  if n % 2 == 1 then return t[(n + 1) / 2] end
  return (t[n / 2] + t[n / 2 + 1]) / 2
end

local times, results = {}, {}
for _ = 1, runs do
  for i, row in ipairs(rows) do
    local kind = row[1]
    local t, result = child(kind == 'plain' and 'plain' or kind == 'empty' and 'empty' or 'agent', row[3], inputs[kind],
                            row.native)
    times[i] = times[i] or {}
    table.insert(times[i], t)
    results[result] = true
  end
end
if next(results, next(results)) then
  io.stderr:write('the results differ between runs\n')
  os.exit(1)
end

print(string.format('workload: %d line events; %d runs each, median CPU seconds (os.clock)', lines, runs))
print(string.format('%-48s %8s %8s %8s %10s %8s', 'under', 'seconds', 'x plain', 'x empty', 'x run mode', 'us/line'))
local med, by_kind = {}, {}
for i, row in ipairs(rows) do
  med[i] = median(times[i])
  by_kind[(row.key or '') .. row[1]] = med[i]
end
for i, row in ipairs(rows) do
  local run_mode = row.per and by_kind[(row.key or '') .. row.per]
  print(string.format('%-48s %8.3f %8.2f %8s %10s %8s', row[2], med[i], med[i] / med[1],
                      i == 1 and '' or string.format('%.2f', med[i] / med[2]),
                      run_mode and string.format('%.2f', med[i] / run_mode) or '',
                      row.per_line and string.format('%.2f', (med[i] - med[1]) / lines * 1e6) or ''))
end

-- stepping: the agent's own cost of a stop (CPU), commands typed ahead
local per_step = {}
for _, native in ipairs({ false, true }) do
  local t = {}
  for _ = 1, runs do t[#t + 1] = child('agent', agents[1], inputs.step, native) end
  per_step[#per_step + 1] = string.format('%.3f', (median(t) - med[1]) / STEPS * 1e3)
end
print(string.format('%-48s %8s ms per stop in Lua alone, %s ms with sorbhook', 'agent, ' .. STEPS .. ' steps',
                    per_step[1], per_step[2]))
for _, path in pairs(inputs) do os.remove(path) end

-- A breakpoint set while an endless loop runs: the command goes through a
-- pipe half a second after "run"; the stamps are taken by the shell, when it
-- writes the command and when it reads the position line.
local stamps = os.tmpname()
local waits = {}
for _ = 1, runs do
  shell('(printf "run\\n"; sleep 0.5; date +%s%N >> ' .. q(stamps) .. '; printf ' .. q('setb ' .. spin_line .. ' ' .. self .. '\n')
        .. '; sleep 0.5; printf "stop = true\\nrun\\n") | LUA_CPATH=' .. q(cpath) .. ' ' .. lua .. ' ' .. q(self)
        .. ' --child spin ' .. q(agents[1]) .. ' 2>&1 | while IFS= read -r l; do case $l in *Paused*) date +%s%N >> '
        .. q(stamps) .. ';; esac; done')
  local f = assert(io.open(stamps))
  local sent, seen = f:read('*n', '*n')
  f:close()
  os.remove(stamps)
  if not seen then
    io.stderr:write('the loop did not stop at the breakpoint set while it ran\n')
    os.exit(1)
  end
  waits[#waits + 1] = (seen - sent) / 1e6
end
print(string.format('%-48s %8.1f ms (median of %d; the Lua agent alone never stops there)',
                    'agent + sorbhook, breakpoint set while running', median(waits), runs))
