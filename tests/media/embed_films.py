"""The films that quarrypack-embed is judged by: eight seconds each, as cameras, editing programs and
packagers make them, with captions of known text in a caption track or in files."""
import pathlib
import struct

import caption_scripts
import caption_track
import media_test
from caption_scripts import FIELD_1, FIELD_2, PADDING
from judging import NotAsked, expect
from media_test import ROOT, make_scc, output_of, run

SECONDS = 8
PAIR = 1001 / 30000
PAIRS = 239  # in the length of a film
DEMO = ROOT / "demo" / "captions.scc"
SINE = ["-f", "lavfi", "-i", f"sine=frequency=440:sample_rate=48000:duration={SECONDS}"]
X264 = ["-c:v", "libx264", "-pix_fmt", "yuv420p", "-preset", "ultrafast", "-g", "50"]
X265 = ["-c:v", "libx265", "-pix_fmt", "yuv420p", "-preset", "ultrafast"]


def ffmpeg(*words):
    return output_of("ffmpeg", "-nostdin", "-v", "error", "-y", *words)


# ---------------------------------------------------------------- captions
def demo_script():
    """The captions of the demonstration: the pairs of its SCC file, and the cues of its text file."""
    script = caption_scripts.Script(PAIRS, FIELD_1)
    for line in DEMO.read_text(encoding="ascii").splitlines()[1:]:
        if line:
            code, words = line.split("\t")
            seconds, frame = map(int, code.split(":")[2:])
            for place, word in enumerate(words.split()):
                script.pairs[seconds * 30 + frame + place] = bytes.fromhex(word)
    for appears, _, rows in media_test.MadeOnce.captions():
        script.lines += rows
        script.shown_from.update(dict.fromkeys(rows, appears))
    return script


STYLES = {"pop-on": caption_scripts.pop_on, "roll-up": caption_scripts.roll_up,
          "paint-on": caption_scripts.paint_on, "styles": caption_scripts.styles,
          "roll-up 2": caption_scripts.rolling(2), "roll-up 3": caption_scripts.rolling(3),
          "roll-up 4": caption_scripts.rolling(4),
          "late pop-on": lambda pairs, field, name: caption_scripts.pop_on(pairs, field, name, 25)}


def scripts_of(styles):
    """The pairs of each field, one for each 1001/30000 s; none for a field without captions."""
    return [demo_script() if style == "demo" else style and STYLES[style](PAIRS, field, name)
            for style, field, name in zip(styles, (FIELD_1, FIELD_2), ("first", "second"))]


def scc_of(script, hour="00", drop_frame=False):
    """The pairs of a script as a caption file, each run of them as a line."""
    lines, run_of_pairs, begin = ["Scenarist_SCC V1.0"], [], 0
    for place, pair in enumerate(script.pairs + [PADDING]):
        if pair != PADDING:
            begin = begin if run_of_pairs else place
            run_of_pairs.append(pair.hex())
        elif run_of_pairs:
            code = f"{hour}:00:{begin // 30:02d}{';' if drop_frame else ':'}{begin % 30:02d}"
            lines.append(f"{code}\t{' '.join(run_of_pairs)}")
            run_of_pairs = []
    return "\n\n".join(lines) + "\n"


# ---------------------------------------------------------------- films
class Film:
    """`make(film, folder)` returns the path of the film. `styles` names the captions of field 1 and
    of field 2. `options` are of quarrypack-embed, `files` the caption files that it gets."""

    def __init__(self, name, make, rate=25.0, styles=("demo", None), options=(), files=None,
                 begins=0, coding="h264", is_reordered=False, late_in_ffmpeg=0,
                 limits=None):
        self.name, self.make, self.rate = name, make, rate
        self.scripts = scripts_of(styles)
        self.is_demo = styles[0] == "demo"
        self.options, self.files = options, files
        self.begins = begins  # seconds: where the timeline of the film begins
        self.coding = coding
        self.is_reordered = is_reordered  # by edits
        # Seconds: the largest negative composition offset, by which ffmpeg delays fragments.
        self.late_in_ffmpeg = late_in_ffmpeg
        self.limits = limits or {}  # what a judge cannot do with the film, captioned or not

    def arguments(self, folder):
        if self.files is None:
            return list(self.options)
        words = list(self.options)
        for option, script in zip(("--captions", "--captions-field2"), self.scripts):
            if script:
                path = folder / f"{option[2:]}.scc"
                path.write_text(scc_of(script, **self.files), encoding="ascii")
                words += [option, path]
        return words


def pictures(rate, extra=""):
    return ["-f", "lavfi", "-i", f"testsrc2=size=320x180:rate={rate}:duration={SECONDS}{extra}"]


def made(rate, *words, name="film.mov", coder=tuple(X264), sound=("-map", "1:a", "-c:a", "aac")):
    """A maker of a film without captions."""
    def make(_, folder):
        path = folder / name
        ffmpeg(*pictures(rate), *SINE, "-map", "0:v", *sound, *coder, *words, path)
        return path
    return make


def tracked(make):
    """The same film with a caption track that has a sample for each pair."""
    def make_with_track(film, folder):
        path = make(film, folder)
        samples = [caption_track.caption_sample(*(script and script.pairs[place]
                                                  for script in film.scripts))
                   for place in range(PAIRS)]
        path.write_bytes(caption_track.with_caption_track(path.read_bytes(), 30000, 1001, samples))
        return path
    return make_with_track


def carried(rate, *words, coder=tuple(X264), sound=("-c:a", "aac"), inputs=()):
    """A maker of a film with the track that ffmpeg makes of the demonstration's caption file: samples
    of many pairs, at times that are on no frame grid."""
    def make(_, folder):
        path = folder / "film.mov"
        ffmpeg(*pictures(rate), *SINE, "-i", DEMO, *inputs, "-map", "0:v", "-map", "1:a", "-map",
               "2:s", "-c:s", "copy", *coder, *sound, *words, path)
        return path
    return make


def patched(make, change):
    """A maker of a film whose bytes are changed afterwards."""
    def make_patched(film, folder):
        path = make(film, folder)
        path.write_bytes(change(path.read_bytes()))
        return path
    return make_patched


def turned(data):
    """Rotated by 90 degrees, as telephones write it."""
    quarter = struct.pack(">9i", 0, 1 << 16, 0, -1 << 16, 0, 0, 180 << 16, 0, 1 << 30)
    matrix = data.index(b"tkhd") + 4 + 40
    return data[:matrix] + quarter + data[matrix + 36:]


def live(seconds):
    """Fragments cut out of a transmission that began this number of seconds before."""
    def change(data):
        data = bytearray(data)
        timescales = {}
        for place in places_of(b"trak", data):
            header, media = data.index(b"tkhd", place), data.index(b"mdhd", place)
            timescales[u32(data, header + 16)] = u32(data, media + 16)
        for place in places_of(b"tfdt", data):
            assert data[place + 4] == 1
            track = u32(data, data.rindex(b"tfhd", 0, place) + 8)
            add_to(data, place + 8, 8, seconds * timescales[track])
        for place in places_of(b"sidx", data):
            add_to(data, place + 16, 8 if data[place + 4] else 4, seconds * u32(data, place + 12))
        return bytes(data)
    return change


def places_of(kind, data):
    place = data.find(kind)
    while place >= 0:
        yield place
        place = data.find(kind, place + 4)


def u32(data, place):
    return struct.unpack_from(">I", data, place)[0]


def add_to(data, place, width, amount):
    value = int.from_bytes(data[place:place + width], "big") + amount
    data[place:place + width] = value.to_bytes(width, "big")


def edited(*edits):
    """With an edit list of (milliseconds, media time in seconds or None) for the pictures. The film
    has its moov at the end, and one edit in its place."""
    def change(data):
        data = bytearray(data)
        moov = data.rindex(b"moov") - 4
        trak = data.index(b"trak", moov) - 4
        edts, elst = data.index(b"edts", trak) - 4, data.index(b"elst", trak) - 4
        timescale = u32(data, data.index(b"mvhd", moov) + 16)
        media = u32(data, data.index(b"mdhd", trak) + 16)
        lead = u32(data, elst + 20)
        entries = b"".join(
            struct.pack(">IiI", length * timescale // 1000,
                        -1 if start is None else lead + round(start * media), 1 << 16)
            for length, start in edits)
        new = caption_track.box(b"edts", caption_track.full_box(
            b"elst", struct.pack(">I", len(edits)), entries))
        grown = len(new) - u32(data, edts)
        for box in (moov, trak):
            add_to(data, box, 4, grown)
        header = data.index(b"tkhd", trak)
        length = sum(length for length, _ in edits) * timescale // 1000
        struct.pack_into(">I", data, header + 24, length)
        data[edts:edts + u32(data, edts)] = new
        return bytes(data)
    return change


def cut_by_copy(film, folder):
    """ffmpeg begins with the previous key picture, and hides everything before 0.3 s with an edit."""
    whole = made("25", "-bf", "2", name="whole.mov")(film, folder)
    ffmpeg("-ss", "0.3", "-i", whole, "-map", "0:v", "-map", "0:a", "-c", "copy",
           folder / "film.mov")
    return folder / "film.mov"


def delayed(film, folder):
    path = folder / "film.mov"
    ffmpeg("-itsoffset", "0.5", *pictures("25"), *SINE, "-i", DEMO, "-map", "0:v", "-map", "1:a",
           "-map", "2:s", "-c:s", "copy", *X264, "-bf", "2", "-c:a", "pcm_s16le", path)
    return path


def with_chapters(film, folder):
    chapters = folder / "chapters.txt"
    chapters.write_text(";FFMETADATA1\n" + "".join(
        f"[CHAPTER]\nTIMEBASE=1/1000\nSTART={start}\nEND={start + 4000}\ntitle=Part {start}\n"
        for start in (0, 4000)), encoding="ascii")
    path = carried(
        "25", "-bf", "2", "-map", "3:a", "-map_chapters", "4", "-metadata:s:a:0", "language=eng",
        "-metadata:s:a:1", "language=fra",
        inputs=("-f", "lavfi", "-i", f"sine=880:sample_rate=48000:d={SECONDS}", "-i", chapters),
    )(film, folder)
    expect(output_of("ffprobe", "-v", "error", "-show_chapters", "-of", "compact", path).count(
        "chapter|"), 2, "chapters of the input")
    return path


def variable(film, folder):
    """A variable rate: one to three pictures in each 60 ms."""
    path = folder / "film.mov"
    ffmpeg(*pictures("50", ",select='not(mod(n\\,3))+gt(random(1)\\,0.6)'"), *SINE, "-i", DEMO,
           "-map", "0:v", "-map", "1:a", "-map", "2:s", "-c:s", "copy", *X264, "-bf", "2",
           "-vsync", "vfr", "-c:a", "aac", path)
    return path


def without_sound(film, folder):
    ffmpeg(*pictures("25"), *X264, "-bf", "2", folder / "film.mp4")
    return folder / "film.mp4"


def captioned_before(film, folder):
    """With captions of other text, which quarrypack-embed itself has embedded."""
    bare = made("25", "-bf", "2", name="bare.mp4")(film, folder)
    other = folder / "other.scc"
    other.write_text(scc_of(scripts_of(("roll-up 4", None))[0]), encoding="ascii")
    expect(run(film.program, "--captions", other, bare, folder / "film.mp4").returncode, 0,
           "the first captions")
    refused = run(film.program, "--captions", other, folder / "film.mp4", folder / "x.mp4")
    expect((refused.returncode, b"--replace" in refused.stderr, (folder / "x.mp4").exists()),
           (1, True, False), "captions without --replace")
    return folder / "film.mp4"


def captioned_by_coder(film, folder):
    """With captions by x264, which encodes those that it gets with the pictures."""
    first = captioned_before(film, folder)
    path = folder / "coded.mp4"
    ffmpeg("-i", first, *X264, "-bf", "2", "-a53cc", "1", "-c:a", "copy", path)
    expect(path.read_bytes().count(b"GA94") > 100, True, "captions by x264")
    return path


def by_gstreamer(film, folder):
    path = folder / "film.mov"
    if run("gst-launch-1.0", "--version").returncode:
        raise NotAsked("gstreamer1.0-tools is not installed")
    output_of(
        "gst-launch-1.0", "-q", "videotestsrc", f"num-buffers={SECONDS * 30}", "!",
        "video/x-raw,framerate=30/1,width=320,height=180,format=I420", "!", "x264enc", "bframes=2",
        "key-int-max=50", "speed-preset=ultrafast", "!", "h264parse", "!",
        "video/x-h264,stream-format=avc", "!", "queue", "!", "m.video_0",
        "audiotestsrc", f"num-buffers={SECONDS * 48000 // 1024}", "samplesperbuffer=1024", "!",
        "audio/x-raw,rate=48000", "!", "avenc_aac", "!", "aacparse", "!", "queue", "!",
        "m.audio_0", "qtmux", "name=m", "!", "filesink", f"location={path}")
    return path


B_FRAMES = ("-bf", "2")
NONE_OF_HEVC = {"mediainfo": "no captions: it looks for them in H.264 only",
                "Chromium": "no pictures: this build decodes no HEVC",
                "hls.js": "no pictures: this build decodes no HEVC"}
SIDECAR = {"files": {}}
FRAGMENTS = "frag_keyframe+empty_moov+default_base_moof"
ONE_TRACK = {"sound": (), "name": "film.mp4"}
HEVC = (*X265, "-x265-params", "log-level=none:bframes=3:keyint=50")
HRD = "aud=1:nal-hrd=vbr:vbv-maxrate=2000:vbv-bufsize=2000:pic-struct=1"

FILMS = [
    # Rates, with and without B-frames, sounds.
    Film("23.976, B-frames", carried("24000/1001", *B_FRAMES), 23.976),
    Film("23.976, roll-up of 4 rows", tracked(made("24000/1001")), 23.976, ("roll-up 4", None)),
    Film("24, roll-up of 2 rows", tracked(made("24", "-bf", "0")), 24, ("roll-up 2", None)),
    Film("25, B-frames, PCM", carried("25", *B_FRAMES, sound=("-c:a", "pcm_s16le"))),
    Film("25, B-frames, roll-up of 3 rows", tracked(made("25", *B_FRAMES)),
         styles=("roll-up 3", None)),
    Film("25, interlaced", carried("25", *B_FRAMES, "-flags", "+ildct+ilme", "-top", "1")),
    Film("29.97, B-frames, PCM of 24 bits",
         carried("30000/1001", "-bf", "3", sound=("-c:a", "pcm_s24le")), 29.97),
    Film("29.97, both fields", tracked(made("30000/1001", *B_FRAMES)), 29.97,
         ("pop-on", "roll-up")),
    Film("29.97, colours, italics, special and extended characters",
         tracked(made("30000/1001", *B_FRAMES)), 29.97, ("styles", None)),
    Film("30, by GStreamer", tracked(by_gstreamer), 30),
    Film("50, paint-on", tracked(made("50", *B_FRAMES)), 50, ("paint-on", None)),
    Film("59.94, both fields", tracked(made("60000/1001", *B_FRAMES)), 59.94,
         ("paint-on", "pop-on")),
    Film("60, open groups, field 2",
         tracked(made("60", "-bf", "3", "-x264-params", "open-gop=1:b-pyramid=normal")), 60,
         (None, "pop-on")),
    Film("variable rate, B-frames", variable, 15),
    # Forms of coding.
    Film("29.97, access unit delimiters, HRD, picture timing",
         tracked(made("30000/1001", *B_FRAMES, "-x264-params", HRD)), 29.97,
         ("pop-on", "styles")),
    Film("25, HEVC, hvc1", carried("25", "-tag:v", "hvc1", coder=HEVC),
         coding="h265", limits=NONE_OF_HEVC),
    Film("59.94, HEVC, hev1, delimiters, HRD, open groups, both fields",
         tracked(made("60000/1001", coder=(
             *X265, "-tag:v", "hev1", "-x265-params",
             "log-level=none:bframes=3:keyint=50:open-gop=1:aud=1:repeat-headers=1:hrd=1:"
             "vbv-maxrate=2000:vbv-bufsize=2000:info=1"))),
         59.94, ("roll-up 2", "pop-on"), coding="h265", limits=NONE_OF_HEVC),
    # Other content of a film.
    Film("30, rotation, place, tags", patched(
        carried("30", *B_FRAMES, "-metadata", "location=+48.2082+016.3738/", "-metadata",
                "title=A title", "-metadata", "creation_time=2024-05-01T10:00:00Z"), turned), 30),
    Film("25, two sound tracks with languages, chapters", with_chapters),
    Film("25, time code", carried("25", *B_FRAMES, "-timecode", "10:00:00:00")),
    Film("29.97, drop-frame time code",
         tracked(made("30000/1001", *B_FRAMES, "-timecode", "01:00:00;00")), 29.97,
         ("roll-up 2", "roll-up 3")),
    Film("25, no sound", without_sound, **SIDECAR),
    Film("25, moov first", carried("25", *B_FRAMES, "-movflags", "faststart")),
    # Edits and offsets.
    Film("25, delayed pictures, PCM", delayed),
    Film("25, cut beginning", cut_by_copy, **SIDECAR),
    Film("25, trimmed and delayed",
         patched(made("25", *B_FRAMES), edited((400, None), (7000, 0.6))),
         styles=("late pop-on", None), **SIDECAR),
    Film("25, two parts in the other order",
         patched(made("25", *B_FRAMES), edited((4000, 4.0), (4000, 0.0))),
         is_reordered=True, limits={"Chromium": "10 s long, as it is without captions"}, **SIDECAR),
    Film("25, negative composition offsets",
         made("25", *B_FRAMES, "-movflags", "negative_cts_offsets", name="film.mp4"), **SIDECAR),
    # Fragments. Those of one track are what packagers make; hls.js reads them as they are.
    Film("30, DASH", made("30", *B_FRAMES, "-movflags", "dash+" + FRAGMENTS, **ONE_TRACK), 30,
         **SIDECAR),
    Film("30, CMAF, both fields",
         made("30", *B_FRAMES, "-movflags", "cmaf+frag_keyframe", "-frag_duration", "1000000",
              **ONE_TRACK), 30, ("pop-on", "paint-on"), late_in_ffmpeg=2 / 30, **SIDECAR),
    Film("25, DASH with sidx, live for 1000 s",
         patched(made("25", *B_FRAMES, "-movflags", f"dash+{FRAGMENTS}+global_sidx", **ONE_TRACK),
                 live(1000)), begins=1000, **SIDECAR),
    Film("29.97, CMAF, live for a day, roll-up of 3 rows",
         patched(made("30000/1001", "-bf", "0", "-movflags", "cmaf+frag_keyframe", **ONE_TRACK),
                 live(86400)), 29.97, ("roll-up 3", None), begins=86400, **SIDECAR),
    Film("25, HEVC, CMAF, hvc1",
         made("25", "-tag:v", "hvc1", "-movflags", "cmaf+frag_keyframe", coder=HEVC, **ONE_TRACK),
         coding="h265", late_in_ffmpeg=0.08, limits=NONE_OF_HEVC, **SIDECAR),
    Film("30, DASH with sound, live for 1000 s",
         patched(made("30", *B_FRAMES, "-movflags", "dash+" + FRAGMENTS, name="film.mp4"),
                 live(1000)), 30, begins=1000, **SIDECAR),
    Film("30, fragments after samples in moov",
         made("30", *B_FRAMES, "-movflags", "frag_keyframe", name="film.mp4"), 30,
         limits={"mediainfo": "no captions: it finds none in such films, ffmpeg's own included"},
         **SIDECAR),
    Film("25, fragments, mfra, sidx",
         made("25", "-bf", "0", "-movflags", FRAGMENTS + "+global_sidx", name="film.mp4"),
         **SIDECAR),
    Film("25, fragments with a caption track",
         carried("25", "-bf", "0", "-movflags", FRAGMENTS)),
    # Caption files.
    Film("29.97, file from 01:00:00:00, offset auto",
         made("30000/1001", *B_FRAMES, name="film.mp4"), 29.97, files={"hour": "01"},
         options=("--scc-offset", "auto")),
    Film("29.97, file from 10:00:00:00, offset given",
         made("30000/1001", *B_FRAMES, name="film.mp4"), 29.97, files={"hour": "10"},
         options=("--scc-offset", "10:00:00:00")),
    Film("29.97, drop-frame files from 01:00:00;00, both fields",
         made("30000/1001", *B_FRAMES, name="film.mp4"), 29.97, ("pop-on", "pop-on"),
         files={"hour": "01", "drop_frame": True}, options=("--scc-offset", "auto")),
    Film("25, file of field 2", made("25", *B_FRAMES, name="film.mp4"),
         styles=(None, "styles"), **SIDECAR),
    # Captions inside.
    Film("25, captions replaced", captioned_before, options=("--replace",), **SIDECAR),
    Film("25, captions of the coder replaced", captioned_by_coder, options=("--replace",),
         styles=("pop-on", "pop-on"), **SIDECAR),
]
