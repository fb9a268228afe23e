-- Stepped through by the session tests, which know its line numbers.
local config = { name = "demo", sizes = { 1, 2, { deep = true } } }
counter = 0
local function inner(n)
  local doubled = n * config.sizes[2]
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
