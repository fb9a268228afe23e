print(pcall(error, "caught"))
local function fail(n) local twice = n * 2 error("boom " .. twice) end
fail(21)
print("not reached")
