-- A remedy for haproxy's queue, loaded by haproxy.cfg: where a client resets its connection in the moment in which its
-- turn comes, the turn is lost, and those behind it wait until the next request ends, or in vain. To be told a limit,
-- even the one that it has, makes haproxy look into the queue.
core.register_task(function()
  while true do
    core.msleep(10)
    for _, server in pairs(core.backends.daemon.servers) do server:set_maxconn(server:get_maxconn()) end
  end
end)
