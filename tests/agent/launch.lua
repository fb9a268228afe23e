-- Starts a program as the debugger executable does: the agent's start() and
-- then the program's chunk, both called from here (NB: on one line, so that
-- no line event of this file comes in between).
-- usage: lua5.1 launch.lua <program> [args...]
-- The chunk is called unnamed, as from C.
local M = require('debugger')
M.start(); (assert(loadfile(arg[1])))(select(2, ...))
