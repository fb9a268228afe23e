local function check(v)
  assert(v > 1, "too small")
  return v
end
local ok, msg = pcall(error, "caught")
print("pcall: " .. tostring(ok) .. " " .. msg)
check(5)
check(0)
print("not reached")
