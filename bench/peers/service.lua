-- Answers a request of the daemon's protocol with the server of the pool that was handed out least, and counts it. The
-- pool is a heap: its first place has the lowest count.
local heap = {}
for line in io.lines(os.getenv("ADDRESSES")) do
  heap[#heap + 1] = {count = 0, answer = string.char(1, #line) .. line}
end

local function take()
  local taken = heap[1]
  taken.count = taken.count + 1
  local place, last = 1, #heap
  while true do
    local child = 2 * place
    if child > last then break end
    if child < last and heap[child + 1].count < heap[child].count then child = child + 1 end
    if heap[child].count >= taken.count then break end
    heap[place] = heap[child]
    place = child
  end
  heap[place] = taken
  return taken.answer
end

core.register_service("take_lowest", "tcp", function(applet)
  local header = applet:receive(2)
  if header:byte(1) ~= 0 then return end
  applet:receive(header:byte(2))
  applet:send(take())
end)
