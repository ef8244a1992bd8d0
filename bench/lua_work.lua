-- lua_work.lua calls|tables|strings: the work of three rows.
local work = {}

-- Calls, and errors that are caught.
function work.calls()
  local function fib(n)
    if n < 2 then return n end
    return fib(n - 1) + fib(n - 2)
  end
  local caught = 0
  for i = 1, 300000 do
    if not pcall(error, i) then caught = caught + 1 end
  end
  return fib(30) + caught
end

-- Tables, numbers, and the sorting of a large array by a routine in Lua.
function work.tables()
  local seed, array = 1, {}
  for i = 1, 300000 do
    seed = seed * 16807 % 2147483647
    array[i] = { key = seed, value = math.sqrt(seed) }
  end
  table.sort(array, function(a, b) return a.key < b.key end)
  local sum = 0
  for i, one in ipairs(array) do sum = sum + one.value % i end
  return sum
end

-- Strings: formats, patterns, concatenation, and the collection of what is left.
function work.strings()
  local words, length = {}, 0
  for i = 1, 200000 do
    local text = string.format("%d:%5.2f:%s", i, i / 3, "word" .. i % 1000)
    local word = string.match(text, "(%a+%d+)$")
    words[word] = (words[word] or 0) + #string.gsub(text, "%d", "x")
    length = length + #text
  end
  return length + words.word7
end

print(work[arg[1]]())
