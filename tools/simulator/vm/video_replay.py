#!/usr/bin/python3
"""A short-video trace's HTTP traffic, in the test VM.

  video_replay.py serve PORT        the video service, in network namespace
                                    "peer": MP4 files over HTTP/1.1 with Range
  video_replay.py play HOST:PORT SCENE
                                    the app, under its uid (setpriv): one
                                    ranged GET per video, in the URL form of
                                    the scene's search keys

Each says "ready", then takes one command a line on stdin and answers one:

  serve:  video KEY TOTAL TIMESCALE DUR  an MP4 of TOTAL bytes whose 'mvhd' says
                                         DUR units of TIMESCALE a second; the
                                         video in play from now on -> "video KEY"
          release UPTO                   the body may go out up to byte UPTO of the
                                         file, no further -> "released UPTO"
  play:   play KEY                       swipe to KEY: a new connection and its
                                         request (bytes=0-) -> "playing KEY"
          loaded                         -> "loaded N", body bytes read so far

The server paces the video, not the player: the player reads whatever comes,
so the bytes on the wire are the bytes released.
"""
import http.client
import http.server
import re
import socket
import struct
import sys
import threading

# The URL of a video in the form each scene's search keys look for.
URLS = {
    "100501": "/video/m/0/play?rk=7&k={key}&br=1000",
    "100901": "/aweme/video/0?rk=7&k={key}&br=1000",
    "100701": "/upic/2026/cover_{key}.mp4",
}
CHUNK = 16384
WAIT_S = 0.05


def box(kind, payload):
    return struct.pack(">I4s", 8 + len(payload), kind) + payload


def mp4(total, timescale, duration):
    """ftyp, moov with a version 0 'mvhd' (ISO/IEC 14496-12), then media bytes up to TOTAL in all."""
    matrix = struct.pack(">9I", 0x00010000, 0, 0, 0, 0x00010000, 0, 0, 0, 0x40000000)
    mvhd = struct.pack(">B3xIIII", 0, 0, 0, timescale, duration)
    mvhd += struct.pack(">IH10x", 0x00010000, 0x0100) + matrix + bytes(24) + struct.pack(">I", 2)
    head = box(b"ftyp", b"isom" + struct.pack(">I", 0x200) + b"isomiso2mp41") + box(b"moov", box(b"mvhd", mvhd))
    size = max(total - len(head), 8)
    # Media bytes that never spell a box name; made by repetition, which stays
    # quick in an emulated guest where a byte-by-byte loop does not.
    media = (bytes(range(7)) * ((size - 8) // 7 + 1))[:size - 8]
    return (head + struct.pack(">I4s", size, b"mdat") + media)[:max(total, 0)]


class Service:
    """The video in play and how far its bytes may go."""

    def __init__(self):
        self.lock = threading.Condition()
        self.key = None
        self.data = b""
        self.released = 0

    def video(self, key, data):
        with self.lock:
            self.key, self.data, self.released = key, data, 0
            self.lock.notify_all()

    def release(self, upto):
        with self.lock:
            self.released = upto
            self.lock.notify_all()

    def wait(self, key, sent):
        """How far the body of KEY may go once past SENT; None once another video is in play."""
        with self.lock:
            while self.key == key and self.released <= sent:
                self.lock.wait(WAIT_S)
            return self.released if self.key == key else None


SERVICE = Service()


class Handler(http.server.BaseHTTPRequestHandler):
    protocol_version = "HTTP/1.1"

    def log_message(self, *args):
        pass

    def do_GET(self):
        key, data = SERVICE.key, SERVICE.data
        ranged = re.match(r"bytes=(\d+)-(\d*)$", self.headers.get("Range", ""))
        if key is None or key not in self.path or not ranged:
            self.send_error(404)
            return
        first = int(ranged.group(1))
        last = min(len(data) - 1, int(ranged.group(2)) if ranged.group(2) else len(data) - 1)
        if first > last:
            self.send_error(416)
            return
        self.send_response(206)
        self.send_header("Content-Type", "video/mp4")
        self.send_header("Content-Range", f"bytes {first}-{last}/{len(data)}")
        self.send_header("Content-Length", str(last - first + 1))
        self.end_headers()
        sent = first
        try:
            while sent <= last:
                upto = SERVICE.wait(key, sent)
                if upto is None:
                    return
                upto = min(upto, last + 1)
                while sent < upto:
                    end = min(sent + CHUNK, upto)
                    self.wfile.write(data[sent:end])
                    sent = end
                self.wfile.flush()
        except (BrokenPipeError, ConnectionResetError):
            pass  # the player swiped away


def serve(port):
    server = http.server.ThreadingHTTPServer(("", port), Handler)
    server.daemon_threads = True
    threading.Thread(target=server.serve_forever, daemon=True).start()
    print("ready", flush=True)
    for line in sys.stdin:
        words = line.split()
        if len(words) == 5 and words[0] == "video":
            SERVICE.video(words[1], mp4(int(words[2]), int(words[3]), int(words[4])))
            print(f"video {words[1]}", flush=True)
        elif len(words) == 2 and words[0] == "release":
            SERVICE.release(int(words[1]))
            print(f"released {words[1]}", flush=True)
        else:
            print(f"error: unknown command {line.strip()!r}", flush=True)


class Player:
    def __init__(self, server, scene):
        self.host, port = server.rsplit(":", 1)
        self.port = int(port)
        self.url = URLS[scene]
        self.connection = None
        self.loaded = 0
        self.lock = threading.Lock()

    def play(self, key):
        if self.connection is not None and self.connection.sock is not None:
            # Shut down, not closed: the reader holds the stream's lock; it closes once it sees the end.
            self.connection.sock.shutdown(socket.SHUT_RDWR)
        with self.lock:
            self.loaded = 0
            self.connection = http.client.HTTPConnection(self.host, self.port, timeout=60)
        self.connection.request("GET", self.url.format(key=key), headers={"Range": "bytes=0-"})
        threading.Thread(target=self.read, args=(self.connection,), daemon=True).start()

    def read(self, connection):
        try:
            response = connection.getresponse()
            while True:
                chunk = response.read1(65536)
                if not chunk:
                    return
                with self.lock:
                    if connection is self.connection:
                        self.loaded += len(chunk)
        except (OSError, http.client.HTTPException):
            pass  # swiped away: the connection was shut down under the reader
        finally:
            connection.close()


def play(server, scene):
    player = Player(server, scene)
    print("ready", flush=True)
    for line in sys.stdin:
        words = line.split()
        if len(words) == 2 and words[0] == "play":
            player.play(words[1])
            print(f"playing {words[1]}", flush=True)
        elif words == ["loaded"]:
            with player.lock:
                print(f"loaded {player.loaded}", flush=True)
        else:
            print(f"error: unknown command {line.strip()!r}", flush=True)


def main(argv):
    if len(argv) == 3 and argv[1] == "serve":
        serve(int(argv[2]))
    elif len(argv) == 4 and argv[1] == "play" and argv[3] in URLS:
        play(argv[2], argv[3])
    else:
        print(__doc__, file=sys.stderr)
        return 2
    return 0


if __name__ == "__main__":
    sys.exit(main(sys.argv))
