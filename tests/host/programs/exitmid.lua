-- NUL and Ctrl-Z bytes amid text, then os.exit in the middle of a stream
-- of output.
io.write("a\0b\26c\n")
io.write("\0\0\26\26\n")
for i = 1, 100000 do
  io.write("line ", i, "\n")
  if i == 5000 then os.exit(3) end
end
