local function spin()
  local n = 0
  while not done do n = n + 1 end   -- one line: a step that breaks in stops on it
  return n
end
local n = spin()
print('spun', n > 0)
