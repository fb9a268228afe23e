print("waiting")
io.stderr:write("on stderr\n")
print("got " .. io.read() .. ".")
