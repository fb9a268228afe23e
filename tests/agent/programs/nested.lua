local function c(n)
  local z = n + 1
  return z
end
local function b(n)
  local w = c(n) * 2
  return w
end
local function a(n)
  local v = b(n) + 1
  return v
end
local r = a(1)
r = a(r)
print("r=" .. r)
