return function(x)
  return x + 20
end
