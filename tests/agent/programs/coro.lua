local function gen(n)
  for i = 1, n do
    coroutine.yield(i)
  end
  return "done"
end
local co = coroutine.create(gen)
local ok, v = coroutine.resume(co, 2)
local w = coroutine.wrap(function(s)
  local u = s .. "!"
  return u
end)
local res = w("hi")
print("v=" .. v .. " res=" .. res)
