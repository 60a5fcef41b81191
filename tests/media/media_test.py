#!/usr/bin/env python3
"""media_test - converts movies made for the test and checks the results with independent tools.

    media_test.py PROGRAM [-v]     makes movies, converts them, checks the outputs
    media_test.py --inputs-only    makes the movies and checks only these

The tools are ffmpeg, ffprobe and mediainfo. The bytes of samples are read from the file itself, at the
positions that ffprobe reports. Without ffmpeg the status is 77 (skipped), with the reason."""
import collections
import hashlib
import json
import pathlib
import re
import shutil
import subprocess
import sys
import tempfile
import unittest

ROOT = pathlib.Path(__file__).resolve().parents[2]
sys.path.insert(0, str(ROOT / "tools"))
import make_scc  # noqa: E402  (found through the path set above)
import spread_scc  # noqa: E402

SKIPPED = 77
program = None

Packet = collections.namedtuple("Packet", "pts dts size pos flags")
# (presentation time, byte pairs): one caption message, as sent or as found in a picture.
Message = collections.namedtuple("Message", "time pairs")
Cue = collections.namedtuple("Cue", "start text")

SEI = 6
# Of H.264, or of HEVC with the two bytes of its header.
CAPTION_SEI = re.compile(rb"(?:\x06|\x4e.)\x04\xff*[^\xff]\xb5\x00\x31GA94\x03", re.DOTALL)


# ---------------------------------------------------------------- tools
def run(*command, cwd=None):
    return subprocess.run([str(word) for word in command], cwd=cwd, check=False,
                          stdout=subprocess.PIPE, stderr=subprocess.PIPE)


def output_of(*command, cwd=None):
    result = run(*command, cwd=cwd)
    if result.returncode:
        raise RuntimeError(f"{' '.join(map(str, command))}: {result.stderr.decode()}")
    return result.stdout.decode()


def streams_of(path):
    return json.loads(output_of("ffprobe", "-v", "error", "-show_streams", "-of", "json",
                                path))["streams"]


def packets_of(path, index, *options):
    found = json.loads(output_of("ffprobe", "-v", "error", *options, "-select_streams", index,
                                 "-show_packets", "-of", "json", path))["packets"]
    return [Packet(int(p["pts"]), int(p["dts"]), int(p["size"]), int(p["pos"]), p["flags"])
            for p in found]


def complaints_of(path):
    """The messages of ffmpeg while it decodes every stream that it can, without addresses."""
    result = run("ffmpeg", "-nostdin", "-v", "error", "-i", path, "-map", "0:v", "-map", "0:a",
                 "-f", "null", "-")
    text = re.sub(r" @ 0x[0-9a-f]+", "", result.stderr.decode())
    return collections.Counter(text.splitlines())


def cues_of(srt):
    """The cues of a subtitle text, tags removed."""
    cues = []
    for block in re.split(r"\n\s*\n", srt.replace("\r", "").strip()):
        lines = block.split("\n")
        times = re.match(r"(\d+):(\d+):(\d+),(\d+) -->", lines[1]) if len(lines) > 2 else None
        if times:
            hours, minutes, seconds, milli = map(int, times.groups())
            text = re.sub(r"<[^>]*>|\{[^}]*\}", "", "\n".join(lines[2:]))
            cues.append(Cue(((hours * 60 + minutes) * 60 + seconds) + milli / 1000, text))
    return cues


def cues_of_caption_track(path):
    return cues_of(output_of("ffmpeg", "-nostdin", "-v", "error", "-i", path, "-map", "0:s",
                             "-f", "srt", "-"))


def cues_in_pictures(path):
    return cues_of(output_of("ffmpeg", "-nostdin", "-v", "error", "-f", "lavfi", "-i",
                             f"movie={path.name}[out+subcc]", "-map", "0:s", "-f", "srt", "-",
                             cwd=path.parent))


# ---------------------------------------------------------------- bytes
def sample_bytes(data, packet):
    return data[packet.pos:packet.pos + packet.size]


def caption_sample_pairs(data, packet):
    """The byte pairs of a sample of the caption track: one atom 'cdat'."""
    size = int.from_bytes(data[packet.pos:packet.pos + 4], "big")
    assert data[packet.pos + 4:packet.pos + 8] == b"cdat", "ffmpeg writes field 1 only"
    return data[packet.pos + 8:packet.pos + size]


def split_captions(sample):
    """(the sample without its caption units, the byte pairs of each caption unit)."""
    rest, captions, position = b"", [], 0
    while position < len(sample):
        end = position + 4 + int.from_bytes(sample[position:position + 4], "big")
        unit = sample[position + 4:end]
        head = CAPTION_SEI.match(unit)
        if head:
            count = unit[head.end()] & 0x1F
            triplets = unit[head.end() + 2:head.end() + 2 + 3 * count]
            assert unit[head.end() + 2 + 3 * count:] == b"\xff\x80", "end of a caption unit"
            assert set(triplets[0::3]) <= {0xFC}, "valid pairs of field 1"
            captions.append(b"".join(triplets[i + 1:i + 3] for i in range(0, 3 * count, 3)))
        else:
            rest += sample[position:end]
        position = end
    return rest, captions


# ---------------------------------------------------------------- inputs
class Movie:
    """A movie of eight seconds with captions whose times are times of its pictures.

    The caption track and the movie use the timescale of the video, and every caption is moved to
    the picture on which its line of the SCC file falls: a caption between two pictures would go to
    a sample of the sound, if one lies nearer. Eight reference pictures, because mediainfo finds no
    captions at all, whichever program inserted them, in a video with few of them and no B-frames."""

    def __init__(self, name, rate, tick, b_frames, *extra):
        self.name, self.rate, self.tick, self.b_frames, self.extra = \
            name, rate, tick, b_frames, extra
        self.timescale = round(eval_rate(rate) * tick)

    def make(self, folder, scc):
        path = folder / f"{self.name}.mov"
        output_of(
            "ffmpeg", "-nostdin", "-v", "error", "-y",
            "-f", "lavfi", "-i", f"testsrc2=size=320x180:rate={self.rate}:duration=8",
            "-f", "lavfi", "-i", "sine=frequency=440:sample_rate=48000:duration=8",
            "-i", scc, "-map", "0:v", "-map", "1:a", "-map", "2:s",
            "-c:v", "libx264", "-preset", "veryfast", "-refs", "8", "-pix_fmt", "yuv420p", "-g", "24",
            "-bf", self.b_frames, "-c:a", "aac", "-c:s", "copy",
            "-bsf:s", f"setts=time_base=1/{self.timescale}"
                      f":ts={self.tick}*ceil(TS/{self.tick}):duration={self.tick}",
            "-video_track_timescale", self.timescale, "-movie_timescale", self.timescale,
            *self.extra, path)
        return path


def eval_rate(rate):
    numerator, _, denominator = rate.partition("/")
    return int(numerator) / int(denominator or 1)


class MadeOnce:
    """The folder with the captions and the movies of this run; a movie is made when first used."""

    folder = None
    movies = {}

    @classmethod
    def scc(cls):
        path = cls.folder / "captions.scc"
        if not path.exists():
            path.write_text(make_scc.make_scc(cls.captions()), encoding="ascii")
        return path

    @staticmethod
    def captions():
        with open(ROOT / "demo" / "captions.txt", encoding="utf-8") as source:
            return make_scc.parse(source)

    @classmethod
    def movie(cls, movie):
        if movie.name not in cls.movies:
            cls.movies[movie.name] = movie.make(cls.folder, cls.scc())
        return cls.movies[movie.name]


class CarriedCaptionFile(unittest.TestCase):
    def test_is_what_its_text_gives(self):
        self.assertEqual((ROOT / "demo" / "captions.scc").read_text(encoding="ascii"),
                         make_scc.make_scc(MadeOnce.captions()))

    def test_has_odd_parity_throughout(self):
        words = re.findall(r"\b[0-9a-f]{4}\b", MadeOnce.scc().read_text(encoding="ascii"))
        self.assertGreater(len(words), 50)
        for word in words:
            for byte in bytes.fromhex(word):
                self.assertEqual(bin(byte).count("1") % 2, 1, word)


class SpreadCaptions(unittest.TestCase):
    def test_gives_every_pair_a_picture_of_its_own(self):
        self.assertEqual(
            spread_scc.spread("Scenarist_SCC V1.0\n\n00:00:00:28\t9420 9420 94ae\n\n00:00:01:00\t942f\n"),
            "Scenarist_SCC V1.0\n\n00:00:00:28\t9420\n\n00:00:00:29\t9420\n"
            "\n00:00:01:00\t94ae\n\n00:00:01:01\t942f\n")

    def test_counts_drop_frames_as_television_does(self):
        for picture, code in ((1799, "00:00:59;29"), (1800, "00:01:00;02"), (17981, "00:09:59;29"),
                              (17982, "00:10:00;00"), (107892, "01:00:00;00")):
            self.assertEqual(spread_scc.code_of(picture, True), code)
        for picture in range(2 * 17982 + 2):
            self.assertEqual(spread_scc.picture_of(spread_scc.code_of(picture, True)), picture)


class InputJudges:
    """Mixed into a test case that names its `movie`: the movie has the intended properties."""

    movie = None

    @classmethod
    def setUpClass(cls):
        cls.source = MadeOnce.movie(cls.movie)
        cls.source_data = cls.source.read_bytes()
        cls.source_streams = streams_of(cls.source)
        cls.caption_index = next(s["index"] for s in cls.source_streams
                                 if s["codec_name"] == "eia_608")
        cls.expected_texts = ["\n".join(rows) for _, _, rows in MadeOnce.captions()]

    def sent_messages(self):
        """The content of the caption track, without the empty samples."""
        messages = [Message(packet.pts, caption_sample_pairs(self.source_data, packet))
                    for packet in packets_of(self.source, self.caption_index) if packet.size]
        return [message for message in messages if message.pairs]

    def test_input_has_a_caption_track(self):
        stream = self.source_streams[self.caption_index]
        self.assertEqual(stream["codec_tag_string"], "c608")
        self.assertEqual(stream["time_base"], f"1/{self.movie.timescale}")
        self.assertIn(b"clcp", self.source_data)

    def test_input_sends_every_pair_in_order(self):
        words = re.findall(r"\b[0-9a-f]{4}\b", MadeOnce.scc().read_text(encoding="ascii"))
        sent = b"".join(message.pairs for message in self.sent_messages())
        self.assertEqual(sent, bytes.fromhex("".join(words)))

    def test_input_captions_lie_on_pictures(self):
        pictures = {packet.pts for packet in packets_of(self.source, 0)}
        for message in self.sent_messages():
            self.assertIn(message.time, pictures)

    def test_input_captions_can_be_read(self):
        self.assertEqual([cue.text for cue in cues_of_caption_track(self.source)],
                         self.expected_texts)


class OutputJudges(InputJudges):
    """Checks of the conversion of the movie."""

    @classmethod
    def setUpClass(cls):
        super().setUpClass()
        cls.output = MadeOnce.folder / f"{cls.movie.name}.mp4"
        cls.conversion = run(program, "--input-file", cls.source, "--output-file", cls.output,
                             cwd=MadeOnce.folder)
        cls.output_data = cls.output.read_bytes() if cls.output.exists() else b""

    def setUp(self):
        self.assertEqual(self.conversion.returncode, 0, self.conversion)
        self.assertEqual(self.conversion.stderr, b"")

    def source_indices(self):
        """The streams of the input that the output must have, in the order of the output."""
        return [s["index"] for s in self.source_streams if s["index"] != self.caption_index]

    def shown_packets(self, index):
        """The packets of an input stream that its edit list shows: the priming of a sound encoder lies
        before the start. Pictures before the start are decoded ahead and belong to the movie."""
        packets = packets_of(self.source, index)
        if self.source_streams[index]["codec_type"] == "video":
            return packets
        return [packet for packet in packets if packet.pts >= 0]

    def lead(self, index):
        """How much later the pictures of the output are shown: the reorder delay that the edit
        list of the input takes off."""
        video = self.source_streams[index]["codec_type"] == "video"
        return -packets_of(self.source, index)[0].dts if video else 0

    def found_messages(self):
        packets = packets_of(self.output, 0, "-ignore_editlist", "1")
        messages = []
        for packet in sorted(packets, key=lambda packet: packet.pts):
            _, captions = split_captions(sample_bytes(self.output_data, packet))
            messages += [Message(packet.pts, pairs) for pairs in captions]
        return messages

    def test_input_is_untouched(self):
        self.assertEqual(hashlib.sha256(self.source.read_bytes()).digest(),
                         hashlib.sha256(self.source_data).digest())

    def test_second_run_gives_the_same_bytes(self):
        again = MadeOnce.folder / f"{self.movie.name}_again.mp4"
        self.assertEqual(run(program, "--input-file", self.source, "--output-file", again,
                             cwd=MadeOnce.folder).returncode, 0)
        self.assertEqual(again.read_bytes(), self.output_data)

    def test_decodes_without_new_complaints(self):
        new = complaints_of(self.output) - complaints_of(self.source)
        self.assertEqual(list(new.elements()), [])

    def test_has_all_streams_but_the_captions(self):
        def kind(stream):
            return (stream["codec_type"], stream.get("codec_name"), stream["codec_tag_string"],
                    stream["time_base"], stream.get("width"), stream.get("height"),
                    stream.get("sample_rate"), stream.get("channels"))
        self.assertEqual([kind(stream) for stream in streams_of(self.output)],
                         [kind(self.source_streams[index]) for index in self.source_indices()])

    def test_players_start_every_stream_at_zero(self):
        """From an edit that begins before the first picture, ffmpeg subtracts the missing part."""
        for stream in streams_of(self.output):
            with self.subTest(stream=stream["index"]):
                self.assertEqual(stream["start_pts"], 0)

    def test_packets_keep_times_and_sync_flags(self):
        for number, index in enumerate(self.source_indices()):
            with self.subTest(stream=number):
                lead = self.lead(index)
                video = self.source_streams[index]["codec_type"] == "video"

                def marks(packet):
                    return packet.flags[0] if video else None
                self.assertEqual(
                    [(p.pts, p.dts, marks(p))
                     for p in packets_of(self.output, number, "-ignore_editlist", "1")],
                    [(p.pts + lead, p.dts + lead, marks(p)) for p in self.shown_packets(index)])

    def test_samples_are_unchanged_but_for_captions(self):
        for number, index in enumerate(self.source_indices()):
            with self.subTest(stream=number):
                before = [sample_bytes(self.source_data, packet)
                          for packet in self.shown_packets(index)]
                after = [sample_bytes(self.output_data, packet)
                         for packet in packets_of(self.output, number, "-ignore_editlist", "1")]
                if number == 0:
                    after = [split_captions(sample)[0] for sample in after]
                self.assertEqual(len(after), len(before))
                self.assertEqual(
                    [place for place, pair in enumerate(zip(after, before)) if pair[0] != pair[1]],
                    [])

    def test_every_message_stands_in_its_own_picture(self):
        lead = self.lead(0)
        self.assertEqual(
            [message for message in self.found_messages() if message.pairs],
            [Message(message.time + lead, message.pairs) for message in self.sent_messages()])

    def test_captions_are_decoded_as_put_in(self):
        found = cues_in_pictures(self.output)
        self.assertEqual([cue.text for cue in found], self.expected_texts)
        picture = self.movie.tick / self.movie.timescale
        for cue, sent in zip(found, cues_of_caption_track(self.source)):
            self.assertLessEqual(abs(cue.start - sent.start), picture + 0.001, cue.text)

    @unittest.skipUnless(shutil.which("mediainfo"), "mediainfo is not installed")
    def test_mediainfo_reports_the_captions(self):
        # By default mediainfo reads only the first pictures, and no caption is sent that early.
        report = output_of("mediainfo", "--ParseSpeed=1", "--Output=JSON", self.output)
        texts = [track for track in json.loads(report)["media"]["track"]
                 if track["@type"] == "Text"]
        self.assertEqual([(track["Format"], track["ID"].split("-")[-1]) for track in texts],
                         [("EIA-608", "CC1")])


MOVIES = [
    Movie("ntsc_without_b_frames", "30000/1001", 1001, 0),
    Movie("ntsc_with_b_frames", "30000/1001", 1001, 2),
    Movie("pal_with_b_frames", "25", 1000, 2),
    Movie("film_with_b_frames", "24000/1001", 1001, 3),
    Movie("fast_without_b_frames", "60000/1001", 1001, 0),
    Movie("time_code_track", "25", 1000, 0, "-timecode", "01:00:00:00"),
    Movie("time_code_and_b_frames", "30000/1001", 1001, 2, "-timecode", "01:00:00;00"),
]


def suite(judges):
    tests = unittest.TestSuite()
    load = unittest.defaultTestLoader.loadTestsFromTestCase
    tests.addTests(load(CarriedCaptionFile))
    tests.addTests(load(SpreadCaptions))
    for movie in MOVIES:
        case = type(f"{judges.__name__}_{movie.name}", (judges, unittest.TestCase),
                    {"movie": movie})
        tests.addTests(load(case))
    return tests


def main(arguments):
    global program
    if not arguments:
        sys.exit(__doc__)
    for tool in ("ffmpeg", "ffprobe"):
        if not shutil.which(tool):
            print(f"skipped: {tool} is not installed")
            return SKIPPED
    judges = InputJudges if arguments[0] == "--inputs-only" else OutputJudges
    if judges is OutputJudges:
        program = pathlib.Path(arguments[0]).resolve()
    with tempfile.TemporaryDirectory(prefix="quarrypack_media_") as folder:
        MadeOnce.folder = pathlib.Path(folder)
        runner = unittest.TextTestRunner(verbosity=2 if "-v" in arguments else 1)
        return 0 if runner.run(suite(judges)).wasSuccessful() else 1


if __name__ == "__main__":
    sys.exit(main(sys.argv[1:]))
