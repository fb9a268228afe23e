local near = require "sub.near"
local far = require "far"
print("sum " .. near(1) + far(2) .. " init " .. tostring(from_init) .. " cpath " .. package.cpath)
print(select(2, pcall(require, "nosuch")))
