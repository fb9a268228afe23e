return function(x)
  return x + 10
end
