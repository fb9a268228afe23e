local function spin(seconds)
  local t, n = os.clock() + seconds, 0
  repeat
    for i = 1, 100000 do n = n + 1 end
  until os.clock() > t
  return n
end
local n = spin(1.5)
print('spun', n > 0)
