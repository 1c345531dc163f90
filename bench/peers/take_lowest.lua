#!lua name=farm
-- Takes the member of a sorted set that has the lowest score, and counts it: the least loaded server.
redis.register_function('take_lowest', function(keys)
  local member = redis.call('ZRANGE', keys[1], 0, 0)[1]
  redis.call('ZINCRBY', keys[1], 1, member)
  return member
end)
