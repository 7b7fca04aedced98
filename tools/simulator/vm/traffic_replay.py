#!/usr/bin/python3
"""One end of a call trace's UDP traffic over wlan0, in the test VM.

  traffic_replay.py app PORT    the app: started under its uid (setpriv), a
                                socket on 10.77.0.1:PORT to the far end
  traffic_replay.py peer PORT   the far end, in network namespace "peer", a
                                socket on 10.77.0.2:PORT to the app

Says "ready" once its socket is up, then takes one command a line on stdin
and answers one line on stdout:

  send N BYTES   N datagrams to the other end whose IP-level sizes add up to
                 BYTES where that is possible -> "sent N IP_BYTES PAYLOAD_BYTES"

What arrives from the other end is read and dropped, so the app's socket
owns every inbound datagram (the kernel counts it for the app's uid) and no
port-unreachable answer goes back.
"""
import socket
import sys
import threading

ADDRESSES = {"app": ("10.77.0.1", "10.77.0.2"), "peer": ("10.77.0.2", "10.77.0.1")}
IP_UDP_HEADERS = 28  # IPv4 (20) and UDP (8): what the kernel counts beyond the payload
MAX_PAYLOAD = 65507  # the largest IPv4 UDP datagram


def payloads(count, ip_bytes):
    """Payload sizes of `count` datagrams adding up to `ip_bytes` at the IP layer,
    as near as the headers and the largest datagram allow."""
    if count == 0:
        return []
    total = min(max(ip_bytes - IP_UDP_HEADERS * count, 0), MAX_PAYLOAD * count)
    each, extra = divmod(total, count)
    return [each + (1 if i < extra else 0) for i in range(count)]


def drain(sock):
    while True:
        try:
            sock.recv(MAX_PAYLOAD + 1)
        except OSError:
            pass  # a port-unreachable answer to a datagram sent before the other end was up


def main(argv):
    if len(argv) != 3 or argv[1] not in ADDRESSES:
        print(__doc__, file=sys.stderr)
        return 2
    local, remote = ADDRESSES[argv[1]]
    port = int(argv[2])
    sock = socket.socket(socket.AF_INET, socket.SOCK_DGRAM)
    sock.bind((local, port))
    sock.connect((remote, port))
    threading.Thread(target=drain, args=(sock,), daemon=True).start()
    print("ready", flush=True)
    for line in sys.stdin:
        words = line.split()
        if len(words) != 3 or words[0] != "send":
            print(f"error: unknown command {line.strip()!r}", flush=True)
            continue
        sizes = payloads(int(words[1]), int(words[2]))
        for size in sizes:
            sock.send(bytes(size))
        payload = sum(sizes)
        print(f"sent {len(sizes)} {payload + IP_UDP_HEADERS * len(sizes)} {payload}", flush=True)
    return 0


if __name__ == "__main__":
    sys.exit(main(sys.argv))
