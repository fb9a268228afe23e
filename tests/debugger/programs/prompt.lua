-- Output that ends without a line feed before a stop, and after print
io.write('Enter value: ')
local v = 2
io.stdout:write('partial')
print(' done')
io.write(v, '\n')
io.stdout:write('last')
