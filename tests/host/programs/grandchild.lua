-- Leaves a grandchild that inherits the debugger's output pipe and holds it
-- for a few seconds after this program and its debugger are gone.
local child = io.popen("..\\spawn_child.exe sleep 3000")
print("grandchild started")
os.exit(0)
