#!/usr/bin/env python3
"""client.py [INDEX]: chooses the default server INDEX, if given, and prints the answers."""

import json
import socket
import struct
import sys

SOCKET = "/var/run/quillon/quillon"
HEADER = struct.Struct("=ii")  # sender (1 the daemon, 2 a client), bytes of the payload


def frame(message):
    payload = json.dumps(message).encode()
    return HEADER.pack(2, len(payload)) + payload


def knock():
    """The daemon takes a waiting client only when another one connects."""
    with socket.socket(socket.AF_UNIX) as visitor:
        visitor.connect(SOCKET)


def receive(daemon, size):
    data, pauses = b"", 0
    while len(data) < size:
        try:
            more = daemon.recv(size - len(data))
        except TimeoutError:
            pauses += 1
            if pauses > 6:
                sys.exit("no answer")
            knock()
            continue
        if not more:
            sys.exit("the daemon has closed the connection")
        data += more
    return data


def main():
    request = b"".join(frame({"type": "4", "serverIndex": index}) for index in sys.argv[1:2])
    refused = False
    with socket.socket(socket.AF_UNIX) as daemon:
        daemon.connect(SOCKET)
        daemon.settimeout(0.5)
        # One write: a frame that arrives in pieces is lost.
        daemon.sendall(request + frame({"type": "5"}))
        while True:
            _, length = HEADER.unpack(receive(daemon, HEADER.size))
            message = json.loads(receive(daemon, length))
            print(json.dumps(message))
            if message["type"] == "5":
                return refused
            refused = refused or message["type"] == "2"


sys.exit(main())
