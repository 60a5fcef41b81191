#!/usr/bin/env python3
"""captions_test - quarrypack-captions reads the same captions as other programs.

    captions_test.py QUARRYPACK_CAPTIONS QUARRYPACK [-v]

Makes movies with captions in a track and in the pictures and compares the captions with those that
ffmpeg finds. SubRip is parsed with python3-srt, WebVTT with python3-webvtt. The text track of a
browser is tests/browser/text_track_test.py. Without ffmpeg or these modules the status is 77 (skipped),
with the reason."""
import json
import pathlib
import re
import shutil
import sys
import tempfile
import unittest

# Where Debian installs Python modules; a Python from elsewhere does not search there.
sys.path.append("/usr/lib/python3/dist-packages")
try:
    import srt
    import webvtt
except ImportError as missing:
    print(f"skipped: {missing}")
    sys.exit(77)

import media_test
from media_test import ROOT, cues_in_pictures, cues_of_caption_track, output_of

import spread_scc  # found through the path that media_test sets

SKIPPED = 77
FRAME = 1001 / 30000
reader = converter = None


def ffmpeg(*arguments):
    output_of("ffmpeg", "-nostdin", "-v", "error", "-y", *arguments)


def captions(movie, *options):
    return output_of(reader, *options, movie)


def texts(cues):
    return [cue.text for cue in cues]


class Captions(unittest.TestCase):
    @classmethod
    def setUpClass(cls):
        cls.scratch = tempfile.TemporaryDirectory(prefix="quarrypack_captions_")
        folder = pathlib.Path(cls.scratch.name)
        cls.scc = folder / "spread.scc"
        cls.scc.write_text(spread_scc.spread((ROOT / "demo" / "captions.scc").read_text()))
        cls.movies = {name: folder / f"{name}.mp4" for name in ("plain", "frames", "fragments")}
        cls.track = folder / "track.mov"
        # No reordered pictures, because ffmpeg subtracts their delay even without an edit list.
        ffmpeg("-f", "lavfi", "-i", "testsrc2=size=64x48:rate=30000/1001:duration=10", "-i", cls.scc,
               "-map", "0:v", "-map", "1:s", "-c:v", "libx264", "-bf", "0", "-c:s", "copy",
               "-video_track_timescale", "30000", "-movie_timescale", "30000", "-bsf:s",
               "setts=time_base=1/30000:ts=1001*ceil(TS/1001):duration=1001", cls.track)
        output_of(converter, "--input-file", cls.track, "--output-file", cls.movies["plain"])
        # Encoded again, with reordered pictures and the edit list that goes with them.
        ffmpeg("-i", cls.movies["plain"], "-c:v", "libx264", "-bf", "2", "-a53cc", "1",
               cls.movies["frames"])
        ffmpeg("-i", cls.movies["plain"], "-c", "copy", "-movflags",
               "+frag_keyframe+empty_moov+default_base_moof", cls.movies["fragments"])

    @classmethod
    def tearDownClass(cls):
        cls.scratch.cleanup()

    def expect_equal_cues(self, found, expected):
        self.assertGreater(len(found), 2)
        self.assertEqual(texts(found), texts(expected))
        for one, other in zip(found, expected):
            self.assertAlmostEqual(one.start, other.start, delta=FRAME)

    def test_track_is_read_as_by_ffmpeg(self):
        self.expect_equal_cues(media_test.cues_of(captions(self.track)),
                               cues_of_caption_track(self.track))

    def test_pictures_are_read_as_by_ffmpeg(self):
        for name, movie in self.movies.items():
            with self.subTest(movie=name):
                self.expect_equal_cues(media_test.cues_of(captions(movie)), cues_in_pictures(movie))

    def test_captions_are_those_of_the_scc_file(self):
        def words(text):
            return re.findall(r"\b[0-9a-f]{4}\b", " ".join(
                line.partition("\t")[2] for line in text.splitlines()))
        expected = [word for word in words(self.scc.read_text()) if word != "8080"]
        self.assertGreater(len(expected), 20)
        for movie in (self.track, *self.movies.values()):
            with self.subTest(movie=movie.name):
                found = words(captions(movie, "--format", "scc"))
                self.assertEqual([word for word in found if word != "8080"], expected)

    def cues_of_json(self):
        document = json.loads(captions(self.track, "--format", "json"))
        return [(cue["start"], cue["end"],
                 "\n".join("".join(run["text"] for run in row["runs"]) for row in cue["rows"]))
                for cue in document["channels"][0]["cues"]]

    def test_srt_pleases_its_parser(self):
        found = [(cue.start.total_seconds(), cue.end.total_seconds(), cue.content)
                 for cue in srt.parse(captions(self.track), ignore_errors=False)]
        self.assertEqual(found, self.cues_of_json())

    def test_vtt_pleases_its_parser(self):
        path = self.scc.with_suffix(".vtt")
        output_of(reader, "--output-file", path, self.track)
        found = [(cue.start_in_seconds, cue.end_in_seconds, re.sub(r"<[^>]*>", "", cue.text))
                 for cue in webvtt.read(str(path))]
        # Rows that begin in different columns are cues of their own.
        expected = self.cues_of_json()
        self.assertEqual(sorted({cue[:2] for cue in found}), [cue[:2] for cue in expected])
        self.assertEqual("\n".join(cue[2] for cue in found), "\n".join(cue[2] for cue in expected))


def main(arguments):
    global reader, converter
    if len(arguments) < 2:
        sys.exit(__doc__)
    for tool in ("ffmpeg", "ffprobe"):
        if not shutil.which(tool):
            print(f"skipped: {tool} is not installed")
            return SKIPPED
    reader, converter = (pathlib.Path(word).resolve() for word in arguments[:2])
    tests = unittest.defaultTestLoader.loadTestsFromTestCase(Captions)
    verbosity = 2 if "-v" in arguments else 1
    return 0 if unittest.TextTestRunner(verbosity=verbosity).run(tests).wasSuccessful() else 1


if __name__ == "__main__":
    sys.exit(main(sys.argv[1:]))
