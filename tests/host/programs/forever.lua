-- Runs on without reading anything; ends after a minute of processor time,
-- so that an orphan left by a killed test does not spin for ever.
local n = 0
while os.clock() < 60 do
  n = n + 1
end
