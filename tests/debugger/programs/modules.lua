-- Modules through the current folder and through LUA_PATH (the test sets it,
-- with backslashes, and LUA_INIT); a missing one lists the files tried.
local near = require "sub.near"
local far = require "far"
print("sum " .. near(1) + far(2) .. " init " .. tostring(from_init))
print(select(2, pcall(require, "nosuch")))
