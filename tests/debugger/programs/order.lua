print("line one")
local n = 0
for i = 1, 2 do n = n + i end
print("line four " .. n)
