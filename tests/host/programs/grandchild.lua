-- Leaves a grandchild that inherits the debugger's output pipe and holds it
-- for a few seconds after this program and its debugger are gone; with
-- "stay" as its file it runs on instead of ending.
local child = io.popen("..\\spawn_child.exe sleep 3000")
print("grandchild started")
if ... == "stay" then
  while os.clock() < 60 do end
end
os.exit(0)
