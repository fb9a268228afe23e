-- Without a debugger module of its own, require finds the agent
print(require('debugger').version)
