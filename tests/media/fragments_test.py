#!/usr/bin/env python3
"""fragments_test - other programs check a fragmented movie that the library has written.

    fragments_test.py REMUX [-v]

REMUX writes a movie made by ffmpeg (H.264 with B-frames, two AAC tracks, 20 seconds) in 20 fragments
with random access, and back into a regular one. The programs are ffmpeg, ffprobe and mediainfo, and
for the random access boxes the positions of the moof boxes. Without ffmpeg the status is 77."""
import collections
import json
import pathlib
import shutil
import struct
import subprocess
import sys
import tempfile
import unittest

SKIPPED = 77
remux = None

Box = collections.namedtuple("Box", "type start size payload")
Entry = collections.namedtuple("Entry", "time moof traf trun sample")


def output_of(*command):
    return subprocess.run([str(word) for word in command], check=True,
                          stdout=subprocess.PIPE).stdout.decode()


def packets_of(path, stream):
    """What ffprobe reports of every packet, except durations, which it guesses if none is stated."""
    found = json.loads(output_of("ffprobe", "-v", "error", "-ignore_editlist", "1", "-select_streams",
                                 stream, "-show_packets", "-show_data_hash", "MD5", "-of", "json",
                                 path))["packets"]
    return [(p["pts"], p["dts"], p["size"], p["flags"], p["data_hash"]) for p in found]


def boxes_in(data, start, end):
    while start < end:
        size, kind = struct.unpack_from(">I4s", data, start)
        header = 8
        if size == 1:
            size, header = struct.unpack_from(">Q", data, start + 8)[0], 16
        yield Box(kind.decode(), start, size, start + header)
        start += size


def random_access_of(data):
    """{track id: entries} of the mfra box at the end, found as a player finds it."""
    length = struct.unpack(">I", data[-4:])[0]
    index = next(boxes_in(data, len(data) - length, len(data)))
    assert index.type == "mfra" and index.size == length
    tracks = {}
    for box in boxes_in(data, index.payload, index.start + index.size):
        if box.type == "tfra":
            version, track, lengths, count = struct.unpack_from(">B3x3I", data, box.payload)
            assert (version, lengths) == (1, 0x3F)
            tracks[track] = [Entry(*struct.unpack_from(">QQIII", data, box.payload + 16 + 28 * i))
                             for i in range(count)]
    return tracks


class FragmentedMovie(unittest.TestCase):
    @classmethod
    def setUpClass(cls):
        cls.folder = tempfile.TemporaryDirectory()
        folder = pathlib.Path(cls.folder.name)
        cls.source = folder / "source.mp4"
        cls.fragmented = folder / "fragmented.mp4"
        cls.regular = folder / "regular.mp4"
        output_of("ffmpeg", "-nostdin", "-v", "error", "-f", "lavfi", "-i",
                  "testsrc2=s=320x240:r=25:d=20", "-f", "lavfi", "-i", "sine=440:d=20", "-f", "lavfi",
                  "-i", "sine=880:d=20", "-map", "0", "-map", "1", "-map", "2", "-c:v", "libx264",
                  "-g", "25", "-bf", "2", "-pix_fmt", "yuv420p", "-c:a", "aac", cls.source)
        output_of(remux, cls.source, cls.fragmented, "fragmented", "1000", "random-access")
        output_of(remux, cls.fragmented, cls.regular, "regular")
        cls.data = cls.fragmented.read_bytes()

    @classmethod
    def tearDownClass(cls):
        cls.folder.cleanup()

    def test_ffprobe_finds_the_samples_that_were_put_in(self):
        for stream in ("0", "1", "2"):
            with self.subTest(stream=stream):
                expected = packets_of(self.source, stream)
                self.assertGreaterEqual(len(expected), 500)
                self.assertEqual(packets_of(self.fragmented, stream), expected)
                self.assertEqual(packets_of(self.regular, stream), expected)

    def test_ffmpeg_decodes_it_without_a_complaint(self):
        for path in (self.fragmented, self.regular):
            result = subprocess.run(["ffmpeg", "-nostdin", "-v", "error", "-i", path, "-map", "0",
                                     "-f", "null", "-"], stderr=subprocess.PIPE, check=False)
            self.assertEqual((result.returncode, result.stderr.decode()), (0, ""))

    def test_mediainfo_finds_its_tracks(self):
        if not shutil.which("mediainfo"):
            self.skipTest("there is no mediainfo")
        tracks = json.loads(output_of("mediainfo", "--Output=JSON", self.fragmented))
        tracks = tracks["media"]["track"]
        self.assertEqual([track["@type"] for track in tracks],
                         ["General", "Video", "Audio", "Audio"])
        self.assertEqual([track["Format"] for track in tracks[1:]], ["AVC", "AAC", "AAC"])
        for track in tracks[1:]:
            self.assertAlmostEqual(float(track["Duration"]), 20, delta=0.1)

    def test_mediainfo_counts_the_pictures_of_every_fragment(self):
        if not shutil.which("mediainfo"):
            self.skipTest("there is no mediainfo")
        found = output_of("mediainfo", "--Inform=Video;%FrameCount%", self.fragmented).strip()
        self.assertEqual(found, "500")

    def test_random_access_names_the_fragments_to_the_byte(self):
        top = list(boxes_in(self.data, 0, len(self.data)))
        moofs = [box.start for box in top if box.type == "moof"]
        self.assertEqual(len(moofs), 20)
        index = random_access_of(self.data)
        keys = [int(packet[1]) for packet in packets_of(self.source, "0") if "K" in packet[3]]
        self.assertEqual([entry.time for entry in index[1]], keys)
        self.assertEqual([entry.moof for entry in index[1]], moofs)
        self.assertEqual({entry[2:] for entry in index[1]}, {(1, 1, 1)})
        for entries in index.values():
            self.assertLessEqual({entry.moof for entry in entries}, set(moofs))


if __name__ == "__main__":
    if not shutil.which("ffmpeg"):
        print("fragments_test: skipped: there is no ffmpeg to make a movie")
        sys.exit(SKIPPED)
    remux = sys.argv.pop(1)
    unittest.main()
