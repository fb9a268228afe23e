-- a name outside ASCII
local v = 1
print("v=" .. v)
