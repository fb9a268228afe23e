local function leaf() return 1 end
local function caller() return leaf() end
local v = caller()
print("v=" .. v)
