#!/usr/bin/env python3
"""make_bench_movie - movies for measuring the converter: the same arguments make the same bytes.

    make_bench_movie.py KIND OUTPUT [--seconds S]

The movies have H.264 pictures, sound and one caption track. Pictures and sound cannot be decoded: they
have headers that a remuxer understands, and filler. Prints the number of samples.

  bulk      big pictures, 50 Mbit/s, 30 a second, a caption for each
  many      tiny samples, 220 a second, a caption for each picture
  feature   a film: 24 pictures a second, 1 Mbit/s, two sound tracks
  nosync    the same without a table of key pictures: all of it is one group
  onegroup  tiny samples without key pictures, a quarter of the number of them captions
  frag      4 Mbit/s in fragments of 2 seconds
  sparse    a few samples after a hole of 16 GiB, without key pictures; --hole sets its GiB"""
import argparse
import array
import struct
import sys

MOVIE_TIMESCALE = 600
MATRIX = struct.pack(">9I", 0x10000, 0, 0, 0, 0x10000, 0, 0, 0, 0x40000000)
WIDTH, HEIGHT = 320, 192

# Parameter sets of a baseline stream of that size, shown in decoding order.
SPS = bytes.fromhex("6742c01eda050664")
PPS = bytes.fromhex("68ce3880")
DELIMITER = bytes.fromhex("0000000209f0")
KEY_SLICE = bytes.fromhex("658884")
# All macroblocks skipped; nothing refers to the second kind.
SLICE, SPARE_SLICE = bytes.fromhex("419a2203c6"), bytes.fromhex("019a24078c")
SILENCE = bytes.fromhex("21100460 8c1c")

#         seconds fps gop   bit/s      sound tracks, samples a packet, bytes  chunk in seconds
KINDS = {
    "bulk": (85, 30, 30, 50_000_000, 1, 1024, 340, 0.5),
    "many": (10000, 60, 60, 57_600, 1, 480, 24, 0.1),
    "feature": (7200, 24, 240, 1_000_000, 2, 1024, 260, 0.5),
    "nosync": (7200, 24, 0, 1_000_000, 2, 1024, 260, 0.5),
    "onegroup": (10000, 25, 0, 20_000, 1, 960, 24, 0.2),
    "frag": (600, 30, 60, 4_000_000, 1, 1024, 340, 2),
    "sparse": (60, 25, 0, 2_000_000, 1, 1024, 340, 0.5),
}


def box(kind, *parts):
    body = b"".join(parts)
    return struct.pack(">I4s", 8 + len(body), kind) + body


def full(kind, flags, *parts, version=0):
    return box(kind, struct.pack(">I", version << 24 | flags), *parts)


def numbers(values, code="I"):
    packed = array.array(code, values)
    if sys.byteorder == "little":
        packed.byteswap()
    return packed.tobytes()


def runs(values):
    """Pairs of a run length and the value that all entries of the run share."""
    pairs = []
    for value in values:
        if pairs and pairs[-1] == value:
            pairs[-2] += 1
        else:
            pairs += [1, value]
    return pairs


class Video:
    handler, name = b"vide", b"Picture\0"
    header = full(b"vmhd", 1, bytes(8))
    volume = 0

    def __init__(self, seconds, fps, gop, bitrate):
        self.timescale, self.delta, self.count = fps * 1000, 1000, int(seconds * fps)
        self.gop, self.has_sync = gop or 250, gop != 0
        # Key pictures are four times as long as others; every third of the others is twice as long.
        weights = [4.0 if i == 0 else 1.3 if i % 3 == 1 else 0.65 for i in range(self.gop)]
        unit = bitrate / 8 / fps * self.gop / sum(weights)
        slices = [KEY_SLICE if i == 0 else SLICE if i % 3 == 1 else SPARE_SLICE
                  for i in range(self.gop)]
        self.pictures = [self.picture(code, int(unit * weight))
                         for code, weight in zip(slices, weights)]

    @staticmethod
    def picture(code, size):
        filler = max(size - len(DELIMITER) - 4 - len(code), 8)
        return DELIMITER + struct.pack(">I", len(code) + filler) + code + b"\x5a" * filler

    def sample(self, i):
        return self.pictures[i % self.gop]

    def offset(self, i):
        """A picture that others refer to is shown after the next two in decoding order."""
        place = i % self.gop
        return 1000 if place == 0 else 3000 if place % 3 == 1 else 0

    def is_sync(self, i):
        return i % self.gop == 0

    def entry(self):
        config = box(b"avcC", bytes([1, SPS[1], SPS[2], SPS[3], 0xFF, 0xE1]),
                     struct.pack(">H", len(SPS)), SPS, b"\1", struct.pack(">H", len(PPS)), PPS)
        return box(b"avc1", bytes(6), b"\0\1", bytes(16),
                   struct.pack(">HHIIIH", WIDTH, HEIGHT, 0x480000, 0x480000, 0, 1), bytes(32),
                   struct.pack(">Hh", 24, -1), config)


class Sound:
    handler, name = b"soun", b"Sound\0"
    header = full(b"smhd", 0, bytes(4))
    volume = 0x100
    has_sync = False

    def __init__(self, seconds, packet, size):
        self.timescale, self.delta, self.count = 48000, packet, int(seconds * 48000 / packet)
        self.packets = [SILENCE + b"\x5a" * (size - len(SILENCE) + i % 9) for i in range(64)]

    def sample(self, i):
        return self.packets[i % 64]

    def offset(self, _):
        return 0

    def entry(self):
        config = b"\x05\x02\x11\x90"
        decoder = b"\x04" + bytes([13 + len(config)]) + b"\x40\x15" + bytes(11) + config
        stream = b"\x03" + bytes([6 + len(decoder)]) + bytes(3) + decoder + b"\x06\x01\x02"
        return box(b"mp4a", bytes(6), b"\0\1", bytes(8),
                   struct.pack(">HHHHI", 2, 16, 0, 0, 48000 << 16), full(b"esds", 0, stream))


class Captions:
    handler, name = b"clcp", b"Captions\0"
    header = box(b"gmhd", full(b"gmin", 0, bytes(12)))
    volume = 0
    has_sync = False
    pairs = [b"\x94\x20", b"\x94\x70", b"\xc8\xe5", b"\xec\xec", b"\xef\x20", b"\x94\x2f"]

    def __init__(self, video):
        self.timescale, self.delta, self.count = video.timescale, video.delta, video.count

    def sample(self, i):
        return box(b"cdat", self.pairs[i % 6]) + box(b"cdt2", b"\x80\x80")

    def offset(self, _):
        return 0

    def entry(self):
        return box(b"c608", bytes(6), b"\0\1")


def track_box(number, track, tables, duration):
    is_video = isinstance(track, Video)
    header = full(b"tkhd", 15, struct.pack(">5I", 0, 0, number, 0,
                                           duration * MOVIE_TIMESCALE // track.timescale),
                  bytes(12), struct.pack(">HH", track.volume, 0), MATRIX,
                  struct.pack(">II", WIDTH << 16 if is_video else 0, HEIGHT << 16 if is_video else 0))
    media = full(b"mdhd", 0, struct.pack(">4IHH", 0, 0, track.timescale, duration, 0x55C4, 0))
    handler = full(b"hdlr", 0, bytes(4), track.handler, bytes(12), track.name)
    data = box(b"dinf", full(b"dref", 0, b"\0\0\0\1", full(b"url ", 1)))
    return box(b"trak", header,
               box(b"mdia", media, handler, box(b"minf", track.header, data, tables)))


def movie_box(tracks, tables, extra=b"", fragmented=False):
    durations = [0 if fragmented else track.count * track.delta for track in tracks]
    longest = max(d * MOVIE_TIMESCALE // t.timescale for d, t in zip(durations, tracks))
    header = full(b"mvhd", 0, struct.pack(">5IH", 0, 0, MOVIE_TIMESCALE, longest, 0x10000, 0x100),
                  bytes(10), MATRIX, bytes(24), struct.pack(">I", len(tracks) + 1))
    boxes = [track_box(i + 1, track, table, duration)
             for i, (track, table, duration) in enumerate(zip(tracks, tables, durations))]
    return box(b"moov", header, *boxes, extra)


def description(track):
    return full(b"stsd", 0, b"\0\0\0\1", track.entry())


def sample_tables(track, sizes, chunks):
    offsets, lengths = chunks
    parts = [description(track),
             full(b"stts", 0, struct.pack(">3I", 1, track.count, track.delta))]
    if isinstance(track, Video):
        pairs = runs(track.offset(i) for i in range(track.count))
        parts.append(full(b"ctts", 0, struct.pack(">I", len(pairs) // 2), numbers(pairs)))
    if track.has_sync:
        sync = [i + 1 for i in range(track.count) if track.is_sync(i)]
        parts.append(full(b"stss", 0, struct.pack(">I", len(sync)), numbers(sync)))
    entries = []
    for chunk, length in enumerate(lengths, 1):
        if not entries or entries[-2] != length:
            entries += [chunk, length, 1]
    parts += [full(b"stsc", 0, struct.pack(">I", len(entries) // 3), numbers(entries)),
              full(b"stsz", 0, struct.pack(">II", 0, track.count), numbers(sizes)),
              full(b"co64", 0, struct.pack(">I", len(offsets)), numbers(offsets, "Q"))]
    return box(b"stbl", *parts)


def stretches(tracks, step):
    """The samples of each track that begin in the same step of time, one step after another."""
    done = [0] * len(tracks)
    k = 1
    while any(at < track.count for at, track in zip(done, tracks)):
        ends = [min(t.count, -int(-k * step * t.timescale // t.delta)) for t in tracks]
        yield list(zip(done, ends))
        done = ends
        k += 1


def write_regular(out, tracks, step, hole):
    out.write(box(b"ftyp", b"qt  ", bytes(4), b"qt  "))
    start = out.tell()
    out.write(struct.pack(">I4sQ", 1, b"mdat", 0))
    sizes = [array.array("I") for _ in tracks]
    chunks = [([], []) for _ in tracks]
    for number, stretch in enumerate(stretches(tracks, step)):
        if number == 1:
            out.seek(hole, 1)
        for i, (first, end) in enumerate(stretch):
            if first == end:
                continue
            samples = [tracks[i].sample(k) for k in range(first, end)]
            chunks[i][0].append(out.tell())
            chunks[i][1].append(end - first)
            sizes[i].extend(map(len, samples))
            out.write(b"".join(samples))
    end = out.tell()
    out.seek(start + 8)
    out.write(struct.pack(">Q", end - start))
    out.seek(end)
    out.write(movie_box(tracks, list(map(sample_tables, tracks, sizes, chunks))))


def write_fragmented(out, tracks, step):
    empty = b"".join(full(kind, 0, bytes(4)) for kind in (b"stts", b"stsc", b"stco"))
    tables = [box(b"stbl", description(t), empty, full(b"stsz", 0, bytes(8))) for t in tracks]
    defaults = [full(b"trex", 0, struct.pack(">5I", i + 1, 1, t.delta, 0, 0))
                for i, t in enumerate(tracks)]
    out.write(box(b"ftyp", b"qt  ", bytes(4), b"qt  "))
    out.write(movie_box(tracks, tables, box(b"mvex", *defaults), fragmented=True))
    for number, stretch in enumerate(stretches(tracks, step), 1):
        parts = [[track.sample(i) for i in range(*span)] for track, span in zip(tracks, stretch)]

        def fragment(data_start):
            boxes = []
            for i, (track, (first, end)) in enumerate(zip(tracks, stretch)):
                rows = []
                for sample in range(first, end):
                    key = not isinstance(track, Video) or track.is_sync(sample)
                    rows += [len(parts[i][sample - first]), 0x02000000 if key else 0x01010000,
                             track.offset(sample)]
                # The run holds sizes, flags and composition offsets; trex holds the durations.
                boxes.append(box(b"traf", full(b"tfhd", 0x020000, struct.pack(">I", i + 1)),
                                 full(b"tfdt", 0, struct.pack(">Q", first * track.delta), version=1),
                                 full(b"trun", 0xE01, struct.pack(">II", end - first, data_start),
                                      numbers(rows))))
                data_start += sum(map(len, parts[i]))
            return box(b"moof", full(b"mfhd", 0, struct.pack(">I", number)), *boxes)

        out.write(fragment(len(fragment(0)) + 8))
        out.write(box(b"mdat", *(sample for part in parts for sample in part)))


def main():
    parser = argparse.ArgumentParser(description=__doc__,
                                     formatter_class=argparse.RawDescriptionHelpFormatter)
    parser.add_argument("kind", choices=sorted(KINDS))
    parser.add_argument("output")
    parser.add_argument("--seconds", type=float)
    parser.add_argument("--hole", type=float, default=16.0)
    arguments = parser.parse_args()
    seconds, fps, gop, bitrate, sounds, packet, size, step = KINDS[arguments.kind]
    seconds = arguments.seconds or seconds
    video = Video(seconds, fps, gop, bitrate)
    tracks = [video] + [Sound(seconds, packet, size) for _ in range(sounds)] + [Captions(video)]
    with open(arguments.output, "wb") as out:
        if arguments.kind == "frag":
            write_fragmented(out, tracks, step)
        else:
            hole = int(arguments.hole * 2**30) if arguments.kind == "sparse" else 0
            write_regular(out, tracks, step, hole)
    print(sum(track.count for track in tracks))


if __name__ == "__main__":
    main()
