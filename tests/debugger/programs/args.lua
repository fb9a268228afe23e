print("n=" .. select("#", ...) .. " #arg=" .. #arg)
for i = -2, #arg do print("arg[" .. i .. "]=" .. arg[i]) end
print("dots=" .. table.concat({...}, "|"))
