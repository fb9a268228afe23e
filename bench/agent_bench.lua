-- Cost of the debugger agent in run mode. Not a test: run it by hand,
--   lua5.1 bench/agent_bench.lua [runs] [agent] [interpreter]
-- Two CPU-bound programs ("calls": recursion and method calls, "loops": nested
-- loops over tables) each run in fresh child processes: plain, under an empty
-- "crl" hook (the floor for any agent written in Lua), under a minimal hook
-- that only counts levels and looks breakpoints up, and under the agent
-- (started, breakpoints set on lines never reached, then "run"); the last row
-- also has breakpoints of another file on the program's busiest line numbers.
-- Each child times the program with os.clock; the table shows the median of
-- the runs and the ratios to plain Lua and to the empty hook of the same run.

local function shell(cmd)
  local p = assert(io.popen(cmd, 'r'))
  local s = p:read('*a')
  p:close()
  return s
end
local function q(s) return "'" .. string.gsub(s, "'", "'\\''") .. "'" end

--{{{ the debugged programs
local function fib(n)
  if n < 2 then return n end
  return fib(n - 1) + fib(n - 2)          -- busy line of "calls"
end

local Point = {}
Point.__index = Point
function Point.new(x, y) return setmetatable({ x = x, y = y }, Point) end
function Point:add(o) return Point.new(self.x + o.x, self.y + o.y) end
function Point:len2() return self.x * self.x + self.y * self.y end

local function never_called()   -- breakpoints on its lines are never reached
  local unused = 1
  return unused
end

local programs = {}

function programs.calls()
  local acc = 0
  for round = 1, 30 do
    acc = acc + fib(16)
    local p = Point.new(0, 0)
    for i = 1, 3000 do
      p = p:add(Point.new(i % 7, i % 5))
      if p:len2() > 1e6 then p = Point.new(1, 1) end
    end
    local words = {}
    for i = 1, 1500 do
      words[#words + 1] = string.format('w%04d', (i * 7919) % 1500)
    end
    table.sort(words, function(a, b) return a > b end)
    for _, w in ipairs(words) do acc = acc + #w end
    acc = acc + p.x
  end
  return acc
end

function programs.loops()
  local acc = 0
  for round = 1, 300 do
    local w, h = 24, 24
    local g = {}
    for y = 1, h do
      local row = {}
      for x = 1, w do row[x] = (x * y + round) % 7 end
      g[y] = row
    end
    for pass = 1, 4 do
      for y = 2, h - 1 do
        local up, row, down = g[y - 1], g[y], g[y + 1]
        for x = 2, w - 1 do
          local s = up[x] + down[x] + row[x - 1] + row[x + 1]
          row[x] = (s + row[x]) % 5   -- busy line of "loops"
        end
      end
    end
    local parts = {}
    for y = 1, h do
      local s = 0
      for x = 1, w do s = s + g[y][x] end
      parts[#parts + 1] = s
    end
    acc = acc + #table.concat(parts, ',')
  end
  return acc
end
--}}}

if arg[1] == '--child' then
  local program, kind, agent = arg[2], arg[3], arg[4]
  if kind == 'empty' then
    debug.sethook(function() end, 'crl')
  elseif kind == 'minimal' then
    local level, breaks = 0, { [-1] = true }
    debug.sethook(function(event, line)
      if event == 'call' then
        level = level + 1
      elseif event == 'return' then
        if level > 0 then level = level - 1 end
      elseif line and breaks[line] then
        error('breakpoint reached')
      end
    end, 'crl')
  elseif kind == 'agent' or kind == 'busy' then
    local M = assert(loadfile(agent))()
    M.start()
  end
  local t0 = os.clock()
  local result = programs[program]()
  local t = os.clock() - t0
  debug.sethook()
  io.write('\nelapsed ', string.format('%.4f', t), ' result ', result, '\n')
  return
end

local runs = tonumber(arg[1]) or 5
local here = string.match(arg[0], '^(.*)/[^/]*$') or '.'
local agent = arg[2] or (here .. '/../agent/debugger.lua')
local lua = arg[3] or 'lua5.1'
local self = arg[0]
local name = string.match(self, '[^/]*$')

-- line numbers of never_called and of the busy lines
local src = assert(io.open(self)):read('*a')
local unused, busy = nil, {}
do
  local n = 0
  for l in string.gmatch(src, '([^\n]*)\n') do
    n = n + 1
    if not unused and string.find(l, 'local unused = 1', 1, true) then unused = n end
    if string.find(l, '-- busy line of', 1, true) then busy[#busy + 1] = n end
  end
end
local function commands(extra)
  local path = os.tmpname()
  local f = assert(io.open(path, 'w'))
  f:write('setb ', unused, ' ', self, '\n', 'setb ', unused + 1, ' ', name, '\n')
  f:write('setb ', unused, ' elsewhere.lua\n')
  for _, l in ipairs(extra or {}) do f:write('setb ', l, ' elsewhere.lua\n') end
  f:write('run\n')
  f:close()
  return path
end
local input = { agent = commands(), busy = commands(busy) }

local function measure(program, kind)
  local out = shell(lua .. ' ' .. q(self) .. ' --child ' .. program .. ' ' .. kind .. ' ' .. q(agent)
                    .. ' < ' .. q(input[kind] or '/dev/null') .. ' 2>&1')
  local t, result = string.match(out, '\nelapsed (%S+) result (%S+)\n')
  if not t or string.find(out, 'Paused at', 1, true) then
    io.stderr:write(program, ' under ', kind, ' failed:\n', out, '\n')
    os.exit(1)
  end
  return tonumber(t), result
end

local function median(t)
  table.sort(t)
  local n = #t
  if n % 2 == 1 then return t[(n + 1) / 2] end
  return (t[n / 2] + t[n / 2 + 1]) / 2
end

local kinds = { 'plain', 'empty', 'minimal', 'agent', 'busy' }
local label = {
  plain = 'plain Lua', empty = 'empty "crl" hook', minimal = 'minimal hook: levels, breakpoints',
  agent = 'agent, run mode', busy = 'agent, + breakpoints on busy lines',
}
print(string.format('agent: %s; %d runs each, median CPU seconds (os.clock)', agent, runs))
print(string.format('%-8s %-36s %8s %8s %8s', 'program', 'under', 'seconds', 'x plain', 'x empty'))
for _, program in ipairs({ 'calls', 'loops' }) do
  local times, results = {}, {}
  for _, kind in ipairs(kinds) do times[kind] = {} end
  for _ = 1, runs do
    for _, kind in ipairs(kinds) do
      local t, result = measure(program, kind)
      table.insert(times[kind], t)
      results[result] = true
    end
  end
  if next(results, next(results)) then
    io.stderr:write(program, ': the results differ between runs\n')
    os.exit(1)
  end
  local med = {}
  for _, kind in ipairs(kinds) do med[kind] = median(times[kind]) end
  for _, kind in ipairs(kinds) do
    print(string.format('%-8s %-36s %8.3f %8.2f %8s', program, label[kind], med[kind], med[kind] / med.plain,
                        kind == 'plain' and '' or string.format('%.2f', med[kind] / med.empty)))
  end
end
for _, path in pairs(input) do os.remove(path) end
