local dir = ...
print("cpath " .. package.cpath)
local ok, m = pcall(require, "cmod51")
print("require", ok, ok and m.add(1, 2) or m)
local open = package.loadlib(dir .. "\\cmod5_1.dll", "luaopen_cmod5_1")
print("loadlib", open("twin").add(3, 4), twin == open("twin"))
print("no symbol", package.loadlib(dir .. "\\cmod5_1.dll", "luaopen_nosuch"))
require "broken"
