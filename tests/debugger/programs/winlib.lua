-- Loads lib\util.lua beside it twice: by require, along a path made from
-- this script's own name (C:/work/lib/?.lua when run as C:/work/winlib.lua),
-- and by dofile under the relative name lib\util.lua (run from its folder).
package.path = string.match(arg[0], "^(.*)/") .. "/lib/?.lua"
local byPath = require("util")
local byName = dofile("lib\\util.lua")
print(byPath(3) .. " " .. byName(4))
