-- The action of haproxy that asks the daemon for a server of a pool:  http-request lua.nimbolsp POOL PORT  (in TCP
-- mode tcp-request content). It asks at 127.0.0.1:PORT. The answer is in txn.nimbolsp_address and txn.nimbolsp_port,
-- which stay unset without one: no daemon, no such pool, or an entry that is no address.
local function ask(pool, port)
  local daemon = core.tcp()
  daemon:settimeout(1)  -- seconds for each step
  local header = daemon:connect("127.0.0.1", port) and daemon:send("\0" .. string.char(#pool) .. pool) and
    daemon:receive(2)
  local text = header and daemon:receive(header:byte(2))
  daemon:close()
  return text or ""
end

core.register_action("nimbolsp", {"tcp-req", "http-req"}, function(txn, pool, port)
  local address, polled = ask(pool, tonumber(port)):match("^([%d.]-):?(%d+)$")
  if polled then
    txn:set_var("txn.nimbolsp_address", address ~= "" and address or "127.0.0.1")
    txn:set_var("txn.nimbolsp_port", polled)
  end
end, 2)
