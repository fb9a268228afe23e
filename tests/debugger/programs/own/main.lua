-- Requires its own debugger module; pause() is the agent's all the same
require('debugger').log('own module')
print(type(pause))
