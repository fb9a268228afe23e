-- Ends through os.exit in the middle of a stream of output.
for i = 1, 100000 do
  io.write("line ", i, "\n")
  if i == 20000 then os.exit(3) end
end
