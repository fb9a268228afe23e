print("never")
local = 1
