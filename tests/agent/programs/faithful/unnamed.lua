-- chunks loaded from strings without a name: their code is their source
local f = assert(loadstring('local a, b = ... -- a/b: c/d\nreturn a / b, "x:y/z"'))
print(f(6, 3))
print(pcall(loadstring('local t = nil\nreturn t.x -- http://example/')))
print(select(2, loadstring('return +')))
local parts = {}
for i = 1, 200 do parts[#parts + 1] = 'local v' .. i .. ' = ' .. i .. ' / 2 -- ratio: ' .. i .. '/2' end
parts[#parts + 1] = 'return v1 + v200'
print(assert(loadstring(table.concat(parts, '\n')))())
print(debug.getinfo(f, 'S').short_src)
