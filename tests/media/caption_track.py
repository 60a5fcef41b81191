"""Gives a QuickTime movie a caption track with both fields, which ffmpeg cannot write.

The movie must have its moov after its media data, as ffmpeg leaves it: nothing before it moves, so
the offsets of the other tracks stay right."""
import struct


def box(kind, *parts):
    content = b"".join(parts)
    return struct.pack(">I4s", 8 + len(content), kind) + content


def full_box(kind, *parts, version=0, flags=0):
    return box(kind, struct.pack(">I", version << 24 | flags), *parts)


def children(data, start, end):
    """(kind, start, end) of every box between two positions, header included."""
    position = start
    while position + 8 <= end:
        size, kind = struct.unpack_from(">I4s", data, position)
        if size == 1:
            size = struct.unpack_from(">Q", data, position + 8)[0]
        if size < 8:
            raise ValueError(f"a box of {size} bytes at {position}")
        yield kind, position, position + size
        position += size


def caption_sample(*fields):
    """One pair of field 1, and of field 2 if there is one."""
    return b"".join(box(kind, pair) for kind, pair in zip((b"cdat", b"cdt2"), fields)
                    if pair is not None)


def caption_track(track_id, movie_timescale, timescale, duration, offset, samples):
    matrix = struct.pack(">9I", 0x10000, 0, 0, 0, 0x10000, 0, 0, 0, 0x40000000)
    length = len(samples) * duration
    movie_length = length * movie_timescale // timescale
    sizes = [len(sample) for sample in samples]
    offsets, position = [], offset
    for size in sizes:
        offsets.append(position)
        position += size
    entry = box(b"c608", bytes(6), struct.pack(">H", 1))
    return box(
        b"trak",
        full_box(b"tkhd", struct.pack(">5I", 0, 0, track_id, 0, movie_length), bytes(16), matrix,
                 bytes(8), flags=0xF),
        box(b"mdia",
            full_box(b"mdhd", struct.pack(">4IHH", 0, 0, timescale, length, 0x55C4, 0)),
            full_box(b"hdlr", b"mhlr", b"clcp", bytes(12), b"\x0eCaptionHandler"),
            box(b"minf",
                box(b"gmhd", full_box(b"gmin", struct.pack(">6H", 0x40, 0x8000, 0x8000, 0x8000, 0,
                                                           0))),
                full_box(b"hdlr", b"dhlr", b"alis", bytes(12), b"\x0bDataHandler"),
                box(b"dinf", full_box(b"dref", struct.pack(">I", 1),
                                      full_box(b"alis", flags=1))),
                box(b"stbl",
                    full_box(b"stsd", struct.pack(">I", 1), entry),
                    full_box(b"stts", struct.pack(">3I", 1, len(samples), duration)),
                    full_box(b"stsc", struct.pack(">4I", 1, 1, 1, 1)),
                    full_box(b"stsz", struct.pack(f">II{len(sizes)}I", 0, len(sizes), *sizes)),
                    full_box(b"stco", struct.pack(f">I{len(offsets)}I", len(offsets),
                                                  *offsets))))))


def with_caption_track(movie, timescale, duration, samples):
    """The movie with one more track: samples of equal duration, the first at time 0."""
    kind, moov, end = list(children(movie, 0, len(movie)))[-1]
    assert kind == b"moov" and end == len(movie), "moov must be the last box"
    _, header, _ = next(child for child in children(movie, moov + 8, end) if child[0] == b"mvhd")
    assert movie[header + 8] == 0, "version 0 of mvhd"
    movie_timescale = struct.unpack_from(">I", movie, header + 20)[0]
    next_id = struct.unpack_from(">I", movie, header + 104)[0]
    media = box(b"mdat", b"".join(samples))
    track = caption_track(next_id, movie_timescale, timescale, duration, moov + 8, samples)
    head = bytearray(movie[moov:])
    struct.pack_into(">I", head, 0, len(head) + len(track))
    struct.pack_into(">I", head, header - moov + 104, next_id + 1)
    return movie[:moov] + media + bytes(head) + track
