-- Loaded by winlib.lua under two names.
return function(n)
  local m = n * 2
  return m
end
