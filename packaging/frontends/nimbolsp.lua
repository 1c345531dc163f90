-- The action of haproxy that asks the daemon for a server of a pool:  http-request lua.nimbolsp POOL PORT  (in TCP
-- mode tcp-request content). It asks at 127.0.0.1:PORT. The address, and the port that is served there, are in
-- txn.nimbolsp_address and txn.nimbolsp_port, which stay unset without an answer: no daemon, no such pool, an entry that
-- is no address, or one whose polled port is not in the map, which is logged.
local served_ports = Map.new("/etc/haproxy/served-ports.map", Map._int)
local told = {}  -- polled ports that were logged

local function ask(pool, port)
  local daemon = core.tcp()
  daemon:settimeout(1)  -- seconds for each step
  local header = daemon:connect("127.0.0.1", port) and daemon:send("\0" .. string.char(#pool) .. pool) and
    daemon:receive(2)
  local text = header and header:byte(1) == 1 and daemon:receive(header:byte(2))
  daemon:close()
  return text or ""
end

core.register_action("nimbolsp", {"tcp-req", "http-req"}, function(txn, pool, port)
  local address, polled = ask(pool, tonumber(port)):match("^([%d.]-):?(%d+)$")
  local served = polled and served_ports:lookup(tonumber(polled))
  if served then
    txn:set_var("txn.nimbolsp_address", address ~= "" and address or "127.0.0.1")
    txn:set_var("txn.nimbolsp_port", tonumber(served))
  elseif polled and not told[polled] then
    told[polled] = true
    core.Warning("nimbolsp: the polled port " .. polled .. " is not in served-ports.map: pool " .. pool ..
      " goes by the list")
  end
end, 2)
