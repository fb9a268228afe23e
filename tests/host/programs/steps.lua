-- Stepped through by the session tests, which know its line numbers.
counter = 0
local function inner(n)
  local doubled = n * 2
  counter = counter + 1
  return doubled
end
local function outer(n)
  local x = n + 1
  local y = inner(x)
  return x + y
end
local first = outer(1)
local second = outer(first)
print("first " .. first .. " second " .. second .. " counter " .. counter)
