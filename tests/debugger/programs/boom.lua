-- An error that pcall catches, then one that nothing catches, two calls deep.
print(pcall(error, "caught"))
local function divide(a, b)
  if b == 0 then error("division by zero") end
  return a / b
end
print("half " .. divide(1, 2))
print("never " .. divide(1, 0))
