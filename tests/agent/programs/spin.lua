local function spin()
  local n = 0
  while not done do
    n = n + 1
  end
  return n
end
local n = spin()
print('spun', n > 0)
