-- a module found along package.path (for "show")
local M = {}
function M.id(v) return v end
return M
