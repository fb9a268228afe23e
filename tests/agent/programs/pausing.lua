local function work(n)
  local acc = 0
  for i = 1, n do
    acc = acc + i
  end
  return acc
end
pause('first')
local a = work(3)
pause('second')
local b = work(4)
pause('third')
print("a=" .. a .. " b=" .. b)
