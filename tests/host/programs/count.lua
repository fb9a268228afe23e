local total = 0
for i = 1, 3 do
  total = total + i
end
print("total " .. total)
