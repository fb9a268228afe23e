local n = 0
while debug.gethook() do n = n + 1 end
print('unhooked', n > 0)
