-- The stand-in debugger's program: only its existence matters.
print("prog")
