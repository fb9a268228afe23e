-- A project's own module named debugger
local M = {}
function M.log(s) print('log: ' .. s) end
return M
