print("before")
local t = nil
print(t.field)
