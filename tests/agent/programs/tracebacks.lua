-- debug.traceback for logging and as a message handler
local function log(s) return #s end
local function fail() error('failed') end
local n = log(debug.traceback('here'))
n = n + 1
local ok = xpcall(fail, debug.traceback)
print(ok, n > 1)
