#!/usr/bin/env python3
"""embed_test - what players do with the films of quarrypack-embed, as a table.

    embed_test.py QUARRYPACK_EMBED [--browser MODULES] [--table FILE] [--document FILE]

Makes films of all kinds with captions of known text, embeds these, and lets every judge examine each:
the boxes and samples themselves, ffmpeg, mediainfo, GStreamer, and with --browser headless Chromium,
alone and with hls.js (MODULES is the folder of node_modules). Everything but captions must be unchanged:
boxes, samples, decoded pictures and sound, times, rotation, tags and chapters. The status is 1 if a judge
disagrees or a --document does not contain exactly this table, and 77 without ffmpeg."""
import collections
import functools
import json
import re
import shutil
import sys
import threading

import caption_track
import embed_films
import judging
import kept_boxes
import media_test
from embed_films import FILMS, PAIR, PADDING, SECONDS, ffmpeg
from judging import Disagreement, NotAsked, expect, gstreamer_captions, play_in_browser
from media_test import output_of, packets_of, run, sample_bytes, streams_of
from player_test import CHANNELS, FIELD_NAMES, lines_of, triplets_of

VIDEO_CODECS = ("h264", "hevc")
Cue = collections.namedtuple("Cue", "start end text markup")
Picture = collections.namedtuple("Picture", "time triplets is_shown")


class Case:
    """A film, and the same film with captions."""

    def __init__(self, film, folder, program, modules):
        self.film, self.folder, self.modules = film, folder, modules
        film.program = program
        self.source, self.output = film.make(film, folder), folder / "captioned.mp4"
        done = run(program, *film.arguments(folder), self.source, self.output)
        expect((done.returncode, done.stderr), (0, b""), "quarrypack-embed")
        said = done.stdout.decode().splitlines()[-1]
        if not re.fullmatch(r"\d+ captions?, .* no pairs lost, verified", said):
            raise Disagreement(said)
        self.before, self.after = self.source.read_bytes(), self.output.read_bytes()

    @property
    def tolerance(self):
        """A caption is at most a picture and a pair from its time."""
        return 1 / self.film.rate + PAIR + 0.002

    @functools.cached_property
    def pictures(self):
        """Every picture of the output, in the order of their times, with the captions in it."""
        index = next(s["index"] for s in streams_of(self.output)
                     if s.get("codec_name") in VIDEO_CODECS)
        found = json.loads(output_of("ffprobe", "-v", "error", "-select_streams", index,
                                     "-show_packets", "-of", "json", self.output))["packets"]
        return [Picture(float(packet["pts_time"]),
                        triplets_of(self.after[int(packet["pos"]):][:int(packet["size"])])[1],
                        "D" not in packet["flags"])
                for packet in sorted(found, key=lambda packet: int(packet["pts"]))]

    @property
    def shown(self):
        return [picture for picture in self.pictures if picture.is_shown]

    def scripts(self):
        return [(field, script) for field, script in enumerate(self.film.scripts) if script]

    @property
    def begins(self):
        """The time in seconds that the captions' time 0 has in ffmpeg."""
        return self.film.begins + self.film.late_in_ffmpeg

    def limit(self, judge):
        return self.film.limits.get(judge)


# ---------------------------------------------------------------- what judges share
def cues_of(srt):
    """[(start, end, text, text with tags)] of a subtitle text."""
    cues = []
    for start, end, markup in re.findall(r"(\S+) --> (\S+)\n(.*?)(?=\n\n|\n*\Z)",
                                         srt.replace("\r", ""), re.DOTALL):
        text = re.sub(r"<[^>]*>|\{[^}]*\}", "", markup)
        cues.append(Cue(seconds(start), seconds(end), text.strip(), markup))
    return cues


def seconds(clock):
    hours, minutes, rest = clock.replace(",", ".").split(":")
    return int(hours) * 3600 + int(minutes) * 60 + float(rest)


class References:
    """The captions as ffmpeg reads them from a caption track, where each has its own time."""

    lock = threading.Lock()
    bare = None
    cues = {}

    @classmethod
    def of(cls, script, folder):
        key = b"".join(script.pairs)
        with cls.lock:
            if cls.bare is None:
                path = embed_films.made("30000/1001", name="bare.mov")(None, folder)
                cls.bare = path.read_bytes()
            if key not in cls.cues:
                cls.cues[key] = cls.read(script, folder)
        return cls.cues[key]

    @classmethod
    def read(cls, script, folder):
        samples = [caption_track.caption_sample(pair) for pair in script.in_field_1().pairs]
        path = folder / "reference.mov"
        path.write_bytes(caption_track.with_caption_track(cls.bare, 30000, 1001, samples))
        return cues_of(output_of("ffmpeg", "-nostdin", "-v", "error", "-i", path, "-map", "0:s",
                                 "-f", "srt", "-"))


def require_near(found, expected, tolerance, what):
    if abs(found - expected) > tolerance:
        raise Disagreement(f"{what} is at {found:.3f} s in place of {expected:.3f} s")


def caption_units(data):
    """The positions of the caption units in the pictures of a film: [(start, end)]."""
    units = []
    film = kept_boxes.Film(data)
    for place, end in kept_boxes.samples_of(film, film.pictures):
        while place < end:
            unit = place + 4 + int.from_bytes(data[place:place + 4], "big")
            if media_test.CAPTION_SEI.match(data[place + 4:unit]):
                units.append((place, unit))
            place = unit
    return units


def caption_samples(data):
    film = kept_boxes.Film(data)
    return [sample for track in film.removed for sample in kept_boxes.samples_of(film, track)]


def media_data(data, left_out):
    """The content of each mdat without some ranges."""
    left_out = sorted(left_out)
    contents = []
    for box in kept_boxes.top_level(data):
        if box.kind != b"mdat":
            continue
        content, place = [], box.content
        for start, end in left_out:
            if box.content <= start < box.end:
                content.append(data[place:start])
                place = end
        contents.append(b"".join(content) + data[place:box.end])
    return contents


# ---------------------------------------------------------------- judges
def judge_boxes(case):
    """No box changes unless a rule names it, and no media but captions, unused bytes included."""
    kept_boxes.compare(case.before, case.after)
    old = media_data(case.before, caption_samples(case.before) + caption_units(case.before))
    new = media_data(case.after, caption_units(case.after))
    # Nothing is left of a fragment that has only captions.
    if [one for one in old if one] != [one for one in new if one]:
        raise Disagreement("media other than captions was changed")
    return "as they were"


def visible(pair):
    shown_at_once = (0x25, 0x26, 0x27, 0x29, 0x2C, 0x2D, 0x2F)
    return pair[0] & 0x76 == 0x14 and pair[1] & 0x7F in shown_at_once


def judge_pairs(case):
    """All pairs come in their order; those that change the screen, in pictures of their times."""
    for field, script in case.scripts():
        sent = [(place * PAIR, pair) for place, pair in enumerate(script.pairs) if pair != PADDING]
        found = [(picture.time - case.begins, triplet[1:])
                 for picture in case.shown for triplet in picture.triplets
                 if triplet[0] == 0xFC + field and triplet[1:] != PADDING]
        expect([pair.hex() for _, pair in found], [pair.hex() for _, pair in sent],
               f"pairs of field {field + 1}")
        for (time, pair), (due, _) in zip(found, sent):
            if visible(pair):
                require_near(time, due, case.tolerance, f"{pair.hex()} in field {field + 1}")
    wanted = {0xFC + field for field, _ in case.scripts()}
    expect({triplet[0] for picture in case.shown for triplet in picture.triplets}, wanted, "fields")
    return "all, on time"


def hashes(path, kind):
    """A hash for each decoded picture, or for each piece of sound, with its times."""
    text = ffmpeg("-i", path, "-map", f"0:{kind}?", "-vsync", "passthrough", "-copyts", "-f",
                  "framemd5", "-")
    return [line for line in text.splitlines() if not line.startswith("#")]


def properties(path):
    """What players use, except what must differ: sizes, rates, the caption track."""
    found = json.loads(output_of("ffprobe", "-v", "error", "-show_streams", "-show_format",
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
    brands = ("major_brand", "minor_version", "compatible_brands")
    tags = {name: value for name, value in found["format"].get("tags", {}).items()
            if name not in brands}
    # ffmpeg takes the number of a stream for the id of its track. If the caption track is gone, it
    # therefore does not see that the time code belongs to the pictures, and reports it for the
    # whole film too.
    if any(stream["tags"].get("timecode") == tags.get("timecode") for stream in streams):
        tags.pop("timecode", None)
    # The length of the film is that of its streams: the caption track may have been the longest.
    return {"streams": streams, "tags": tags, "chapters": found["chapters"],
            "start": found["format"].get("start_time")}


def judge_ffmpeg_film(case):
    for kind in ("v", "a"):
        if hashes(case.output, kind) != hashes(case.source, kind):
            raise Disagreement(f"decoded {'pictures' if kind == 'v' else 'sound'} or their times")
    old, new = properties(case.source), properties(case.output)
    for name, value in old.items():
        expect(new[name], value, name)
    complaints = media_test.complaints_of(case.output) - media_test.complaints_of(case.source)
    expect(list(complaints.elements()), [], "complaints of ffmpeg")
    return "same pictures, sound, times, tags"


def judge_ffmpeg_captions(case):
    for field, script in case.scripts():
        text = output_of("ffmpeg", "-nostdin", "-v", "error", "-copyts", "-data_field",
                         FIELD_NAMES[field], "-f", "lavfi", "-i",
                         f"movie={case.output.name}[out+subcc]", "-map", "0:s", "-f", "srt", "-",
                         cwd=case.folder)
        found, expected = cues_of(text), References.of(script, case.folder)
        what = CHANNELS[field]
        expect([cue.markup for cue in found], [cue.markup for cue in expected], what)
        expect(lines_of(found), script.lines, f"lines of {what}")
        for cue, reference in zip(found, expected):
            for name in ("start", "end"):
                require_near(getattr(cue, name) - case.begins, getattr(reference, name),
                             case.tolerance, f"the {name} of {cue.text!r}")
    return "equal, on time"


def mediainfo_of(path):
    if not shutil.which("mediainfo"):
        raise NotAsked("mediainfo is not installed")
    return json.loads(output_of("mediainfo", "--ParseSpeed=1", "--Output=JSON",
                                path))["media"]["track"]


def judge_mediainfo(case):
    tracks = mediainfo_of(case.output)
    texts = [(track["Format"], track["ID"].split("-")[-1])
             for track in tracks if track["@type"] == "Text"]
    limit = case.limit("mediainfo")
    wanted = [] if limit else [CHANNELS[field] for field, _ in case.scripts()]
    expect(texts, [("EIA-608", channel) for channel in wanted], "mediainfo")
    return limit or "EIA-608 " + ", ".join(wanted)


def judge_gstreamer(case):
    found = gstreamer_captions(case.output, case.film.coding)
    # ffmpeg does not show a picture inside which the first edit begins.
    shown_or_next = zip(case.pictures, case.pictures[1:] + case.pictures[-1:])
    first = len(found) - sum(bool(picture.triplets) for picture in case.shown)
    expected = case.shown if first == 0 else [
        picture for picture, following in shown_or_next
        if picture.is_shown or following.is_shown]
    expected = [picture for picture in expected if picture.triplets]
    expect(len(found), len(expected), "pictures with captions in GStreamer")
    for number, ((time, data), picture) in enumerate(zip(found, expected)):
        expect(data, b"".join(picture.triplets), f"picture {number} in GStreamer")
        # With several edits each has times of its own, and a picture inside which an edit begins
        # has the time of the edit.
        if picture.is_shown and not case.film.is_reordered:
            require_near(time - found[-1][0], picture.time - expected[-1].time, 0.002,
                         f"picture {number} in GStreamer")
    return "equal, in their pictures"


def judge_chromium(case):
    seen = play_in_browser(case.modules, case.folder, case.output.name)
    if case.limit("Chromium"):
        shutil.copyfile(case.source, case.folder / "control.mp4")
        expect(seen, play_in_browser(case.modules, case.folder, "control.mp4"),
               "Chromium, as with the film without captions")
        return case.limit("Chromium")
    expect((seen["ended"], seen["complaints"], seen["corrupted"]), (True, [], 0), "Chromium")
    shown = hashes(case.output, "v")
    expect(seen["pictures"], len(shown), "pictures in Chromium")
    require_near(seen["duration"] - case.film.begins, SECONDS, 0.6, "the end in Chromium")
    return "plays"


def fragment_playlist(case):
    """A playlist over the fragments of the output itself; none where samples are in its moov.

    A segment begins with a fragment that has a key picture."""
    boxes = kept_boxes.top_level(case.after)
    moofs = [box.start for box in boxes if box.kind == b"moof"]
    if not moofs or any(box.kind == b"mdat" and box.start < moofs[0] for box in boxes):
        return None
    keys = [packet.pos for packet in packets_of(case.output, "v:0") if "K" in packet.flags]
    ends = moofs[1:] + [next((box.start for box in boxes if box.kind == b"mfra"), len(case.after))]
    starts = [start for start, end in zip(moofs, ends) if any(start < key < end for key in keys)]
    name = case.output.name
    lines = ["#EXTM3U", "#EXT-X-VERSION:7", f"#EXT-X-TARGETDURATION:{SECONDS}",
             "#EXT-X-PLAYLIST-TYPE:VOD", f'#EXT-X-MAP:URI="{name}",BYTERANGE="{moofs[0]}@0"']
    for start, end in zip(starts, starts[1:] + ends[-1:]):
        lines += [f"#EXTINF:{SECONDS / len(starts):.3f},",
                  f"#EXT-X-BYTERANGE:{end - start}@{start}", name]
    return "\n".join(lines + ["#EXT-X-ENDLIST", ""])


def package(case, folder):
    """Makes an HLS package of the output, and returns by how much its times are later.

    It has the output's own fragments if these have no sound: hls.js shows no captions of fragments of
    pictures and sound. Other packages are made by ffmpeg, which allows no negative times and begins
    with the part that an edit hides."""
    sound = [s.get("codec_name") for s in streams_of(case.output) if s["codec_type"] == "audio"]
    playlist = fragment_playlist(case)
    if playlist and not sound:
        shutil.copyfile(case.output, folder / case.output.name)
        (folder / "movie.m3u8").write_text(playlist, encoding="ascii")
        return 0
    ffmpeg("-i", case.output, "-map", "0:v", "-map", "0:a:0?", "-c", "copy",
           *(() if sound[:1] == ["aac"] else ("-c:a", "aac")), "-hls_time", "2", "-hls_list_size",
           "0", "-hls_playlist_type", "vod", folder / "movie.m3u8")
    packets = json.loads(output_of("ffprobe", "-v", "error", "-select_streams", "v:0",
                                   "-show_packets", "-of", "json", case.output))["packets"]
    return max(0, -min(float(packet["dts_time"]) for packet in packets))


def judge_hls(case):
    if not case.modules:
        raise NotAsked("only with --browser")
    if case.limit("hls.js"):
        return case.limit("hls.js")
    folder = case.folder / "hls"
    folder.mkdir()
    later = package(case, folder)
    seen = play_in_browser(case.modules, folder, "movie.m3u8")
    expect(seen["ended"], True, "hls.js plays to the end")
    for field, label in enumerate(("English", "Unknown CC")):  # of textTrack1 and textTrack3
        found = [Cue(cue["start"] - later, cue["end"], cue["text"], cue["text"])
                 for cue in seen["cues"].get(label, [])]
        judge_cues_of_hls(sorted(found, key=lambda cue: cue.start), case.film.scripts[field],
                          case.tolerance, f"{CHANNELS[field]} in hls.js")
    return "equal, on time"


def judge_cues_of_hls(found, script, tolerance, what):
    lines = script.lines if script else []
    # hls.js gives mid-row codes no column.
    wanted = {line: script.without_mid_rows.get(line, line) for line in lines}
    expect(sorted(set(lines_of(found))), sorted(set(wanted.values())), what)
    for line in lines:
        first = next(cue for cue in found if wanted[line] in cue.text)
        require_near(first.start, script.shown_from[line] * PAIR, tolerance, f"{line!r} of {what}")


JUDGES = [
    ("boxes and media", judge_boxes),
    ("pairs", judge_pairs),
    ("ffmpeg: film", judge_ffmpeg_film),
    ("ffmpeg: captions", judge_ffmpeg_captions),
    ("mediainfo", judge_mediainfo),
    ("GStreamer: captions", judge_gstreamer),
    ("Chromium: the .mp4", judge_chromium),
    ("hls.js in Chromium: HLS", judge_hls),
]


if __name__ == "__main__":
    sys.exit(judging.main(sys.argv[1:], __doc__, FILMS, JUDGES, Case, first_column="film"))
