#!/usr/bin/env python3
"""A front end: front_end.py POOL REQUEST [PORT]. Asks nimbolsp for a server, and brings it one line."""
import socket, sys, time

POOL, REQUEST, PORT = (sys.argv + ["5900"])[1:4]
TIME_OUT = 5  # seconds; above 1, which a connect takes when nimbolsp's queue is full


def exactly(connection, count):
    data = b""
    while len(data) < count:
        data += connection.recv(count - len(data)) or sys.exit("nimbolsp ended the connection")
    return data


def server_of(pool):  # a connection carries one question
    with socket.create_connection(("127.0.0.1", int(PORT)), TIME_OUT) as nimbolsp:
        name = pool.encode("cp1252")
        nimbolsp.sendall(bytes([0, len(name)]) + name)
        text = exactly(nimbolsp, exactly(nimbolsp, 2)[1]).decode("cp1252")
    if text == "":  # a fault of a profile, not a lack of servers: asking again does not help
        sys.exit("there is no pool " + pool)
    host, colon, port = text.partition(":")
    return (host, int(port)) if colon else ("127.0.0.1", int(host))  # a port alone: nimbolsp's machine


for pause in (0.1, 0.5, 2, 0):  # the server may have died since its last poll: ask for another
    try:
        server = socket.create_connection(server_of(POOL), TIME_OUT)
        break
    except OSError as fault:
        print(fault, file=sys.stderr)
        time.sleep(pause)
else:
    sys.exit("neither nimbolsp nor a server of the pool can be reached")
with server:  # from here on it may be at work on the request: not brought to another one
    server.sendall(REQUEST.encode() + b"\n")
    print(server.makefile().readline().strip() or sys.exit("the server has not answered"))
