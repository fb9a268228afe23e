local list = { 10, 20, 30 }
local me = {}
me.self = me
local odd = { ["a b"] = true }
local nest = { inner = { deep = { x = 1 } } }
local long = string.rep("x", 41)
local short = "line\nbreak"
dump(list)
print("end")
