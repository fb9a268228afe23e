-- NUL and Ctrl-Z bytes amid text.
io.write("a\0b\26c\n")
io.write("\0\0\26\26\n")
print("after binary")
