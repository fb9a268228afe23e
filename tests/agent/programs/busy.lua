local n = 0
for i = 1, 2000000 do
  n = n + i
end
print('sum', n)
