print(pcall(error, "caught"))
local function fail() error("boom") end
fail()
print("not reached")
