#!/usr/bin/python3
"""The VM replay's helpers without a VM: the datagram sizes a call trace's
row becomes, and the MP4 a short-video trace's video becomes (its 'mvhd'
where a reader of ISO/IEC 14496-12 boxes finds it, with the trace's figures)."""
import os
import struct
import sys
import unittest

sys.path.insert(0, os.path.join(os.path.dirname(__file__), "../../../tools/simulator/vm"))
import traffic_replay  # noqa: E402
import video_replay  # noqa: E402


def boxes(data, start=0, end=None):
    """(type, payload offset, payload end) of the boxes in data[start:end]."""
    end = len(data) if end is None else end
    while start + 8 <= end:
        size, kind = struct.unpack(">I4s", data[start:start + 8])
        yield kind, start + 8, min(start + size, end)
        start += size


class PayloadsTest(unittest.TestCase):
    def test_rows_become_datagrams_adding_up_at_the_ip_layer(self):
        cases = [
            # packets, IP bytes asked, IP bytes the datagrams add up to
            (55, 12000, 12000),
            (10, 10, 280),        # below the headers: empty datagrams
            (0, 900, 0),          # bytes without packets cannot be sent
            (1, 70000, 65535),    # past the largest datagram
            (3, 100, 100),
        ]
        for packets, asked, wire in cases:
            sizes = traffic_replay.payloads(packets, asked)
            self.assertEqual(len(sizes), packets)
            self.assertEqual(sum(sizes) + 28 * packets, wire, (packets, asked))
            self.assertLessEqual(max(sizes, default=0) - min(sizes, default=0), 1)


class Mp4Test(unittest.TestCase):
    def test_the_movie_header_carries_the_traces_figures(self):
        for total, timescale, duration in [(1000000, 1, 10), (5000, 90000, 900000), (300, 1000, 8000)]:
            data = video_replay.mp4(total, timescale, duration)
            self.assertEqual(len(data), total)
            top = {kind: (at, end) for kind, at, end in boxes(data)}
            self.assertEqual(list(top)[:3], [b"ftyp", b"moov", b"mdat"][:len(top)])
            at, end = top[b"moov"]
            (kind, mvhd, _), = boxes(data, at, end)
            self.assertEqual(kind, b"mvhd")
            self.assertEqual(data[mvhd], 0)  # version 0: 32-bit times
            self.assertEqual(struct.unpack(">II", data[mvhd + 12:mvhd + 20]), (timescale, duration))
            self.assertEqual(data.count(b"mvhd"), 1)  # the media never spells it again


if __name__ == "__main__":
    unittest.main()
