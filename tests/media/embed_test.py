#!/usr/bin/env python3
"""embed_test - films as ffmpeg makes them get captions, and tools of others judge the result.

    embed_test.py QUARRYPACK_EMBED [-v] [EmbeddedFilms.test_NAME ...]

Each film of 8 seconds gets the captions of the demonstration, from a caption track or from a file.
ffmpeg must read all of them back, each within a picture and a pair of its time. All else must be as
in the input: the decoded pictures and sound, start times, durations, rotation, tags and chapters.
mediainfo, where there is one, must name the captions. Without ffmpeg the status is 77."""
import json
import pathlib
import re
import shutil
import struct
import subprocess
import sys
import tempfile
import unittest

SKIPPED = 77
ROOT = pathlib.Path(__file__).resolve().parents[2]
CAPTIONS = ROOT / "demo" / "captions.scc"
PAIR = 1001 / 30000
program = None

SINE = ["-f", "lavfi", "-i", "sine=frequency=440:sample_rate=48000:duration=8"]
# The caption track of a .mov: samples at the times of the file, which are on no frame grid.
TRACK = ["-i", CAPTIONS]
COPY_TRACK = ["-c:s", "copy"]
X264 = ["-c:v", "libx264", "-pix_fmt", "yuv420p", "-preset", "ultrafast", "-g", "50"]
B_FRAMES = ["-bf", "2"]


def run(*command, **options):
    return subprocess.run([str(word) for word in command], check=True, stdout=subprocess.PIPE,
                          **options).stdout.decode()


def ffmpeg(*words):
    return run("ffmpeg", "-nostdin", "-v", "error", "-y", *words)


def pictures(rate, extra=""):
    return ["-f", "lavfi", "-i", f"testsrc2=size=320x180:rate={rate}:duration=8{extra}"]


def due():
    """[(start, end, text)] of the captions, as they were put in."""
    found = []
    for line in (ROOT / "demo" / "captions.txt").read_text().splitlines():
        if line and not line.startswith("#"):
            start, end, text = line.split(" ", 2)
            found.append((float(start), float(end), text.replace("|", "\n")))
    return found


def seconds(clock):
    hours, minutes, rest = clock.replace(",", ".").split(":")
    return int(hours) * 3600 + int(minutes) * 60 + float(rest)


def shown(path):
    """What ffmpeg's decoder finds in the pictures."""
    text = run("ffmpeg", "-nostdin", "-v", "error", "-f", "lavfi", "-i",
               f"movie={path.name}[out+subcc]", "-map", "0:s", "-f", "srt", "-", cwd=path.parent)
    text = re.sub(r"<[^>]*>|\{[^}]*\}", "", text.replace("\r", ""))
    found = []
    for block in re.findall(r"(\S+) --> (\S+)\n(.*?)(?=\n\n|\Z)", text, re.S):
        found.append((seconds(block[0]), seconds(block[1]), block[2].strip()))
    return found


def hashes(path, kind):
    """A hash for each decoded picture, or for each piece of sound, with its times."""
    text = ffmpeg("-i", path, "-map", f"0:{kind}?", "-f", "framemd5", "-")
    return [line for line in text.splitlines() if not line.startswith("#")]


def properties(path):
    """What players go by, without what must differ: sizes, rates, the caption track."""
    found = json.loads(run("ffprobe", "-v", "error", "-show_streams", "-show_format",
                           "-show_chapters", "-of", "json", path))
    kept = ["codec_name", "codec_type", "codec_tag_string", "width", "height", "sample_rate",
            "channels", "sample_aspect_ratio", "r_frame_rate", "avg_frame_rate", "time_base",
            "start_pts", "duration_ts", "nb_frames", "disposition", "side_data_list",
            "has_b_frames", "field_order"]
    streams = []
    for stream in found["streams"]:
        if stream.get("codec_name") == "eia_608":
            continue
        tags = {name: value for name, value in stream.get("tags", {}).items()
                if name != "vendor_id"}
        streams.append({**{name: stream.get(name) for name in kept}, "tags": tags})
    # Beside the time codes of tracks, which are compared, ffmpeg tells one of the whole film. It comes
    # from none of its boxes, and without the caption track it may tell it where it did not before.
    brands = ("major_brand", "minor_version", "compatible_brands", "timecode")
    tags = {name: value for name, value in found["format"].get("tags", {}).items()
            if name not in brands}
    return {"streams": streams, "tags": tags, "chapters": found["chapters"],
            "start": found["format"].get("start_time"),
            "duration": found["format"].get("duration")}


class EmbeddedFilms(unittest.TestCase):
    maxDiff = None

    def setUp(self):
        self.folder = tempfile.TemporaryDirectory()
        self.addCleanup(self.folder.cleanup)
        self.place = pathlib.Path(self.folder.name)

    def embed(self, film, *options, name="out.mp4"):
        output = self.place / name
        said = run(program, *options, film, output)
        self.assertRegex(said.splitlines()[-1], r"^\d+ captions?, .* no pairs lost, verified$")
        return output

    def judge(self, film, *options, rate=25.0, mediainfo=True):
        output = self.embed(film, *options)
        expected = due()
        found = shown(output)
        self.assertEqual([text for _, _, text in found], [text for _, _, text in expected])
        tolerance = 1 / rate + PAIR + 0.002
        for (start, end, text), (due_start, due_end, _) in zip(found, expected):
            self.assertAlmostEqual(start, due_start, delta=tolerance, msg=text)
            self.assertAlmostEqual(end, due_end, delta=tolerance, msg=text)
        for kind in ("v", "a"):
            self.assertEqual(hashes(output, kind), hashes(film, kind), kind)
        self.assertEqual(properties(output), properties(film))
        self.assertEqual(ffmpeg("-i", output, "-map", "0:v", "-f", "null", "-"), "")
        if mediainfo and shutil.which("mediainfo"):
            self.assertIn("EIA-608", run("mediainfo", output))
        return output

    def film(self, rate, *words, sound=("-c:a", "aac"), name="film.mov", coder=tuple(X264),
             track=True):
        path = self.place / name
        inputs = [*pictures(rate), *SINE, *(TRACK if track else [])]
        maps = ["-map", "0:v", "-map", "1:a", *(["-map", "2:s", *COPY_TRACK] if track else [])]
        ffmpeg(*inputs, *maps, *coder, *sound, *words, path)
        return path

    def sidecar_film(self, rate, *words, **options):
        return self.film(rate, *words, track=False, **options)

    def test_23_976_pictures_with_b_frames(self):
        self.judge(self.film("24000/1001", *B_FRAMES), rate=23.976)

    def test_24_pictures_without_b_frames(self):
        self.judge(self.film("24", "-bf", "0"), rate=24)

    def test_25_pictures_with_b_frames_and_pcm_sound(self):
        self.judge(self.film("25", *B_FRAMES, sound=("-c:a", "pcm_s16le")))

    def test_29_97_pictures_with_b_frames_and_24_bit_sound(self):
        self.judge(self.film("30000/1001", "-bf", "3", sound=("-c:a", "pcm_s24le")), rate=29.97)

    def test_50_pictures(self):
        self.judge(self.film("50", *B_FRAMES), rate=50)

    def test_59_94_pictures(self):
        self.judge(self.film("60000/1001", *B_FRAMES), rate=59.94)

    def test_60_pictures_with_open_groups(self):
        self.judge(self.film("60", "-bf", "3", "-x264-params", "open-gop=1:b-pyramid=normal"),
                   rate=60)

    def test_hevc_with_b_frames(self):
        coder = ("-c:v", "libx265", "-preset", "ultrafast", "-x265-params",
                 "log-level=none:bframes=3:keyint=50", "-tag:v", "hvc1", "-pix_fmt", "yuv420p")
        # In a movie mediainfo looks for captions in pictures of H.264 only.
        self.judge(self.film("25", coder=coder), mediainfo=False)

    def test_interlaced_pictures(self):
        self.judge(self.film("25", *B_FRAMES, "-flags", "+ildct+ilme", "-top", "1"))

    def test_variable_rate(self):
        path = self.place / "film.mov"
        ffmpeg(*pictures("50", ",select='not(mod(n\\,3))+gt(random(1)\\,0.6)'"), *SINE, *TRACK,
               "-map", "0:v", "-map", "1:a", "-map", "2:s", *COPY_TRACK, *X264, *B_FRAMES,
               "-vsync", "vfr", "-c:a", "aac", path)
        self.judge(path, rate=15)

    def test_rotation_place_and_tags(self):
        film = self.film("30", *B_FRAMES, "-metadata", "location=+48.2082+016.3738/", "-metadata",
                         "title=A title", "-metadata", "creation_time=2024-05-01T10:00:00Z")
        # A quarter turn, as telephones write it.
        turned = struct.pack(">9i", 0, 1 << 16, 0, -1 << 16, 0, 0, 180 << 16, 0, 1 << 30)
        data = film.read_bytes()
        matrix = data.index(b"tkhd") + 4 + 40
        film.write_bytes(data[:matrix] + turned + data[matrix + 36:])
        output = self.judge(film, rate=30)
        rotated = [stream for stream in properties(output)["streams"] if stream["side_data_list"]]
        self.assertEqual(len(rotated), 1)

    def test_two_sound_tracks_with_languages_and_chapters(self):
        chapters = self.place / "chapters.txt"
        chapters.write_text(";FFMETADATA1\n" + "".join(
            f"[CHAPTER]\nTIMEBASE=1/1000\nSTART={start}\nEND={start + 4000}\ntitle=Part {start}\n"
            for start in (0, 4000)))
        path = self.place / "film.mov"
        ffmpeg(*pictures("25"), *SINE, "-f", "lavfi", "-i", "sine=880:sample_rate=48000:d=8",
               *TRACK, "-i", chapters, "-map", "0:v", "-map", "1:a", "-map", "2:a", "-map", "3:s",
               "-map_chapters", "4", *COPY_TRACK, *X264, *B_FRAMES, "-c:a", "aac",
               "-metadata:s:a:0", "language=eng", "-metadata:s:a:1", "language=fra", path)
        output = self.judge(path)
        self.assertEqual(len(properties(output)["chapters"]), 2)

    def test_time_code_track(self):
        self.judge(self.film("25", *B_FRAMES, "-timecode", "10:00:00:00"))

    def test_pictures_that_are_delayed(self):
        path = self.place / "film.mov"
        ffmpeg("-itsoffset", "0.5", *pictures("25"), *SINE, *TRACK, "-map", "0:v", "-map", "1:a",
               "-map", "2:s", *COPY_TRACK, *X264, *B_FRAMES, "-c:a", "pcm_s16le", path)
        self.judge(path)

    def test_beginning_that_is_cut_by_an_edit(self):
        whole = self.film("25", *B_FRAMES, name="whole.mov")
        cut = self.place / "film.mov"
        # It begins with the key picture before, which an edit hides with all up to 0.3 seconds.
        ffmpeg("-ss", "0.3", "-i", whole, "-map", "0:v", "-map", "0:a", "-c", "copy", cut)
        self.judge(cut, "--captions", CAPTIONS)

    def test_negative_composition_offsets(self):
        film = self.sidecar_film("25", *B_FRAMES, "-movflags", "negative_cts_offsets",
                                 name="film.mp4")
        self.judge(film, "--captions", CAPTIONS)

    def test_fragments_of_dash(self):
        film = self.sidecar_film("30", *B_FRAMES, "-movflags", "dash+frag_keyframe+empty_moov",
                                 name="film.mp4")
        self.judge(film, "--captions", CAPTIONS, rate=30)

    def test_fragments_of_cmaf(self):
        film = self.sidecar_film("30", *B_FRAMES, "-movflags", "cmaf+frag_keyframe",
                                 "-frag_duration", "1000000", name="film.mp4")
        self.judge(film, "--captions", CAPTIONS, rate=30)

    def test_fragments_with_samples_in_the_movie_box(self):
        film = self.sidecar_film("30", *B_FRAMES, "-movflags", "frag_keyframe", name="film.mp4")
        # mediainfo finds no captions in such a film, ffmpeg's own included.
        self.judge(film, "--captions", CAPTIONS, rate=30, mediainfo=False)

    def test_fragments_with_random_access_and_segment_index(self):
        film = self.sidecar_film("25", "-bf", "0", "-movflags",
                                 "frag_keyframe+empty_moov+default_base_moof+global_sidx",
                                 name="film.mp4")
        self.judge(film, "--captions", CAPTIONS)

    def test_movie_box_in_front(self):
        film = self.sidecar_film("25", *B_FRAMES, "-movflags", "faststart", name="film.mp4")
        self.judge(film, "--captions", CAPTIONS)

    def test_time_codes_with_an_offset(self):
        scc = self.place / "hour.scc"
        scc.write_text(re.sub(r"^00:", "01:", CAPTIONS.read_text(), flags=re.M))
        film = self.sidecar_film("30000/1001", *B_FRAMES, name="film.mp4")
        self.judge(film, "--captions", scc, "--scc-offset", "auto", rate=29.97)
        self.judge(film, "--captions", scc, "--scc-offset", "01:00:00:00", rate=29.97)

    def test_drop_frame_codes(self):
        scc = self.place / "drop.scc"
        scc.write_text(re.sub(r"^(\d\d:\d\d:\d\d):", r"\1;", CAPTIONS.read_text(), flags=re.M))
        film = self.sidecar_film("30000/1001", *B_FRAMES, name="film.mp4")
        self.judge(film, "--captions", scc, rate=29.97)

    def test_captions_that_are_replaced(self):
        first = self.embed(self.film("25", *B_FRAMES), name="first.mp4")
        refused = subprocess.run([program, "--captions", CAPTIONS, first, self.place / "x.mp4"],
                                 stderr=subprocess.PIPE, check=False)
        self.assertEqual(refused.returncode, 1)
        self.assertIn(b"--replace", refused.stderr)
        self.judge(first, "--replace", "--captions", CAPTIONS)

    def test_film_without_sound(self):
        path = self.place / "film.mp4"
        ffmpeg(*pictures("25"), *X264, *B_FRAMES, path)
        self.judge(path, "--captions", CAPTIONS)


if __name__ == "__main__":
    if not shutil.which("ffmpeg"):
        print("embed_test: skipped: there is no ffmpeg to make films")
        sys.exit(SKIPPED)
    program = str(pathlib.Path(sys.argv.pop(1)).resolve())
    unittest.main()
