#!/usr/bin/env python3
"""A server of a pool: server.py [PORT]. Answers nimbolsp's polls and clients' requests, lines, on one port."""
import collections, socketserver, struct, sys, threading, time

POLL = bytes.fromhex("00000017") + b"NIMBO_ORFC" + bytes.fromhex("0001000f0000000000")
LIMIT = 50  # requests that it serves well at once; a machine twice as strong: twice as many
lock = threading.Lock()  # guards the two below
under_way = set()  # requests
spent = collections.deque([0], 100)  # milliseconds that each of the last ones took


class Connection(socketserver.StreamRequestHandler):
    timeout = 5  # seconds: who connects and stays silent is let go

    def handle(self):
        first = self.rfile.read(1)
        if first == b"\0":  # no request of ours begins so
            if first + self.rfile.read(len(POLL) - 1) == POLL:
                with lock:  # the average, in milliseconds: dividend / divisor
                    figures = struct.pack(">4i", len(spent), sum(spent), len(under_way), LIMIT)
                self.wfile.write(bytes(18) + figures)
        elif first:
            start = time.monotonic()
            with lock:
                under_way.add(self)
            try:
                self.wfile.write(self.rfile.readline(1000).strip()[::-1] + first + b"\n")  # the line backwards
            finally:
                with lock:
                    under_way.discard(self)
                    spent.append(round(1000 * (time.monotonic() - start)))


class Server(socketserver.ThreadingTCPServer):
    allow_reuse_address, daemon_threads, request_queue_size = True, True, 128
    handle_error = lambda *_: None  # a peer that is gone or silent


Server(("", int((sys.argv + ["5912"])[1])), Connection).serve_forever()
