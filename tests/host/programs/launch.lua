-- Runs the program named by its argument, as an IDE's launcher script would.
local name = ...
print("running " .. name)
dofile(name)
