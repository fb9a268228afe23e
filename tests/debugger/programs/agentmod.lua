print(require('debugger').version)
