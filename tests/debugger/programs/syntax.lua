-- does not compile, at line 3
local x = 1
x = = 2
