#!/usr/bin/env python3
"""player_test - what the players do with converted movies, as a table of judges by inputs.

    player_test.py PROGRAM [--browser MODULES] [--table FILE] [--document FILE]

Makes movies with captions of known text in both fields and all three styles, converts them, and lets
every judge examine each: the samples themselves, ffmpeg, mediainfo, GStreamer, and with --browser
headless Chromium, alone and with hls.js (MODULES is the folder of node_modules). Prints the table, and
with --table writes it as Markdown. The status is 1 if a judge disagrees or a --document does not contain
exactly this table, and 77 without ffmpeg."""
import collections
import json
import shutil
import sys

import caption_scripts
import caption_track
import judging
import media_test
from judging import Disagreement, NotAsked, expect, gstreamer_captions, play_in_browser
from media_test import cues_of, output_of, packets_of, run, sample_bytes, streams_of

SECONDS = 8
FIELD_NAMES = ("first", "second")
CHANNELS = ("CC1", "CC3")
STYLES = {"pop-on": caption_scripts.pop_on, "roll-up": caption_scripts.roll_up,
          "paint-on": caption_scripts.paint_on}


# ---------------------------------------------------------------- inputs
class Input:
    """A movie of eight seconds; `fields` has the styles of the captions in field 1 and in field 2."""

    def __init__(self, name, rate, tick, fields, b_frames=0, sound_rate=48000, time_code=None,
                 sound_version=1, maker="ffmpeg"):
        self.name, self.rate, self.tick, self.b_frames = name, rate, tick, b_frames
        self.sound_rate, self.time_code, self.maker = sound_rate, time_code, maker
        self.sound_version = sound_version  # of the sound's sample entry
        self.timescale = round(media_test.eval_rate(rate) * tick)
        self.pictures = round(SECONDS * media_test.eval_rate(rate))
        self.scripts = [
            style and STYLES[style](self.pictures, field, name)
            for style, field, name in zip(fields, (caption_scripts.FIELD_1,
                                                   caption_scripts.FIELD_2), FIELD_NAMES)]

    def file(self, folder, kind):
        return folder / f"{self.name}{kind}"

    def make(self, folder):
        if self.maker == "gstreamer":
            self.make_by_gstreamer(folder)
            return
        bare = self.make_bare(folder)
        self.file(folder, ".mov").write_bytes(self.with_captions(bare, self.scripts))

    def make_bare(self, folder):
        bare = self.file(folder, "_bare.mov")
        extra = ("-timecode", self.time_code) if self.time_code else ()
        output_of(
            "ffmpeg", "-nostdin", "-v", "error", "-y",
            "-f", "lavfi", "-i", f"testsrc2=size=320x180:rate={self.rate}:duration={SECONDS + 1}",
            "-f", "lavfi", "-i",
            f"sine=frequency=440:sample_rate={self.sound_rate}:duration={SECONDS}",
            "-map", "0:v", "-map", "1:a", "-frames:v", self.pictures, "-c:v", "libx264", "-preset",
            "veryfast", "-refs", "8", "-pix_fmt", "yuv420p", "-g", "24", "-bf", self.b_frames,
            "-c:a", "aac", "-video_track_timescale", self.timescale, "-movie_timescale",
            self.timescale, *extra, "-f", "mov" if self.sound_version else "mp4", bare)
        return bare.read_bytes()

    def with_captions(self, bare, scripts):
        samples = [caption_track.caption_sample(*(script and script.pairs[picture]
                                                  for script in scripts))
                   for picture in range(self.pictures)]
        return caption_track.with_caption_track(bare, self.timescale, self.tick, samples)

    def make_by_gstreamer(self, folder):
        """GStreamer encodes, multiplexes, and writes the caption track itself."""
        if not shutil.which("gst-launch-1.0"):
            raise NotAsked("gstreamer1.0-tools is not installed")
        given = self.file(folder, "_given.mov")
        given.write_bytes(self.with_captions(self.make_bare(folder), self.scripts))
        output_of(
            "gst-launch-1.0", "-q", "filesrc", f"location={given}", "!", "qtdemux", "name=d",
            "d.subtitle_0", "!", "queue", "!", "m.caption_0",
            "videotestsrc", f"num-buffers={self.pictures}", "!",
            f"video/x-raw,framerate={self.rate},width=320,height=180,format=I420", "!", "x264enc",
            "bframes=0", "key-int-max=24", "ref=8", "!", "h264parse", "!",
            "video/x-h264,stream-format=avc", "!", "queue", "!", "m.video_0",
            "audiotestsrc", f"num-buffers={SECONDS * 48000 // 1024}", "samplesperbuffer=1024", "!",
            "audio/x-raw,rate=48000", "!", "avenc_aac", "!", "aacparse", "!", "queue", "!",
            "m.audio_0", "qtmux", "name=m", f"movie-timescale={self.timescale}",
            f"trak-timescale={self.timescale}", "!", "filesink",
            f"location={self.file(folder, '.mov')}")

    def reference_cues(self, folder, field):
        """What ffmpeg reads from the script itself, before any picture has it."""
        path = self.file(folder, f"_{FIELD_NAMES[field]}.mov")
        if not path.exists():
            bare = self.file(folder, "_bare.mov")
            script = self.scripts[field].in_field_1()
            path.write_bytes(self.with_captions(bare.read_bytes(), [script, None]))
        return media_test.cues_of_caption_track(path)


INPUTS = [
    Input("29.97 pop-on", "30000/1001", 1001, ("pop-on", None)),
    Input("29.97 roll-up", "30000/1001", 1001, ("roll-up", None)),
    Input("29.97 paint-on", "30000/1001", 1001, ("paint-on", None)),
    Input("29.97 CC1 and CC3 pop-on", "30000/1001", 1001, ("pop-on", "pop-on")),
    Input("29.97 CC1 pop-on CC3 roll-up", "30000/1001", 1001, ("pop-on", "roll-up")),
    Input("29.97 CC1 and CC3 paint-on", "30000/1001", 1001, ("paint-on", "paint-on")),
    Input("29.97 B-frames", "30000/1001", 1001, ("pop-on", "roll-up"), b_frames=2),
    Input("25", "25", 1000, ("pop-on", "pop-on")),
    Input("25 B-frames, time code", "25", 1000, ("roll-up", "pop-on"), b_frames=2,
          time_code="01:00:00:00"),
    Input("23.976", "24000/1001", 1001, ("roll-up", "paint-on")),
    Input("23.976 B-frames", "24000/1001", 1001, ("pop-on", "pop-on"), b_frames=3),
    Input("59.94", "60000/1001", 1001, ("pop-on", "paint-on")),
    Input("59.94 B-frames", "60000/1001", 1001, ("paint-on", "roll-up"), b_frames=2),
    Input("sound entry of version 0", "30000/1001", 1001, ("pop-on", None), sound_version=0),
    Input("sound entry of version 2 (96 kHz)", "30000/1001", 1001, ("pop-on", None),
          sound_rate=96000, sound_version=2),
    Input("29.97 by GStreamer", "30000/1001", 1001, ("pop-on", None), maker="gstreamer"),
]


# ---------------------------------------------------------------- what judges share
def sound_entry_versions(movie):
    """The version of every AAC sample entry: 0 is the plain form, 1 and 2 are QuickTime's."""
    def boxes(start, end, kind, *deeper):
        for found, first, last in caption_track.children(movie, start, end):
            if found == kind:
                yield from boxes(first + 8, last, *deeper) if deeper else [first]
    for stsd in boxes(0, len(movie), b"moov", b"trak", b"mdia", b"minf", b"stbl", b"stsd"):
        if movie[stsd + 20:stsd + 24] == b"mp4a":
            yield int.from_bytes(movie[stsd + 32:stsd + 34], "big")


class Conversion:
    def __init__(self, movie, folder, program):
        self.movie, self.folder = movie, folder
        self.source, self.output = movie.file(folder, ".mov"), movie.file(folder, ".mp4")
        done = run(program, "--input-file", self.source, "--output-file", self.output)
        expect((done.returncode, done.stderr), (0, b""), "the conversion")
        expect(list(sound_entry_versions(self.source.read_bytes())), [movie.sound_version],
               "versions of sound entries before")
        expect(list(sound_entry_versions(self.output.read_bytes())), [0],
               "versions of sound entries after")
        packets = packets_of(self.source, self.index_of("video"))
        self.lead = -packets[0].dts if packets[0].dts < 0 else 0
        self.picture = movie.tick / movie.timescale

    def index_of(self, kind):
        return next(s["index"] for s in streams_of(self.source) if s["codec_type"] == kind)


def triplets_of(sample):
    """(the sample without its caption units, the markers and pairs of these units, one by one)."""
    rest, triplets, position = b"", [], 0
    while position < len(sample):
        end = position + 4 + int.from_bytes(sample[position:position + 4], "big")
        unit = sample[position + 4:end]
        head = media_test.CAPTION_SEI.match(unit)
        if head:
            count = unit[head.end()] & 0x1F
            data = unit[head.end() + 2:head.end() + 2 + 3 * count]
            triplets += [data[i:i + 3] for i in range(0, len(data), 3)]
        else:
            rest += sample[position:end]
        position = end
    return rest, triplets


def expected_triplets(movie, picture):
    return [bytes([0xFC + field]) + script.pairs[picture]
            for field, script in enumerate(movie.scripts) if script]


def lines_of(cues):
    """The lines of all cues in the order of their first appearance; a line stays while others roll."""
    lines = []
    for cue in cues:
        for line in cue.text.split("\n"):
            if line.strip() and line.strip() not in lines:
                lines.append(line.strip())
    return lines


def expect_on_time(found, expected, picture, what):
    for cue, reference in zip(found, expected):
        late = cue.start - reference.start
        if not -0.002 <= late <= picture + 0.002:
            raise Disagreement(f"{what}: {cue.text!r} is {late:.3f} s late")


def not_shown(lead):
    """The remark on a movie whose edit ends when the media would have ended without the delay."""
    return f"; the last {lead} pictures are not shown" if lead else ""


# ---------------------------------------------------------------- judges
def judge_samples(conversion):
    """Every sample is that of the input but for caption units, and each pair is in its picture."""
    before, after = conversion.source.read_bytes(), conversion.output.read_bytes()
    copied = [stream for stream in streams_of(conversion.source)
              if stream.get("codec_name") != "eia_608"]
    for number, stream in enumerate(copied):
        index, video = stream["index"], stream["codec_type"] == "video"
        old = [p for p in packets_of(conversion.source, index) if video or p.pts >= 0]
        new = packets_of(conversion.output, number, "-ignore_editlist", "1")
        expect(len(new), len(old), f"samples of track {number}")
        for place, (was, now) in enumerate(zip(old, new)):
            rest, triplets = sample_bytes(after, now), []
            if video:
                rest, triplets = triplets_of(rest)
                picture = was.pts // conversion.movie.tick
                expect(triplets, expected_triplets(conversion.movie, picture),
                       f"captions of picture {picture}")
            if rest != sample_bytes(before, was):
                raise Disagreement(f"sample {place} of track {number} was changed")
    return "identical"


def judge_ffmpeg_decoding(conversion):
    new = media_test.complaints_of(conversion.output) - media_test.complaints_of(conversion.source)
    expect(list(new.elements()), [], "complaints of ffmpeg")
    hashes = output_of("ffmpeg", "-nostdin", "-v", "error", "-i", conversion.output, "-map", "0:v",
                       "-vsync", "passthrough", "-f", "framemd5", "-")
    shown = [line for line in hashes.splitlines() if not line.startswith("#")]
    lead = conversion.lead // conversion.movie.tick
    expect(len(shown), conversion.movie.pictures - lead, "pictures in ffmpeg")
    return "decodes" + not_shown(lead)


def judge_ffmpeg_captions(conversion):
    for field, script in enumerate(conversion.movie.scripts):
        if not script:
            continue
        name = conversion.folder / "subcc.mp4"  # a name that needs no quotes in a filter
        shutil.copyfile(conversion.output, name)
        found = cues_of(output_of(
            "ffmpeg", "-nostdin", "-v", "error", "-data_field", FIELD_NAMES[field], "-f", "lavfi",
            "-i", f"movie={name.name}[out+subcc]", "-map", "0:s", "-f", "srt", "-",
            cwd=conversion.folder))
        reference = conversion.movie.reference_cues(conversion.folder, field)
        expect([cue.text for cue in found], [cue.text for cue in reference], CHANNELS[field])
        expect(lines_of(found), script.lines, f"lines of {CHANNELS[field]}")
        expect_on_time(found, reference, conversion.picture, f"{CHANNELS[field]} in ffmpeg")
    return "equal, on time"


def judge_mediainfo(conversion):
    if not shutil.which("mediainfo"):
        raise NotAsked("mediainfo is not installed")
    tracks = json.loads(output_of("mediainfo", "--ParseSpeed=1", "--Output=JSON",
                                  conversion.output))["media"]["track"]
    texts = [(track["Format"], track["ID"].split("-")[-1])
             for track in tracks if track["@type"] == "Text"]
    wanted = [channel for channel, script in zip(CHANNELS, conversion.movie.scripts) if script]
    expect(texts, [("EIA-608", channel) for channel in wanted], "mediainfo")
    return "EIA-608 " + ", ".join(wanted)


def judge_gstreamer(conversion):
    found = gstreamer_captions(conversion.output)
    movie = conversion.movie
    lead = conversion.lead // movie.tick
    for picture, (time, data) in enumerate(found):
        expect(data, b"".join(expected_triplets(movie, picture)), f"picture {picture} in GStreamer")
        expect(round(time / conversion.picture - picture, 1), float(lead),
               f"pictures of delay of picture {picture} in GStreamer")
    expect(len(found), movie.pictures - lead, "pictures in GStreamer")
    return "equal, in their pictures" + not_shown(lead)


def judge_chromium(conversion):
    seen = play_in_browser(conversion.modules, conversion.folder, conversion.output.name)
    expect((seen["ended"], seen["complaints"], seen["corrupted"], seen["width"], seen["height"]),
           (True, [], 0, 320, 180), "Chromium")
    lead = conversion.lead // conversion.movie.tick
    if abs(seen["duration"] - SECONDS) > 2 * conversion.picture + 0.03:
        raise Disagreement(f"Chromium: {seen['duration']} s long")
    expect(seen["pictures"], conversion.movie.pictures - lead, "pictures in Chromium")
    return "plays" + not_shown(lead)


Cue = collections.namedtuple("Cue", "start text")


def judge_hls(conversion):
    if not conversion.modules:
        raise NotAsked("only with --browser")
    folder = conversion.folder / f"hls_{conversion.output.stem}"
    folder.mkdir()
    output_of("ffmpeg", "-nostdin", "-v", "error", "-i", conversion.output, "-map", "0:v", "-map",
              "0:a", "-c", "copy", "-hls_time", "2", "-hls_list_size", "0", "-hls_playlist_type",
              "vod", folder / "movie.m3u8")
    seen = play_in_browser(conversion.modules, folder, "movie.m3u8")
    expect(seen["ended"], True, "hls.js plays to the end")
    # In the package, sound and pictures have a common clock, which begins with the sound.
    begins = conversion.lead / conversion.movie.timescale
    for field, script in enumerate(conversion.movie.scripts):
        label = ("English", "Unknown CC")[field]  # of textTrack1 and textTrack3
        found = sorted((Cue(cue["start"] - begins, cue["text"]) for cue in seen["cues"].get(label, [])),
                       key=lambda cue: cue.start)
        if not script:
            expect(found, [], f"cues of {CHANNELS[field]}")
            continue
        expect(sorted(set(lines_of(found))), sorted(set(script.lines)), f"{CHANNELS[field]} in hls.js")
        for line, picture in script.shown_from.items():
            first = next(cue for cue in found if line in cue.text)
            expect_on_time([first], [Cue(picture * conversion.picture, line)], conversion.picture,
                           f"{CHANNELS[field]} in hls.js")
    return "equal, on time"


JUDGES = [
    ("samples", judge_samples),
    ("ffmpeg: decoding", judge_ffmpeg_decoding),
    ("ffmpeg: captions", judge_ffmpeg_captions),
    ("mediainfo", judge_mediainfo),
    ("GStreamer: captions", judge_gstreamer),
    ("Chromium: the .mp4", judge_chromium),
    ("hls.js in Chromium: HLS", judge_hls),
]


def convert(movie, folder, program, modules):
    movie.make(folder)
    conversion = Conversion(movie, folder, program)
    conversion.modules = modules
    return conversion


if __name__ == "__main__":
    sys.exit(judging.main(sys.argv[1:], __doc__, INPUTS, JUDGES, convert))
