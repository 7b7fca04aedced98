#!/usr/bin/python3
"""A short-video service and player for the kernel tier, over real HTTP/1.1.

  short_video.py serve PORT           MP4 files with Range support (peer side)
  short_video.py play HOST:PORT SCENE VIDEOS [SPEED]
                                      watches VIDEOS videos like the app does

Every video is a small MP4 (video_replay.mp4 of the simulator's replay):
ftyp, a moov holding the movie header (mvhd: timescale and duration, which
the stall module reads), then media bytes at a fixed bit rate. The player asks for each video with a ranged GET
in the URL form of the scene's search keys, reads while the video plays
(SECONDS_PER_VIDEO of playback, divided by SPEED when the module's time is
compressed), then swipes to the next one, as a short-video app does.
"""
import http.client
import http.server
import os
import re
import sys
import time

# The MP4 writer: beside this file when the tests copied both where the app
# uid may read them, else in the simulator's helpers.
here = os.path.dirname(os.path.abspath(__file__))
sys.path[:0] = [here, os.path.join(here, "../../../tools/simulator/vm")]
import video_replay  # noqa: E402

TIMESCALE = 1000
SECONDS_PER_VIDEO = 6
BIT_RATE = 500_000  # bits per second of playback
VIDEOS_SERVED = 10


def mp4(index):
    """An MP4 of SECONDS_PER_VIDEO at BIT_RATE, made as the simulator's replay makes its videos."""
    del index  # every video alike: the URL names it
    return video_replay.mp4(SECONDS_PER_VIDEO * BIT_RATE // 8, TIMESCALE, SECONDS_PER_VIDEO * TIMESCALE)


# The URL of a video in the form each scene's search keys look for.
URLS = {
    "100501": "/video/m/{i}/play?rk=7&k=vid{i}&br=1000",
    "100901": "/aweme/video/{i}?rk=7&k=vid{i}&br=1000",
    "100701": "/upic/2026/cover_vid{i}.mp4",
}


class VideoHandler(http.server.BaseHTTPRequestHandler):
    protocol_version = "HTTP/1.1"
    videos = {}

    def log_message(self, *args):
        pass

    def do_GET(self):
        match = re.search(r"vid(\d+)", self.path)
        if not match:
            self.send_error(404)
            return
        data = self.videos.get(int(match.group(1)))
        if data is None:
            self.send_error(404)
            return
        first, last = 0, len(data) - 1
        ranged = re.match(r"bytes=(\d+)-(\d*)$", self.headers.get("Range", ""))
        if ranged:
            first = int(ranged.group(1))
            if ranged.group(2):
                last = min(last, int(ranged.group(2)))
            if first > last:
                self.send_error(416)
                return
            self.send_response(206)
            self.send_header("Content-Range", f"bytes {first}-{last}/{len(data)}")
        else:
            self.send_response(200)
        self.send_header("Content-Type", "video/mp4")
        self.send_header("Content-Length", str(last - first + 1))
        self.end_headers()
        try:
            for at in range(first, last + 1, 16384):
                self.wfile.write(data[at:min(at + 16384, last + 1)])
        except (BrokenPipeError, ConnectionResetError):
            pass  # the player swiped away


def serve(port):
    # Made before the first request, so that no answer waits for its video.
    VideoHandler.videos = {i: mp4(i) for i in range(VIDEOS_SERVED)}
    http.server.ThreadingHTTPServer(("", port), VideoHandler).serve_forever()


def play(server, scene, videos, speed):
    host, port = server.rsplit(":", 1)
    for i in range(videos):
        conn = http.client.HTTPConnection(host, int(port), timeout=30)
        conn.request("GET", URLS[scene].format(i=i), headers={"Range": "bytes=0-"})
        response = conn.getresponse()
        ends = time.monotonic() + SECONDS_PER_VIDEO / speed
        loaded = 0
        while time.monotonic() < ends:
            chunk = response.read1(65536)
            if not chunk:
                break
            loaded += len(chunk)
        print(f"video {i}: status {response.status}, loaded {loaded} bytes", flush=True)
        time.sleep(max(0.0, ends - time.monotonic()))  # the rest of its playback
        conn.close()


def main(argv):
    if len(argv) == 3 and argv[1] == "serve":
        serve(int(argv[2]))
    elif len(argv) in (5, 6) and argv[1] == "play" and argv[3] in URLS:
        play(argv[2], argv[3], int(argv[4]), float(argv[5]) if len(argv) == 6 else 1.0)
    else:
        print(__doc__, file=sys.stderr)
        return 2
    return 0


if __name__ == "__main__":
    sys.exit(main(sys.argv))
