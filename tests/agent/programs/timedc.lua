local function spin(seconds)
  local t = os.clock() + seconds
  repeat until os.clock() > t
end
spin(1.5)
print('spun')
