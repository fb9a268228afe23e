-- 64 MB without a line feed, then one, then the end.
local block = string.rep("x", 65536)
for i = 1, 1024 do io.write(block) end
io.write("\nflooded\n")
